// Commands to the modem's AT port. A reply that contains "OK" anywhere counts as success.

#include "lc_up/serial.h"

#include "lct_trace/trace.h"

#include <cstring>

namespace lterouter {
namespace {

constexpr size_t kReplySize = 128;
constexpr size_t kEchoLength = 20;
constexpr int kReads = 120;
constexpr useconds_t kReplyMicroseconds = 2000000;
constexpr unsigned kSettleSeconds = 10;

// With room for a terminator after a reply that fills it.
using Reply = char[kReplySize + 1];

// Owner of the AT port. Closing it waits: the modem needs time to act on the command.
class AtPort {
public:
    explicit AtPort(int fd) : fd_(fd) {}
    ~AtPort()
    {
        if (fd_ >= 0) {
            close_port(fd_);
            sleep(kSettleSeconds);
        }
    }
    AtPort(const AtPort &) = delete;
    AtPort &operator=(const AtPort &) = delete;

    explicit operator bool() const { return fd_ >= 0; }
    int get() const { return fd_; }

private:
    const int fd_;
};

// caller: the exported function whose name the trace entries of the next two functions contain.

bool send(const char *caller, int fd, const char *command)
{
    const size_t length = strlen(command);
    const ssize_t written = write(fd, command, length);
    if (written != static_cast<ssize_t>(length)) {
        trace(place(kTraceFamily, __LINE__), caller, "write %s failed, need write:%d real write:%d\n\n",
              LC_UP_AT_PORT, static_cast<int>(length), static_cast<int>(written));
        return false;
    }
    return true;
}

int32_t judge(const char *caller, const char *command, const Reply &reply)
{
    if (strstr(reply, "OK") == nullptr) {
        trace(place(kTraceFamily, __LINE__), caller, "result of %s error:%s\n\n", command, reply);
        return -1;
    }
    trace(place(kTraceFamily, __LINE__), caller, "ok\n\n");
    return 0;
}

} // namespace
} // namespace lterouter

using namespace lterouter;

int32_t lc_at_snd(const char *command)
{
    LC_TRACE(void(), "enter\n\n");
    const AtPort port(open_port(LC_UP_AT_PORT));
    if (!port) {
        return LC_TRACE(-1, "open %s error\n\n", LC_UP_AT_PORT);
    }
    if (!send(__func__, port.get(), command)) {
        return -1;
    }
    Reply reply = {};
    for (int reads = 0; reads < kReads; ++reads) {
        const int32_t count = lc_read_tty(port.get(), reply, kReplySize);
        if (count < 0) {
            return LC_TRACE(-1, "read AT PORT:%s failed\n\n", LC_UP_AT_PORT);
        }
        if (count == 0) {
            continue;
        }
        if (strncmp(reply, command, kEchoLength) != 0) {
            break;
        }
        LC_TRACE(void(), "result is %s, continue read...\n\n", reply);
        memset(reply, 0, sizeof(reply));
    }
    return judge(__func__, command, reply);
}

int32_t lc_at_snd_wait(const char *command)
{
    LC_TRACE(void(), "enter\n\n");
    const AtPort port(open_port(LC_UP_AT_PORT));
    if (!port) {
        return LC_TRACE(-1, "open %s error\n\n", LC_UP_AT_PORT);
    }
    configure_port(port.get());
    if (!send(__func__, port.get(), command)) {
        return -1;
    }
    usleep(kReplyMicroseconds);
    Reply reply = {};
    if (read(port.get(), reply, kReplySize) <= 0) {
        return LC_TRACE(-1, "result length of %s error\n\n", command);
    }
    return judge(__func__, command, reply);
}
