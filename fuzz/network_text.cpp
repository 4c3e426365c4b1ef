// Names and addresses as texts, and the answer to an ARP request: what the kernel is asked for is held
// against the texts. Input: a byte of choices; five texts, each up to a line feed; the answer.
#include "lc_network.h"
#include "written_log.h"

#include <arpa/inet.h>
#include <cerrno>
#include <dlfcn.h>
#include <endian.h>
#include <net/if.h>
#include <net/route.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <vector>

using namespace fuzzing;

namespace {

// Two bits for what is tried.
enum { kRoute, kDefaultRoutes, kProbe, kInterface };
enum Choice { kDelete = 2, kNoDestination, kNoGateway, kNoMask };

constexpr const char *kSpaces = " \t\n\v\f\r";

// A name of the loopback interface, of 15 characters and with an address of its own.
constexpr std::string_view kAlias = "lo:fifteen-char";
constexpr in_addr_t kAliasAddress = 0x7F000F0F; // 127.0.15.15

struct Texts {
    std::string device;
    std::string destination;
    std::string gateway;
    std::string mask;
    std::string mac;
};

// ---- The kernel ----

struct RouteRequest {
    unsigned long request;
    std::string device;
    rtentry route;
};

std::vector<RouteRequest> g_routes; // that were asked for
std::string g_request;              // the ARP request that was sent
std::string_view g_answer;          // what comes back; nothing when it is empty
int g_far = -1;
std::vector<std::string> g_commands; // for the shell

// ---- Routes ----

bool parse(const std::string &text, in_addr *address) { return inet_aton(text.c_str(), address) != 0; }

// An empty text gives none.
bool parse_given(const std::string &text, in_addr *address)
{
    return text.empty() || parse(text, address);
}

in_addr address_in(const sockaddr &address)
{
    sockaddr_in copy;
    memcpy(&copy, &address, sizeof(copy));
    require(copy.sin_family == AF_INET && copy.sin_port == 0, "an address is one of IPv4");
    return copy.sin_addr;
}

// What is asked for, once, with the metric of the call.
void check_route(const RouteRequest &asked, bool deletes, const std::string &device,
                 in_addr destination, in_addr gateway, in_addr mask, short metric)
{
    require(asked.request == (deletes ? SIOCDELRT : SIOCADDRT),
            "the kernel is asked for the right thing");
    require(asked.device == device.substr(0, IFNAMSIZ - 1) && asked.route.rt_metric == metric,
            "device and metric are the caller's");
    require(address_in(asked.route.rt_dst).s_addr == destination.s_addr &&
                address_in(asked.route.rt_gateway).s_addr == gateway.s_addr &&
                address_in(asked.route.rt_genmask).s_addr == mask.s_addr,
            "so are the addresses");
    const int flags = RTF_UP | (gateway.s_addr != 0 ? RTF_GATEWAY : 0) |
                      (mask.s_addr == INADDR_BROADCAST ? RTF_HOST : 0);
    require(asked.route.rt_flags == flags, "the flags follow from the addresses");
}

void try_route(const Input &input, const Texts &texts)
{
    const std::string *const given[] = {input.chooses(kNoDestination) ? nullptr : &texts.destination,
                                        input.chooses(kNoGateway) ? nullptr : &texts.gateway,
                                        input.chooses(kNoMask) ? nullptr : &texts.mask};
    Copy copies[3];
    in_addr addresses[3] = {};
    bool valid = true;
    for (int i = 0; i < 3; ++i) {
        if (given[i] != nullptr) {
            copies[i] = text_copy_of(*given[i]);
            valid = parse_given(*given[i], &addresses[i]) && valid;
        }
    }
    const bool deletes = input.chooses(kDelete);
    const Copy device = text_copy_of(texts.device);
    const int result = (deletes ? lc_route_del : lc_route_add)(device.get(), 7, copies[0].get(),
                                                               copies[1].get(), copies[2].get());
    if (!valid) {
        require(result == EINVAL && g_routes.empty(), "what is no address makes no route");
        return;
    }
    require(result == 0 && g_routes.size() == 1, "the kernel is asked once");
    check_route(g_routes[0], deletes, texts.device, addresses[0], addresses[1], addresses[2], 7);
}

// The addresses up to the first that is empty.
std::vector<in_addr> gateways_in(std::string list)
{
    std::vector<in_addr> gateways;
    list += ' ';
    size_t start = 0;
    for (size_t end; start < list.size(); start = end + 1) {
        end = list.find(' ', start);
        if (end == start) {
            break;
        }
        in_addr gateway;
        if (parse(list.substr(start, end - start), &gateway)) {
            gateways.push_back(gateway);
        }
    }
    return gateways;
}

void try_default_routes(const Input &input, const Texts &texts)
{
    const bool deletes = input.chooses(kDelete);
    const Copy device = text_copy_of(texts.device);
    const Copy list = text_copy_of(texts.gateway);
    const int result =
        (deletes ? lc_route_del_default : lc_route_add_default)(device.get(), list.get());
    require(result == (texts.gateway.empty() ? -1 : 0), "only a list without a gateway fails");
    const std::vector<in_addr> expected = gateways_in(texts.gateway);
    require(g_routes.size() == expected.size(), "there is a route for each gateway");
    for (size_t i = 0; i < expected.size(); ++i) {
        check_route(g_routes[i], deletes, texts.device, {}, expected[i], {}, 0);
    }
}

// ---- ARP ----

uint16_t number_at(std::string_view frame, size_t offset)
{
    uint16_t number;
    memcpy(&number, frame.data() + offset, sizeof(number));
    return be16toh(number);
}

void check_request(in_addr target, in_addr source, const std::string &mac)
{
    const auto text = [](in_addr address) {
        return std::string(reinterpret_cast<const char *>(&address), sizeof(address));
    };
    std::string frame = std::string(6, '\xff') + mac;
    frame += std::string("\x08\x06\0\x01\x08\0\x06\x04\0\x01", 10) + mac + text(source);
    frame += std::string(6, '\0') + text(target);
    frame.resize(60);
    require(g_request == frame, "the request is as it should be");
}

bool is_answer(std::string_view frame, in_addr target, const std::string &our_mac,
               const std::string &expected_mac)
{
    in_addr sender;
    return frame.size() >= 42 && number_at(frame, 20) == 2 && frame.substr(32, 6) == our_mac &&
           (memcpy(&sender, frame.data() + 28, sizeof(sender)), sender.s_addr == target.s_addr) &&
           frame.substr(22, 6) == expected_mac;
}

void try_probe(const Texts &texts)
{
    std::string mac = texts.mac;
    mac.resize(LC_MAC_SIZE);
    const std::string other_mac = "\x02\x04\x06\x08\x0a\x0c";
    in_addr target = {};
    in_addr source = {};
    parse(texts.destination, &target);
    parse(texts.gateway, &source);
    const auto bytes = [](const Copy &copy) { return reinterpret_cast<const uint8_t *>(copy.get()); };
    const Copy our_copy = copy_of(mac);
    const Copy other_copy = copy_of(other_mac);
    const int result = lc_arp_check(target, source, bytes(our_copy), bytes(other_copy),
                                    text_copy_of(texts.device).get(), 500);
    if (texts.device.size() >= sizeof(sockaddr::sa_data)) {
        require(result == -1 && g_request.empty(), "a name that is too long is no interface's");
        return;
    }
    check_request(target, source, mac);
    require(result == (is_answer(g_answer, target, mac, other_mac) ? 0 : -1),
            "an answer is judged right");
}

// ---- Interfaces ----

// Sends the kernel a request; false when it refuses.
bool ask(unsigned long request, ifreq *record)
{
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    require(fd >= 0, "there is a socket");
    const bool done = ioctl(fd, request, record) == 0;
    close(fd);
    return done;
}

// A request about the interface that the first 15 characters of a name are.
ifreq request_about(std::string_view name, in_addr_t address = INADDR_ANY)
{
    const sockaddr_in of_interface = {
        .sin_family = AF_INET, .sin_port = 0, .sin_addr = {htonl(address)}, .sin_zero = {}};
    ifreq record = {};
    name.copy(record.ifr_name, IFNAMSIZ - 1);
    memcpy(&record.ifr_addr, &of_interface, sizeof(of_interface));
    return record;
}

void make_alias()
{
    ifreq record = request_about(kAlias, kAliasAddress);
    require(ask(SIOCSIFADDR, &record), "the loopback interface takes another address");
}

// What is known of an interface is told of none that exists, but of one that only the first 15
// characters of its name give.
void check_interface(const std::string &device, const char *name)
{
    const bool exists = if_nametoindex(device.c_str()) != 0;
    require(lc_is_interface_exist(name) == (exists ? -1 : 0), "an interface exists or not");

    const bool refused = exists || device.empty();
    ifreq flags = request_about(device);
    const bool up = !refused && ask(SIOCGIFFLAGS, &flags) && (flags.ifr_flags & IFF_UP) != 0;
    require(lc_is_interface_up(name) == (refused || up ? -1 : 0), "an interface is up or not");

    const auto address = std::make_unique<in_addr>();
    ifreq of_ip = request_about(device);
    const bool has_address = !refused && ask(SIOCGIFADDR, &of_ip);
    const in_addr expected = has_address ? address_in(of_ip.ifr_addr) : in_addr();
    require(lc_get_ip_by_ifname(name, address.get()) == (has_address ? 0 : -1) &&
                address->s_addr == expected.s_addr,
            "the address is the kernel's");

    const Copy mac = copy_of(std::string(LC_MAC_SIZE, 'm'));
    ifreq of_mac = request_about(device);
    const bool has_mac = !refused && ask(SIOCGIFHWADDR, &of_mac);
    require(lc_get_mac_by_ifname(name, reinterpret_cast<uint8_t *>(mac.get())) == (has_mac ? 0 : -1) &&
                memcmp(mac.get(), has_mac ? of_mac.ifr_hwaddr.sa_data : "mmmmmm", LC_MAC_SIZE) == 0,
            "the hardware address is the kernel's");

    const std::string command = "arping -U -c 1 -I " + device + " 0.0.0.0";
    const bool fits = !device.empty() && !has_address && command.size() < 128;
    require(lc_arp_update2(name) == (fits ? 0 : -1),
            "an announcement is made of a name, unless it has an address");
    require(g_commands == (fits ? std::vector{command} : std::vector<std::string>()),
            "the command is whole");
}

void try_interface(const Texts &texts)
{
    const Copy name = text_copy_of(texts.device);
    check_interface(texts.device, name.get());

    in_addr parsed;
    const Copy text = text_copy_of(texts.destination);
    if (is_valid_ip(text.get()) != 0) {
        require(parse(texts.destination, &parsed), "what is valid is an address");
        const std::string word = texts.destination.substr(0, texts.destination.find_first_of(kSpaces));
        require(std::count(word.begin(), word.end(), '.') == 3, "of four numbers");
    }
    const int updated = lc_arp_update(text.get(), text_copy_of(texts.gateway).get(), name.get(),
                                      text_copy_of(texts.mac).get());
    require(updated == 0 || updated == -1, "an entry is brought up to date or not");
}

} // namespace

extern "C" {

int ioctl(int fd, unsigned long request, ...) noexcept
{
    va_list arguments;
    va_start(arguments, request);
    void *argument = va_arg(arguments, void *);
    va_end(arguments);
    if (request == SIOCADDRT || request == SIOCDELRT) {
        const auto &route = *static_cast<rtentry *>(argument);
        g_routes.push_back({request, text_of({route.rt_dev, IFNAMSIZ}), route}); // all of the record
        return 0;
    }
    static auto *const real = reinterpret_cast<decltype(ioctl) *>(dlsym(RTLD_NEXT, "ioctl"));
    return real(fd, request, argument);
}

// The far end of a packet socket is the answer's.
int socket(int domain, int type, int protocol) noexcept
{
    static auto *const real = reinterpret_cast<decltype(socket) *>(dlsym(RTLD_NEXT, "socket"));
    if (domain != AF_PACKET) {
        return real(domain, type, protocol);
    }
    int ends[2];
    require(socketpair(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0, ends) == 0, "there are sockets");
    g_far = ends[1];
    return ends[0];
}

ssize_t sendto(int, const void *bytes, size_t size, int, const sockaddr *, socklen_t)
{
    g_request.assign(static_cast<const char *>(bytes), size);
    if (!g_answer.empty()) {
        require(write(g_far, g_answer.data(), g_answer.size()) == static_cast<ssize_t>(g_answer.size()),
                "there can be an answer");
    }
    return static_cast<ssize_t>(size);
}

// No time passes: the answer is there or never comes.
int select(int count, fd_set *readable, fd_set *writable, fd_set *exceptional, timeval *)
{
    const timespec none = {};
    return pselect(count, readable, writable, exceptional, &none, nullptr);
}

int system(const char *command)
{
    g_commands.emplace_back(command);
    return 0;
}

int LLVMFuzzerInitialize(int *, char ***)
{
    write_log();
    make_alias();
    return 0;
}

} // extern "C"

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const Input input(data, size);
    std::string_view rest = input.rest;
    Texts texts;
    for (std::string *text :
         {&texts.device, &texts.destination, &texts.gateway, &texts.mask, &texts.mac}) {
        *text = take_first_line(&rest);
    }
    g_answer = rest.substr(0, 1514);
    g_routes.clear();
    g_request.clear();
    g_commands.clear();

    const DescriptorCheck descriptors;
    switch (input.choice & 3) {
    case kRoute:
        try_route(input, texts);
        break;
    case kDefaultRoutes:
        try_default_routes(input, texts);
        break;
    case kProbe:
        try_probe(texts);
        break;
    default:
        try_interface(texts);
    }
    close(g_far);
    g_far = -1;
    return 0;
}
