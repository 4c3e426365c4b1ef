#include "ltectl/interface.h"

#include "common/program.h"
#include "support/fd.h"
#include "support/socket.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <net/if.h>
#include <net/if_arp.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace lterouter::tools {
namespace {

// The queries about an interface.
class Questions {
public:
    explicit Questions(const char *name) : fd_(open_socket(AF_INET, SOCK_DGRAM, 0))
    {
        snprintf(request_.ifr_name, sizeof(request_.ifr_name), "%s", name);
    }

    // Returns the request record with the answer; null, with errno set, on failure. The ioctl number is
    // a template argument, since its type depends on the libc.
    template <unsigned long Question> const ifreq *ask()
    {
        return ioctl(fd_.get(), Question, &request_) == 0 ? &request_ : nullptr;
    }

private:
    const Fd fd_;
    ifreq request_ = {};
};

} // namespace

void format_mac(const uint8_t *mac, MacText &text)
{
    snprintf(text, sizeof(text), "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2], mac[3],
             mac[4], mac[5]);
}

std::optional<bool> is_interface_up(const char *name)
{
    Questions questions(name);
    const ifreq *answer = questions.ask<SIOCGIFFLAGS>();
    return answer != nullptr ? std::optional((answer->ifr_flags & IFF_UP) != 0) : std::nullopt;
}

int read_interface(const char *name, Interface *interface)
{
    *interface = {};
    Questions questions(name);
    const ifreq *answer = questions.ask<SIOCGIFFLAGS>();
    if (answer == nullptr) {
        return errno == ENODEV ? fail(kFailed, "there is no interface \"%s\"", name)
                               : fail(kFailed, "cannot read \"%s\": %s", name, strerror(errno));
    }
    interface->up = (answer->ifr_flags & IFF_UP) != 0;
    answer = questions.ask<SIOCGIFHWADDR>();
    if (answer != nullptr && answer->ifr_hwaddr.sa_family == ARPHRD_ETHER) {
        interface->has_mac = true;
        memcpy(interface->mac, answer->ifr_hwaddr.sa_data, sizeof(interface->mac));
    }
    answer = questions.ask<SIOCGIFADDR>();
    if (answer != nullptr) {
        interface->has_ip = true;
        sockaddr_in address;
        memcpy(&address, &answer->ifr_addr, sizeof(address));
        interface->ip = address.sin_addr;
    }
    return kDone;
}

} // namespace lterouter::tools
