/** @file
 * The string calls of libc under the library's names, and a few of its own.
 *
 * @see string(3)
 *
 * @par Threads
 * All are reentrant except lc_strtok() and lc_strerror(), which share libc's own state. */
#ifndef LC_STRING_H
#define LC_STRING_H

#include "lc_api.h"

#include <stddef.h>

LC_BEGIN_DECLS

/** @name The calls of libc
 * Arguments and results are those of the call that is named; nothing is checked.
 * @{ */

/** Appends a text, as strcat. */
LC_API char *lc_strcat(char *dest, const char *src);
/** Finds a character, as strchr. */
LC_API char *lc_strchr(const char *text, signed char ch);
/** Compares texts, as strcmp. */
LC_API int lc_strcmp(const char *a, const char *b);
/** Copies a text, as strcpy. */
LC_API char *lc_strcpy(char *dest, const char *src);
/** Counts the characters before the first of some others, as strcspn. */
LC_API size_t lc_strcspn(const char *text, const char *reject);
/** Describes an error, as strerror. Not thread-safe: valid until the next call. */
LC_API char *lc_strerror(int error);
/** Measures a text, as strlen. */
LC_API size_t lc_strlen(const char *text);
/** Appends at most count characters and a terminator, as strncat. */
LC_API char *lc_strncat(char *dest, const char *src, size_t count);
/** Compares at most count characters, as strncmp. */
LC_API int lc_strncmp(const char *a, const char *b, size_t count);
/** Writes count bytes, as strncpy. No terminator fits when src has count characters or more. */
LC_API char *lc_strncpy(char *dest, const char *src, size_t count);
/** Finds a text in another, as strstr. */
LC_API char *lc_strstr(const char *text, const char *part);
/** Splits a text, as strtok. Not reentrant: NULL goes on with the text of the call before. */
LC_API char *lc_strtok(char *text, const char *separators);

/** @}
 * @name Calls of its own
 * @{ */

/** Converts @p text to lower case in place, up to its terminator; NULL is ignored. */
LC_API void lc_str_tolower(char *text);
/** Converts @p text to upper case in place, up to its terminator; NULL is ignored. */
LC_API void lc_str_toupper(char *text);

/** Compares two ASCII texts, @p a and @p b, without case.
 * @retval -1 a sorts before b; also for a NULL pointer, and when either text begins with a byte of 0x80
 *            or above or the comparison reaches one before either text ends, even of a text with itself
 * @retval 0  equal
 * @retval 1  a sorts after b */
LC_API int lc_strcasecmp(const char *a, const char *b);

/** Compares at most @p count characters of @p a and @p b as lc_strcasecmp() does, but gives 1 for an
 * empty b and an a that begins with a byte of 0x80 or above, and 0 for a count of 0 unless a pointer is
 * NULL.
 * @return as lc_strcasecmp() */
LC_API int lc_strncasecmp(const char *a, const char *b, unsigned int count);

/** Compares @p a and @p b ignoring all white space and case.
 * @return 0 when equal, also for the same pointer (NULL too); -1 when only a is NULL, 1 when only b is;
 *         else the difference of the two first differing characters as signed chars, with their case:
 *         "abc" against "ABD" gives 'c' - 'D', which is positive */
LC_API int lc_strwicmp(const char *a, const char *b);

/** Splits a text into numbers at every @p sep. Runs of separators make no empty fields.
 * @param[in,out] text   every sep in it is overwritten with NUL
 * @param[out]    count  number of fields
 * @param[out]    values each field's atoi; must have room for all of them, there is no bound
 * @retval 0 always */
LC_API int lc_get_int_arg(char *text, char sep, int *count, int *values);

/** @} */

LC_END_DECLS

#endif
