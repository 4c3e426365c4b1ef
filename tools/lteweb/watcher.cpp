#include "lteweb/watcher.h"

#include "common/clock.h"
#include "common/command.h"
#include "common/wan_manager.h"
#include "lc_ipc_msg.h"
#include "lc_nv.h"
#include "lc_pthread.h"
#include "ltectl/endpoints.h"
#include "support/fd.h"
#include "support/socket.h"

#include <algorithm>
#include <arpa/inet.h>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <net/if.h>
#include <poll.h>
#include <sys/ioctl.h>

namespace lterouter::tools {
namespace {

constexpr uint32_t kSendLimitMs = 500; // for a WAN manager that does not read
constexpr uint32_t kAnswerMs = 2000;
constexpr int64_t kLookMs = 2000;
constexpr int64_t kSilentLookMs = 15000;
constexpr int64_t kGlanceMs = 250;
constexpr time_t kGraceSeconds = 2;
constexpr int64_t kSecondMs = 1000;

static_assert(sizeof(News) <= PIPE_BUF); // written whole

// Set before the thread starts.
int g_news = -1;
int g_stop = -1;
const char *g_interface = "";
int64_t g_sample_ms = 0;

// A full pipe loses news: the WAN manager must not have to wait for a browser.
void tell(const News &news)
{
    if (write(g_news, &news, sizeof(news)) < 0) {
        return;
    }
}

// The link's state that was told last. Also the library's receive thread sets it.
constexpr uint32_t kNothing = UINT32_MAX;
std::atomic<uint32_t> g_told{kNothing};

void tell_link(const lct_link_status &link)
{
    News news = {};
    news.kind = NewsKind::kLink;
    news.link = link;
    g_told = link.link_status;
    tell(news);
}

uint32_t on_event(const lct_event *event)
{
    if (event->event == LCT_EVENT_LINK_STATUS) {
        tell_link(*static_cast<const lct_link_status *>(event->data));
    } else {
        News news = {};
        news.kind = NewsKind::kInterface;
        memcpy(&news.interface, event->data, sizeof(news.interface));
        tell(news);
    }
    return 0;
}

const lct_config g_config = {.reserved = {}, .callback = on_event};

// ---- A link whose event was missed ----

// The number of the question is a template argument, since its type depends on the libc.
template <unsigned long Question> bool ask_interface(int fd, AddressText &text)
{
    ifreq request = {};
    snprintf(request.ifr_name, sizeof(request.ifr_name), "%s", g_interface);
    if (ioctl(fd, Question, &request) != 0) {
        return false;
    }
    sockaddr_in address;
    memcpy(&address, &request.ifr_addr, sizeof(address));
    return inet_ntop(AF_INET, &address.sin_addr, text, sizeof(text)) != nullptr;
}

// What the kernel tells of its interface: the WAN manager tells addresses only in the event.
void add_addresses(lct_link_status &link)
{
    const Fd fd(open_socket(AF_INET, SOCK_DGRAM, 0));
    if (ask_interface<SIOCGIFADDR>(fd.get(), link.ip)) {
        ask_interface<SIOCGIFNETMASK>(fd.get(), link.mask);
        snprintf(link.interface_name, sizeof(link.interface_name), "%s", g_interface);
    }
}

std::optional<uint32_t> stored_link_state()
{
    char value[16];
    uint32_t state = 0;
    const bool stored = nvmram_readnv(LCT_PARAM_LINK, value, sizeof(value)) == NV_SUCCESS &&
                        parse_number(value, 0, UINT8_MAX, &state);
    return stored ? std::optional(state) : std::nullopt;
}

// ---- Whether the WAN manager is there ----

// Subscribing tells, and it is idempotent.
bool subscribe(uint32_t notification)
{
    const ipc_addr address = wan_manager_address();
    return ipc_register_notify(&address, notification, kAnswerMs) == IPC_SUCCESS;
}

void tell_presence(bool there)
{
    News news = {};
    news.kind = there ? NewsKind::kBack : NewsKind::kGone;
    tell(news);
}

class Presence {
public:
    // At once when another WAN manager is there: what it tells before it has subscribers is missed.
    void look()
    {
        const uint32_t socket = socket_at(wan_manager_address()).value_or(0);
        if (socket == socket_ && now_ms() < next_ms_) {
            return;
        }
        if (socket != socket_) {
            g_told = kNothing;
        }
        socket_ = socket;
        const bool there =
            subscribe(WM_MSG_LINK_STATUS_NOTIFY) && subscribe(WM_MSG_IFACE_STATUS_NOTIFY);
        if (there != there_) {
            tell_presence(there);
        }
        there_ = there;
        if (there) {
            look_at_link();
        }
        // One that hangs keeps every question in its queue, which has room for ten messages of all
        // processes.
        const bool hangs = socket != 0 && !there;
        next_ms_ = now_ms() + (hangs ? kSilentLookMs : kLookMs);
    }

private:
    // Of a state that has just changed the event may be on its way.
    void look_at_link()
    {
        const std::optional<uint32_t> state = stored_link_state();
        if (state && state != g_told && (g_told == kNothing || state == seen_)) {
            lct_link_status link = {};
            link.link_status = *state;
            if (*state == LCT_LINK_CONNECTED) {
                add_addresses(link);
            }
            tell_link(link);
        }
        seen_ = state;
    }

    uint32_t socket_ = 0;
    int64_t next_ms_ = 0;
    std::optional<bool> there_;
    std::optional<uint32_t> seen_;
};

// ---- Samples ----

void tell_sample()
{
    News news = {};
    news.kind = NewsKind::kSample;
    Sample &sample = news.sample;
    sample.time_ms = now_ms();
    char text[16];
    sample.has_signal = lct_net_signal_level_get_req(text, sizeof(text)) == 0 &&
                        parse_number(text, 0, INT32_MAX, &sample.signal);
    if_stats counters = {};
    sample.has_traffic = lct_readlist_proc(g_interface, &counters) == 0;
    sample.rx_bytes = counters.rx_bytes;
    sample.tx_bytes = counters.tx_bytes;
    tell(news);
}

// ---- The thread ----

// True when it is asked to end.
bool ends_before(int64_t moment_ms)
{
    const int64_t left = std::max<int64_t>(moment_ms - now_ms(), 0);
    pollfd stop = {g_stop, POLLIN, 0};
    return poll(&stop, 1, static_cast<int>(std::min<int64_t>(left, INT_MAX))) > 0;
}

void watch()
{
    Presence presence;
    int64_t next_look = now_ms();
    int64_t next_sample = next_look;
    while (!ends_before(std::min(next_look, next_sample))) {
        if (now_ms() >= next_sample) {
            next_sample = now_ms() + g_sample_ms;
            tell_sample();
        }
        if (now_ms() >= next_look) {
            presence.look();
            next_look = now_ms() + kGlanceMs;
        }
    }
}

void *run(void *)
{
    ipc_msg_set_send_limit(kSendLimitMs);
    // Also without it samples can be taken; what it did not start fails again at each look.
    const bool started = lct_module_init(&g_config) == 0;
    watch();
    if (started) {
        lct_deregister();
        lct_module_fin();
    }
    return nullptr;
}

} // namespace

Watcher::~Watcher() { stop(); }

bool Watcher::start(const char *interface_name, uint32_t sample_seconds)
{
    int news[2];
    int stop[2];
    if (pipe2(news, O_CLOEXEC | O_NONBLOCK) != 0) {
        return false;
    }
    news_.reset(news[0]);
    g_news = news[1];
    if (pipe2(stop, O_CLOEXEC) != 0) {
        return false;
    }
    g_stop = stop[0];
    stop_.reset(stop[1]);
    g_interface = interface_name;
    g_sample_ms = sample_seconds * kSecondMs;
    const int error = lc_pthread_create(&thread_, nullptr, run, nullptr);
    errno = error;
    running_ = error == 0;
    return running_;
}

bool Watcher::take(News *news)
{
    return read(news_.get(), news, sizeof(*news)) == static_cast<ssize_t>(sizeof(*news));
}

bool Watcher::stop()
{
    stop_.reset();
    if (!running_) {
        return true;
    }
    timespec deadline;
    clock_gettime(CLOCK_REALTIME, &deadline);
    deadline.tv_sec += kGraceSeconds;
    running_ = pthread_timedjoin_np(thread_, nullptr, &deadline) != 0;
    return !running_;
}

} // namespace lterouter::tools
