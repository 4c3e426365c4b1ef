// The modem: AT commands on one port, frames of an image on the other.
#pragma once

#include "common/control.h"
#include "common/record.h"
#include "lc_up.h"
#include "modemsim/fault.h"
#include "modemsim/port.h"

namespace lterouter::tools {

struct Settings {
    char data_port[128] = LC_UP_DATA_PORT;
    char at_port[128] = LC_UP_AT_PORT;
    char image[256] = ""; // file for the image; empty: none
    uint32_t size = 0;    // of the image, which a real image's header contains; 0: not known
    uint32_t echo = 1;    // of AT commands
    uint32_t restart_ms = 1000;
    uint32_t busy = 0; // status commands answered as not done yet
    FaultRules faults;
    ControlPath control = ""; // empty: beside the data port
    char script[256] = "";    // empty: none
};

class Modem {
public:
    explicit Modem(Settings *settings);
    ~Modem();
    Modem(const Modem &) = delete;
    Modem &operator=(const Modem &) = delete;

    // Makes the ports. Returns kDone, or the exit code after an error message.
    int start();
    // Each returns false when the modem cannot go on; the reason has been printed.
    bool serve_at();
    bool serve_data();
    // The host stopped in the middle of a frame.
    void drop_partial_frame();

    // Adds its state.
    void tell(ControlAnswer &answer) const;

    const Port &at() const { return at_; }
    const Port &data() const { return data_; }
    bool frame_is_partial() const { return filled_ != 0; }

private:
    enum class State {
        kNormal,
        kUpgrade, // may begin
        kReceiving,
        kComplete, // ended
        kTold,     // the host has been told of it
        kUpgraded
    };

    static bool claim(Port &port);
    static bool appear(Port &port);
    bool unplug(uint32_t ms, bool both);
    bool restart(State state, uint32_t ms);
    bool expect(int64_t place);

    bool run_command(const char *command);
    bool answer_start();
    bool answer_status();
    bool answer_at(const char *text);

    bool handle_frame();
    void tell_frame(uint32_t index, bool is_command, const char *status, const FaultRule &rule) const;
    void await_delivery() const;
    const char *judge_frame(uint32_t index, uint32_t type);
    const char *begin();
    const char *take_piece(uint32_t index);
    const char *end();
    bool answer_frame(const FaultRule &rule, int64_t place, uint32_t index, uint32_t type,
                      const char *status);
    bool misbehave(const FaultRule &rule, uint32_t index, uint32_t type, const char *status);
    bool respond(uint32_t index, uint32_t type, const char *status);

    Settings &settings_;
    Port at_;
    Port data_;
    State state_ = State::kNormal;

    char command_[128];
    size_t command_length_ = 0;

    lc_up_frame frame_;
    size_t filled_ = 0; // bytes of frame_

    int image_ = -1;
    uint32_t next_piece_ = 0;
    uint32_t last_length_ = 0; // the header's
    uint64_t received_ = 0;
};

// Adds the fault, if there is one.
void tell_fault(Record &told, const FaultRule &rule);

// Sleeps; false as soon as a signal asks for the end.
bool pause_ms(uint32_t ms);

} // namespace lterouter::tools
