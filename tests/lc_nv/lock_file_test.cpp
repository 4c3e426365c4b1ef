// The lock helper of the parameter stores.
#include "lc_nv/transfer.h"

#include "support/child_process.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace lock_file_test {

using namespace testing_support;

namespace {

class LockFile : public testing::Test {
protected:
    ~LockFile() override { close(fd_); }

    // What another process is told about the locks in the way of an exclusive one.
    short lock_seen_elsewhere(off_t start, off_t length)
    {
        ChildProcess other([&] {
            struct flock lock = {};
            lock.l_type = F_WRLCK;
            lock.l_whence = SEEK_SET;
            lock.l_start = start;
            lock.l_len = length;
            return fcntl(fd_, F_GETLK, &lock) != 0 ? 99 : lock.l_type;
        });
        return static_cast<short>(WEXITSTATUS(other.wait()));
    }

    const int fd_ = open("/tmp/locked", O_RDWR | O_CREAT, 0600);
};

constexpr off_t kFarAway = off_t{1} << 40;

} // namespace

TEST_F(LockFile, covers_the_whole_file_and_all_that_may_follow)
{
    EXPECT_EQ(lseek(fd_, 100, SEEK_SET), 100);
    EXPECT_EQ(nv_lock_file(fd_, F_SETLK, F_WRLCK), 0);
    EXPECT_EQ(lock_seen_elsewhere(0, 1), F_WRLCK);
    EXPECT_EQ(lock_seen_elsewhere(kFarAway, 1), F_WRLCK);
}

TEST_F(LockFile, is_of_the_type_asked_for)
{
    EXPECT_EQ(nv_lock_file(fd_, F_SETLKW, F_RDLCK), 0);
    EXPECT_EQ(lock_seen_elsewhere(0, 0), F_RDLCK);
    EXPECT_EQ(nv_lock_file(fd_, F_SETLKW, F_UNLCK), 0);
    EXPECT_EQ(lock_seen_elsewhere(0, 0), F_UNLCK);
}

TEST_F(LockFile, gives_what_the_system_call_gives)
{
    EXPECT_EQ(nv_lock_file(-1, F_SETLK, F_WRLCK), -1);
    EXPECT_EQ(errno, EBADF);
    ASSERT_EQ(nv_lock_file(fd_, F_SETLK, F_WRLCK), 0);
    ChildProcess other([&] { return nv_lock_file(fd_, F_SETLK, F_RDLCK) == -1 ? errno : 0; });
    EXPECT_EQ(WEXITSTATUS(other.wait()), EAGAIN);
}

} // namespace lock_file_test
