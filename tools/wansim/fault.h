// Misbehaviour on demand, for each request by its name, for testing the error handling of clients.
#pragma once

#include "common/command.h"

#include <cstddef>
#include <string_view>

namespace lterouter::tools {

// Kind, name, what may follow the name. The help, the completion and the messages are made of these
// rows.
#define WANSIM_FAULTS(FIRST, NEXT)                                                       \
    FIRST(kRefuse, "refuse", "") /* result -1, and nothing is done */                    \
    NEXT(kLate, "late", "[:MS]") /* the answer is held back */                           \
    NEXT(kShort, "short", "")    /* the answer does not even hold its result */          \
    NEXT(kLong, "long", "")      /* the answer is longer than any client has room for */ \
    NEXT(kTwice, "twice", "")    /* the answer is sent twice */                          \
    NEXT(kSilent, "silent", "")  /* nothing is answered */                               \
    NEXT(kDie, "die", "")        /* the process ends before it answers */

#define WANSIM_FIRST_FAULT(kind, name, argument) name argument
#define WANSIM_NEXT_FAULT(kind, name, argument) ", " name argument
// A literal: "refuse, late[:MS], ...".
#define WANSIM_FAULT_LIST WANSIM_FAULTS(WANSIM_FIRST_FAULT, WANSIM_NEXT_FAULT)

#define WANSIM_FAULT_KIND(kind, name, argument) kind,
enum class Fault { kNone, WANSIM_FAULTS(WANSIM_FAULT_KIND, WANSIM_FAULT_KIND) };
#undef WANSIM_FAULT_KIND

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
