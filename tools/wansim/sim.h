// The SIM card: whether it asks for its PIN, and its states after wrong tries.
#pragma once

#include <cstdint>
#include <string_view>

namespace lterouter::tools {

enum class SimState : uint32_t {
    kUsable,
    kPinLocked, // waits for its PIN
    kPukLocked, // after three wrong PINs
    kDead,      // after ten wrong PUKs
    kAbsent,
};

constexpr uint32_t kPinTries = 3;
constexpr uint32_t kPukTries = 10;

class Sim {
public:
    Sim(SimState state, std::string_view pin, std::string_view puk);

    bool usable() const { return state_ == SimState::kUsable; }
    // Out of the modem, and back: what is locked stays locked, and what asks for its PIN does again.
    void take_out();
    void put_in();
    // The state's name in the RAM store.
    const char *status() const;

    // The right PIN unlocks the card too. Each returns the result for the client: 0, or why not.
    int32_t set_asking(bool asks, std::string_view pin);
    int32_t set_asking(bool asks);
    // On a card that is locked for its PUK, old_pin is the PUK.
    int32_t change_pin(std::string_view old_pin, std::string_view new_pin);

private:
    int32_t check_pin(std::string_view pin);
    int32_t check_puk(std::string_view puk);

    SimState state_;
    SimState outside_ = SimState::kUsable; // of the card that is out
    bool asks_ = false;
    uint32_t pin_tries_left_ = kPinTries;
    uint32_t puk_tries_left_ = kPukTries;
    char pin_[9] = {};
    const std::string_view puk_;
};

} // namespace lterouter::tools
