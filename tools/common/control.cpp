#include "common/control.h"

#include "common/completion.h"
#include "common/program.h"
#include "common/record.h"
#include "support/errno_guard.h"
#include "support/fd.h"
#include "support/socket.h"

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lterouter::tools {
namespace {

constexpr mode_t kOwnerOnly = 0177; // as a mask: no right but to read and write for the owner

bool parse_either(const char *text, const char *first, const char *second, void *target)
{
    const bool is_second = strcmp(text, second) == 0;
    *static_cast<uint32_t *>(target) = is_second ? 1 : 0;
    return is_second || strcmp(text, first) == 0;
}

// ---- Words ----

constexpr std::string_view kBlanks = " \t\r\n";

std::string_view take_word(std::string_view *line)
{
    line->remove_prefix(std::min(line->find_first_not_of(kBlanks), line->size()));
    const std::string_view word(line->data(), std::min(line->find_first_of(kBlanks), line->size()));
    line->remove_prefix(word.size());
    return word;
}

// A NUL would hide what stands after it.
bool is_text(std::string_view line)
{
    return std::none_of(line.begin(), line.end(), [](char ch) {
        const auto byte = static_cast<unsigned char>(ch);
        return byte == 0x7f || (byte < ' ' && kBlanks.find(ch) == kBlanks.npos);
    });
}

const Control *find_control(unsigned simulator, std::string_view name)
{
    for (const Control &control : kControls) {
        if ((control.of & simulator) != 0 && name == control.name) {
            return &control;
        }
    }
    return nullptr;
}

__attribute__((format(printf, 2, 3))) bool refuse(Reason *reason, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(reason->text, sizeof(reason->text), format, arguments);
    va_end(arguments);
    return false;
}

// A word of at most as many characters as are shown of it.
struct Word {
    char text[64];

    explicit Word(std::string_view word)
    {
        snprintf(text, sizeof(text), "%.*s", static_cast<int>(word.size()), word.data());
    }
};

bool refuse_name(unsigned simulator, std::string_view name, Reason *reason)
{
    Text<256> known;
    tell_controls(known, simulator);
    return name.empty()
               ? refuse(reason, "a control is missing: %s", known.text())
               : refuse(reason, "unknown control \"%s\": there are %s", Word(name).text, known.text());
}

bool parse_operand(const Understanding &understanding, std::string_view word, Order *order,
                   Reason *reason)
{
    const Control &control = *order->control;
    if (*control.operand == '\0') {
        return word.empty() || refuse(reason, "%s takes no argument", control.name);
    }
    if (word.empty()) {
        return refuse(reason, "%s: %s is missing", control.name, control.operand);
    }
    const ValueType &type = control.type != nullptr ? *control.type : understanding.rule;
    const Word text(word);
    if (word.size() >= sizeof(text.text) || !type.parse(text.text, &order->value)) {
        return refuse(reason, "%s takes %s, not \"%s\"", control.name, type.expects, text.text);
    }
    memcpy(order->operand, text.text, sizeof(order->operand));
    return true;
}

} // namespace

// ---- Values ----

const ValueType kControlPath = {"a path of at most 107 characters", parse_path<sizeof(ControlPath)>};
const ValueType kLinkChange = {
    "drop or restore",
    [](const char *text, void *target) { return parse_either(text, "drop", "restore", target); },
    [](Offer &offer) { offer.add_each("drop restore", ' '); }};
const ValueType kCardChange = {
    "out or in", [](const char *text, void *target) { return parse_either(text, "out", "in", target); },
    [](Offer &offer) { offer.add_each("out in", ' '); }};
const ValueType kSignalValue = {"a number from 0 to 31, or 99", [](const char *text, void *target) {
                                    auto *value = static_cast<uint32_t *>(target);
                                    return parse_number(text, 0, 99, value) &&
                                           (*value <= 31 || *value == 99);
                                }};
const ValueType kNetworkType = {"a number from 0 to 3", parse_number_in<0, 3>,
                                [](Offer &offer) { offer.add_numbers(0, 3); }};
const ValueType kHangSeconds = {"a number of seconds from 0 to 3600", parse_number_in<0, 3600>};

bool parse_order(const Understanding &understanding, std::string_view line, Order *order,
                 Reason *reason)
{
    if (!is_text(line)) {
        return refuse(reason, "a control is a line of text");
    }
    *order = {};
    const std::string_view name = take_word(&line);
    order->control = find_control(understanding.simulator, name);
    if (order->control == nullptr) {
        return refuse_name(understanding.simulator, name, reason);
    }
    if (!parse_operand(understanding, take_word(&line), order, reason)) {
        return false;
    }
    const std::string_view more = take_word(&line);
    return more.empty() || refuse(reason, "\"%s\" is one argument too many", Word(more).text);
}

// ---- Answers ----

void ControlAnswer::refuse(int code, const char *reason)
{
    code_ = code;
    length_ = 0;
    put(code == kUsage ? "usage " : "failed ");
    put(reason);
}

ControlAnswer &ControlAnswer::field(const char *name, std::string_view value)
{
    put("\n");
    put(name);
    put("=");
    for (const char ch : value) { // a line feed would begin another value
        put(ch == '\n' ? "?" : std::string_view(&ch, 1));
    }
    return *this;
}

ControlAnswer &ControlAnswer::number(const char *name, int64_t value)
{
    char line[64];
    snprintf(line, sizeof(line), "\n%s:%" PRId64, name, value);
    put(line);
    return *this;
}

void ControlAnswer::put(std::string_view piece)
{
    const size_t size = std::min(piece.size(), sizeof(text_) - length_);
    memcpy(text_ + length_, piece.data(), size);
    length_ += size;
}

// ---- Carrying out ----

namespace {

void tell_status(const Simulator &simulator, ControlAnswer &answer)
{
    FaultText faults;
    simulator.tell_faults(faults);
    answer.field("simulator", simulator.name).number("pid", getpid());
    simulator.tell_state(answer);
    answer.number("hang", (simulator.hang_left_ms() + 999) / 1000).field("faults", faults.text());
}

void change_faults(const Simulator &simulator, const char *rule, ControlAnswer &answer)
{
    if (!simulator.change_faults(rule)) {
        Text<64> reason;
        answer.refuse(kFailed, reason.add("there are ").add(kMostFaults).add(" faults already").text());
    }
}

void tell_control(const Order &order, const char *source)
{
    char text[96];
    snprintf(text, sizeof(text), "%s%s%s", order.control->name, order.operand[0] != '\0' ? " " : "",
             order.operand);
    Record().word("event", "control").word("control", text).field("from", source);
}

void run(const Understanding &understanding, CarryOut carry_out, std::string_view line,
         const char *source, ControlAnswer &answer)
{
    Order order;
    Reason reason;
    if (!parse_order(understanding, line, &order, &reason)) {
        answer.refuse(kUsage, reason.text);
        return;
    }
    if (order.control->id != ControlId::kStatus) {
        tell_control(order, source);
    }
    carry_out(order, answer);
}

} // namespace

bool carry_out(const Simulator &simulator, const Order &order, ControlAnswer &answer)
{
    switch (order.control->id) {
    case ControlId::kHang:
        simulator.hang(order.value * 1000);
        return true;
    case ControlId::kFault:
        change_faults(simulator, order.operand, answer);
        return true;
    case ControlId::kStatus:
        tell_status(simulator, answer);
        return true;
    case ControlId::kQuit:
        kill(getpid(), SIGTERM);
        return true;
    default:
        return false;
    }
}

void run_event(const Understanding &understanding, CarryOut carry_out, std::string_view line)
{
    ControlAnswer answer;
    run(understanding, carry_out, line, "script", answer);
    if (answer.code() != kDone) {
        note("script: %.*s: %.*s", static_cast<int>(line.size()), line.data(),
             static_cast<int>(answer.text().size()), answer.text().data());
    }
}

// ---- The socket ----

namespace {

// false.
bool complain(const char *path)
{
    fail(kFailed, "cannot make the control socket %s: %s", path, strerror(errno));
    return false;
}

bool bind_to(int fd, const sockaddr_un &address)
{
    const mode_t mask = umask(kOwnerOnly);
    const bool bound = bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) == 0;
    const ErrnoGuard guard;
    umask(mask);
    return bound;
}

// Removes the file of a socket that nobody has any more; false after an error message.
bool clear_away(const sockaddr_un &address)
{
    const char *path = address.sun_path;
    struct stat status;
    if (lstat(path, &status) != 0 || !S_ISSOCK(status.st_mode)) {
        fail(kFailed, "cannot make the control socket %s: a file is there already", path);
        return false;
    }
    const Fd visitor(open_socket(AF_UNIX, SOCK_DGRAM, 0));
    if (connect(visitor.get(), reinterpret_cast<const sockaddr *>(&address), sizeof(address)) == 0) {
        fail(kFailed,
             "another simulator is controlled at %s; --control gives this one a path of its own", path);
        return false;
    }
    return (errno == ECONNREFUSED && unlink(path) == 0) || complain(path);
}

// Also where a killed simulator has left its file; false after an error message.
bool bind_anew(int fd, const sockaddr_un &address)
{
    if (bind_to(fd, address)) {
        return true;
    }
    if (errno != EADDRINUSE) {
        return complain(address.sun_path);
    }
    return clear_away(address) && (bind_to(fd, address) || complain(address.sun_path));
}

} // namespace

int ControlSocket::open(const char *path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (strlen(path) >= sizeof(address.sun_path)) {
        return fail(kFailed, "the path of the control socket, %s, is too long; --control gives another",
                    path);
    }
    strcpy(address.sun_path, path);
    Fd fd(open_socket(AF_UNIX, SOCK_DGRAM, 0));
    if (!fd) {
        complain(path);
        return kFailed;
    }
    if (!bind_anew(fd.get(), address)) {
        return kFailed;
    }
    struct stat status = {};
    lstat(path, &status);
    strcpy(path_, path);
    device_ = status.st_dev;
    inode_ = status.st_ino;
    fd_ = fd.release();
    return kDone;
}

void ControlSocket::close()
{
    if (fd_ < 0) {
        return;
    }
    struct stat status;
    if (lstat(path_, &status) == 0 && status.st_dev == device_ && status.st_ino == inode_) {
        unlink(path_); // and not the file of another simulator, that has replaced it
    }
    ::close(fd_);
    fd_ = -1;
}

void ControlSocket::serve(const Understanding &understanding, CarryOut carry_out) const
{
    char line[kLongestControl];
    sockaddr_un from;
    socklen_t from_size = sizeof(from);
    // With MSG_TRUNC it returns the size that was sent.
    const ssize_t size = recvfrom(fd_, line, sizeof(line), MSG_DONTWAIT | MSG_TRUNC,
                                  reinterpret_cast<sockaddr *>(&from), &from_size);
    if (size < 0) {
        return;
    }
    ControlAnswer answer;
    if (static_cast<size_t>(size) > sizeof(line)) {
        answer.refuse(kUsage, "a control has at most 256 characters");
    } else {
        run(understanding, carry_out, {line, static_cast<size_t>(size)}, "socket", answer);
    }
    // Not waited for: a client that does not read would hold up the simulator.
    sendto(fd_, answer.text().data(), answer.text().size(), MSG_DONTWAIT | MSG_NOSIGNAL,
           reinterpret_cast<const sockaddr *>(&from), from_size);
}

} // namespace lterouter::tools
