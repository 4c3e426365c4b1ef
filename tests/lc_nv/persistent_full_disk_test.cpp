// The file system of the persistent store is full: writes fail or are cut short, which is not reported.
// Existing values are kept, and the next start repairs what it can.
#include "support/persistent_store.h"
#include "support/scoped_mount.h"

#include <unistd.h>

namespace persistent_full_disk_test {

using namespace testing_support;

namespace {

constexpr const char *kFile = "/2ndfile/file";
constexpr const char *kFiller = "/2ndfile/filler";
constexpr size_t kPage = 4096;

// A file system of a few pages; each file with something in it takes at least one.
class SmallDisk {
private:
    ScopedMount mount_{"/2ndfile", "size=64k"};
};

class FullDisk : private SmallDisk, public MadeStore {
protected:
    FullDisk()
    {
        declare("a=1=default\nb=1=other\n");
        put_both("b", "kept");
    }
    ~FullDisk() override { expect_both("b", "kept"); }

    // Fills the file system until so many pages are left.
    static void leave_room(int pages)
    {
        FILE *filler = fopen(kFiller, "w");
        setvbuf(filler, nullptr, _IONBF, 0);
        const std::string page(kPage, 'x');
        long written = 0;
        while (fwrite(page.data(), page.size(), 1, filler) == 1) {
            ++written;
        }
        fclose(filler);
        EXPECT_EQ(truncate(kFiller, (written - pages) * static_cast<long>(page.size())), 0);
    }
    static void free_all() { remove(kFiller); }

    // The next start, with room again.
    static void restart()
    {
        free_all();
        EXPECT_EQ(nvm_init(), 0U);
    }
};

} // namespace

TEST_F(FullDisk, first_value_is_lost_and_the_default_takes_its_place)
{
    leave_room(0);
    EXPECT_EQ(write_nv("a", "value"), 0U);
    EXPECT_EQ(current.content("a"), "");
    EXPECT_EQ(backup.content("a"), "");
    EXPECT_EQ(current.files(), (std::set<std::string>{"a", "b"})) << "made, but empty";
    EXPECT_EQ(read_nv("a"), found("default"));
    restart();
    expect_both("a", "default");
}

TEST_F(FullDisk, first_value_that_fits_once_is_mirrored_at_the_next_start)
{
    leave_room(1);
    EXPECT_EQ(write_nv("a", "value"), 0U);
    EXPECT_EQ(current.content("a"), stored("value"));
    EXPECT_EQ(backup.content("a"), "");
    EXPECT_EQ(read_nv("a"), found("value"));
    restart();
    expect_both("a", "value");
}

TEST_F(FullDisk, current_copy_that_is_lost_comes_back_from_the_backup)
{
    put_both("a", "value");
    leave_room(0);
    current.put("a", ""); // its page goes to the next who asks
    write_text("/2ndfile/other", "x");
    EXPECT_EQ(nvm_init(), 0U);
    EXPECT_EQ(current.content("a"), "");
    EXPECT_EQ(backup.content("a"), stored("value"));
    EXPECT_EQ(read_nv("a"), found("value"));
    restart();
    expect_both("a", "value");
}

TEST_F(FullDisk, value_that_needs_no_more_room_replaces_the_old)
{
    put_both("a", "value");
    leave_room(0);
    EXPECT_EQ(write_nv("a", "another value"), 0U);
    expect_both("a", "another value");
}

TEST_F(FullDisk, write_cut_short_leaves_its_beginning)
{
    const std::string value(kPage + 100, 'v');
    put_both("a", "value");
    leave_room(0);
    EXPECT_EQ(nvm_writenv("a", value.c_str(), 2 * kPage), 0U);
    const std::string written(kPage, 'v');
    EXPECT_EQ(current.content("a"), written);
    EXPECT_EQ(backup.content("a"), written);

    // Nothing ends the text but the read itself, at its 4096th byte. The backup gets the terminator.
    EXPECT_EQ(read_nv("a"), found(std::string(4095, 'v')));
    restart();
    EXPECT_EQ(current.content("a"), std::string(4096, 'v'));
    EXPECT_EQ(backup.content("a"), stored(std::string(4095, 'v')));
    EXPECT_EQ(read_nv("a"), found(std::string(4095, 'v')));
}

TEST_F(FullDisk, start_is_not_refused)
{
    leave_room(0);
    EXPECT_EQ(nvm_init(), 0U);
    EXPECT_EQ(read_nv("a"), found("default"));
    EXPECT_EQ(nvm_fin(), 0U);
    EXPECT_EQ(nvm_init(), 0U);
    restart();
    expect_both("a", "default");
}

TEST_F(FullDisk, export_cut_short_is_not_accepted_by_an_import)
{
    put_both("a", "value");
    leave_room(0);
    EXPECT_EQ(nvm_export(kFile, 1, 1), 0U);
    EXPECT_EQ(read_text(kFile), "");
    EXPECT_EQ(nvm_import(kFile, 1, 1, 0), 3U);

    put_both("a", std::string(4000, 'v'));
    declare("a=1=default\n#" + std::string(1000, '-') + "\nb=1=other\nc=1=" + std::string(200, 'd') +
            "\n");
    free_all();
    leave_room(1);
    EXPECT_EQ(nvm_export(kFile, 1, 1), 0U);
    EXPECT_EQ(read_text(kFile).size(), kPage);
    EXPECT_EQ(nvm_import(kFile, 1, 1, 0), 3U);
    expect_both("a", std::string(4000, 'v'));

    free_all();
    EXPECT_EQ(nvm_export(kFile, 1, 1), 0U);
    EXPECT_EQ(nvm_import(kFile, 1, 1, 0), 0U);
}

TEST_F(FullDisk, import_applies_what_fits)
{
    declare("a=1=default\nb=1=other\nc=1=default\n");
    put_both("a", "value");
    write_text(kFile, with_checksum("a=1=newer\nc=1=first\n"));
    leave_room(1);
    EXPECT_EQ(nvm_import(kFile, 1, 1, 0), 0U);
    expect_both("a", "newer");
    EXPECT_EQ(current.content("c"), stored("first"));
    EXPECT_EQ(backup.content("c"), "");
    restart();
    expect_both("c", "first");
}

} // namespace persistent_full_disk_test
