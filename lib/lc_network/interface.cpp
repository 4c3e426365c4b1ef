// Interfaces and addresses.

#include "lc_network.h"

#include "lc_network/ifname.h"
#include "lc_network/note.h"
#include "support/fd.h"
#include "support/socket.h"

#include <arpa/inet.h>
#include <cstdio>
#include <cstring>
#include <sys/ioctl.h>

namespace lterouter {
namespace {

constexpr int kYes = -1;
constexpr int kNo = 0;

// Whether the three functions below refuse the name. They deliberately refuse every interface that
// exists, since the yes (-1) of lc_is_interface_exist is tested as if it were a failure: the router's
// processes rely on these results.
bool is_refused(const char *name)
{
    return name == nullptr || *name == '\0' || lc_is_interface_exist(name) == -1;
}

enum class Answer { kRefused, kNoSocket, kFailed, kGiven };

// The type of ioctl's second parameter: int in musl, unsigned long in the GNU libc.
template <typename Number> Number number_of(int (*)(int, Number, ...));
using IoctlNumber = decltype(number_of(ioctl));

// An interface ioctl.
Answer ask(const char *name, IoctlNumber what, ifreq *request)
{
    if (is_refused(name)) {
        return Answer::kRefused;
    }
    const Fd fd{open_socket(AF_INET, SOCK_STREAM, 0)};
    if (!fd) {
        return Answer::kNoSocket;
    }
    *request = {};
    copy_ifname(request->ifr_name, name);
    request->ifr_addr.sa_family = AF_INET; // for an address
    return ioctl(fd.get(), what, request) == 0 ? Answer::kGiven : Answer::kFailed;
}

} // namespace
} // namespace lterouter

using namespace lterouter;

int is_valid_ip(const char *text)
{
    int a;
    int b;
    int c;
    int d;
    in_addr addr;
    return text != nullptr && sscanf(text, "%d.%d.%d.%d", &a, &b, &c, &d) == 4 &&
                   inet_aton(text, &addr) != 0
               ? 1
               : 0;
}

int lc_is_interface_exist(const char *name)
{
    return name != nullptr && if_nametoindex(name) != 0 ? kYes : kNo;
}

int lc_is_interface_up(const char *name)
{
    ifreq request;
    const Answer answer = ask(name, SIOCGIFFLAGS, &request);
    if (answer == Answer::kRefused) {
        return NOTE(-1, "Parameter error");
    }
    if (answer == Answer::kNoSocket) {
        return NOTE(-1, "Open socket error");
    }
    return answer == Answer::kGiven && (request.ifr_flags & IFF_UP) != 0 ? kYes : kNo;
}

int lc_get_ip_by_ifname(const char *name, in_addr *addr)
{
    ifreq request;
    const Answer answer = addr == nullptr ? Answer::kRefused : ask(name, SIOCGIFADDR, &request);
    if (answer == Answer::kRefused) {
        return NOTE(-1, "Parameter error.");
    }
    if (answer == Answer::kNoSocket) {
        return NOTE(-1, "Open socket error.");
    }
    if (answer == Answer::kFailed) {
        return NOTE(-1, "IOCTL operation error.");
    }
    sockaddr_in found;
    memcpy(&found, &request.ifr_addr, sizeof(found));
    *addr = found.sin_addr;
    return 0;
}

int lc_get_mac_by_ifname(const char *name, uint8_t *mac)
{
    ifreq request;
    const Answer answer = mac == nullptr ? Answer::kRefused : ask(name, SIOCGIFHWADDR, &request);
    if (answer == Answer::kFailed) {
        return NOTE(-1, "IOCTL operation error.");
    }
    if (answer != Answer::kGiven) {
        return -1;
    }
    memcpy(mac, request.ifr_hwaddr.sa_data, LC_MAC_SIZE);
    return NOTE(0, "The mac address of interface %s is[%02hhx:%02hhx:%02hhx:%02hhx:%02hhx:%02hhx]",
                name, mac[0], mac[1], mac[2], mac[3], mac[4], mac[5]);
}
