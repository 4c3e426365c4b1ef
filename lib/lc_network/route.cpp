// Routes, by the kernel's ioctls.

#include "lc_network.h"

#include "lc_network/ifname.h"
#include "support/fd.h"
#include "support/socket.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <net/route.h>
#include <sys/ioctl.h>

namespace lterouter {
namespace {

constexpr char kAny[] = "0.0.0.0";

// An empty text counts as no address, since hosts pass on empty fields of forms. False for any other
// text that is no address: as 0.0.0.0 it could become a default route.
bool set_address(sockaddr *target, const char *text)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    const bool given = text != nullptr && *text != '\0';
    const bool valid = !given || inet_aton(text, &address.sin_addr) != 0;
    memcpy(target, &address, sizeof(address));
    return valid;
}

in_addr_t address_in(const sockaddr &address)
{
    sockaddr_in copy;
    memcpy(&copy, &address, sizeof(copy));
    return copy.sin_addr.s_addr;
}

enum class Change { kAdd, kDelete };

int change_route(Change change, const char *dev, int metric, const char *dst, const char *gw,
                 const char *mask)
{
    const Fd fd{open_socket(AF_INET, SOCK_DGRAM, 0)};
    if (!fd) {
        return errno;
    }
    rtentry route = {};
    if (!set_address(&route.rt_dst, dst) || !set_address(&route.rt_gateway, gw) ||
        !set_address(&route.rt_genmask, mask)) {
        return EINVAL;
    }
    route.rt_flags = RTF_UP;
    if (address_in(route.rt_gateway) != 0) {
        route.rt_flags |= RTF_GATEWAY;
    }
    if (address_in(route.rt_genmask) == INADDR_BROADCAST) { // all ones in either byte order
        route.rt_flags |= RTF_HOST;
    }
    route.rt_metric = static_cast<short>(metric);
    char name[IFNAMSIZ] = {}; // the kernel reads IFNAMSIZ bytes, whatever the length of the name
    if (dev != nullptr) {
        copy_ifname(name, dev);
        route.rt_dev = name;
    }
    return ioctl(fd.get(), change == Change::kAdd ? SIOCADDRT : SIOCDELRT, &route) == 0 ? 0 : errno;
}

int change_defaults(Change change, const char *dev, char *gateways)
{
    if (gateways == nullptr || *gateways == '\0') {
        return -1;
    }
    while (const char *gateway = strsep(&gateways, " ")) {
        if (*gateway == '\0') {
            break;
        }
        change_route(change, dev, 0, kAny, gateway, kAny);
    }
    return 0;
}

} // namespace
} // namespace lterouter

using namespace lterouter;

int lc_route_add(const char *dev, int metric, const char *dst, const char *gw, const char *mask)
{
    return change_route(Change::kAdd, dev, metric, dst, gw, mask);
}

int lc_route_del(const char *dev, int metric, const char *dst, const char *gw, const char *mask)
{
    return change_route(Change::kDelete, dev, metric, dst, gw, mask);
}

int lc_route_add_default(const char *dev, char *gateways)
{
    return change_defaults(Change::kAdd, dev, gateways);
}

int lc_route_del_default(const char *dev, char *gateways)
{
    return change_defaults(Change::kDelete, dev, gateways);
}
