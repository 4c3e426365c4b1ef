#include "wansim/fault.h"

#include "wansim/requests.h"

#include <cstring>

namespace lterouter::tools {
namespace {

// Each fault of a request.
void offer_faults(std::string_view request, void *context)
{
    for (const FaultKind<Fault> &kind : kFaults) {
        offer_fault(*static_cast<Offer *>(context), request, kind.name);
    }
}

void offer_rules(Offer &offer)
{
    offer_faults("all", &offer);
    each_request(offer_faults, &offer);
}

bool parse_rule(const char *text, void *target) { return static_cast<FaultRules *>(target)->add(text); }

constexpr auto kExpected = tell_faults(
    "REQUEST=FAULT, with a request that --requests lists, or all, and one of ", "; at most 32 of them");

} // namespace

const ValueType kFaultRule = {kExpected.text(), parse_rule, offer_rules};

bool FaultRules::add(const char *text)
{
    const char *equals = strchr(text, '=');
    if (equals == nullptr || count_ == kMax) {
        return false;
    }
    FaultRule rule;
    rule.request = {text, static_cast<size_t>(equals - text)};
    const FaultKind<Fault> *kind = parse_fault(equals + 1, kFaults, &rule.late_ms);
    if (kind == nullptr || (rule.request != "all" && !is_request(rule.request))) {
        return false;
    }
    rule.fault = kind->fault;
    rules_[count_++] = rule;
    return true;
}

FaultRule FaultRules::of(std::string_view request) const
{
    FaultRule found;
    for (size_t i = 0; i < count_; ++i) {
        if (rules_[i].request == "all" || rules_[i].request == request) {
            found = rules_[i];
        }
    }
    return found;
}

} // namespace lterouter::tools
