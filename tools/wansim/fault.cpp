#include "wansim/fault.h"

#include "common/completion.h"
#include "wansim/requests.h"

#include <cstdio>
#include <cstring>

namespace lterouter::tools {
namespace {

constexpr uint32_t kLateMs = 2000;
constexpr uint32_t kLatestMs = 600000;

struct FaultName {
    std::string_view name;
    Fault fault;
};

#define FAULT_NAME(kind, name, argument) {name, Fault::kind},
constexpr FaultName kNames[] = {WANSIM_FAULTS(FAULT_NAME, FAULT_NAME)};
#undef FAULT_NAME

bool parse_fault(std::string_view name, FaultRule *rule)
{
    for (const FaultName &known : kNames) {
        if (known.name == name) {
            rule->fault = known.fault;
            return true;
        }
    }
    return false;
}

// KIND, or late:MS.
bool parse_kind(const char *text, FaultRule *rule)
{
    const char *colon = strchr(text, ':');
    if (colon == nullptr) {
        rule->late_ms = kLateMs;
        return parse_fault(text, rule);
    }
    return parse_fault({text, static_cast<size_t>(colon - text)}, rule) &&
           rule->fault == Fault::kLate && parse_number(colon + 1, 0, kLatestMs, &rule->late_ms);
}

// Each fault of a request.
void offer_faults(std::string_view request, void *context)
{
    for (const FaultName &known : kNames) {
        char rule[64];
        snprintf(rule, sizeof(rule), "%.*s=%.*s", static_cast<int>(request.size()), request.data(),
                 static_cast<int>(known.name.size()), known.name.data());
        static_cast<Offer *>(context)->add(rule);
    }
}

void offer_rules(Offer &offer)
{
    offer_faults("all", &offer);
    each_request(offer_faults, &offer);
}

bool parse_rule(const char *text, void *target) { return static_cast<FaultRules *>(target)->add(text); }

} // namespace

const ValueType kFaultRule = {"REQUEST=FAULT, with a request that --requests lists, or all, and one "
                              "of " WANSIM_FAULT_LIST "; at most 32 of them",
                              parse_rule, offer_rules};

bool FaultRules::add(const char *text)
{
    const char *equals = strchr(text, '=');
    if (equals == nullptr || count_ == kMax) {
        return false;
    }
    FaultRule rule;
    rule.request = {text, static_cast<size_t>(equals - text)};
    if ((rule.request != "all" && !is_request(rule.request)) || !parse_kind(equals + 1, &rule)) {
        return false;
    }
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
