// One line of output about one thing, as text ("link connected interface=wwan0") or, with --json, as an
// object ({"event":"link","status":"connected","interface":"wwan0"}).
#pragma once

#include "common/command.h"

#include <cstdint>
#include <cstdio>
#include <span>
#include <string_view>

namespace lterouter::tools {

// Prints while it is built, so values of any length fit; holds standard output for itself until it is
// destroyed, which ends the line and flushes it. Any thread.
class Record {
public:
    Record();
    ~Record();
    Record(const Record &) = delete;
    Record &operator=(const Record &) = delete;

    // What the object is about. Not in text; a second one is no more than text either.
    Record &event(const char *name);
    // As text: the value alone.
    Record &word(const char *name, std::string_view value);
    // As text: name=value.
    Record &field(const char *name, std::string_view value);
    Record &number(const char *name, int64_t value);
    // As text name=as_text, for what is written otherwise elsewhere too: in hexadecimal, say.
    Record &number(const char *name, int64_t value, const char *as_text);
    // As text name=value,value.
    Record &numbers(const char *name, std::span<const uint32_t> values);
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

// The names of fields whose values are all that is printed of an answer. No target.
extern const ValueType kFields;

// A field that was asked for and that no object had; empty when there is none, or no object.
std::string_view missing_field();

// Prints a text that may hold anything: it must not break its line nor drive the terminal.
void put_text(std::string_view text, FILE *file = stdout);

// The error that kept output from being written, as an errno value; 0 when there was none.
int output_error();

// What is printed between these two is remembered to be written or not. Some of it may be written at
// once, so the reason for a failure can date from anywhere in between.
void start_output();
void flush_output();

// Adds what a value is called, as a word. A value without a name is shown itself; in an object it is
// "unknown" and stands beside it, in NAME_value.
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
