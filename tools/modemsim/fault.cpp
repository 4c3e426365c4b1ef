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

constexpr Text<128> kExpected = [] {
    Text<128> expected;
    expected.add(
        "PLACE=FAULT[:N], with a place and a fault that --help lists, which suit each other; at most ");
    return expected.add(kMostFaults).add(" of them");
}();

const FaultRule *find(const FaultRules &rules, int64_t place)
{
    return std::find_if(rules.begin(), rules.end(),
                        [=](const FaultRule &rule) { return rule.place == place && rule.times != 0; });
}

} // namespace

const ValueType kFaultRule = {kExpected.text(), parse_fault_rule<FaultRules>, offer_rules};
const ValueType kFaultChange = {
    "PLACE=FAULT[:N] as --fault does, a place to end its faults, or none to end every fault",
    parse_fault_change<FaultRules>};

bool FaultRule::parse_place(std::string_view text, int64_t *place)
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

bool FaultRule::parse(const char *text, FaultRule *rule)
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

void FaultRules::tell(FaultText &text) const
{
    for (const FaultRule &rule : *this) {
        for (const ModemFault &kind : kFaults) {
            if (kind.fault == rule.fault && rule.times != 0) {
                const bool timed = kind.counts(FaultNumber::Unit::kMilliseconds);
                tell_fault(text, PlaceText(rule.place).text, kind, timed ? rule.ms : rule.times);
            }
        }
    }
}

FaultRule FaultRules::take(int64_t place)
{
    const FaultRule *found = find(*this, place);
    if (found == end()) {
        return {};
    }
    const FaultRule taken = *found;
    FaultRule *own = begin() + (found - begin());
    if (--own->times == 0) {
        remove(own);
    }
    return taken;
}

bool FaultRules::pending(int64_t place, Fault fault) const
{
    const FaultRule *found = find(*this, place);
    return found != end() && found->fault == fault;
}

} // namespace lterouter::tools
