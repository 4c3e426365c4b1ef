// The volatile store: one file per parameter under /tmp/nv/, the value and one NUL.

#include "lc_nv.h"

#include "lc_nv/name.h"
#include "lc_nv/transfer.h"
#include "support/fd.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>

namespace lterouter {
namespace {

constexpr size_t kReadSize = 4096;
constexpr size_t kMatchSize = 2048;

struct Path {
    char text[sizeof(NVMRAM_DIR) + kNvNameMax];

    // name has passed nv_name_valid.
    explicit Path(const char *name) { snprintf(text, sizeof(text), "%s%s", NVMRAM_DIR, name); }
};

// The lock on the directory is asked for, not given: the kernel grants an exclusive one only through a
// writable descriptor. Nothing depends on it, since creation neither excludes nor truncates and the
// transfer has a lock of its own. A parameter that cannot be created is not reported: callers rely on 0
// whenever the directory is there.
uint32_t create_parameter(const char *path, const char *value, size_t size)
{
    const Fd directory{open(NVMRAM_DIR, O_RDONLY | O_CLOEXEC)};
    if (!directory) {
        return NV_ERR_SYSTEM;
    }
    nv_lock_file(directory.get(), F_SETLKW, F_WRLCK);
    const Fd file{open(path, O_WRONLY | O_CREAT | O_CLOEXEC, 0666)};
    nv_lock_file(directory.get(), F_SETLKW, F_UNLCK);
    if (file) {
        nv_write_locked(file.get(), value, size);
    }
    return NV_SUCCESS;
}

} // namespace
} // namespace lterouter

using namespace lterouter;

uint32_t nvmram_init()
{
    // With search permission, so that processes without full rights can open what is inside.
    return mkdir(NVMRAM_DIR, 0777) == 0 || errno == EEXIST ? NV_SUCCESS : NV_ERR_SYSTEM;
}

uint32_t nvmram_readnv(const char *name, char *buf, uint32_t size)
{
    if (name == nullptr || buf == nullptr) {
        return NV_ERR_BUFFER;
    }
    if (!nv_name_valid(name)) {
        return NV_ERR_NAME;
    }
    const MutexLock guard(g_nv_mutex);
    const Fd file{open(Path(name).text, O_RDONLY | O_CLOEXEC)};
    if (!file) {
        return NV_ERR_NAME;
    }
    char value[kReadSize];
    const ssize_t length = nv_read_locked(file.get(), value, sizeof(value));
    if (length <= 0) {
        return NV_ERR_NAME;
    }
    if (static_cast<size_t>(length) > size) {
        return NV_ERR_BUFFER;
    }
    // The last byte is the stored terminator; a file written by other means loses it.
    value[length - 1] = '\0';
    strcpy(buf, value);
    return NV_SUCCESS;
}

uint32_t nvmram_writenv(const char *name, const char *value, uint32_t size)
{
    // Left so on purpose: every process of the router may write every parameter.
    umask(0);
    if (name == nullptr) {
        return NV_ERR_BUFFER;
    }
    const size_t length = value == nullptr ? 0 : strlen(value) + 1;
    if (length == 0 || length > size) {
        return NV_ERR_VALUE;
    }
    if (!nv_name_valid(name)) {
        return NV_ERR_NAME;
    }
    const Path path(name);
    const MutexLock guard(g_nv_mutex);
    const Fd file{open(path.text, O_WRONLY | O_CLOEXEC)};
    if (!file) {
        return create_parameter(path.text, value, length);
    }
    nv_write_locked(file.get(), value, length);
    return NV_SUCCESS;
}

uint32_t nvmram_clear()
{
    // The outcome is not reported: an empty store fails the command as well.
    static_cast<void>(!system("rm " NVMRAM_DIR "* 2> /dev/null"));
    return NV_SUCCESS;
}

uint32_t nvram_match(const char *name, const char *value)
{
    if (name == nullptr || value == nullptr) {
        return NV_ERR_VALUE;
    }
    char stored[kMatchSize];
    if (nvmram_readnv(name, stored, sizeof(stored)) != NV_SUCCESS) {
        return NV_ERR_SYSTEM;
    }
    return strcmp(stored, value) == 0 ? NV_SUCCESS : NV_ERR_DIFFER;
}
