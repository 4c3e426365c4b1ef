// Routes: the ioctl requests, and the kernel's table afterwards.
#include "lc_network.h"
#include "support/call_notes.h"
#include "support/shell.h"
#include "support/text_file.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <arpa/inet.h>
#include <cstring>
#include <optional>
#include <sstream>
#include <sys/mman.h>
#include <unistd.h>

namespace route_test {

using namespace testing_support;

namespace {

using Lines = std::vector<std::string>;

constexpr char kAll[] = "255.255.255.255";
constexpr char kClassC[] = "255.255.255.0";

// An interface that routes can lead over; 10.9.0.0/24 is there already.
class Routes : public testing::Test {
protected:
    Routes()
    {
        shell("/sbin/ip link add wan0 type veth peer name a-name-of-15-ch");
        shell("/sbin/ip address add 10.9.0.1/24 dev wan0");
        shell("/sbin/ip link set wan0 up");
        shell("/sbin/ip link set a-name-of-15-ch up");
        all_closed_.emplace();
    }

    // What ip shows beside the interface's own network, sorted.
    static Lines routes()
    {
        Lines lines;
        std::istringstream output(output_of("/sbin/ip route"));
        for (std::string line; std::getline(output, line);) {
            line.erase(line.find_last_not_of(' ') + 1);
            // The state of the cable does not matter.
            if (line.find("proto kernel") == std::string::npos) {
                lines.push_back(line.substr(0, line.find(" linkdown")));
            }
        }
        std::sort(lines.begin(), lines.end());
        return lines;
    }

private:
    std::optional<NothingLeftOpen> all_closed_;
};

std::string address_in(const sockaddr &address)
{
    sockaddr_in copy;
    memcpy(&copy, &address, sizeof(copy));
    EXPECT_EQ(copy.sin_family, AF_INET);
    EXPECT_EQ(copy.sin_port, 0);
    return inet_ntoa(copy.sin_addr);
}

// The last request, as words.
std::string requested()
{
    const rtentry &route = notes().route;
    return "to " + address_in(route.rt_dst) + " mask " + address_in(route.rt_genmask) + " via " +
           address_in(route.rt_gateway) + " metric " + std::to_string(route.rt_metric) +
           ((route.rt_flags & RTF_UP) != 0 ? " up" : "") +
           ((route.rt_flags & RTF_GATEWAY) != 0 ? " gateway" : "") +
           ((route.rt_flags & RTF_HOST) != 0 ? " host" : "") +
           ((route.rt_flags & ~(RTF_UP | RTF_GATEWAY | RTF_HOST)) != 0 ? " other" : "");
}

} // namespace

// ---- What the kernel is asked for ----

TEST_F(Routes, are_up_and_marked_as_leading_over_a_gateway_or_to_a_host)
{
    const struct {
        const char *dst;
        const char *gw;
        const char *mask;
        const char *request;
        const char *shown;
    } kRoutes[] = {
        {"192.168.2.0", nullptr, kClassC, "to 192.168.2.0 mask 255.255.255.0 via 0.0.0.0 metric 0 up",
         "192.168.2.0/24 dev wan0 scope link"},
        {"192.168.2.0", "0.0.0.0", kClassC, "to 192.168.2.0 mask 255.255.255.0 via 0.0.0.0 metric 0 up",
         "192.168.2.0/24 dev wan0 scope link"},
        {"192.168.2.7", nullptr, kAll,
         "to 192.168.2.7 mask 255.255.255.255 via 0.0.0.0 metric 0 up host",
         "192.168.2.7 dev wan0 scope link"},
        {"192.168.2.0", "10.9.0.2", kClassC,
         "to 192.168.2.0 mask 255.255.255.0 via 10.9.0.2 metric 0 up gateway",
         "192.168.2.0/24 via 10.9.0.2 dev wan0"},
        {"192.168.2.7", "10.9.0.2", kAll,
         "to 192.168.2.7 mask 255.255.255.255 via 10.9.0.2 metric 0 up gateway host",
         "192.168.2.7 via 10.9.0.2 dev wan0"},
        {"192.168.2.0", "", kClassC, "to 192.168.2.0 mask 255.255.255.0 via 0.0.0.0 metric 0 up",
         "192.168.2.0/24 dev wan0 scope link"},
        {nullptr, nullptr, nullptr, "to 0.0.0.0 mask 0.0.0.0 via 0.0.0.0 metric 0 up",
         "default dev wan0 scope link"},
        {"", "", "", "to 0.0.0.0 mask 0.0.0.0 via 0.0.0.0 metric 0 up", "default dev wan0 scope link"},
        {"", "10.9.0.2", "", "to 0.0.0.0 mask 0.0.0.0 via 10.9.0.2 metric 0 up gateway",
         "default via 10.9.0.2 dev wan0"},
        {"0.0.0.0", "10.9.0.2", "0.0.0.0", "to 0.0.0.0 mask 0.0.0.0 via 10.9.0.2 metric 0 up gateway",
         "default via 10.9.0.2 dev wan0"},
    };
    for (const auto &[dst, gw, mask, request, shown] : kRoutes) {
        EXPECT_EQ(lc_route_add("wan0", 0, dst, gw, mask), 0);
        EXPECT_EQ(notes().request, static_cast<unsigned long>(SIOCADDRT));
        EXPECT_EQ(requested(), request);
        EXPECT_EQ(routes(), Lines{shown});
        EXPECT_EQ(lc_route_del("wan0", 0, dst, gw, mask), 0);
        EXPECT_EQ(notes().request, static_cast<unsigned long>(SIOCDELRT));
        EXPECT_EQ(requested(), request);
        EXPECT_EQ(routes(), Lines{});
    }
}

TEST_F(Routes, are_asked_for_through_a_datagram_socket)
{
    lc_route_add("wan0", 0, "192.168.2.0", nullptr, kClassC);
    EXPECT_EQ(notes().socket_domain, AF_INET);
    EXPECT_EQ(notes().socket_type, SOCK_DGRAM);
    EXPECT_EQ(notes().socket_protocol, 0);
    EXPECT_TRUE(notes().closed_on_exec);
}

TEST_F(Routes, have_a_metric_of_16_bits)
{
    for (const int metric : {0, 1, 7, 32767, -1}) {
        lc_route_add("none0", metric, "192.168.2.0", nullptr, kClassC);
        EXPECT_EQ(notes().route.rt_metric, metric);
    }
    lc_route_add("none0", 65536 + 7, "192.168.2.0", nullptr, kClassC);
    EXPECT_EQ(notes().route.rt_metric, 7);
}

TEST_F(Routes, without_an_address_are_not_asked_for)
{
    for (const char *text : {" ", "x", "192.168.2", "192.168.2.0x", "192.168.2.0/24", "300.1.1.1"}) {
        if (in_addr address; inet_aton(text, &address) != 0) {
            continue;
        }
        EXPECT_EQ(lc_route_add("wan0", 0, text, nullptr, kClassC), EINVAL) << text;
        EXPECT_EQ(lc_route_add("wan0", 0, "192.168.2.0", text, kClassC), EINVAL) << text;
        EXPECT_EQ(lc_route_add("wan0", 0, "192.168.2.0", nullptr, text), EINVAL) << text;
        EXPECT_EQ(lc_route_del("wan0", 0, text, nullptr, kClassC), EINVAL) << text;
        EXPECT_EQ(lc_route_del("wan0", 0, "192.168.2.0", text, kClassC), EINVAL) << text;
        EXPECT_EQ(lc_route_del("wan0", 0, "192.168.2.0", nullptr, text), EINVAL) << text;
    }
    EXPECT_EQ(notes().ioctls, 0);
    calls::socket.fail_nth(1, EMFILE);
    EXPECT_EQ(lc_route_add("wan0", 0, "x", nullptr, kClassC), EMFILE) << "what failed first";
    EXPECT_EQ(routes(), Lines{});
}

// ---- What the kernel has ----

TEST_F(Routes, with_a_metric_of_which_the_kernel_takes_off_1)
{
    EXPECT_EQ(lc_route_add("wan0", 6, "192.168.2.0", nullptr, kClassC), 0);
    EXPECT_EQ(lc_route_add("wan0", 8, "192.168.2.0", nullptr, kClassC), 0);
    EXPECT_EQ(routes(), (Lines{"192.168.2.0/24 dev wan0 scope link metric 5",
                               "192.168.2.0/24 dev wan0 scope link metric 7"}));
    EXPECT_EQ(lc_route_del("wan0", 8, "192.168.2.0", nullptr, kClassC), 0);
    EXPECT_EQ(routes(), Lines{"192.168.2.0/24 dev wan0 scope link metric 5"});
}

TEST_F(Routes, over_whichever_device_has_the_gateway)
{
    EXPECT_EQ(lc_route_add(nullptr, 0, "192.168.2.0", "10.9.0.2", kClassC), 0);
    EXPECT_EQ(routes(), Lines{"192.168.2.0/24 via 10.9.0.2 dev wan0"});
}

TEST_F(Routes, that_the_kernel_refuses_give_its_error)
{
    EXPECT_EQ(lc_route_add("none0", 0, "192.168.2.0", nullptr, kClassC), ENODEV);
    EXPECT_EQ(lc_route_add("", 0, "192.168.2.0", nullptr, kClassC), ENODEV);
    EXPECT_EQ(lc_route_add("wan0", 0, "192.168.2.1", nullptr, kClassC), EINVAL) << "beyond its mask";
    EXPECT_EQ(lc_route_add("wan0", 0, "192.168.2.0", nullptr, "255.0.255.0"), EINVAL);
    EXPECT_EQ(lc_route_add("wan0", 0, "192.168.2.0", "10.77.0.1", kClassC), ENETUNREACH);
    EXPECT_EQ(lc_route_del("wan0", 0, "192.168.2.0", nullptr, kClassC), ESRCH);
    EXPECT_EQ(routes(), Lines{});
    EXPECT_EQ(lc_route_add("wan0", 0, "192.168.2.0", nullptr, kClassC), 0);
    EXPECT_EQ(lc_route_add("wan0", 0, "192.168.2.0", nullptr, kClassC), EEXIST);
    EXPECT_EQ(lc_route_add("wan0", 2, "192.168.3.0", "10.9.0.2", kClassC), 0);
    EXPECT_EQ(lc_route_del("wan0", 2, "192.168.3.0", "10.9.0.3", kClassC), ESRCH);
}

TEST_F(Routes, over_a_device_go_by_the_first_15_characters_of_its_name)
{
    const Lines over_it = {"192.168.2.0/24 dev a-name-of-15-ch scope link"};
    for (const std::string &name : {std::string("a-name-of-15-ch"), std::string("a-name-of-15-chx"),
                                    "a-name-of-15-ch" + std::string(5000, 'x')}) {
        EXPECT_EQ(lc_route_add(name.c_str(), 0, "192.168.2.0", nullptr, kClassC), 0);
        EXPECT_EQ(routes(), over_it);
        EXPECT_EQ(lc_route_del(name.c_str(), 0, "192.168.2.0", nullptr, kClassC), 0);
        EXPECT_EQ(routes(), Lines{});
    }
    EXPECT_EQ(lc_route_add(std::string(5000, 'x').c_str(), 0, "192.168.2.0", nullptr, kClassC), ENODEV);
    EXPECT_EQ(lc_route_add("a-name-of-15-chx", 0, "192.168.2.0", nullptr, kClassC), 0);
    char gateways[] = "10.9.0.2";
    EXPECT_EQ(lc_route_add_default("wan0", gateways), 0);
    EXPECT_EQ(lc_route_del("wan0", 0, "", gateways, ""), 0);
    EXPECT_EQ(routes(), over_it);
}

TEST_F(Routes, take_a_device_name_that_ends_with_its_page)
{
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    void *pages = mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(pages, MAP_FAILED);
    char *const end = static_cast<char *>(pages) + page;
    ASSERT_EQ(mprotect(end, page, PROT_NONE), 0);
    const auto route_over = [&](const std::string &device) {
        char *const name = end - device.size() - 1;
        strcpy(name, device.c_str());
        EXPECT_EQ(lc_route_add(name, 0, "192.168.2.0", nullptr, kClassC), 0);
        EXPECT_EQ(routes(), Lines{"192.168.2.0/24 dev " + device.substr(0, 15) + " scope link"});
        EXPECT_EQ(lc_route_del(name, 0, "192.168.2.0", nullptr, kClassC), 0);
    };
    route_over("wan0");
    route_over("a-name-of-15-ch");
    route_over("a-name-of-15-chx");
    munmap(pages, 2 * page);
}

// ---- Default routes ----

namespace {

Lines defaults(const std::vector<const char *> &gateways)
{
    Lines lines;
    for (const char *gateway : gateways) {
        lines.push_back(std::string("default via ") + gateway + " dev wan0");
    }
    return lines;
}

int add_defaults(std::string gateways) { return lc_route_add_default("wan0", gateways.data()); }
int delete_defaults(std::string gateways) { return lc_route_del_default("wan0", gateways.data()); }

} // namespace

TEST_F(Routes, by_default_lead_over_each_gateway_of_a_list)
{
    EXPECT_EQ(add_defaults("10.9.0.2 10.9.0.3"), 0);
    EXPECT_EQ(requested(), "to 0.0.0.0 mask 0.0.0.0 via 10.9.0.3 metric 0 up gateway");
    EXPECT_EQ(routes(), defaults({"10.9.0.2", "10.9.0.3"}));
    EXPECT_EQ(delete_defaults("10.9.0.3 10.9.0.2"), 0);
    EXPECT_EQ(requested(), "to 0.0.0.0 mask 0.0.0.0 via 10.9.0.2 metric 0 up gateway");
    EXPECT_EQ(routes(), Lines{});
}

TEST_F(Routes, by_default_end_at_a_double_blank_and_at_one_at_either_end)
{
    const struct {
        int (*call)(std::string gateways);
        const char *gateways;
        std::vector<const char *> left;
    } lists[] = {
        {add_defaults, "10.9.0.2  10.9.0.3", {"10.9.0.2"}},
        {add_defaults, "10.9.0.3 10.9.0.4", {"10.9.0.2", "10.9.0.3", "10.9.0.4"}},
        {delete_defaults, "10.9.0.2 10.9.0.3  10.9.0.4", {"10.9.0.4"}},
        {add_defaults, " 10.9.0.2", {"10.9.0.4"}},
        {add_defaults, "10.9.0.2 ", {"10.9.0.2", "10.9.0.4"}},
        {delete_defaults, " ", {"10.9.0.2", "10.9.0.4"}},
    };
    for (const auto &[call, gateways, left] : lists) {
        EXPECT_EQ(call(gateways), 0) << gateways;
        EXPECT_EQ(routes(), defaults(left)) << gateways;
    }
}

TEST_F(Routes, by_default_leave_their_list_split)
{
    char gateways[] = "10.9.0.2 10.9.0.3  10.9.0.4 10.9.0.5";
    EXPECT_EQ(lc_route_add_default("wan0", gateways), 0);
    EXPECT_EQ(std::string(gateways, sizeof(gateways) - 1),
              std::string("10.9.0.2\00010.9.0.3\0\00010.9.0.4 10.9.0.5", sizeof(gateways) - 1));
    char deleted[] = "10.9.0.2 10.9.0.3";
    EXPECT_EQ(lc_route_del_default("wan0", deleted), 0);
    EXPECT_EQ(std::string(deleted, sizeof(deleted) - 1),
              std::string("10.9.0.2\00010.9.0.3", sizeof(deleted) - 1));
}

TEST_F(Routes, by_default_that_cannot_be_made_do_not_end_the_list)
{
    EXPECT_EQ(add_defaults("10.77.0.1 gateway 10.9.0.2 10.9.0.2 10.9.0.3"), 0);
    EXPECT_EQ(routes(), defaults({"10.9.0.2", "10.9.0.3"}));
    EXPECT_EQ(delete_defaults("10.9.0.9 10.9.0.3 10.9.0.2"), 0);
    EXPECT_EQ(routes(), Lines{});
}

TEST_F(Routes, by_default_need_a_list)
{
    EXPECT_EQ(lc_route_add_default("wan0", nullptr), -1);
    EXPECT_EQ(add_defaults(""), -1);
    EXPECT_EQ(lc_route_del_default("wan0", nullptr), -1);
    EXPECT_EQ(delete_defaults(""), -1);
    EXPECT_EQ(notes().ioctls, 0);
}

} // namespace route_test
