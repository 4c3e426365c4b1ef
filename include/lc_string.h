/* lc_string: the string calls of libc under the library's names, and a few of its own.
 *
 * Threads: all are reentrant except lc_strtok and lc_strerror, which share libc's own state. */
#ifndef LC_STRING_H
#define LC_STRING_H

#include "lc_api.h"

#include <stddef.h>

LC_BEGIN_DECLS

/* Arguments and results exactly as the libc call of the same name. */
LC_API char *lc_strcat(char *dest, const char *src);
LC_API char *lc_strchr(const char *text, signed char ch);
LC_API int lc_strcmp(const char *a, const char *b);
LC_API char *lc_strcpy(char *dest, const char *src);
LC_API size_t lc_strcspn(const char *text, const char *reject);
LC_API char *lc_strerror(int error);
LC_API size_t lc_strlen(const char *text);
LC_API char *lc_strncat(char *dest, const char *src, size_t count);
LC_API int lc_strncmp(const char *a, const char *b, size_t count);
LC_API char *lc_strncpy(char *dest, const char *src, size_t count);
LC_API char *lc_strstr(const char *text, const char *part);
LC_API char *lc_strtok(char *text, const char *separators); /* not reentrant */

/* Convert in place up to the terminator; NULL is ignored. */
LC_API void lc_str_tolower(char *text);
LC_API void lc_str_toupper(char *text);

/* ASCII compare without case: -1, 0 or 1. -1 also for a NULL pointer, for a byte of 0x80 or above at
 * the start of either string, and for one that is reached before the strings differ or end: even when a
 * string is compared with itself. */
LC_API int lc_strcasecmp(const char *a, const char *b);

/* The same over at most count characters; count 0 gives 0. */
LC_API int lc_strncasecmp(const char *a, const char *b, unsigned int count);

/* Compares ignoring all white space and case; 0 when equal. Otherwise the difference of the two
 * first differing characters as signed chars, with their case: "abc" against "ABD" gives 'c' - 'D',
 * which is positive. a NULL: -1; b NULL: 1; the same pointer: 0. */
LC_API int lc_strwicmp(const char *a, const char *b);

/* Splits text at every sep, which it overwrites with NUL, and stores each field's atoi in values.
 * Runs of separators make no empty fields. *count gets the number of fields; values must have room
 * for all of them (there is no bound). Always 0. */
LC_API int lc_get_int_arg(char *text, char sep, int *count, int *values);

LC_END_DECLS

#endif
