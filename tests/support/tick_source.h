// Manual ticks for a thread that sleeps between ticks, so that no time has to pass.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace testing_support {

class TickSource {
public:
    // For the thread, in place of its sleep: returns when a tick is due.
    void sleep()
    {
        std::unique_lock guard(mutex_);
        if (due_ == 0) {
            asleep_ = true;
            changed_.notify_all();
            // In pieces: between them ThreadSanitizer hands over the signals that came during one.
            while (
                !changed_.wait_for(guard, std::chrono::milliseconds(10), [this] { return due_ > 0; })) {
            }
            asleep_ = false;
        }
        --due_;
    }

    // For the thread: it sleeps no more.
    void end()
    {
        const std::lock_guard guard(mutex_);
        ended_ = true;
        changed_.notify_all();
    }

    // Returns when the thread has done so many ticks and sleeps again, or false: it has ended.
    bool pass(unsigned count = 1)
    {
        std::unique_lock guard(mutex_);
        due_ += count;
        changed_.notify_all();
        changed_.wait(guard, [this] { return ended_ || (asleep_ && due_ == 0); });
        return !ended_;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    unsigned due_ = 0;
    bool asleep_ = false;
    bool ended_ = false;
};

// Never destroyed: the thread may sleep until the very end of the process.
inline TickSource &ticks()
{
    static auto *instance = new TickSource;
    return *instance;
}

} // namespace testing_support
