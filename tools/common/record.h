// One line of output about one thing, as text ("link connected interface=wwan0") or, with --json, as an
// object ({"event":"link","status":"connected","interface":"wwan0"}).
#pragma once

#include "common/command.h"

#include <cstdint>
#include <cstdio>
#include <span>
#include <string_view>

namespace lterouter::tools {

// Prints while it is built, so that values of any length fit. It locks standard output until it is
// destroyed; that ends the line and flushes it. Any thread.
class Record {
public:
    Record();
    ~Record();
    Record(const Record &) = delete;
    Record &operator=(const Record &) = delete;

    // The object's "event". Not printed as text; a second call is ignored.
    Record &event(const char *name);
    // As text: the value alone.
    Record &word(const char *name, std::string_view value);
    // As text: name=value.
    Record &field(const char *name, std::string_view value);
    Record &number(const char *name, int64_t value);
    // As text name=as_text, such as a number that is usually written in hexadecimal.
    Record &number(const char *name, int64_t value, const char *as_text);
    // As text name=value,value.
    Record &numbers(const char *name, std::span<const uint32_t> values);
    // The same of words without blanks and quotes.
    Record &words(const char *name, std::span<const char *const> values);
    // Only in text.
    Record &text(std::string_view words);

private:
    Record &plain(const char *name, const char *value);
    void json_text(const char *name, std::string_view value);
    void separate(const char *separator);
    void name_in_json(const char *name);
    void name_in_text(const char *name);

    bool empty_ = true;
    bool has_event_ = false;
};

// --get: the names of the fields whose values alone are printed. No target.
extern const ValueType kFields;

// A field that was asked for and that no object had; empty when there is none, or no object.
std::string_view missing_field();

// Prints a text from outside: control characters, which could end the line or control the terminal, are
// replaced.
void put_text(std::string_view text, FILE *file = stdout);

// The error of the first failed write to standard output, as an errno value; 0 when there was none.
int output_error();

// Output between these two is checked: an error is recorded for output_error(). The buffer may be
// written at any time in between, so the error may be that of an earlier write.
void start_output();
void flush_output();

// Adds the name of a value as a word. A value without a name is printed as a number; in an object the
// field is "unknown" and the number is in NAME_value.
void add_named(Record &record, const char *name, std::span<const char *const> names, uint32_t value);

// The text of a fixed-width field, which need not be terminated.
template <size_t Width> std::string_view bounded(const char (&field)[Width])
{
    size_t length = 0;
    while (length < Width && field[length] != '\0') {
        ++length;
    }
    return {field, length};
}

} // namespace lterouter::tools
