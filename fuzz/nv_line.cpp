// The parser of parameter lines. Input: the line.
#include "lc_nv.h"
#include "support.h"

using namespace fuzzing;

namespace {

constexpr std::string_view kNameCharacters =
    "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz-_.";

// text: the line as it was before it was parsed in place.
void check_parameter(std::string_view text, const char *line, const char *name, uint32_t bits,
                     const char *value)
{
    const std::string_view name_text(name);
    const std::string_view value_text(value);
    require(name == line, "the name begins the line");
    require(name_text.size() < 128, "a name has at most 127 bytes");
    require(name_text.find_first_not_of(kNameCharacters) == std::string_view::npos,
            "a name has no other characters");
    require(text.substr(0, name_text.size() + 1) == std::string(name_text) + "=", "the name ends at =");

    require(value > name + name_text.size() + 1 && value < line + text.size(),
            "the value is in the line, after the bits");
    require(value_text.size() <= NV_VALUE_MAX, "a value has at most 4095 bytes");
    const size_t at = static_cast<size_t>(value - line);
    require(text.substr(at, value_text.size() + 1) == std::string(value_text) + "\n",
            "the value is what stands before the first line feed");

    const std::string field(text.substr(name_text.size() + 1, at - name_text.size() - 2));
    char *end;
    require(!field.empty() && strtoul(field.c_str(), &end, 16) == bits && *end == '\0',
            "the bits are a number");
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const Copy line = text_copy_of({reinterpret_cast<const char *>(data), size});
    const std::string text = line.get();

    char *name = nullptr;
    char *value = nullptr;
    uint32_t bits = 0;
    switch (nv_parse_line(line.get(), &name, &bits, &value, "", 1)) {
    case NV_LINE_PARAMETER:
        check_parameter(text, line.get(), name, bits, value);
        break;
    case NV_LINE_SKIP:
        require(text[0] == '#' || text[0] == '\n', "only comments and empty lines are skipped");
        break;
    case NV_LINE_MALFORMED:
        require(text[0] != '#' && text[0] != '\n', "comments and empty lines are not malformed");
        break;
    default:
        require(false, "there are three results");
    }
    return 0;
}
