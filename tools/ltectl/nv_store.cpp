#include "ltectl/nv_store.h"

#include "common/program.h"
#include "ltectl/nv_file.h"

#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lterouter::tools {
namespace {

constexpr const char *kDirectories[] = {NVM_CURRENT_DIR, NVM_BACKUP_DIR, nullptr};

// Prints why a parameter without a copy cannot be looked up in the defaults file.
int explain(uint32_t result, const char *name)
{
    if (result == NV_ERR_NAME) {
        return fail(kFailed, "\"%s\" is not declared in %s", name, NVM_DEFAULTS_FILE);
    }
    char before[160];
    snprintf(before, sizeof(before), "\"%.127s\" has no copy: ", name);
    ParameterFile defaults(NVM_DEFAULTS_FILE);
    defaults.find(name);
    return defaults.complain(before, "");
}

// What the bytes of a file, of which a reader takes no more than fit, are wrong in.
const char *judge(const char *bytes, size_t count, size_t file_size)
{
    const void *terminator = memchr(bytes, '\0', count);
    if (terminator != nullptr) {
        const size_t used = static_cast<size_t>(static_cast<const char *>(terminator) + 1 - bytes);
        return used == file_size ? nullptr : "trailing-bytes";
    }
    return file_size > count ? "too-long" : "unterminated";
}

} // namespace

const ParameterStore kPersistentStore = {"nv",        "/2ndfile/nv/", kDirectories, nvm_readnv,
                                         nvm_writenv, nvm_clear,      explain};

Copy::Copy(const CopyPlace &place, const char *name)
{
    char path[sizeof(NVM_CURRENT_DIR) + 128];
    snprintf(path, sizeof(path), "%s%s", place.directory, name);
    // What is no file is not waited for.
    const int fd = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        problem = errno == ENOENT ? "missing" : "unreadable";
        return;
    }
    problem = read_file(fd);
    close(fd); // and with it goes the lock
}

const char *Copy::read_file(int fd)
{
    struct flock lock = {};
    lock.l_type = F_RDLCK;
    lock.l_whence = SEEK_SET;
    fcntl(fd, F_SETLKW, &lock);
    struct stat status;
    if (fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) {
        return "unreadable";
    }
    const ssize_t count = read(fd, value, sizeof(value));
    if (count < 0) {
        return "unreadable";
    }
    if (count == 0) {
        return "empty";
    }
    const auto size = static_cast<size_t>(count);
    const char *const wrong = judge(value, size, static_cast<size_t>(status.st_size));
    value[size - 1] = '\0';
    usable = true;
    return wrong;
}

const char *missing_directory()
{
    for (const CopyPlace &place : kCopyPlaces) {
        struct stat status;
        if (stat(place.directory, &status) != 0) { // the slash at its end demands a directory
            return place.directory;
        }
    }
    return nullptr;
}

} // namespace lterouter::tools
