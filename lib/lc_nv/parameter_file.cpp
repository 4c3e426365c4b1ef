#include "lc_nv/parameter_file.h"

#include <cstring>

namespace lterouter {

int NvParameterFile::error() const { return !stream_ || ferror(stream_.get()) != 0 ? errno : 0; }

bool NvParameterFile::read_checksum(uint32_t *crc)
{
    char *const text = line_;
    char *const line_feed = text + NV_CHECKSUM_SIZE - 1;
    if (lc_fread(text, 1, NV_CHECKSUM_SIZE, stream_.get()) != NV_CHECKSUM_SIZE || *line_feed != '\n') {
        return false;
    }
    *line_feed = '\0';
    unsigned long number;
    const bool complete = nv_parse_hexadecimal(text, line_feed, &number);
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
