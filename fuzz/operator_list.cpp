// Printing the operator list that a search left in the RAM store, compared with an implementation in
// memory. Input: the parameter's file.
#include "lc_nv.h"
#include "lte_sdk/core.h"
#include "printed.h"

using namespace fuzzing;

namespace {

constexpr const char *kPath = "/tmp/nv/wm_search_netlist_nv";
constexpr uint32_t kValueSize = 524;
constexpr size_t kEntries = 10;
constexpr size_t kEntryMax = 63;
constexpr size_t kNameMax = 15;

// Takes a comma and the number after it off the text; false when there is none. What does not fit is
// cut as scanf cuts it.
bool take_number(const char **text, bool is_signed, unsigned long *number)
{
    if (**text != ',') {
        return false;
    }
    char *end;
    *number = is_signed ? static_cast<unsigned long>(strtol(*text + 1, &end, 10))
                        : strtoul(*text + 1, &end, 10);
    const bool found = end != *text + 1;
    *text = end;
    return found;
}

// What the list has no more of reads as 0.
std::string printed_entry(const std::string &text)
{
    std::string line = text.substr(0, std::min(text.find(','), kNameMax));
    const char *rest = text.c_str() + std::min(text.find(','), text.size());
    bool found = rest != text.c_str();
    for (int i = 0; i < 7; ++i) {
        const bool is_signed = i >= 2;
        unsigned long number = 0;
        found = found && take_number(&rest, is_signed, &number);
        line += ',' + (is_signed ? std::to_string(static_cast<int32_t>(number))
                                 : std::to_string(static_cast<uint16_t>(number)));
    }
    return line + '\n';
}

std::string printed_list(std::string_view value)
{
    std::string sscanf_lines;
    std::string list_lines;
    size_t start = value.find('>') + 1; // 0 when there is none
    size_t count = 0;
    while (start != 0 && start < value.size() && count < kEntries) {
        const size_t end = value.find('>', start);
        const std::string entry(value.substr(start, std::min(end - start, kEntryMax)));
        sscanf_lines += "sscanf:**" + entry + "**\n";
        list_lines += printed_entry(entry);
        start = end + 1;
        ++count;
    }
    for (; count < kEntries; ++count) {
        list_lines += printed_entry("");
    }
    return sscanf_lines + "nv value list:--------\n" + list_lines + "nv value list end--------\n";
}

std::string expected_output(std::string_view file)
{
    if (file.empty()) {
        return "read nv err\n";
    }
    // The store ends what it reads with a NUL in the place of the last byte.
    file = file.substr(0, NV_VALUE_MAX + 1);
    if (file.size() > kValueSize) {
        return "read nv err\n";
    }
    const std::string value = text_of(file.substr(0, file.size() - 1));
    return value.empty() || value == "end" ? "nv value:**" + value + "**\n" : printed_list(value);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    require(nvmram_init() == NV_SUCCESS, "there is a store");
    return 0;
}

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string_view file(reinterpret_cast<const char *>(data), size);
    write_file(kPath, file);
    const DescriptorCheck descriptors;
    Printed output(stdout);
    netlist_nv();
    require(output.take() == expected_output(file), "the list is printed as it stands in the store");
    return 0;
}
