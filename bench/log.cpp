// log_print switched off beside the one access that finds that out, and switched on beside syslog with
// the same text.
#include "lc_log.h"
#include "support/measure.h"
#include "support/process.h"

#include <cstdio>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

namespace {

constexpr char kFlag[] = "/tmp/.LC_DEBUG_FLAG_WanManager_ERROR";
constexpr char kTimeFlag[] = "/tmp/.LC_DEBUG_FLAG_TIME";
constexpr char kFormat[] = "[ERR][%s:%d]Para check failed! Para timeout is %ld.\n";
constexpr char kUnit[] = "lib/lc_ipc_mq";
constexpr int32_t kWanManager = 3;
constexpr unsigned kMessages = 100;

// What the system's logger has received. Shared with it.
struct Log {
    std::atomic<unsigned> messages;
    std::atomic<size_t> size; // of each; they are all alike
};

// The system's logger.
[[noreturn]] void receive_all(int fd, Log &log)
{
    char text[1024];
    for (;;) {
        const ssize_t size = recv(fd, text, sizeof(text), 0);
        bench::require(size > 0, "receiving a message");
        if (log.messages++ == 0) {
            log.size = static_cast<size_t>(size);
        }
        bench::require(log.size == static_cast<size_t>(size), "the same text from both");
    }
}

void start_logger(Log &log)
{
    const sockaddr_un address = {AF_UNIX, "/dev/log"};
    const int fd = socket(AF_UNIX, SOCK_DGRAM, 0);
    bench::require(bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) == 0,
                   "making /dev/log: is this the sandbox of scripts/bench?");
    bench::start_process([&] { receive_all(fd, log); });
    close(fd);
}

void print_all(unsigned count)
{
    for (unsigned i = 0; i < count; ++i) {
        log_print(LC_LOG_ERROR, kFormat, kUnit, 100, -2L);
    }
}

void syslog_all(unsigned count)
{
    for (unsigned i = 0; i < count; ++i) {
        syslog(LOG_ERR | LOG_USER, kFormat, kUnit, 100, -2L);
    }
}

void look_for_flag(unsigned count)
{
    for (unsigned i = 0; i < count; ++i) {
        bench::require(access(kFlag, F_OK) != 0, "being switched off");
    }
}

// As log_print does: whether it is switched on, and whether the time is wanted.
void ask_and_syslog_all(unsigned count)
{
    for (unsigned i = 0; i < count; ++i) {
        bench::require(access(kFlag, F_OK) == 0, "being switched on");
        bench::require(access(kTimeFlag, F_OK) != 0, "the time not being wanted");
        syslog(LOG_ERR | LOG_USER, kFormat, kUnit, 100, -2L);
    }
}

void switch_on()
{
    const int flag = open(kFlag, O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
    bench::require(flag >= 0, "switching on");
    close(flag);
}

} // namespace

int main(int argc, char **argv)
{
    const bench::Report report(argc, argv);
    Log &log = bench::make_shared_with_processes<Log>();
    start_logger(log);
    bench::require(log_init(kWanManager) == 0, "log_init");
    const auto race = [&](const char *name, const std::vector<bench::Contender> &contenders) {
        report.race(
            {name, {kMessages}, [](unsigned size) { return size; }, bench::nothing, contenders});
    };
    race("log: messages switched off", {{"lterouter", [] { print_all(kMessages); }},
                                        {"access", [] { look_for_flag(kMessages); }, 1.1}});
    bench::require(log.messages == 0, "silence");
    switch_on();
    unsigned sent = 0;
    const auto count = [&] { sent += kMessages; };
    race("log: messages switched on",
         {{"lterouter", [] { print_all(kMessages); }, 0, count},
          {"syslog", [] { syslog_all(kMessages); }, 1.1, count},
          {"access twice and syslog", [] { ask_and_syslog_all(kMessages); }, 0, count}});
    while (log.messages < sent) {
        usleep(1000); // the last ones are on their way
    }
    bench::require(log.messages == sent, "each message arriving once");
    return 0;
}
