// The ARP probe: the frame that is sent, and which answer is accepted.
#include "lc_network.h"
#include "support/arp_peer.h"
#include "support/call_notes.h"
#include "support/text_file.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <sys/resource.h>

namespace arp_probe_test {

using namespace testing_support;

namespace {

constexpr uint8_t kOurMac[] = {0x02, 0, 0, 0, 0, 0x01};
constexpr uint8_t kPeerMac[] = {0x02, 0, 0, 0, 0, 0x02};
constexpr uint8_t kOtherMac[] = {0x02, 0, 0, 0, 0, 0x03};
constexpr int kPatience = 10000; // for what must come
constexpr int kShort = 50;

in_addr address(const char *text)
{
    in_addr result = {};
    EXPECT_EQ(inet_aton(text, &result), 1);
    return result;
}

int probe(const char *ip, int timeout_ms, const uint8_t *expected = kPeerMac,
          const char *ifname = kNear)
{
    return lc_arp_check(address(ip), address(kNearIp), kOurMac, expected, ifname, timeout_ms);
}

// The answer of the one who has kSilentIp, without the padding, field by field.
struct Answer {
    std::string destination = "020000000001";
    std::string source = "020000000002";
    std::string ether_type = "0806";
    std::string hardware_type = "0001";
    std::string protocol_type = "0800";
    std::string lengths = "0604";
    std::string operation = "0002";
    std::string sender_mac = "020000000002";
    std::string sender_ip = "0a090003";
    std::string target_mac = "020000000001";
    std::string target_ip = "0a090001";

    std::string frame() const
    {
        return destination + source + ether_type + hardware_type + protocol_type + lengths + operation +
               sender_mac + sender_ip + target_mac + target_ip;
    }
};

class ArpProbe : public testing::Test {
protected:
    int probe_answered_with(const std::vector<std::string> &frames)
    {
        const ArpPeer peer(neighbour, frames);
        g_noted_calls.forget();
        const int result = probe(kSilentIp, kPatience);
        EXPECT_EQ(notes().receive_size, 60U) << "nothing came";
        return result;
    }

    const Neighbour neighbour;

private:
    const NothingLeftOpen all_closed_;
};

template <typename Call> int milliseconds_of(Call call)
{
    const auto start = std::chrono::steady_clock::now();
    call();
    return static_cast<int>(
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start)
            .count());
}

} // namespace

TEST_F(ArpProbe, of_a_kernel_that_answers)
{
    EXPECT_EQ(probe(kFarIp, kPatience), 0);
    EXPECT_EQ(probe(kFarIp, kPatience, kOtherMac), -1) << "another one has the address";
}

TEST_F(ArpProbe, of_an_address_that_nobody_has_takes_as_long_as_it_may)
{
    const int taken = milliseconds_of([] { EXPECT_EQ(probe(kSilentIp, 300), -1); });
    EXPECT_GE(taken, 300);
    EXPECT_LT(taken, 5000);
}

TEST_F(ArpProbe, of_a_kernel_that_does_not_do_arp)
{
    neighbour.run("ip link set far0 arp off");
    EXPECT_EQ(probe(kFarIp, kShort), -1);
}

TEST_F(ArpProbe, waits_for_the_seconds_and_the_rest_of_its_time_out)
{
    const struct {
        int timeout_ms;
        long seconds;
        long microseconds;
    } kTimeouts[] = {{0, 0, 0}, {1, 0, 1000}, {999, 0, 999000}, {1000, 1, 0}, {61500, 61, 500000}};
    for (const auto &[timeout_ms, seconds, microseconds] : kTimeouts) {
        calls::select.fail_nth(1, EINTR); // at once
        EXPECT_EQ(probe(kSilentIp, timeout_ms), -1);
        EXPECT_EQ(notes().patience.tv_sec, seconds);
        EXPECT_EQ(notes().patience.tv_usec, microseconds);
    }
    EXPECT_EQ(probe(kSilentIp, 0), -1);
    EXPECT_EQ(probe(kSilentIp, -1), -1);
}

TEST_F(ArpProbe, is_a_broadcast_request_of_60_bytes)
{
    ArpPeer peer(neighbour);
    const uint8_t mac[] = {0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC};
    EXPECT_EQ(lc_arp_check(address("192.168.200.254"), address("172.16.31.9"), mac, kPeerMac, kNear, 0),
              -1);
    const std::string frame = "ffffffffffff" // to everybody
                              "123456789abc" // from our MAC
                              "0806"         // ARP
                              "0001"         // Ethernet
                              "0800"         // IPv4
                              "06"           // bytes of a hardware address
                              "04"           // bytes of a protocol address
                              "0001"         // request
                              "123456789abc" // our MAC
                              "ac101f09"     // our IP
                              "000000000000" // whom it is asked about is not known
                              "c0a8c8fe"     // the IP asked about
                              "000000000000000000"
                              "000000000000000000";
    EXPECT_EQ(frame.size(), 2 * 60U);
    EXPECT_EQ(peer.frame(), frame);
}

TEST_F(ArpProbe, is_sent_to_the_name_of_the_interface_through_a_packet_socket_for_arp)
{
    probe(kSilentIp, 0);
    EXPECT_EQ(notes().socket_domain, AF_PACKET);
    EXPECT_EQ(notes().socket_type, SOCK_PACKET);
    EXPECT_EQ(notes().socket_protocol, htons(0x0806));
    EXPECT_TRUE(notes().closed_on_exec);
    EXPECT_EQ(notes().option_level, SOL_SOCKET);
    EXPECT_EQ(notes().option, SO_BROADCAST);
    EXPECT_EQ(notes().option_value, 1);
    sockaddr to = {};
    strcpy(to.sa_data, kNear);
    const auto *bytes = reinterpret_cast<const uint8_t *>(&to);
    EXPECT_EQ(notes().sent.back().address, std::vector<uint8_t>(bytes, bytes + 16));
    ASSERT_EQ(notes().sent.size(), 1U);
    EXPECT_EQ(notes().sent[0].bytes.size(), 60U);
}

TEST_F(ArpProbe, takes_the_right_answer_with_and_without_padding)
{
    EXPECT_EQ(probe_answered_with({Answer().frame()}), 0);
    EXPECT_EQ(probe_answered_with({Answer().frame() + std::string(2 * 18, '0')}), 0);
    EXPECT_EQ(probe_answered_with({Answer().frame() + std::string(2 * 500, 'f')}), 0);
}

TEST_F(ArpProbe, refuses_an_answer_with_a_wrong_field)
{
    for (const char *operation : {"0001", "0200", "0102"}) {
        EXPECT_EQ(probe_answered_with({Answer{.operation = operation}.frame()}), -1) << operation;
    }
    for (const char *mac : {"030000000002", "020000000103", "000000000000"}) {
        EXPECT_EQ(probe_answered_with({Answer{.sender_mac = mac}.frame()}), -1) << mac;
    }
    for (const char *ip : {"0a090002", "0b090003", "0a090103", "00000000"}) {
        EXPECT_EQ(probe_answered_with({Answer{.sender_ip = ip}.frame()}), -1) << ip;
    }
    for (const char *mac :
         {"020000000003", "030000000001", "020000000101", "000000000000", "ffffffffffff"}) {
        EXPECT_EQ(probe_answered_with({Answer{.target_mac = mac}.frame()}), -1) << mac;
    }
}

TEST_F(ArpProbe, does_not_look_at_the_other_fields)
{
    for (const Answer &answer :
         {Answer{.destination = "ffffffffffff"}, Answer{.source = "020000000099"},
          Answer{.hardware_type = "0006"}, Answer{.protocol_type = "86dd"}, Answer{.lengths = "0000"},
          Answer{.target_ip = "0a0900ff"}}) {
        EXPECT_EQ(probe_answered_with({answer.frame()}), 0) << answer.frame();
    }
}

TEST_F(ArpProbe, looks_at_the_first_packet_alone)
{
    const Answer wrong{.sender_mac = "020000000099"};
    const Answer unrelated{.destination = "ffffffffffff", // one neighbour asks for another
                           .source = "020000000004",
                           .operation = "0001",
                           .sender_mac = "020000000004",
                           .sender_ip = "0a090004",
                           .target_mac = "000000000000",
                           .target_ip = "0a090005"};
    for (const Answer &other : {wrong, unrelated}) {
        EXPECT_EQ(probe_answered_with({other.frame(), Answer().frame()}), -1);
        EXPECT_EQ(probe_answered_with({Answer().frame(), other.frame()}), 0);
    }
}

TEST_F(ArpProbe, refuses_an_answer_that_is_cut)
{
    const std::string whole = Answer().frame();
    // What is left of the target's address is what the request has there.
    for (const size_t bytes : {14U, 22U, 28U, 38U, 41U}) {
        EXPECT_EQ(probe_answered_with({whole.substr(0, 2 * bytes)}), -1) << bytes;
    }
}

TEST_F(ArpProbe, needs_an_interface_that_is_there_and_up)
{
    for (const std::string &name : {std::string("none0"), std::string(""), std::string("near0x"),
                                    std::string(14, 'x'), std::string(5000, 'x')}) {
        EXPECT_EQ(probe(kFarIp, kShort, kPeerMac, name.c_str()), -1) << name;
    }
    shell("/sbin/ip link set near0 down");
    EXPECT_EQ(probe(kFarIp, kShort), -1);
}

TEST_F(ArpProbe, names_an_interface_with_13_characters_at_most)
{
    shell("/sbin/ip link set near0 down && /sbin/ip link set near0 name near-of-13-ch &&"
          " /sbin/ip link set near-of-13-ch up");
    ASSERT_TRUE(eventually([] {
        return output_of("/sbin/ip link show near-of-13-ch").find("state UP") != std::string::npos;
    }));
    EXPECT_TRUE(eventually([] { return probe(kFarIp, 200, kPeerMac, "near-of-13-ch") == 0; }));
    EXPECT_EQ(probe(kFarIp, kShort, kPeerMac, "near-of-13-chr"), -1) << "cut, it would be the other";
    shell("/sbin/ip link set near-of-13-ch down && /sbin/ip link set near-of-13-ch name near0");
}

TEST_F(ArpProbe, needs_a_socket_that_may_broadcast)
{
    calls::setsockopt.fail_nth(1, EACCES);
    EXPECT_EQ(probe(kFarIp, kPatience), -1);
    EXPECT_TRUE(notes().sent.empty());
}

TEST_F(ArpProbe, needs_a_descriptor_that_can_be_waited_for)
{
    rlimit limit = {};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    limit.rlim_cur = FD_SETSIZE + 16;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    std::vector<int> taken;
    do {
        taken.push_back(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0));
        ASSERT_NE(taken.back(), -1);
    } while (taken.back() < FD_SETSIZE - 1);
    EXPECT_EQ(probe(kFarIp, kPatience), -1);
    EXPECT_TRUE(notes().sent.empty());
    close(taken.back());
    taken.pop_back();
    EXPECT_EQ(probe(kFarIp, kPatience), 0) << "with the last that can be";
    for (const int fd : taken) {
        close(fd);
    }
}

} // namespace arp_probe_test
