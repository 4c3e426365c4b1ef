// This process as a host of the LTE client.
#pragma once

#include <cstdint>

namespace lterouter::tools {

class Client {
public:
    Client() = default;
    // Ends the client in order.
    ~Client();
    Client(const Client &) = delete;
    Client &operator=(const Client &) = delete;

    enum class Events {
        kUnwanted, // the command only makes requests
        kWanted,   // they arrive at next_event
    };

    // Starts the client and finds out whether a WAN manager answers. Returns kDone, or the exit code
    // after saying what is wrong.
    int start(Events events);

private:
    bool started_ = false;
    bool subscribed_ = false;
};

// Subscribes this process at the WAN manager. Returns kDone, or the exit code after saying what is
// wrong.
int subscribe(uint32_t notification);

// Says that the WAN manager did not do what was asked, and where the reason stands; the exit code.
int refused(const char *request);

} // namespace lterouter::tools
