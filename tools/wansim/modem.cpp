#include "wansim/modem.h"

#include "common/wan_manager.h"
#include "lc_nv.h"
#include "wansim/cable.h"
#include "wansim/mailbox.h"

#include <cstdio>
#include <cstring>
#include <sys/time.h>
#include <unistd.h>

namespace lterouter::tools {
namespace {

constexpr uint32_t kParameterSize = 128;
constexpr char kSignalParameter[] = LCT_PARAM_SIGNAL;
constexpr char kStatusParameter[] = LCT_PARAM_SIM;
constexpr char kLinkParameter[] = LCT_PARAM_LINK;

constexpr char kIdleSignal[] = "18";
constexpr char kConnectedSignal[] = "23";
constexpr char kNoSignal[] = "99";

// As a modem reports its signal.
struct SignalReport {
    char text[32];
};

void store(const char *name, const char *value) { nvmram_writenv(name, value, kParameterSize); }

void store_link(uint32_t link_status)
{
    char number[16];
    snprintf(number, sizeof(number), "%u", link_status);
    store(kLinkParameter, number);
}

void remove_parameter(const char *name)
{
    char path[sizeof(NVMRAM_DIR) + kParameterSize];
    snprintf(path, sizeof(path), "%s%s", NVMRAM_DIR, name);
    unlink(path);
}

template <typename Body> void publish(uint32_t msg_id, const Body &body)
{
    static_assert(sizeof(Body) <= IPC_MSG_MAX_BODY);
    const Message message = make_message(IPC_MSG_TYPE_ASYNC, msg_id, sizeof(Body));
    if (message != nullptr) {
        memcpy(ipc_msg_body(message.get()), &body, sizeof(Body));
        ipc_msg_notify(message.get(), sizeof(Body));
    }
}

void publish_interface(uint32_t readiness)
{
    lct_iface_status status = {};
    status.readiness = readiness;
    print_interface(status);
    publish(WM_MSG_IFACE_STATUS_NOTIFY, status);
}

// SIGALRM after delay_ms, which is not 0, instead of the one that may be due.
void set_alarm(uint32_t delay_ms)
{
    itimerval timer = {};
    timer.it_value.tv_sec = static_cast<time_t>(delay_ms / 1000);
    timer.it_value.tv_usec = static_cast<suseconds_t>(delay_ms % 1000 * 1000);
    setitimer(ITIMER_REAL, &timer, nullptr);
}

} // namespace

Modem::Modem(const Settings &settings)
    : settings_(settings), sim_(settings.sim, bounded(settings.pin), bounded(settings.puk))
{
    nvmram_init();
    store(kStatusParameter, sim_.status());
    store(kSignalParameter, signal());
    store(LCT_PARAM_IMEI, imei());
    store(LCT_PARAM_SYSLOG_SWITCH, "0");
    store_link(link_status_); // replaces the value of a WAN manager that was killed
}

Modem::~Modem()
{
    remove_parameter(kSignalParameter);
    remove_parameter(kStatusParameter);
    remove_parameter(kLinkParameter);
}

bool Modem::connect()
{
    if (!sim_.usable() || !radio_on_) {
        return false;
    }
    if (link_status_ != LCT_LINK_DISCONNECTED) {
        become(link_status_);
        return true;
    }
    publish_interface(kReady);
    become(LCT_LINK_CONNECTING);
    if (settings_.delay_ms == 0) {
        alarm();
    } else {
        set_alarm(settings_.delay_ms);
    }
    return true;
}

void Modem::disconnect()
{
    if (link_status_ == LCT_LINK_DISCONNECTED) {
        become(link_status_);
        return;
    }
    become(LCT_LINK_DISCONNECTING);
    lose_link();
}

void Modem::lose_link()
{
    if (link_status_ == LCT_LINK_DISCONNECTED) {
        return;
    }
    link_status_ = LCT_LINK_DISCONNECTED;
    publish_signal();
    become(LCT_LINK_DISCONNECTED);
    publish_interface(0);
}

void Modem::alarm()
{
    // The alarm is not cancelled when the link goes down.
    if (link_status_ != LCT_LINK_CONNECTING) {
        return;
    }
    // The signal first: clients take "connected" for the end of connecting.
    link_status_ = LCT_LINK_CONNECTED;
    publish_signal();
    become(LCT_LINK_CONNECTED);
}

void Modem::switch_interface(bool up)
{
    if (up) {
        publish_interface(kReady);
    } else if (link_status_ == LCT_LINK_DISCONNECTED) {
        publish_interface(0);
    } else {
        disconnect();
    }
}

void Modem::switch_radio(bool on)
{
    if (!on && link_status_ != LCT_LINK_DISCONNECTED) {
        disconnect();
    }
    radio_on_ = on;
    publish_signal();
}

void Modem::set_signal(uint32_t rssi)
{
    snprintf(set_signal_, sizeof(set_signal_), "%u", rssi % 100);
    publish_signal();
}

void Modem::take_card_out()
{
    lose_link();
    sim_.take_out();
    publish_sim();
}

const char *Modem::signal() const
{
    if (!radio_on_) {
        return kNoSignal;
    }
    if (set_signal_[0] != '\0') {
        return set_signal_;
    }
    return link_status_ == LCT_LINK_CONNECTED ? kConnectedSignal : kIdleSignal;
}

void Modem::publish_sim()
{
    if (nvram_match(kStatusParameter, sim_.status()) != NV_SUCCESS) {
        store(kStatusParameter, sim_.status());
        Record().word("event", "sim").word("status", sim_.status());
    }
}

// Addresses are published only while they are valid.
void Modem::become(uint32_t link_status)
{
    link_status_ = link_status;
    lct_link_status status = settings_.link;
    if (link_status != LCT_LINK_CONNECTED) {
        status = {};
        status.iface_type = settings_.link.iface_type;
        memcpy(status.interface_name, settings_.link.interface_name, sizeof(status.interface_name));
    }
    status.link_status = link_status;
    if (settings_.board) { // before anybody hears of it
        follow_link(status);
    }
    store_link(link_status);
    print_link(status);
    publish(WM_MSG_LINK_STATUS_NOTIFY, status);
}

// When it has changed.
void Modem::publish_signal()
{
    if (nvram_match(kSignalParameter, signal()) == NV_SUCCESS) {
        return;
    }
    store(kSignalParameter, signal());
    SignalReport report = {};
    snprintf(report.text, sizeof(report.text), "+CSQ: %s,99", signal());
    Record().word("event", "modem").word("report", report.text);
    publish(WM_MSG_MODEM_NOTIFY, report);
}

} // namespace lterouter::tools
