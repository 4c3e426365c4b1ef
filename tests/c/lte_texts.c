/* The client's names of enumerations and its parsers of access point names: texts in, texts out. */
#include "../support/names.h"

#include "files.h"

#define LIST "/tmp/apns"

/* ---- Names ---- */

static void every_value_has_its_name(void)
{
    for (size_t i = 0; i < sizeof(enumerations) / sizeof(enumerations[0]); ++i) {
        const enumeration *row = &enumerations[i];
        for (uint32_t value = 0; value < 300; ++value) {
            CHECK_TEXT(row->name_of(value), expected_name(row, value));
        }
        CHECK_TEXT(row->name_of(UINT32_MAX), row->otherwise);
    }
}

/* ---- Access point names ---- */

static void access_point_is_found_by_its_operator(void)
{
    apn_item item;
    write_file(LIST, "x>00101F>User>internet.example>u>p>2>\n"
                     "x>00102>User>wap.example>v>q>>\n");
    memset(&item, 0xFF, sizeof(item));
    CHECK_INT(auto_match_apn(LIST, "00101", &item), 0);
    CHECK_TEXT(item.key, "00101");
    CHECK_TEXT(item.text1, "User");
    CHECK_TEXT(item.apn, "internet.example");
    CHECK_TEXT(item.text2, "u");
    CHECK_TEXT(item.text3, "p");
    CHECK_TEXT(item.text4, "");
    CHECK_INT(item.number1, 2);
    CHECK(item.number2 == 0 && item.number3 == 0 && item.enabled == 0 && item.reserved2 == 0);
    CHECK_INT(auto_match_apn(LIST, "00102", &item), 0);
    CHECK_TEXT(item.apn, "wap.example");
    CHECK_INT(item.number1, 0);
}

static void access_point_is_not_found(void)
{
    apn_item item;
    apn_item before;
    memset(&item, 0x55, sizeof(item));
    before = item;
    CHECK_INT(auto_match_apn(NULL, "00101", &item), -1);
    CHECK_INT(auto_match_apn("/tmp/absent", "00101", &item), -1);
    write_file(LIST, "x>00101>User>internet.example>u>p>2>\n");
    CHECK_INT(auto_match_apn(LIST, "0010", &item), -1);
    write_file(LIST, "six>fields>and>no>more>here>\nx>00101>User>internet.example>u>p>2>\n");
    CHECK_INT(auto_match_apn(LIST, "00101", &item), -1);
    CHECK(memcmp(&item, &before, sizeof(item)) == 0);
}

static void first_enabled_item_is_taken(void)
{
    apn_item item;
    memset(&item, 0xFF, sizeof(item));
    CHECK_INT(parse_apn_list("Off&0&x&u&p&off.example&1&a&2&3>"
                             "Work&1&x&u&p&work.example&12&10.0.0.1&-2&3>"
                             "Home&1&x&u&p&home.example&1&a&2&3>",
                             &item),
              0);
    CHECK_TEXT(item.key, "");
    CHECK_TEXT(item.text1, "Work");
    CHECK_TEXT(item.text2, "u");
    CHECK_TEXT(item.text3, "p");
    CHECK_TEXT(item.apn, "work.example");
    CHECK_TEXT(item.text4, "10.0.0.1");
    CHECK_INT(item.enabled, 1);
    CHECK_INT(item.number1, 12);
    CHECK_INT(item.number2, -2);
    CHECK_INT(item.number3, 3);
}

static void list_without_a_usable_item_is_refused(void)
{
    apn_item item;
    CHECK_INT(parse_apn_list("Off&0&x&u&p&off.example&1&a&2&3>", &item), -1);
    CHECK_INT(parse_apn_list("Short&1&x&u>", &item), -1);
    CHECK_TEXT(item.text2, ""); /* what ends the item is not a field */
    CHECK_TEXT(item.text1, "Short");
    CHECK_INT(parse_apn_list("Open&1&x&u&p&open.example&1&a&2&3", &item), -1);
    CHECK_INT(parse_apn_list("", &item), -1);
}

static void piece_between_two_separators_is_cut_out(void)
{
    static const char text[] = "one&two&three";
    char piece[4];
    memset(piece, 'x', sizeof(piece));
    CHECK(get_split_str(text, "&", piece, sizeof(piece)) == text + 7);
    CHECK_TEXT(piece, "two");
    CHECK(get_split_str(text, "&", piece, 3) == text + 7);
    CHECK_TEXT(piece, "tw");
    CHECK(get_split_str(text + 7, "&", piece, sizeof(piece)) == NULL);
    CHECK(get_split_str(text, ";", piece, sizeof(piece)) == NULL);
    CHECK(get_split_str(NULL, "&", piece, sizeof(piece)) == NULL);
    CHECK(get_split_str(text, NULL, piece, sizeof(piece)) == NULL);
    CHECK_TEXT(piece, "tw");
}

int main(void)
{
    every_value_has_its_name();
    access_point_is_found_by_its_operator();
    access_point_is_not_found();
    first_enabled_item_is_taken();
    list_without_a_usable_item_is_refused();
    piece_between_two_separators_is_cut_out();
    return check_end();
}
