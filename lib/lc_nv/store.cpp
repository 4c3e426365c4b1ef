// The persistent store: of each parameter a current copy and, behind it, a backup copy, so that a write
// that is interrupted leaves one complete. The defaults file declares the parameters.
//
// The copies are rewritten in place, never through a temporary file. Record locks keep processes apart;
// there is no lock between the threads of one.

#include "lc_nv/store.h"

#include "lc_nv/parameter_file.h"
#include "lc_nv/transfer.h"
#include "support/ignore.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>

namespace lterouter {

NvCopies::NvCopies(const char *name, size_t size)
    : current(NVM_CURRENT_DIR, name, size), backup(NVM_BACKUP_DIR, name, size)
{
}

void NvCopies::store(const char *value, size_t size) const
{
    nv_store(current.text, O_CREAT, value, size);
    nv_store(backup.text, O_CREAT, value, size);
}

} // namespace lterouter

using namespace lterouter;

uint32_t nvm_readnv(const char *name, char *buf, uint32_t size)
{
    if (const uint32_t refusal = nv_check_read(name, buf); refusal != NV_SUCCESS) {
        return refusal;
    }
    const NvCopies copies(name);
    const char *const paths[] = {copies.current.text, copies.backup.text};
    for (const char *path : paths) {
        // A value that is too long ends the search: the backup is not tried.
        if (const uint32_t result = nv_load(path, buf, size); result != NV_ERR_NAME) {
            return result;
        }
    }
    NvDeclaration declaration;
    if (const uint32_t failure = declaration.find(name); failure != NV_SUCCESS) {
        return failure;
    }
    if (strlen(declaration.parameter.value) >= size) {
        return NV_ERR_BUFFER;
    }
    strcpy(buf, declaration.parameter.value);
    return NV_SUCCESS;
}

uint32_t nvm_writenv(const char *name, const char *value, uint32_t size)
{
    // Not restored, on purpose: every process of the router may write every parameter.
    umask(0);
    size_t length;
    if (const uint32_t refusal = nv_check_write(name, value, size, &length); refusal != NV_SUCCESS) {
        return refusal;
    }
    const NvCopies copies(name);
    // The copy that exists comes first. A second one that cannot be written is not reported: start-up
    // repairs it.
    if (nv_store(copies.current.text, 0, value, length)) {
        nv_store(copies.backup.text, O_CREAT, value, length);
        return NV_SUCCESS;
    }
    if (nv_store(copies.backup.text, 0, value, length)) {
        nv_store(copies.current.text, O_CREAT, value, length);
        return NV_SUCCESS;
    }
    NvDeclaration declaration;
    if (const uint32_t failure = declaration.find(name); failure != NV_SUCCESS) {
        return failure;
    }
    copies.store(value, length);
    return NV_SUCCESS;
}

uint32_t nvm_match(const char *name, const char *value) { return nv_match(nvm_readnv, name, value); }

uint32_t nvm_clear()
{
    ignore(system("rm " NVM_CURRENT_DIR "* 2> /dev/null"), "an empty directory fails it too");
    ignore(system("rm " NVM_BACKUP_DIR "* 2> /dev/null"), "an empty directory fails it too");
    return NV_SUCCESS;
}

uint32_t nvm_fin()
{
    return mkdir(NVM_SHUTDOWN_MARKER, 0666) == 0 || errno == EEXIST ? NV_SUCCESS : NV_ERR_SYSTEM;
}
