#include "support/measure.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sched.h>

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kWarmUp = 2000;
constexpr int kSamples = 50000;
constexpr double kGrowthSeconds = 0.5; // spent on each size; at least one run
constexpr size_t kGrowthRuns = 100;
constexpr double kRaceSeconds = 1; // spent on each size, by all together
constexpr size_t kLeastRounds = 30;
constexpr size_t kMostRounds = 500;

double seconds_of(const Operation &operation)
{
    const auto start = Clock::now();
    operation();
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// fraction: 0.5 for the median.
double quantile(std::vector<double> &samples, double fraction)
{
    const auto at =
        samples.begin() + static_cast<ptrdiff_t>(fraction * static_cast<double>(samples.size() - 1));
    std::nth_element(samples.begin(), at, samples.end());
    return *at;
}

// What timing nothing takes.
double clock_seconds()
{
    std::vector<double> samples(10000);
    for (double &sample : samples) {
        sample = seconds_of([] {});
    }
    return quantile(samples, 0.5);
}

double median_seconds(const Operation &operation)
{
    std::vector<double> samples;
    double total = 0;
    while (samples.empty() || (total < kGrowthSeconds && samples.size() < kGrowthRuns)) {
        samples.push_back(seconds_of(operation));
        total += samples.back();
    }
    return quantile(samples, 0.5);
}

int pin_to_this_cpu()
{
    const int cpu = sched_getcpu();
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(static_cast<size_t>(cpu), &set);
    require(sched_setaffinity(0, sizeof(set), &set) == 0, "pinning the process to a CPU");
    return cpu;
}

double microseconds(double seconds) { return seconds * 1e6; }

} // namespace

void require(bool done, const char *what)
{
    if (!done) {
        fprintf(stderr, "bench: failed: %s\n", what);
        exit(3);
    }
}

Report::Report(const char *what, int argc, char **argv)
{
    json_ = argc == 2 && strcmp(argv[1], "--json") == 0;
    if (argc > 1 && !json_) {
        fprintf(stderr, "usage: %s [--json]\n", argv[0]);
        exit(2);
    }
    const int cpu = pin_to_this_cpu();
    if (!json_) {
        printf("== %s (pinned to CPU %d)\n", what, cpu);
    }
}

void Report::compare(const std::vector<Comparison> &comparisons)
{
    if (!json_) {
        printf("%-32s %10s %10s %10s %10s %7s %5s\n", "microseconds", "median", "99 %", "by hand",
               "99 %", "ratio", "goal");
    }
    const double clock = clock_seconds();
    for (const Comparison &comparison : comparisons) {
        std::vector<double> ours;
        std::vector<double> bare;
        for (int i = -kWarmUp; i < kSamples; ++i) {
            const double our_seconds = seconds_of(comparison.ours) - clock;
            const double bare_seconds = seconds_of(comparison.bare) - clock;
            if (i >= 0) {
                ours.push_back(our_seconds);
                bare.push_back(bare_seconds);
            }
        }
        show(comparison, ours, bare);
    }
}

void Report::show(const Comparison &comparison, std::vector<double> ours, std::vector<double> bare)
{
    const double median = quantile(ours, 0.5);
    const double bare_median = quantile(bare, 0.5);
    const double ratio = median / bare_median;
    missed_ = missed_ || ratio > comparison.goal;
    printf(json_ ? "{\"operation\":\"%s\",\"median_us\":%.3f,\"p99_us\":%.3f,\"bare_median_us\":%.3f,"
                   "\"bare_p99_us\":%.3f,\"ratio\":%.3f,\"goal\":%.2f}\n"
                 : "%-32s %10.2f %10.2f %10.2f %10.2f %7.2f %5.1f",
           comparison.name.c_str(), microseconds(median), microseconds(quantile(ours, 0.99)),
           microseconds(bare_median), microseconds(quantile(bare, 0.99)), ratio, comparison.goal);
    if (!json_) {
        puts(ratio > comparison.goal ? "  missed" : "");
    }
}

void Report::grow(const std::string &name, const std::vector<unsigned> &sizes,
                  const std::function<void(unsigned size)> &prepare, const Operation &operation)
{
    if (!json_) {
        printf("%-32s %10s %10s %10s\n", name.c_str(), "ms", "us each", "growth");
    }
    double before = 0;
    for (const unsigned size : sizes) {
        prepare(size);
        const double seconds = median_seconds(operation);
        const double each = microseconds(seconds) / size;
        if (json_) {
            printf("{\"operation\":\"%s\",\"size\":%u,\"seconds\":%.6f,\"us_each\":%.3f}\n",
                   name.c_str(), size, seconds, each);
        } else {
            printf("%32u %10.2f %10.2f", size, seconds * 1e3, each);
            printf(before > 0 ? " %9.1fx\n" : "\n", seconds / before);
        }
        fflush(stdout);
        before = seconds;
    }
}

void Report::race(const Race &race)
{
    if (!json_) {
        printf("%-32s %10s %10s %10s %10s %7s\n", (race.name + ", us").c_str(), "size", "median",
               "99 %", "growth", "ratio");
    }
    const double clock = clock_seconds();
    std::vector<Lap> laps(race.contenders.size());
    for (const unsigned size : race.sizes) {
        race.prepare(size);
        const double batch = race.batch(size);
        double total = 0;
        for (size_t round = 0; round < kLeastRounds || (total < kRaceSeconds && round < kMostRounds);
             ++round) {
            for (size_t i = 0; i < laps.size(); ++i) {
                const Contender &contender = race.contenders[i];
                contender.reset();
                const double timed = seconds_of(contender.operation) - clock;
                const double seconds = contender.seconds ? contender.seconds() : timed;
                total += seconds;
                laps[i].seconds.push_back(seconds / batch);
            }
        }
        show(race, size, &laps);
    }
}

// Leaves the laps ready for the next size.
void Report::show(const Race &race, unsigned size, std::vector<Lap> *laps)
{
    const double ours = quantile(laps->front().seconds, 0.5);
    for (size_t i = 0; i < laps->size(); ++i) {
        auto &[seconds, before] = (*laps)[i];
        const char *const name = race.contenders[i].name.c_str();
        const double median = quantile(seconds, 0.5);
        const double high = quantile(seconds, 0.99);
        const double ratio = ours / median;
        const bool missed = race.goal > 0 && ratio > race.goal;
        missed_ = missed_ || missed;
        if (json_) {
            printf("{\"operation\":\"%s\",\"by\":\"%s\",\"size\":%u,\"median_us\":%.4f,"
                   "\"p99_us\":%.4f,\"ratio\":%.3f,\"goal\":%.2f}\n",
                   race.name.c_str(), name, size, microseconds(median), microseconds(high), ratio,
                   race.goal);
        } else {
            printf("  %-30s %10u %10.4f %10.4f %9.1fx %7.2f%s\n", name, size, microseconds(median),
                   microseconds(high), before > 0 ? median / before : 1, ratio,
                   missed ? "  missed" : "");
        }
        fflush(stdout);
        before = median;
        seconds.clear();
    }
}

} // namespace bench
