/** @file
 * What every public header of the library shares: visibility, C linkage, checks by the compiler. */
#ifndef LC_API_H
#define LC_API_H

#if defined(__GNUC__)
/** Before a declaration: the library exports the function. */
#define LC_API __attribute__((visibility("default")))
/** Behind a declaration: the compiler is to check calls as it does those of printf. The positions, from
 * 1, are those of the format and of the first argument that it takes. */
#define LC_PRINTF(format_index, first_argument) \
    __attribute__((format(printf, format_index, first_argument)))
/** Behind a declaration: the function does not return. */
#define LC_NORETURN __attribute__((noreturn))
#else
#define LC_API
#define LC_PRINTF(format_index, first_argument)
#define LC_NORETURN
#endif

#ifdef __cplusplus
#define LC_BEGIN_DECLS extern "C" {
#define LC_END_DECLS }
#else
#define LC_BEGIN_DECLS /**< before a header's declarations: what follows has C linkage */
#define LC_END_DECLS   /**< after them: the end of what has C linkage */
#endif

#endif
