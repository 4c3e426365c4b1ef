#include "lc_nv/parameter_file.h"

#include "lc_nv/access.h"

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace lterouter {
namespace {

// A number as strtoul takes it, which must end where the text ends.
bool parse_hexadecimal(const char *text, const char *end, unsigned long *number)
{
    char *stop;
    errno = 0;
    *number = strtoul(text, &stop, 16);
    return stop == end && errno == 0;
}

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
        !parse_hexadecimal(field, field + strlen(field), &number)) {
        return false;
    }
    *bits = static_cast<uint32_t>(number);
    return *bits == number; // a wider long must not accept more than the router does
}

} // namespace

bool NvParameterFile::read_checksum(uint32_t *crc)
{
    char *const text = line_;
    char *const line_feed = text + NV_CHECKSUM_SIZE - 1;
    if (lc_fread(text, 1, NV_CHECKSUM_SIZE, stream_.get()) != NV_CHECKSUM_SIZE || *line_feed != '\n') {
        return false;
    }
    *line_feed = '\0';
    unsigned long number;
    const bool complete = parse_hexadecimal(text, line_feed, &number);
    *crc = static_cast<uint32_t>(number);
    return complete;
}

bool NvParameterFile::checksum_matches()
{
    uint32_t expected;
    if (!read_checksum(&expected)) {
        return false;
    }
    uint32_t crc = 0;
    while (const size_t count = lc_fread(line_, 1, sizeof(line_), stream_.get())) {
        crc = nv_crc32_update(crc, line_, count);
    }
    return crc == expected && rewind_to_lines();
}

bool NvParameterFile::rewind_to_lines()
{
    line_number_ = 1;
    return lc_fseek(stream_.get(), NV_CHECKSUM_SIZE, SEEK_SET) == 0;
}

NvLine NvParameterFile::next(NvParameter *out)
{
    while (lc_fgets(line_, sizeof(line_), stream_.get()) != nullptr) {
        const int kind =
            nv_parse_line(line_, &out->name, &out->bits, &out->value, path_, ++line_number_);
        if (kind != NV_LINE_SKIP) {
            return kind == NV_LINE_PARAMETER ? NvLine::kParameter : NvLine::kMalformed;
        }
    }
    // A read error is not the end of the file: a part of an export must not pass for a whole one.
    return ferror(stream_.get()) != 0 ? NvLine::kMalformed : NvLine::kEnd;
}

NvLine NvParameterFile::find(const char *name, NvParameter *out)
{
    NvLine line;
    do {
        line = next(out);
    } while (line == NvLine::kParameter && strcmp(out->name, name) != 0);
    return line;
}

uint32_t NvDeclaration::find(const char *name)
{
    if (!file) {
        return NV_ERR_SYSTEM;
    }
    switch (file.find(name, &parameter)) {
    case NvLine::kParameter:
        return NV_SUCCESS;
    case NvLine::kEnd:
        return NV_ERR_NAME;
    default:
        return NV_ERR_SYSTEM;
    }
}

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
