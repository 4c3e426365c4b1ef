// The volatile store: one file per parameter under /tmp/nv/, the value and one NUL.

#include "lc_nv.h"

#include "lc_nv/access.h"
#include "lc_nv/transfer.h"
#include "lc_nv/turn.h"
#include "support/fd.h"
#include "support/ignore.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>

namespace lterouter {
namespace {

using RamPath = NvPath<sizeof(NVMRAM_DIR)>;

// A copy of the name, since the caller's may be in the buffer that is overwritten.
const char *name_in(const RamPath &path) { return path.text + sizeof(NVMRAM_DIR) - 1; }

// The lock on the directory is never granted: the kernel needs a writable descriptor for an exclusive
// one. Nothing depends on it, since the file is created without O_EXCL and O_TRUNC and the transfer has
// a lock of its own. A parameter that cannot be created is not reported: callers rely on 0 whenever the
// directory exists.
uint32_t create_parameter(const char *path, const char *value, size_t size, NvTurn *turn)
{
    const Fd directory{open(NVMRAM_DIR, O_RDONLY | O_CLOEXEC)};
    if (!directory) {
        return NV_ERR_SYSTEM;
    }
    nv_lock_file(directory.get(), F_SETLKW, F_WRLCK);
    const Fd file{open(path, O_WRONLY | O_CREAT | O_CLOEXEC, 0666)};
    nv_lock_file(directory.get(), F_SETLKW, F_UNLCK);
    if (file) {
        turn->entrust(directory.get());
        nv_write_text(file.get(), value, size, turn);
    }
    return NV_SUCCESS;
}

} // namespace
} // namespace lterouter

using namespace lterouter;

uint32_t nvmram_init()
{
    // With search permission, so that processes without full rights can open the files in it.
    return mkdir(NVMRAM_DIR, 0777) == 0 || errno == EEXIST ? NV_SUCCESS : NV_ERR_SYSTEM;
}

uint32_t nvmram_readnv(const char *name, char *buf, uint32_t size)
{
    if (const uint32_t refusal = nv_check_read(name, buf); refusal != NV_SUCCESS) {
        return refusal;
    }
    const RamPath path(NVMRAM_DIR, name);
    NvTurn turn(name_in(path));
    return nv_load(path.text, buf, size, &turn);
}

uint32_t nvmram_writenv(const char *name, const char *value, uint32_t size)
{
    // Not restored, on purpose: every process of the router may write every parameter.
    umask(0);
    size_t length;
    if (const uint32_t refusal = nv_check_write(name, value, size, &length); refusal != NV_SUCCESS) {
        return refusal;
    }
    const RamPath path(NVMRAM_DIR, name);
    NvTurn turn(name_in(path));
    if (nv_store(path.text, 0, value, length, &turn)) {
        return NV_SUCCESS;
    }
    return create_parameter(path.text, value, length, &turn);
}

uint32_t nvmram_clear()
{
    ignore(system("rm " NVMRAM_DIR "* 2> /dev/null"), "an empty store fails it too");
    return NV_SUCCESS;
}

uint32_t nvram_match(const char *name, const char *value)
{
    return nv_match(nvmram_readnv, name, value);
}
