#include "modemsim/fault.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace lterouter::tools {
namespace {

constexpr uint32_t kLastPiece = 600000;

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
    if (!parse_number(text, 0, kLastPiece, &piece)) {
        return false;
    }
    *place = piece;
    return true;
}

struct PlaceText {
    char text[16];

    explicit PlaceText(int64_t place)
    {
        snprintf(text, sizeof(text), "%d", static_cast<int>(place));
        for (const PlaceName &known : kPlaces) {
            if (known.place == place) {
                snprintf(text, sizeof(text), "%s", known.name.data());
            }
        }
    }
};

bool suits(int64_t place, Suits places)
{
    switch (places) {
    case Suits::kAt:
        return place <= kAtStatus;
    case Suits::kFrames:
        return place > kAtStatus;
    case Suits::kLaterFrames:
        return place > kAtBegin;
    case Suits::kAll:
        break;
    }
    return true;
}

// Those of the first piece for all pieces.
void offer_rules(Offer &offer)
{
    constexpr PlaceName kFirst = {"0", 0};
    const auto offer_place = [&offer](const PlaceName &place) {
        for (const ModemFault &kind : kFaults) {
            if (suits(place.place, kind.places)) {
                offer_fault(offer, place.name, kind.name);
            }
        }
    };
    for (const PlaceName &place : kPlaces) {
        offer_place(place);
    }
    offer_place(kFirst);
}

bool parse(const char *text, FaultRule *rule)
{
    const char *equals = strchr(text, '=');
    uint32_t number;
    const ModemFault *kind = equals == nullptr ? nullptr : parse_fault(equals + 1, kFaults, &number);
    if (kind == nullptr || !parse_place({text, static_cast<size_t>(equals - text)}, &rule->place) ||
        !suits(rule->place, kind->places)) {
        return false;
    }
    rule->fault = kind->fault;
    rule->name = kind->name;
    rule->times = kind->counts(FaultNumber::Unit::kTimes) ? number : 1;
    rule->ms = kind->counts(FaultNumber::Unit::kMilliseconds) ? number : 0;
    return true;
}

bool parse_change(const char *text, void *)
{
    FaultRules scratch;
    return scratch.change(text);
}

bool parse_rule(const char *text, void *target) { return static_cast<FaultRules *>(target)->add(text); }

} // namespace

const ValueType kFaultRule = {"PLACE=FAULT[:N], with a place and a fault that --help lists, which suit "
                              "each other; at most 32 of them",
                              parse_rule, offer_rules};
const ValueType kFaultChange = {
    "PLACE=FAULT[:N] as --fault does, a place to end its faults, or none to end every fault",
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

template <typename Test> void FaultRules::remove(Test ends)
{
    count_ = static_cast<size_t>(std::remove_if(rules_, rules_ + count_, ends) - rules_);
}

bool FaultRules::change(const char *text)
{
    if (strcmp(text, kNoFaults) == 0) {
        count_ = 0;
        return true;
    }
    FaultRule rule;
    const bool sets = strchr(text, '=') != nullptr;
    if (sets ? !parse(text, &rule) : !parse_place(text, &rule.place)) {
        return false;
    }
    remove([&rule](const FaultRule &old) { return old.place == rule.place || old.times == 0; });
    return !sets || add(text);
}

void FaultRules::tell(FaultText *text) const
{
    for (size_t i = 0; i < count_; ++i) {
        const FaultRule &rule = rules_[i];
        for (const ModemFault &kind : kFaults) {
            if (kind.fault == rule.fault && rule.times != 0) {
                const bool timed = kind.counts(FaultNumber::Unit::kMilliseconds);
                text->add(PlaceText(rule.place).text, kind, timed ? rule.ms : rule.times);
            }
        }
    }
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
