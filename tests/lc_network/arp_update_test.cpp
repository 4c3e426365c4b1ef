// Announcing addresses: by an ARP request of the library, and by the system's arping.
#include "lc_network.h"
#include "support/arp_peer.h"
#include "support/call_notes.h"
#include "support/library_calls.h"
#include "support/network_notes.h"
#include "support/scoped_mount.h"
#include "support/standard_output.h"
#include "support/text_file.h"

#include <arpa/inet.h>
#include <sys/stat.h>

namespace arp_update_test {

using namespace testing_support;

namespace {

constexpr char kRoamingIp[] = "10.9.0.77";
constexpr char kRoamingMac[] = "02:AB:cd:00:00:4d";
constexpr char kArping[] = "arping -U -c 1 -I near0 ";

class ArpUpdate : public NetworkNotes {
protected:
    const Neighbour neighbour;

private:
    const NothingLeftOpen all_closed_;
};

using Announcement = ArpUpdate;

// In the place of the library's getter, as long as it lives.
Hooked getter_that_gives(int result)
{
    return {calls::lc_get_ip_by_ifname, [result](auto &, const char *, in_addr *address) {
                EXPECT_EQ(address->s_addr, 0U) << "before it is got";
                inet_aton(kNearIp, address);
                return result;
            }};
}

} // namespace

// ---- By a request of our own ----

TEST_F(ArpUpdate, needs_all_of_its_arguments)
{
    for (size_t missing = 0; missing < 4; ++missing) {
        const char *arguments[] = {kFarIp, kRoamingIp, kNear, kRoamingMac};
        arguments[missing] = nullptr;
        EXPECT_EQ(lc_arp_update(arguments[0], arguments[1], arguments[2], arguments[3]), -2) << missing;
        expect_arp_note("lc_arp_update", "input ip is invalid");
    }
    expect_silence();
    EXPECT_TRUE(notes().sent.empty());
}

TEST_F(ArpUpdate, needs_addresses)
{
    for (const char *text : {"", "x", "300.1.1.1", "10.9.0.2x"}) {
        EXPECT_EQ(lc_arp_update(text, kRoamingIp, kNear, kRoamingMac), -1) << text;
        expect_arp_note("lc_arp_update", "transfer target address fail");
        EXPECT_EQ(lc_arp_update(kFarIp, text, kNear, kRoamingMac), -1) << text;
        expect_arp_note("lc_arp_update", "transfer source address fail");
    }
    EXPECT_EQ(lc_arp_update("x", "x", kNear, "x"), -1) << "the target's is read first";
    expect_arp_note("lc_arp_update", "transfer target address fail");
    expect_silence();
    EXPECT_TRUE(notes().sent.empty());
}

TEST_F(ArpUpdate, has_the_neighbour_note_the_address)
{
    EXPECT_EQ(lc_arp_update(kFarIp, kRoamingIp, kNear, kRoamingMac), 0);
    expect_silence();
    const std::string shows = neighbour.there("ip neigh show 10.9.0.77");
    ASSERT_TRUE(eventually([&] { return !output_of(shows).empty(); }));
    EXPECT_NE(output_of(shows).find(" dev far0 lladdr 02:ab:cd:00:00:4d "), std::string::npos)
        << output_of(shows);

    EXPECT_EQ(lc_arp_update(kFarIp, kRoamingIp, kNear, "02:AB:cd:00:00:4e"), 0);
    EXPECT_TRUE(eventually([&] {
        return output_of(shows).find(" dev far0 lladdr 02:ab:cd:00:00:4e ") != std::string::npos;
    }));
}

TEST_F(ArpUpdate, asks_for_the_target_in_the_name_of_the_source)
{
    ArpPeer peer(neighbour);
    EXPECT_EQ(lc_arp_update(kSilentIp, kRoamingIp, kNear, kRoamingMac), 0) << "answered or not";
    EXPECT_EQ(peer.frame(), "ffffffffffff02abcd00004d08060001080006040001"
                            "02abcd00004d0a09004d0000000000000a090003" +
                                std::string(2 * 18, '0'));
    EXPECT_EQ(notes().patience.tv_sec, 0);
    EXPECT_EQ(notes().patience.tv_usec, 500000);
    expect_silence();
}

TEST_F(ArpUpdate, takes_whatever_begins_with_a_hardware_address)
{
    for (const char *mac :
         {"02:AB:cd:00:00:4d", "2:ab:CD:0:0:4d", "02:ab:cd:00:00:4dxyz", " 02:ab:cd:00:00:4d"}) {
        EXPECT_EQ(lc_arp_update(kFarIp, kRoamingIp, kNear, mac), 0) << mac;
        const Bytes frame = notes().sent.back().bytes;
        EXPECT_EQ(std::vector<uint8_t>(frame.begin() + 22, frame.begin() + 28),
                  (std::vector<uint8_t>{0x02, 0xAB, 0xCD, 0, 0, 0x4D}))
            << mac;
    }
    EXPECT_EQ(notes().sent.size(), 4U);
    expect_silence();
}

TEST_F(ArpUpdate, that_cannot_be_sent_is_not_told)
{
    EXPECT_EQ(lc_arp_update(kFarIp, kRoamingIp, "none0", kRoamingMac), 0);
    EXPECT_EQ(lc_arp_update(kFarIp, kRoamingIp, "", kRoamingMac), 0);
    EXPECT_EQ(lc_arp_update(kFarIp, kRoamingIp, std::string(5000, 'x').c_str(), kRoamingMac), 0);
    calls::socket.fail_nth(1, EPERM);
    EXPECT_EQ(lc_arp_update(kFarIp, kRoamingIp, kNear, kRoamingMac), 0);
    expect_silence();
}

TEST_F(ArpUpdate, without_a_hardware_address_looks_the_targets_up_and_sends_nothing)
{
    shell("/sbin/ip neigh add 10.9.0.25 lladdr 02:aa:bb:cc:dd:ee dev near0");
    for (const char *mac : {"", "x", "02:00:00:00:00", "02:00:00:00:00:", "002:00:00:00:00:01",
                            "02-00-00-00-00-01", "0200.0000.0001"}) {
        EXPECT_EQ(lc_arp_update("10.9.0.25", kRoamingIp, kNear, mac), 0) << mac;
        expect_arp_note("lc_get_climac_by_ip",
                        "open the ip is exist in arp table and corresponding mac is 02:aa:bb:cc:dd:ee");
        expect_silence();
    }
    EXPECT_TRUE(notes().sent.empty());
}

TEST_F(ArpUpdate, without_a_hardware_address_does_not_mind_what_the_table_has_for_one)
{
    const ScopedMount proc("/proc");
    mkdir("/proc/net", 0755);
    write_text("/proc/net/arp", "heading\n10.9.0.2 0x1 0x0 * * near0\n");
    EXPECT_EQ(lc_arp_update(kFarIp, kRoamingIp, kNear, "x"), 0);
    expect_arp_note("lc_get_climac_by_ip",
                    "open the ip is exist in arp table and corresponding mac is *");
    expect_silence();
    EXPECT_TRUE(notes().sent.empty());
}

TEST_F(ArpUpdate, without_a_hardware_address_needs_a_target_that_is_known)
{
    EXPECT_EQ(lc_arp_update(kSilentIp, kRoamingIp, kNear, ""), -1);
    expect_arp_note("lc_get_climac_by_ip", "open the ip is not exist in arp table");
    expect_arp_note("lc_arp_update", "get target mac by ip failed");
    EXPECT_EQ(lc_arp_update("10.9", kRoamingIp, kNear, ""), -1) << "an address to inet_aton alone";
    expect_arp_note("lc_get_climac_by_ip", "input ip is invalid");
    expect_arp_note("lc_arp_update", "get target mac by ip failed");
    expect_silence();
    EXPECT_TRUE(notes().sent.empty());
}

// ---- By arping ----

TEST_F(Announcement, runs_arping_with_the_address_that_the_getter_never_finds)
{
    const std::string printed = printed_by([] { EXPECT_EQ(lc_arp_update2(kNear), 0); });
    expect_note("lc_get_ip_by_ifname", "Parameter error.");
    expect_note("lc_arp_update2", std::string("Will exec comand: ") + kArping + "0.0.0.0");
    expect_silence();
    EXPECT_EQ(notes().command, std::string(kArping) + "0.0.0.0");
    EXPECT_EQ(printed, "ARPING 0.0.0.0 from 0.0.0.0 near0\n") << "arping's own line";
}

TEST_F(Announcement, has_the_address_that_the_getter_left)
{
    const Hooked getter = getter_that_gives(-1);
    ArpPeer peer(neighbour);
    printed_by([] { EXPECT_EQ(lc_arp_update2(kNear), 0); });
    EXPECT_EQ(notes().command, std::string(kArping) + kNearIp);
    // Everybody is asked, in its own name, for an address that is the sender's.
    const std::string frame = peer.frame();
    EXPECT_EQ(frame.substr(0, 44), "ffffffffffff02000000000108060001080006040001");
    EXPECT_EQ(frame.substr(44, 20), "0200000000010a090001");
    EXPECT_EQ(frame.substr(76, 8), "0a090001");
    expect_note("lc_arp_update2", std::string("Will exec comand: ") + kArping + kNearIp);
    expect_silence();
}

TEST_F(Announcement, takes_the_success_of_the_getter_for_a_failure)
{
    const Hooked getter = getter_that_gives(0);
    EXPECT_EQ(lc_arp_update2(kNear), -1);
    expect_note("lc_arp_update2", "Call function lc_get_ip_by_ifname error.");
    expect_silence();
    EXPECT_EQ(notes().command.find("arping -U"), std::string::npos);
}

TEST_F(Announcement, that_cannot_be_run_is_told)
{
    calls::system.fail_nth(1, ENOMEM);
    EXPECT_EQ(lc_arp_update2(kNear), -1);
    expect_note("lc_get_ip_by_ifname", "Parameter error.");
    expect_note("lc_arp_update2", std::string("Will exec comand: ") + kArping + "0.0.0.0");
    expect_note("lc_arp_update2", "Call function system error.");
    expect_silence();
}

TEST_F(Announcement, of_a_missing_interface_is_left_to_arping)
{
    printed_by([] { EXPECT_EQ(lc_arp_update2("none0"), 0); });
    expect_note("lc_get_ip_by_ifname", "IOCTL operation error.");
    expect_note("lc_arp_update2", "Will exec comand: arping -U -c 1 -I none0 0.0.0.0");
    expect_silence();
}

TEST_F(Announcement, needs_a_name)
{
    for (const char *name : {static_cast<const char *>(nullptr), ""}) {
        EXPECT_EQ(lc_arp_update2(name), -1);
        expect_note("lc_arp_update2", "Parameter error.");
    }
    expect_silence();
}

TEST_F(Announcement, refuses_an_endless_name)
{
    EXPECT_EQ(lc_arp_update2(std::string(5000, 'x').c_str()), -1);
    expect_note("lc_get_ip_by_ifname", "IOCTL operation error.");
    expect_note("lc_arp_update2", "Parameter error.");
    expect_silence();
    EXPECT_EQ(notes().command.find("xxx"), std::string::npos);
}

TEST_F(Announcement, takes_a_name_with_which_its_command_has_127_characters)
{
    const std::string longest(101, 'x');
    const std::string command = "arping -U -c 1 -I " + longest + " 0.0.0.0";
    ASSERT_EQ(command.size(), 127U);
    EXPECT_EQ(lc_arp_update2(longest.c_str()), 0);
    expect_note("lc_get_ip_by_ifname", "IOCTL operation error.");
    expect_note("lc_arp_update2", "Will exec comand: " + command);
    EXPECT_EQ(notes().command, command);
    g_noted_calls.forget();
    EXPECT_EQ(lc_arp_update2((longest + "x").c_str()), -1);
    expect_note("lc_get_ip_by_ifname", "IOCTL operation error.");
    expect_note("lc_arp_update2", "Parameter error.");
    expect_silence();
    EXPECT_EQ(notes().command, "");
}

} // namespace arp_update_test
