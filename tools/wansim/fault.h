// Misbehaviour on demand, for each request by its name, for testing the error handling of clients.
#pragma once

#include "common/command.h"

#include <cstddef>
#include <string_view>

namespace lterouter::tools {

enum class Fault {
    kNone,
    kRefuse, // result -1, and nothing is done
    kLate,   // the answer is held back
    kShort,  // the answer does not even hold its result
    kLong,   // the answer is longer than any client has room for
    kTwice,  // the answer is sent twice
    kSilent, // nothing is answered
    kDie,    // the process ends before it answers
};

struct FaultRule {
    std::string_view request; // "all" for every one
    Fault fault = Fault::kNone;
    uint32_t late_ms = 0;
};

// The faults of the command line, each REQUEST=FAULT. A later rule wins.
class FaultRules {
public:
    bool add(const char *text);
    FaultRule of(std::string_view request) const;

private:
    static constexpr size_t kMax = 32;

    FaultRule rules_[kMax];
    size_t count_ = 0;
};

// Target: FaultRules.
extern const ValueType kFaultRule;

} // namespace lterouter::tools
