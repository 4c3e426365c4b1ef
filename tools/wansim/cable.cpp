#include "wansim/cable.h"

#include "common/clock.h"
#include "common/program.h"
#include "support/ignore.h"
#include "support/socket.h"
#include "wansim/board.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <net/ethernet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <netpacket/packet.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace lterouter::tools {
namespace {

constexpr char kFarEnd[] = "network";
constexpr int kNotRun = 126;      // and more, of a shell for what it cannot start
constexpr int64_t kGoneMs = 2000; // for the end of a board whose wansim was killed

// ---- Making it ----

// Carries out commands of ip, a line each. Returns kDone, or the exit code after an error message.
__attribute__((format(printf, 1, 2))) int run_ip(const char *format, ...)
{
    FILE *commands = popen("PATH=$PATH:/usr/sbin:/sbin; exec ip -batch -", "we");
    if (commands == nullptr) {
        return fail(kFailed, "cannot start ip: %s", strerror(errno));
    }
    va_list arguments;
    va_start(arguments, format);
    vfprintf(commands, format, arguments);
    va_end(arguments);
    const int status = pclose(commands);
    if (WIFEXITED(status) && WEXITSTATUS(status) >= kNotRun) {
        return fail(kNoBoard, "--board needs the program ip, which Debian has in the package iproute2");
    }
    return status == 0 ? kDone : refuse_board("cannot make the interface; ip tells why", 0);
}

bool wait_until_free(const char *name)
{
    constexpr useconds_t kLookUs = 20'000;
    const int64_t end_ms = now_ms() + kGoneMs;
    while (if_nametoindex(name) != 0) {
        if (now_ms() > end_ms) {
            return false;
        }
        usleep(kLookUs);
    }
    return true;
}

// All that comes through the interface of that name; -1 on failure.
int open_far_end()
{
    Fd fd(socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, htons(ETH_P_IP)));
    sockaddr_ll address = {};
    address.sll_family = AF_PACKET;
    address.sll_protocol = htons(ETH_P_IP);
    address.sll_ifindex = static_cast<int>(if_nametoindex(kFarEnd));
    return fd && bind(fd.get(), reinterpret_cast<const sockaddr *>(&address), sizeof(address)) == 0
               ? fd.release()
               : -1;
}

// ---- Answers ----

constexpr size_t kEthernetHeader = 14;
constexpr size_t kIpHeader = 20;
constexpr size_t kPortHeader = 8; // of UDP, and of an ICMP echo
constexpr uint8_t kIcmp = 1;
constexpr uint8_t kUdp = 17;
constexpr uint8_t kEchoRequest = 8;
constexpr uint8_t kEchoReply = 0;
constexpr uint32_t kEchoPort = 7;

uint32_t number_at(const uint8_t *bytes) { return uint32_t{bytes[0]} << 8 | bytes[1]; }

void swap_bytes(uint8_t *a, uint8_t *b, size_t count) { std::swap_ranges(a, a + count, b); }

// The sum of a message whose first word has become smaller by that of the request's type.
void adapt_checksum(uint8_t *checksum)
{
    uint32_t sum = number_at(checksum) + (uint32_t{kEchoRequest} << 8);
    sum = (sum & 0xffff) + (sum >> 16);
    checksum[0] = static_cast<uint8_t>(sum >> 8);
    checksum[1] = static_cast<uint8_t>(sum);
}

bool turn_icmp(uint8_t *message)
{
    if (message[0] != kEchoRequest) {
        return false;
    }
    message[0] = kEchoReply;
    adapt_checksum(message + 2);
    return true;
}

bool turn_udp(uint8_t *message)
{
    if (number_at(message + 2) != kEchoPort || number_at(message) == kEchoPort) {
        return false;
    }
    swap_bytes(message, message + 2, 2);
    memset(message + 6, 0, 2); // none: a sender on the same machine leaves it to the hardware
    return true;
}

// Makes the answer of a frame; false when it has none.
bool turn(uint8_t *frame, size_t length)
{
    uint8_t *packet = frame + kEthernetHeader;
    if (length < kEthernetHeader + kIpHeader) {
        return false;
    }
    const size_t header = (packet[0] & 0x0fU) * 4;
    const bool fragment = (number_at(packet + 6) & 0x3fff) != 0;
    if (header < kIpHeader || length < kEthernetHeader + header + kPortHeader || fragment) {
        return false;
    }
    uint8_t *message = packet + header;
    const bool echo = packet[9] == kIcmp  ? turn_icmp(message)
                      : packet[9] == kUdp ? turn_udp(message)
                                          : false;
    swap_bytes(frame, frame + ETH_ALEN, ETH_ALEN);
    swap_bytes(packet + 12, packet + 16, sizeof(in_addr)); // which leaves the header's sum as it is
    return echo;
}

// ---- Its state ----

class Interface {
public:
    explicit Interface(const char *name) : fd_(open_socket(AF_INET, SOCK_DGRAM, 0))
    {
        snprintf(request_.ifr_name, sizeof(request_.ifr_name), "%s", name);
    }

    // The ioctl number is a template argument, since its type depends on the libc.
    template <unsigned long Request> bool set_address(const char *text)
    {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        inet_pton(AF_INET, text, &address.sin_addr);
        memcpy(&request_.ifr_addr, &address, sizeof(address));
        return ioctl(fd_.get(), Request, &request_) == 0;
    }

    bool set_up(bool up)
    {
        if (ioctl(fd_.get(), SIOCGIFFLAGS, &request_) != 0) {
            return false;
        }
        const int flags = request_.ifr_flags;
        request_.ifr_flags = static_cast<short>(up ? flags | IFF_UP : flags & ~IFF_UP);
        return ioctl(fd_.get(), SIOCSIFFLAGS, &request_) == 0;
    }

private:
    const Fd fd_;
    ifreq request_ = {};
};

} // namespace

int Cable::open(const char *interface_name)
{
    if (!wait_until_free(interface_name)) {
        return fail(kFailed, "there is an interface %s already; --interface gives another name",
                    interface_name);
    }
    const Fd home(::open("/proc/self/ns/net", O_RDONLY | O_CLOEXEC));
    if (unshare(CLONE_NEWNET) != 0) {
        return refuse_board("cannot make a network for the other end of its interface", errno);
    }
    // Without addresses of IPv6, whose packets would be counted.
    if (const int code = run_ip("link add %s type veth peer name %s netns %d\n"
                                "link set %s addrgenmode none up\n",
                                kFarEnd, interface_name, static_cast<int>(getppid()), kFarEnd);
        code != kDone) {
        return code;
    }
    name_ = interface_name;
    far_end_ = open_far_end();
    if (far_end_ < 0 || setns(home.get(), CLONE_NEWNET) != 0) {
        return refuse_board("cannot open the other end of its interface", errno);
    }
    // As a modem's, which has no neighbours to ask for.
    return run_ip("link set %s address 02:00:00:00:00:01 addrgenmode none arp off\n", interface_name);
}

Cable::~Cable()
{
    if (name_ != nullptr && if_nametoindex(name_) != 0) { // unless a user has removed it
        run_ip("link del %s\n", name_);
    }
    if (far_end_ >= 0) { // which its network, and with it the cable, would not outlive
        close(far_end_);
    }
}

void Cable::answer() const
{
    uint8_t frame[2048];
    const ssize_t length = read(far_end_, frame, sizeof(frame));
    if (length > 0 && turn(frame, static_cast<size_t>(length))) {
        // A packet that is lost is no failure of a network.
        ignore(write(far_end_, frame, static_cast<size_t>(length)), "lost");
    }
}

void follow_link(const lct_link_status &link)
{
    const char *name = link.interface_name;
    Interface interface(name);
    const bool connected = link.link_status == LCT_LINK_CONNECTED;
    const bool followed =
        connected ? interface.set_address<SIOCSIFADDR>(link.ip) &&
                        interface.set_address<SIOCSIFNETMASK>(link.mask) && interface.set_up(true)
                  : interface.set_up(false) && interface.set_address<SIOCSIFADDR>("0.0.0.0");
    if (!followed) {
        note("cannot set %s %s: %s", name, connected ? "up" : "down", strerror(errno));
    }
}

} // namespace lterouter::tools
