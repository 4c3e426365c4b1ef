#include "lteweb/settings.h"

#include "common/slice.h"

#include <arpa/inet.h>
#include <cstdio>
#include <cstring>
#include <netinet/in.h>

namespace lterouter::tools {
namespace {

// "[::1]:8080" or "127.0.0.1:8080".
bool split(std::string_view text, std::string_view *address, uint32_t *port)
{
    const size_t colon = text.rfind(':');
    if (colon == std::string_view::npos || !parse_number(slice(text, colon + 1), 0, 65535, port)) {
        return false;
    }
    *address = slice(text, 0, colon);
    return true;
}

template <typename Address> void store(const Address &address, Listen *listen)
{
    memcpy(&listen->address, &address, sizeof(address));
    listen->length = sizeof(address);
}

bool parse_ipv4(const char *text, uint16_t port, Listen *listen)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    if (inet_pton(AF_INET, text, &address.sin_addr) != 1) {
        return false;
    }
    listen->everywhere = address.sin_addr.s_addr == INADDR_ANY;
    listen->loopback = ntohl(address.sin_addr.s_addr) >> 24 == IN_LOOPBACKNET;
    store(address, listen);
    return true;
}

bool parse_ipv6(const char *text, uint16_t port, Listen *listen)
{
    sockaddr_in6 address = {};
    address.sin6_family = AF_INET6;
    address.sin6_port = htons(port);
    if (inet_pton(AF_INET6, text, &address.sin6_addr) != 1) {
        return false;
    }
    char canonical[INET6_ADDRSTRLEN]; // as browsers send it
    inet_ntop(AF_INET6, &address.sin6_addr, canonical, sizeof(canonical));
    snprintf(listen->text, sizeof(listen->text), "[%s]", canonical);
    listen->everywhere = IN6_IS_ADDR_UNSPECIFIED(&address.sin6_addr);
    listen->loopback = IN6_IS_ADDR_LOOPBACK(&address.sin6_addr);
    store(address, listen);
    return true;
}

bool parse_listen(const char *text, void *target)
{
    Listen listen = {};
    std::string_view address;
    if (!split(text, &address, &listen.port) || address.size() >= sizeof(listen.text)) {
        return false;
    }
    memcpy(listen.text, address.data(), address.size());
    const bool is_ipv6 = address.starts_with('[') && address.ends_with(']');
    const auto port = static_cast<uint16_t>(listen.port);
    bool valid;
    if (is_ipv6) {
        char inside[sizeof(listen.text)] = "";
        memcpy(inside, address.data() + 1, address.size() - 2);
        valid = parse_ipv6(inside, port, &listen);
    } else {
        valid = parse_ipv4(listen.text, port, &listen);
    }
    if (valid) {
        *static_cast<Listen *>(target) = listen;
    }
    return valid;
}

bool is_host_character(char ch)
{
    return (ch >= 'a' && ch <= 'z') || (ch >= 'A' && ch <= 'Z') || (ch >= '0' && ch <= '9') ||
           ch == '-' || ch == '.';
}

bool parse_host(const char *text, void *target)
{
    Hosts &hosts = *static_cast<Hosts *>(target);
    const size_t length = strlen(text);
    if (length == 0 || length >= sizeof(HostText) || hosts.count == kMaxHosts) {
        return false;
    }
    for (size_t i = 0; i < length; ++i) {
        if (!is_host_character(text[i])) {
            return false;
        }
    }
    memcpy(hosts.names[hosts.count++], text, length + 1);
    return true;
}

} // namespace

const ValueType kListen = {"ADDRESS:PORT, such as 127.0.0.1:8080 or [::1]:8080", parse_listen};
const ValueType kHost = {"a host name, four at most", parse_host};

} // namespace lterouter::tools
