#include "ltectl/secret.h"

#include "common/program.h"
#include "lc_nv.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

namespace lterouter::tools {
namespace {

constexpr int kEnding[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};
constexpr size_t kEndings = sizeof(kEnding) / sizeof(kEnding[0]);

volatile sig_atomic_t g_signal = 0;

void note_signal(int number) { g_signal = number; }

// Lets signals interrupt the wait for input, so that the terminal's echo is restored before they take
// effect. They are unblocked only during that wait: a signal just before a read would not interrupt it.
class BreakOff {
public:
    BreakOff()
    {
        struct sigaction action = {};
        action.sa_handler = note_signal; // without SA_RESTART
        sigset_t ending;
        sigemptyset(&ending);
        for (size_t i = 0; i < kEndings; ++i) {
            sigaction(kEnding[i], nullptr, &actions_[i]);
            if (actions_[i].sa_handler != SIG_IGN) { // set by nohup
                sigaction(kEnding[i], &action, nullptr);
            }
            sigaddset(&ending, kEnding[i]);
        }
        sigprocmask(SIG_BLOCK, &ending, &mask_);
        waiting_mask_ = mask_;
        for (const int number : kEnding) {
            sigdelset(&waiting_mask_, number);
        }
    }
    ~BreakOff()
    {
        sigprocmask(SIG_SETMASK, &mask_, nullptr);
        for (size_t i = 0; i < kEndings; ++i) {
            sigaction(kEnding[i], &actions_[i], nullptr);
        }
        if (g_signal != 0) {
            raise(g_signal);
        }
    }
    BreakOff(const BreakOff &) = delete;
    BreakOff &operator=(const BreakOff &) = delete;

    // False with EINTR when one of these signals comes first. Being stopped and continued ends the
    // call, too.
    bool await_input() const
    {
        pollfd input = {STDIN_FILENO, POLLIN, 0};
        int ready;
        do {
            ready = ppoll(&input, 1, nullptr, &waiting_mask_);
        } while (ready < 0 && errno == EINTR && g_signal == 0);
        return ready > 0;
    }

private:
    struct sigaction actions_[kEndings];
    sigset_t mask_;
    sigset_t waiting_mask_;
};

class Echo {
public:
    explicit Echo(bool on) : on_(on)
    {
        tcgetattr(STDIN_FILENO, &before_);
        termios wanted = before_;
        if (!on_) {
            wanted.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        }
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &wanted);
    }
    ~Echo()
    {
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &before_);
        if (!on_) {
            fputc('\n', stderr);
        }
    }
    Echo(const Echo &) = delete;
    Echo &operator=(const Echo &) = delete;

private:
    const bool on_;
    termios before_;
};

// A line of standard input, and no more than that: another secret may follow.
struct SecretLine {
    ~SecretLine() { explicit_bzero(text, sizeof(text)); }

    // False at the end of the input, with errno 0, or when it cannot be read. break_off: nullptr unless
    // it is a terminal.
    bool read_line(const BreakOff *break_off);

    char text[NV_VALUE_MAX + 2] = ""; // one more than the longest value: too long
};

ssize_t read_byte(const BreakOff *break_off, char *ch)
{
    return break_off == nullptr || break_off->await_input() ? read(STDIN_FILENO, ch, 1) : -1;
}

bool SecretLine::read_line(const BreakOff *break_off)
{
    size_t length = 0;
    char ch = 0;
    ssize_t count;
    while ((count = read_byte(break_off, &ch)) == 1 && ch != '\n') {
        if (ch == '\0') { // would end the text
            errno = EINVAL;
            return false;
        }
        // One that is too long stays so.
        text[length] = ch;
        length += length < sizeof(text) - 1 ? 1 : 0;
    }
    text[length] = '\0';
    errno = count < 0 ? errno : 0;
    return count == 1 || length != 0;
}

bool ask(const char *name, bool echo, SecretLine *line)
{
    const BreakOff break_off;
    const Echo typed(echo);
    fprintf(stderr, "%s: ", name);
    return line->read_line(&break_off);
}

} // namespace

int parse_secret(const char *name, const char *operand, const ValueType &type, void *target, bool echo)
{
    if (operand != nullptr && strcmp(operand, "-") != 0) {
        return type.parse(operand, target) ? kDone : bad_value(name, type, operand);
    }
    const bool typed = isatty(STDIN_FILENO) == 1;
    if (operand == nullptr && !typed) {
        return fail(kUsage, "%s is missing; \"-\" reads it from standard input", name);
    }
    SecretLine line;
    if (!(typed ? ask(name, echo, &line) : line.read_line(nullptr))) {
        return fail(kFailed, "cannot read %s from standard input: %s", name,
                    errno != 0 ? strerror(errno) : "there is none");
    }
    return type.parse(line.text, target) ? kDone : fail(kUsage, "%s takes %s", name, type.expects);
}

} // namespace lterouter::tools
