// Effects of failing calls in the network helpers.
#include "harness.h"

#include "lc_network.h"
#include "support/text_file.h"

#include <arpa/inet.h>

namespace lc_network_test {

using namespace faults;

namespace {

const Lines kNoSocket = {note("Open socket error.")};
const Lines kNoAnswer = {note("IOCTL operation error.")};
constexpr char kNet[] = "10.9.0.0";
constexpr char kMask[] = "255.255.255.0";

void delete_route() { lc_route_del("lo", 0, kNet, nullptr, kMask); }
void add_route() { lc_route_add("lo", 0, kNet, nullptr, kMask); }

// The result is the error number of what failed.
const Rules kErrorIsResult = {{.call = "socket", .result = "%e"}, {.call = "ioctl", .result = "%e"}};

void hide_interfaces() { g_hooks.hide_interfaces = true; }

// A gateway list is cut into pieces where it stands.
std::string through_gateways(int32_t (*change)(const char *, char *))
{
    char gateways[] = "127.0.0.2 127.0.0.3";
    return shown(change("lo", gateways));
}

in_addr address(const char *text)
{
    in_addr result = {};
    inet_aton(text, &result);
    return result;
}

constexpr uint8_t kOurMac[LC_MAC_SIZE] = {2, 0, 0, 0, 0, 1};
constexpr uint8_t kTheirMac[LC_MAC_SIZE] = {2, 0, 0, 0, 0, 2};

// ---- A neighbour that answers as soon as it is asked ----

int g_neighbour = -1;

void put_up_neighbour()
{
    g_hooks.socket = [](int domain) {
        int ends[2];
        if (domain != AF_PACKET || socketpair(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0, ends) != 0) {
            return -1;
        }
        g_neighbour = ends[1];
        return ends[0];
    };
    g_hooks.sendto = [](const void *frame, size_t size) {
        uint8_t answer[60];
        memcpy(answer, frame, size);
        answer[21] = 2; // a reply
        memcpy(answer + 22, kTheirMac, LC_MAC_SIZE);
        memcpy(answer + 28, static_cast<const uint8_t *>(frame) + 38, 4);
        memcpy(answer + 32, kOurMac, LC_MAC_SIZE);
        return write(g_neighbour, answer, sizeof(answer)) > 0;
    };
}

// The result of what the neighbour was asked, which it does not outlive.
std::string with_neighbour(int result)
{
    const Quiet quiet;
    if (g_neighbour >= 0) {
        close(std::exchange(g_neighbour, -1));
    }
    return shown(result);
}

// ---- The kernel's table ----

void write_arp_table()
{
    testing_support::write_text(
        "/tmp/arp", "IP address       HW type     Flags       HW address            Mask     Device\n"
                    "10.9.0.1         0x1         0x2         02:00:00:00:00:01     *        lo\n"
                    "10.9.0.2         0x1         0x2         02:00:00:00:00:02     *        lo\n");
    g_hooks.instead["/proc/net/arp"] = "/tmp/arp";
}

const Rules kTableFails = {
    {.call = "fopen64", .result = "-1", .said = {note("open the arp file error")}, .subject = "arp"},
    {.call = "fgets",
     .result = "-1",
     .said = {note("open the ip is not exist in arp table")},
     .nth = 2},
    {.call = "fgets",
     .result = "-1",
     .said = {note("open the ip is not exist in arp table")},
     .nth = 3},
};

const std::string kFound =
    note("open the ip is exist in arp table and corresponding mac is 02:00:00:00:00:02");

Rules with(Rules rules, const std::string &line)
{
    for (Rule &rule : rules) {
        rule.said.push_back(line);
    }
    return rules;
}

// ---- Sockets of the caller's ----

int g_fd = -1;
int g_other = -1;
sockaddr_in g_place = {};

void open_sockets()
{
    g_place = {};
    g_place.sin_family = AF_INET;
    g_place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof(g_place);
    g_fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    bind(g_fd, reinterpret_cast<const sockaddr *>(&g_place), size);
    listen(g_fd, 4);
    getsockname(g_fd, reinterpret_cast<sockaddr *>(&g_place), &size);
    g_other = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
}

int g_accepted = -1;

void close_sockets()
{
    for (int *fd : {&g_fd, &g_other, &g_accepted}) {
        if (*fd >= 0) {
            close(*fd);
        }
        *fd = -1;
    }
}

const sockaddr *place() { return reinterpret_cast<const sockaddr *>(&g_place); }

std::string with_errno(int result) { return result >= 0 ? "done" : "-1 " + std::to_string(errno); }

Rules passes_on(const char *call) { return {{.call = call, .result = "-1 %e"}}; }

const bool g_enlisted = enlist({
    {.function = "lc_route_add",
     .act = [] { return shown(lc_route_add("lo", 0, kNet, nullptr, kMask)); },
     .rules = kErrorIsResult,
     .undo = delete_route},
    {.function = "lc_route_del",
     .act = [] { return shown(lc_route_del("lo", 0, kNet, nullptr, kMask)); },
     .rules = kErrorIsResult,
     .setup = add_route,
     .undo = delete_route},
    // What comes of the single gateways is not asked.
    {.function = "lc_route_add_default", .act = [] { return through_gateways(lc_route_add_default); }},
    {.function = "lc_route_del_default", .act = [] { return through_gateways(lc_route_del_default); }},
    {.function = "lc_is_interface_exist",
     .act = [] { return shown(lc_is_interface_exist("lo")); },
     .rules = {{.call = "if_nametoindex", .result = "0"}}},
    {.function = "lc_is_interface_up",
     .act = [] { return shown(lc_is_interface_up("lo")); },
     .rules = {{.call = "socket", .result = "-1", .said = {note("Open socket error")}},
               {.call = "ioctl", .result = "0"}},
     .setup = hide_interfaces},
    {.function = "lc_get_ip_by_ifname",
     .act =
         [] {
             in_addr found = {};
             const int result = lc_get_ip_by_ifname("lo", &found);
             return shown(result) + " " + inet_ntoa(found);
         },
     .rules = {{.call = "socket", .result = "-1 0.0.0.0", .said = kNoSocket},
               {.call = "ioctl", .result = "-1 0.0.0.0", .said = kNoAnswer}},
     .setup = hide_interfaces},
    {.function = "lc_get_mac_by_ifname",
     .act =
         [] {
             uint8_t mac[LC_MAC_SIZE];
             return shown(lc_get_mac_by_ifname("lo", mac));
         },
     .rules = losing(
         {{.call = "socket", .result = "-1"}, {.call = "ioctl", .result = "-1", .said = kNoAnswer}},
         {note("The mac address of interface lo is[00:00:00:00:00:00]")}),
     .setup = hide_interfaces},
    {.function = "lc_get_climac_by_ip",
     .act =
         [] {
             char mac[LC_MAC_TEXT_SIZE] = "";
             const int result = lc_get_climac_by_ip("10.9.0.2", mac);
             return shown(result) + " " + mac;
         },
     .rules = Rules{{.call = "fgets", .nth = 1}} + // the heading is not missed
              losing({{.call = "fopen64",
                       .result = "-1 ",
                       .said = {note("open the arp file error")},
                       .subject = "arp"},
                      {.call = "fgets",
                       .result = "-1 ",
                       .said = {note("open the ip is not exist in arp table")}}},
                     {kFound}),
     .setup = write_arp_table},
    {.function = "lc_arp_check",
     .act =
         [] {
             return with_neighbour(
                 lc_arp_check(address("10.9.0.2"), address("10.9.0.1"), kOurMac, kTheirMac, "lo", 500));
         },
     .rules = {{.call = "socket", .result = "-1"},
               {.call = "setsockopt", .result = "-1"},
               {.call = "sendto", .result = "-1"},
               {.call = "select", .result = "-1"},
               {.call = "recv", .result = "-1"}},
     .setup = put_up_neighbour},
    // Whatever comes of the request.
    {.function = "lc_arp_update",
     .act =
         [] {
             return with_neighbour(lc_arp_update("10.9.0.2", "10.9.0.1", "lo", "02:00:00:00:00:01"));
         },
     .setup = put_up_neighbour},
    {.function = "lc_arp_update",
     .story = "looks_the_mac_up",
     .act = [] { return shown(lc_arp_update("10.9.0.2", "10.9.0.1", "lo", "none")); },
     .rules = losing(with(kTableFails, note("get target mac by ip failed")), {kFound}),
     .setup = write_arp_table},
    // The address is found to be missing when the interface is not there, and that is taken for
    // success, so only the command itself can fail.
    {.function = "lc_arp_update2",
     .act = [] { return shown(lc_arp_update2("nosuch0")); },
     .rules = {{.call = "system",
                .result = "-1",
                .said = {note("Call function system error.")},
                .how = {"EAGAIN", "ECHILD"}},
               {.call = "socket", .said = kNoSocket, .unsaid = kNoAnswer}},
     .setup = [] { g_hooks.instead["arping -U -c 1 -I nosuch0 0.0.0.0"] = "true"; }},
    {.function = "lc_socket",
     .act =
         [] {
             g_other = lc_socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
             return with_errno(g_other);
         },
     .rules = passes_on("socket"),
     .undo = close_sockets,
     .once = true},
    {.function = "lc_bind",
     .act =
         [] {
             sockaddr_in any = {};
             any.sin_family = AF_INET;
             return with_errno(lc_bind(g_other, reinterpret_cast<sockaddr *>(&any), sizeof(any)));
         },
     .rules = passes_on("bind"),
     .setup = open_sockets,
     .undo = close_sockets},
    {.function = "lc_listen",
     .act = [] { return with_errno(lc_listen(g_other, 1)); },
     .rules = passes_on("listen"),
     .setup = open_sockets,
     .undo = close_sockets},
    {.function = "lc_connect",
     .act = [] { return with_errno(lc_connect(g_other, place(), sizeof(g_place))); },
     .rules = passes_on("connect"),
     .setup = open_sockets,
     .undo = close_sockets},
    {.function = "lc_accept",
     .act =
         [] {
             g_accepted = lc_accept(g_fd, nullptr, nullptr);
             return with_errno(g_accepted);
         },
     .rules = passes_on("accept"),
     .setup =
         [] {
             open_sockets();
             connect(g_other, place(), sizeof(g_place));
         },
     .undo = close_sockets,
     .once = true},
    calls_nothing("is_valid_ip", [] { return shown(is_valid_ip("1.2.3.4")); }),
    calls_nothing("lc_htons", [] { return shown(lc_htons(1)); }),
    calls_nothing("lc_ntohs", [] { return shown(lc_ntohs(1)); }),
    calls_nothing("lc_htonl", [] { return shown(lc_htonl(1)); }),
    calls_nothing("lc_ntohl", [] { return shown(lc_ntohl(1)); }),
    calls_nothing("lc_inet_addr", [] { return shown(lc_inet_addr("1.2.3.4")); }),
    calls_nothing("lc_inet_aton",
                  [] {
                      in_addr addr;
                      return shown(lc_inet_aton("1.2.3.4", &addr));
                  }),
    calls_nothing("lc_inet_ntoa", [] { return std::string(lc_inet_ntoa(address("1.2.3.4"))); }),
});

} // namespace

} // namespace lc_network_test
