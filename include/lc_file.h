/* lc_file: checked wrappers over stdio and file status.
 *
 * A wrapper checks its arguments, and on a bad one logs at debug level and returns -2 (NULL where a
 * pointer is returned) without making the call; otherwise it returns what the call returns and
 * leaves errno as the call left it. Files may be larger than 2 GiB; positions beyond that are out of
 * reach of lc_fseek and, on a 32-bit machine, of lc_ftell.
 *
 * Threads: no state; each is as thread-safe as the call that it wraps. */
#ifndef LC_FILE_H
#define LC_FILE_H

#include "lc_api.h"

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

LC_BEGIN_DECLS

#define LC_FILE_ERR_PARAM (-2)

/* fopen. The caller owns the stream and closes it with lc_fclose. */
LC_API FILE *lc_fopen(const char *path, const char *mode);
LC_API int lc_fclose(FILE *stream);
LC_API int lc_fputc(int ch, FILE *stream);
LC_API int lc_fgetc(FILE *stream);
LC_API int lc_fputs(const char *text, FILE *stream);
/* size: capacity of buffer in bytes, above 0. The buffer is not checked. */
LC_API char *lc_fgets(char *buffer, int size, FILE *stream);
/* size and count must be above 0; a bad argument gives (size_t)-2. lc_fread does not check buffer. */
LC_API size_t lc_fread(void *buffer, size_t size, size_t count, FILE *stream);
LC_API size_t lc_fwrite(const void *buffer, size_t size, size_t count, FILE *stream);
LC_API int lc_fprintf(FILE *stream, const char *format, ...) LC_PRINTF(2, 3);
/* mode: exactly one of F_OK, X_OK, W_OK, R_OK; a combination is rejected. */
LC_API int lc_access(const char *path, int mode);
LC_API int lc_fseek(FILE *stream, int32_t offset, int whence);
LC_API long lc_ftell(FILE *stream);
LC_API void lc_rewind(FILE *stream);

/* 0 when path exists and is not a directory (a device, FIFO or socket counts), else -1; -2 for NULL.
 * Each outcome is logged at debug level. */
LC_API int lc_file_exist(const char *path);

/* 0 when path is a directory, else -1; -2 for NULL. Each outcome is logged at debug level. */
LC_API int lc_dir_exist(const char *path);

/* Copies line number line (from 1; 0 means the last) of the text file at path into buf, its newline
 * included. size: in, capacity of buf in bytes. Lines are read in pieces of at most 255 bytes, and
 * each piece counts as a line. Line 0 of an empty file is an empty text. A line of exactly *size bytes
 * fits, without a terminator. Returns 0; or -2 when path is NULL, unreadable or a directory, the line
 * does not exist, or it is longer than *size: buf then holds its first *size bytes without a
 * terminator, and for line 0 *size becomes the line's length. buf and size must not be NULL. */
LC_API int lc_strread_fileline(const char *path, uint32_t line, char *buf, uint32_t *size);

LC_END_DECLS

#endif
