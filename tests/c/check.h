/* Checks for programs that use libc only. Each check is counted; a failed one is printed with its
 * source position on standard error, and makes the program fail. Only for the main thread of a
 * program's first process. */
#ifndef CHECK_H
#define CHECK_H

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

/* Each yields whether it held. */
#define CHECK(claim) check_that((claim) ? 1 : 0, __FILE__, __LINE__, #claim)
/* Integers of any type. */
#define CHECK_INT(actual, expected) \
    check_int((long long)(actual), (long long)(expected), __FILE__, __LINE__, #actual)
#define CHECK_TEXT(actual, expected) check_text(actual, expected, __FILE__, __LINE__, #actual)

/* What the rest of the program cannot do without. */
#define REQUIRE(claim)       \
    do {                     \
        if (!CHECK(claim)) { \
            exit(1);         \
        }                    \
    } while (0)

static unsigned check_count;
static unsigned check_failures;

static inline int check_that(int holds, const char *file, int line, const char *claim)
{
    ++check_count;
    if (!holds) {
        ++check_failures;
        fprintf(stderr, "%s:%d: not so: %s\n", file, line, claim);
    }
    return holds;
}

static inline int check_int(long long actual, long long expected, const char *file, int line,
                            const char *claim)
{
    ++check_count;
    if (actual != expected) {
        ++check_failures;
        fprintf(stderr, "%s:%d: %s is %lld, not %lld\n", file, line, claim, actual, expected);
    }
    return actual == expected;
}

static inline int check_text(const char *actual, const char *expected, const char *file, int line,
                             const char *claim)
{
    const int same = actual != NULL && strcmp(actual, expected) == 0;
    ++check_count;
    if (!same) {
        ++check_failures;
        fprintf(stderr, "%s:%d: %s is \"%s\", not \"%s\"\n", file, line, claim,
                actual == NULL ? "(null)" : actual, expected);
    }
    return same;
}

/* The result of main. A program that checked nothing has failed too. */
static inline int check_end(void)
{
    printf("%u checks, %u failed\n", check_count, check_failures);
    return check_failures == 0 && check_count != 0 ? 0 : 1;
}

#endif
