#include "ltectl/nv_store.h"

#include "common/program.h"
#include "ltectl/storage.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sys/stat.h>

namespace lterouter::tools {
namespace {

// Prints why a parameter without a copy cannot be looked up in the defaults file.
int explain(uint32_t result, const char *name)
{
    if (result == NV_ERR_NAME) {
        return fail(kFailed, "\"%s\" is not declared in %s", name, NVM_DEFAULTS_FILE);
    }
    char before[160];
    snprintf(before, sizeof(before), "\"%.127s\" has no copy: ", name);
    Declaration declaration;
    declaration.find(name);
    return complain(declaration.file, kDefaultsFile, before, "");
}

// Not nvm_readnv, which would read a copy that has been made meanwhile. Not inlined, as a file needs
// much stack.
[[gnu::noinline]] uint32_t read_default(const char *name, char (&value)[kValueSize])
{
    Declaration declaration;
    const uint32_t result = declaration.find(name);
    if (result == NV_SUCCESS) {
        strcpy(value, declaration.parameter.value);
    }
    return result;
}

// 0, or why this process cannot look into a directory, as an errno value.
int directory_error(const char *directory)
{
    char inside[sizeof(NVM_CURRENT_DIR) + 1];
    snprintf(inside, sizeof(inside), "%s.", directory);
    struct stat status;
    return stat(inside, &status) == 0 ? 0 : errno;
}

} // namespace

const ParameterStore kPersistentStore = {"nv",        "/2ndfile/nv/", kCopyPlaces, nvm_readnv,
                                         nvm_writenv, nvm_clear,      explain};

bool StoredValue::is_from(const CopyPlace &place) const { return strcmp(source, place.name) == 0; }

bool StoredValue::read_copy(const CopyPlace &place, const char *name, int *code)
{
    const Copy copy(place, name);
    if (copy.error != 0) {
        *code = copy.complain();
    } else if (copy.usable) {
        source = place.name;
        strcpy(text, copy.value);
    }
    return copy.error != 0 || copy.usable;
}

int StoredValue::read(const NvParameter &declared)
{
    int code = kDone;
    if (!read_copy(kCurrent, declared.name, &code) && !read_copy(kBackup, declared.name, &code)) {
        source = "default";
        strcpy(text, declared.value);
    }
    return code;
}

int StoredValue::read(const char *name)
{
    int code = kDone;
    if (!read_copy(kCurrent, name, &code) && !read_copy(kBackup, name, &code)) {
        source = "default";
        const uint32_t result = read_default(name, text);
        code = result == NV_SUCCESS ? kDone : explain(result, name);
    }
    return code;
}

int check_stored(const char *name, const char *value)
{
    return check_copies(kPersistentStore, name, value);
}

int check_rights()
{
    for (const CopyPlace *place = kCopyPlaces; place->name != nullptr; ++place) {
        const int error = directory_error(place->directory);
        if (error != 0 && error != ENOENT && error != ENOTDIR) {
            return cannot("look into", place->directory, error);
        }
    }
    return kDone;
}

int check_directories()
{
    for (const CopyPlace *place = kCopyPlaces; place->name != nullptr; ++place) {
        const int error = directory_error(place->directory);
        if (error == ENOENT || error == ENOTDIR) {
            return fail(kFailed, "%s is not there; ltectl nv init makes it", place->directory);
        }
    }
    return check_rights();
}

uint32_t declared_bits(const char *name)
{
    Declaration declaration;
    return declaration.find(name) == NV_SUCCESS ? declaration.parameter.bits : 0;
}

bool is_unstorable(const char *name) { return *name == '\0' || is_dots(name); }

} // namespace lterouter::tools
