// Processes that work beside the measuring one, on the same CPU, and what they wait for each other
// with.
#pragma once

#include <atomic>
#include <functional>
#include <new>
#include <semaphore.h>
#include <sys/mman.h>

namespace bench {

// Starts a process that does the work and is killed when this one ends. Before the library is started
// here: the child would take its endpoint for its own.
pid_t start_process(const std::function<void()> &work);

// For the end of work that goes on in other threads.
[[noreturn]] void sleep_for_ever();

// Zeroed, in memory that is shared with the processes started after it.
template <typename T> T &make_shared_with_processes()
{
    void *const room =
        mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    return *(room != MAP_FAILED ? new (room) T() : throw std::bad_alloc());
}

// What one waits for of another. Shared.
class Signal {
public:
    Signal();
    void give();
    void await();

private:
    sem_t semaphore_;
};

// What one waits for of many. Shared.
class Tally {
public:
    void expect(unsigned count);
    void add();   // the last one that is expected ends the waiting
    void await(); // for all that have been expected since it was last called; none: does not wait

private:
    std::atomic<unsigned> left_ = 0;
    Signal complete_;
    bool awaited_ = false;
};

} // namespace bench
