#include "support/measure.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <numeric>
#include <random>
#include <sched.h>
#include <valgrind/callgrind.h>

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::vector<double>;

// Spent on each size, by all together, resets included.
constexpr double kWarmUpSeconds = 0.1;
constexpr double kRaceSeconds = 2;
constexpr size_t kLeastRounds = 5;
constexpr size_t kMostRounds = 50000;
// A turn shorter than this would be measured in steps of the clock.
constexpr double kLeastTurnSeconds = 10e-6;
// Fewer samples say nothing about the slowest of a hundred.
constexpr size_t kLeastForPercentile = 100;
constexpr int kCountedTurns = 3;

double seconds_of(const Operation &operation)
{
    const auto start = Clock::now();
    operation();
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// What a fraction of the samples does not exceed: 0.5 for the median.
double quantile(Seconds &samples, double fraction)
{
    const double rank = std::ceil(fraction * static_cast<double>(samples.size()));
    const auto at = samples.begin() + static_cast<ptrdiff_t>(rank) - 1;
    std::nth_element(samples.begin(), at, samples.end());
    return *at;
}

// What timing nothing takes.
double clock_seconds()
{
    Seconds samples(10000);
    for (double &sample : samples) {
        sample = seconds_of([] {});
    }
    return quantile(samples, 0.5);
}

double take_turn(const Contender &contender, size_t times)
{
    if (contender.reset) {
        contender.reset();
    }
    const double timed = seconds_of([&] {
        for (size_t i = 0; i < times; ++i) {
            contender.operation();
        }
    });
    return contender.seconds ? contender.seconds() : timed;
}

struct Effort {
    double seconds;
    size_t least_rounds;
    size_t times; // that an operation is done in a turn
};

// What each contender took, turn by turn.
std::vector<Seconds> run(const std::vector<Contender> &contenders, const Effort &effort)
{
    static std::minstd_rand random;
    std::vector<size_t> order(contenders.size());
    std::iota(order.begin(), order.end(), 0);
    std::vector<Seconds> laps(contenders.size());
    const auto end = Clock::now() + std::chrono::duration<double>(effort.seconds);
    for (size_t round = 0; round < effort.least_rounds || (Clock::now() < end && round < kMostRounds);
         ++round) {
        std::shuffle(order.begin(), order.end(), random);
        for (const size_t i : order) {
            laps[i].push_back(take_turn(contenders[i], effort.times));
        }
    }
    return laps;
}

// How often an operation is to be done in a turn, by what turns of one took.
size_t times_in_a_turn(const std::vector<Contender> &contenders, std::vector<Seconds> laps)
{
    double quickest = kLeastTurnSeconds;
    for (size_t i = 0; i < laps.size(); ++i) {
        if (contenders[i].reset || contenders[i].seconds) {
            return 1;
        }
        quickest = std::min(quickest, quantile(laps[i], 0.5));
    }
    return static_cast<size_t>(std::ceil(kLeastTurnSeconds / quickest));
}

void count_instructions(const Race &race, unsigned size)
{
    const Contender &ours = race.contenders.front();
    take_turn(ours, 1); // what is done on first use only
    const std::string what =
        race.name + "|" + std::to_string(size) + "|" + std::to_string(race.batch(size));
    // More than once: threads that meet do not always do so in the same order.
    for (int turn = 0; turn < kCountedTurns; ++turn) {
        if (ours.reset) {
            ours.reset();
        }
        CALLGRIND_DUMP_STATS_AT("what was before"); // zeroing the counts would leave some
        ours.operation();
        CALLGRIND_DUMP_STATS_AT(what.c_str());
    }
}

void pin_to_this_cpu()
{
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(static_cast<size_t>(sched_getcpu()), &set);
    require(sched_setaffinity(0, sizeof(set), &set) == 0, "pinning the process to a CPU");
}

} // namespace

void fail(const char *what)
{
    fprintf(stderr, "bench: failed: %s\n", what);
    exit(3);
}

unsigned once(unsigned) { return 1; }

void nothing(unsigned) {}

Report::Report(int argc, char **argv)
{
    counts_instructions_ = argc == 2 && strcmp(argv[1], "--instructions") == 0;
    if (argc > 1 && !counts_instructions_) {
        fprintf(stderr, "usage: %s [--instructions]\n", argv[0]);
        exit(2);
    }
    pin_to_this_cpu();
}

void Report::race(const Race &race) const
{
    const double clock = clock_seconds();
    for (const unsigned size : race.sizes) {
        race.prepare(size);
        if (counts_instructions_) {
            count_instructions(race, size);
            continue;
        }
        const size_t times =
            times_in_a_turn(race.contenders, run(race.contenders, {kWarmUpSeconds, 1, 1}));
        std::vector<Seconds> laps = run(race.contenders, {kRaceSeconds, kLeastRounds, times});
        const double microseconds = 1e6 / (static_cast<double>(times) * race.batch(size));
        for (size_t i = 0; i < laps.size(); ++i) {
            const Contender &contender = race.contenders[i];
            const double median = (quantile(laps[i], 0.5) - clock) * microseconds;
            const double p99 = (quantile(laps[i], 0.99) - clock) * microseconds;
            require(median > 0, "measuring what takes no longer than to look at the clock");
            printf("{\"work\":\"%s\",\"size\":%u,\"by\":\"%s\",\"unit\":\"us\",\"median\":%.4f,"
                   "\"p99\":%.4f,\"goal\":%.2f}\n",
                   race.name.c_str(), size, contender.name.c_str(), median,
                   laps[i].size() < kLeastForPercentile ? 0 : p99, contender.goal);
        }
        fflush(stdout);
    }
}

void Report::needs(const std::string &name, const char *unit, const std::vector<Need> &needs) const
{
    for (const Need &need : needs) {
        printf("{\"work\":\"%s\",\"by\":\"%s\",\"unit\":\"%s\",\"median\":%.1f,\"goal\":%.2f}\n",
               name.c_str(), need.name.c_str(), unit, need.amount, need.goal);
    }
    fflush(stdout);
}

} // namespace bench
