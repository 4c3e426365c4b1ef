// The service against a model without deltas: each timer expires at an absolute tick, and timers of one
// tick in the order in which they were inserted.

#include "support/counted_memory.h"
#include "support/timers.h"

#include <algorithm>
#include <array>
#include <deque>
#include <random>
#include <set>

namespace model_test {

using namespace testing_support;

namespace {

constexpr int kSteps = 100000;
constexpr size_t kMostTimers = 40;
constexpr size_t kStaleIds = 200;

class Model {
public:
    struct Running {
        timer_id id;
        uint32_t repeat;
        int64_t ticks;
        uintptr_t arg;
        int64_t expiry;
        uint64_t turn;
    };

    // What the id's node is to be; 0 for a new one.
    uintptr_t next_node() const { return parked_.empty() ? 0 : parked_.front(); }
    size_t size() const { return queue_.size(); }

    void start(timer_id id, const timer &descriptor)
    {
        if (!parked_.empty()) {
            parked_.pop_front();
        }
        put({id, descriptor.repeat, descriptor.interval / 50, descriptor.arg, 0, 0},
            descriptor.interval / 50);
    }

    bool runs(timer_id id) const { return find(id) != queue_.end(); }

    void stop(timer_id id) { park(find(id)); }

    // What fires. Of timers that are late only the first does: the others are not due now.
    Fired tick()
    {
        Fired fired;
        ++now_;
        if (queue_.empty() || queue_.begin()->expiry > now_) {
            return fired;
        }
        do {
            const Running first = *queue_.begin();
            fired.push_back(first.arg);
            if (first.repeat == kRepeating) {
                queue_.erase(queue_.begin());
                put(first, std::max<int64_t>(first.ticks, 1));
            } else {
                park(queue_.begin());
            }
        } while (!queue_.empty() && queue_.begin()->expiry == now_);
        return fired;
    }

    timer_id any(std::mt19937 &random) const
    {
        return std::next(queue_.begin(), static_cast<ptrdiff_t>(random() % queue_.size()))->id;
    }

    Deltas deltas() const
    {
        Deltas result;
        int64_t before = now_;
        for (const Running &running : queue_) {
            result.push_back(static_cast<int32_t>(running.expiry - before));
            before = running.expiry;
        }
        return result;
    }
    Nodes running() const
    {
        Nodes nodes;
        for (const Running &running : queue_) {
            nodes.push_back(running.id.node);
        }
        return nodes;
    }
    Nodes parked() const { return {parked_.begin(), parked_.end()}; }
    Counts counts() const
    {
        const auto repeating = static_cast<uint32_t>(
            std::count_if(queue_.begin(), queue_.end(),
                          [](const Running &running) { return running.repeat == kRepeating; }));
        return {repeating, static_cast<uint32_t>(queue_.size()) - repeating};
    }

private:
    struct Sooner {
        bool operator()(const Running &a, const Running &b) const
        {
            return std::pair(a.expiry, a.turn) < std::pair(b.expiry, b.turn);
        }
    };
    using Queue = std::set<Running, Sooner>;

    Queue::const_iterator find(timer_id id) const
    {
        return std::find_if(queue_.begin(), queue_.end(), [id](const Running &running) {
            return running.id.node == id.node && running.id.stamp == id.stamp;
        });
    }

    void put(Running running, int64_t ticks)
    {
        running.expiry = now_ + ticks;
        running.turn = ++turns_;
        queue_.insert(running);
    }

    void park(Queue::const_iterator place)
    {
        parked_.push_front(place->id.node);
        queue_.erase(place);
    }

    int64_t now_ = 0;
    uint64_t turns_ = 0;
    Queue queue_;
    std::deque<uintptr_t> parked_; // the one to be used next first
};

class TimerModel : public Timers {
protected:
    void start()
    {
        timer descriptor =
            described(any_interval(), random_() % 3 == 0 ? kRepeating : kOnce, ++last_arg_);
        const uintptr_t node = model_.next_node();
        const uint32_t stamp = g_clock.stamp();
        timer_id id = {};
        memory().take();
        ASSERT_EQ(start_timer(&descriptor, &id), TIMER_SUCCESS);
        ASSERT_EQ(id.stamp, stamp);
        ASSERT_NE(id.node, 0U);
        if (node != 0) {
            ASSERT_EQ(id.node, node);
            ASSERT_TRUE(memory().take().empty());
        }
        model_.start(id, descriptor);
        ids_.push_back(id);
        if (ids_.size() > kStaleIds) {
            ids_.pop_front();
        }
    }

    void stop_one()
    {
        const timer_id id = model_.any(random_);
        ASSERT_EQ(stop(id), TIMER_SUCCESS);
        model_.stop(id);
    }

    // Of any id given lately; most are stale.
    void look_at_one()
    {
        const timer_id id = ids_[random_() % ids_.size()];
        if (model_.runs(id)) {
            ++alive_;
            ASSERT_EQ(exists(id), TIMER_SUCCESS);
        } else {
            ++stale_;
            ASSERT_EQ(exists(id), TIMER_ERR_NO_TIMER);
            ASSERT_EQ(stop(id), TIMER_ERR_NO_TIMER);
        }
    }

    void tick()
    {
        ASSERT_TRUE(ticks().pass());
        const Fired fired = model_.tick();
        fired_ += fired.size();
        ASSERT_EQ(take_fired(), fired);
    }

    // A step of any kind. Phases of many starts, and of few, take turns.
    void step(int number)
    {
        const bool grows = number / 500 % 2 == 0;
        const unsigned kind = static_cast<unsigned>(random_() % 100);
        if (kind < (grows ? 45 : 15) && model_.size() < kMostTimers) {
            start();
        } else if (kind < 55 && model_.size() > 0) {
            stop_one();
        } else if (kind < 70 && !ids_.empty()) {
            look_at_one();
        } else {
            tick();
        }
    }

    void compare()
    {
        ASSERT_EQ(deltas(), model_.deltas());
        ASSERT_EQ(running_nodes(), model_.running());
        ASSERT_EQ(parked_nodes(), model_.parked());
        ASSERT_EQ(counts(), model_.counts());
    }

    uint64_t alive_ = 0;
    uint64_t stale_ = 0;
    uint64_t fired_ = 0;

private:
    // Mostly a few ticks, so that many expire together; now and then none, or very many.
    uint32_t any_interval()
    {
        static constexpr std::array<uint32_t, 4> kMost = {400, 400, 2000, 0xFFFFFFFF};
        return random_() % 10 == 0 ? static_cast<uint32_t>(random_() % 50)
                                   : static_cast<uint32_t>(random_()) % kMost[random_() % 4];
    }

    std::mt19937 random_{20260};
    Model model_;
    std::deque<timer_id> ids_;
    uintptr_t last_arg_ = 0;
};

} // namespace

TEST_F(TimerModel, random_steps_do_what_the_model_does)
{
    for (int number = 0; number < kSteps && !HasFatalFailure(); ++number) {
        SCOPED_TRACE(number);
        step(number);
        compare();
    }
    // It was a test of something.
    EXPECT_GT(fired_, 10000U);
    EXPECT_GT(alive_, 1000U);
    EXPECT_GT(stale_, 5000U);
}

} // namespace model_test
