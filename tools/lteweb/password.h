// The file with the password's hash, a line as "openssl passwd -6" prints it.
#pragma once

#include "lteweb/bytes.h"

#include <cstdint>
#include <string_view>

namespace lterouter::tools {

enum class PasswordCheck { kRight, kWrong, kNone, kUnreadable };

constexpr size_t kLongestPassword = 128; // bytes

// Whether a password is set; it is looked up each time, since it may be changed meanwhile.
bool has_password(const char *path);
// kNone: none is set. kUnreadable: the file holds no hash that this system knows.
PasswordCheck check_password(const char *path, const char *password);

// Which file is there: another password makes another file.
struct PasswordStamp {
    uint64_t device;
    uint64_t inode;
    int64_t size;
    int64_t changed_s;
    int64_t changed_ns;

    bool operator==(const PasswordStamp &) const = default;
};
PasswordStamp password_stamp(const char *path);

// Asks for a password, or reads a line of standard input that is no terminal, and writes its hash to a
// file of its owner alone. Returns the exit code.
int make_password(const char *path);

} // namespace lterouter::tools
