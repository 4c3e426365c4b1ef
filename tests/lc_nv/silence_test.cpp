// The stores report by their results only and log nothing, not even at debug level, except that
// lc_dir_exist logs start-up's test for the shutdown marker.
#include "lc_nv/transfer.h"

#include "stores.h"

#include "lc_log.h"
#include "support/scoped_mount.h"
#include "support/syslog_listener.h"

#include <cstring>
#include <fcntl.h>
#include <vector>

namespace silence_test {

using namespace testing_support;

namespace {

constexpr char kFile[] = "/2ndfile/file";
constexpr uint32_t kAll = 0xFFFFFFFF;
const std::string kTooLong(128, 'n'); // for a name

// A process that logs at every level.
template <typename Store> class Listening : public Store {
protected:
    Listening()
    {
        EXPECT_EQ(log_init(3), 0);
        switch_all_on();
        for (const int level : {LC_LOG_DEBUG, LC_LOG_INFO, LC_LOG_ERROR}) {
            log_print(level, "heard");
        }
        EXPECT_EQ(log_.all(), std::vector<std::string>(3, "heard"));
    }

    static void switch_all_on()
    {
        for (const char *level : {"DEBUG", "INFO", "ERROR"}) {
            switch_log("WanManager", level);
        }
    }

    // The result of a call, which must have logged nothing.
    template <typename Result> Result silent(Result result)
    {
        EXPECT_EQ(log_.all(), std::vector<std::string>());
        return result;
    }

    // The start of the store, with the note of its look for the marker and nothing else.
    uint32_t start(bool marker)
    {
        const uint32_t result = nvm_init();
        const std::vector<std::string> lines = log_.all();
        EXPECT_EQ(lines.size(), 1U);
        for (const std::string &line : lines) {
            EXPECT_TRUE(line.starts_with("[LOG][lib/lc_file:")) << line;
            EXPECT_NE(line.find(marker ? " dir is exist\n" : " dir is not exist\n"), std::string::npos)
                << line;
        }
        return result;
    }

    char buffer[100] = {};

private:
    SyslogListener log_;
};

// The persistent store is started, or would be.
using Silence = Listening<MadeStore>;
using SilenceOfBoth = Listening<BothStores>;

} // namespace

INSTANTIATE_TEST_SUITE_P(, SilenceOfBoth, testing::ValuesIn(kStores));

TEST_P(SilenceOfBoth, in_use)
{
    const Store &store = GetParam();
    EXPECT_EQ(silent(store.write("a", "new", 4)), 0U);
    EXPECT_EQ(silent(store.write("a", "old", 4)), 0U);
    EXPECT_EQ(silent(store.read("a", buffer, sizeof(buffer))), 0U);
    EXPECT_EQ(silent(store.match("a", "old")), 0U);
    EXPECT_EQ(silent(store.match("a", "new")), 6U);
    remove(file_of("a").c_str());
    silent(store.read("a", buffer, sizeof(buffer)));
    EXPECT_EQ(silent(store.write("a", "new", 4)), 0U);
    EXPECT_EQ(silent(store.clear()), 0U);
    EXPECT_EQ(silent(store.clear()), 0U);
}

TEST_P(SilenceOfBoth, about_what_is_refused)
{
    const Store &store = GetParam();
    ASSERT_EQ(store.write("a", "x", 2), 0U);
    put("empty", "");
    EXPECT_EQ(silent(store.write(nullptr, "x", 2)), 2U);
    EXPECT_EQ(silent(store.write("a", nullptr, 2)), 4U);
    EXPECT_EQ(silent(store.write("a", "x", 1)), 4U);
    EXPECT_EQ(silent(store.write("b d", "x", 2)), 1U);
    EXPECT_EQ(silent(store.read(nullptr, buffer, 1)), 2U);
    EXPECT_EQ(silent(store.read("a", nullptr, 1)), 2U);
    EXPECT_EQ(silent(store.read("a", buffer, 1)), 2U);
    for (const char *name : {"b d", kTooLong.c_str(), "missing", "empty"}) {
        EXPECT_EQ(silent(store.read(name, buffer, 1)), 1U) << name;
    }
    EXPECT_EQ(silent(store.match(nullptr, "x")), 4U);
    EXPECT_EQ(silent(store.match("a", nullptr)), 4U);
    EXPECT_EQ(silent(store.match("missing", "x")), 5U);
}

TEST_F(Silence, of_the_volatile_store_until_it_is_made)
{
    EXPECT_EQ(silent(nvmram_writenv("a", "x", 2)), 5U);
    EXPECT_EQ(silent(nvmram_readnv("a", buffer, sizeof(buffer))), 1U);
    EXPECT_EQ(silent(nvmram_init()), 0U);
    EXPECT_EQ(silent(nvmram_init()), 0U);
    EXPECT_EQ(silent(nvmram_writenv("", "x", 2)), 0U);
}

TEST_F(Silence, of_the_persistent_store_about_its_defaults_and_its_end)
{
    EXPECT_EQ(silent(nvm_readnv("a", buffer, 1)), 2U);
    EXPECT_EQ(silent(nvm_readnv("a", buffer, sizeof(buffer))), 0U);
    EXPECT_EQ(silent(nvm_match("a", "default")), 0U);
    EXPECT_EQ(silent(nvm_writenv("undeclared", "x", 2)), 1U);
    EXPECT_EQ(silent(nvm_fin()), 0U);
    EXPECT_EQ(silent(nvm_fin()), 0U);
    declare("broken\n");
    EXPECT_EQ(silent(nvm_readnv("b", buffer, 1)), 5U);
    EXPECT_EQ(silent(nvm_writenv("b", "x", 2)), 5U);
    remove_defaults();
    EXPECT_EQ(silent(nvm_readnv("b", buffer, 1)), 5U);
    EXPECT_EQ(silent(nvm_writenv("b", "x", 2)), 5U);
}

TEST_F(Silence, of_the_volatile_store_that_cannot_be_made)
{
    ScopedMount tmp("/tmp");
    switch_all_on();
    tmp.make_read_only();
    EXPECT_EQ(silent(nvmram_init()), 5U);
}

TEST_F(Silence, of_a_lock)
{
    EXPECT_EQ(silent(nv_lock_file(-1, F_SETLK, F_WRLCK)), -1);
    const int file = open(kFile, O_RDWR | O_CREAT, 0600);
    EXPECT_EQ(silent(nv_lock_file(file, F_SETLKW, F_WRLCK)), 0);
    close(file);
}

// ---- Parameter files ----

TEST_F(Silence, of_the_parser)
{
    constexpr struct {
        const char *text;
        int kind;
    } kLines[] = {{"a=1=x\n", NV_LINE_PARAMETER}, {"\n", NV_LINE_SKIP},
                  {"# comment\n", NV_LINE_SKIP},  {"broken\n", NV_LINE_MALFORMED},
                  {"a=g=x\n", NV_LINE_MALFORMED}, {"b d=1=x\n", NV_LINE_MALFORMED},
                  {"a=1=x", NV_LINE_MALFORMED}};
    for (const auto &[text, kind] : kLines) {
        strcpy(buffer, text);
        char *name;
        char *value;
        uint32_t bits;
        EXPECT_EQ(silent(nv_parse_line(buffer, &name, &bits, &value, "file", 1)), kind) << text;
    }
}

TEST_F(Silence, of_the_checksum) { EXPECT_EQ(silent(nv_crc32_update(0, "123456789", 9)), 0x2DFD2D88U); }

TEST_F(Silence, of_a_lookup)
{
    const auto look_up = [this](const char *path, const char *name, uint32_t size, int has_crc) {
        return silent(nvm_parsefile(path, name, buffer, size, has_crc));
    };
    write_text(kFile, with_checksum("a=1=x\nbroken\n"));
    EXPECT_EQ(look_up(kFile, "a", 2, 1), 0U);
    EXPECT_EQ(look_up(kFile, "a", 1, 1), 2U);
    EXPECT_EQ(look_up(kFile, "b", 2, 1), 3U);
    EXPECT_EQ(look_up(kFile, nullptr, 2, 1), 2U);
    EXPECT_EQ(silent(nvm_parsefile(kFile, "a", nullptr, 2, 1)), 2U);
    EXPECT_EQ(look_up(nullptr, "a", 2, 1), 3U);
    EXPECT_EQ(look_up("/2ndfile/missing", "a", 2, 0), 3U);
    EXPECT_EQ(look_up("/2ndfile", "a", 2, 0), 3U);
    write_text(kFile, "00000001\n");
    EXPECT_EQ(look_up(kFile, "a", 2, 1), 3U);
    write_text(kFile, "00000000\n");
    EXPECT_EQ(look_up(kFile, "a", 2, 1), 1U);
}

// ---- The start ----

TEST_F(Silence, of_the_start_but_for_its_look_for_the_marker)
{
    declare("equal=1=x\ndiffers=1=x\nno_current=1=x\nneither=1=x\nempty=1=x\nno_backup=1=x\n");
    put_both("equal", "x");
    current.put("differs", stored("x"));
    backup.put("no_current", stored("x"));
    current.put("empty", "");
    current.put("no_backup", stored("x"));
    mkdir(backup.file_of("no_backup").c_str(), 0755);
    EXPECT_EQ(start(false), 0U);
    ASSERT_EQ(nvm_fin(), 0U);
    EXPECT_EQ(start(true), 0U);
}

TEST_F(Silence, of_the_start_that_fails_but_for_its_look_for_the_marker)
{
    declare("broken\n");
    EXPECT_EQ(start(false), 5U);
    remove_defaults();
    EXPECT_EQ(start(false), 5U);
    ASSERT_EQ(nvm_fin(), 0U);
    write_text(NVM_SHUTDOWN_MARKER "/inside", "");
    EXPECT_EQ(start(true), 5U);
}

TEST_F(Silence, of_the_persistent_store_on_a_disk_that_cannot_be_written)
{
    ScopedMount disk("/2ndfile");
    mkdir("/2ndfile/nv", 0755);
    declare("a=1=default\n");
    disk.make_read_only();
    EXPECT_EQ(start(false), 5U);
    EXPECT_EQ(silent(nvm_writenv("a", "x", 2)), 0U);
    EXPECT_EQ(silent(nvm_fin()), 5U);
    EXPECT_EQ(silent(nvm_export(kFile, kAll, 1)), 3U);
}

// ---- Import, export, reset ----

TEST_F(Silence, of_export_import_and_reset)
{
    declare("a=1=default\npri_version=1=1\nup_dev_sku=1=EU\n");
    for (const int with_crc : {0, 1}) {
        EXPECT_EQ(silent(nvm_export(kFile, kAll, with_crc)), 0U);
        EXPECT_EQ(silent(nvm_import(kFile, kAll, with_crc, 0)), 0U);
        EXPECT_EQ(silent(nvm_import(kFile, kAll, with_crc, 1)), 0U);
    }
    EXPECT_EQ(silent(nvm_routerreset()), 0U);
}

TEST_F(Silence, of_export_import_and_reset_that_fail)
{
    const auto import = [this](const std::string &content, int has_crc, int check_identity) {
        write_text(kFile, content);
        return silent(nvm_import(kFile, kAll, has_crc, check_identity));
    };
    EXPECT_EQ(silent(nvm_import(nullptr, kAll, 0, 0)), 3U);
    EXPECT_EQ(silent(nvm_import("/2ndfile/missing", kAll, 0, 0)), 3U); // told on standard error
    EXPECT_EQ(silent(nvm_import("/2ndfile", kAll, 0, 0)), 3U);
    EXPECT_EQ(import("00000001\n", 1, 0), 3U);
    EXPECT_EQ(import("undeclared=1=x\n", 0, 0), 0U);
    EXPECT_EQ(import("a=1=x\n", 0, 1), 3U);
    EXPECT_EQ(import("broken\n", 0, 0), 3U);
    EXPECT_EQ(silent(nvm_export(nullptr, kAll, 0)), 3U);
    EXPECT_EQ(silent(nvm_export("/2ndfile", kAll, 1)), 3U);
    declare("broken\n");
    EXPECT_EQ(import("a=1=x\n", 0, 0), 5U);
    EXPECT_EQ(import("a=1=x\n", 0, 1), 5U);
    EXPECT_EQ(silent(nvm_export(kFile, kAll, 1)), 5U);
    EXPECT_EQ(silent(nvm_routerreset()), 3U);
    remove_defaults();
    EXPECT_EQ(import("a=1=x\n", 0, 0), 5U);
    EXPECT_EQ(silent(nvm_export(kFile, kAll, 1)), 5U);
    EXPECT_EQ(silent(nvm_routerreset()), 3U);
}

} // namespace silence_test
