// Misbehaviour on demand of what stands in for something: faults of the command line, each
// PLACE=FAULT or PLACE=FAULT:N. A program has one table of its faults, and makes of it the enumeration,
// the parser, the completion, the help and the messages.
#pragma once

#include "common/command.h"
#include "common/completion.h"
#include "common/text.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace lterouter::tools {

// The number after a fault's colon.
struct FaultNumber {
    enum class Unit { kNone, kTimes, kMilliseconds };

    Unit unit = Unit::kNone;
    uint32_t by_default = 0;
};

constexpr FaultNumber kNoNumber;
constexpr FaultNumber kTimes = {FaultNumber::Unit::kTimes, 1};
constexpr FaultNumber milliseconds(uint32_t by_default)
{
    return {FaultNumber::Unit::kMilliseconds, by_default};
}

// A row of a table of faults.
template <typename Fault> struct FaultKind {
    std::string_view name;
    Fault fault;
    FaultNumber number;

    constexpr bool counts(FaultNumber::Unit unit) const { return number.unit == unit; }
};

// NAME or NAME:N; nullptr when text is no fault of the table.
template <typename Kind, size_t Count>
const Kind *parse_fault(const char *text, const Kind (&kinds)[Count], uint32_t *number)
{
    constexpr uint32_t kMost = 600000;
    const size_t length = strcspn(text, ":");
    for (const Kind &kind : kinds) {
        if (kind.name == std::string_view(text, length)) {
            *number = kind.number.by_default;
            const bool understood =
                text[length] == '\0' || (!kind.counts(FaultNumber::Unit::kNone) &&
                                         parse_number(text + length + 1, 0, kMost, number));
            return understood ? &kind : nullptr;
        }
    }
    return nullptr;
}

// What ends all faults.
constexpr char kNoFaults[] = "none";

// Of the rules of a simulator.
constexpr uint32_t kMostFaults = 32;

// Rules as they are given, with a blank between them.
using FaultText = Text<2048>;

template <typename Kind>
void tell_fault(FaultText &text, std::string_view place, const Kind &kind, uint32_t number)
{
    text.add(text.empty() ? "" : " ").add(place).add("=").add(kind.name);
    if (!kind.counts(FaultNumber::Unit::kNone)) {
        text.add(":").add(number);
    }
}

// The faults of a simulator. A rule has a place, and
//   static bool parse(const char *text, Rule *rule)
//   static bool parse_place(std::string_view text, Place *place)
template <typename Rule> class FaultList {
public:
    bool add(const char *text)
    {
        Rule rule;
        return Rule::parse(text, &rule) && append(rule);
    }

    // A rule, which replaces those of its place; a place, whose rules end; or none, which ends all.
    bool change(const char *text)
    {
        if (strcmp(text, kNoFaults) == 0) {
            count_ = 0;
            return true;
        }
        Rule rule;
        const bool sets = strchr(text, '=') != nullptr;
        if (sets ? !Rule::parse(text, &rule) : !Rule::parse_place(text, &rule.place)) {
            return false;
        }
        Rule *const left = std::remove_if(begin(), end(),
                                          [&rule](const Rule &old) { return old.place == rule.place; });
        count_ = static_cast<size_t>(left - begin());
        return !sets || append(rule);
    }

    Rule *begin() { return rules_; }
    Rule *end() { return rules_ + count_; }
    const Rule *begin() const { return rules_; }
    const Rule *end() const { return rules_ + count_; }

    void remove(Rule *rule)
    {
        std::copy(rule + 1, end(), rule);
        --count_;
    }

private:
    bool append(const Rule &rule)
    {
        if (count_ == kMostFaults) {
            return false;
        }
        rules_[count_++] = rule;
        return true;
    }

    Rule rules_[kMostFaults];
    size_t count_ = 0;
};

// For a ValueType of rules. Target: Rules.
template <typename Rules> bool parse_fault_rule(const char *text, void *target)
{
    return static_cast<Rules *>(target)->add(text);
}

// For a ValueType of changes, which has no target.
template <typename Rules> bool parse_fault_change(const char *text, void *)
{
    Rules scratch;
    return scratch.change(text);
}

// Offers PLACE=NAME.
inline void offer_fault(Offer &offer, std::string_view place, std::string_view name)
{
    Text<64> rule;
    rule.add(place).add("=").add(name);
    offer.add(rule.text());
}

} // namespace lterouter::tools
