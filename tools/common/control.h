// What the simulators can be told while they run: one table, of which the parser, the helps, the
// completion and the commands of ltectl are made. A control is a line of words, "link drop"; it comes
// as a datagram to a simulator's control socket, or from its script.
#pragma once

#include "common/command.h"
#include "common/fault.h"
#include "common/program.h"
#include "common/text.h"

#include <cstdint>
#include <cstring>
#include <string_view>
#include <sys/un.h>

namespace lterouter::tools {

// The simulators, as bits.
constexpr unsigned kManagerSim = 1; // wansim
constexpr unsigned kStoreSim = 2;   // wansim --sms-store
constexpr unsigned kModemSim = 4;   // modemsim
constexpr unsigned kEverySim = kManagerSim | kStoreSim | kModemSim;

using ControlPath = decltype(sockaddr_un::sun_path);

// Where they listen unless told otherwise; modemsim at its data port's path with this after it.
constexpr char kManagerControl[] = "/tmp/wansim.control";
constexpr char kStoreControl[] = "/tmp/wansim-sms.control";
constexpr char kModemControlSuffix[] = ".control";

// Target: ControlPath.
extern const ValueType kControlPath;

enum class ControlId { kLink, kSignal, kNetwork, kCard, kHang, kFault, kStatus, kQuit };

struct Control {
    ControlId id;
    unsigned of; // the simulators that have it
    const char *name;
    const char *operand; // "" for none
    const char *help;
    const ValueType *type; // target: uint32_t; none without an operand, and for one that is a rule
};

// Values, in the order of their words. Target: uint32_t.
enum : uint32_t { kDrop, kRestore };
enum : uint32_t { kOut, kIn };
extern const ValueType kLinkChange;
extern const ValueType kCardChange;
// Target: uint32_t.
extern const ValueType kSignalValue;
extern const ValueType kNetworkType;
extern const ValueType kHangSeconds;

// clang-format off
inline constexpr Control kControls[] = {
    {ControlId::kLink, kManagerSim, "link", "drop|restore", "Lose the link, or connect again.", &kLinkChange},
    {ControlId::kSignal, kManagerSim, "signal", "RSSI", "Set the signal: 0 to 31, or 99 for none.", &kSignalValue},
    {ControlId::kNetwork, kManagerSim, "network", "TYPE", "Set the network type: 0 none, 1 2G, 2 3G, 3 4G.", &kNetworkType},
    {ControlId::kCard, kManagerSim, "card", "out|in", "Take the SIM out, or put it back.", &kCardChange},
    {ControlId::kHang, kEverySim, "hang", "SECONDS", "Answer nothing for that long; what comes meanwhile waits.", &kHangSeconds},
    {ControlId::kFault, kEverySim, "fault", "RULE", "Set the fault of a request or place; it alone ends its faults, none ends all.", nullptr},
    {ControlId::kStatus, kEverySim, "status", "", "Show the state of a simulator.", nullptr},
    {ControlId::kQuit, kEverySim, "quit", "", "End a simulator.", nullptr},
};
// clang-format on

// Of a simulator's help: "link drop|restore, signal RSSI, ...".
template <size_t Size> constexpr void tell_controls(Text<Size> &help, unsigned simulator)
{
    const char *separator = "";
    for (const Control &control : kControls) {
        if ((control.of & simulator) != 0) {
            help.add(separator).add(control.name).add(*control.operand == '\0' ? "" : " ");
            help.add(control.operand);
            separator = ", ";
        }
    }
}

// A control as it was understood.
struct Order {
    const Control *control = nullptr;
    uint32_t value = 0;
    char operand[64] = "";
};

struct Reason {
    char text[256] = "";
};

// Who understands controls: a simulator, and its faults.
struct Understanding {
    unsigned simulator;
    const ValueType &rule; // without a target: only checks
};

// False when the line is no control of this simulator, and why.
bool parse_order(const Understanding &understanding, std::string_view line, Order *order,
                 Reason *reason);

// The longest control, and the longest answer.
constexpr size_t kLongestControl = 256;
constexpr size_t kLongestControlAnswer = 4096;

// The answer to a control: "ok" and the lines of its values, or "usage" or "failed" and a reason. A
// text is NAME=TEXT, a number NAME:NUMBER.
class ControlAnswer {
public:
    ControlAnswer() { put("ok"); }

    void refuse(int code, const char *reason);
    ControlAnswer &field(const char *name, std::string_view value);
    ControlAnswer &number(const char *name, int64_t value);

    int code() const { return code_; }
    std::string_view text() const { return {text_, length_}; }

private:
    void put(std::string_view piece);

    int code_ = kDone;
    size_t length_ = 0;
    char text_[kLongestControlAnswer];
};

// Of a simulator, for the controls that each has.
struct Simulator {
    const char *name;
    void (*hang)(uint32_t ms);
    int64_t (*hang_left_ms)();
    bool (*change_faults)(const char *rule);
    void (*tell_faults)(FaultText &text);
    void (*tell_state)(ControlAnswer &answer);
};

// False when the control is not one of them.
bool carry_out(const Simulator &simulator, const Order &order, ControlAnswer &answer);

// Does what a simulator is told.
using CarryOut = void (*)(const Order &order, ControlAnswer &answer);

// The same for a line of a script.
void run_event(const Understanding &understanding, CarryOut carry_out, std::string_view line);

// The socket of a simulator. Its file has the rights 0600, so that its user and root may control it.
class ControlSocket {
public:
    ControlSocket() = default;
    ~ControlSocket() { close(); }
    ControlSocket(const ControlSocket &) = delete;
    ControlSocket &operator=(const ControlSocket &) = delete;

    // The file that a simulator has left that was killed is replaced. Returns kDone, or the exit code
    // after an error message. Not while another thread makes files.
    int open(const char *path);
    // Removes the file.
    void close();

    // To be polled; -1 when it is not open.
    int fd() const { return fd_; }

    // Takes a control, if there is one, has it carried out, and answers.
    void serve(const Understanding &understanding, CarryOut carry_out) const;

private:
    int fd_ = -1;
    ControlPath path_ = {};
    uint64_t device_ = 0; // of the file
    uint64_t inode_ = 0;
};

} // namespace lterouter::tools
