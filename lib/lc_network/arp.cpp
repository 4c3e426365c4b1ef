// ARP: the kernel's table, requests over a packet socket, announcements.

#include "lc_network.h"

#include "lc_file/stream.h"
#include "lc_network/note.h"
#include "support/byte_order.h"
#include "support/fd.h"
#include "support/socket.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <net/ethernet.h>
#include <sys/select.h>

namespace lterouter {
namespace {

constexpr char kTable[] = "/proc/net/arp";
constexpr size_t kLineSize = 100 + 1;
constexpr int kUpdateMs = 500;

constexpr uint16_t kHardwareEthernet = 1;
constexpr uint16_t kRequest = 1;
constexpr uint16_t kReply = 2;

struct __attribute__((packed)) ArpFrame {
    uint8_t destination[LC_MAC_SIZE];
    uint8_t source[LC_MAC_SIZE];
    uint16_t ether_type;
    uint16_t hardware_type;
    uint16_t protocol_type;
    uint8_t hardware_length;
    uint8_t protocol_length;
    uint16_t operation;
    uint8_t sender_mac[LC_MAC_SIZE];
    in_addr sender_ip;
    uint8_t target_mac[LC_MAC_SIZE];
    in_addr target_ip;
    uint8_t padding[18];
};
constexpr size_t kShortestPacket = offsetof(ArpFrame, padding);
static_assert(sizeof(ArpFrame) == 60 && offsetof(ArpFrame, operation) == 20 &&
              offsetof(ArpFrame, sender_ip) == 28 && offsetof(ArpFrame, target_ip) == 38);

ArpFrame make_request(in_addr target_ip, in_addr our_ip, const uint8_t *our_mac)
{
    ArpFrame frame = {};
    memset(frame.destination, 0xFF, sizeof(frame.destination));
    memcpy(frame.source, our_mac, LC_MAC_SIZE);
    frame.ether_type = network16(ETHERTYPE_ARP);
    frame.hardware_type = network16(kHardwareEthernet);
    frame.protocol_type = network16(ETHERTYPE_IP);
    frame.hardware_length = LC_MAC_SIZE;
    frame.protocol_length = sizeof(in_addr);
    frame.operation = network16(kRequest);
    memcpy(frame.sender_mac, our_mac, LC_MAC_SIZE);
    frame.sender_ip = our_ip;
    frame.target_ip = target_ip;
    return frame;
}

bool is_answer(const ArpFrame &frame, in_addr asked, const uint8_t *our_mac,
               const uint8_t *expected_mac)
{
    return frame.operation == network16(kReply) &&
           memcmp(frame.target_mac, our_mac, LC_MAC_SIZE) == 0 &&
           frame.sender_ip.s_addr == asked.s_addr &&
           memcmp(frame.sender_mac, expected_mac, LC_MAC_SIZE) == 0;
}

bool send_frame(int fd, const ArpFrame &frame, const char *ifname)
{
    // A SOCK_PACKET address contains the interface's name; the kernel would truncate a longer one.
    sockaddr to = {};
    const size_t length = strlen(ifname);
    if (length >= sizeof(to.sa_data)) {
        return false;
    }
    memcpy(to.sa_data, ifname, length);
    return sendto(fd, &frame, sizeof(frame), 0, &to, sizeof(to)) >= 0;
}

bool await_packet(int fd, int timeout_ms)
{
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(fd, &readable);
    timeval timeout = {.tv_sec = timeout_ms / 1000, .tv_usec = (timeout_ms % 1000) * 1000};
    return select(fd + 1, &readable, nullptr, nullptr, &timeout) > 0;
}

bool parse_mac(const char *text, uint8_t *mac)
{
    return sscanf(text, "%02hhx:%02hhx:%02hhx:%02hhx:%02hhx:%02hhx", &mac[0], &mac[1], &mac[2], &mac[3],
                  &mac[4], &mac[5]) == 6;
}

// Finds an address in the table; false when it is not there.
bool find_mac(FILE *table, const char *ip, char *mac)
{
    char line[kLineSize];
    lc_fgets(line, sizeof(line), table); // the heading
    while (lc_fgets(line, sizeof(line), table) != nullptr) {
        char address[kLineSize];
        char hardware[kLineSize];
        char mask[kLineSize];
        char device[kLineSize];
        unsigned type;
        unsigned flags;
        if (sscanf(line, "%100s 0x%x 0x%x %100s %100s %100s\n", address, &type, &flags, hardware, mask,
                   device) == 6 &&
            strcmp(address, ip) == 0) {
            const size_t length = std::min(strlen(hardware), static_cast<size_t>(LC_MAC_TEXT_SIZE - 1));
            memcpy(mac, hardware, length);
            mac[length] = '\0';
            return true;
        }
    }
    return false;
}

} // namespace
} // namespace lterouter

using namespace lterouter;

int lc_get_climac_by_ip(const char *ip, char *mac)
{
    if (ip == nullptr || is_valid_ip(ip) == 0) {
        return NOTE_ARP(LC_NETWORK_ERR_IP, "input ip is invalid");
    }
    const Stream table{lc_fopen(kTable, "r")};
    if (!table) {
        return NOTE_ARP(-1, "open the arp file error");
    }
    if (!find_mac(table.get(), ip, mac)) {
        return NOTE_ARP(-1, "open the ip is not exist in arp table");
    }
    return NOTE_ARP(0, "open the ip is exist in arp table and corresponding mac is %s", mac);
}

int lc_arp_check(in_addr target_ip, in_addr our_ip, const uint8_t *our_mac, const uint8_t *expected_mac,
                 const char *ifname, int timeout_ms)
{
    const Fd fd{open_socket(AF_PACKET, SOCK_PACKET, network16(ETHERTYPE_ARP))};
    const int on = 1;
    if (!fd || fd.get() >= FD_SETSIZE ||
        setsockopt(fd.get(), SOL_SOCKET, SO_BROADCAST, &on, sizeof(on)) != 0) {
        return -1;
    }
    ArpFrame frame = make_request(target_ip, our_ip, our_mac);
    if (!send_frame(fd.get(), frame, ifname) || !await_packet(fd.get(), timeout_ms) ||
        recv(fd.get(), &frame, sizeof(frame), 0) < static_cast<ssize_t>(kShortestPacket)) {
        return -1;
    }
    // Only the first packet is looked at.
    return is_answer(frame, target_ip, our_mac, expected_mac) ? 0 : -1;
}

int lc_arp_update(const char *target_ip, const char *source_ip, const char *ifname, const char *mac)
{
    if (target_ip == nullptr || source_ip == nullptr || ifname == nullptr || mac == nullptr) {
        return NOTE_ARP(LC_NETWORK_ERR_IP, "input ip is invalid");
    }
    in_addr target;
    if (inet_aton(target_ip, &target) == 0) {
        return NOTE_ARP(-1, "transfer target address fail");
    }
    in_addr source;
    if (inet_aton(source_ip, &source) == 0) {
        return NOTE_ARP(-1, "transfer source address fail");
    }
    uint8_t our_mac[LC_MAC_SIZE];
    if (!parse_mac(mac, our_mac)) {
        char found[LC_MAC_TEXT_SIZE];
        return lc_get_climac_by_ip(target_ip, found) == 0 ? 0
                                                          : NOTE_ARP(-1, "get target mac by ip failed");
    }
    // The request itself makes the target update its entry; whether it answers does not matter.
    const uint8_t any_mac[LC_MAC_SIZE] = {};
    lc_arp_check(target, source, our_mac, any_mac, ifname, kUpdateMs);
    return 0;
}

int lc_arp_update2(const char *ifname)
{
    if (ifname == nullptr || *ifname == '\0') {
        return NOTE(-1, "Parameter error.");
    }
    in_addr addr = {};
    // Deliberately inverted, as the test in the getter is: the router's processes rely on the result.
    if (lc_get_ip_by_ifname(ifname, &addr) == 0) {
        return NOTE(-1, "Call function lc_get_ip_by_ifname error.");
    }
    char text[INET_ADDRSTRLEN];
    inet_ntop(AF_INET, &addr, text, sizeof(text));
    char command[128];
    const int length = snprintf(command, sizeof(command), "arping -U -c 1 -I %s %s", ifname, text);
    if (length >= static_cast<int>(sizeof(command))) {
        return NOTE(-1, "Parameter error."); // longer than any interface's name
    }
    NOTE(void(), "Will exec comand: %s", command);
    return system(command) < 0 ? NOTE(-1, "Call function system error.") : 0;
}
