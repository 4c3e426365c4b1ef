// The queue between threads beside GLib's GAsyncQueue, which has no bound, and the bounded queue of the
// textbook. What is passed are messages that exist already.
#include "lc_ipc_mq.h"
#include "support/measure.h"
#include "support/process.h"

#include <atomic>
#include <condition_variable>
#include <deque>
#include <glib.h>
#include <memory>
#include <mutex>
#include <thread>

namespace {

constexpr unsigned kMessages = 1000;

// ---- The three ----

class OurQueue {
public:
    explicit OurQueue(uint32_t capacity)
    {
        ipc_mq_init();
        bench::require(ipc_mq_create(capacity, &queue_) == IPC_SUCCESS, "ipc_mq_create");
    }
    void send(ipc_msg_hdr *message) { demand(ipc_mq_send(queue_, message, 0, -1)); }
    ipc_msg_hdr *receive()
    {
        ipc_msg_hdr *message = nullptr;
        uint32_t result;
        while ((result = ipc_mq_recv(queue_, &message, -1)) == IPC_ERR_RESOURCE) {
            // another was faster
        }
        demand(result);
        return message;
    }

private:
    // In line: the others have nothing to check.
    static void demand(uint32_t result)
    {
        if (result != IPC_SUCCESS) {
            bench::require(false, "a call of the queue");
        }
    }

    mq_cb queue_ = nullptr; // lives as long as the process
};

class GlibQueue {
public:
    explicit GlibQueue(uint32_t) {}
    ~GlibQueue() { g_async_queue_unref(queue_); }
    GlibQueue(const GlibQueue &) = delete;
    GlibQueue &operator=(const GlibQueue &) = delete;

    void send(ipc_msg_hdr *message) { g_async_queue_push(queue_, message); }
    ipc_msg_hdr *receive() { return static_cast<ipc_msg_hdr *>(g_async_queue_pop(queue_)); }

private:
    GAsyncQueue *const queue_ = g_async_queue_new();
};

class TextbookQueue {
public:
    explicit TextbookQueue(uint32_t capacity) : capacity_(capacity) {}

    void send(ipc_msg_hdr *message)
    {
        {
            std::unique_lock lock(mutex_);
            not_full_.wait(lock, [this] { return messages_.size() < capacity_; });
            messages_.push_back(message);
        }
        not_empty_.notify_one();
    }
    ipc_msg_hdr *receive()
    {
        ipc_msg_hdr *message;
        {
            std::unique_lock lock(mutex_);
            not_empty_.wait(lock, [this] { return !messages_.empty(); });
            message = messages_.front();
            messages_.pop_front();
        }
        not_full_.notify_one();
        return message;
    }

private:
    const size_t capacity_;
    std::mutex mutex_;
    std::condition_variable not_full_;
    std::condition_variable not_empty_;
    std::deque<ipc_msg_hdr *> messages_;
};

// ---- What they do ----

ipc_msg_hdr g_ordinary;
ipc_msg_hdr g_last; // of what a producer sends at once
ipc_msg_hdr g_end;  // of all

// As many producers as consumers, and a queue between them.
template <typename Queue> class Passing {
public:
    Passing(unsigned pairs, uint32_t capacity) : queue_(capacity), starts_(pairs), consumers_(pairs)
    {
        for (unsigned i = 0; i < pairs; ++i) {
            threads_.emplace_back([this, i] { produce(starts_[i]); });
            threads_.emplace_back([this] { consume(); });
        }
    }
    ~Passing()
    {
        ending_ = true;
        for (bench::Signal &start : starts_) {
            start.give();
        }
        queue_.send(&g_end);
        for (std::thread &thread : threads_) {
            thread.join();
        }
        bench::require(received_ == expected_, "every message arrives");
    }
    Passing(const Passing &) = delete;
    Passing &operator=(const Passing &) = delete;

    // Passes kMessages through.
    void pass()
    {
        expected_ += kMessages;
        done_.expect(static_cast<unsigned>(starts_.size()));
        for (bench::Signal &start : starts_) {
            start.give();
        }
        done_.await();
    }

private:
    void produce(bench::Signal &start)
    {
        for (start.await(); !ending_; start.await()) {
            for (size_t i = kMessages / starts_.size(); i > 1; --i) {
                queue_.send(&g_ordinary);
            }
            queue_.send(&g_last);
        }
    }
    // The queue keeps its order: a producer's last message comes after all others of its own.
    void consume()
    {
        uint64_t count = 0;
        for (const ipc_msg_hdr *message; (message = queue_.receive()) != &g_end; ++count) {
            if (message == &g_last) {
                done_.add();
            }
        }
        received_ += count;
        if (--consumers_ != 0) {
            queue_.send(&g_end);
        }
    }

    Queue queue_;
    std::vector<bench::Signal> starts_;
    bench::Tally done_;
    std::atomic<bool> ending_ = false;
    std::atomic<size_t> consumers_;
    uint64_t expected_ = 0;
    std::atomic<uint64_t> received_ = 0;
    std::vector<std::thread> threads_;
};

template <typename Queue> class Bench {
public:
    void start(unsigned pairs, uint32_t capacity)
    {
        passing_.reset();
        passing_ = std::make_unique<Passing<Queue>>(pairs, capacity);
    }
    void stop() { passing_.reset(); }

    bench::Contender passing(const char *name)
    {
        return {name, [this] { passing_->pass(); }, 1};
    }
    bench::Contender turns(const char *name)
    {
        return {name,
                [this] {
                    for (unsigned i = 0; i < kMessages; ++i) {
                        alone_.send(&g_ordinary);
                        bench::require(alone_.receive() == &g_ordinary, "a message taken back");
                    }
                },
                1};
    }

private:
    Queue alone_{kMessages};
    std::unique_ptr<Passing<Queue>> passing_;
};

unsigned messages(unsigned) { return kMessages; }

} // namespace

int main(int argc, char **argv)
{
    const bench::Report report(argc, argv);
    Bench<OurQueue> ours;
    Bench<GlibQueue> glib;
    Bench<TextbookQueue> textbook;
    report.race({"queue: send and receive in one thread",
                 {1},
                 messages,
                 bench::nothing,
                 {ours.turns("lterouter"), glib.turns("GAsyncQueue"), textbook.turns("textbook")}});
    // With room for all: the library wakes one sender when a queue stops being full, so that several
    // that wait for room and then have no more to send could leave each other waiting.
    report.race(
        {"queue: between threads, so many to so many",
         {1, 4},
         messages,
         [&](unsigned pairs) {
             ours.start(pairs, kMessages);
             glib.start(pairs, kMessages);
             textbook.start(pairs, kMessages);
         },
         {ours.passing("lterouter"), glib.passing("GAsyncQueue"), textbook.passing("textbook")}});
    glib.stop();
    report.race({"queue: from thread to thread, room for so many",
                 {16},
                 messages,
                 [&](unsigned capacity) {
                     ours.start(1, capacity);
                     textbook.start(1, capacity);
                 },
                 {ours.passing("lterouter"), textbook.passing("textbook")}});
    return 0;
}
