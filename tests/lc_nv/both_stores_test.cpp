// What the volatile and the persistent store do alike: reading, comparing, writing, and the locks of
// others.
#include "stores.h"

#include "support/lock_circle.h"
#include "support/lock_holder.h"

#include <cctype>
#include <future>

namespace both_stores_test {

using namespace testing_support;

INSTANTIATE_TEST_SUITE_P(, BothStores, testing::ValuesIn(kStores));

namespace {

const std::string kLongestName(127, 'n');

std::string every_byte()
{
    std::string bytes;
    for (int byte = 1; byte < 256; ++byte) {
        bytes += static_cast<char>(byte);
    }
    return bytes;
}

const struct {
    const char *claim;
    std::string file;
    uint32_t size; // of the buffer
    ReadResult result;
} kReads[] = {
    {"a value with its terminator", stored("value"), 6, found("value")},
    {"a larger buffer", stored("value"), 5000, found("value")},
    {"no room for the terminator", stored("ab"), 2, refused(2)},
    {"no room at all", stored(""), 0, refused(2)},
    {"an empty value is a value", stored(""), 1, found("")},
    {"a file written by other means loses its last byte", "hello\n", 6, found("hello")},
    {"and may have nothing else", "x", 1, found("")},
    {"a value ends at a terminator inside the file", std::string("ab\0cd\0", 6), 6, found("ab")},
    {"what counts for the room is the file", std::string("ab\0cd\0", 6), 5, refused(2)},
    {"every byte is kept", stored(every_byte()), 256, found(every_byte())},
    {"4095 bytes are read whole", stored(std::string(4095, 'v')), 4096, found(std::string(4095, 'v'))},
    {"but not into less", stored(std::string(4095, 'v')), 4095, refused(2)},
};

} // namespace

// ---- Reading ----

TEST_P(BothStores, reading_takes_what_the_file_holds_before_its_last_byte)
{
    for (const auto &[claim, file, size, result] : kReads) {
        SCOPED_TRACE(claim);
        put("a", file);
        for (size_t i = 1; i < folders().size(); ++i) {
            folders()[i].put("a", stored("backup"));
        }
        EXPECT_EQ(read("a", size), result);
    }
}

TEST_P(BothStores, longer_value_is_cut_to_its_first_4095_bytes)
{
    for (const size_t length : {4096U, 4097U, 9000U}) {
        std::string value(length, 'v');
        value.replace(4093, 3, "abc");
        put("a", stored(value));
        EXPECT_EQ(read("a", 4096), found(value.substr(0, 4095))) << length;
        EXPECT_EQ(read("a", 5000), found(value.substr(0, 4095))) << length;
        EXPECT_EQ(read("a", 4095), refused(2)) << length;
    }
}

TEST_P(BothStores, what_is_not_there_to_be_read_gives_1)
{
    put("empty", "");
    mkdir(file_of("folder").c_str(), 0755);
    for (const char *name : {"none", "empty", "folder", ""}) {
        EXPECT_EQ(read(name), refused(1)) << name;
    }
    put("b", stored("value"));
    EXPECT_EQ(rename(file_of("").c_str(), (file_of("../elsewhere")).c_str()), 0);
    EXPECT_EQ(read("b"), refused(1)) << "without a folder";
}

TEST_P(BothStores, null_name_or_buffer_gives_2_before_the_name_is_judged)
{
    put("a", stored("value"));
    char buffer[8];
    EXPECT_EQ(GetParam().read(nullptr, buffer, sizeof(buffer)), 2U);
    EXPECT_EQ(GetParam().read("a", nullptr, 8), 2U);
    EXPECT_EQ(GetParam().read("b d", nullptr, 8), 2U);
    EXPECT_EQ(GetParam().read(nullptr, nullptr, 8), 2U);
}

TEST_P(BothStores, reading_a_bad_name_gives_1_before_any_file_is_asked)
{
    for (const char *name : {"b d", "b+d", "a\n", "a=1", "\xc3\xa4"}) {
        put(name, stored("v"));
    }
    write_text(file_of("../outside"), stored("v"));
    remove_defaults();
    const std::string absolute = file_of("a");
    for (const char *name :
         {"b d", "b+d", "../outside", absolute.c_str(), "a/", "a\n", "a=1", "\xc3\xa4"}) {
        EXPECT_EQ(read(name), refused(1)) << name;
    }
}

TEST_P(BothStores, reading_accepts_every_allowed_character_and_up_to_127_of_them)
{
    const char name[] = "-_.0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
    for (const std::string &good : {std::string(name), kLongestName}) {
        put(good, stored("v"));
        EXPECT_EQ(read(good), found("v")) << good;
    }
    put(kLongestName + "n", stored("v"));
    EXPECT_EQ(read(kLongestName + "n"), refused(1));
}

TEST_P(BothStores, reading_and_comparing_leave_the_mask_alone_and_no_descriptor_open)
{
    put_all("b", stored("value"));
    put("empty", "");
    umask(027);
    const int before = count_descriptors();
    for (const char *name : {"b", "empty", "none", "b d"}) {
        read(name);
        read(name, 2);
        GetParam().match(name, "value");
    }
    EXPECT_EQ(count_descriptors(), before);
    EXPECT_EQ(current_umask(), 027U);
}

// ---- Comparing ----

TEST_P(BothStores, equal_value_gives_0_and_different_gives_6)
{
    put("b", stored("sim_ready"));
    EXPECT_EQ(GetParam().match("b", "sim_ready"), 0U);
    for (const char *value : {"sim_read", "sim_ready ", "Sim_ready", ""}) {
        EXPECT_EQ(GetParam().match("b", value), 6U) << value;
    }
    put("b", stored(""));
    EXPECT_EQ(GetParam().match("b", ""), 0U);
}

TEST_P(BothStores, comparing_what_cannot_be_read_gives_5)
{
    put("empty", "");
    for (const char *name : {"none", "b d", "", "empty"}) {
        EXPECT_EQ(GetParam().match(name, "v"), 5U) << name;
        EXPECT_EQ(GetParam().match(name, ""), 5U) << name;
    }
}

TEST_P(BothStores, comparing_null_gives_4)
{
    put("a", stored("v"));
    EXPECT_EQ(GetParam().match(nullptr, "v"), 4U);
    EXPECT_EQ(GetParam().match("a", nullptr), 4U);
    EXPECT_EQ(GetParam().match(nullptr, nullptr), 4U);
    EXPECT_EQ(GetParam().match("none", nullptr), 4U);
}

TEST_P(BothStores, value_of_2047_bytes_is_compared_and_a_longer_one_gives_5)
{
    const std::string value(2047, 'v');
    put("b", stored(value));
    EXPECT_EQ(GetParam().match("b", value.c_str()), 0U);
    EXPECT_EQ(GetParam().match("b", "other"), 6U);
    put("b", stored(value + "v"));
    EXPECT_EQ(GetParam().match("b", (value + "v").c_str()), 5U);
    EXPECT_EQ(GetParam().match("b", "other"), 5U);
}

// ---- Writing ----

TEST_P(BothStores, writing_leaves_the_value_and_one_terminator_whatever_was_there)
{
    for (const std::string &value :
         {std::string("old"), std::string("a longer one"), std::string("ab"), std::string(),
          every_byte(), std::string(4095, 'v'), std::string(4096, 'v'), std::string(9000, 'v')}) {
        EXPECT_EQ(write("a", value), 0U);
        expect_stored("a", value);
        EXPECT_EQ(read("a"), found(value.substr(0, 4095)));
    }
}

TEST_P(BothStores, size_must_cover_the_terminator)
{
    EXPECT_EQ(GetParam().write("a", "xyz", 3), 4U);
    EXPECT_EQ(GetParam().write("a", "", 0), 4U);
    expect_files({});
    EXPECT_EQ(GetParam().write("a", "xyz", 4), 0U);
    expect_stored("a", "xyz");
    EXPECT_EQ(GetParam().write("a", "longer", 4), 4U);
    expect_stored("a", "xyz");
    EXPECT_EQ(GetParam().write("a", "", 1), 0U);
    expect_stored("a", "");
}

TEST_P(BothStores, null_name_gives_2_before_any_other_check)
{
    EXPECT_EQ(GetParam().write(nullptr, nullptr, 0), 2U);
    EXPECT_EQ(GetParam().write(nullptr, "value", 2), 2U);
}

TEST_P(BothStores, bad_value_gives_4_before_the_name_is_judged)
{
    EXPECT_EQ(GetParam().write("b d", nullptr, 9), 4U);
    EXPECT_EQ(GetParam().write((kLongestName + "n").c_str(), "value", 5), 4U);
    EXPECT_EQ(GetParam().write("a", nullptr, 9), 4U);
}

TEST_P(BothStores, name_of_127_bytes_is_stored_and_of_more_gives_1)
{
    declare(kLongestName + "=1=default\n");
    EXPECT_EQ(write(kLongestName, "v"), 0U);
    expect_stored(kLongestName, "v");
    EXPECT_EQ(write(std::string(100000, 'n'), "v"), 1U);
    EXPECT_EQ(write(kLongestName + "n", "v"), 1U);
    expect_files({kLongestName});
    put_all(kLongestName + "n", stored("old"));
    EXPECT_EQ(write(kLongestName + "n", "new"), 1U);
    expect_stored(kLongestName + "n", "old");
}

TEST_P(BothStores, only_names_of_allowed_characters_are_stored)
{
    for (int byte = 1; byte < 256; ++byte) {
        const std::string name = {'n', static_cast<char>(byte)};
        declare(name + "=1=default\n");
        const bool allowed =
            byte < 128 && (isalnum(byte) != 0 || byte == '-' || byte == '_' || byte == '.');
        EXPECT_EQ(write(name, "v"), allowed ? 0U : 1U) << byte;
        for (const ParameterFolder &folder : folders()) {
            EXPECT_EQ(folder.files().contains(name), allowed) << byte;
        }
    }
}

TEST_P(BothStores, writing_a_bad_name_gives_1_before_any_file_is_asked)
{
    remove_defaults();
    for (const char *name : {"b d", "../outside"}) {
        put(name, "old");
        EXPECT_EQ(write(name, "v"), 1U);
        EXPECT_EQ(folders()[0].content(name), "old");
    }
}

TEST_P(BothStores, empty_name_stores_nothing_and_gives_0)
{
    declare("=1=nameless\n");
    EXPECT_EQ(write("", "v"), 0U);
    expect_files({});
}

TEST_P(BothStores, what_cannot_be_created_or_written_is_not_reported)
{
    declare("folder=1=x\n");
    for (const ParameterFolder &folder : folders()) {
        mkdir(folder.file_of("folder").c_str(), 0755);
    }
    const int before = count_descriptors();
    EXPECT_EQ(write("folder", "v"), 0U);
    EXPECT_EQ(count_descriptors(), before);
    expect_files({"folder"});
}

TEST_P(BothStores, created_file_has_mode_0666_whatever_the_mask_was)
{
    umask(077);
    EXPECT_EQ(write("a", "v"), 0U);
    for (const ParameterFolder &folder : folders()) {
        EXPECT_EQ(mode_of(folder.file_of("a")), 0666U);
    }
}

TEST_P(BothStores, existing_file_keeps_its_mode)
{
    put_all("a", stored("old"));
    for (const ParameterFolder &folder : folders()) {
        chmod(folder.file_of("a").c_str(), 0640);
    }
    EXPECT_EQ(write("a", "v"), 0U);
    expect_stored("a", "v");
    for (const ParameterFolder &folder : folders()) {
        EXPECT_EQ(mode_of(folder.file_of("a")), 0640U);
    }
}

TEST_P(BothStores, file_creation_mask_is_0_after_a_write_even_when_it_was_refused)
{
    const int before = count_descriptors();
    for (const char *name : {static_cast<const char *>(nullptr), "b d", "undeclared", "a", "a"}) {
        umask(077);
        GetParam().write(name, "v", 2);
        EXPECT_EQ(current_umask(), 0U);
    }
    EXPECT_EQ(count_descriptors(), before);
}

// ---- Another program's record locks ----

class BothStoresLocked : public BothStores {
protected:
    BothStoresLocked() { put_all("a", stored("old")); }

    static uint32_t write_new() { return write("a", "new"); }
};

INSTANTIATE_TEST_SUITE_P(, BothStoresLocked, testing::ValuesIn(kStores));

TEST_P(BothStoresLocked, reading_waits_for_an_exclusive_lock)
{
    LockHolder holder(file_of("a"), "LOCK_EX", "its");
    auto reading = std::async(std::launch::async, [] { return read("a"); });
    EXPECT_TRUE(someone_waits_for_a_lock());
    holder.let_go();
    EXPECT_EQ(reading.get(), found("its"));
}

TEST_P(BothStoresLocked, reading_shares_with_a_shared_lock)
{
    const LockHolder holder(file_of("a"), "LOCK_SH");
    EXPECT_EQ(read("a"), found("old"));
}

TEST_P(BothStoresLocked, writing_waits_for_any_lock)
{
    for (const char *kind : {"LOCK_SH", "LOCK_EX"}) {
        put_all("a", stored("old"));
        LockHolder holder(file_of("a"), kind);
        auto writing = std::async(std::launch::async, write_new);
        EXPECT_TRUE(someone_waits_for_a_lock());
        expect_stored("a", "old");
        holder.let_go();
        EXPECT_EQ(writing.get(), 0U);
        expect_stored("a", "new");
    }
}

TEST_P(BothStoresLocked, other_parameters_are_not_held_up)
{
    std::vector<std::unique_ptr<LockHolder>> holders;
    for (const ParameterFolder &folder : folders()) {
        folder.put("b", stored("old"));
        holders.push_back(std::make_unique<LockHolder>(folder.file_of("b"), "LOCK_EX"));
    }
    EXPECT_EQ(write_new(), 0U);
    EXPECT_EQ(read("a"), found("new"));
}

TEST_P(BothStoresLocked, nothing_stays_locked)
{
    write_new();
    read("a");
    write_new();
    for (const ParameterFolder &folder : folders()) {
        const LockHolder holder(folder.file_of("a"), "LOCK_EX"); // would wait forever otherwise
    }
}

TEST_P(BothStoresLocked, deadlock_of_processes_that_is_none_of_threads_is_waited_out)
{
    expect_circle_is_waited_out(
        file_of("a"), file_of("b"), [] { return read("a"); }, [] { return read("b"); });
}

} // namespace both_stores_test
