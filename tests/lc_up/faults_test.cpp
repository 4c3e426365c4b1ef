// A whole upgrade with one call of the system failing, at each place in turn.
#include "lc_up.h"
#include "support/serial_modem.h"

#include <sys/stat.h>

namespace faults_test {

using namespace testing_support;

namespace {

struct Outcome {
    int32_t start;
    int32_t image;
    int32_t status;
    size_t ports; // left open
    size_t data_openings;
};

constexpr Outcome kAllWell = {0, 0, 0, 1, 1};
constexpr Outcome kNotStarted = {-1, -2, 0, 0, 0}; // -2: not tried
constexpr Outcome kSentAgain = {0, 0, 0, 1, 2};
constexpr Outcome kNoStatus = {0, 0, -1, 1, 1};

std::ostream &operator<<(std::ostream &stream, const Outcome &outcome)
{
    return stream << "start " << outcome.start << ", image " << outcome.image << ", status "
                  << outcome.status << ", ports " << outcome.ports << ", data openings "
                  << outcome.data_openings;
}

bool operator==(const Outcome &a, const Outcome &b)
{
    return a.start == b.start && a.image == b.image && a.status == b.status && a.ports == b.ports &&
           a.data_openings == b.data_openings;
}

// Accepts all that it gets.
void accept(const Bytes &bytes)
{
    bytes.size() == kFrame ? g_modem.hears(answer(bytes)) : g_modem.hears("OK");
}

// Five frames and two commands.
Outcome upgrade()
{
    Outcome outcome = {0, -2, 0, 0, 0};
    const Bytes image = pattern(5000);
    lc_set_img_size(5000);
    outcome.start = lc_up_start();
    if (outcome.start == 0) {
        outcome.image = lc_up_img(image.data(), 5000);
    }
    outcome.status = lc_up_status();
    outcome.ports = g_modem.ports.size();
    for (const std::string &step : g_modem.steps) {
        outcome.data_openings += step == "open data" ? 1 : 0;
    }
    return outcome;
}

class UpgradeFaults : public SerialModem {
protected:
    UpgradeFaults() { g_modem.on_write = accept; }

    // outcomes: of the first call failing, of the second, and so on. There are no more calls.
    static void expect(Fault &call, const std::vector<Outcome> &outcomes)
    {
        for (size_t n = 0; n <= outcomes.size(); ++n) {
            in_own_process("call " + std::to_string(n + 1), [&] {
                const int descriptors = count_descriptors();
                const bool fails = n < outcomes.size();
                call.fail_nth(static_cast<int>(n) + 1);
                const Outcome outcome = upgrade();
                EXPECT_EQ(call.failed(), fails);
                EXPECT_EQ(outcome, fails ? outcomes[n] : kAllWell);
                EXPECT_EQ(count_descriptors() - descriptors, static_cast<int>(outcome.ports));
            });
        }
    }
};

} // namespace

TEST_F(UpgradeFaults, port_that_cannot_be_opened)
{
    expect(calls::open, {kNotStarted, kNotStarted, kNoStatus});
}

TEST_F(UpgradeFaults, settings_that_are_refused_change_nothing)
{
    expect(calls::tcsetattr, {kAllWell, kAllWell, kAllWell});
    expect(calls::tcflush, {kAllWell, kAllWell, kAllWell});
}

TEST_F(UpgradeFaults, frame_that_is_not_written_is_sent_again_over_a_new_descriptor)
{
    expect(calls::write,
           {kNotStarted, kSentAgain, kSentAgain, kSentAgain, kSentAgain, kSentAgain, kNoStatus});
}

TEST_F(UpgradeFaults, frame_that_is_written_in_part_is_sent_again_over_a_new_descriptor)
{
    g_modem.failed_write = 20;
    expect(calls::write,
           {kNotStarted, kSentAgain, kSentAgain, kSentAgain, kSentAgain, kSentAgain, kNoStatus});
}

TEST_F(UpgradeFaults, wait_that_fails_is_repeated)
{
    expect(calls::select, {kAllWell, kAllWell, kAllWell, kAllWell, kAllWell});
}

TEST_F(UpgradeFaults, frame_whose_response_cannot_be_read_is_sent_again_over_a_new_descriptor)
{
    expect(calls::read,
           {kNotStarted, kSentAgain, kSentAgain, kSentAgain, kSentAgain, kSentAgain, kNoStatus});
}

TEST_F(UpgradeFaults, entry_that_cannot_be_traced_is_left_out)
{
    Steps entries;
    in_own_process("undisturbed", [] { upgrade(); });
    std::string rest = take_trace();
    while (!rest.empty()) {
        const size_t end = rest.find("[lib/lc_up:", 1);
        entries.push_back(rest.substr(0, end));
        rest = end == std::string::npos ? "" : rest.substr(end);
    }
    EXPECT_EQ(entries.size(), 12U);
    for (size_t n = 0; n < entries.size(); ++n) {
        in_own_process("entry " + std::to_string(n + 1), [&] {
            g_modem.trace.fail_nth(static_cast<int>(n) + 1);
            EXPECT_EQ(upgrade(), kAllWell);
        });
        std::string others;
        for (size_t i = 0; i < entries.size(); ++i) {
            others += i == n ? "" : entries[i];
        }
        EXPECT_EQ(take_trace(), others);
    }
}

TEST_F(UpgradeFaults, trace_file_that_cannot_be_written_changes_nothing)
{
    ASSERT_EQ(mkdir(kTraceFile, 0755), 0);
    EXPECT_EQ(upgrade(), kAllWell);
}

} // namespace faults_test
