/** @file
 * Checked wrappers over stdio and file status.
 *
 * A wrapper logs a bad argument at debug level and returns -2 (NULL where a pointer is returned)
 * without making the call; otherwise it returns what the call returns and leaves errno as the call left
 * it. Files may be larger than 2 GiB; positions beyond that are out of reach of lc_fseek() and, on a
 * 32-bit machine, of lc_ftell().
 *
 * @see stdio(3), access(2)
 *
 * @par Threads
 * No state; each is as thread-safe as the call that it wraps.
 *
 * @par Example
 * The third line of a file. A line that fills its room is not terminated, so one byte is kept back.
 * @code
 * #include <lc_file.h>
 * #include <string.h>
 *
 * void print_third_line(const char *path)
 * {
 *     char line[256];
 *     uint32_t size = sizeof line - 1;
 *     memset(line, 0, sizeof line);
 *     if (lc_strread_fileline(path, 3, line, &size) == 0)
 *         printf("%s", line);
 * }
 * @endcode */
#ifndef LC_FILE_H
#define LC_FILE_H

#include "lc_api.h"

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

LC_BEGIN_DECLS

#define LC_FILE_ERR_PARAM (-2) /**< what a wrapper returns for a bad argument */

/** @name Streams
 * Arguments and results are those of the call that is named. Bad are a NULL stream, path, mode or text
 * and what is listed here; a buffer that is read into and a format are not checked.
 * @{ */

/** Opens a file, as fopen. The caller owns the stream and closes it with lc_fclose(). */
LC_API FILE *lc_fopen(const char *path, const char *mode);
/** Closes a stream, as fclose. The stream is gone even when it fails, such as in a last write. */
LC_API int lc_fclose(FILE *stream);
/** Writes a character, as putc. */
LC_API int lc_fputc(int ch, FILE *stream);
/** Reads a character, as getc. */
LC_API int lc_fgetc(FILE *stream);
/** Writes a text, as fputs. */
LC_API int lc_fputs(const char *text, FILE *stream);
/** Reads a line or the part of it that fits, as fgets. A size below 1 is bad. */
LC_API char *lc_fgets(char *buffer, int size, FILE *stream);
/** Reads items, as fread. A size or count of 0 is bad and gives (size_t)-2. */
LC_API size_t lc_fread(void *buffer, size_t size, size_t count, FILE *stream);
/** Writes items, as fwrite. A NULL buffer and a size or count of 0 are bad and give (size_t)-2. */
LC_API size_t lc_fwrite(const void *buffer, size_t size, size_t count, FILE *stream);
/** Writes a formatted text, as fprintf. */
LC_API int lc_fprintf(FILE *stream, const char *format, ...) LC_PRINTF(2, 3);
/** Sets the position in bytes, as fseek. A whence other than SEEK_SET, SEEK_CUR or SEEK_END is bad. */
LC_API int lc_fseek(FILE *stream, int32_t offset, int whence);
/** Tells the position in bytes, as ftell. */
LC_API long lc_ftell(FILE *stream);
/** Sets the position to the start, as rewind. A NULL stream is only logged. */
LC_API void lc_rewind(FILE *stream);

/** @}
 * @name Files
 * @{ */

/** Asks for one right to the file @p path, as access.
 * @param[in] mode exactly one of F_OK, X_OK, W_OK, R_OK; a combination is rejected
 * @retval 0  granted
 * @retval -1 refused, or no such file; errno tells which
 * @retval -2 path is NULL, or a bad mode */
LC_API int lc_access(const char *path, int mode);

/** Tells whether @p path exists and is not a directory. A device, FIFO or socket counts. Each outcome
 * is logged at debug level.
 * @retval 0  yes
 * @retval -1 no, or it cannot be told
 * @retval -2 path is NULL */
LC_API int lc_file_exist(const char *path);

/** Tells whether @p path is a directory, and logs as lc_file_exist() does.
 * @return as lc_file_exist() */
LC_API int lc_dir_exist(const char *path);

/** Copies one line of a text file, its newline included. Lines are read in pieces of at most 255 bytes,
 * and each piece counts as a line. Line 0 of an empty file is an empty text.
 * @param[in]     path of the file
 * @param[in]     line its number, from 1; 0 means the last
 * @param[out]    buf  not NULL; receives the first *size bytes of the line, and NULs after a shorter
 *                     line: one of *size bytes fits, without a terminator
 * @param[in,out] size not NULL; in: bytes of buf; out: the length of line 0 when it is longer, else
 *                     unchanged
 * @retval 0  copied
 * @retval -2 path is NULL, unreadable or a directory, or the line does not exist or is longer */
LC_API int lc_strread_fileline(const char *path, uint32_t line, char *buf, uint32_t *size);

/** @} */

LC_END_DECLS

#endif
