#include "support/measure.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
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
constexpr int kCountedTurns = 3;

double seconds_of(const Operation &operation)
{
    const auto start = Clock::now();
    operation();
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// fraction: 0.5 for the median.
double quantile(Seconds &samples, double fraction)
{
    const auto at =
        samples.begin() + static_cast<ptrdiff_t>(fraction * static_cast<double>(samples.size() - 1));
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

double take_turn(const Contender &contender)
{
    contender.reset();
    const double timed = seconds_of(contender.operation);
    return contender.seconds ? contender.seconds() : timed;
}

// What each contender took, round by round.
std::vector<Seconds> run(const std::vector<Contender> &contenders, double seconds, size_t least_rounds)
{
    std::vector<Seconds> laps(contenders.size());
    const auto end = Clock::now() + std::chrono::duration<double>(seconds);
    for (size_t round = 0; round < least_rounds || (Clock::now() < end && round < kMostRounds);
         ++round) {
        for (size_t i = 0; i < contenders.size(); ++i) {
            laps[i].push_back(take_turn(contenders[i]));
        }
    }
    return laps;
}

void count_instructions(const Race &race, unsigned size)
{
    const Contender &ours = race.contenders.front();
    take_turn(ours); // what is done on first use only
    const std::string what =
        race.name + "|" + std::to_string(size) + "|" + std::to_string(race.batch(size));
    // More than once: threads that meet do not always do so in the same order.
    for (int turn = 0; turn < kCountedTurns; ++turn) {
        ours.reset();
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
        run(race.contenders, kWarmUpSeconds, 1);
        std::vector<Seconds> laps = run(race.contenders, kRaceSeconds, kLeastRounds);
        const double microseconds = 1e6 / race.batch(size);
        for (size_t i = 0; i < laps.size(); ++i) {
            const auto &[name, operation, goal, reset, seconds] = race.contenders[i];
            printf("{\"work\":\"%s\",\"size\":%u,\"by\":\"%s\",\"unit\":\"us\",\"median\":%.4f,"
                   "\"p99\":%.4f,\"goal\":%.2f}\n",
                   race.name.c_str(), size, name.c_str(),
                   (quantile(laps[i], 0.5) - clock) * microseconds,
                   (quantile(laps[i], 0.99) - clock) * microseconds, goal);
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
