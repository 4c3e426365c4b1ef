/* What every public header of the library shares: visibility, C linkage, format checking. */
#ifndef LC_API_H
#define LC_API_H

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

#ifdef __cplusplus
#define LC_BEGIN_DECLS extern "C" {
#define LC_END_DECLS }
#else
#define LC_BEGIN_DECLS
#define LC_END_DECLS
#endif

#endif
