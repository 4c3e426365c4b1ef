// sim: what a simulator, wansim or modemsim, can be told while it runs.

#include "ltectl/sim.h"

#include "common/clock.h"
#include "common/program.h"
#include "common/record.h"
#include "common/slice.h"
#include "ltectl/deadline.h"
#include "support/fd.h"
#include "support/socket.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>

namespace lterouter::tools {
namespace {

constexpr int kLookMs = 250; // whether the simulator is still there

ControlPath g_control = {};

const char *path() { return g_control[0] != '\0' ? g_control : kManagerControl; }

bool reach(int fd)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    snprintf(address.sun_path, sizeof(address.sun_path), "%s", path());
    return connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) == 0;
}

int tell_unreachable()
{
    return errno == ENOENT || errno == ECONNREFUSED
               ? fail(kNobody,
                      "no simulator is controlled at %s: start wansim or modemsim, or tell --control "
                      "where it listens",
                      path())
               : fail(kFailed, "cannot control the simulator at %s: %s", path(), strerror(errno));
}

int tell_gone(const char *line)
{
    return fail(kNobody,
                "the simulator at %s ended before it answered; whether it did \"%s\" is not known",
                path(), line);
}

// The length of the answer; negative when the simulator has ended.
ssize_t receive(int fd, char *answer)
{
    for (;;) {
        pollfd answered = {fd, POLLIN, 0};
        if (poll(&answered, 1, kLookMs) > 0) {
            return recv(fd, answer, kLongestControlAnswer, MSG_DONTWAIT);
        }
        if (!reach(fd)) {
            // It may have answered before it ended.
            return recv(fd, answer, kLongestControlAnswer, MSG_DONTWAIT);
        }
    }
}

// ---- The answer ----

// A value, whose name is followed by its kind: = a text, : a number.
void add_value(Record &record, std::string_view line, bool first)
{
    const size_t length = std::min(line.find_first_of("=:"), line.size());
    char name[32];
    snprintf(name, sizeof(name), "%.*s", static_cast<int>(length), line.data());
    if (length == line.size()) {
        return;
    }
    const std::string_view value(line.data() + length + 1, line.size() - length - 1);
    if (line[length] == '=') {
        first ? record.word(name, value) : record.field(name, value);
        return;
    }
    char digits[24];
    snprintf(digits, sizeof(digits), "%.*s", static_cast<int>(value.size()), value.data());
    record.number(name, strtoll(digits, nullptr, 10));
}

// A piece of an answer, for an error message.
struct Shown {
    char text[256] = "";

    explicit Shown(std::string_view piece)
    {
        if (FILE *file = fmemopen(text, sizeof(text), "w"); file != nullptr) {
            put_text({piece.data(), std::min(piece.size(), sizeof(text) - 1)}, file);
            fclose(file);
        }
    }
};

int show(const char *line, std::string_view answer)
{
    std::string_view first = take_line(&answer);
    const bool wrong = take_start(&first, "usage ");
    if (wrong || take_start(&first, "failed ")) {
        return fail(wrong ? kUsage : kFailed, "%s", Shown(first).text);
    }
    if (first != "ok") {
        return fail(kFailed, "what is at %s is no simulator: it answers \"%s\"", path(),
                    Shown(first).text);
    }
    Record record;
    if (answer.empty()) {
        record.event("done").text("done").word("control", line);
        return kDone;
    }
    record.event("simulator");
    for (bool is_first = true; !answer.empty(); is_first = false) {
        add_value(record, take_line(&answer), is_first);
    }
    return kDone;
}

int control(const char *line)
{
    const Fd fd(open_socket(AF_UNIX, SOCK_DGRAM, 0));
    // With this option the kernel gives the socket a name, to which the answer is sent.
    const int on = 1;
    if (!fd || setsockopt(fd.get(), SOL_SOCKET, SO_PASSCRED, &on, sizeof(on)) != 0 ||
        !reach(fd.get())) {
        return tell_unreachable();
    }
    char too_late[256];
    snprintf(
        too_late, sizeof(too_late),
        "the simulator at %s did not answer within %u s: is it stopped? When it goes on it may still "
        "do \"%s\"",
        path(), g_timeout_seconds, line);
    static char answer[kLongestControlAnswer];
    ssize_t size = -1;
    {
        const Waiting waiting(
            {.peer = nullptr, .what = "the simulator to answer", .too_late = too_late});
        if (send(fd.get(), line, strlen(line), MSG_NOSIGNAL) >= 0) {
            size = receive(fd.get(), answer);
        }
    }
    return size < 0 ? tell_gone(line) : show(line, {answer, static_cast<size_t>(size)});
}

} // namespace

const Option kSimOptions[] = {
    {"control", "PATH", "the simulator's control socket (/tmp/wansim.control)", &kControlPath,
     g_control},
    {"timeout", "SECONDS", "give up after that long without an answer (10)", &kTimeoutSeconds,
     &g_timeout_seconds},
    {},
};

int run_control(const Control &asked, char *const *operands)
{
    const char *operand = operands[0] != nullptr ? operands[0] : "";
    char line[kLongestControl + 1];
    const int length =
        snprintf(line, sizeof(line), "%s%s%s", asked.name, *operand != '\0' ? " " : "", operand);
    if (length >= static_cast<int>(sizeof(line))) {
        return fail(kUsage, "%s is longer than a control can be", asked.operand);
    }
    return run_until(g_timeout_seconds, [&] { return control(line); });
}

void offer_operand_of(const Control &asked, Offer &offer, const char *const *before)
{
    if (before[0] == nullptr && asked.type != nullptr && asked.type->offer != nullptr) {
        asked.type->offer(offer);
    }
}

} // namespace lterouter::tools
