#include "lc_string.h"

#include "check.h"

#include <errno.h>
#include <stddef.h>

static int sign(int value) { return (value > 0) - (value < 0); }

static void texts_are_copied_and_joined(void)
{
    char text[16] = "xxxxxxxxxxxxxxx";
    CHECK(lc_strcpy(text, "ab") == text);
    CHECK(lc_strcat(text, "cd") == text);
    CHECK_TEXT(text, "abcd");
    CHECK(lc_strncat(text, "efgh", 2) == text);
    CHECK_TEXT(text, "abcdef");
    CHECK_INT(lc_strlen(text), 6);
    CHECK_INT(lc_strlen(""), 0);
    CHECK(lc_strncpy(text, "XYZ", 2) == text);
    CHECK_TEXT(text, "XYcdef");
    lc_strncpy(text, "q", 5);
    CHECK(memcmp(text, "q\0\0\0\0f", 7) == 0);
}

static void texts_are_searched(void)
{
    const char *text = "one,two,\xE9";
    CHECK(lc_strchr(text, ',') == text + 3);
    CHECK(lc_strchr(text, 'z') == NULL);
    CHECK(lc_strchr(text, '\0') == text + 9);
    CHECK(lc_strchr(text, (signed char)-23) == text + 8); /* 0xE9 */
    CHECK(lc_strstr(text, "two") == text + 4);
    CHECK(lc_strstr(text, "three") == NULL);
    CHECK_INT(lc_strcspn(text, ",;"), 3);
    CHECK_INT(lc_strcspn(text, ";"), 9);
}

static void text_is_split_into_tokens(void)
{
    char text[] = ",,one,,two";
    CHECK_TEXT(lc_strtok(text, ","), "one");
    CHECK_TEXT(lc_strtok(NULL, ","), "two");
    CHECK(lc_strtok(NULL, ",") == NULL);
}

static void error_has_the_text_of_libc(void)
{
    char unknown[64];
    CHECK_TEXT(lc_strerror(ENOENT), "No such file or directory");
    snprintf(unknown, sizeof(unknown), "%s", lc_strerror(-1));
    CHECK_TEXT(strerror(-1), unknown);
}

static void texts_are_compared(void)
{
    static const struct {
        const char *a;
        const char *b;
        unsigned count;
        int whole; /* signs */
        int first; /* of the first count bytes */
        int without_case;
        int first_without_case;
    } rows[] = {
        {"abc", "abc", 3, 0, 0, 0, 0},      {"abc", "abd", 2, -1, 0, -1, 0},
        {"abd", "abc", 3, 1, 1, 1, 1},      {"ab", "abc", 9, -1, -1, -1, -1},
        {"abc", "ab", 9, 1, 1, 1, 1},       {"ABC", "abc", 3, -1, -1, 0, 0},
        {"b", "A", 1, 1, 1, 1, 1},          {"", "", 0, 0, 0, 0, 0},
        {"a\xE9", "a\xE9", 1, 0, 0, -1, 0}, {"\xE9", "a", 1, 1, 1, -1, -1},
        {"a", "\xE9", 0, -1, 0, -1, 0},     {"a_", "aa", 2, -1, -1, 1, 1},
    };
    size_t i;
    for (i = 0; i < sizeof(rows) / sizeof(rows[0]); ++i) {
        CHECK_INT(sign(lc_strcmp(rows[i].a, rows[i].b)), rows[i].whole);
        CHECK_INT(sign(lc_strncmp(rows[i].a, rows[i].b, rows[i].count)), rows[i].first);
        CHECK_INT(lc_strcasecmp(rows[i].a, rows[i].b), rows[i].without_case);
        CHECK_INT(lc_strncasecmp(rows[i].a, rows[i].b, rows[i].count), rows[i].first_without_case);
    }
    CHECK_INT(lc_strcasecmp(NULL, "a"), -1);
    CHECK_INT(lc_strcasecmp("a", NULL), -1);
    CHECK_INT(lc_strncasecmp(NULL, "a", 1), -1);
    CHECK_INT(lc_strncasecmp("a", NULL, 0), -1);
}

static void texts_are_compared_without_white_space(void)
{
    CHECK_INT(lc_strwicmp(" a B\tc\n", "AbC"), 0);
    CHECK_INT(lc_strwicmp("abc", "ABD"), 'c' - 'D');
    CHECK_INT(lc_strwicmp("ab", "a b c"), -'c');
    CHECK_INT(lc_strwicmp("\x80", "a"), -128 - 'a'); /* signed, whatever char is on the machine */
    CHECK_INT(lc_strwicmp(NULL, "a"), -1);
    CHECK_INT(lc_strwicmp("a", NULL), 1);
    CHECK_INT(lc_strwicmp(NULL, NULL), 0);
}

static void case_is_converted_in_place(void)
{
    char text[] = "aZ-9\xE9";
    lc_str_toupper(text);
    CHECK_TEXT(text, "AZ-9\xE9");
    lc_str_tolower(text);
    CHECK_TEXT(text, "az-9\xE9");
    lc_str_toupper(NULL);
    lc_str_tolower(NULL);
}

static void numbers_are_split(void)
{
    char text[] = "::12:-3:x:2147483647:";
    int values[8] = {0};
    int count = -1;
    CHECK_INT(lc_get_int_arg(text, ':', &count, values), 0);
    CHECK_INT(count, 4);
    CHECK_INT(values[0], 12);
    CHECK_INT(values[1], -3);
    CHECK_INT(values[2], 0);
    CHECK_INT(values[3], 2147483647);
    text[0] = '\0';
    CHECK_INT(lc_get_int_arg(text, ':', &count, values), 0);
    CHECK_INT(count, 0);
}

int main(void)
{
    texts_are_copied_and_joined();
    texts_are_searched();
    text_is_split_into_tokens();
    error_has_the_text_of_libc();
    texts_are_compared();
    texts_are_compared_without_white_space();
    case_is_converted_in_place();
    numbers_are_split();
    return check_end();
}
