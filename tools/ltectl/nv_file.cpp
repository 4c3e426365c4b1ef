#include "ltectl/nv_file.h"

#include "common/program.h"
#include "ltectl/storage.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace lterouter::tools {

ParameterFile::ParameterFile(const char *path, const char *shown)
    : shown_(shown != nullptr ? shown : path), file_(fopen(path, "re")),
      error_(file_ == nullptr ? errno : 0)
{
}

ParameterFile::~ParameterFile()
{
    if (file_ != nullptr) {
        fclose(file_);
    }
}

bool ParameterFile::checksum_matches()
{
    char digits[NV_CHECKSUM_SIZE];
    char *const line_feed = digits + NV_CHECKSUM_SIZE - 1;
    if (error_ != 0 || fread(digits, 1, sizeof(digits), file_) != sizeof(digits) ||
        *line_feed != '\n') {
        return false;
    }
    *line_feed = '\0';
    char *end;
    errno = 0;
    const auto expected = static_cast<uint32_t>(strtoul(digits, &end, 16));
    if (end != line_feed || errno != 0) {
        return false;
    }
    uint32_t crc = 0;
    while (const size_t count = fread(text_, 1, sizeof(text_), file_)) {
        crc = nv_crc32_update(crc, text_, count);
    }
    rewind_to_lines();
    return crc == expected;
}

void ParameterFile::rewind_to_lines()
{
    if (file_ == nullptr) {
        return;
    }
    fseek(file_, NV_CHECKSUM_SIZE, SEEK_SET);
    line_ = 1;
    line_ended_ = true;
}

// A line that is longer than the buffer comes in pieces, as it does in the library; they share a
// number.
bool ParameterFile::read_line()
{
    if (error_ != 0) {
        return false;
    }
    // So that the line feed of a line with NULs in it is found too.
    memset(text_, 0, sizeof(text_));
    if (fgets(text_, sizeof(text_), file_) == nullptr) {
        error_ = ferror(file_) != 0 ? errno : 0;
        return false;
    }
    line_ += line_ended_ ? 1 : 0;
    line_ended_ = memchr(text_, '\n', sizeof(text_)) != nullptr;
    return true;
}

Line ParameterFile::next()
{
    while (read_line()) {
        const int kind = nv_parse_line(text_, &name_, &bits_, &value_, shown_, line_);
        if (kind != NV_LINE_SKIP) {
            return kind == NV_LINE_PARAMETER ? Line::kParameter : Line::kBad;
        }
    }
    return error_ == 0 ? Line::kEnd : Line::kBad;
}

Line ParameterFile::find(const char *name)
{
    Line line;
    do {
        line = next();
    } while (line == Line::kParameter && strcmp(name_, name) != 0);
    return line;
}

int ParameterFile::complain(const char *before, const char *after) const
{
    if (error_ != 0) {
        return fail(kFailed, "%scannot read %s: %s%s%s", before, shown_, strerror(error_), after,
                    Remedy(shown_, error_).text);
    }
    return fail(kFailed, "%sline %u of %s is malformed%s", before, line_, shown_, after);
}

int each_declared(int (*visit)(const ParameterFile &declared))
{
    ParameterFile defaults(NVM_DEFAULTS_FILE);
    int code = kDone;
    Line line;
    while ((line = defaults.next()) == Line::kParameter) {
        const int visited = visit(defaults);
        code = code == kDone ? visited : code;
    }
    return line == Line::kEnd ? code : defaults.complain("", "");
}

} // namespace lterouter::tools
