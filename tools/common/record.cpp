#include "common/record.h"

#include "common/json.h"
#include "common/program.h"
#include "common/utf8.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace lterouter::tools {
namespace {

std::atomic<int> g_output_error{0};

// A byte that is not UTF-8 can be a control character on a terminal with a one-byte encoding.
bool drives_terminal(const Character &character)
{
    const auto last = static_cast<uint8_t>(character.bytes.back());
    return character.kind == CharacterKind::kControl ||
           (character.kind == CharacterKind::kInvalid && last >= 0x80 && last <= 0x9f);
}

} // namespace

void put_text(std::string_view text, FILE *file)
{
    while (!text.empty()) {
        const Character character = take_character(&text);
        if (drives_terminal(character)) {
            fputc('?', file);
        } else {
            fwrite(character.bytes.data(), 1, character.bytes.size(), file);
        }
    }
}

int output_error() { return g_output_error; }

void start_output() { errno = 0; }

void flush_output()
{
    const bool failed = fflush(stdout) != 0 || ferror(stdout) != 0;
    if (failed && g_output_error == 0) {
        g_output_error = errno != 0 ? errno : EIO;
    }
}

namespace {

// Output with --get: the values of some fields of each object, each on a line.
struct Fields {
    static constexpr size_t kMost = 16;

    // In the order of the command line; a field that the object does not have is an empty line.
    std::string_view names[kMost];
    char *values[kMost] = {};
    bool seen[kMost] = {}; // in any object
    size_t count = 0;

    void note(std::string_view name, std::string_view value);
    void print();
};

Fields g_fields;
bool g_answered = false;

void Fields::note(std::string_view name, std::string_view value)
{
    for (size_t i = 0; i < count; ++i) {
        if (names[i] != name) {
            continue;
        }
        free(values[i]);
        values[i] = strndup(value.data(), value.size());
        if (values[i] == nullptr) {
            g_output_error = ENOMEM;
        }
        seen[i] = true;
    }
}

void Fields::print()
{
    bool any = false;
    for (size_t i = 0; i < count; ++i) {
        any = any || values[i] != nullptr;
    }
    for (size_t i = 0; any && i < count; ++i) {
        if (values[i] != nullptr) {
            put_text(values[i]);
        }
        fputc('\n', stdout);
        free(values[i]);
        values[i] = nullptr;
    }
}

bool parse_fields(const char *text, void *)
{
    constexpr char kLetters[] = "abcdefghijklmnopqrstuvwxyz0123456789_";
    g_fields.count = 0;
    std::string_view rest = text;
    for (;;) {
        const size_t length = std::min(rest.find_first_not_of(kLetters), rest.size());
        if (length == 0 || g_fields.count == Fields::kMost) {
            return false;
        }
        g_fields.names[g_fields.count++] = {rest.data(), length};
        if (length == rest.size()) {
            g_program.json = true; // fields are what objects have
            return true;
        }
        if (rest[length] != ',') {
            return false;
        }
        rest.remove_prefix(length + 1);
    }
}

} // namespace

const ValueType kFields = {"the names of at most 16 fields, separated by commas", parse_fields};

std::string_view missing_field()
{
    for (size_t i = 0; g_answered && i < g_fields.count; ++i) {
        if (!g_fields.seen[i]) {
            return g_fields.names[i];
        }
    }
    return {};
}

Record::Record()
{
    flockfile(stdout);
    start_output();
    g_answered = true;
    if (g_fields.count != 0) {
        return;
    }
    if (g_program.json) {
        fputc('{', stdout);
    } else if (g_program.prefixes_text) {
        text(g_program.name);
        fputc(':', stdout);
    }
}

Record::~Record()
{
    if (g_fields.count != 0) {
        g_fields.print();
    } else {
        fputs(g_program.json ? "}\n" : "\n", stdout);
    }
    flush_output();
    funlockfile(stdout);
}

Record &Record::event(const char *name)
{
    if (g_program.json && !has_event_) {
        has_event_ = true;
        json_text("event", name);
    }
    return *this;
}

Record &Record::word(const char *name, std::string_view value)
{
    if (g_program.json) {
        json_text(name, value);
        return *this;
    }
    return text(value);
}

Record &Record::field(const char *name, std::string_view value)
{
    if (g_program.json) {
        json_text(name, value);
        return *this;
    }
    name_in_text(name);
    put_text(value);
    return *this;
}

Record &Record::number(const char *name, int64_t value)
{
    char digits[24];
    snprintf(digits, sizeof(digits), "%" PRId64, value);
    return plain(name, digits);
}

Record &Record::number(const char *name, int64_t value, const char *as_text)
{
    return g_program.json ? number(name, value) : plain(name, as_text);
}

Record &Record::numbers(const char *name, std::span<const uint32_t> values)
{
    char list[256] = "";
    size_t length = 0;
    for (const uint32_t value : values) {
        if (length + 12 > sizeof(list)) {
            break;
        }
        length += static_cast<size_t>(snprintf(list + length, sizeof(list) - length, "%s%" PRIu32,
                                               length == 0 ? "" : ",", value));
    }
    if (!g_program.json || g_fields.count != 0) {
        return plain(name, list);
    }
    name_in_json(name);
    fprintf(stdout, "[%s]", list);
    return *this;
}

Record &Record::words(const char *name, std::span<const char *const> values)
{
    const bool in_json = g_program.json && g_fields.count == 0;
    const char *const quote = in_json ? "\"" : "";
    char list[2048] = "";
    size_t length = 0;
    for (const char *const value : values) {
        if (length + strlen(value) + sizeof("\"\",") > sizeof(list)) {
            break;
        }
        length += static_cast<size_t>(snprintf(list + length, sizeof(list) - length, "%s%s%s%s",
                                               length == 0 ? "" : ",", quote, value, quote));
    }
    if (!in_json) {
        return plain(name, list);
    }
    name_in_json(name);
    fprintf(stdout, "[%s]", list);
    return *this;
}

Record &Record::text(std::string_view words)
{
    if (!g_program.json) {
        separate(" ");
        put_text(words);
    }
    return *this;
}

// Without quotes.
Record &Record::plain(const char *name, const char *value)
{
    if (g_fields.count != 0) {
        g_fields.note(name, value);
    } else {
        g_program.json ? name_in_json(name) : name_in_text(name);
        fputs(value, stdout);
    }
    return *this;
}

void Record::json_text(const char *name, std::string_view value)
{
    if (g_fields.count != 0) {
        g_fields.note(name, value);
        return;
    }
    name_in_json(name);
    put_json_string(stdout, value);
}

void Record::separate(const char *separator)
{
    if (!empty_) {
        fputs(separator, stdout);
    }
    empty_ = false;
}

void Record::name_in_json(const char *name)
{
    separate(",");
    put_json_string(stdout, name);
    fputc(':', stdout);
}

void Record::name_in_text(const char *name)
{
    text(name);
    fputc('=', stdout);
}

void add_named(Record &record, const char *name, std::span<const char *const> names, uint32_t value)
{
    if (value < names.size()) {
        record.word(name, names[value]);
        return;
    }
    char key[32];
    snprintf(key, sizeof(key), "%.24s_value", name);
    if (g_program.json) {
        record.word(name, "unknown").number(key, value);
    } else {
        record.number(name, value);
    }
}

} // namespace lterouter::tools
