// Parameter lines, for the library's own reader and for hosts that read such files themselves.

#include "lc_nv.h"

#include "lc_nv/access.h"
#include "lc_nv/parameter_file.h"

#include <cctype>
#include <cstring>

namespace lterouter {
namespace {

// Ends the field at a separator and returns what follows it; NULL without one.
char *end_field(char *field, char separator)
{
    char *end = strchr(field, separator);
    if (end == nullptr) {
        return nullptr;
    }
    *end = '\0';
    return end + 1;
}

bool parse_bits(const char *field, uint32_t *bits)
{
    unsigned long number;
    if (isxdigit(static_cast<unsigned char>(*field)) == 0 ||
        !nv_parse_hexadecimal(field, field + strlen(field), &number)) {
        return false;
    }
    *bits = static_cast<uint32_t>(number);
    return *bits == number; // a wider long must not accept more than the router does
}

} // namespace
} // namespace lterouter

using namespace lterouter;

int nv_parse_line(char *line, char **name_out, uint32_t *bits_out, char **value_out, const char *,
                  uint32_t)
{
    if (*line == '#') {
        return NV_LINE_SKIP;
    }
    if (end_field(line, '\n') == nullptr) {
        return NV_LINE_MALFORMED;
    }
    if (*line == '\0') {
        return NV_LINE_SKIP;
    }
    char *bits = end_field(line, '=');
    char *value = bits == nullptr ? nullptr : end_field(bits, '=');
    if (value == nullptr || !parse_bits(bits, bits_out) || !nv_name_valid(line) ||
        strlen(value) > NV_VALUE_MAX) {
        return NV_LINE_MALFORMED;
    }
    *name_out = line;
    *value_out = value;
    return NV_LINE_PARAMETER;
}

uint32_t nvm_parsefile(const char *path, const char *name, char *buf, uint32_t size, int has_crc)
{
    if (buf == nullptr || name == nullptr) {
        return NV_ERR_BUFFER;
    }
    if (path == nullptr) {
        return NV_ERR_FILE;
    }
    NvParameterFile file(path);
    if (!file || (has_crc != 0 && !file.checksum_matches())) {
        return NV_ERR_FILE;
    }
    NvParameter parameter;
    switch (file.find(name, &parameter)) {
    case NvLine::kParameter:
        break;
    case NvLine::kEnd:
        return NV_ERR_NAME;
    default:
        return NV_ERR_FILE;
    }
    if (strlen(parameter.value) + 1 > size) {
        return NV_ERR_BUFFER;
    }
    strcpy(buf, parameter.value);
    return NV_SUCCESS;
}
