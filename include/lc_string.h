/** @file
 * The string calls of libc under the library's names, and a few of its own.
 *
 * Arguments and results of the former are exactly those of the libc call that is named.
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
 * @{ */

/** Appends a text, as strcat.
 * @param[in,out] dest a text, with room for src behind it
 * @param[in]     src  what is appended
 * @return dest */
LC_API char *lc_strcat(char *dest, const char *src);

/** Finds a character, as strchr.
 * @param[in] text where
 * @param[in] ch   the character; NUL finds the end
 * @return the first place, in text; NULL when there is none */
LC_API char *lc_strchr(const char *text, signed char ch);

/** Compares texts, as strcmp.
 * @param[in] a a text
 * @param[in] b another
 * @return negative, 0 or positive, as a sorts before b, equals it or sorts behind it */
LC_API int lc_strcmp(const char *a, const char *b);

/** Copies a text, as strcpy.
 * @param[out] dest room for src and its terminator
 * @param[in]  src  what is copied
 * @return dest */
LC_API char *lc_strcpy(char *dest, const char *src);

/** Counts what stands before the first of some characters, as strcspn.
 * @param[in] text   where
 * @param[in] reject the characters
 * @return characters at the start of text that are not in reject */
LC_API size_t lc_strcspn(const char *text, const char *reject);

/** Describes an error, as strerror. Not thread-safe.
 * @param[in] error an errno
 * @return a text of libc's, valid until the next call */
LC_API char *lc_strerror(int error);

/** Measures a text, as strlen.
 * @param[in] text the text
 * @return its bytes, without the terminator */
LC_API size_t lc_strlen(const char *text);

/** Appends at most count characters and a terminator, as strncat.
 * @param[in,out] dest  a text, with room behind it
 * @param[in]     src   what is appended
 * @param[in]     count characters at most
 * @return dest */
LC_API char *lc_strncat(char *dest, const char *src, size_t count);

/** Compares at most count characters, as strncmp.
 * @param[in] a     a text
 * @param[in] b     another
 * @param[in] count characters at most
 * @return negative, 0 or positive, as a sorts before b, equals it or sorts behind it */
LC_API int lc_strncmp(const char *a, const char *b, size_t count);

/** Copies at most count characters, as strncpy.
 * @param[out] dest  room for count bytes; filled up with NULs, without a terminator when src is that
 *                   long or longer
 * @param[in]  src   what is copied
 * @param[in]  count bytes that are written
 * @return dest */
LC_API char *lc_strncpy(char *dest, const char *src, size_t count);

/** Finds a text in another, as strstr.
 * @param[in] text where
 * @param[in] part what
 * @return the first place, in text; NULL when there is none */
LC_API char *lc_strstr(const char *text, const char *part);

/** Takes a text apart, as strtok. Not reentrant.
 * @param[in,out] text       written into; NULL to go on with the text of the call before
 * @param[in]     separators the characters between the parts
 * @return the next part, in text; NULL at the end */
LC_API char *lc_strtok(char *text, const char *separators);

/** @}
 * @name Calls of its own
 * @{ */

/** Converts a text to lower case in place.
 * @param[in,out] text up to its terminator; NULL is ignored */
LC_API void lc_str_tolower(char *text);

/** Converts a text to upper case in place.
 * @param[in,out] text up to its terminator; NULL is ignored */
LC_API void lc_str_toupper(char *text);

/** Compares ASCII texts without case. -1 also for a NULL pointer, for a byte of 0x80 or above at the
 * start of either text, and for one that is reached before either text ends and without a difference
 * before it: even when a text is compared with itself.
 * @param[in] a a text
 * @param[in] b another
 * @retval -1 a sorts before b, or they cannot be compared
 * @retval 0  equal
 * @retval 1  a sorts behind b */
LC_API int lc_strcasecmp(const char *a, const char *b);

/** Compares at most count characters as lc_strcasecmp() does, but gives 1 for an empty b and an a that
 * begins with a byte of 0x80 or above.
 * @param[in] a     a text
 * @param[in] b     another
 * @param[in] count characters at most; 0 gives 0, yet -1 for a NULL pointer
 * @retval -1 a sorts before b, or they cannot be compared
 * @retval 0  equal
 * @retval 1  a sorts behind b */
LC_API int lc_strncasecmp(const char *a, const char *b, unsigned int count);

/** Compares ignoring all white space and case. Unequal texts give the difference of the two first
 * differing characters as signed chars, with their case: "abc" against "ABD" gives 'c' - 'D', which is
 * positive.
 * @param[in] a a text; NULL gives -1
 * @param[in] b another; NULL gives 1
 * @return 0 when equal, also for the same pointer (NULL too); else the difference */
LC_API int lc_strwicmp(const char *a, const char *b);

/** Splits a text into numbers. Runs of separators make no empty fields.
 * @param[in,out] text   every sep in it is overwritten with NUL
 * @param[in]     sep    the separator
 * @param[out]    count  number of fields
 * @param[out]    values each field's atoi; must have room for all of them, there is no bound
 * @retval 0 always */
LC_API int lc_get_int_arg(char *text, char sep, int *count, int *values);

/** @} */

LC_END_DECLS

#endif
