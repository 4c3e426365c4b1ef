// Looking a neighbour up in the kernel's table, and in malformed tables.
#include "lc_network.h"
#include "support/call_notes.h"
#include "support/guarded.h"
#include "support/neighbour.h"
#include "support/network_notes.h"
#include "support/scoped_mount.h"
#include "support/text_file.h"

#include <arpa/inet.h>
#include <array>
#include <cstring>
#include <optional>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>

namespace arp_table_test {

using namespace testing_support;

namespace {

using MacText = std::array<char, LC_MAC_TEXT_SIZE>;

constexpr char kHeading[] =
    "IP address       HW type     Flags       HW address            Mask     Device\n";
constexpr char kNone[] = "open the ip is not exist in arp table";

std::string found_note(const std::string &mac)
{
    return "open the ip is exist in arp table and corresponding mac is " + mac;
}

std::string entry(const std::string &ip = kFarIp, const std::string &mac = kFarMac)
{
    return ip + "         0x1         0x2         " + mac + "     *        near0\n";
}

class ArpTable : public NetworkNotes {
protected:
    void expect_found(const char *ip, const std::string &mac)
    {
        Guarded<MacText> text;
        EXPECT_EQ(lc_get_climac_by_ip(ip, text.get()->data()), 0) << ip;
        EXPECT_EQ(text->data(), mac);
        expect_arp_note("lc_get_climac_by_ip", found_note(mac));
        expect_silence();
    }
    void expect_failure(const char *ip, int result, const char *note)
    {
        Guarded<MacText> text;
        EXPECT_EQ(lc_get_climac_by_ip(ip, text.get()->data()), result) << (ip == nullptr ? "null" : ip);
        EXPECT_TRUE(text.untouched());
        expect_arp_note("lc_get_climac_by_ip", note);
        expect_silence();
    }

private:
    const NothingLeftOpen all_closed_;
};

// A table of the test's own. The kernel drops what is mounted over its own.
class SampleArpTable : public ArpTable {
protected:
    void use(const std::string &content)
    {
        proc_.emplace("/proc");
        mkdir("/proc/net", 0755);
        write_text("/proc/net/arp", content);
    }
    void find(const std::string &content, const std::string &mac = kFarMac)
    {
        use(content);
        expect_found(kFarIp, mac);
        proc_.reset();
    }
    void miss(const std::string &content)
    {
        use(content);
        expect_failure(kFarIp, -1, kNone);
        proc_.reset();
    }

private:
    std::optional<ScopedMount> proc_;
};

// Makes the kernel ask for an address.
void send_something(const char *ip)
{
    sockaddr_in to = {};
    to.sin_family = AF_INET;
    to.sin_port = htons(9);
    ASSERT_EQ(inet_aton(ip, &to.sin_addr), 1);
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(sendto(fd, "x", 1, 0, reinterpret_cast<const sockaddr *>(&to), sizeof(to)), 1);
    close(fd);
}

bool table_has(const std::string &ip, const std::string &mac)
{
    const std::string table = read_text("/proc/net/arp");
    const size_t line = table.find("\n" + ip + " ");
    return line != std::string::npos &&
           table.substr(line + 1, table.find('\n', line + 1) - line).find(mac) != std::string::npos;
}

} // namespace

// ---- The kernel's ----

TEST_F(ArpTable, has_a_neighbour_that_answered)
{
    const Neighbour neighbour;
    expect_failure(kFarIp, -1, kNone);
    send_something(kFarIp);
    ASSERT_TRUE(eventually([] { return table_has(kFarIp, kFarMac); }));
    expect_found(kFarIp, kFarMac);
}

TEST_F(ArpTable, has_zeros_for_a_neighbour_that_does_not_answer)
{
    const Neighbour neighbour;
    send_something(kSilentIp);
    ASSERT_TRUE(eventually([] { return table_has(kSilentIp, "00:00:00:00:00:00"); }));
    expect_found(kSilentIp, "00:00:00:00:00:00");
}

TEST_F(ArpTable, is_searched_for_the_whole_address)
{
    const Neighbour neighbour;
    shell("/sbin/ip neigh add 10.9.0.25 lladdr 02:aa:bb:cc:dd:ee dev near0");
    shell("/sbin/ip neigh add 10.9.0.26 lladdr 02:aa:bb:cc:dd:ef dev near0");
    expect_found("10.9.0.25", "02:aa:bb:cc:dd:ee");
    expect_found("10.9.0.26", "02:aa:bb:cc:dd:ef");
    for (const char *ip : {"10.9.0.2", "0.9.0.25", "10.9.0.255", "010.9.0.031"}) {
        expect_failure(ip, -1, kNone);
    }
    if (is_valid_ip("10.9.0.25 ") == 1) {
        expect_failure("10.9.0.25 ", -1, kNone);
    }
}

TEST_F(ArpTable, is_not_opened_for_what_is_no_address)
{
    for (const char *ip :
         {"300.1.1.1", "1.2.3", "", "x", "1.2.3.4x", static_cast<const char *>(nullptr)}) {
        expect_failure(ip, -2, "input ip is invalid");
    }
    expect_failure(std::string(5000, '1').c_str(), -2, "input ip is invalid");
}

TEST_F(ArpTable, that_is_not_there_is_told)
{
    const ScopedMount proc("/proc");
    expect_failure("10.9.0.2", -1, "open the arp file error");
    expect_failure("10.9.0", -2, "input ip is invalid");
}

TEST_F(ArpTable, that_cannot_be_opened_is_told)
{
    rlimit usual = {};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &usual), 0);
    const rlimit none = {0, usual.rlim_max};
    Guarded<MacText> text;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    const int result = lc_get_climac_by_ip("10.9.0.2", text.get()->data());
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &usual), 0);
    EXPECT_EQ(result, -1);
    expect_arp_note("lc_get_climac_by_ip", "open the arp file error");
}

// ---- Others ----

TEST_F(SampleArpTable, gives_the_first_line_of_an_address_whatever_its_flags)
{
    find(std::string(kHeading) + entry("10.9.0.1", "02:00:00:00:00:01") +
         "10.9.0.2 0x1 0x0 02:00:00:00:00:02 * near0\n" + entry("10.9.0.2", "02:00:00:00:00:03"));
}

TEST_F(SampleArpTable, begins_with_a_heading_that_is_no_entry)
{
    miss(entry());
    find(entry() + entry("10.9.0.2", "02:00:00:00:00:03"), "02:00:00:00:00:03");
}

TEST_F(SampleArpTable, may_be_empty)
{
    miss("");
    miss("\n");
    miss(kHeading);
}

TEST_F(SampleArpTable, that_opens_but_cannot_be_read_has_nothing)
{
    const ScopedMount proc("/proc");
    mkdir("/proc/net", 0755);
    mkdir("/proc/net/arp", 0755);
    expect_failure("10.9.0.2", -1, kNone);
}

TEST_F(SampleArpTable, lines_with_less_than_six_fields_are_skipped)
{
    const std::string good = entry();
    for (const char *line :
         {"\n", " \n", "10.9.0.2\n", "10.9.0.2 0x1 0x2\n", "10.9.0.2 0x1 0x2 02:00:00:00:00:03\n",
          "10.9.0.2 0x1 0x2 02:00:00:00:00:03 *\n", "10.9.0.2 1 2 02:00:00:00:00:03 * near0\n",
          "10.9.0.2 0xx 0x2 02:00:00:00:00:03 * near0\n",
          "10.9.0.2 0x1 flags 02:00:00:00:00:03 * near0\n"}) {
        find(std::string(kHeading) + line + good);
        miss(std::string(kHeading) + line);
    }
}

TEST_F(SampleArpTable, fields_are_separated_by_any_blanks_and_more_than_six_do_no_harm)
{
    find(std::string(kHeading) + "\t10.9.0.2\t0x1 0xffffffff   02:00:00:00:00:02 * near0 more\n");
    find(std::string(kHeading) + "10.9.0.2 0x1 0x2 02:00:00:00:00:02 * near0");
}

TEST_F(SampleArpTable, lines_of_more_than_100_bytes_are_read_in_pieces)
{
    const std::string good = entry();
    const std::string heading = kHeading;
    for (const size_t size : {101UL, 102UL, 250UL, 5000UL}) {
        find(heading + std::string(size, 'x') + "\n" + good);
        find(heading + entry() + std::string(size, ' ') + "\n");
        // Six fields that no line is long enough for.
        miss(heading + std::string(size, '1') + " 0x1 0x2 " + std::string(size, 'm') + " * near0\n");
    }
    // The sixth field is the 100th byte, or comes too late.
    const std::string five = "10.9.0.2 0x1 0x2 02:00:00:00:00:02 *";
    find(heading + five + std::string(99 - five.size(), ' ') + "n\n");
    miss(heading + five + std::string(100 - five.size(), ' ') + "n\n");
    // The rest of a line is a line: behind 100 bytes of another entry comes this one.
    find(heading + "10.9.0.1 0x1 0x2 m * near0" + std::string(74, ' ') + good);
}

TEST_F(SampleArpTable, hardware_address_is_copied_as_it_is_up_to_17_characters)
{
    find(std::string(kHeading) + entry("10.9.0.2", "*"), "*");
    find(std::string(kHeading) + entry("10.9.0.2", "00:11:22:33:44:55:66:77"), "00:11:22:33:44:55");
    find(std::string(kHeading) + "10.9.0.2 0x1 0x2 " + std::string(70, 'm') + " * n\n",
         std::string(17, 'm'));
}

TEST_F(SampleArpTable, bytes_that_are_no_text_are_no_entries)
{
    std::string bytes = kHeading;
    for (int i = 0; i < 2000; ++i) {
        bytes += static_cast<char>(i * 7 % 256);
    }
    find(bytes + "\n" + entry());
}

} // namespace arp_table_test
