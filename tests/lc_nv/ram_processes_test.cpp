// Several processes and threads on one parameter.
#include "support/child_process.h"
#include "support/ram_store.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <future>
#include <sys/mman.h>
#include <vector>

namespace ram_processes_test {

using namespace testing_support;

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kProcesses = 4;
constexpr uint32_t kSize = 4096;
constexpr std::chrono::milliseconds kOneSecond(1000);
constexpr std::chrono::milliseconds kBusyMachine(30000);

// What the processes write: each recognisable by its first byte and of a length of its own.
std::string value_of(int which)
{
    return std::string(1 + static_cast<size_t>(which) * 997, 'A' + static_cast<char>(which));
}

bool is_one_of_the_values(const std::string &text)
{
    for (int which = 0; which < kProcesses; ++which) {
        if (text == value_of(which)) {
            return true;
        }
    }
    return false;
}

// In memory that processes share: how many writers have not yet read what another has written.
class Waiting {
public:
    explicit Waiting(int writers)
        : writers_(new (mmap(nullptr, sizeof(*writers_), PROT_READ | PROT_WRITE,
                             MAP_SHARED | MAP_ANONYMOUS, -1, 0)) std::atomic<int>(writers))
    {
    }
    ~Waiting() { munmap(writers_, sizeof(*writers_)); }
    Waiting(const Waiting &) = delete;
    Waiting &operator=(const Waiting &) = delete;

    void one_less() { --*writers_; }
    bool any() const { return *writers_ != 0; }

private:
    std::atomic<int> *writers_;
};

// Writes its value into a parameter and reads it in turn, for this long, and on a busy machine until
// every writer has read what another has written; 0 when all went well, else what did not.
int write_and_read(const char *name, int which, std::chrono::milliseconds duration, Waiting *waiting)
{
    enum { kDone, kWriteFailed, kReadFailed, kTorn, kNeverSawAnother };
    const std::string own = value_of(which);
    bool saw_another = false;
    std::array<char, kSize> buffer{};
    const auto end = Clock::now() + duration;
    while (Clock::now() < end || (waiting->any() && Clock::now() < end + kBusyMachine)) {
        if (nvmram_writenv(name, own.c_str(), kSize) != 0) {
            return kWriteFailed;
        }
        if (nvmram_readnv(name, buffer.data(), kSize) != 0) {
            return kReadFailed;
        }
        if (!is_one_of_the_values(buffer.data())) {
            return kTorn;
        }
        if (!saw_another && own != buffer.data()) {
            saw_another = true;
            waiting->one_less();
        }
    }
    return saw_another ? kDone : kNeverSawAnother;
}

} // namespace

using RamProcesses = RamStore;

TEST_F(RamProcesses, every_value_read_is_one_that_was_written)
{
    ASSERT_EQ(nvmram_writenv("shared", value_of(0).c_str(), kSize), 0U);
    Waiting waiting(kProcesses);
    std::vector<ChildProcess> processes;
    for (int which = 0; which < kProcesses; ++which) {
        processes.emplace_back(
            [&, which] { return write_and_read("shared", which, 2 * kOneSecond, &waiting); });
    }
    for (ChildProcess &process : processes) {
        EXPECT_EQ(process.wait(), 0);
    }
    EXPECT_TRUE(is_one_of_the_values(std::string(content("shared").c_str())));
}

TEST_F(RamProcesses, threads_of_one_process_are_kept_apart_too)
{
    ASSERT_EQ(nvmram_writenv("shared", value_of(0).c_str(), kSize), 0U);
    Waiting waiting(kProcesses);
    ChildProcess other([&] { return write_and_read("shared", 0, kOneSecond, &waiting); });
    std::vector<std::future<int>> threads;
    for (int which = 1; which < kProcesses; ++which) {
        threads.push_back(
            std::async(std::launch::async, write_and_read, "shared", which, kOneSecond, &waiting));
    }
    for (std::future<int> &thread : threads) {
        EXPECT_EQ(thread.get(), 0);
    }
    EXPECT_EQ(other.wait(), 0);
    EXPECT_TRUE(is_one_of_the_values(std::string(content("shared").c_str())));
}

// The kernel refuses locks there, since it sees deadlocks.
TEST_F(RamProcesses, threads_of_several_processes_on_several_parameters_see_whole_values)
{
    constexpr const char *kNames[] = {"first", "second"};
    Waiting waiting(2 * kProcesses);
    std::vector<ChildProcess> processes;
    for (int which = 0; which < kProcesses; ++which) {
        processes.emplace_back([&, which] {
            std::vector<std::future<int>> threads;
            for (const char *name : kNames) {
                threads.push_back(std::async(std::launch::async, write_and_read, name, which,
                                             2 * kOneSecond, &waiting));
            }
            return threads[0].get() * 10 + threads[1].get();
        });
    }
    for (ChildProcess &process : processes) {
        EXPECT_EQ(WEXITSTATUS(process.wait()), 0);
    }
}

TEST_F(RamProcesses, creating_one_parameter_at_once_leaves_one_whole_value)
{
    constexpr int kParameters = 300;
    const auto name_of = [](int i) { return "p" + std::to_string(i); };
    std::vector<ChildProcess> processes;
    for (int which = 0; which < kProcesses; ++which) {
        processes.emplace_back([&] {
            int failures = 0;
            for (int i = 0; i < kParameters; ++i) {
                failures += nvmram_writenv(name_of(i).c_str(), value_of(which).c_str(), kSize) != 0;
            }
            return std::min(failures, 1);
        });
    }
    for (ChildProcess &process : processes) {
        EXPECT_EQ(process.wait(), 0);
    }
    for (int i = 0; i < kParameters; ++i) {
        const std::string bytes = content(name_of(i));
        ASSERT_FALSE(bytes.empty()) << i;
        EXPECT_EQ(bytes.back(), '\0') << i;
        EXPECT_TRUE(is_one_of_the_values(bytes.substr(0, bytes.size() - 1))) << i;
    }
}

} // namespace ram_processes_test
