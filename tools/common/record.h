// One line of output about one thing, as text ("link connected interface=wwan0") or, with --json, as an
// object ({"event":"link","status":"connected","interface":"wwan0"}).
#pragma once

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

    // As text: the value alone.
    Record &word(const char *name, std::string_view value);
    // As text: name=value.
    Record &field(const char *name, std::string_view value);
    Record &number(const char *name, int64_t value);
    // The same, as text without a prefix in hexadecimal: what is written so elsewhere too.
    Record &hexadecimal(const char *name, uint32_t value);
    // Only in text.
    Record &text(std::string_view words);

private:
    void separate(const char *separator);
    void name_in_json(const char *name);

    bool empty_ = true;
};

// Prints a text that may hold anything: it must not break its line nor drive the terminal.
void put_text(std::string_view text, FILE *file = stdout);

// The error that kept output from being written, as an errno value; 0 when there was none.
int output_error();

// What is printed between these two is remembered to be written or not. Some of it may be written at
// once, so the reason for a failure can date from anywhere in between.
void start_output();
void flush_output();

// Adds what a value is called, as a word; the value itself when it has no name.
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
