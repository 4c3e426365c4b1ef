// Reading the start of small files.
#include "lc_pthread.h"
#include "support/text_file.h"

#include <gtest/gtest.h>

#include <cstring>
#include <unistd.h>

namespace read_test {

using namespace testing_support;

namespace {

constexpr char kPath[] = "/tmp/small";

class Read : public testing::Test {
protected:
    Read()
    {
        memset(buffer_, '#', sizeof(buffer_));
        write_text(kPath, "abcdef");
    }

    std::string buffer() const { return {buffer_, sizeof(buffer_)}; }

    char buffer_[12];
};

using ReadString = Read;

} // namespace

TEST_F(Read, gives_the_bytes_and_their_number_without_terminator)
{
    EXPECT_EQ(f_read(kPath, buffer_, sizeof(buffer_)), 6);
    EXPECT_EQ(buffer(), "abcdef######");
}

TEST_F(Read, takes_no_more_than_asked)
{
    EXPECT_EQ(f_read(kPath, buffer_, 4), 4);
    EXPECT_EQ(buffer(), "abcd########");
}

TEST_F(Read, starts_at_the_beginning_each_time)
{
    EXPECT_EQ(f_read(kPath, buffer_, 2), 2);
    EXPECT_EQ(f_read(kPath, buffer_, 2), 2);
    EXPECT_EQ(buffer(), "ab##########");
}

TEST_F(Read, empty_file_gives_0)
{
    write_text(kPath, "");
    EXPECT_EQ(f_read(kPath, buffer_, sizeof(buffer_)), 0);
    EXPECT_EQ(buffer(), "############");
}

TEST_F(Read, negative_length_gives_minus_1_and_touches_nothing)
{
    EXPECT_EQ(f_read(kPath, buffer_, -1), -1);
    EXPECT_EQ(buffer(), "############");
}

TEST_F(Read, missing_file_gives_minus_1) { EXPECT_EQ(f_read("/tmp/none", buffer_, 4), -1); }

TEST_F(Read, what_opens_but_cannot_be_read_gives_minus_1) { EXPECT_EQ(f_read("/tmp", buffer_, 4), -1); }

TEST_F(Read, reads_once_and_does_not_wait_for_more)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(write(ends[1], "xy", 2), 2);
    const std::string path = "/dev/fd/" + std::to_string(ends[0]);
    EXPECT_EQ(f_read(path.c_str(), buffer_, sizeof(buffer_)), 2);
    EXPECT_EQ(buffer(), "xy##########");
}

TEST_F(Read, leaves_no_descriptor_open)
{
    const int before = count_descriptors();
    f_read(kPath, buffer_, 4);
    f_read("/tmp", buffer_, 4);
    f_read_string(kPath, buffer_, 4);
    EXPECT_EQ(count_descriptors(), before);
}

TEST_F(ReadString, terminates_what_it_read)
{
    EXPECT_EQ(f_read_string(kPath, buffer_, sizeof(buffer_)), 6);
    EXPECT_EQ(buffer(), std::string("abcdef\0#####", 12));
}

TEST_F(ReadString, reads_one_byte_less_than_the_buffer)
{
    EXPECT_EQ(f_read_string(kPath, buffer_, 4), 3);
    EXPECT_EQ(buffer(), std::string("abc\0########", 12));
}

TEST_F(ReadString, buffer_of_one_byte_reads_nothing_and_is_an_empty_text)
{
    EXPECT_EQ(f_read_string(kPath, buffer_, 1), 0);
    EXPECT_EQ(buffer(), std::string("\0###########", 12));
}

TEST_F(ReadString, buffer_below_one_byte_gives_minus_1_and_is_not_touched)
{
    EXPECT_EQ(f_read_string(kPath, buffer_, 0), -1);
    EXPECT_EQ(f_read_string(kPath, buffer_, -1), -1);
    EXPECT_EQ(buffer(), "############");
}

TEST_F(ReadString, missing_or_unreadable_file_gives_minus_1_and_an_empty_text)
{
    EXPECT_EQ(f_read_string("/tmp/none", buffer_, 4), -1);
    EXPECT_EQ(buffer_[0], '\0');
    buffer_[0] = '#';
    EXPECT_EQ(f_read_string("/tmp", buffer_, 4), -1);
    EXPECT_EQ(buffer_[0], '\0');
}

TEST_F(ReadString, empty_file_gives_0_and_an_empty_text)
{
    write_text(kPath, "");
    EXPECT_EQ(f_read_string(kPath, buffer_, 4), 0);
    EXPECT_EQ(buffer_[0], '\0');
}

} // namespace read_test
