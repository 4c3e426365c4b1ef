// Misbehaviour on demand, for each request by its name, for testing the error handling of clients.
#pragma once

#include "common/fault.h"

#include <string_view>

namespace lterouter::tools {

// Kind, name, number. The parser, the help, the completion and the messages are made of these rows.
#define WANSIM_FAULTS(ROW)                                                                 \
    ROW(kRefuse, "refuse", kNoNumber)      /* result -1, and nothing is done */            \
    ROW(kLate, "late", milliseconds(2000)) /* the answer is held back */                   \
    ROW(kShort, "short", kNoNumber)        /* the answer does not even hold its result */  \
    ROW(kLong, "long", kNoNumber)          /* it is longer than any client has room for */ \
    ROW(kTwice, "twice", kNoNumber)        /* the answer is sent twice */                  \
    ROW(kSilent, "silent", kNoNumber)      /* nothing is answered */                       \
    ROW(kDie, "die", kNoNumber)            /* the process ends before it answers */

#define WANSIM_FAULT(kind, name, number) kind,
enum class Fault { kNone, WANSIM_FAULTS(WANSIM_FAULT) };
#undef WANSIM_FAULT

#define WANSIM_FAULT(kind, name, number) {name, Fault::kind, number},
constexpr FaultKind<Fault> kFaults[] = {WANSIM_FAULTS(WANSIM_FAULT)};
#undef WANSIM_FAULT

// Of help and messages: "refuse, late[:MS], ..." between two other pieces of the sentence.
constexpr Text<512> tell_faults(std::string_view before, std::string_view after)
{
    Text<512> told;
    told.add(before);
    for (const FaultKind<Fault> &kind : kFaults) {
        told.add(&kind == kFaults ? "" : ", ").add(kind.name);
        told.add(kind.counts(FaultNumber::Unit::kMilliseconds) ? "[:MS]" : "");
    }
    return told.add(after);
}

struct FaultRule {
    std::string_view place; // a request, or "all" for every one
    Fault fault = Fault::kNone;
    uint32_t late_ms = 0;

    static bool parse(const char *text, FaultRule *rule);
    static bool parse_place(std::string_view text, std::string_view *place);
};

// The faults, each REQUEST=FAULT. A later rule wins.
class FaultRules : public FaultList<FaultRule> {
public:
    FaultRule of(std::string_view request) const;
    // Adds the rules to a text, as --fault takes them.
    void tell(FaultText &text) const;
};

// Target: FaultRules.
extern const ValueType kFaultRule;
// The same while it runs. Without a target: only checks.
extern const ValueType kFaultChange;

} // namespace lterouter::tools
