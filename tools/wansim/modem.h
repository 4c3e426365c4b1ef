// The modem and its link: what they are doing, and telling everyone.
#pragma once

#include "wansim/settings.h"

namespace lterouter::tools {

// On the worker's thread alone.
class Modem {
public:
    // Keeps the parameters that other processes read the modem's state from.
    explicit Modem(const Settings &settings);
    // Takes back those that do not outlive the WAN manager.
    ~Modem();
    Modem(const Modem &) = delete;
    Modem &operator=(const Modem &) = delete;

    // Connects after the delay; a link that is up or on its way is only announced again.
    void connect();
    void disconnect();
    // The delay is over.
    void alarm();

private:
    void become(uint32_t link_status);
    void change_signal(const char *level);

    const Settings &settings_;
    uint32_t link_status_ = LCT_LINK_DISCONNECTED;
};

} // namespace lterouter::tools
