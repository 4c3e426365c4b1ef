// Interface counters: the steps of the parser, files of each layout, and the kernel's own.
#include "lte_sdk/statistics.h"
#include "support/eventually.h"
#include "support/guarded.h"
#include "support/scoped_mount.h"
#include "support/shell.h"
#include "support/text_file.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <linux/if_packet.h>
#include <map>
#include <net/if.h>
#include <sstream>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace statistics_test {

using namespace testing_support;

namespace {

constexpr char kHeader0[] =
    "Inter-|   Receive                  |  Transmit\n"
    " face |packets errs drop fifo frame|packets errs drop fifo colls carrier\n";
constexpr char kHeader1[] =
    "Inter-|   Receive                        |  Transmit\n"
    " face |bytes    packets errs drop fifo frame|bytes    packets errs drop fifo colls carrier\n";
constexpr char kHeader2[] =
    "Inter-|   Receive                                                |  Transmit\n"
    " face |bytes    packets errs drop fifo frame compressed multicast|bytes    packets errs drop fifo "
    "colls carrier compressed\n";

constexpr char kFields0[] = " 1 2 3 4 5 6 7 8 9 10 11\n";
constexpr char kFields1[] = " 100 1 2 3 4 5 600 6 7 8 9 10 11\n";
constexpr char kFields2[] = " 100 1 2 3 4 5 12 13 600 6 7 8 9 10 11 14\n";

// The counters that all of the three lines above have.
if_stats common_counters()
{
    if_stats stats = {};
    stats.rx_packets = 1;
    stats.rx_errors = 2;
    stats.rx_dropped = 3;
    stats.rx_fifo_errors = 4;
    stats.rx_frame_errors = 5;
    stats.tx_packets = 6;
    stats.tx_errors = 7;
    stats.tx_dropped = 8;
    stats.tx_fifo_errors = 9;
    stats.collisions = 10;
    stats.tx_carrier_errors = 11;
    return stats;
}

if_stats with_bytes(if_stats stats)
{
    stats.rx_bytes = 100;
    stats.tx_bytes = 600;
    return stats;
}

if_stats all_counters()
{
    if_stats stats = with_bytes(common_counters());
    stats.rx_compressed = 12;
    stats.rx_multicast = 13;
    stats.tx_compressed = 14;
    return stats;
}

struct Layout {
    std::string header;
    const char *fields;
    if_stats counters;
};

// By their versions.
const Layout kLayouts[] = {{kHeader0, kFields0, common_counters()},
                           {kHeader1, kFields1, with_bytes(common_counters())},
                           {kHeader2, kFields2, all_counters()}};

std::string bytes_of(const if_stats &stats)
{
    return {reinterpret_cast<const char *>(&stats), sizeof(stats)};
}

std::string fields_of(const char *text, unsigned version)
{
    Guarded<if_stats> stats;
    get_dev_fields(text, stats.get(), version);
    return stats.bytes();
}

// The name of a line, and where its counters start; "-" for the name before.
struct Name {
    std::string name;
    ptrdiff_t fields;

    bool operator==(const Name &) const = default;
};

Name name_of(const char *line)
{
    char name[lterouter::kIfNameSize] = "-";
    const char *fields = get_name(name, line);
    return {name, fields - line};
}

std::ostream &operator<<(std::ostream &out, const Name &name)
{
    return out << '"' << name.name << "\" at " << name.fields;
}

// A file in the place of the kernel's. The kernel drops what is mounted over its own.
class SampleFile {
public:
    explicit SampleFile(const std::string &content)
    {
        mkdir("/proc/net", 0755);
        write_text("/proc/net/dev", content);
    }

private:
    ScopedMount proc_{"/proc"};
};

// What a sample file says of an interface; the record without its uptime, which is checked here.
std::string sampled(const std::string &content, const char *ifname)
{
    const SampleFile file(content);
    Guarded<if_stats> stats;
    EXPECT_EQ(lct_readlist_proc(ifname, stats.get()), 0) << ifname;
    EXPECT_NE(stats->uptime, 0U);
    stats->uptime = 0;
    return stats.bytes();
}

void expect_missing(const std::string &content, const char *ifname)
{
    const SampleFile file(content);
    Guarded<if_stats> stats;
    EXPECT_EQ(lct_readlist_proc(ifname, stats.get()), -1) << ifname;
    EXPECT_EQ(stats.bytes(), bytes_of(if_stats{})) << ifname;
}

uint32_t seconds_since_boot()
{
    timespec now = {};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return static_cast<uint32_t>(now.tv_sec);
}

} // namespace

// ---- Layout ----

TEST(Layout, is_told_by_the_second_header_line)
{
    EXPECT_EQ(procnetdev_version(" face |packets errs drop fifo frame|packets errs"), 0U);
    EXPECT_EQ(procnetdev_version(" face |bytes    packets errs|bytes    packets"), 1U);
    EXPECT_EQ(procnetdev_version(" face |bytes    packets errs compressed multicast|bytes"), 2U);
    EXPECT_EQ(procnetdev_version("compressed"), 2U);
    EXPECT_EQ(procnetdev_version("Bytes Compressed byte"), 0U);
    EXPECT_EQ(procnetdev_version(""), 0U);
}

// ---- Names ----

TEST(InterfaceName, ends_at_the_colon_and_the_counters_start_behind_it)
{
    EXPECT_EQ(name_of("eth0: 1 2"), (Name{"eth0", 5}));
    EXPECT_EQ(name_of("  eth0:1234 2"), (Name{"eth0", 7}));
    EXPECT_EQ(name_of(" \t\v\f\r\neth0:"), (Name{"eth0", 11}));
    EXPECT_EQ(name_of("eth0.100@x-y: 1"), (Name{"eth0.100@x-y", 13}));
    EXPECT_EQ(name_of(": 1"), (Name{"", 1}));
}

TEST(InterfaceName, has_the_number_of_an_alias)
{
    EXPECT_EQ(name_of("eth0:1: 2 3"), (Name{"eth0:1", 7}));
    EXPECT_EQ(name_of(" eth0:12:34 3"), (Name{"eth0:12", 9}));
    EXPECT_EQ(name_of("eth0:: 1"), (Name{"eth0:", 6}));
}

TEST(InterfaceName, has_no_counter_that_is_glued_to_the_colon)
{
    EXPECT_EQ(name_of("eth0:1234 5: 6"), (Name{"eth0", 5}));
    EXPECT_EQ(name_of("eth0:12"), (Name{"eth0", 5}));
    EXPECT_EQ(name_of("eth0:1x: 2"), (Name{"eth0", 5}));
}

TEST(InterfaceName, that_no_colon_ends_is_empty_and_the_counters_start_one_character_on)
{
    for (const char *line : {"eth0 1 2", "eth0 : 1", "eth0", "  eth0\n", "\n", "   "}) {
        EXPECT_EQ(name_of(line), (Name{"", 1})) << line;
    }
}

TEST(InterfaceName, of_15_characters_fits_and_a_longer_one_is_empty)
{
    EXPECT_EQ(name_of("abcdefghijklmno: 1"), (Name{"abcdefghijklmno", 16}));
    EXPECT_EQ(name_of("abcdefghijklmnop: 1"), (Name{"", 1}));
    EXPECT_EQ(name_of((std::string(400, 'x') + ": 1").c_str()), (Name{"", 1}));
    EXPECT_EQ(name_of("abcdefghijklm:1: 1"), (Name{"abcdefghijklm:1", 16}));
    EXPECT_EQ(name_of("abcdefghijklmn:1: 1"), (Name{"", 1}));
}

// ---- Counters ----

TEST(Counters, of_each_layout)
{
    for (unsigned version = 0; version < std::size(kLayouts); ++version) {
        EXPECT_EQ(fields_of(kLayouts[version].fields, version), bytes_of(kLayouts[version].counters));
    }
    EXPECT_EQ(fields_of("100 1 2 3 4 5 12 13 600 6 7 8 9 10 11 14", 2), bytes_of(all_counters()));
}

TEST(Counters, that_a_line_lacks_are_0)
{
    if_stats stats = {};
    stats.rx_bytes = 7;
    stats.rx_packets = 8;
    EXPECT_EQ(fields_of(" 7 8 x 9", 2), bytes_of(stats));
    for (const unsigned version : {0U, 1U, 2U}) {
        EXPECT_EQ(fields_of("", version), bytes_of(if_stats{}));
        EXPECT_EQ(fields_of("\n", version), bytes_of(if_stats{}));
    }
}

TEST(Counters, of_bytes_and_packets_have_64_bits_and_the_others_32)
{
    if_stats stats = {};
    stats.rx_bytes = 4294967296;
    stats.rx_packets = 18446744073709551615U;
    stats.rx_errors = 4294967295;
    stats.tx_bytes = 9876543210987;
    stats.tx_packets = 5000000000;
    stats.tx_compressed = 4294967295;
    EXPECT_EQ(fields_of(" 4294967296 18446744073709551615 4294967295 0 0 0 0 0"
                        " 9876543210987 5000000000 0 0 0 0 0 4294967295\n",
                        2),
              bytes_of(stats));
    stats.rx_errors = stats.tx_compressed = 0;
    EXPECT_EQ(fields_of(" 4294967296 18446744073709551615 0 0 0 0 9876543210987 5000000000 0 0 0\n", 1),
              bytes_of(stats));
    stats.rx_bytes = stats.tx_bytes = 0;
    EXPECT_EQ(fields_of(" 18446744073709551615 0 0 0 0 5000000000 0 0 0\n", 0), bytes_of(stats));
}

// ---- The file ----

TEST(InterfaceStatistics, of_a_file_of_each_layout)
{
    for (const Layout &layout : kLayouts) {
        EXPECT_EQ(sampled(layout.header + "    lo: 9\n  wwan0:" + layout.fields, "wwan0"),
                  bytes_of(layout.counters))
            << layout.header;
    }
    EXPECT_EQ(std::size(kLayouts), lterouter::kNetDevLayouts) << "a layout has no sample here";
}

TEST(InterfaceStatistics, layout_is_taken_from_the_second_line_alone)
{
    EXPECT_EQ(sampled("bytes compressed\n face |packets\n eth0:" + std::string(kFields0), "eth0"),
              bytes_of(common_counters()));
    EXPECT_EQ(sampled("face\nbytes compressed\n eth0:" + std::string(kFields2), "eth0"),
              bytes_of(all_counters()));
}

TEST(InterfaceStatistics, counters_may_be_glued_to_the_colon)
{
    EXPECT_EQ(sampled(std::string(kHeader2) + "eth0:" + (kFields2 + 1), "eth0"),
              bytes_of(all_counters()));
}

TEST(InterfaceStatistics, of_an_alias_are_its_own)
{
    const std::string file =
        std::string(kHeader2) + "  eth0: 9 9\neth0:1:" + kFields2 + "eth0:2: 8 8\n";
    EXPECT_EQ(sampled(file, "eth0:1"), bytes_of(all_counters()));
    if_stats stats = {};
    stats.rx_bytes = stats.rx_packets = 9;
    EXPECT_EQ(sampled(file, "eth0"), bytes_of(stats));
    expect_missing(file, "eth0:");
    expect_missing(file, "eth0:3");
}

TEST(InterfaceStatistics, name_is_compared_as_a_whole_and_the_first_line_wins)
{
    const std::string file = std::string(kHeader2) + "eth10: 1\neth1:" + kFields2 + "eth1: 3\n";
    EXPECT_EQ(sampled(file, "eth1"), bytes_of(all_counters()));
    for (const char *name : {"eth", "eth11", "th1", "ETH1", "eth1 ", "eth1:", "Inter-|", "face"}) {
        expect_missing(file, name);
    }
}

TEST(InterfaceStatistics, name_of_15_characters_matches_and_a_longer_one_never)
{
    const std::string file = std::string(kHeader2) + "abcdefghijklmnop: 7\nabcdefghijklmno:" + kFields2;
    EXPECT_EQ(sampled(file, "abcdefghijklmno"), bytes_of(all_counters()));
    expect_missing(file, "abcdefghijklmnop");
    expect_missing(std::string(kHeader2) + "abcdefghijklmnop: 7\n", "abcdefghijklmno");
}

TEST(InterfaceStatistics, missing_interface_leaves_a_record_of_zeroes)
{
    expect_missing(std::string(kHeader2) + "eth0:" + kFields2, "eth1");
    expect_missing(kHeader2, "eth0");
    expect_missing("one line", "eth0");
    expect_missing("", "eth0");
}

TEST(InterfaceStatistics, header_lines_are_no_interfaces)
{
    expect_missing("eth0: 1\neth0: bytes compressed\n", "eth0");
}

TEST(InterfaceStatistics, last_line_needs_no_line_feed)
{
    EXPECT_EQ(sampled(std::string(kHeader0) + "eth0: 1 2 3 4 5 6 7 8 9 10 11", "eth0"),
              bytes_of(common_counters()));
}

TEST(InterfaceStatistics, line_of_511_characters_is_one_line_and_a_longer_one_two)
{
    // The interface stands behind so many characters of another line, which no line feed ends.
    const std::string hidden = "eth0:" + std::string(kFields2);
    const std::string filler = "abcdefghijklmnop: 7 8 ";
    const auto file = [&](size_t size) {
        return kHeader2 + filler + std::string(size - filler.size(), ' ') + hidden;
    };
    expect_missing(file(510), "eth0");
    EXPECT_EQ(sampled(file(511), "eth0"), bytes_of(all_counters()));
}

TEST(InterfaceStatistics, null_name_fails_and_leaves_the_record)
{
    Guarded<if_stats> stats;
    EXPECT_EQ(lct_readlist_proc(nullptr, stats.get()), -1);
    EXPECT_TRUE(stats.untouched());
}

TEST(InterfaceStatistics, file_that_cannot_be_opened_leaves_the_record)
{
    const ScopedMount proc("/proc");
    Guarded<if_stats> stats;
    EXPECT_EQ(lct_readlist_proc("lo", stats.get()), -1);
    EXPECT_TRUE(stats.untouched());
}

TEST(InterfaceStatistics, file_is_closed_whatever_the_outcome)
{
    const int before = count_descriptors();
    if_stats stats;
    EXPECT_EQ(lct_readlist_proc("lo", &stats), 0);
    EXPECT_EQ(lct_readlist_proc("none", &stats), -1);
    EXPECT_EQ(count_descriptors(), before);
}

TEST(InterfaceStatistics, have_the_uptime_of_the_system)
{
    const uint32_t before = seconds_since_boot();
    if_stats stats = {};
    ASSERT_EQ(lct_readlist_proc("lo", &stats), 0);
    const uint32_t direct = get_uptime();
    const uint32_t after = seconds_since_boot();
    // The kernel rounds up.
    EXPECT_GE(stats.uptime, before);
    EXPECT_LE(stats.uptime, direct);
    EXPECT_LE(direct, after + 1);
}

TEST(InterfaceStatistics, record_has_the_hosts_layout)
{
    EXPECT_EQ(sizeof(if_stats), 112U);
    // Every counter has a number of its own, so that its place in memory shows.
    if_stats stats = all_counters();
    stats.uptime = 99;
    uint64_t wide[4];
    uint32_t narrow[20];
    memcpy(wide, &stats, sizeof(wide));
    memcpy(narrow, reinterpret_cast<const char *>(&stats) + sizeof(wide), sizeof(narrow));
    EXPECT_EQ(std::vector<uint64_t>(wide, wide + 4), (std::vector<uint64_t>{1, 6, 100, 600}));
    EXPECT_EQ(
        std::vector<uint32_t>(narrow, narrow + 20),
        (std::vector<uint32_t>{2, 7, 3, 8, 13, 12, 14, 10, 0, 0, 0, 5, 4, 0, 0, 11, 9, 0, 0, 99}));
}

// ---- The kernel's own file ----

namespace {

// What ip says of an interface, by table and column: "RX bytes", "TX errors carrier".
std::map<std::string, uint64_t> counters_by_ip(const std::string &ifname)
{
    FILE *output = popen(("/sbin/ip -s -s link show dev " + ifname).c_str(), "r");
    std::map<std::string, uint64_t> counters;
    std::string table;
    std::vector<std::string> columns;
    char line[512];
    while (fgets(line, sizeof(line), output) != nullptr) {
        const std::string text = line;
        const size_t colon = text.find(':');
        std::istringstream words(text.substr(colon == std::string::npos ? 0 : colon + 1));
        std::string word;
        if (colon != std::string::npos) {
            table = text.substr(0, colon);
            table.erase(0, table.find_first_not_of(' '));
            columns.clear();
            while (words >> word) {
                columns.push_back(word);
            }
        } else {
            for (const std::string &column : columns) {
                words >> counters[table + ' ' + column];
            }
        }
    }
    EXPECT_EQ(pclose(output), 0);
    return counters;
}

// Frames of a protocol that nobody handles, so that the other end counts them as dropped too.
void send_frames(const char *ifname, size_t count, size_t size)
{
    constexpr uint16_t kExperimental = 0x88B5;
    const int fd = socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, 0);
    ASSERT_GE(fd, 0);
    sockaddr_ll to = {};
    to.sll_family = AF_PACKET;
    to.sll_ifindex = static_cast<int>(if_nametoindex(ifname));
    std::vector<uint8_t> frame(size, 0xFF);
    frame[12] = kExperimental >> 8;
    frame[13] = kExperimental & 0xFF;
    for (size_t i = 0; i < count; ++i) {
        EXPECT_EQ(
            sendto(fd, frame.data(), size, 0, reinterpret_cast<const sockaddr *>(&to), sizeof(to)),
            static_cast<ssize_t>(size));
    }
    close(fd);
}

void expect_same_as_ip(const std::string &ifname, const if_stats &stats)
{
    auto ip = counters_by_ip(ifname);
    ASSERT_GE(ip.size(), 20U);
    EXPECT_EQ(stats.rx_bytes, ip.at("RX bytes"));
    EXPECT_EQ(stats.rx_packets, ip.at("RX packets"));
    EXPECT_EQ(stats.rx_errors, ip.at("RX errors"));
    EXPECT_EQ(stats.rx_dropped, ip.at("RX dropped") + ip.at("RX missed"));
    EXPECT_EQ(stats.rx_multicast, ip.at("RX mcast"));
    EXPECT_EQ(stats.rx_fifo_errors, ip.at("RX errors fifo"));
    EXPECT_EQ(stats.rx_frame_errors, ip.at("RX errors length") + ip.at("RX errors crc") +
                                         ip.at("RX errors frame") + ip.at("RX errors overrun"));
    EXPECT_EQ(stats.tx_bytes, ip.at("TX bytes"));
    EXPECT_EQ(stats.tx_packets, ip.at("TX packets"));
    EXPECT_EQ(stats.tx_errors, ip.at("TX errors"));
    EXPECT_EQ(stats.tx_dropped, ip.at("TX dropped"));
    EXPECT_EQ(stats.tx_fifo_errors, ip.at("TX errors fifo"));
    EXPECT_EQ(stats.collisions, ip.at("TX collsns"));
    EXPECT_EQ(stats.tx_carrier_errors, ip.at("TX carrier") + ip.at("TX errors aborted") +
                                           ip.at("TX errors window") + ip.at("TX errors heartbt"));
}

if_stats kernel_counters(const char *ifname)
{
    if_stats stats = {};
    EXPECT_EQ(lct_readlist_proc(ifname, &stats), 0) << ifname;
    return stats;
}

struct Frames {
    size_t count;
    size_t size;
};

void expect_counted(const char *ifname, const if_stats &before, Frames sent, Frames received)
{
    const if_stats now = kernel_counters(ifname);
    EXPECT_EQ(now.tx_packets, before.tx_packets + sent.count);
    EXPECT_EQ(now.tx_bytes, before.tx_bytes + sent.count * sent.size);
    EXPECT_EQ(now.rx_packets, before.rx_packets + received.count);
    EXPECT_EQ(now.rx_bytes, before.rx_bytes + received.count * received.size);
    expect_same_as_ip(ifname, now);
}

} // namespace

TEST(KernelStatistics, of_a_pair_of_interfaces_are_what_ip_says_and_what_was_sent)
{
    constexpr char kNear[] = "near0";
    constexpr char kFar[] = "a-name-of-15-ch";
    shell(std::string("/sbin/ip link add ") + kNear + " type veth peer name " + kFar);
    for (const std::string end : {kNear, kFar}) {
        // Nothing but the test is to send anything.
        shell("/sbin/ip link set " + end + " addrgenmode none arp off multicast off");
        shell("/sbin/ip link set " + end + " up");
    }
    // What is sent before the ends have noticed each other gets nowhere.
    for (const char *end : {kNear, kFar}) {
        ASSERT_TRUE(eventually([end] {
            send_frames(end, 1, 60);
            return kernel_counters(end).tx_packets != 0;
        }));
    }
    const if_stats near_before = kernel_counters(kNear);
    const if_stats far_before = kernel_counters(kFar);

    constexpr size_t kCount = 37;
    constexpr size_t kSize = 1234;
    constexpr size_t kReplies = 5;
    constexpr size_t kReplySize = 60;
    send_frames(kNear, kCount, kSize);
    send_frames(kFar, kReplies, kReplySize);
    ASSERT_TRUE(eventually([&] {
        return kernel_counters(kFar).rx_dropped == far_before.rx_dropped + kCount &&
               kernel_counters(kNear).rx_dropped == near_before.rx_dropped + kReplies;
    }));

    expect_counted(kNear, near_before, {kCount, kSize}, {kReplies, kReplySize});
    expect_counted(kFar, far_before, {kReplies, kReplySize}, {kCount, kSize});
}

TEST(KernelStatistics, of_an_interface_that_does_not_exist_are_none)
{
    Guarded<if_stats> stats;
    EXPECT_EQ(lct_readlist_proc("none0", stats.get()), -1);
    EXPECT_EQ(stats.bytes(), bytes_of(if_stats{}));
}

} // namespace statistics_test
