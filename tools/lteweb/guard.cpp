#include "lteweb/guard.h"

#include "common/slice.h"

#include <arpa/inet.h>
#include <cstring>
#include <netinet/in.h>
#include <strings.h>

namespace lterouter::tools {
namespace {

// Without the port, whose number a proxy may have changed.
std::string_view host_name(std::string_view host)
{
    const size_t bracket = host.find(']');
    const size_t colon = host.find(':', bracket == std::string_view::npos ? 0 : bracket);
    return slice(host, 0, colon);
}

bool is_port(std::string_view text)
{
    uint32_t port;
    return text.empty() || (text[0] == ':' && parse_number(slice(text, 1), 1, 65535, &port));
}

bool is_same(std::string_view a, std::string_view b)
{
    return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

// No name server has a say in an address.
bool is_address(std::string_view host)
{
    char text[INET6_ADDRSTRLEN + 2] = "";
    if (host.size() >= sizeof(text)) {
        return false;
    }
    memcpy(text, host.data(), host.size());
    in6_addr address;
    if (!host.starts_with('[')) {
        return inet_pton(AF_INET, text, &address) == 1;
    }
    text[host.size() - 1] = '\0';
    return host.ends_with(']') && inet_pton(AF_INET6, text + 1, &address) == 1;
}

bool is_ours(std::string_view host, const Listen &listen, const Hosts &hosts)
{
    const std::string_view name = host_name(host);
    if (!is_port(slice(host, name.size()))) {
        return false;
    }
    if (is_same(name, "localhost") || is_same(name, listen.text) ||
        (listen.everywhere && is_address(name))) {
        return true;
    }
    for (size_t i = 0; i < hosts.count; ++i) {
        if (is_same(name, hosts.names[i])) {
            return true;
        }
    }
    return false;
}

bool is_own_origin(std::string_view origin, std::string_view host)
{
    return (take_start(&origin, "http://") || take_start(&origin, "https://")) && is_same(origin, host);
}

// Who types an address or follows a bookmark has no site.
bool is_own_site(const char *site)
{
    return strcmp(site, "same-origin") == 0 || strcmp(site, "none") == 0;
}

// Who follows a link to the page comes from elsewhere: it is what the page asks for itself that counts.
bool is_link(const Head &head)
{
    return strcmp(head.method, "GET") == 0 && strcmp(head.path, "/") == 0 && head.mode != nullptr &&
           strcmp(head.mode, "navigate") == 0;
}

} // namespace

Refusal judge_origin(const Head &head, const Listen &listen, const Hosts &hosts)
{
    if (head.malformed || head.host == nullptr) {
        return {kBadRequest, "malformed request"};
    }
    if (!is_ours(head.host, listen, hosts)) {
        return {kMisdirected, "this server has another name: start it with --host"};
    }
    if ((head.origin != nullptr && !is_own_origin(head.origin, head.host)) ||
        (head.site != nullptr && !is_own_site(head.site) && !is_link(head))) {
        return {kForbidden, "the request comes from a page of another site"};
    }
    return {};
}

std::string_view cookie_value(const char *cookies, std::string_view name)
{
    std::string_view rest = cookies != nullptr ? cookies : "";
    while (!rest.empty()) {
        const size_t end = std::min(rest.find(';'), rest.size());
        std::string_view cookie = slice(rest, 0, end);
        rest.remove_prefix(std::min(end + 1, rest.size()));
        while (cookie.starts_with(' ')) {
            cookie.remove_prefix(1);
        }
        if (take_start(&cookie, name) && take_start(&cookie, "=")) {
            return cookie;
        }
    }
    return {};
}

} // namespace lterouter::tools
