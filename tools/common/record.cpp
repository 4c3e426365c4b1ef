#include "common/record.h"

#include "common/json.h"
#include "common/program.h"
#include "common/utf8.h"

#include <atomic>
#include <cerrno>
#include <cinttypes>
#include <cstdio>

namespace lterouter::tools {
namespace {

std::atomic<int> g_output_error{0};

// A byte that is no character still is a control character to a terminal of one byte a character.
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

Record::Record()
{
    flockfile(stdout);
    start_output();
    if (g_program.json) {
        fputc('{', stdout);
    } else if (g_program.prefixes_text) {
        text(g_program.name);
        fputc(':', stdout);
    }
}

Record::~Record()
{
    fputs(g_program.json ? "}\n" : "\n", stdout);
    flush_output();
    funlockfile(stdout);
}

Record &Record::word(const char *name, std::string_view value)
{
    if (g_program.json) {
        name_in_json(name);
        put_json_string(stdout, value);
        return *this;
    }
    return text(value);
}

Record &Record::field(const char *name, std::string_view value)
{
    if (g_program.json) {
        return word(name, value);
    }
    text(name);
    fputc('=', stdout);
    put_text(value);
    return *this;
}

Record &Record::number(const char *name, int64_t value)
{
    if (g_program.json) {
        name_in_json(name);
    } else {
        text(name);
        fputc('=', stdout);
    }
    fprintf(stdout, "%" PRId64, value);
    return *this;
}

Record &Record::hexadecimal(const char *name, uint32_t value)
{
    if (g_program.json) {
        return number(name, value);
    }
    char digits[9];
    snprintf(digits, sizeof(digits), "%x", static_cast<unsigned>(value));
    return field(name, digits);
}

Record &Record::text(std::string_view words)
{
    if (!g_program.json) {
        separate(" ");
        put_text(words);
    }
    return *this;
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

void add_named(Record &record, const char *name, std::span<const char *const> names, uint32_t value)
{
    if (value < names.size()) {
        record.word(name, names[value]);
    } else {
        record.number(name, value);
    }
}

} // namespace lterouter::tools
