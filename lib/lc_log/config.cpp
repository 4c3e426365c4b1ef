// The upper half of the logger: the table of modules. It reads its file through the file helpers, which
// log through print.cpp.

#include "lc_file.h"
#include "lc_file/stream.h"
#include "lc_log/print.h"

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string_view>
#include <syslog.h>

namespace lterouter {
namespace {

constexpr size_t kLineSize = 45;
constexpr size_t kMaxIdDigits = 10;

struct BuiltIn {
    char letter;
    char name[11];
};

// By number.
constexpr BuiltIn g_code_config[] = {
    {'s', "SC"}, {'d', "DM"},   {'a', "ATPXYD"}, {'w', "WanManager"}, {'n', "NM"},  {'r', "RM"},
    {'u', "UI"}, {'U', "UP"},   {'N', "NS"},     {'D', "DIAG"},       {'c', "CGI"}, {'W', "DOG"},
    {'M', "MM"}, {'z', "WLAN"}, {'y', "SMSPB"},  {'C', "CM"},
};

static_assert(std::size(g_code_config) == LC_LOG_BUILT_IN);

// syslog keeps a pointer to the identity for the life of the process.
char g_identity[sizeof("-2147483648") + LC_LOG_NAME_SIZE];

// Reads one line as a text without its newline; the rest of a line that is too long is skipped. False
// at the end of file, and on a read error, since a part of a line could name another module.
bool read_line(FILE *file, char (&line)[kLineSize])
{
    size_t length = 0;
    int ch = lc_fgetc(file);
    if (ch == EOF) {
        return false;
    }
    for (; ch != EOF && ch != '\n'; ch = lc_fgetc(file)) {
        if (length < kLineSize - 1) {
            line[length++] = static_cast<char>(ch);
        }
    }
    line[length] = '\0';
    return ferror(file) == 0;
}

static_assert(sizeof(logconfig) == 40 && offsetof(logconfig, id) == 0);
static_assert(offsetof(logconfig, letter) == 4 && offsetof(logconfig, name) == 5);

// "id,letter,name"; false for a comment or a malformed line.
bool parse_line(std::string_view line, logconfig *out)
{
    if (line.starts_with('#')) {
        return false;
    }
    const size_t id_length = line.find(',');
    if (id_length == std::string_view::npos || id_length < 1 || id_length > kMaxIdDigits) {
        return false;
    }
    char digits[kMaxIdDigits + 1] = {};
    memcpy(digits, line.data(), id_length);
    line.remove_prefix(id_length + 1);

    if (line.find(',') != 1) {
        return false;
    }
    const char letter = line.front();
    line.remove_prefix(2);

    if (line.empty() || line.size() >= LC_LOG_NAME_SIZE) {
        return false;
    }
    *out = {atoi(digits), letter, {}};
    memcpy(out->name, line.data(), line.size());
    return true;
}

} // namespace
} // namespace lterouter

using namespace lterouter;

int get_logconfig_by_ID(logconfig *out, int32_t id)
{
    logconfig found = {};
    if (id >= 0 && id < LC_LOG_BUILT_IN) {
        found.id = id;
        found.letter = g_code_config[id].letter;
        memcpy(found.name, g_code_config[id].name, sizeof(g_code_config[id].name));
    } else {
        const Stream file{lc_fopen(LC_LOG_CONFIG_FILE, "r")};
        if (!file) {
            return 4;
        }
        char line[kLineSize];
        do {
            if (!read_line(file.get(), line)) {
                return 3;
            }
        } while (!parse_line(line, &found) || found.id != id);
    }
    if (out != nullptr) {
        *out = found;
    }
    return 0;
}

int log_init(int32_t id)
{
    if (log_has_module()) {
        return 0;
    }
    // Every record that is found has a name of 1 to 32 characters.
    logconfig module;
    if (get_logconfig_by_ID(&module, id) != 0) {
        return 1;
    }
    snprintf(g_identity, sizeof(g_identity), "%02ld%s", static_cast<long>(id), module.name);
    openlog(g_identity, 0, LOG_USER);
    log_set_module(module.name);
    return 0;
}
