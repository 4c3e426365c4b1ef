#include "wansim/fault.h"

#include "wansim/requests.h"

#include <cstring>

namespace lterouter::tools {
namespace {

constexpr std::string_view kAllRequests = "all";

// Each fault of a request.
void offer_faults(std::string_view request, void *context)
{
    for (const FaultKind<Fault> &kind : kFaults) {
        offer_fault(*static_cast<Offer *>(context), request, kind.name);
    }
}

void offer_rules(Offer &offer)
{
    offer_faults(kAllRequests, &offer);
    each_request(offer_faults, &offer);
}

constexpr Text<512> kExpected =
    tell_faults("REQUEST=FAULT, with a request that --requests lists, or all, and one of ",
                "; at most ")
        .add(kMostFaults)
        .add(" of them");

} // namespace

const ValueType kFaultRule = {kExpected.text(), parse_fault_rule<FaultRules>, offer_rules};
const ValueType kFaultChange = {
    "REQUEST=FAULT as --fault does, a request or all to end its faults, or none to end every fault",
    parse_fault_change<FaultRules>};

// To the name in a table, which stays.
bool FaultRule::parse_place(std::string_view text, std::string_view *place)
{
    *place = text == kAllRequests ? kAllRequests : find_request_name(text);
    return !place->empty();
}

bool FaultRule::parse(const char *text, FaultRule *rule)
{
    const char *equals = strchr(text, '=');
    const FaultKind<Fault> *kind =
        equals == nullptr ? nullptr : parse_fault(equals + 1, kFaults, &rule->late_ms);
    if (kind == nullptr) {
        return false;
    }
    rule->fault = kind->fault;
    return parse_place({text, static_cast<size_t>(equals - text)}, &rule->place);
}

void FaultRules::tell(FaultText &text) const
{
    for (const FaultRule &rule : *this) {
        for (const FaultKind<Fault> &kind : kFaults) {
            if (kind.fault == rule.fault) {
                tell_fault(text, rule.place, kind, rule.late_ms);
            }
        }
    }
}

FaultRule FaultRules::of(std::string_view request) const
{
    FaultRule found;
    for (const FaultRule &rule : *this) {
        if (rule.place == kAllRequests || rule.place == request) {
            found = rule;
        }
    }
    return found;
}

} // namespace lterouter::tools
