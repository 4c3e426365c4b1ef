#include "wansim/sim.h"

#include <algorithm>
#include <cstring>

namespace lterouter::tools {
namespace {

constexpr int32_t kWrong = -2;
constexpr int32_t kLocked = -3;
constexpr int32_t kNoPin = -4;

constexpr size_t kShortestPin = 4;
constexpr size_t kLongestPin = 8;

bool is_digit(char ch) { return ch >= '0' && ch <= '9'; }

bool is_pin(std::string_view text)
{
    return text.size() >= kShortestPin && text.size() <= kLongestPin &&
           std::all_of(text.begin(), text.end(), is_digit);
}

} // namespace

Sim::Sim(SimState state, std::string_view pin, std::string_view puk)
    : state_(state), asks_(state == SimState::kPinLocked), puk_(puk)
{
    memcpy(pin_, pin.data(), pin.size());
}

void Sim::take_out()
{
    if (state_ != SimState::kAbsent) {
        outside_ = state_;
        state_ = SimState::kAbsent;
    }
}

void Sim::put_in()
{
    if (state_ == SimState::kAbsent) {
        state_ = outside_ == SimState::kUsable && asks_ ? SimState::kPinLocked : outside_;
    }
}

const char *Sim::status() const
{
    switch (state_) {
    case SimState::kUsable:
        return asks_ ? "pin_enable" : "sim_ready";
    case SimState::kPinLocked:
        return "sim_pin";
    case SimState::kPukLocked:
        return "sim_puk";
    case SimState::kDead:
        return "sim_locked";
    case SimState::kAbsent:
        break;
    }
    return "sim_absent";
}

int32_t Sim::set_asking(bool asks, std::string_view pin)
{
    const int32_t result = check_pin(pin);
    if (result == 0) {
        asks_ = asks;
    }
    return result;
}

int32_t Sim::set_asking(bool asks)
{
    if (!usable()) {
        return kLocked;
    }
    asks_ = asks;
    return 0;
}

int32_t Sim::change_pin(std::string_view old_pin, std::string_view new_pin)
{
    if (!is_pin(new_pin)) {
        return kNoPin;
    }
    const int32_t result = state_ == SimState::kPukLocked ? check_puk(old_pin) : check_pin(old_pin);
    if (result == 0) {
        memset(pin_, 0, sizeof(pin_));
        memcpy(pin_, new_pin.data(), new_pin.size());
    }
    return result;
}

int32_t Sim::check_pin(std::string_view pin)
{
    if (state_ != SimState::kUsable && state_ != SimState::kPinLocked) {
        return kLocked;
    }
    if (pin == std::string_view(pin_)) {
        state_ = SimState::kUsable;
        pin_tries_left_ = kPinTries;
        return 0;
    }
    if (--pin_tries_left_ == 0) {
        state_ = SimState::kPukLocked;
    }
    return kWrong;
}

int32_t Sim::check_puk(std::string_view puk)
{
    if (puk == puk_) {
        state_ = SimState::kUsable;
        pin_tries_left_ = kPinTries;
        puk_tries_left_ = kPukTries;
        return 0;
    }
    if (--puk_tries_left_ == 0) {
        state_ = SimState::kDead;
    }
    return kWrong;
}

} // namespace lterouter::tools
