// A file system of the test, mounted over a directory during the object's lifetime; visible only in the
// test's sandbox.
#pragma once

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <sys/mount.h>
#include <utility>

namespace testing_support {

class ScopedMount {
public:
    // options: as tmpfs takes them, such as "size=20k".
    explicit ScopedMount(std::string path, const char *options = nullptr) : path_(std::move(path))
    {
        do_mount(0, options);
    }
    ~ScopedMount() { umount2(path_.c_str(), MNT_DETACH); }
    ScopedMount(const ScopedMount &) = delete;
    ScopedMount &operator=(const ScopedMount &) = delete;

    void make_read_only() { do_mount(MS_REMOUNT | MS_RDONLY, nullptr); }

private:
    void do_mount(unsigned long flags, const char *options)
    {
        if (mount("tmpfs", path_.c_str(), "tmpfs", flags, options) != 0) {
            ADD_FAILURE() << "cannot mount over " << path_ << ": " << strerror(errno);
        }
    }

    std::string path_;
};

} // namespace testing_support
