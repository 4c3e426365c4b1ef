// The system calls behind reading and writing, in order: other processes rely on what is locked when.
#include "support/interpose.h"
#include "support/ram_store.h"

#include <cerrno>
#include <cstdarg>
#include <fcntl.h>
#include <map>
#include <optional>
#include <unistd.h>
#include <vector>

using namespace testing_support;

namespace {

using Steps = std::vector<std::string>;

bool g_recording = false;
Steps g_steps;
std::map<int, std::string> g_names; // of the descriptors opened while recording
std::optional<ssize_t> g_write_result;
bool g_locks_fail = false;

// What a descriptor that was opened while recording is called; empty for any other.
std::string name_of(int fd)
{
    const auto found = g_recording ? g_names.find(fd) : g_names.end();
    return found == g_names.end() ? "" : found->second;
}

std::string open_flags(int flags, mode_t mode)
{
    std::string text = (flags & O_ACCMODE) == O_RDONLY ? "to read" : "to write";
    if ((flags & O_CREAT) != 0) {
        char creating[32];
        snprintf(creating, sizeof(creating), ", creating %04o", mode);
        text += creating;
    }
    if ((flags & (O_TRUNC | O_APPEND)) != 0) {
        text += ", truncating or appending";
    }
    return text;
}

std::string lock_step(int command, const struct flock &lock, const std::string &name)
{
    const char *type = lock.l_type == F_RDLCK   ? "shared lock of "
                       : lock.l_type == F_WRLCK ? "exclusive lock of "
                                                : "unlock ";
    const bool whole = lock.l_whence == SEEK_SET && lock.l_start == 0 && lock.l_len == 0;
    return type + name + (whole ? "" : ", in part") + (command == F_SETLKW ? "" : ", not waiting");
}

// The calls that `action` makes on the store's files.
template <typename Action> Steps steps_of(Action action)
{
    g_steps.clear();
    g_names.clear();
    g_recording = true;
    action();
    g_recording = false;
    return g_steps;
}

uint32_t write_a(const char *value) { return nvmram_writenv("a", value, 100); }

const Steps kWriteSteps = {
    "open a to write", "exclusive lock of a", "write 6 to a", "cut a to 6", "unlock a", "close a"};

} // namespace

extern "C" {

int taken_open(const char *path, int flags, ...) __asm__("open64");
int taken_fcntl(int fd, int command, ...) __asm__("fcntl64");
int taken_ftruncate(int fd, off_t length) __asm__("ftruncate64");
ssize_t taken_read(int fd, void *bytes, size_t size) __asm__("read");

int taken_open(const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = va_arg(arguments, mode_t);
    va_end(arguments);
    const int fd = next_definition<int(const char *, int, ...)>("open64")(path, flags, mode);
    const std::string text = path;
    if (g_recording && text.starts_with(NVMRAM_DIR)) {
        const std::string name = text == NVMRAM_DIR ? "folder" : text.substr(sizeof(NVMRAM_DIR) - 1);
        g_steps.push_back("open " + name + " " + open_flags(flags, mode) + (fd < 0 ? ": fails" : ""));
        g_names[fd] = name;
    }
    return fd;
}

int taken_fcntl(int fd, int command, ...)
{
    va_list arguments;
    va_start(arguments, command);
    void *argument = va_arg(arguments, void *);
    va_end(arguments);
    if (!name_of(fd).empty()) {
        g_steps.push_back(lock_step(command, *static_cast<struct flock *>(argument), name_of(fd)));
        if (g_locks_fail) {
            errno = ENOLCK;
            return -1;
        }
    }
    return next_definition<int(int, int, ...)>("fcntl64")(fd, command, argument);
}

int taken_ftruncate(int fd, off_t length)
{
    if (!name_of(fd).empty()) {
        g_steps.push_back("cut " + name_of(fd) + " to " + std::to_string(length));
    }
    return next_definition<int(int, off_t)>("ftruncate64")(fd, length);
}

ssize_t write(int fd, const void *bytes, size_t size)
{
    if (!name_of(fd).empty()) {
        g_steps.push_back("write " + std::to_string(size) + " to " + name_of(fd));
        if (g_write_result.has_value()) {
            if (*g_write_result < 0) {
                errno = ENOSPC;
                return -1;
            }
            size = static_cast<size_t>(*g_write_result);
        }
    }
    return next_definition<ssize_t(int, const void *, size_t)>("write")(fd, bytes, size);
}

ssize_t taken_read(int fd, void *bytes, size_t size)
{
    if (!name_of(fd).empty()) {
        g_steps.push_back("read " + std::to_string(size) + " from " + name_of(fd));
    }
    return next_definition<ssize_t(int, void *, size_t)>("read")(fd, bytes, size);
}

int close(int fd)
{
    if (!name_of(fd).empty()) {
        g_steps.push_back("close " + name_of(fd));
        g_names.erase(fd);
    }
    return next_definition<int(int)>("close")(fd);
}
}

using RamSteps = RamStore;

TEST_F(RamSteps, reading_holds_a_shared_lock_of_the_whole_file)
{
    put("a", stored("value"));
    char buffer[8];
    EXPECT_EQ(steps_of([&] { nvmram_readnv("a", buffer, sizeof(buffer)); }),
              (Steps{"open a to read", "shared lock of a", "read 4096 from a", "unlock a", "close a"}));
}

TEST_F(RamSteps, reading_a_missing_parameter_only_tries_to_open_it)
{
    char buffer[8];
    EXPECT_EQ(steps_of([&] { nvmram_readnv("a", buffer, sizeof(buffer)); }),
              (Steps{"open a to read: fails"}));
}

TEST_F(RamSteps, refused_arguments_touch_no_file)
{
    char buffer[8];
    EXPECT_EQ(steps_of([&] {
                  nvmram_readnv("b d", buffer, sizeof(buffer));
                  nvmram_readnv(nullptr, buffer, sizeof(buffer));
                  nvmram_readnv("a", nullptr, sizeof(buffer));
                  nvmram_writenv("b d", "value", 6);
                  nvmram_writenv(nullptr, "value", 6);
                  nvmram_writenv("a", nullptr, 6);
                  nvmram_writenv("a", "value", 5);
              }),
              Steps());
}

TEST_F(RamSteps, writing_cuts_the_file_after_the_new_bytes_are_in_place_and_before_unlocking)
{
    put("a", stored("a much longer old value"));
    EXPECT_EQ(steps_of([] { EXPECT_EQ(write_a("value"), 0U); }), kWriteSteps);
    EXPECT_EQ(content("a"), stored("value"));
}

TEST_F(RamSteps, creating_holds_an_exclusive_lock_of_the_folder_until_the_file_is_there)
{
    EXPECT_EQ(steps_of([] { EXPECT_EQ(write_a("value"), 0U); }),
              (Steps{"open a to write: fails", "open folder to read", "exclusive lock of folder",
                     "open a to write, creating 0666", "unlock folder", "exclusive lock of a",
                     "write 6 to a", "cut a to 6", "unlock a", "close a", "close folder"}));
}

TEST_F(RamSteps, failed_creation_gives_the_folder_lock_back)
{
    EXPECT_EQ(steps_of([] { EXPECT_EQ(nvmram_writenv("", "value", 6), 0U); }),
              (Steps{"open folder to write: fails", "open folder to read", "exclusive lock of folder",
                     "open folder to write, creating 0666: fails", "unlock folder", "close folder"}));
}

TEST_F(RamSteps, failed_locks_are_not_reported)
{
    g_locks_fail = true;
    EXPECT_EQ(write_a("value"), 0U);
    EXPECT_EQ(steps_of([] { EXPECT_EQ(write_a("other"), 0U); }), kWriteSteps);
    char buffer[8];
    EXPECT_EQ(nvmram_readnv("a", buffer, sizeof(buffer)), 0U);
    EXPECT_STREQ(buffer, "other");
}

TEST_F(RamSteps, short_write_is_not_reported_and_the_file_is_cut_to_what_was_written)
{
    put("a", stored("old value"));
    g_write_result = 3;
    Steps expected = kWriteSteps;
    expected[3] = "cut a to 3";
    EXPECT_EQ(steps_of([] { EXPECT_EQ(write_a("value"), 0U); }), expected);
    EXPECT_EQ(content("a"), "val");
}

TEST_F(RamSteps, failed_write_is_not_reported_and_keeps_the_old_value)
{
    put("a", stored("old value"));
    g_write_result = -1;
    EXPECT_EQ(steps_of([] { EXPECT_EQ(write_a("value"), 0U); }).size(), kWriteSteps.size());
    EXPECT_EQ(content("a"), stored("old value"));
}
