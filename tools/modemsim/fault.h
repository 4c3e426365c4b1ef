// Misbehaviour on demand, at a chosen step of the upgrade, for testing the error handling of
// applications.
#pragma once

#include "common/command.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace lterouter::tools {

enum class Fault {
    kNone,
    kAgain,      // "RSP_FAILED": send it again
    kFatal,      // another status: give up
    kWrongIndex, // the response carries the next index
    kBehind,     // the response to the frame before comes first
    kPartial,    // the response is cut off in its header
    kGarbage,    // bytes that are no response
    kSilent,     // no answer
    kLate,       // the answer is held back
    kVanish,     // no answer: the port is gone and comes back
    kReboot,     // no answer: the modem restarts and has forgotten the upgrade
    kStall,      // takes no bytes for a while: flow control
    kShort,      // takes a part of the bytes, then the port is gone and comes back
    kError,      // an AT command is answered without "OK"
};

// Where a fault may happen besides the pieces, which count from 0.
constexpr int64_t kAtStart = -4;
constexpr int64_t kAtStatus = -3;
constexpr int64_t kAtBegin = -2;
constexpr int64_t kAtEnd = -1;

struct FaultRule {
    int64_t place = 0;
    Fault fault = Fault::kNone;
    std::string_view name; // on the command line
    uint32_t times = 0;    // remaining
    uint32_t ms = 0;
};

// The faults of the command line, each PLACE=FAULT[:N].
class FaultRules {
public:
    bool add(const char *text);
    // Takes the next fault of this place.
    FaultRule take(int64_t place);
    // Whether taking it would yield this fault.
    bool pending(int64_t place, Fault fault) const;

private:
    static constexpr size_t kMax = 32;

    const FaultRule *find(int64_t place) const;

    FaultRule rules_[kMax];
    size_t count_ = 0;
};

// Target: FaultRules.
extern const ValueType kFaultRule;

} // namespace lterouter::tools
