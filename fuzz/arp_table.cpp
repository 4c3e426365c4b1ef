// Looking a hardware address up in the kernel's table. Input: the address up to the first line feed,
// the table.
#include "lc_network.h"
#include "served_file.h"
#include "written_log.h"

#include <cctype>
#include <vector>

using namespace fuzzing;

namespace {

constexpr const char *kPath = "/proc/net/arp";
constexpr size_t kLineSize = 101;
constexpr size_t kMacMax = LC_MAC_TEXT_SIZE - 1;

std::vector<std::string> words_of(const std::string &line)
{
    std::vector<std::string> words;
    bool inside = false;
    for (const char ch : line) {
        const bool space = isspace(static_cast<unsigned char>(ch)) != 0;
        if (!space && !inside) {
            words.emplace_back();
        }
        if (!space) {
            words.back() += ch;
        }
        inside = !space;
    }
    return words;
}

bool is_hexadecimal(const std::string &word)
{
    return word.starts_with("0x") && word.size() > 2 && word.size() <= 10 &&
           word.find_first_not_of("0123456789abcdefABCDEF", 2) == std::string::npos;
}

// Written as the kernel writes them: an odd line may be taken for one or not.
bool is_regular(const std::vector<std::string> &words)
{
    return words.size() >= 6 && is_hexadecimal(words[1]) && is_hexadecimal(words[2]);
}

// The lines about an address, without the heading.
std::vector<std::vector<std::string>> lines_about(std::string_view table, const std::string &ip)
{
    std::vector<std::vector<std::string>> lines;
    take_line(&table, kLineSize);
    while (!table.empty()) {
        const std::vector<std::string> words = words_of(text_of(take_line(&table, kLineSize)));
        if (!words.empty() && words[0] == ip) {
            lines.push_back(words);
        }
    }
    return lines;
}

bool holds_word(const std::vector<std::vector<std::string>> &lines, const std::string &mac)
{
    for (const auto &words : lines) {
        for (const std::string &word : words) {
            // An odd line can have its fields run together.
            if (word.find(mac) != std::string::npos) {
                return true;
            }
        }
    }
    return false;
}

void check_lookup(std::string_view table, const std::string &ip)
{
    const auto lines = lines_about(table, ip);
    const Copy mac(new char[LC_MAC_TEXT_SIZE]);
    strcpy(mac.get(), "untouched");
    const int result = lc_get_climac_by_ip(text_copy_of(ip).get(), mac.get());
    const std::string found = mac.get();
    if (is_valid_ip(ip.c_str()) == 0) {
        require(result == LC_NETWORK_ERR_IP, "what is no address is refused");
    } else if (lines.empty()) {
        require(result == -1, "an address that is not in the table is not found");
    } else if (is_regular(lines[0])) {
        require(result == 0 && found == lines[0][3].substr(0, kMacMax),
                "the first line about it counts");
    } else {
        require(result == 0 || result == -1, "there is no other result");
    }
    require(result == 0 ? holds_word(lines, found) : found == "untouched",
            "what is found stands in the table, and nothing is written without a find");
}

// Without an address of its own it looks into the table and sends nothing.
void check_update(const std::string &ip)
{
    const Copy target = text_copy_of(ip);
    char mac[LC_MAC_TEXT_SIZE];
    const int found = lc_get_climac_by_ip(target.get(), mac);
    const int result = lc_arp_update(target.get(), "10.0.0.1", "none", "no address");
    require(result == (found == 0 ? 0 : -1), "an entry is enough");
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    write_log();
    return 0;
}

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    std::string_view table(reinterpret_cast<const char *>(data), size);
    const std::string ip = take_first_line(&table);
    const DescriptorCheck descriptors;
    const ServedFile served(kPath, table);
    check_lookup(table, ip);
    check_update(ip);
    return 0;
}
