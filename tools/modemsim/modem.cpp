// Ports, restarts and AT commands; the frames are in receiver.

#include "modemsim/modem.h"

#include "common/program.h"
#include "common/record.h"
#include "lc_string.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace lterouter::tools {
namespace {

struct AtCommand {
    const char *text;
    int64_t place;
};

constexpr AtCommand kUpgradeCommands[] = {{LC_UP_AT_START, kAtStart}, {LC_UP_AT_STATUS, kAtStatus}};

// Whether a command as it arrived, without its line ending, is this complete line.
bool is_command(const char *arrived, const char *line)
{
    const size_t length = strcspn(line, "\r\n");
    return strlen(arrived) == length &&
           lc_strncasecmp(arrived, line, static_cast<uint32_t>(length)) == 0;
}

// Why a file cannot be written, as an errno value, or 0; leaves it as it was.
int try_writing(const char *path)
{
    int fd = open(path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (fd >= 0) {
        unlink(path);
    } else if (errno == EEXIST) {
        fd = open(path, O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    }
    if (fd < 0) {
        return errno;
    }
    close(fd);
    return 0;
}

// false.
bool complain(const Port &port)
{
    const char *hint = errno == EEXIST ? ": a device or file is there already" : "";
    fail(kFailed, "cannot make the port %s: %s%s", port.link(), strerror(errno), hint);
    return false;
}

void tell_command(const char *command, const FaultRule &rule)
{
    Record told;
    told.word("event", "at").field("command", command);
    tell_fault(told, rule);
}

} // namespace

void tell_fault(Record &told, const FaultRule &rule)
{
    if (rule.fault != Fault::kNone) {
        told.field("fault", rule.name);
    }
}

Modem::Modem(Settings *settings)
    : settings_(*settings), at_(settings->at_port), data_(settings->data_port)
{
}

Modem::~Modem()
{
    if (image_ >= 0) {
        close(image_);
    }
}

int Modem::start()
{
    if (settings_.image[0] != '\0') {
        if (const int error = try_writing(settings_.image); error != 0) {
            return fail(kFailed, "cannot write %s: %s", settings_.image, strerror(error));
        }
    }
    return claim(at_) && claim(data_) && appear(at_) && appear(data_) ? kDone : kFailed;
}

void Modem::tell(ControlAnswer &answer) const
{
    constexpr const char *kNames[] = {"normal",   "upgrade",  "receiving",
                                      "complete", "complete", "upgraded"};
    answer.field("state", kNames[static_cast<size_t>(state_)])
        .number("pieces", next_piece_)
        .number("bytes", static_cast<int64_t>(received_))
        .field("ports", data_.fd() >= 0 ? "there" : "gone")
        .field("data", settings_.data_port)
        .field("at", settings_.at_port);
}

bool Modem::claim(Port &port)
{
    if (port.claim()) {
        return true;
    }
    if (errno != EADDRINUSE) {
        return complain(port);
    }
    fail(kFailed,
         "the port %s is taken, by another modemsim or twice; --data-port and --at-port give a "
         "modemsim ports of its own",
         port.link());
    return false;
}

bool Modem::appear(Port &port) { return port.appear() || complain(port); }

bool Modem::unplug(uint32_t ms, bool both)
{
    data_.disappear();
    if (both) {
        at_.disappear();
    }
    Record().word("event", "ports").word("status", "gone");
    filled_ = command_length_ = 0;
    if (!pause_ms(ms)) {
        return true; // the process ends; the ports are not needed any more
    }
    if (!appear(data_) || (both && !appear(at_))) {
        return false;
    }
    Record().word("event", "ports").word("status", "back");
    return true;
}

bool Modem::restart(State state, uint32_t ms)
{
    state_ = state;
    return unplug(ms, true);
}

bool Modem::serve_at()
{
    char bytes[sizeof(command_)];
    const ssize_t count = read(at_.fd(), bytes, sizeof(bytes));
    if (count <= 0) {
        return true; // the host has closed the port
    }
    if (settings_.echo != 0) {
        at_.write(bytes, static_cast<size_t>(count));
    }
    for (ssize_t i = 0; i < count; ++i) {
        const char ch = bytes[i];
        if (ch != '\r' && ch != '\n') {
            // A line longer than any command is truncated, since it is unknown anyway.
            command_[command_length_] = ch;
            command_length_ += command_length_ < sizeof(command_) - 1 ? 1 : 0;
            continue;
        }
        command_[command_length_] = '\0';
        if (command_length_ != 0 && !run_command(command_)) {
            return false;
        }
        command_length_ = 0;
    }
    return true;
}

bool Modem::run_command(const char *command)
{
    int64_t place = 0;
    for (const AtCommand &known : kUpgradeCommands) {
        place = is_command(command, known.text) ? known.place : place;
    }
    const FaultRule rule = place < 0 ? settings_.faults.take(place) : FaultRule{};
    tell_command(command, rule);
    switch (rule.fault) {
    case Fault::kError:
        return answer_at("ERROR");
    case Fault::kSilent:
        return true;
    case Fault::kVanish:
        return unplug(rule.ms, true);
    case Fault::kReboot:
        return restart(State::kNormal, rule.ms);
    case Fault::kLate:
        if (!pause_ms(rule.ms)) {
            return true;
        }
        break;
    case Fault::kNone:
    case Fault::kAgain:
    case Fault::kFatal:
    case Fault::kWrongIndex:
    case Fault::kBehind:
    case Fault::kPartial:
    case Fault::kGarbage:
    case Fault::kStall:
    case Fault::kShort:
        break; // of frames
    }
    if (place == kAtStart) {
        return answer_start();
    }
    if (place == kAtStatus) {
        return answer_status();
    }
    if (is_command(command, "ate0") || is_command(command, "ate1")) {
        settings_.echo = command[3] == '1' ? 1 : 0;
        return answer_at("OK");
    }
    return answer_at(is_command(command, "at") ? "OK" : "ERROR");
}

bool Modem::answer_start()
{
    state_ = State::kUpgrade;
    next_piece_ = 0;
    return answer_at("OK");
}

// Clients take "OK" anywhere for success, so no other answer may contain it.
bool Modem::answer_status()
{
    if (state_ != State::kUpgraded) {
        const bool going = state_ == State::kReceiving || state_ == State::kComplete;
        char text[64];
        snprintf(text, sizeof(text), "+UPGRADE: %s\r\n\r\nERROR",
                 lc_get_status_str(going ? LCT_UP_GO : LCT_UP_NONE));
        return answer_at(text);
    }
    if (settings_.busy != 0) {
        --settings_.busy;
        return answer_at("+UPGRADE: LCT_UP_GO\r\n\r\nERROR");
    }
    return answer_at("+UPGRADE: LCT_UP_OK\r\n\r\nOK");
}

bool Modem::answer_at(const char *text)
{
    char line[96];
    const int length = snprintf(line, sizeof(line), "\r\n%s\r\n", text);
    // A failed write does not matter: the host has closed the port.
    at_.write(line, static_cast<size_t>(length));
    return true;
}

} // namespace lterouter::tools
