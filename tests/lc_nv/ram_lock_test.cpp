// Another program's record lock on a parameter is respected.
#include "support/ram_store.h"

#include <cstdio>
#include <fcntl.h>
#include <future>
#include <poll.h>
#include <thread>
#include <unistd.h>

using namespace testing_support;

namespace {

// A Python program that holds a lock of a file or folder until it is told to let go.
class LockHolder {
public:
    // kind: "LOCK_SH" or "LOCK_EX"; value: what it writes into the file just before letting go.
    LockHolder(const std::string &path, const std::string &kind, const std::string &value = "")
    {
        const std::string program = "import fcntl, os, sys\n"
                                    "path, kind, value = sys.argv[1:]\n"
                                    "mode = os.O_RDONLY if kind == 'LOCK_SH' else os.O_RDWR\n"
                                    "fd = os.open(path, mode)\n"
                                    "fcntl.lockf(fd, getattr(fcntl, kind))\n"
                                    "os.write(1, b'held')\n"
                                    "os.read(0, 1)\n"
                                    "if value: os.pwrite(fd, value.encode() + b'\\0', 0)\n"
                                    "fcntl.lockf(fd, fcntl.LOCK_UN)\n";
        EXPECT_EQ(pipe2(told_, O_CLOEXEC), 0);
        EXPECT_EQ(pipe2(tells_, O_CLOEXEC), 0);
        pid_ = fork();
        if (pid_ == 0) {
            dup2(told_[0], STDIN_FILENO);
            dup2(tells_[1], STDOUT_FILENO);
            execl("/usr/bin/python3", "python3", "-c", program.c_str(), path.c_str(), kind.c_str(),
                  value.c_str(), nullptr);
            _exit(127);
        }
        char held[4];
        EXPECT_EQ(read(tells_[0], held, sizeof(held)), 4);
    }
    ~LockHolder()
    {
        let_go();
        for (const int fd : {told_[0], told_[1], tells_[0], tells_[1]}) {
            close(fd);
        }
    }
    LockHolder(const LockHolder &) = delete;
    LockHolder &operator=(const LockHolder &) = delete;

    void let_go()
    {
        if (pid_ > 0) {
            EXPECT_EQ(write(told_[1], "x", 1), 1);
            int status = -1;
            waitpid(pid_, &status, 0);
            EXPECT_EQ(status, 0);
            pid_ = -1;
        }
    }

private:
    int told_[2];
    int tells_[2];
    pid_t pid_ = -1;
};

// True once the kernel lists a lock that somebody waits for.
bool someone_waits_for_a_lock()
{
    for (int tries = 0; tries < 5000; ++tries) {
        if (read_text("/proc/locks").find("->") != std::string::npos) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return false;
}

uint32_t write_new() { return nvmram_writenv("a", "new", 4); }

struct ReadResult {
    uint32_t code = 99;
    std::string value;
};

ReadResult read_a()
{
    ReadResult result;
    char buffer[16] = "";
    result.code = nvmram_readnv("a", buffer, sizeof(buffer));
    result.value = buffer;
    return result;
}

} // namespace

using RamLock = RamStore;

TEST_F(RamLock, reading_waits_for_an_exclusive_lock)
{
    put("a", stored("old"));
    LockHolder holder(file_of("a"), "LOCK_EX", "its");
    auto reading = std::async(std::launch::async, read_a);
    EXPECT_TRUE(someone_waits_for_a_lock());
    holder.let_go();
    const ReadResult result = reading.get();
    EXPECT_EQ(result.code, 0U);
    EXPECT_EQ(result.value, "its");
}

TEST_F(RamLock, reading_shares_with_a_shared_lock)
{
    put("a", stored("old"));
    const LockHolder holder(file_of("a"), "LOCK_SH");
    EXPECT_EQ(read_a().value, "old");
}

TEST_F(RamLock, writing_waits_for_an_exclusive_lock)
{
    put("a", stored("old"));
    LockHolder holder(file_of("a"), "LOCK_EX", "its");
    auto writing = std::async(std::launch::async, write_new);
    EXPECT_TRUE(someone_waits_for_a_lock());
    EXPECT_EQ(content("a"), stored("old"));
    holder.let_go();
    EXPECT_EQ(writing.get(), 0U);
    EXPECT_EQ(content("a"), stored("new"));
}

TEST_F(RamLock, writing_waits_for_a_shared_lock)
{
    put("a", stored("old"));
    LockHolder holder(file_of("a"), "LOCK_SH");
    auto writing = std::async(std::launch::async, write_new);
    EXPECT_TRUE(someone_waits_for_a_lock());
    EXPECT_EQ(content("a"), stored("old"));
    holder.let_go();
    EXPECT_EQ(writing.get(), 0U);
    EXPECT_EQ(content("a"), stored("new"));
}

TEST_F(RamLock, other_parameters_are_not_held_up)
{
    put("b", stored("old"));
    const LockHolder holder(file_of("b"), "LOCK_EX");
    EXPECT_EQ(write_new(), 0U);
    EXPECT_EQ(read_a().value, "new");
}

TEST_F(RamLock, nothing_stays_locked)
{
    write_new();
    write_new();
    read_a();
    // Would wait forever otherwise.
    const LockHolder holder(file_of("a"), "LOCK_EX");
}
