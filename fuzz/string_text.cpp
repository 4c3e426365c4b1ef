// The comparisons of strings and the splitting of numbers, compared with an implementation in memory.
// Input: the separator; two strings, the first up to a line feed.
#include "lc_string.h"
#include "support.h"

#include <cctype>
#include <vector>

using namespace fuzzing;

namespace {

constexpr size_t kLimits[] = {0, 1, 3, 16, SIZE_MAX};

bool is_ascii(char ch) { return static_cast<uint8_t>(ch) < 0x80; }

int folded(char ch) { return ch >= 'a' && ch <= 'z' ? ch - 'a' + 'A' : ch; }

int compare(const std::string &a, const std::string &b, size_t limit)
{
    for (size_t i = 0; i < limit; ++i) {
        if (i == a.size() || i == b.size()) {
            return i < a.size() ? 1 : i < b.size() ? -1 : 0;
        }
        if (!is_ascii(a[i]) || !is_ascii(b[i])) {
            return -1;
        }
        if (folded(a[i]) != folded(b[i])) {
            return folded(a[i]) < folded(b[i]) ? -1 : 1;
        }
    }
    return 0;
}

int compare_whole(const std::string &a, const std::string &b)
{
    const auto starts_odd = [](const std::string &text) { return !text.empty() && !is_ascii(text[0]); };
    return starts_odd(a) || starts_odd(b) ? -1 : compare(a, b, SIZE_MAX);
}

std::string without_space(std::string text)
{
    std::erase_if(text, [](char ch) { return isspace(static_cast<unsigned char>(ch)) != 0; });
    return text;
}

// The difference of the first characters that differ in more than case, the end of a text among them.
int compare_words(const std::string &a, const std::string &b)
{
    const std::string left = without_space(a);
    const std::string right = without_space(b);
    size_t i = 0;
    while (i < left.size() && i < right.size() &&
           toupper(static_cast<unsigned char>(left[i])) ==
               toupper(static_cast<unsigned char>(right[i]))) {
        ++i;
    }
    return static_cast<signed char>(left.c_str()[i]) - static_cast<signed char>(right.c_str()[i]);
}

std::vector<int> numbers_in(const std::string &text, char separator)
{
    std::vector<int> numbers;
    size_t start = 0;
    for (size_t end; start < text.size(); start = end + 1) {
        end = std::min(text.find(separator, start), text.size());
        if (end != start) {
            numbers.push_back(atoi(text.substr(start, end - start).c_str()));
        }
    }
    return numbers;
}

std::string folded_by(int (*fold)(int), std::string text)
{
    for (char &ch : text) {
        ch = static_cast<char>(fold(static_cast<unsigned char>(ch)));
    }
    return text;
}

void check_comparisons(const std::string &a, const std::string &b)
{
    const Copy left = text_copy_of(a);
    const Copy right = text_copy_of(b);
    require(lc_strcasecmp(left.get(), right.get()) == compare_whole(a, b), "whole strings compare");
    require(lc_strwicmp(left.get(), right.get()) == compare_words(a, b),
            "strings compare without blanks");
    for (const size_t limit : kLimits) {
        require(lc_strncasecmp(left.get(), right.get(), static_cast<unsigned>(limit)) ==
                    compare(a, b, static_cast<unsigned>(limit)),
                "the beginnings of strings compare");
    }
}

void check_numbers(const std::string &text, char separator)
{
    const std::vector<int> expected = numbers_in(text, separator);
    // No more than there are: what is written beyond is noticed.
    const std::unique_ptr<int[]> numbers(new int[expected.size()]);
    const Copy copy = text_copy_of(text);
    int count = -1;
    require(lc_get_int_arg(copy.get(), separator, &count, numbers.get()) == 0, "a text can be split");
    require(std::vector<int>(numbers.get(), numbers.get() + count) == expected,
            "its numbers are found");
}

void check_folding(const std::string &text)
{
    const Copy copy = text_copy_of(text);
    lc_str_tolower(copy.get());
    require(copy.get() == folded_by(tolower, text), "a text becomes lower case");
    lc_str_toupper(copy.get());
    require(copy.get() == folded_by(toupper, folded_by(tolower, text)), "and upper case");
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const Input input(data, size);
    std::string_view rest = input.rest;
    const std::string first = take_first_line(&rest);
    const std::string second = text_of(rest);
    check_comparisons(first, second);
    check_numbers(second, static_cast<char>(input.choice));
    check_folding(first);
    return 0;
}
