/* wan0 is one end of a cable. At the other, in a network namespace of its own, a forked process answers
 * for 10.9.0.2, with plain packets. */
#define _GNU_SOURCE /* unshare */

#include "lc_network.h"

#include "check.h"
#include "child.h"

#include <arpa/inet.h>
#include <errno.h>
#include <net/ethernet.h>
#include <net/if.h>
#include <netpacket/packet.h>
#include <sched.h>
#include <sys/time.h>

#define OUR_IP "10.9.0.1"
#define PEER_IP "10.9.0.2"
#define SILENT_IP "10.9.0.3"
#define KNOWN_IP "10.9.0.5"
#define LAST_IP "10.9.0.9" /* when it is asked for, the peer ends */
#define ROAMING_IP "10.9.0.77"
#define ALL "255.255.255.255"
#define CLASS_C "255.255.255.0"

#define LONG 10000 /* milliseconds; for what must come */
#define SHORT 50

static const uint8_t our_mac[] = {2, 0, 0, 0, 0, 1};
static const uint8_t peer_mac[] = {2, 0, 0, 0, 0, 2};
static const uint8_t roaming_mac[] = {2, 0, 0, 0, 0, 0x4d};

static int shell(const char *command) { return system(command) == 0; }

static struct in_addr address(const char *text)
{
    struct in_addr addr = {0};
    CHECK_INT(lc_inet_aton(text, &addr), 1);
    return addr;
}

/* ---- The other end ---- */

enum { SENDER = 22, TARGET = 32, PACKET_SIZE = 42 }; /* a hardware address and an IP address each */

/* A packet socket at the far end of a new cable; -1 when it cannot be had. */
static int open_far_end(void)
{
    const struct timeval patience = {2 * LONG / 1000, 0};
    struct sockaddr_ll link;
    char command[100];
    int fd;
    snprintf(command, sizeof(command), "/sbin/ip link set wan0 netns %ld", (long)getppid());
    if (unshare(CLONE_NEWNET) != 0 ||
        !shell("/sbin/ip link add wan0 address 02:00:00:00:00:01 type veth peer name lan0") ||
        !shell(command) || !shell("/sbin/ip link set lan0 up")) {
        return -1;
    }
    memset(&link, 0, sizeof(link));
    link.sll_family = AF_PACKET;
    link.sll_protocol = htons(ETHERTYPE_ARP);
    link.sll_ifindex = (int)if_nametoindex("lan0");
    fd = socket(AF_PACKET, SOCK_RAW, htons(ETHERTYPE_ARP));
    if (setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience)) != 0 ||
        bind(fd, (const struct sockaddr *)&link, sizeof(link)) != 0) {
        return -1;
    }
    return fd;
}

static int has_ip(const uint8_t *bytes, const char *ip)
{
    const in_addr_t expected = inet_addr(ip);
    return memcmp(bytes + LC_MAC_SIZE, &expected, sizeof(expected)) == 0;
}

/* Turns a request into its answer. */
static void answer(int fd, uint8_t *frame)
{
    uint8_t asking[LC_MAC_SIZE + 4];
    memcpy(asking, frame + SENDER, sizeof(asking));
    memcpy(frame + SENDER, frame + TARGET, sizeof(asking));
    memcpy(frame + SENDER, peer_mac, LC_MAC_SIZE);
    memcpy(frame + TARGET, asking, sizeof(asking));
    memcpy(frame, asking, LC_MAC_SIZE);
    memcpy(frame + LC_MAC_SIZE, peer_mac, LC_MAC_SIZE);
    frame[21] = 2; /* reply */
    send(fd, frame, PACKET_SIZE, 0);
}

/* Its exit status tells whether the last request came in the name of the roaming address. */
static int be_the_peer(int ready)
{
    uint8_t frame[PACKET_SIZE];
    const int fd = open_far_end();
    if (fd < 0 || !tell_ready(ready)) {
        return 1;
    }
    while (recv(fd, frame, sizeof(frame), 0) == (ssize_t)sizeof(frame)) {
        if (has_ip(frame + TARGET, LAST_IP)) {
            return has_ip(frame + SENDER, ROAMING_IP) &&
                           memcmp(frame + SENDER, roaming_mac, LC_MAC_SIZE) == 0
                       ? 0
                       : 2;
        }
        if (has_ip(frame + TARGET, PEER_IP)) {
            answer(fd, frame);
        }
    }
    return 3;
}

/* ---- Routes ---- */

static int has_route(const char *route)
{
    char command[200];
    snprintf(command, sizeof(command), "/sbin/ip route | grep -q '^%s '", route);
    return shell(command);
}

static void route_is_added_and_deleted(const char *dst, const char *gw, const char *mask,
                                       const char *shown)
{
    CHECK(!has_route(shown));
    CHECK_INT(lc_route_add("wan0", 0, dst, gw, mask), 0);
    CHECK(has_route(shown));
    CHECK_INT(lc_route_add("wan0", 0, dst, gw, mask), EEXIST);
    CHECK_INT(lc_route_del("wan0", 0, dst, gw, mask), 0);
    CHECK(!has_route(shown));
    CHECK_INT(lc_route_del("wan0", 0, dst, gw, mask), ESRCH);
}

static void routes_are_added_and_deleted(void)
{
    route_is_added_and_deleted("192.168.2.0", NULL, CLASS_C, "192.168.2.0/24 dev wan0");
    route_is_added_and_deleted("192.168.2.7", NULL, ALL, "192.168.2.7 dev wan0");
    route_is_added_and_deleted("192.168.2.0", PEER_IP, CLASS_C,
                               "192.168.2.0/24 via " PEER_IP " dev wan0");
    route_is_added_and_deleted(NULL, NULL, NULL, "default dev wan0");
    CHECK_INT(lc_route_add("none0", 0, "192.168.2.0", NULL, CLASS_C), ENODEV);
    route_is_added_and_deleted("", "", "", "default dev wan0");
    CHECK_INT(lc_route_add("wan0", 0, "192.168.2.x", NULL, CLASS_C), EINVAL);
    CHECK_INT(lc_route_del("wan0", 0, "192.168.2.0", "x", CLASS_C), EINVAL);
}

static void name_counts_up_to_15_characters(void)
{
    REQUIRE(shell("/sbin/ip link add a-name-of-15-ch type veth peer name peer0 &&"
                  " /sbin/ip link set a-name-of-15-ch up"));
    CHECK_INT(lc_route_add("a-name-of-15-char", 0, "192.168.3.0", NULL, CLASS_C), 0);
    CHECK(has_route("192.168.3.0/24 dev a-name-of-15-ch"));
    CHECK_INT(lc_is_interface_up("a-name-of-15-char"), -1);
    CHECK(shell("/sbin/ip link delete a-name-of-15-ch"));
    CHECK_INT(lc_route_add("a-name-of-15-char", 0, "192.168.3.0", NULL, CLASS_C), ENODEV);
    CHECK_INT(lc_is_interface_up("a-name-of-15-char"), 0);
}

static void default_routes_are_those_before_the_double_blank(void)
{
    char added[] = PEER_IP " " SILENT_IP "  " KNOWN_IP;
    char deleted[] = SILENT_IP " " PEER_IP;
    char empty[] = "";
    CHECK_INT(lc_route_add_default("wan0", added), 0);
    CHECK(has_route("default via " PEER_IP " dev wan0"));
    CHECK(has_route("default via " SILENT_IP " dev wan0"));
    CHECK(!has_route("default via " KNOWN_IP " dev wan0"));
    CHECK_INT(lc_route_del_default("wan0", deleted), 0);
    CHECK(!has_route("default"));
    CHECK_INT(lc_route_add_default("wan0", NULL), -1);
    CHECK_INT(lc_route_add_default("wan0", empty), -1);
    CHECK_INT(lc_route_del_default("wan0", NULL), -1);
    CHECK_INT(lc_route_del_default("wan0", empty), -1);
}

/* ---- Addresses and interfaces ---- */

static void address_has_four_numbers(void)
{
    CHECK_INT(is_valid_ip("1.2.3.4"), 1);
    CHECK_INT(is_valid_ip("255.255.255.255"), 1);
    CHECK_INT(is_valid_ip("1.2.3"), 0);
    CHECK_INT(is_valid_ip("300.1.1.1"), 0);
    CHECK_INT(is_valid_ip("1.2.3.4x"), 0);
    CHECK_INT(is_valid_ip(""), 0);
    CHECK_INT(is_valid_ip(NULL), 0);
}

static void existing_interface_counts_as_up_and_gives_no_address(void)
{
    struct in_addr addr = {7};
    uint8_t mac[LC_MAC_SIZE] = {9};
    CHECK_INT(lc_is_interface_exist("wan0"), -1);
    CHECK_INT(lc_is_interface_exist("none0"), 0);
    CHECK_INT(lc_is_interface_exist(NULL), 0);
    CHECK_INT(lc_is_interface_up("wan0"), -1);
    CHECK_INT(lc_is_interface_up("none0"), 0);
    CHECK_INT(lc_is_interface_up(""), -1);
    CHECK_INT(lc_is_interface_up(NULL), -1);
    CHECK_INT(lc_get_ip_by_ifname("wan0", &addr), -1);
    CHECK_INT(lc_get_ip_by_ifname("none0", &addr), -1);
    CHECK_INT(lc_get_ip_by_ifname("none0", NULL), -1);
    CHECK_INT(addr.s_addr, 7);
    CHECK_INT(lc_get_mac_by_ifname("wan0", mac), -1);
    CHECK_INT(lc_get_mac_by_ifname("none0", mac), -1);
    CHECK_INT(lc_get_mac_by_ifname("none0", NULL), -1);
    CHECK_INT(mac[0], 9);
}

/* ---- ARP ---- */

static void neighbour_is_found_in_the_table(void)
{
    char mac[LC_MAC_TEXT_SIZE];
    REQUIRE(shell("/sbin/ip neigh add " KNOWN_IP " dev wan0 lladdr 02:00:00:00:ab:05"));
    CHECK_INT(lc_get_climac_by_ip(KNOWN_IP, mac), 0);
    CHECK_TEXT(mac, "02:00:00:00:ab:05");
    CHECK_INT(lc_get_climac_by_ip("10.9.0.50", mac), -1);
    CHECK_INT(lc_get_climac_by_ip("300.1.1.1", mac), LC_NETWORK_ERR_IP);
    CHECK_INT(lc_get_climac_by_ip(NULL, mac), LC_NETWORK_ERR_IP);
    CHECK_TEXT(mac, "02:00:00:00:ab:05");
}

static int probe(const char *ip, const uint8_t *expected, const char *ifname, int timeout)
{
    return lc_arp_check(address(ip), address(OUR_IP), our_mac, expected, ifname, timeout);
}

static void probe_is_answered_by_the_right_one(void)
{
    CHECK_INT(probe(PEER_IP, peer_mac, "wan0", LONG), 0);
    CHECK_INT(probe(PEER_IP, roaming_mac, "wan0", LONG), -1);
    CHECK_INT(probe(SILENT_IP, peer_mac, "wan0", SHORT), -1);
    CHECK_INT(probe(PEER_IP, peer_mac, "none0", SHORT), -1);
    CHECK_INT(probe(PEER_IP, peer_mac, "a-name-of-15-ch", SHORT), -1);
}

static void update_without_a_hardware_address_looks_it_up(void)
{
    CHECK_INT(lc_arp_update(KNOWN_IP, ROAMING_IP, "wan0", "none"), 0);
    CHECK_INT(lc_arp_update("10.9.0.50", ROAMING_IP, "wan0", "none"), -1);
    CHECK_INT(lc_arp_update("10.9.0.x", ROAMING_IP, "wan0", "none"), -1);
    CHECK_INT(lc_arp_update(KNOWN_IP, "10.9.0.x", "wan0", "none"), -1);
    CHECK_INT(lc_arp_update(NULL, ROAMING_IP, "wan0", "none"), LC_NETWORK_ERR_IP);
    CHECK_INT(lc_arp_update(KNOWN_IP, NULL, "wan0", "none"), LC_NETWORK_ERR_IP);
    CHECK_INT(lc_arp_update(KNOWN_IP, ROAMING_IP, NULL, "none"), LC_NETWORK_ERR_IP);
    CHECK_INT(lc_arp_update(KNOWN_IP, ROAMING_IP, "wan0", NULL), LC_NETWORK_ERR_IP);
}

static void update_reaches_the_target(pid_t peer)
{
    CHECK_INT(lc_arp_update(LAST_IP, ROAMING_IP, "wan0", "02:00:00:00:00:4d"), 0);
    CHECK_INT(exit_status(peer), 0);
}

static void announcement_is_left_to_arping(void)
{
    REQUIRE(shell("echo 'echo \"$*\" >/tmp/arguments' >/tmp/arping && chmod +x /tmp/arping"));
    REQUIRE(setenv("PATH", "/tmp:/usr/bin:/bin", 1) == 0);
    CHECK_INT(lc_arp_update2("wan0"), 0);
    CHECK(shell("grep -qx -e '-U -c 1 -I wan0 0.0.0.0' /tmp/arguments"));
    CHECK_INT(lc_arp_update2(""), -1);
    CHECK_INT(lc_arp_update2(NULL), -1);
}

/* ---- Sockets ---- */

static void socket_listens_and_is_connected_to(void)
{
    struct sockaddr_in here = {0};
    struct sockaddr_in from = {0};
    socklen_t size = sizeof(here);
    const int listener = lc_socket(AF_INET, SOCK_STREAM, 0);
    const int client = lc_socket(AF_INET, SOCK_STREAM, 0);
    int server;
    char byte = 0;
    here.sin_family = AF_INET;
    here.sin_addr = address("127.0.0.1");
    REQUIRE(lc_bind(listener, (const struct sockaddr *)&here, sizeof(here)) == 0);
    REQUIRE(lc_listen(listener, 1) == 0);
    REQUIRE(getsockname(listener, (struct sockaddr *)&here, &size) == 0);
    REQUIRE(lc_connect(client, (const struct sockaddr *)&here, sizeof(here)) == 0);
    size = sizeof(from);
    server = lc_accept(listener, (struct sockaddr *)&from, &size);
    REQUIRE(server >= 0);
    CHECK_INT(from.sin_addr.s_addr, here.sin_addr.s_addr);
    CHECK_INT(write(client, "x", 1), 1);
    CHECK_INT(read(server, &byte, 1), 1);
    CHECK_INT(byte, 'x');
    close(server);
    close(client);
    close(listener);
    CHECK_INT(lc_socket(-1, SOCK_STREAM, 0), -1);
    CHECK_INT(lc_bind(-1, (const struct sockaddr *)&here, sizeof(here)), -1);
    CHECK_INT(lc_listen(-1, 1), -1);
    CHECK_INT(lc_accept(-1, NULL, NULL), -1);
    CHECK_INT(lc_connect(-1, (const struct sockaddr *)&here, sizeof(here)), -1);
}

static void numbers_of_16_bits_have_a_sign(void)
{
    const uint8_t bytes[] = {0x80, 0x01};
    uint16_t network;
    memcpy(&network, bytes, sizeof(network));
    CHECK_INT(lc_ntohs(network), -0x7fff);
    CHECK_INT(lc_htons(0x8001), (int16_t)network);
    CHECK_INT(lc_htons(0xffff), -1);
    CHECK_INT(lc_ntohs(0), 0);
}

static void addresses_have_the_order_of_the_network(void)
{
    const uint8_t bytes[] = {10, 9, 8, 0xf7};
    uint32_t network;
    struct in_addr addr;
    memcpy(&network, bytes, sizeof(network));
    CHECK_INT(lc_ntohl(network), 0x0a0908f7);
    CHECK_INT(lc_htonl(0x0a0908f7), network);
    CHECK_INT(lc_inet_addr("10.9.8.247"), network);
    CHECK_INT(lc_inet_addr("10.9.8.256"), INADDR_NONE);
    CHECK_INT(lc_inet_aton("10.9.8.256", &addr), 0);
    addr.s_addr = network;
    CHECK_TEXT(lc_inet_ntoa(addr), "10.9.8.247");
}

int main(void)
{
    const pid_t peer = start_child(be_the_peer);
    REQUIRE(peer > 0);
    /* What is sent before the ends have noticed each other gets nowhere. */
    REQUIRE(shell("/sbin/ip address add " OUR_IP "/24 dev wan0 && /sbin/ip link set wan0 up &&"
                  " timeout 10 sh -c 'until /sbin/ip link show wan0 | grep -q \"state UP\";"
                  " do sleep 0.05; done'"));
    address_has_four_numbers();
    existing_interface_counts_as_up_and_gives_no_address();
    routes_are_added_and_deleted();
    name_counts_up_to_15_characters();
    default_routes_are_those_before_the_double_blank();
    neighbour_is_found_in_the_table();
    probe_is_answered_by_the_right_one();
    update_without_a_hardware_address_looks_it_up();
    update_reaches_the_target(peer);
    announcement_is_left_to_arping();
    socket_listens_and_is_connected_to();
    numbers_of_16_bits_have_a_sign();
    addresses_have_the_order_of_the_network();
    return check_end();
}
