// Several processes on the same persistent parameters: readers, writers, an export and an import at
// once.
#include "support/child_process.h"
#include "support/persistent_store.h"

#include <array>
#include <chrono>
#include <functional>
#include <random>
#include <sstream>

namespace persistent_processes_test {

using namespace testing_support;

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kDuration = std::chrono::seconds(3);
constexpr unsigned kParameters = 50;
constexpr unsigned kImportedNumber = 7777777; // what the import writes; nobody else does

// How a process ended.
enum {
    kDone,
    kReadFailed,
    kWriteFailed,
    kNobodyWroteThat,
    kExportFailed,
    kImportFailed,
    kNeverSawOther
};

std::string name_of(unsigned parameter) { return "p" + std::to_string(parameter); }

// A number repeated, to a length that depends on it: no part of one value and no mixture of two is
// another.
std::string value_of(unsigned number)
{
    std::string value;
    for (unsigned i = 0; i <= number % 499; ++i) {
        value += std::to_string(number) + ";";
    }
    return value;
}

bool is_a_value(const std::string &text)
{
    return text == value_of(static_cast<unsigned>(strtoul(text.c_str(), nullptr, 10)));
}

// Lines of all parameters with one value.
std::string lines_with(unsigned number)
{
    std::string lines;
    for (unsigned parameter = 0; parameter < kParameters; ++parameter) {
        lines += name_of(parameter) + "=1=" + value_of(number) + "\n";
    }
    return lines;
}

// The action's result, again and again until the time is over or it is not kDone.
int repeat(const std::function<int()> &action)
{
    int result = kDone;
    for (const auto end = Clock::now() + kDuration; result == kDone && Clock::now() < end;) {
        result = action();
    }
    return result;
}

// Reads and writes parameters at random. which: told apart from other processes by the numbers it
// writes.
int read_and_write(unsigned which)
{
    std::minstd_rand random(which + 1);
    const auto below = [&](unsigned limit) { return static_cast<unsigned>(random() % limit); };
    const auto is_own = [&](const std::string &value) {
        return value.empty() || value[0] == static_cast<char>('1' + which);
    };
    bool saw_other = false;
    const int result = repeat([&] {
        std::array<char, 4096> buffer{};
        const std::string name = name_of(below(kParameters));
        const std::string value = value_of((which + 1) * 1000000 + below(1000000));
        if (nvm_readnv(name.c_str(), buffer.data(), buffer.size()) != 0) {
            return kReadFailed;
        }
        if (!is_a_value(buffer.data())) {
            return kNobodyWroteThat;
        }
        saw_other = saw_other || !is_own(buffer.data());
        return nvm_writenv(name.c_str(), value.c_str(), 4096) == 0 ? kDone : kWriteFailed;
    });
    return result != kDone || saw_other ? result : kNeverSawOther;
}

// Whether a file has the right checksum and a whole value for each parameter, in order.
bool is_whole_export(const std::string &file)
{
    std::istringstream lines(file.substr(std::min<size_t>(NV_CHECKSUM_SIZE, file.size())));
    if (with_checksum(lines.str()) != file) {
        return false;
    }
    std::string line;
    unsigned parameter = 0;
    while (std::getline(lines, line)) {
        const std::string start = name_of(parameter++) + "=1=";
        if (!line.starts_with(start) || !is_a_value(line.substr(start.size()))) {
            return false;
        }
    }
    return parameter == kParameters;
}

int export_all()
{
    return repeat([] {
        if (nvm_export("/2ndfile/export", 1, 1) != 0) {
            return kExportFailed;
        }
        return is_whole_export(read_text("/2ndfile/export")) ? kDone : kNobodyWroteThat;
    });
}

int import_all()
{
    return repeat([] { return nvm_import("/2ndfile/import", 1, 1, 0) == 0 ? kDone : kImportFailed; });
}

} // namespace

using PersistentProcesses = PersistentStore;

TEST_F(PersistentProcesses, every_value_read_or_exported_is_one_that_was_written)
{
    declare(lines_with(0));
    write_text("/2ndfile/import", with_checksum(lines_with(kImportedNumber)));
    ASSERT_EQ(nvm_init(), 0U);
    std::vector<ChildProcess> processes;
    for (unsigned which = 0; which < 4; ++which) {
        processes.emplace_back([which] { return read_and_write(which); });
    }
    processes.emplace_back(export_all);
    processes.emplace_back(import_all);
    for (ChildProcess &process : processes) {
        EXPECT_EQ(WEXITSTATUS(process.wait()), kDone);
    }
    for (unsigned parameter = 0; parameter < kParameters; ++parameter) {
        for (const ParameterFolder &folder : {current, backup}) {
            const std::string content = folder.content(name_of(parameter));
            EXPECT_TRUE(is_a_value(content.c_str())) << content;
            EXPECT_EQ(content, stored(content.c_str()));
        }
    }
}

TEST_F(PersistentProcesses, parameters_made_by_several_at_once_are_whole)
{
    declare(lines_with(0));
    make_folders();
    std::vector<ChildProcess> processes;
    for (unsigned which = 1; which <= 4; ++which) {
        processes.emplace_back([which] {
            for (unsigned parameter = 0; parameter < kParameters; ++parameter) {
                if (nvm_writenv(name_of(parameter).c_str(), value_of(which * 11).c_str(), 4096) != 0) {
                    return kWriteFailed;
                }
            }
            return kDone;
        });
    }
    for (ChildProcess &process : processes) {
        EXPECT_EQ(process.wait(), 0);
    }
    for (unsigned parameter = 0; parameter < kParameters; ++parameter) {
        const ReadResult result = read_nv(name_of(parameter));
        EXPECT_TRUE(is_a_value(result.text)) << result;
        EXPECT_NE(result.text, value_of(0));
    }
}

} // namespace persistent_processes_test
