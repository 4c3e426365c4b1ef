// Waiting for another thread or process. Only for events that must happen: a test that something does
// not happen needs a later event, before which it would have happened.
#pragma once

#include <chrono>
#include <thread>

namespace testing_support {

template <typename Predicate> bool eventually(Predicate predicate)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!predicate()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    return true;
}

} // namespace testing_support
