#include "lteweb/password.h"

#include "common/program.h"
#include "common/record.h"
#include "common/slice.h"
#include "ltectl/secret.h"
#include "lteweb/random.h"
#include "support/fd.h"

#include <cerrno>
#include <climits>
#include <crypt.h>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lterouter::tools {
namespace {

constexpr std::string_view kMethod = "$6$"; // SHA-512, which every libc has
constexpr size_t kSaltLength = 16;
constexpr char kSaltCharacters[] = "./0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";

using HashText = char[256];
using PasswordText = char[kLongestPassword + 1];

struct Password {
    ~Password() { explicit_bzero(text, sizeof(text)); }
    PasswordText text = "";
};

bool parse_password(const char *text, void *target)
{
    const size_t length = strlen(text);
    if (length < 8 || length > kLongestPassword) {
        return false;
    }
    memcpy(target, text, length + 1);
    return true;
}

constexpr ValueType kPassword = {"8 to 128 bytes", parse_password};

// The first line. False without a file.
bool read_hash(const char *path, HashText &hash)
{
    const Fd fd(open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    const ssize_t count = fd ? read(fd.get(), hash, sizeof(hash) - 1) : -1;
    if (count < 0) {
        return false;
    }
    hash[count] = '\0';
    hash[strcspn(hash, "\r\n")] = '\0';
    return true;
}

bool is_hash(const char *hash) { return begins_with(hash, kMethod); }

bool make_salt(char (&salt)[kMethod.size() + kSaltLength + 1])
{
    uint8_t bytes[kSaltLength];
    if (!fill_random(bytes, sizeof(bytes))) {
        return false;
    }
    memcpy(salt, kMethod.data(), kMethod.size());
    for (size_t i = 0; i < kSaltLength; ++i) {
        salt[kMethod.size() + i] = kSaltCharacters[bytes[i] & 63];
    }
    salt[kMethod.size() + kSaltLength] = '\0';
    return true;
}

bool write_line(int fd, const char *line)
{
    return dprintf(fd, "%s\n", line) == static_cast<int>(strlen(line)) + 1 && fsync(fd) == 0;
}

// In the file's place only when it is complete.
int replace(const char *path, const char *hash)
{
    char other[PATH_MAX];
    snprintf(other, sizeof(other), "%s.new", path);
    unlink(other);
    bool written;
    {
        const Fd fd(open(other, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600));
        written = fd && write_line(fd.get(), hash);
    }
    if (!written || rename(other, path) != 0) {
        const int error = errno;
        unlink(other);
        return fail(kFailed, "cannot write %s: %s", path, strerror(error));
    }
    return kDone;
}

int ask(Password *password)
{
    if (isatty(STDIN_FILENO) != 1) {
        return parse_secret("PASSWORD", "-", kPassword, password->text);
    }
    if (const int code = parse_secret("password", nullptr, kPassword, password->text); code != kDone) {
        return code;
    }
    Password again;
    if (const int code = parse_secret("once more", nullptr, kPassword, again.text); code != kDone) {
        return code;
    }
    return strcmp(password->text, again.text) == 0 ? kDone
                                                   : fail(kUsage, "the two passwords are not the same");
}

} // namespace

bool has_password(const char *path)
{
    HashText hash;
    return read_hash(path, hash) && is_hash(hash);
}

PasswordStamp password_stamp(const char *path)
{
    struct stat file = {}; // when there is none
    stat(path, &file);
    return {.device = file.st_dev,
            .inode = file.st_ino,
            .size = file.st_size,
            .changed_s = file.st_ctim.tv_sec,
            .changed_ns = file.st_ctim.tv_nsec};
}

PasswordCheck check_password(const char *path, const char *password)
{
    HashText hash;
    if (!read_hash(path, hash)) {
        return PasswordCheck::kNone;
    }
    const char *const made = is_hash(hash) ? crypt(password, hash) : nullptr;
    if (made == nullptr || !begins_with(made, kMethod)) {
        return PasswordCheck::kUnreadable;
    }
    return equal_in_constant_time(made, hash) ? PasswordCheck::kRight : PasswordCheck::kWrong;
}

int make_password(const char *path)
{
    Password password;
    if (const int code = ask(&password); code != kDone) {
        return code;
    }
    char salt[kMethod.size() + kSaltLength + 1];
    if (!make_salt(salt)) {
        return fail(kFailed, "cannot get random numbers: %s", strerror(errno));
    }
    const char *const hash = crypt(password.text, salt);
    if (hash == nullptr || !is_hash(hash)) {
        return fail(kFailed, "cannot hash the password: %s", strerror(errno));
    }
    if (const int code = replace(path, hash); code != kDone) {
        return code;
    }
    Record().event("password").word("status", "set").field("file", path);
    return kDone;
}

} // namespace lterouter::tools
