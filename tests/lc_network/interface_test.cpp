// Interfaces and their addresses: the inverted tests, and the code behind them.
#include "lc_network.h"
#include "support/call_notes.h"
#include "support/network_notes.h"
#include "support/shell.h"
#include "support/text_file.h"

#include <arpa/inet.h>
#include <array>
#include <cstring>
#include <optional>
#include <utility>

namespace interface_test {

using namespace testing_support;

namespace {

using Mac = std::array<uint8_t, LC_MAC_SIZE>;

constexpr in_addr kUntouchedIp = {0xA5A5A5A5};
constexpr Mac kUntouchedMac = {9, 9, 9, 9, 9, 9};
constexpr char kUp[] = "up0";
constexpr char kDown[] = "a-name-of-15-ch";
constexpr char kCutToDown[] = "a-name-of-15-char"; // its first 15 characters are the one above
constexpr char kCutToNone[] = "none-of-15-charac";

// Two interfaces of which one is up and has an address.
class Interfaces : public NetworkNotes {
protected:
    Interfaces()
    {
        shell("/sbin/ip link add up0 address 02:03:0a:0b:fe:ff type veth peer name a-name-of-15-ch");
        shell("/sbin/ip address add 10.9.0.1/24 dev up0");
        shell("/sbin/ip link set up0 up");
        all_closed_.emplace();
    }

    int get_ip(const char *name)
    {
        ip = kUntouchedIp;
        return lc_get_ip_by_ifname(name, &ip);
    }
    int get_mac(const char *name)
    {
        mac = kUntouchedMac;
        return lc_get_mac_by_ifname(name, mac.data());
    }

    in_addr ip = {};
    Mac mac = {};

private:
    std::optional<NothingLeftOpen> all_closed_;
};

// The same, unknown to if_nametoindex: only so the requests to the kernel succeed.
class HiddenInterfaces : public Interfaces {
protected:
    const Hooked hidden{calls::if_nametoindex, [](auto &, const char *) { return 0U; }};
};

} // namespace

// ---- As the router's processes see them ----

TEST_F(Interfaces, existing_one_is_answered_with_minus_1_and_any_other_with_0)
{
    for (const char *name : {"lo", kUp, kDown}) {
        EXPECT_EQ(lc_is_interface_exist(name), -1) << name;
    }
    for (const char *name : {"none0", "", "LO", "lo ", kCutToDown}) {
        EXPECT_EQ(lc_is_interface_exist(name), 0) << name;
    }
    EXPECT_EQ(lc_is_interface_exist(nullptr), 0);
    EXPECT_EQ(lc_is_interface_exist(std::string(5000, 'x').c_str()), 0);
    expect_silence();
}

TEST_F(Interfaces, existing_one_and_none_are_refused_as_a_parameter_and_so_count_as_up)
{
    for (const char *name : {"lo", kUp, kDown, static_cast<const char *>(nullptr), ""}) {
        EXPECT_EQ(lc_is_interface_up(name), -1);
        expect_note("lc_is_interface_up", "Parameter error");
    }
    expect_silence();
    EXPECT_EQ(notes().ioctls, 0);
}

TEST_F(Interfaces, missing_one_is_not_up)
{
    for (const char *name : {"none0", kCutToNone}) {
        EXPECT_EQ(lc_is_interface_up(name), 0) << name;
    }
    EXPECT_EQ(lc_is_interface_up(std::string(5000, 'x').c_str()), 0);
    expect_silence();
    EXPECT_EQ(notes().request, static_cast<unsigned long>(SIOCGIFFLAGS));
}

TEST_F(Interfaces, addresses_of_an_existing_one_are_refused)
{
    for (const char *name : {"lo", kUp, kDown, static_cast<const char *>(nullptr), ""}) {
        EXPECT_EQ(get_ip(name), -1);
        EXPECT_EQ(ip.s_addr, kUntouchedIp.s_addr);
        expect_note("lc_get_ip_by_ifname", "Parameter error.");
        EXPECT_EQ(get_mac(name), -1);
        EXPECT_EQ(mac, kUntouchedMac);
    }
    EXPECT_EQ(lc_get_ip_by_ifname("none0", nullptr), -1);
    expect_note("lc_get_ip_by_ifname", "Parameter error.");
    EXPECT_EQ(lc_get_mac_by_ifname("none0", nullptr), -1);
    expect_silence();
    EXPECT_EQ(notes().ioctls, 0);
}

TEST_F(Interfaces, addresses_of_a_missing_one_cannot_be_had)
{
    const std::string endless(5000, 'x');
    for (const char *name : {"none0", kCutToNone, endless.c_str()}) {
        EXPECT_EQ(get_ip(name), -1) << name;
        EXPECT_EQ(ip.s_addr, kUntouchedIp.s_addr);
        expect_note("lc_get_ip_by_ifname", "IOCTL operation error.");
        EXPECT_EQ(get_mac(name), -1) << name;
        EXPECT_EQ(mac, kUntouchedMac);
        expect_note("lc_get_mac_by_ifname", "IOCTL operation error.");
    }
    expect_silence();
}

// if_nametoindex knows no longer name; the requests to the kernel go by the first 15 characters.
TEST_F(Interfaces, longer_name_is_that_of_its_first_15_characters)
{
    EXPECT_EQ(lc_is_interface_up(kCutToDown), 0);
    EXPECT_EQ(get_ip(kCutToDown), -1);
    EXPECT_EQ(ip.s_addr, kUntouchedIp.s_addr);
    expect_note("lc_get_ip_by_ifname", "IOCTL operation error.");
    shell("/sbin/ip link set a-name-of-15-ch address 02:00:00:00:00:15 up");
    shell("/sbin/ip address add 10.9.15.1/24 dev a-name-of-15-ch");
    EXPECT_EQ(lc_is_interface_up(kCutToDown), -1);
    EXPECT_EQ(get_ip(kCutToDown), 0);
    EXPECT_STREQ(inet_ntoa(ip), "10.9.15.1");
    expect_silence();
    EXPECT_EQ(get_mac(kCutToDown), 0);
    EXPECT_EQ(mac, (Mac{0x02, 0, 0, 0, 0, 0x15}));
    expect_note("lc_get_mac_by_ifname",
                "The mac address of interface a-name-of-15-char is[02:00:00:00:00:15]");
    g_noted_calls.forget(); // which the set-up left
    EXPECT_EQ(lc_arp_update2(kCutToDown), -1);
    expect_note("lc_arp_update2", "Call function lc_get_ip_by_ifname error.");
    expect_silence();
    EXPECT_EQ(notes().command, "");
}

// ---- Behind the tests ----

TEST_F(HiddenInterfaces, are_up_when_the_kernel_says_so)
{
    EXPECT_EQ(lc_is_interface_up(kUp), -1);
    EXPECT_EQ(lc_is_interface_up(kDown), 0);
    expect_silence();
    EXPECT_EQ(notes().socket_domain, AF_INET);
    EXPECT_EQ(notes().socket_type, SOCK_STREAM);
    EXPECT_TRUE(notes().closed_on_exec);
}

TEST_F(HiddenInterfaces, have_the_address_that_the_kernel_says)
{
    EXPECT_EQ(get_ip(kUp), 0);
    EXPECT_STREQ(inet_ntoa(ip), "10.9.0.1");
    expect_silence();
    EXPECT_EQ(notes().request, static_cast<unsigned long>(SIOCGIFADDR));
    EXPECT_EQ(notes().interface.ifr_addr.sa_family, AF_INET) << "as it was asked for";
    EXPECT_EQ(get_ip(kDown), -1) << "has none";
    EXPECT_EQ(ip.s_addr, kUntouchedIp.s_addr);
    expect_note("lc_get_ip_by_ifname", "IOCTL operation error.");
}

TEST_F(HiddenInterfaces, have_the_hardware_address_that_the_kernel_says)
{
    EXPECT_EQ(get_mac(kUp), 0);
    EXPECT_EQ(mac, (Mac{0x02, 0x03, 0x0A, 0x0B, 0xFE, 0xFF}));
    expect_note("lc_get_mac_by_ifname", "The mac address of interface up0 is[02:03:0a:0b:fe:ff]");
    expect_silence();
    EXPECT_EQ(notes().request, static_cast<unsigned long>(SIOCGIFHWADDR));
}

TEST_F(HiddenInterfaces, are_asked_for_by_the_first_15_characters_of_a_name)
{
    const std::string endless(5000, 'x');
    const struct {
        const char *name;
        std::string asked;
    } kNames[] = {{kUp, kUp},          {kDown, kDown},
                  {"none0", "none0"},  {"a-name-of-16-cha", "a-name-of-16-ch"},
                  {kCutToDown, kDown}, {endless.c_str(), endless.substr(0, 15)}};
    const auto asked = [] {
        const ifreq request = notes().interface;
        g_noted_calls.forget();
        return std::string(request.ifr_name, strnlen(request.ifr_name, sizeof(request.ifr_name)));
    };
    for (const auto &[name, in_request] : kNames) {
        lc_is_interface_up(name);
        EXPECT_EQ(asked(), in_request);
        get_ip(name);
        EXPECT_EQ(asked(), in_request);
        get_mac(name);
        EXPECT_EQ(asked(), in_request);
    }
}

TEST_F(HiddenInterfaces, without_a_socket_count_as_up_and_have_no_addresses)
{
    const int asked = calls::ioctl.made;
    calls::socket.fail_nth(1, EMFILE);
    EXPECT_EQ(lc_is_interface_up(kDown), -1);
    expect_note("lc_is_interface_up", "Open socket error");
    calls::socket.fail_nth(1, EMFILE);
    EXPECT_EQ(get_ip(kUp), -1);
    expect_note("lc_get_ip_by_ifname", "Open socket error.");
    calls::socket.fail_nth(1, EMFILE);
    EXPECT_EQ(get_mac(kUp), -1);
    expect_silence();
    EXPECT_EQ(calls::ioctl.made, asked);
}

TEST_F(HiddenInterfaces, of_which_the_kernel_tells_nothing_are_down_and_have_no_addresses)
{
    calls::ioctl.fail_nth(1, EIO);
    EXPECT_EQ(lc_is_interface_up(kUp), 0);
    expect_silence();
    calls::ioctl.fail_nth(1, EIO);
    EXPECT_EQ(get_ip(kUp), -1);
    EXPECT_EQ(ip.s_addr, kUntouchedIp.s_addr);
    expect_note("lc_get_ip_by_ifname", "IOCTL operation error.");
    calls::ioctl.fail_nth(1, EIO);
    EXPECT_EQ(get_mac(kUp), -1);
    EXPECT_EQ(mac, kUntouchedMac);
    expect_note("lc_get_mac_by_ifname", "IOCTL operation error.");
    expect_silence();
}

} // namespace interface_test
