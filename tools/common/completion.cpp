#include "common/completion.h"

#include "common/program.h"
#include "common/record.h"
#include "common/slice.h"
#include "common/text.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <net/if.h>

namespace lterouter::tools {
namespace {

constexpr size_t kMostOperands = 64;

// The state after the words before the one that is being typed.
struct Position {
    const Command *command;
    const Option *awaiting = nullptr; // an option whose value is next
    bool only_operands = false;       // after "--"
    const char *operands[kMostOperands + 1] = {};
    size_t operand_count = 0;
};

// A command's own options, then those of every command.
class AllOptions {
public:
    AllOptions(const Command &command, const Option *common) : own_(command.options), common_(common) {}

    template <typename Visit> void each(Visit visit) const
    {
        for (const Option *row = own_; row != nullptr && row->name != nullptr; ++row) {
            visit(*row);
        }
        for (const Option *row = common_; row->name != nullptr; ++row) {
            visit(*row);
        }
    }
    const Option *find(std::string_view name) const
    {
        const Option *found = nullptr;
        each([&](const Option &row) { found = row.name == name ? &row : found; });
        return found;
    }
    const Option *find(char letter) const
    {
        const Option *found = nullptr;
        each([&](const Option &row) { found = row.letter == letter ? &row : found; });
        return found;
    }

private:
    const Option *const own_;
    const Option *const common_;
};

const Option *with_value(const Option *option)
{
    return option != nullptr && option->argument != nullptr ? option : nullptr;
}

bool is_option(std::string_view word) { return word.size() > 1 && word[0] == '-'; }

// The option whose value is the word after this option word.
const Option *awaiting_after(const AllOptions &options, std::string_view word)
{
    if (begins_with(word, "--")) {
        return word.find('=') == word.npos ? with_value(options.find(slice(word, 2))) : nullptr;
    }
    return with_value(options.find(word.back()));
}

const Command *find_child(const Command &command, std::string_view name)
{
    for (const Command *child = command.children; child->name != nullptr; ++child) {
        if (name == child->name) {
            return child;
        }
    }
    return nullptr;
}

// False when the word is not valid there.
bool pass(Position &position, const Option *common, const char *word)
{
    const AllOptions options(*position.command, common);
    if (position.awaiting != nullptr) {
        position.awaiting = nullptr;
    } else if (!position.only_operands && strcmp(word, "--") == 0) {
        position.only_operands = true;
    } else if (!position.only_operands && is_option(word)) {
        position.awaiting = awaiting_after(options, word);
    } else if (position.command->children != nullptr) {
        position.command = find_child(*position.command, word);
    } else if (position.operand_count < kMostOperands) {
        position.operands[position.operand_count++] = word;
    }
    return position.command != nullptr;
}

void offer_argument(Offer &offer, std::string_view argument)
{
    if (argument == "FILE" || argument == "PATH" || argument == "IMAGE") {
        offer.add_files();
    } else if (argument.find('|') != argument.npos) {
        offer.add_each(argument, '|');
    }
}

void offer_value(Offer &offer, const Option &option)
{
    if (option.type->offer != nullptr) {
        option.type->offer(offer);
    } else {
        offer_argument(offer, option.argument);
    }
}

// The name of that operand in the usage line, without brackets; empty after the last.
std::string_view operand_name(std::string_view summary, size_t number)
{
    for (; number != 0 && !summary.empty(); --number) {
        summary.remove_prefix(std::min(summary.find(' '), summary.size()));
        summary.remove_prefix(std::min(summary.find_first_not_of(' '), summary.size()));
    }
    summary = slice(summary, 0, summary.find(' '));
    summary.remove_prefix(summary.starts_with('[') ? 1 : 0);
    return slice(summary, 0, summary.find(']'));
}

void offer_operand(Offer &offer, const Position &position)
{
    const Command &command = *position.command;
    if (command.offer != nullptr) {
        command.offer(offer, position.operands);
        return;
    }
    const std::string_view name = operand_name(command.operands, position.operand_count);
    if (name == "via") {
        offer.add(name);
    }
    offer_argument(offer, name);
}

void offer_word(const Position &position, const Option *common, std::string_view word)
{
    const AllOptions options(*position.command, common);
    const size_t equals = word.find('=');
    if (position.awaiting != nullptr) {
        Offer offer("", word);
        offer_value(offer, *position.awaiting);
    } else if (!position.only_operands && begins_with(word, "--") && equals != word.npos) {
        const Option *option = with_value(options.find(slice(word, 2, equals)));
        Offer offer(slice(word, 0, equals + 1), slice(word, equals + 1));
        if (option != nullptr) {
            offer_value(offer, *option);
        }
    } else if (!position.only_operands && word.starts_with('-')) {
        options.each([&](const Option &row) {
            Offer("--", begins_with(word, "--") ? slice(word, 2) : "").add(row.name, row.help);
        });
    } else if (position.command->children != nullptr) {
        Offer offer("", word);
        for (const Command *child = position.command->children; child->name != nullptr; ++child) {
            offer.add(child->name, child->help);
        }
    } else {
        Offer offer("", word);
        offer_operand(offer, position);
    }
}

} // namespace

void Offer::add(std::string_view word, const char *help)
{
    if (!begins_with(word, typed_)) {
        return;
    }
    put_text(prefix_);
    put_text(word);
    const int length = static_cast<int>(strcspn(help, "\n"));
    printf(length != 0 ? "\t%.*s\n" : "%.*s\n", length, help);
}

void Offer::add_each(std::string_view words, char separator)
{
    while (!words.empty()) {
        const size_t length = std::min(words.find(separator), words.size());
        add(slice(words, 0, length));
        words.remove_prefix(std::min(length + 1, words.size()));
    }
}

void Offer::add_numbers(uint32_t min, uint32_t max)
{
    for (uint32_t number = min; number <= max; ++number) {
        char digits[12];
        snprintf(digits, sizeof(digits), "%u", number);
        add(digits);
    }
}

void Offer::add_interfaces()
{
    struct if_nameindex *const interfaces = if_nameindex();
    for (const struct if_nameindex *one = interfaces; one != nullptr && one->if_index != 0; ++one) {
        add(one->if_name);
    }
    if_freenameindex(interfaces);
}

void Offer::add_values(std::string_view name, const ValueType &type)
{
    Text<64> prefix;
    const std::string_view before = prefix.add(name).add("=").text();
    Offer values(before, begins_with(typed_, before) ? slice(typed_, before.size()) : "");
    if (begins_with(typed_, before) || begins_with(before, typed_)) {
        type.offer(values);
    }
}

void Offer::add_files() { puts(":files"); }

int complete(const Command &root, const Option *common, int count, char **words)
{
    Position position = {.command = &root};
    for (int i = 0; i < count - 1; ++i) {
        if (!pass(position, common, words[i])) {
            return kDone;
        }
    }
    start_output();
    offer_word(position, common, count > 0 ? words[count - 1] : "");
    flush_output();
    return kDone;
}

} // namespace lterouter::tools
