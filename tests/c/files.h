/* Whole files as texts. */
#ifndef FILES_H
#define FILES_H

#include "check.h"

static inline void write_file(const char *path, const char *text)
{
    FILE *const file = fopen(path, "w");
    REQUIRE(file != NULL);
    CHECK(fputs(text, file) >= 0);
    CHECK_INT(fclose(file), 0);
}

/* At most 63 bytes of a file, their number in `size`. */
static inline const char *read_file(const char *path, size_t *size)
{
    static char bytes[64];
    FILE *const file = fopen(path, "r");
    memset(bytes, 0, sizeof(bytes));
    *size = 0;
    if (file != NULL) {
        *size = fread(bytes, 1, sizeof(bytes) - 1, file);
        fclose(file);
    }
    return bytes;
}

static inline void check_file(const char *path, const char *text)
{
    size_t size;
    CHECK_TEXT(read_file(path, &size), text);
    CHECK_INT(size, strlen(text));
}

#endif
