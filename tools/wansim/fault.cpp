#include "wansim/fault.h"

#include "wansim/requests.h"

#include <algorithm>
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

// The name in a table, which stays; empty when there is no such request.
std::string_view place_name(std::string_view text)
{
    return text == kAllRequests ? kAllRequests : find_request_name(text);
}

bool parse(const char *text, FaultRule *rule)
{
    const char *equals = strchr(text, '=');
    const FaultKind<Fault> *kind =
        equals == nullptr ? nullptr : parse_fault(equals + 1, kFaults, &rule->late_ms);
    if (kind == nullptr) {
        return false;
    }
    rule->request = place_name({text, static_cast<size_t>(equals - text)});
    rule->fault = kind->fault;
    return !rule->request.empty();
}

bool parse_change(const char *text, void *)
{
    FaultRules scratch;
    return scratch.change(text);
}

bool parse_rule(const char *text, void *target) { return static_cast<FaultRules *>(target)->add(text); }

constexpr auto kExpected = tell_faults(
    "REQUEST=FAULT, with a request that --requests lists, or all, and one of ", "; at most 32 of them");

} // namespace

const ValueType kFaultRule = {kExpected.text(), parse_rule, offer_rules};
const ValueType kFaultChange = {
    "REQUEST=FAULT as --fault does, a request or all to end its faults, or none to end every fault",
    parse_change};

bool FaultRules::add(const char *text)
{
    FaultRule rule;
    if (count_ == kMax || !parse(text, &rule)) {
        return false;
    }
    rules_[count_++] = rule;
    return true;
}

bool FaultRules::change(const char *text)
{
    if (strcmp(text, kNoFaults) == 0) {
        count_ = 0;
        return true;
    }
    FaultRule rule;
    if (strchr(text, '=') == nullptr) {
        const std::string_view request = place_name(text);
        remove(request);
        return !request.empty();
    }
    if (!parse(text, &rule)) {
        return false;
    }
    remove(rule.request);
    if (count_ == kMax) {
        return false;
    }
    rules_[count_++] = rule;
    return true;
}

void FaultRules::remove(std::string_view request)
{
    count_ = static_cast<size_t>(
        std::remove_if(rules_, rules_ + count_,
                       [=](const FaultRule &rule) { return rule.request == request; }) -
        rules_);
}

void FaultRules::tell(FaultText *text) const
{
    for (size_t i = 0; i < count_; ++i) {
        const FaultRule &rule = rules_[i];
        for (const FaultKind<Fault> &kind : kFaults) {
            if (kind.fault == rule.fault) {
                text->add(rule.request, kind, rule.late_ms);
            }
        }
    }
}

FaultRule FaultRules::of(std::string_view request) const
{
    FaultRule found;
    for (size_t i = 0; i < count_; ++i) {
        if (rules_[i].request == kAllRequests || rules_[i].request == request) {
            found = rules_[i];
        }
    }
    return found;
}

} // namespace lterouter::tools
