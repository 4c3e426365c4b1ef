/** @file
 * What every public header of the library shares: visibility, C linkage, checks by the compiler. */

/** @mainpage
 * Each family of functions has a header of its own: see the list of files. A program that includes
 * one links with the output of "pkg-config --libs lterouter". */
#ifndef LC_API_H
#define LC_API_H

/** @def LC_API
 * Before a declaration: the library exports the function. */
/** @def LC_PRINTF
 * Behind a declaration: the compiler is to check calls as it does those of printf.
 * @param format_index   position of the format, from 1
 * @param first_argument position of the first argument that the format takes */
/** @def LC_NORETURN
 * Behind a declaration: the function does not return. */
#if defined(__GNUC__)
#define LC_API __attribute__((visibility("default")))
#define LC_PRINTF(format_index, first_argument) \
    __attribute__((format(printf, format_index, first_argument)))
#define LC_NORETURN __attribute__((noreturn))
#else
#define LC_API
#define LC_PRINTF(format_index, first_argument)
#define LC_NORETURN
#endif

/** @def LC_BEGIN_DECLS
 * Before a header's declarations: what follows has C linkage. */
/** @def LC_END_DECLS
 * Behind a header's declarations: the end of what has C linkage. */
#ifdef __cplusplus
#define LC_BEGIN_DECLS extern "C" {
#define LC_END_DECLS }
#else
#define LC_BEGIN_DECLS
#define LC_END_DECLS
#endif

#endif
