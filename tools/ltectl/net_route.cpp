// net route: IPv4 routes. They need no WAN manager.

#include "common/completion.h"
#include "common/program.h"
#include "common/record.h"
#include "lc_file/stream.h"
#include "lc_network.h"
#include "ltectl/commands.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <net/route.h>

namespace lterouter::tools {
namespace {

constexpr char kTable[] = "/proc/net/route";
constexpr char kAny[] = "0.0.0.0";
constexpr char kEverywhere[] = "0.0.0.0/0";
constexpr size_t kGatewaysMax = 32;

// An operation on routes: the call for one, and for default routes over a list of gateways.
struct Change {
    const char *verb;
    const char *done;
    int (*one)(const char *dev, int metric, const char *dst, const char *gw, const char *mask);
    int (*defaults)(const char *dev, char *gateways);
};

constexpr Change kAdd = {"add", "added", lc_route_add, lc_route_add_default};
constexpr Change kDelete = {"delete", "deleted", lc_route_del, lc_route_del_default};

struct Network {
    char address[INET_ADDRSTRLEN];
    char mask[INET_ADDRSTRLEN];
};

bool parse_network(const char *text, void *target)
{
    auto *network = static_cast<Network *>(target);
    const size_t length = strcspn(text, "/");
    if (text[length] == '\0' || length >= sizeof(network->address)) {
        return false;
    }
    memcpy(network->address, text, length);
    network->address[length] = '\0';
    in_addr address;
    uint32_t bits;
    if (inet_pton(AF_INET, network->address, &address) != 1 ||
        !parse_number(text + length + 1, 0, 32, &bits)) {
        return false;
    }
    const in_addr mask = {htonl(bits == 0 ? 0 : UINT32_MAX << (32 - bits))};
    inet_ntop(AF_INET, &mask, network->mask, sizeof(network->mask));
    return (address.s_addr & ~mask.s_addr) == 0;
}

constexpr ValueType kNetwork = {
    "a network as ADDRESS/LENGTH: LENGTH from 0 to 32, ADDRESS without bits beyond it", parse_network};

constexpr ValueType kMetric = {"a number from 0 to 32766", parse_number_in<0, 32766>};

uint32_t g_metric = 0;

// A route as the command line names it.
struct Route {
    const char *destination;
    const char *gateway; // or null
    const char *dev;
    uint32_t metric;
};

int tell(const Change &change, const Route &route)
{
    Record record;
    record.word("event", "route").word("status", change.done).field("destination", route.destination);
    if (route.gateway != nullptr) {
        record.field("gateway", route.gateway);
    }
    record.field("interface", route.dev);
    if (route.metric != 0) {
        record.number("metric", route.metric);
    }
    return kDone;
}

int explain(const Change &change, const Route &route, int error)
{
    const bool over = route.gateway != nullptr;
    return fail(kFailed, "cannot %s the route to %s%s%s on %s: %s", change.verb, route.destination,
                over ? " over " : "", over ? route.gateway : "", route.dev,
                error == ESRCH ? "there is none" : strerror(error));
}

int finish(const Change &change, const Route &route, int error)
{
    return error == 0 ? tell(change, route) : explain(change, route, error);
}

// ---- One route ----

int change_route(const Change &change, char *const *operands)
{
    InterfaceText dev;
    if (!kInterfaceName.parse(operands[0], dev)) {
        return bad_value("DEV", kInterfaceName, operands[0]);
    }
    Network network;
    if (!kNetwork.parse(operands[1], &network)) {
        return bad_value("DST/LEN", kNetwork, operands[1]);
    }
    const char *gateway = nullptr;
    if (operands[2] != nullptr) {
        if (strcmp(operands[2], "via") != 0) {
            return fail(kUsage, "\"%s\" stands where only \"via\" may", operands[2]);
        }
        gateway = operands[3];
        AddressText address;
        if (!kIpv4Address.parse(gateway, address)) {
            return bad_value("GATEWAY", kIpv4Address, gateway);
        }
    }
    // The kernel's call counts metrics from 1, all tools that show them from 0.
    const int error =
        change.one(dev, static_cast<int>(g_metric) + 1, network.address, gateway, network.mask);
    return finish(change, {operands[1], gateway, dev, g_metric}, error);
}

// ---- Default routes ----

// Counts the routes over a gateway.
int count_routes(const char *gateway)
{
    in_addr wanted = {};
    inet_pton(AF_INET, gateway, &wanted);
    const Stream table{fopen(kTable, "re")};
    if (!table) {
        return 0;
    }
    int count = 0;
    char line[256]; // the kernel pads its lines to 127 characters
    while (fgets(line, sizeof(line), table.get()) != nullptr) {
        uint32_t over;
        if (sscanf(line, "%*s %*x %" SCNx32, &over) == 1 && over == wanted.s_addr) {
            ++count;
        }
    }
    return count;
}

// The library does not report the result of each route. The kernel's table shows whether the operation
// worked; if it did not, it is repeated for that route to get the error.
int finish_default(const Change &change, const char *dev, const char *gateway, int count_before)
{
    const bool changed = count_routes(gateway) != count_before;
    const int error = changed ? 0 : change.one(dev, 0, kAny, gateway, kAny);
    return finish(change, {kEverywhere, gateway, dev, 0}, error);
}

int change_defaults(const Change &change, char *const *operands)
{
    InterfaceText dev;
    if (!kInterfaceName.parse(operands[0], dev)) {
        return bad_value("DEV", kInterfaceName, operands[0]);
    }
    char *const *gateways = operands + 1;
    char list[kGatewaysMax * INET_ADDRSTRLEN] = ""; // separated by blanks
    int counts[kGatewaysMax];
    size_t length = 0;
    for (size_t i = 0; gateways[i] != nullptr; ++i) {
        AddressText address;
        if (!kIpv4Address.parse(gateways[i], address)) {
            return bad_value("GATEWAY", kIpv4Address, gateways[i]);
        }
        if (i == kGatewaysMax) {
            return fail(kUsage, "at most %zu gateways can be given", kGatewaysMax);
        }
        counts[i] = count_routes(address);
        length += static_cast<size_t>(
            snprintf(list + length, sizeof(list) - length, "%s%s", i == 0 ? "" : " ", address));
    }
    change.defaults(dev, list);
    int code = kDone;
    for (size_t i = 0; gateways[i] != nullptr; ++i) {
        if (finish_default(change, dev, gateways[i], counts[i]) != kDone) {
            code = kFailed;
        }
    }
    return code;
}

} // namespace

const Option kNetRouteOptions[] = {
    {"metric", "N", "a smaller one is preferred; del with 0: any (0)", &kMetric, &g_metric},
    {},
};

void offer_route(Offer &offer, const char *const *before)
{
    if (before[0] == nullptr) {
        offer.add_interfaces();
    } else if (before[1] != nullptr && before[2] == nullptr) {
        offer.add("via");
    }
}

int net_route_add(char *const *operands) { return change_route(kAdd, operands); }

int net_route_del(char *const *operands) { return change_route(kDelete, operands); }

int net_default_add(char *const *operands) { return change_defaults(kAdd, operands); }

int net_default_del(char *const *operands) { return change_defaults(kDelete, operands); }

} // namespace lterouter::tools
