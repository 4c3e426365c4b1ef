// The values that the WAN manager keeps in the RAM store. No client is started: none is needed.
#include "lte_sdk.h"
#include "support/guarded.h"
#include "support/ram_store.h"
#include "support/trace_file.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace stored_value_test {

using namespace testing_support;

namespace {

using Buffer = char[16];

struct Row {
    const char *function;
    int32_t (*read)(char *buf, uint32_t size);
    const char *key;
};

void PrintTo(const Row &row, std::ostream *out) { *out << row.function; }

constexpr Row kRows[] = {
    {"lct_net_signal_level_get_req", lct_net_signal_level_get_req, "wm_wcdma_rssi_tmp"},
    {"lct_net_imei_get_req", lct_net_imei_get_req, "wm_wcdma_imei_nv"},
    {"lct_sim_status_get_req", lct_sim_status_get_req, "wm_wcdma_modem_status_tmp"},
};

class StoredValue : public RamStore, public testing::WithParamInterface<Row> {
protected:
    void store(const std::string &value) { put(GetParam().key, stored(value)); }

    void expect_failure(uint32_t size)
    {
        EXPECT_EQ(GetParam().read(*buffer_.get(), size), -1);
        EXPECT_TRUE(buffer_.untouched());
        EXPECT_EQ(trace_text(), "");
    }

    Guarded<Buffer> buffer_;
};

class SyslogSwitch : public RamStore {
protected:
    static int32_t with(const std::string &value)
    {
        put("wm_syslog_switch_flg", stored(value));
        return lct_get_syslog_switch_flg();
    }
};

} // namespace

INSTANTIATE_TEST_SUITE_P(All, StoredValue, testing::ValuesIn(kRows));

TEST_P(StoredValue, is_read_by_its_own_key)
{
    for (const Row &row : kRows) {
        put(row.key, stored(row.function == GetParam().function ? "own" : "other"));
    }
    EXPECT_EQ(GetParam().read(*buffer_.get(), sizeof(Buffer)), 0);
    EXPECT_STREQ(*buffer_.get(), "own");
    EXPECT_EQ(buffer_.bytes().substr(4), Guarded<Buffer>().bytes().substr(4));
    EXPECT_EQ(trace_text(), "");
}

TEST_P(StoredValue, that_is_missing_fails)
{
    for (const Row &row : kRows) {
        if (row.function != GetParam().function) {
            put(row.key, stored("other"));
        }
    }
    expect_failure(sizeof(Buffer));
}

TEST_P(StoredValue, that_is_an_empty_file_fails)
{
    put(GetParam().key, "");
    expect_failure(sizeof(Buffer));
}

TEST_P(StoredValue, may_fill_the_buffer_with_its_terminator)
{
    store("0123456789abcde");
    EXPECT_EQ(GetParam().read(*buffer_.get(), 16), 0);
    EXPECT_STREQ(*buffer_.get(), "0123456789abcde");
}

TEST_P(StoredValue, that_does_not_fit_with_its_terminator_fails)
{
    store("0123456789abcde");
    expect_failure(15);
    expect_failure(1);
    expect_failure(0);
}

TEST_P(StoredValue, without_a_buffer_fails)
{
    store("own");
    EXPECT_EQ(GetParam().read(nullptr, 16), -1);
}

TEST_F(SyslogSwitch, is_on_when_the_number_is_1)
{
    for (const char *value : {"1", "01", " 1", "\t\n1", "+1", "1x", "1 2", "1.9", "000000000000001"}) {
        EXPECT_EQ(with(value), 1) << value;
    }
}

TEST_F(SyslogSwitch, is_off_when_the_number_is_another_missing_or_longer_than_16_bytes_with_its_end)
{
    EXPECT_EQ(lct_get_syslog_switch_flg(), 0);
    for (const char *value : {"", "0", "2", "10", "11", "-1", "x1", "on", "0x1", "257", "65537",
                              "0000000000000001", "1               "}) {
        EXPECT_EQ(with(value), 0) << value;
    }
    put("wm_syslog_switch_flg", "");
    EXPECT_EQ(lct_get_syslog_switch_flg(), 0);
}

TEST_F(SyslogSwitch, is_read_without_a_trace_line)
{
    with("1");
    unlink(file_of("wm_syslog_switch_flg").c_str());
    lct_get_syslog_switch_flg();
    EXPECT_EQ(trace_text(), "");
}

} // namespace stored_value_test
