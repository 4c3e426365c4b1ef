// The modem and its link: their state and its publication.
#pragma once

#include "wansim/settings.h"
#include "wansim/sim.h"

namespace lterouter::tools {

// On the worker's thread alone.
class Modem {
public:
    // Stores the parameters from which other processes read the modem's state.
    explicit Modem(const Settings &settings);
    // Removes those that are only valid while the WAN manager runs.
    ~Modem();
    Modem(const Modem &) = delete;
    Modem &operator=(const Modem &) = delete;

    // Connects after the delay; a link that is up or on its way is only announced again. False without
    // a SIM that can be used, or with the radio off.
    bool connect();
    void disconnect();
    // The network has ended the link, or the link is on its way and fails.
    void lose_link();
    // The delay is over.
    void alarm();

    // Publishes that the interface is up or down; a link ends with its interface.
    void switch_interface(bool up);
    void switch_radio(bool on);

    // Instead of what follows from the link; 99 is none.
    void set_signal(uint32_t rssi);
    void take_card_out();

    uint32_t link_status() const { return link_status_; }
    bool radio_on() const { return radio_on_; }

    Sim &sim() { return sim_; }
    // To be called after what may have changed the SIM.
    void publish_sim();

    const char *imei() const { return settings_.imei; }
    const char *imsi() const { return settings_.imsi; }
    const char *signal() const;
    const char *operator_name() const { return settings_.operator_name; }

private:
    void become(uint32_t link_status);
    void publish_signal();

    const Settings &settings_;
    Sim sim_;
    bool radio_on_ = true;
    uint32_t link_status_ = LCT_LINK_DISCONNECTED;
    char set_signal_[4] = ""; // empty: it was not set
};

} // namespace lterouter::tools
