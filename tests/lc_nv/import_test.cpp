// Loading parameters from a file.
#include "support/persistent_store.h"

namespace import_test {

using namespace testing_support;

namespace {

constexpr char kPath[] = "/2ndfile/input";
constexpr uint32_t kAll = 0xFFFFFFFF;

// One with a checksum line, as it is or damaged.
uint32_t import_checked(const std::string &content)
{
    write_text(kPath, content);
    return nvm_import(kPath, kAll, 1, 0);
}

uint32_t import_lines(const std::string &lines, uint32_t mask = kAll)
{
    write_text(kPath, lines);
    return nvm_import(kPath, mask, 0, 0);
}

} // namespace

class Import : public MadeStore {
protected:
    Import() { declare("a=1=default a\nb=2=default b\nc=3=default c\nnone=0=default\n"); }

    void expect_nothing_stored() const
    {
        EXPECT_EQ(current.files(), std::set<std::string>());
        EXPECT_EQ(backup.files(), std::set<std::string>());
    }
};

// ---- What is applied ----

TEST_F(Import, stores_every_value_in_both_copies)
{
    put_both("a", "a much longer old value");
    current.put("b", stored("b"));
    EXPECT_EQ(import_lines("# comment\na=1=new a\n\nb=2=new b\nc=3=\n"), 0U);
    expect_both("a", "new a");
    expect_both("b", "new b");
    expect_both("c", "");
}

TEST_F(Import, makes_files_of_mode_0666_and_leaves_the_file_creation_mask_0)
{
    umask(077);
    EXPECT_EQ(import_lines("a=1=x\n"), 0U);
    EXPECT_EQ(mode_of(current.file_of("a")), 0666U);
    EXPECT_EQ(mode_of(backup.file_of("a")), 0666U);
    EXPECT_EQ(current_umask(), 0U);
}

TEST_F(Import, file_creation_mask_is_0_afterwards_even_when_refused)
{
    for (const char *path : {static_cast<const char *>(nullptr), "/2ndfile/missing"}) {
        umask(077);
        EXPECT_EQ(nvm_import(path, kAll, 0, 0), 3U);
        EXPECT_EQ(current_umask(), 0U);
    }
}

TEST_F(Import, parameters_that_are_not_in_the_file_keep_their_values)
{
    put_both("b", "kept");
    EXPECT_EQ(import_lines("a=1=x\n"), 0U);
    expect_both("b", "kept");
    EXPECT_EQ(current.files(), (std::set<std::string>{"a", "b"}));
}

TEST_F(Import, undeclared_parameters_are_ignored_also_when_there_is_a_copy)
{
    put_both("undeclared", "kept");
    EXPECT_EQ(import_lines("undeclared=ffffffff=new\nother=1=x\nA=1=x\na=1=x\n"), 0U);
    expect_both("undeclared", "kept");
    expect_both("a", "x");
    EXPECT_EQ(current.files(), (std::set<std::string>{"a", "undeclared"}));
}

TEST_F(Import, declared_bits_and_not_those_of_the_file_must_have_one_in_common_with_the_mask)
{
    const std::string lines = "a=ffffffff=x\nb=ffffffff=x\nc=0=x\nnone=ffffffff=x\n";
    EXPECT_EQ(import_lines(lines, 0), 0U);
    EXPECT_EQ(import_lines(lines, 4), 0U);
    expect_nothing_stored();
    EXPECT_EQ(import_lines(lines, 2), 0U);
    EXPECT_EQ(current.files(), (std::set<std::string>{"b", "c"}));
    EXPECT_EQ(import_lines(lines, 1), 0U);
    EXPECT_EQ(current.files(), (std::set<std::string>{"a", "b", "c"}));
    EXPECT_EQ(backup.files(), (std::set<std::string>{"a", "b", "c"}));
    EXPECT_EQ(import_lines(lines), 0U);
    EXPECT_EQ(current.files(), (std::set<std::string>{"a", "b", "c"}));
}

TEST_F(Import, highest_bit_of_the_mask_selects_too)
{
    declare("a=80000000=x\nb=7fffffff=x\n");
    EXPECT_EQ(import_lines("a=0=new\nb=0=new\n", 0x80000000), 0U);
    EXPECT_EQ(current.files(), std::set<std::string>{"a"});
}

TEST_F(Import, first_declaration_decides)
{
    declare("a=1=x\na=2=x\n");
    EXPECT_EQ(import_lines("a=2=new\n", 2), 0U);
    expect_nothing_stored();
}

TEST_F(Import, last_of_two_lines_counts)
{
    EXPECT_EQ(import_lines("a=1=first and longer\na=1=second\n"), 0U);
    expect_both("a", "second");
}

TEST_F(Import, values_are_stored_as_they_stand)
{
    std::string value = "=";
    for (int byte = 1; byte < 256; ++byte) {
        if (byte != '\n') {
            value += static_cast<char>(byte);
        }
    }
    EXPECT_EQ(import_lines("a=1=" + value + "\nb=1= x \r\n"), 0U);
    expect_both("a", value);
    expect_both("b", " x \r");
}

TEST_F(Import, value_of_4095_bytes_is_stored_and_of_4096_is_malformed)
{
    const std::string value(4095, 'v');
    EXPECT_EQ(import_lines("a=1=" + value + "\n"), 0U);
    expect_both("a", value);
    EXPECT_EQ(import_lines("b=1=" + value + "v\n"), 3U);
    EXPECT_EQ(current.files(), std::set<std::string>{"a"});
}

TEST_F(Import, line_of_4255_bytes_is_read_and_of_4256_is_malformed)
{
    const std::string name(127, 'n');
    declare(name + "=1=default\na=1=default\n");
    EXPECT_EQ(import_lines(line_of_size(4255) + "a=1=x\n"), 0U);
    expect_both(name, std::string(4095, 'v'));
    expect_both("a", "x");
    EXPECT_EQ(import_lines("a=1=y\n" + line_of_size(4256) + "a=1=z\n"), 3U);
    expect_both("a", "y");
}

TEST_F(Import, empty_name_stores_nothing)
{
    declare("=1=nameless\na=1=default\n");
    EXPECT_EQ(import_lines("=1=x\na=1=y\n"), 0U);
    EXPECT_EQ(current.files(), std::set<std::string>{"a"});
}

TEST_F(Import, copies_that_cannot_be_written_are_not_reported)
{
    mkdir(current.file_of("a").c_str(), 0755);
    mkdir(backup.file_of("b").c_str(), 0755);
    EXPECT_EQ(import_lines("a=1=x\nb=1=y\nc=1=z\n"), 0U);
    EXPECT_EQ(backup.content("a"), stored("x"));
    EXPECT_EQ(current.content("b"), stored("y"));
    expect_both("c", "z");
}

// ---- The file ----

TEST_F(Import, null_path_gives_3)
{
    testing::internal::CaptureStderr();
    EXPECT_EQ(nvm_import(nullptr, kAll, 0, 0), 3U);
    EXPECT_EQ(nvm_import(nullptr, kAll, 1, 1), 3U);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(Import, file_that_cannot_be_opened_gives_3_and_the_reason_on_standard_error)
{
    testing::internal::CaptureStderr();
    EXPECT_EQ(nvm_import("/2ndfile/missing", kAll, 0, 0), 3U);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "lc_fopen: No such file or directory\n");
    write_text("/2ndfile/file", "");
    testing::internal::CaptureStderr();
    EXPECT_EQ(nvm_import("/2ndfile/file/below", kAll, 1, 1), 3U);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "lc_fopen: Not a directory\n");
}

TEST_F(Import, what_opens_but_cannot_be_read_gives_3_and_prints_nothing)
{
    testing::internal::CaptureStderr();
    // A folder, and a file whose start is mapped nowhere.
    for (const char *path : {"/2ndfile", "/2ndfile/", "/proc/self/mem"}) {
        for (const int has_crc : {0, 1}) {
            EXPECT_EQ(nvm_import(path, kAll, has_crc, 0), 3U) << path;
            EXPECT_EQ(nvm_import(path, kAll, has_crc, 1), 3U) << path;
        }
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    expect_nothing_stored();
}

TEST_F(Import, every_other_failure_prints_nothing)
{
    testing::internal::CaptureStderr();
    EXPECT_EQ(import_checked("00000000\na=1=x\n"), 3U);
    EXPECT_EQ(import_lines("broken\n"), 3U);
    EXPECT_EQ(nvm_import(kPath, kAll, 0, 1), 3U);
    remove_defaults();
    EXPECT_EQ(import_lines("a=1=x\n"), 5U);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(Import, empty_file_gives_0)
{
    EXPECT_EQ(import_lines(""), 0U);
    EXPECT_EQ(import_lines("# comment\n\n"), 0U);
    EXPECT_EQ(import_checked("00000000\n"), 0U);
    expect_nothing_stored();
}

TEST_F(Import, malformed_line_gives_3_and_what_came_before_stays_applied)
{
    for (const char *line : {"broken", "b=1", "b==x", "b d=1=x", "b=100000000=x", " "}) {
        put_both("b", "old");
        EXPECT_EQ(import_lines("a=1=new\n" + std::string(line) + "\nb=1=new\n"), 3U) << line;
        expect_both("a", "new");
        expect_both("b", "old");
    }
}

TEST_F(Import, last_line_needs_a_line_feed)
{
    EXPECT_EQ(import_lines("a=1=x\nb=1=y"), 3U);
    expect_both("a", "x");
    EXPECT_EQ(current.files(), std::set<std::string>{"a"});
}

// ---- The checksum line ----

TEST_F(Import, with_a_right_checksum_is_applied)
{
    EXPECT_EQ(import_checked(with_checksum("a=1=x\nb=1=y\n")), 0U);
    expect_both("a", "x");
    expect_both("b", "y");
}

TEST_F(Import, any_damaged_byte_gives_3_and_changes_nothing)
{
    put_both("a", "old");
    const std::string content = with_checksum("a=1=x\nb=1=y\n");
    for (size_t i = 0; i < content.size(); ++i) {
        std::string damaged = content;
        damaged[i] ^= 1;
        EXPECT_EQ(import_checked(damaged), 3U) << i;
        EXPECT_EQ(import_checked(content.substr(0, i)), 3U) << i;
    }
    EXPECT_EQ(import_checked(content + "\n"), 3U);
    expect_both("a", "old");
    EXPECT_EQ(current.files(), std::set<std::string>{"a"});
}

TEST_F(Import, damage_in_the_last_of_several_blocks_is_noticed_before_anything_is_applied)
{
    std::string lines = "a=1=x\n";
    while (lines.size() < size_t{3} * NV_LINE_SIZE) {
        lines += "# " + std::string(90, '-') + "\n";
    }
    std::string content = with_checksum(lines);
    content[content.size() - 2] ^= 1;
    EXPECT_EQ(import_checked(content), 3U);
    expect_nothing_stored();
    EXPECT_EQ(import_checked(with_checksum(lines)), 0U);
    expect_both("a", "x");
}

TEST_F(Import, checksum_line_that_was_not_announced_is_malformed)
{
    EXPECT_EQ(import_lines(with_checksum("a=1=x\n")), 3U);
    expect_nothing_stored();
}

TEST_F(Import, checksum_line_that_was_announced_must_be_there)
{
    EXPECT_EQ(import_checked("a=1=x\n"), 3U);
    EXPECT_EQ(import_checked(""), 3U);
    expect_nothing_stored();
}

TEST_F(Import, of_an_exported_file_restores_every_selected_parameter)
{
    declare("a=1=x\nb=2=x\nc=3=x\n=1=nameless\n" + std::string(127, 'n') + "=1=x\n");
    ASSERT_EQ(nvm_init(), 0U);
    for (const char *name : {"a", "b", "c"}) {
        ASSERT_EQ(write_nv(name, name + std::string("=saved\xff")), 0U);
    }
    ASSERT_EQ(nvm_export(kPath, 1, 1), 0U);
    for (const char *name : {"a", "b", "c"}) {
        ASSERT_EQ(write_nv(name, "changed"), 0U);
    }
    EXPECT_EQ(nvm_import(kPath, 1, 1, 0), 0U);
    expect_both("a", "a=saved\xff");
    expect_both("b", "changed");
    expect_both("c", "c=saved\xff");
}

// ---- The defaults file ----

TEST_F(Import, missing_defaults_file_gives_5)
{
    remove_defaults();
    EXPECT_EQ(import_lines("a=1=x\n"), 5U);
    expect_nothing_stored();
    // It is asked only for a parameter.
    EXPECT_EQ(import_lines("# comment\n"), 0U);
}

TEST_F(Import, malformed_line_of_the_defaults_gives_5_when_it_is_reached)
{
    declare("a=1=x\nbroken\nb=1=x\n");
    EXPECT_EQ(import_lines("a=1=new\nb=1=new\nc=1=new\n"), 5U);
    expect_both("a", "new");
    EXPECT_EQ(current.files(), std::set<std::string>{"a"});
    EXPECT_EQ(import_lines("undeclared=1=new\na=1=newer\n"), 5U);
    expect_both("a", "new");
}

TEST_F(Import, leaves_no_descriptor_open)
{
    mkdir(backup.file_of("b").c_str(), 0755);
    const int before = count_descriptors();
    import_lines("a=1=x\nb=1=x\nnone=1=x\nundeclared=1=x\n");
    import_lines("broken\n");
    import_checked(with_checksum("a=1=x\n"));
    import_checked("00000000\nbroken\n");
    nvm_import("/2ndfile/missing", kAll, 0, 0);
    declare("broken\n");
    import_lines("a=1=x\n");
    EXPECT_EQ(count_descriptors(), before);
}

// ---- Reset ----

class RouterReset : public MadeStore {
protected:
    RouterReset() { declare("a=1=default a\nb=2=default b\nc=0=default c\nd=ffffffff=default=d\n"); }
};

TEST_F(RouterReset, parameters_with_bit_0_get_their_defaults_back_and_others_keep_their_values)
{
    for (const char *name : {"a", "b", "c", "d", "undeclared"}) {
        put_both(name, "set");
    }
    EXPECT_EQ(nvm_routerreset(), 0U);
    expect_both("a", "default a");
    expect_both("b", "set");
    expect_both("c", "set");
    expect_both("d", "default=d");
    expect_both("undeclared", "set");
}

TEST_F(RouterReset, makes_missing_copies_of_the_selected_parameters_alone)
{
    umask(077);
    EXPECT_EQ(nvm_routerreset(), 0U);
    EXPECT_EQ(current.files(), (std::set<std::string>{"a", "d"}));
    EXPECT_EQ(backup.files(), (std::set<std::string>{"a", "d"}));
    EXPECT_EQ(mode_of(current.file_of("a")), 0666U);
    EXPECT_EQ(current_umask(), 0U);
}

TEST_F(RouterReset, without_a_defaults_file_gives_3_and_the_reason_on_standard_error)
{
    remove_defaults();
    testing::internal::CaptureStderr();
    EXPECT_EQ(nvm_routerreset(), 3U);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "lc_fopen: No such file or directory\n");
}

TEST_F(RouterReset, stops_at_a_malformed_line_with_3)
{
    declare("a=1=x\nbroken\nb=1=x\n");
    put_both("a", "set");
    put_both("b", "set");
    EXPECT_EQ(nvm_routerreset(), 3U);
    expect_both("a", "x");
    expect_both("b", "set");
}

} // namespace import_test
