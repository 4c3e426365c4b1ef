// Access points out of a list in a string, and the pieces of a string, each compared with the same in
// memory. Input: a byte of choices; the list, or the separator up to the first line feed and the
// string.
#include "apn_record.h"

using namespace fuzzing;

namespace {

// Bits of the first byte; the others are the room for a piece.
enum Choice { kPiece };
constexpr int kRoomShift = 1;

constexpr size_t kItemMax = 511;

int32_t number(const std::string &text)
{
    return static_cast<int32_t>(
        std::clamp<long>(strtol(text.c_str(), nullptr, 10), INT32_MIN, INT32_MAX));
}

// False for an item that cannot be used; *item then holds it as far as it was read.
bool parse_item(const std::string &text, apn_item *item)
{
    std::string rest;
    std::vector<std::string> fields = fields_of(text, '&', &rest);
    const size_t count = fields.size();
    *item = {};
    if (count > 0) {
        put(item->text1, fields[0]);
    }
    if (count > 1) {
        item->enabled = number(fields[1]);
        if (item->enabled == 0) {
            return false;
        }
    }
    fields.resize(std::max<size_t>(count, 9));
    put(item->text2, fields[3]);
    put(item->text3, fields[4]);
    put(item->apn, fields[5]);
    item->number1 = static_cast<uint32_t>(number(fields[6]));
    put(item->text4, fields[7]);
    item->number2 = number(fields[8]);
    item->number3 = number(rest);
    return count == 9;
}

int32_t find_item(const std::string &list, apn_item *item)
{
    std::string rest;
    for (const std::string &text : fields_of(list, '>', &rest)) {
        if (parse_item(text.substr(0, kItemMax), item)) {
            return 0;
        }
    }
    return -1;
}

void check_list(std::string_view bytes)
{
    const std::string list = text_of(bytes);
    apn_item expected = unwritten_apn();
    const int32_t result = find_item(list, &expected);
    const auto item = std::make_unique<apn_item>(unwritten_apn());
    require(parse_apn_list(text_copy_of(list).get(), item.get()) == result,
            "the result is that of the search in memory");
    require(memcmp(item.get(), &expected, sizeof(expected)) == 0, "so is the record");
}

// Where the closing separator starts; npos when there is no piece.
size_t piece_end(const std::string &text, const std::string &separator)
{
    const size_t first = text.find(separator);
    return first == std::string::npos ? first : text.find(separator, std::min(first + 1, text.size()));
}

void check_piece(std::string_view bytes, uint32_t room)
{
    const std::string separator = take_first_line(&bytes);
    const std::string text = text_of(bytes);
    const size_t end = piece_end(text, separator);

    const Copy in = text_copy_of(text);
    const std::string untouched(room, 'x');
    const Copy out = copy_of(untouched);
    const char *found = get_split_str(in.get(), text_copy_of(separator).get(), out.get(), room);
    const std::string_view written(out.get(), room);
    if (end == std::string::npos) {
        require(found == nullptr && written == untouched, "without separators nothing is written");
        return;
    }
    require(found == in.get() + end, "the piece ends at the next separator");
    const size_t start = std::min(text.find(separator) + 1, end);
    std::string expected = room == 0 ? "" : text.substr(start, std::min<size_t>(end - start, room - 1));
    expected.resize(room);
    require(written == expected, "the piece is what stands between, cut to the room and padded");
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const Input input(data, size);
    if (input.chooses(kPiece)) {
        check_piece(input.rest, input.choice >> kRoomShift);
    } else {
        check_list(input.rest);
    }
    return 0;
}
