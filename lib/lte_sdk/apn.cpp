// The access point name for the SIM in use: from a list file by operator code, or from a list in a
// string.

#include "lte_sdk/core.h"

#include "lc_file/stream.h"
#include "lct_trace/trace.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstring>

namespace lterouter {
namespace {

// The host shares this record in memory.
static_assert(offsetof(apn_item, apn) == 16 && offsetof(apn_item, text1) == 81);
static_assert(offsetof(apn_item, text2) == 146 && offsetof(apn_item, text3) == 211);
static_assert(offsetof(apn_item, text4) == 276 && offsetof(apn_item, number1) == 296);
static_assert(offsetof(apn_item, number2) == 300 && offsetof(apn_item, number3) == 304);
static_assert(offsetof(apn_item, enabled) == 572 && sizeof(apn_item) == 580);

constexpr size_t kLineSize = 256;
constexpr size_t kItemSize = 512;
constexpr unsigned kFileFields = 7;
constexpr unsigned kItemSeparators = 9;

// A piece of text that is not terminated where it ends.
struct Piece {
    const char *start;
    size_t length;
};

// Takes the piece up to the next separator from the text; false, with the text unchanged, when there is
// none.
bool take_piece(const char **text, char separator, Piece *piece)
{
    const char *end = strchr(*text, separator);
    if (end == nullptr) {
        return false;
    }
    *piece = {*text, static_cast<size_t>(end - *text)};
    *text = end + 1;
    return true;
}

// Truncates a piece that is too long for its field, since lists come from outside.
void copy_piece(char *to, size_t size, const Piece &piece)
{
    const size_t length = std::min(piece.length, size - 1);
    memcpy(to, piece.start, length);
    to[length] = '\0';
}

// A text of the record.
struct Field {
    uint16_t offset;
    uint16_t size; // 0: none
};

#define FIELD(name)                                      \
    {                                                    \
        offsetof(apn_item, name), sizeof(apn_item::name) \
    }

template <size_t kCount>
void store_text(const Field (&fields)[kCount], unsigned index, const Piece &piece, apn_item *item)
{
    if (index < kCount && fields[index].size != 0) {
        copy_piece(reinterpret_cast<char *>(item) + fields[index].offset, fields[index].size, piece);
    }
}

// Only the last character counts: the lists in use have one digit there.
uint32_t last_digit(const Piece &piece)
{
    const char last = piece.length == 0 ? '0' : piece.start[piece.length - 1];
    return isdigit(static_cast<unsigned char>(last)) != 0 ? static_cast<uint32_t>(last - '0') : 0;
}

// Fields of one line of the file, and its key without the padding.
struct Line {
    apn_item item;
    Piece key;
};

constexpr Field kFileTexts[] = {{}, FIELD(key), FIELD(text1), FIELD(apn), FIELD(text2), FIELD(text3)};

void store_file_field(unsigned index, Piece piece, Line *line)
{
    if (index == 1) {
        if (piece.length != 0 && piece.start[piece.length - 1] == 'F') {
            --piece.length;
        }
        line->key = piece;
    }
    if (index == 6) {
        line->item.number1 = last_digit(piece);
    }
    store_text(kFileTexts, index, piece, &line->item);
}

// Returns the number of fields; *text becomes the rest after them.
unsigned parse_file_line(const char **text, Line *line)
{
    *line = {};
    unsigned count = 0;
    for (Piece piece; take_piece(text, '>', &piece); ++count) {
        store_file_field(count, piece, line);
    }
    return count;
}

bool same(const Piece &piece, const char *text)
{
    return strlen(text) == piece.length && memcmp(piece.start, text, piece.length) == 0;
}

// Field 2 is skipped: hosts do not need it.
constexpr Field kItemTexts[] = {FIELD(text1), {},         {}, FIELD(text2),
                                FIELD(text3), FIELD(apn), {}, FIELD(text4)};

void store_item_field(unsigned index, const Piece &piece, apn_item *item)
{
    switch (index) {
    case 1:
        item->enabled = number_at(piece.start);
        break;
    case 6:
        item->number1 = static_cast<uint32_t>(number_at(piece.start));
        break;
    case 8:
        item->number2 = number_at(piece.start);
        break;
    default:
        store_text(kItemTexts, index, piece, item);
        break;
    }
}

} // namespace
} // namespace lterouter

using namespace lterouter;

int32_t auto_match_apn(const char *path, const char *key, apn_item *out)
{
    if (path == nullptr) {
        return -1;
    }
    const Stream file(lc_fopen(path, "re"));
    if (!file) {
        return LC_TRACE(-1, "open the apn list file failed:%s\n\n", path);
    }
    char text[kLineSize];
    while (lc_fgets(text, sizeof(text), file.get()) != nullptr) {
        Line line;
        const char *rest = text;
        const unsigned count = parse_file_line(&rest, &line);
        if (count != kFileFields) {
            // A malformed line ends the search, since the lines after it may be wrong too.
            return LC_TRACE(-1, "parse error:%s idx:%d\n\n", rest, static_cast<int>(count));
        }
        if (same(line.key, key)) {
            *out = line.item;
            return 0;
        }
    }
    return -1;
}

int32_t parse_apn_item(const char *text, apn_item *out)
{
    *out = {};
    unsigned count = 0;
    for (Piece piece; take_piece(&text, '&', &piece); ++count) {
        store_item_field(count, piece, out);
        if (count == 1 && out->enabled == 0) {
            return -1;
        }
        if (count == 2) {
            LC_TRACE(void(), "skip\n\n");
        }
    }
    out->number3 = number_at(text);
    return count == kItemSeparators
               ? 0
               : LC_TRACE(-1, "parse error:%s idx:%d\n\n", text, static_cast<int>(count));
}

int32_t parse_apn_list(const char *text, apn_item *out)
{
    for (Piece piece; take_piece(&text, '>', &piece);) {
        char item[kItemSize];
        copy_piece(item, sizeof(item), piece);
        if (parse_apn_item(item, out) == 0) {
            return LC_TRACE(0, "found right apn:%s\n", out->apn);
        }
    }
    return LC_TRACE(-1, "not found appropriate apn\n");
}

const char *get_split_str(const char *in, const char *sep, char *out, uint32_t out_size)
{
    if (in == nullptr || sep == nullptr) {
        return LC_TRACE(nullptr, "in str or split str is NULL\n\n");
    }
    const char *first = strstr(in, sep);
    if (first == nullptr) {
        return LC_TRACE(nullptr, "can't find start position\n\n");
    }
    // One character on, however long the separator is: hosts rely on where that puts the end.
    const char *start = *first == '\0' ? first : first + 1;
    const char *end = strstr(start, sep);
    if (end == nullptr) {
        return LC_TRACE(nullptr, "can't find end position\n\n");
    }
    if (out_size != 0) {
        const auto length = static_cast<size_t>(end - start);
        memset(out, 0, out_size);
        memcpy(out, start, std::min<size_t>(length, out_size - 1));
    }
    return end;
}
