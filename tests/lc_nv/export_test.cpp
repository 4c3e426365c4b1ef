// Saving parameters to a file.
#include "support/persistent_store.h"

#include <vector>

namespace export_test {

using namespace testing_support;

namespace {

constexpr char kPath[] = "/2ndfile/exported";
constexpr uint32_t kAll = 0xFFFFFFFF;
const std::string kPlaceholder(9, '\xff');

std::string exported(uint32_t mask = kAll)
{
    EXPECT_EQ(nvm_export(kPath, mask, 0), 0U);
    return read_text(kPath);
}

} // namespace

using Export = MadeStore;

// ---- Which parameters ----

TEST_F(Export, lines_follow_the_order_of_the_defaults_file)
{
    declare("# comment\nz=1=1\n\na=2=2\nm=3=3\n");
    EXPECT_EQ(exported(), "z=1=1\na=2=2\nm=3=3\n");
}

TEST_F(Export, mask_and_bits_must_have_a_bit_in_common)
{
    declare("none=0=x\none=1=x\ntwo=2=x\nboth=3=x\nhigh=80000000=x\n");
    EXPECT_EQ(exported(1), "one=1=x\nboth=3=x\n");
    EXPECT_EQ(exported(2), "two=2=x\nboth=3=x\n");
    EXPECT_EQ(exported(0x80000000), "high=80000000=x\n");
    EXPECT_EQ(exported(0x80000002), "two=2=x\nboth=3=x\nhigh=80000000=x\n");
    EXPECT_EQ(exported(kAll), "one=1=x\ntwo=2=x\nboth=3=x\nhigh=80000000=x\n");
    EXPECT_EQ(exported(4), "");
    EXPECT_EQ(exported(0), "");
}

TEST_F(Export, undeclared_parameters_are_left_out)
{
    put_both("undeclared", "value");
    EXPECT_EQ(exported(), "a=1=default\n");
}

TEST_F(Export, bits_are_those_declared_in_lower_case_without_a_prefix)
{
    declare("a=0x1F=x\nb=0001=x\nc=FFFFFFFF=x\nd=aBc=x\n");
    EXPECT_EQ(exported(), "a=1f=x\nb=1=x\nc=ffffffff=x\nd=abc=x\n");
}

TEST_F(Export, every_line_of_the_defaults_file_counts)
{
    declare("a=1=first\n=1=nameless\na=1=second\n");
    EXPECT_EQ(exported(), "a=1=first\n=1=nameless\na=1=second\n");
}

// ---- Which value ----

TEST_F(Export, value_is_the_current_one_else_the_backup_else_the_default)
{
    declare("a=1=default\nb=1=default\nc=1=default\n");
    current.put("a", stored("current"));
    backup.put("a", stored("backup"));
    backup.put("b", stored("backup"));
    EXPECT_EQ(exported(), "a=1=current\nb=1=backup\nc=1=default\n");
}

TEST_F(Export, empty_copies_are_passed_over)
{
    declare("a=1=default\nb=1=default\n");
    current.put("a", "");
    backup.put("a", stored("backup"));
    current.put("b", "");
    backup.put("b", "");
    EXPECT_EQ(exported(), "a=1=backup\nb=1=default\n");
}

TEST_F(Export, copies_that_cannot_be_read_are_passed_over)
{
    mkdir(current.file_of("a").c_str(), 0755);
    backup.put("a", stored("backup"));
    EXPECT_EQ(exported(), "a=1=backup\n");
}

TEST_F(Export, empty_value_is_a_value)
{
    current.put("a", stored(""));
    backup.put("a", stored("backup"));
    EXPECT_EQ(exported(), "a=1=\n");
}

TEST_F(Export, value_ends_at_the_first_terminator_or_before_the_last_byte)
{
    current.put("a", stored("abc") + "garbage");
    EXPECT_EQ(exported(), "a=1=abc\n");
    current.put("a", "hello!");
    EXPECT_EQ(exported(), "a=1=hello\n");
}

TEST_F(Export, value_may_hold_equals_signs_and_any_other_byte)
{
    std::string value = "=";
    for (int byte = 1; byte < 256; ++byte) {
        if (byte != '\n') {
            value += static_cast<char>(byte);
        }
    }
    current.put("a", stored(value));
    EXPECT_EQ(exported(), "a=1=" + value + "\n");
}

TEST_F(Export, longest_line_has_longest_name_bits_and_value)
{
    const std::string name(127, 'n');
    const std::string value(4095, 'v');
    declare(name + "=ffffffff=default\n");
    current.put(name, stored(value));
    EXPECT_EQ(exported(), name + "=ffffffff=" + value + "\n");
    // What is longer is cut to what one read takes.
    current.put(name, stored(value + "vv"));
    EXPECT_EQ(exported(), name + "=ffffffff=" + value + "\n");
    remove(current.file_of(name).c_str());
    declare(name + "=ffffffff=" + value + "\n");
    EXPECT_EQ(exported(), name + "=ffffffff=" + value + "\n");
}

TEST_F(Export, changes_no_copy)
{
    declare("a=1=default\nb=1=default\n");
    current.put("a", stored("abc") + "garbage");
    exported();
    EXPECT_EQ(current.content("a"), stored("abc") + "garbage");
    EXPECT_EQ(current.files(), std::set<std::string>{"a"});
    EXPECT_EQ(backup.files(), std::set<std::string>());
}

// ---- The checksum line ----

TEST_F(Export, checksum_line_covers_the_lines)
{
    declare("a=1=x\nb=2=y\nc=1=" + std::string(4000, 'z') + "\nd=1=" + std::string(4000, 'z') + "\n");
    for (const uint32_t mask : {1U, 2U, 3U}) {
        const std::string lines = exported(mask);
        EXPECT_EQ(nvm_export(kPath, mask, 1), 0U);
        EXPECT_EQ(read_text(kPath), with_checksum(lines));
    }
}

TEST_F(Export, checksum_is_upper_case_with_leading_zeros)
{
    int low = 0;
    int upper_case = 0;
    for (int i = 0; i < 300; ++i) {
        const std::string line = "a=1=" + std::to_string(i) + "\n";
        declare(line);
        ASSERT_EQ(nvm_export(kPath, kAll, 1), 0U);
        const std::string header = with_checksum(line).substr(0, 9);
        EXPECT_EQ(read_text(kPath).substr(0, 9), header);
        low += header[0] == '0';
        upper_case += header.find_first_of("ABCDEF") != std::string::npos;
    }
    EXPECT_GT(low, 0);
    EXPECT_GT(upper_case, 0);
}

TEST_F(Export, of_nothing_with_a_checksum_is_eight_zeros)
{
    EXPECT_EQ(nvm_export(kPath, 0, 1), 0U);
    EXPECT_EQ(read_text(kPath), "00000000\n");
}

TEST_F(Export, checksum_line_is_asked_for_by_any_non_zero_value)
{
    for (const int with_crc : {1, 2, -1, 0x100, 0x10000}) {
        EXPECT_EQ(nvm_export(kPath, kAll, with_crc), 0U);
        EXPECT_EQ(read_text(kPath), with_checksum("a=1=default\n"));
    }
}

// ---- The output file ----

TEST_F(Export, null_path_gives_3)
{
    EXPECT_EQ(nvm_export(nullptr, kAll, 0), 3U);
    remove_defaults();
    EXPECT_EQ(nvm_export(nullptr, kAll, 1), 3U);
}

TEST_F(Export, file_that_cannot_be_made_gives_3_before_the_defaults_are_asked)
{
    remove_defaults();
    for (const char *path : {"", "/2ndfile/missing/file", "/2ndfile", NVM_CURRENT_DIR}) {
        EXPECT_EQ(nvm_export(path, kAll, 0), 3U) << path;
        EXPECT_EQ(nvm_export(path, kAll, 1), 3U) << path;
    }
}

TEST_F(Export, old_file_is_emptied_and_keeps_its_mode)
{
    write_text(kPath, std::string(10000, 'x'));
    chmod(kPath, 0604);
    EXPECT_EQ(exported(), "a=1=default\n");
    EXPECT_EQ(mode_of(kPath), 0604U);
}

TEST_F(Export, new_file_has_mode_0666_within_the_file_creation_mask)
{
    umask(0);
    exported();
    EXPECT_EQ(mode_of(kPath), 0666U);
    remove(kPath);
    umask(027);
    exported();
    EXPECT_EQ(mode_of(kPath), 0640U);
    EXPECT_EQ(current_umask(), 027U);
}

TEST_F(Export, checksum_needs_a_file_that_can_be_sought_in)
{
    for (const int with_crc : {0, 1}) {
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        const std::string path = "/proc/self/fd/" + std::to_string(ends[1]);
        EXPECT_EQ(nvm_export(path.c_str(), kAll, with_crc), with_crc != 0 ? 3U : 0U);
        close(ends[1]);
        char bytes[100];
        const ssize_t count = read(ends[0], bytes, sizeof(bytes));
        close(ends[0]);
        ASSERT_GE(count, 0);
        EXPECT_EQ(std::string(bytes, static_cast<size_t>(count)),
                  (with_crc != 0 ? kPlaceholder : "") + "a=1=default\n");
    }
}

// ---- The defaults file ----

TEST_F(Export, missing_defaults_file_gives_5_and_leaves_an_empty_file_or_the_placeholder)
{
    remove_defaults();
    write_text(kPath, "old content");
    EXPECT_EQ(nvm_export(kPath, kAll, 0), 5U);
    EXPECT_EQ(read_text(kPath), "");
    EXPECT_EQ(nvm_export(kPath, kAll, 1), 5U);
    EXPECT_EQ(read_text(kPath), kPlaceholder);
}

TEST_F(Export, malformed_defaults_line_gives_5_and_leaves_what_came_before)
{
    declare("a=1=x\nbroken\nb=1=y\n");
    EXPECT_EQ(nvm_export(kPath, kAll, 0), 5U);
    EXPECT_EQ(read_text(kPath), "a=1=x\n");
    EXPECT_EQ(nvm_export(kPath, 0, 0), 5U);
    EXPECT_EQ(read_text(kPath), "");
}

TEST_F(Export, file_left_with_its_placeholder_is_not_imported)
{
    declare("a=1=x\nbroken\n");
    EXPECT_EQ(nvm_export(kPath, kAll, 1), 5U);
    EXPECT_EQ(read_text(kPath), kPlaceholder + "a=1=x\n");
    EXPECT_EQ(nvm_import(kPath, kAll, 1, 0), 3U);
    EXPECT_EQ(current.files(), std::set<std::string>());
}

TEST_F(Export, leaves_no_descriptor_open)
{
    current.put("a", "");
    backup.put("a", stored("x"));
    const int before = count_descriptors();
    for (const char *defaults : {"a=1=x\nb=1=y\n", "a=1=x\nbroken\n"}) {
        declare(defaults);
        nvm_export(kPath, kAll, 0);
        nvm_export(kPath, kAll, 1);
    }
    remove_defaults();
    nvm_export(kPath, kAll, 1);
    nvm_export("/2ndfile/missing/file", kAll, 1);
    EXPECT_EQ(count_descriptors(), before);
}

} // namespace export_test
