#include "lc_string.h"

#include <cctype>
#include <cstdlib>
#include <cstring>

namespace lterouter {
namespace {

bool is_ascii(char ch) { return static_cast<unsigned char>(ch) < 0x80; }

// Upper case of an ASCII letter, whatever the locale; every other character is itself.
char fold(char ch) { return ch >= 'a' && ch <= 'z' ? static_cast<char>(ch - 'a' + 'A') : ch; }

bool is_space(char ch) { return isspace(static_cast<unsigned char>(ch)) != 0; }

int upper(char ch) { return toupper(static_cast<unsigned char>(ch)); }

void convert(char *text, int (*conversion)(int))
{
    for (; text != nullptr && *text != '\0'; ++text) {
        *text = static_cast<char>(conversion(static_cast<unsigned char>(*text)));
    }
}

// Compares one position without case: 0 to go on (also at a common end), else the result.
int compare_folded(char a, char b)
{
    if (a == '\0' && b == '\0') {
        return 0;
    }
    if (a == '\0') {
        return -1;
    }
    if (b == '\0') {
        return 1;
    }
    if (!is_ascii(a) || !is_ascii(b)) {
        return -1;
    }
    if (fold(a) == fold(b)) {
        return 0;
    }
    return fold(a) < fold(b) ? -1 : 1;
}

} // namespace
} // namespace lterouter

using namespace lterouter;

char *lc_strcat(char *dest, const char *src) { return strcat(dest, src); }

char *lc_strchr(const char *text, signed char ch) { return const_cast<char *>(strchr(text, ch)); }

int lc_strcmp(const char *a, const char *b) { return strcmp(a, b); }

char *lc_strcpy(char *dest, const char *src) { return strcpy(dest, src); }

size_t lc_strcspn(const char *text, const char *reject) { return strcspn(text, reject); }

char *lc_strerror(int error) { return strerror(error); }

size_t lc_strlen(const char *text) { return strlen(text); }

char *lc_strncat(char *dest, const char *src, size_t count) { return strncat(dest, src, count); }

int lc_strncmp(const char *a, const char *b, size_t count) { return strncmp(a, b, count); }

char *lc_strncpy(char *dest, const char *src, size_t count) { return strncpy(dest, src, count); }

char *lc_strstr(const char *text, const char *part) { return const_cast<char *>(strstr(text, part)); }

char *lc_strtok(char *text, const char *separators) { return strtok(text, separators); }

void lc_str_tolower(char *text) { convert(text, tolower); }

void lc_str_toupper(char *text) { convert(text, toupper); }

int lc_strcasecmp(const char *a, const char *b)
{
    if (a == nullptr || b == nullptr || !is_ascii(*a) || !is_ascii(*b)) {
        return -1;
    }
    for (;; ++a, ++b) {
        const int outcome = compare_folded(*a, *b);
        if (outcome != 0 || *a == '\0') {
            return outcome;
        }
    }
}

int lc_strncasecmp(const char *a, const char *b, unsigned int count)
{
    if (a == nullptr || b == nullptr) {
        return -1;
    }
    for (; count > 0; --count, ++a, ++b) {
        const int outcome = compare_folded(*a, *b);
        if (outcome != 0 || *a == '\0') {
            return outcome;
        }
    }
    return 0;
}

int lc_strwicmp(const char *a, const char *b)
{
    if (a == b) {
        return 0;
    }
    if (a == nullptr) {
        return -1;
    }
    if (b == nullptr) {
        return 1;
    }
    for (;; ++a, ++b) {
        while (is_space(*a)) {
            ++a;
        }
        while (is_space(*b)) {
            ++b;
        }
        if (upper(*a) != upper(*b) || *a == '\0' || *b == '\0') {
            break;
        }
    }
    // If the characters where the walk stops are equal but for case, both texts have ended. The
    // difference keeps the case on purpose: callers sort by it.
    return static_cast<signed char>(*a) - static_cast<signed char>(*b);
}

int lc_get_int_arg(char *text, char sep, int *count, int *values)
{
    *count = 0;
    while (*text != '\0') {
        if (*text == sep) {
            *text++ = '\0';
            continue;
        }
        const char *field = text;
        while (*text != '\0' && *text != sep) {
            ++text;
        }
        // The field must end before it is converted: the separator may be a digit.
        if (*text != '\0') {
            *text++ = '\0';
        }
        values[(*count)++] = atoi(field);
    }
    return 0;
}
