// Looking an operator's access point up in a list file, compared with the same lookup in memory. Input:
// the operator's code up to the first line feed, the file.
#include "apn_record.h"
#include "served_file.h"

using namespace fuzzing;

namespace {

constexpr const char *kPath = "/apn_list";
constexpr size_t kLineSize = 256;

// False when the line has not the right number of fields.
bool parse_line(const std::string &line, std::string *key, apn_item *item)
{
    std::string rest;
    const std::vector<std::string> fields = fields_of(line, '>', &rest);
    if (fields.size() != 7) {
        return false;
    }
    *key = fields[1];
    if (key->ends_with('F')) {
        key->pop_back();
    }
    *item = {};
    put(item->key, *key);
    put(item->text1, fields[2]);
    put(item->apn, fields[3]);
    put(item->text2, fields[4]);
    put(item->text3, fields[5]);
    const char last = fields[6].empty() ? '0' : fields[6].back();
    item->number1 = last >= '0' && last <= '9' ? static_cast<uint32_t>(last - '0') : 0;
    return true;
}

// Leaves *item alone when there is none.
int32_t find(std::string_view file, const std::string &wanted, apn_item *item)
{
    while (!file.empty()) {
        std::string key;
        apn_item found;
        if (!parse_line(text_of(take_line(&file, kLineSize)), &key, &found)) {
            return -1;
        }
        if (key == wanted) {
            *item = found;
            return 0;
        }
    }
    return -1;
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    std::string_view file(reinterpret_cast<const char *>(data), size);
    const std::string key = take_first_line(&file);
    apn_item expected = unwritten_apn();
    const int32_t result = find(file, key, &expected);

    const DescriptorCheck descriptors;
    const ServedFile served(kPath, file);
    const auto item = std::make_unique<apn_item>(unwritten_apn());
    require(auto_match_apn(kPath, text_copy_of(key).get(), item.get()) == result,
            "the result is that of the lookup in memory");
    require(memcmp(item.get(), &expected, sizeof(expected)) == 0,
            "so is the record, which is left alone when there is no such operator");
    return 0;
}
