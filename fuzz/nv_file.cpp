// Looking a parameter up in a file, compared with the same lookup in memory. Input: a byte of choices,
// the name up to the first line feed, the file.
#include "lc_nv.h"
#include "parameter_text.h"
#include "support.h"

using namespace fuzzing;

namespace {

constexpr const char *kPath = "/tmp/file";

enum Choice { kHasChecksum, kRightChecksum, kSmallBuffer };

struct Lookup {
    uint32_t result;
    std::string value;
};

Lookup look_up(std::string_view lines, const std::string &name, uint32_t size)
{
    while (!lines.empty()) {
        std::string line = take_line(&lines, NV_LINE_SIZE);
        char *line_name;
        char *value;
        uint32_t bits;
        const int kind = nv_parse_line(line.data(), &line_name, &bits, &value, kPath, 1);
        if (kind == NV_LINE_MALFORMED) {
            return {NV_ERR_FILE, ""};
        }
        if (kind == NV_LINE_PARAMETER && name == line_name) {
            return strlen(value) < size ? Lookup{NV_SUCCESS, value} : Lookup{NV_ERR_BUFFER, ""};
        }
    }
    return {NV_ERR_NAME, ""};
}

Lookup expected_lookup(std::string_view file, const std::string &name, uint32_t size, bool has_checksum)
{
    if (!has_checksum) {
        return look_up(file, name, size);
    }
    return checksum_matches(file) ? look_up(file.substr(NV_CHECKSUM_SIZE), name, size)
                                  : Lookup{NV_ERR_FILE, ""};
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const Input input(data, size);
    std::string_view rest = input.rest;
    const std::string name = take_first_line(&rest);
    std::string file(rest);
    if (input.chooses(kRightChecksum)) {
        file = with_checksum(file);
    }
    write_file(kPath, file);

    const bool has_checksum = input.chooses(kHasChecksum);
    const uint32_t room = input.chooses(kSmallBuffer) ? 4 : NV_VALUE_MAX + 1;
    const Copy buffer(new char[room]);
    const Lookup expected = expected_lookup(file, name, room, has_checksum);
    require(nvm_parsefile(kPath, name.c_str(), buffer.get(), room, has_checksum) == expected.result,
            "the result is that of the lookup in memory");
    require(expected.result != NV_SUCCESS || expected.value == buffer.get(), "so is the value");
    return 0;
}
