#include "modemsim/fault.h"

#include "common/completion.h"

#include <cstdio>
#include <cstring>
#include <string_view>

namespace lterouter::tools {
namespace {

constexpr uint32_t kMost = 600000;

// The meaning of the number behind the colon, and its default.
enum class Number { kTimes, kMilliseconds };

struct FaultName {
    std::string_view name;
    Fault fault;
    Number number;
    uint32_t by_default;
};

constexpr FaultName kFaults[] = {
    {"failed", Fault::kAgain, Number::kTimes, 1},
    {"fatal", Fault::kFatal, Number::kTimes, 1},
    {"wrong-index", Fault::kWrongIndex, Number::kTimes, 1},
    {"behind", Fault::kBehind, Number::kTimes, 1},
    {"partial", Fault::kPartial, Number::kTimes, 1},
    {"garbage", Fault::kGarbage, Number::kTimes, 1},
    {"silent", Fault::kSilent, Number::kTimes, 1},
    {"error", Fault::kError, Number::kTimes, 1},
    {"late", Fault::kLate, Number::kMilliseconds, 2500},
    {"vanish", Fault::kVanish, Number::kMilliseconds, 1000},
    {"reboot", Fault::kReboot, Number::kMilliseconds, 1000},
    {"stall", Fault::kStall, Number::kMilliseconds, 1000},
    {"short", Fault::kShort, Number::kMilliseconds, 1000},
};

// These must be prepared before the frame, and the time of the begin command is not known.
constexpr Fault kPreparedFaults[] = {Fault::kStall, Fault::kShort};

// An AT port has no frames.
constexpr Fault kAtFaults[] = {Fault::kError, Fault::kSilent, Fault::kLate, Fault::kVanish,
                               Fault::kReboot};

struct PlaceName {
    std::string_view name;
    int64_t place;
};

constexpr PlaceName kPlaces[] = {
    {"start", kAtStart}, {"status", kAtStatus}, {"begin", kAtBegin}, {"end", kAtEnd}};

bool parse_place(std::string_view text, int64_t *place)
{
    for (const PlaceName &known : kPlaces) {
        if (known.name == text) {
            *place = known.place;
            return true;
        }
    }
    uint32_t piece;
    if (!parse_number(text, 0, kMost, &piece)) {
        return false;
    }
    *place = piece;
    return true;
}

template <size_t Count> bool holds(const Fault (&faults)[Count], Fault fault)
{
    for (const Fault known : faults) {
        if (known == fault) {
            return true;
        }
    }
    return false;
}

bool suits(int64_t place, Fault fault)
{
    if (place <= kAtStatus) {
        return holds(kAtFaults, fault);
    }
    return fault != Fault::kError && (place != kAtBegin || !holds(kPreparedFaults, fault));
}

// KIND or KIND:N.
bool parse_kind(const char *text, FaultRule *rule)
{
    const char *colon = strchr(text, ':');
    const std::string_view name(text,
                                colon == nullptr ? strlen(text) : static_cast<size_t>(colon - text));
    for (const FaultName &known : kFaults) {
        if (known.name != name) {
            continue;
        }
        uint32_t number = known.by_default;
        if (colon != nullptr && !parse_number(colon + 1, 0, kMost, &number)) {
            return false;
        }
        rule->fault = known.fault;
        rule->name = known.name;
        rule->times = known.number == Number::kTimes ? number : 1;
        rule->ms = known.number == Number::kMilliseconds ? number : 0;
        return true;
    }
    return false;
}

// Those of the first piece for all pieces.
void offer_rules(Offer &offer)
{
    constexpr PlaceName kFirst = {"0", 0};
    const auto offer_place = [&offer](const PlaceName &place) {
        for (const FaultName &known : kFaults) {
            if (suits(place.place, known.fault)) {
                char rule[32];
                snprintf(rule, sizeof(rule), "%.*s=%.*s", static_cast<int>(place.name.size()),
                         place.name.data(), static_cast<int>(known.name.size()), known.name.data());
                offer.add(rule);
            }
        }
    };
    for (const PlaceName &place : kPlaces) {
        offer_place(place);
    }
    offer_place(kFirst);
}

bool parse_rule(const char *text, void *target) { return static_cast<FaultRules *>(target)->add(text); }

} // namespace

const ValueType kFaultRule = {"PLACE=FAULT[:N], with a place and a fault that --help lists, which suit "
                              "each other; at most 32 of them",
                              parse_rule, offer_rules};

bool FaultRules::add(const char *text)
{
    const char *equals = strchr(text, '=');
    if (equals == nullptr || count_ == kMax) {
        return false;
    }
    FaultRule rule;
    if (!parse_place({text, static_cast<size_t>(equals - text)}, &rule.place) ||
        !parse_kind(equals + 1, &rule) || !suits(rule.place, rule.fault)) {
        return false;
    }
    rules_[count_++] = rule;
    return true;
}

const FaultRule *FaultRules::find(int64_t place) const
{
    for (size_t i = 0; i < count_; ++i) {
        if (rules_[i].place == place && rules_[i].times != 0) {
            return &rules_[i];
        }
    }
    return nullptr;
}

FaultRule FaultRules::take(int64_t place)
{
    const FaultRule *found = find(place);
    if (found == nullptr) {
        return {};
    }
    const FaultRule taken = *found;
    --rules_[found - rules_].times;
    return taken;
}

bool FaultRules::pending(int64_t place, Fault fault) const
{
    const FaultRule *found = find(place);
    return found != nullptr && found->fault == fault;
}

} // namespace lterouter::tools
