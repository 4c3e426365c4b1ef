// Imports that are accepted only from a file made for this router.
#include "support/persistent_store.h"

namespace identity_test {

using namespace testing_support;

namespace {

constexpr char kPath[] = "/2ndfile/input";
constexpr uint32_t kAll = 0xFFFFFFFF;

const std::string kVersion = "pri_version=1=12.3\n";
const std::string kVariant = "up_dev_sku=1=EU\n";
const std::string kBoth = kVersion + kVariant;

uint32_t import_checked(const std::string &lines)
{
    write_text(kPath, with_checksum(lines));
    return nvm_import(kPath, kAll, 1, 1);
}

// Without a checksum line.
uint32_t import_plain(const std::string &lines)
{
    write_text(kPath, lines);
    return nvm_import(kPath, kAll, 0, 1);
}

} // namespace

class Identity : public MadeStore {
protected:
    Identity() { declare("a=1=default\n" + kBoth + "b=1=default\n"); }

    // With and without a checksum line.
    void expect_result(const std::string &lines, uint32_t result) const
    {
        EXPECT_EQ(import_checked(lines), result) << lines;
        EXPECT_EQ(import_plain(lines), result) << lines;
    }
    void expect_refused(const std::string &lines, uint32_t result = 3) const
    {
        expect_result(lines, result);
        EXPECT_EQ(current.files(), std::set<std::string>()) << lines;
        EXPECT_EQ(backup.files(), std::set<std::string>()) << lines;
    }
};

TEST_F(Identity, both_parameters_with_their_default_values_are_accepted)
{
    expect_result(kBoth + "a=1=x\n", 0);
    expect_both("a", "x");
}

TEST_F(Identity, parameters_may_come_in_either_order_between_others)
{
    expect_result("# comment\n\nundeclared=1=x\n" + kVariant + "b=1=y\n" + kVersion + "a=1=x\n", 0);
    expect_both("a", "x");
}

TEST_F(Identity, value_that_differs_is_refused_and_nothing_is_written)
{
    for (const char *version : {"12.4", "12.3 ", "12", ""}) {
        expect_refused("a=1=x\npri_version=1=" + std::string(version) + "\n" + kVariant + "b=1=y\n");
    }
    for (const char *variant : {"US", "eu", "EU=", ""}) {
        expect_refused("a=1=x\n" + kVersion + "up_dev_sku=1=" + std::string(variant) + "\nb=1=y\n");
    }
}

TEST_F(Identity, missing_parameter_is_refused)
{
    expect_refused(kVersion + "a=1=x\n");
    expect_refused(kVariant + "a=1=x\n");
    expect_refused("a=1=x\n");
    expect_refused("");
    expect_refused("# " + kVersion + kVariant);
    expect_refused(kVersion + kVersion);
    expect_refused("Pri_version=1=12.3\n" + kVariant);
}

TEST_F(Identity, values_may_not_be_exchanged)
{
    declare("pri_version=1=v\nup_dev_sku=1=w\na=1=v\n");
    expect_refused("pri_version=1=w\nup_dev_sku=1=v\na=1=v\n");
}

TEST_F(Identity, default_counts_and_not_the_current_value)
{
    put_both("pri_version", "99");
    EXPECT_EQ(import_plain("pri_version=1=99\n" + kVariant + "a=1=x\n"), 3U);
    EXPECT_EQ(import_plain(kBoth + "a=1=x\n"), 0U);
    expect_both("a", "x");
    expect_both("pri_version", "99");
}

TEST_F(Identity, later_line_with_the_right_value_makes_up_for_a_wrong_one)
{
    expect_result("pri_version=1=1\n" + kVariant + kVersion + "a=1=x\n", 0);
    expect_both("a", "x");
}

TEST_F(Identity, right_value_counts_also_when_a_later_line_has_a_wrong_one)
{
    EXPECT_EQ(import_plain(kVersion + "pri_version=1=99\n" + kVariant + "a=1=x\n"), 0U);
    EXPECT_EQ(import_plain(kVariant + "up_dev_sku=1=US\n" + kVersion + "b=1=y\n"), 0U);
    expect_both("a", "x");
    expect_both("b", "y");
    EXPECT_EQ(current.files(), (std::set<std::string>{"a", "b"}));
    // With a checksum line the wrong one is applied like any other.
    EXPECT_EQ(import_checked(kVersion + "pri_version=1=99\n" + kVariant), 0U);
    expect_both("pri_version", "99");
}

TEST_F(Identity, attribute_bits_play_no_part)
{
    write_text(kPath, "pri_version=0=12.3\nup_dev_sku=ff=EU\na=1=x\n");
    EXPECT_EQ(nvm_import(kPath, 0, 0, 1), 0U);
    declare("pri_version=0=12.3\nup_dev_sku=0=EU\na=1=default\n");
    EXPECT_EQ(nvm_import(kPath, 1, 0, 1), 0U);
    expect_both("a", "x");
}

TEST_F(Identity, undeclared_parameter_is_refused)
{
    declare(kVersion + "a=1=default\n");
    expect_refused(kBoth + "a=1=x\n");
}

TEST_F(Identity, is_demanded_by_any_non_zero_value_and_by_that_alone)
{
    write_text(kPath, "a=1=x\n");
    for (const int demanded : {1, 2, -1, 0x100, 0x10000}) {
        EXPECT_EQ(nvm_import(kPath, kAll, 0, demanded), 3U) << demanded;
    }
    EXPECT_EQ(nvm_import(kPath, kAll, 0, 0), 0U);
}

// ---- What is applied ----

TEST_F(Identity, with_a_checksum_line_every_line_is_applied)
{
    EXPECT_EQ(import_checked("a=1=x\n" + kVersion + "b=1=y\n" + kVariant), 0U);
    expect_both("a", "x");
    expect_both("b", "y");
    expect_both("pri_version", "12.3");
    expect_both("up_dev_sku", "EU");
}

TEST_F(Identity, without_a_checksum_line_only_what_follows_the_later_parameter_is_applied)
{
    EXPECT_EQ(import_plain("a=1=before\n" + kVersion + "a=1=between\n" + kVariant + "b=1=y\n"), 0U);
    expect_both("b", "y");
    EXPECT_EQ(current.files(), std::set<std::string>{"b"});
    EXPECT_EQ(backup.files(), std::set<std::string>{"b"});
}

TEST_F(Identity, without_a_checksum_line_nothing_may_follow)
{
    EXPECT_EQ(import_plain("a=1=before\n" + kVariant + kVersion), 0U);
    EXPECT_EQ(current.files(), std::set<std::string>());
}

TEST_F(Identity, search_stops_as_soon_as_both_are_there)
{
    // What follows is applied like any other line, whatever it says.
    expect_result(kBoth + "a=1=x\npri_version=1=99\nbroken\nb=1=y\n", 3);
    expect_both("a", "x");
    expect_both("pri_version", "99");
    EXPECT_FALSE(current.files().contains("b"));
}

TEST_F(Identity, malformed_line_before_both_are_there_is_refused)
{
    expect_refused("broken\n" + kBoth);
    expect_refused("a=1=x\n" + kVersion + "broken\n" + kVariant);
    expect_refused(kVersion + "up_dev_sku=1=EU");
}

TEST_F(Identity, wrong_checksum_is_refused)
{
    std::string content = with_checksum(kBoth + "a=1=x\n");
    content[content.size() - 2] = 'y';
    write_text(kPath, content);
    EXPECT_EQ(nvm_import(kPath, kAll, 1, 1), 3U);
    EXPECT_EQ(current.files(), std::set<std::string>());
}

TEST_F(Identity, exported_file_is_accepted)
{
    ASSERT_EQ(nvm_init(), 0U);
    ASSERT_EQ(write_nv("a", "saved"), 0U);
    ASSERT_EQ(nvm_export(kPath, kAll, 1), 0U);
    ASSERT_EQ(write_nv("a", "changed"), 0U);
    EXPECT_EQ(nvm_import(kPath, kAll, 1, 1), 0U);
    expect_both("a", "saved");
}

// ---- The defaults file ----

TEST_F(Identity, missing_defaults_file_gives_5)
{
    remove_defaults();
    expect_refused(kBoth, 5);
    expect_refused("undeclared=1=x\n", 5);
    // It is asked only for a parameter.
    expect_refused("# comment\n", 3);
}

TEST_F(Identity, malformed_line_of_the_defaults_gives_5_when_it_is_reached)
{
    declare(kVersion + "broken\n" + kVariant + "a=1=default\n");
    expect_refused(kVersion + "a=1=x\n", 5);
    expect_refused(kVersion + kVariant, 5);
    expect_refused(kVersion, 3);
}

TEST_F(Identity, refusal_leaves_no_descriptor_open)
{
    const int before = count_descriptors();
    expect_refused("pri_version=1=1\n" + kVariant);
    expect_refused("broken\n");
    declare("broken\n");
    expect_refused(kBoth, 5);
    EXPECT_EQ(count_descriptors(), before);
}

} // namespace identity_test
