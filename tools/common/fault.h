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
#include <cstdio>
#include <cstring>
#include <string_view>

namespace lterouter::tools {

// The number behind a fault's colon.
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

// Rules as they are given, with a blank between them.
class FaultText {
public:
    template <typename Kind> void add(std::string_view place, const Kind &kind, uint32_t number)
    {
        const size_t room = sizeof(text_) - length_;
        char digits[16] = "";
        if (!kind.counts(FaultNumber::Unit::kNone)) {
            snprintf(digits, sizeof(digits), ":%u", number);
        }
        const int length = snprintf(text_ + length_, room, "%s%.*s=%.*s%s", length_ == 0 ? "" : " ",
                                    static_cast<int>(place.size()), place.data(),
                                    static_cast<int>(kind.name.size()), kind.name.data(), digits);
        length_ += std::min(static_cast<size_t>(length), room - 1);
    }
    std::string_view text() const { return {text_, length_}; }

private:
    char text_[2048] = "";
    size_t length_ = 0;
};

// Offers PLACE=NAME.
inline void offer_fault(Offer &offer, std::string_view place, std::string_view name)
{
    Text<64> rule;
    rule.add(place).add("=").add(name);
    offer.add(rule.text());
}

} // namespace lterouter::tools
