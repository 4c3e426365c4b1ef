// net arp, net probe, net iface: neighbours and interfaces. They need no WAN manager.

#include "common/completion.h"
#include "common/program.h"
#include "common/record.h"
#include "ltectl/commands.h"
#include "ltectl/interface.h"
#include "support/fd.h"
#include "support/socket.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <unistd.h>

namespace lterouter::tools {
namespace {

constexpr size_t kProbedNameMax = 13; // limit of lc_arp_check
constexpr char kNoMac[] = "00:00:00:00:00:00";

bool parse_mac(const char *text, void *target)
{
    // sscanf would accept blanks, signs and fewer digits.
    auto *mac = static_cast<uint8_t *>(target);
    constexpr int kLength = LC_MAC_TEXT_SIZE - 1;
    int length = 0;
    return strspn(text, "0123456789abcdefABCDEF:") == kLength && text[kLength] == '\0' &&
           sscanf(text, "%2hhx:%2hhx:%2hhx:%2hhx:%2hhx:%2hhx%n", &mac[0], &mac[1], &mac[2], &mac[3],
                  &mac[4], &mac[5], &length) == 6 &&
           length == kLength;
}

struct ExpectedMac {
    bool given;
    uint8_t bytes[LC_MAC_SIZE];
};

constexpr ValueType kExpectedMac = {"a hardware address such as 00:11:22:33:44:55",
                                    [](const char *text, void *target) {
                                        auto *expected = static_cast<ExpectedMac *>(target);
                                        expected->given = true;
                                        return parse_mac(text, expected->bytes);
                                    }};

constexpr ValueType kProbedInterface = {
    "an interface name of at most 13 characters", [](const char *text, void *target) {
        return strlen(text) <= kProbedNameMax && kInterfaceName.parse(text, target);
    }};

constexpr ValueType kTimeout = {"a number of milliseconds from 1 to 60000", parse_number_in<1, 60000>};

uint32_t g_timeout_ms = 1000;
ExpectedMac g_expected = {};

// Looks a neighbour up in the kernel's ARP table. Returns the exit code.
int look_up(const char *ip, MacText &mac)
{
    if (lc_get_climac_by_ip(ip, mac) != 0) {
        return fail(kFailed, "%s is not in the ARP table, /proc/net/arp", ip);
    }
    if (strcmp(mac, kNoMac) == 0) {
        return fail(kFailed, "%s is in the ARP table, but has not answered", ip);
    }
    return kDone;
}

int expect_from_table(const char *ip)
{
    MacText mac;
    const int code = look_up(ip, mac);
    if (code != kDone) {
        return code;
    }
    return parse_mac(mac, g_expected.bytes)
               ? kDone
               : fail(kFailed, "%s has no Ethernet address in the ARP table: %s", ip, mac);
}

// Without the right to open a packet socket the library's probe only reports that nobody answered.
int check_packet_sockets()
{
    const Fd fd{open_socket(AF_PACKET, SOCK_RAW, 0)};
    return fd ? kDone : fail(kFailed, "cannot open a packet socket: %s", strerror(errno));
}

// The interface that asks; its address and hardware address must be known.
int read_asking(const char *name, Interface *interface)
{
    const int code = read_interface(name, interface);
    if (code != kDone) {
        return code;
    }
    if (!interface->up) {
        return fail(kFailed, "%s is down", name);
    }
    if (!interface->has_mac) {
        return fail(kFailed, "%s has no Ethernet address to ask from", name);
    }
    return interface->has_ip ? check_packet_sockets()
                             : fail(kFailed, "%s has no IPv4 address to ask from", name);
}

int probe(const char *ip, const char *name, const Interface &interface)
{
    in_addr target = {};
    inet_pton(AF_INET, ip, &target);
    const bool answered = lc_arp_check(target, interface.ip, interface.mac, g_expected.bytes, name,
                                       static_cast<int>(g_timeout_ms)) == 0;
    MacText expected;
    format_mac(g_expected.bytes, expected);
    Record()
        .event("probe")
        .word("ip", ip)
        .word("status", answered ? "answered" : "unanswered")
        .field("mac", expected)
        .field("interface", name)
        .number("timeout", g_timeout_ms);
    return answered ? kDone : kFailed;
}

} // namespace

const Option kNetProbeOptions[] = {
    {"timeout", "MS", "wait that many milliseconds for the answer (1000)", &kTimeout, &g_timeout_ms},
    {"mac", "MAC", "the address that should answer (that in the ARP table)", &kExpectedMac,
     &g_expected},
    {},
};

int net_arp(char *const *operands)
{
    AddressText ip;
    if (!kIpv4Address.parse(operands[0], ip)) {
        return bad_value("IP", kIpv4Address, operands[0]);
    }
    MacText mac;
    const int code = look_up(ip, mac);
    if (code == kDone) {
        Record().event("neighbour").word("ip", ip).word("mac", mac);
    }
    return code;
}

void offer_probe(Offer &offer, const char *const *before)
{
    if (before[0] != nullptr && before[1] == nullptr) {
        offer.add_interfaces();
    }
}

int net_probe(char *const *operands)
{
    AddressText ip;
    if (!kIpv4Address.parse(operands[0], ip)) {
        return bad_value("IP", kIpv4Address, operands[0]);
    }
    InterfaceText name;
    if (!kProbedInterface.parse(operands[1], name)) {
        return bad_value("DEV", kProbedInterface, operands[1]);
    }
    Interface interface;
    int code = read_asking(name, &interface);
    if (code == kDone && !g_expected.given) {
        code = expect_from_table(ip);
    }
    return code == kDone ? probe(ip, name, interface) : code;
}

int net_iface(char *const *operands)
{
    InterfaceText name;
    if (!kInterfaceName.parse(operands[0], name)) {
        return bad_value("NAME", kInterfaceName, operands[0]);
    }
    Interface interface;
    const int code = read_interface(name, &interface);
    if (code != kDone) {
        return code;
    }
    Record record;
    record.event("iface").word("interface", name).word("status", interface.up ? "up" : "down");
    if (interface.has_ip) {
        char ip[INET_ADDRSTRLEN];
        inet_ntop(AF_INET, &interface.ip, ip, sizeof(ip));
        record.field("ip", ip);
    }
    if (interface.has_mac) {
        MacText mac;
        format_mac(interface.mac, mac);
        record.field("mac", mac);
    }
    return kDone;
}

} // namespace lterouter::tools
