/** @file
 * Checked wrappers over stdio and file status.
 *
 * A wrapper checks its arguments, and on a bad one logs at debug level and returns -2 (NULL where a
 * pointer is returned) without making the call; otherwise it returns what the call returns and leaves
 * errno as the call left it. Files may be larger than 2 GiB; positions beyond that are out of reach of
 * lc_fseek() and, on a 32-bit machine, of lc_ftell().
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
 * @{ */

/** Opens a file, as fopen.
 * @param[in] path not NULL
 * @param[in] mode not NULL
 * @return the stream, which the caller owns and closes with lc_fclose(); NULL on failure */
LC_API FILE *lc_fopen(const char *path, const char *mode);

/** Closes a stream, as fclose.
 * @param[in] stream not NULL; gone afterwards
 * @retval 0   closed
 * @retval EOF failure, such as of the last write; errno tells which. The stream is gone all the same
 * @retval -2  stream is NULL */
LC_API int lc_fclose(FILE *stream);

/** Writes a character, as putc.
 * @param[in]     ch     the character
 * @param[in,out] stream not NULL
 * @return the character; EOF on failure; -2 when stream is NULL */
LC_API int lc_fputc(int ch, FILE *stream);

/** Reads a character, as getc.
 * @param[in,out] stream not NULL
 * @return the character; EOF at the end or on failure; -2 when stream is NULL */
LC_API int lc_fgetc(FILE *stream);

/** Writes a text, as fputs.
 * @param[in]     text   not NULL
 * @param[in,out] stream not NULL
 * @return not negative for success; EOF on failure; -2 when an argument is NULL */
LC_API int lc_fputs(const char *text, FILE *stream);

/** Reads a line or the part of it that fits, as fgets.
 * @param[out]    buffer receives the text, terminated; not checked
 * @param[in]     size   capacity of buffer in bytes, above 0
 * @param[in,out] stream not NULL
 * @return buffer; NULL at the end, on failure or for a bad argument */
LC_API char *lc_fgets(char *buffer, int size, FILE *stream);

/** Reads items, as fread.
 * @param[out]    buffer receives the items; not checked
 * @param[in]     size   of an item in bytes, above 0
 * @param[in]     count  of items, above 0
 * @param[in,out] stream not NULL
 * @return the number of whole items read, below count at the end or on failure; (size_t)-2 for a bad
 *         argument */
LC_API size_t lc_fread(void *buffer, size_t size, size_t count, FILE *stream);

/** Writes items, as fwrite.
 * @param[in]     buffer the items; not NULL
 * @param[in]     size   of an item in bytes, above 0
 * @param[in]     count  of items, above 0
 * @param[in,out] stream not NULL
 * @return the number of whole items written, below count on failure; (size_t)-2 for a bad argument */
LC_API size_t lc_fwrite(const void *buffer, size_t size, size_t count, FILE *stream);

/** Writes a formatted text, as fprintf.
 * @param[in,out] stream not NULL
 * @param[in]     format of printf, followed by its arguments; not checked
 * @return the bytes written; negative on failure; -2 when stream is NULL */
LC_API int lc_fprintf(FILE *stream, const char *format, ...) LC_PRINTF(2, 3);

/** Sets the position in a stream, as fseek.
 * @param[in,out] stream not NULL
 * @param[in]     offset in bytes
 * @param[in]     whence SEEK_SET, SEEK_CUR or SEEK_END
 * @retval 0  set
 * @retval -1 failure; errno tells which
 * @retval -2 a bad argument */
LC_API int lc_fseek(FILE *stream, int32_t offset, int whence);

/** Tells the position in a stream, as ftell.
 * @param[in] stream not NULL
 * @return bytes from the start; -1 on failure; -2 when stream is NULL */
LC_API long lc_ftell(FILE *stream);

/** Sets the position in a stream to its start, as rewind.
 * @param[in,out] stream NULL does nothing */
LC_API void lc_rewind(FILE *stream);

/** @}
 * @name Files
 * @{ */

/** Asks for one right to a file, as access.
 * @param[in] path not NULL
 * @param[in] mode exactly one of F_OK, X_OK, W_OK, R_OK; a combination is rejected
 * @retval 0  granted
 * @retval -1 refused, or no such file; errno tells which
 * @retval -2 a bad argument */
LC_API int lc_access(const char *path, int mode);

/** Tells whether a path exists and is not a directory. A device, FIFO or socket counts. Each outcome is
 * logged at debug level.
 * @param[in] path the path
 * @retval 0  yes
 * @retval -1 no, or it cannot be told
 * @retval -2 path is NULL */
LC_API int lc_file_exist(const char *path);

/** Tells whether a path is a directory. Each outcome is logged at debug level.
 * @param[in] path the path
 * @retval 0  yes
 * @retval -1 no, or it cannot be told
 * @retval -2 path is NULL */
LC_API int lc_dir_exist(const char *path);

/** Copies one line of a text file, its newline included. Lines are read in pieces of at most 255 bytes,
 * and each piece counts as a line. Line 0 of an empty file is an empty text.
 * @param[in]     path of the file
 * @param[in]     line its number, from 1; 0 means the last
 * @param[out]    buf  receives the line, then NULs up to *size bytes; not NULL. A line of exactly *size
 *                     bytes fits, without a terminator; of a longer one the first *size bytes are
 *                     there, without one too
 * @param[in,out] size in: capacity of buf in bytes; not NULL. out: for line 0 the line's length when it
 *                     is longer, else unchanged
 * @retval 0  copied
 * @retval -2 path is NULL, unreadable or a directory, the line does not exist, or it is longer than
 *            *size */
LC_API int lc_strread_fileline(const char *path, uint32_t line, char *buf, uint32_t *size);

/** @} */

LC_END_DECLS

#endif
