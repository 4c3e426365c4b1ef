#include "lc_file.h"

#include "lc_file/stream.h"
#include "lc_log/print.h"

#include <cstdarg>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace lterouter {
namespace {

constexpr LogFamily kLogFamily = kLogFile;
constexpr int kLineSize = 256;

// The one text for every rejection, also of a mode or whence out of range.
void reject(uint32_t place, const char *function)
{
    log_from(place, "[%s]:%u input parameter is null\n\n", function, line_of(place));
}

} // namespace
} // namespace lterouter

using namespace lterouter;

#define REJECT(result) (reject(place(kLogFamily, __LINE__), __func__), (result))

FILE *lc_fopen(const char *path, const char *mode)
{
    if (path == nullptr || mode == nullptr) {
        return REJECT(nullptr);
    }
    return fopen(path, mode);
}

int lc_fclose(FILE *stream)
{
    if (stream == nullptr) {
        return REJECT(LC_FILE_ERR_PARAM);
    }
    return fclose(stream);
}

int lc_fputc(int ch, FILE *stream)
{
    if (stream == nullptr) {
        return REJECT(LC_FILE_ERR_PARAM);
    }
    return putc(ch, stream);
}

int lc_fgetc(FILE *stream)
{
    if (stream == nullptr) {
        return REJECT(LC_FILE_ERR_PARAM);
    }
    return getc(stream);
}

int lc_fputs(const char *text, FILE *stream)
{
    if (text == nullptr || stream == nullptr) {
        return REJECT(LC_FILE_ERR_PARAM);
    }
    return fputs(text, stream);
}

char *lc_fgets(char *buffer, int size, FILE *stream)
{
    if (stream == nullptr || size <= 0) {
        return REJECT(nullptr);
    }
    return fgets(buffer, size, stream);
}

size_t lc_fread(void *buffer, size_t size, size_t count, FILE *stream)
{
    if (stream == nullptr || size == 0 || count == 0) {
        return REJECT(static_cast<size_t>(LC_FILE_ERR_PARAM));
    }
    return fread(buffer, size, count, stream);
}

size_t lc_fwrite(const void *buffer, size_t size, size_t count, FILE *stream)
{
    if (buffer == nullptr || stream == nullptr || size == 0 || count == 0) {
        return REJECT(static_cast<size_t>(LC_FILE_ERR_PARAM));
    }
    return fwrite(buffer, size, count, stream);
}

int lc_fprintf(FILE *stream, const char *format, ...)
{
    if (stream == nullptr) {
        return REJECT(LC_FILE_ERR_PARAM);
    }
    va_list arguments;
    va_start(arguments, format);
    const int written = vfprintf(stream, format, arguments);
    va_end(arguments);
    return written;
}

int lc_access(const char *path, int mode)
{
    const bool single = mode == F_OK || mode == X_OK || mode == W_OK || mode == R_OK;
    if (path == nullptr || !single) {
        return REJECT(LC_FILE_ERR_PARAM);
    }
    return access(path, mode);
}

int lc_fseek(FILE *stream, int32_t offset, int whence)
{
    const bool known = whence == SEEK_SET || whence == SEEK_CUR || whence == SEEK_END;
    if (stream == nullptr || !known) {
        return REJECT(LC_FILE_ERR_PARAM);
    }
    return fseek(stream, offset, whence);
}

long lc_ftell(FILE *stream)
{
    if (stream == nullptr) {
        return REJECT(LC_FILE_ERR_PARAM);
    }
    return ftell(stream);
}

void lc_rewind(FILE *stream)
{
    if (stream == nullptr) {
        REJECT(void());
        return;
    }
    rewind(stream);
}

int lc_file_exist(const char *path)
{
    if (path == nullptr) {
        return REJECT(LC_FILE_ERR_PARAM);
    }
    struct stat status;
    if (stat(path, &status) == 0 && !S_ISDIR(status.st_mode)) {
        return LC_NOTE("", 0, "file exist\n\n");
    }
    return LC_NOTE("", -1, "file is not exist\n\n");
}

int lc_dir_exist(const char *path)
{
    if (path == nullptr) {
        return REJECT(LC_FILE_ERR_PARAM);
    }
    struct stat status;
    if (stat(path, &status) == 0 && S_ISDIR(status.st_mode)) {
        return LC_NOTE("", 0, "dir is exist\n\n");
    }
    return LC_NOTE("", -1, "dir is not exist\n\n");
}

int lc_strread_fileline(const char *path, uint32_t line, char *buf, uint32_t *size)
{
    char text[kLineSize] = {};
    if (path == nullptr || lc_access(path, R_OK) != 0) {
        return REJECT(LC_FILE_ERR_PARAM);
    }
    if (lc_file_exist(path) != 0) {
        return LC_NOTE("", LC_FILE_ERR_PARAM, "path is not normal file\n\n");
    }
    // A file that vanished since reads as an empty one: lc_fgets rejects the missing stream.
    const Stream stream{lc_fopen(path, "r")};
    uint32_t count = 0;
    while (lc_fgets(text, kLineSize, stream.get()) != nullptr) {
        if (++count == line) {
            break;
        }
    }
    if (count != line && line != 0) {
        return LC_FILE_ERR_PARAM;
    }
    // text now holds the line asked for; at the end of file the last one stays in it.
    const auto length = static_cast<uint32_t>(strlen(text));
    strncpy(buf, text, *size);
    if (length <= *size) {
        return LC_NOTE("", 0, "the line string : %s\n\n", text);
    }
    // Only a caller that asked for the last line learns how much room it needs; those that ask by
    // number rely on *size staying as it was.
    if (line == 0) {
        *size = length;
    }
    return LC_NOTE("", LC_FILE_ERR_PARAM, "the size is not enough and the line string : %s\n\n", text);
}
