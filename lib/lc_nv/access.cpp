#include "lc_nv/access.h"

#include "lc_nv.h"

#include <cstring>

namespace lterouter {
namespace {

constexpr size_t kMatchSize = 2048;

bool is_name_character(char ch)
{
    // Not isalnum, which would follow the host's locale.
    return (ch >= '0' && ch <= '9') || (ch >= 'A' && ch <= 'Z') || (ch >= 'a' && ch <= 'z') ||
           ch == '-' || ch == '_' || ch == '.';
}

} // namespace

bool nv_name_valid(const char *name)
{
    const char *const end = name + kNvNameMax + 1;
    for (; name != end; ++name) {
        if (!is_name_character(*name)) {
            return *name == '\0';
        }
    }
    return false;
}

uint32_t nv_check_read(const char *name, const char *buf)
{
    if (name == nullptr || buf == nullptr) {
        return NV_ERR_BUFFER;
    }
    return nv_name_valid(name) ? NV_SUCCESS : NV_ERR_NAME;
}

uint32_t nv_check_write(const char *name, const char *value, uint32_t size, size_t *length)
{
    if (name == nullptr) {
        return NV_ERR_BUFFER;
    }
    if (value == nullptr) {
        return NV_ERR_VALUE;
    }
    *length = strlen(value) + 1;
    if (*length > size) {
        return NV_ERR_VALUE;
    }
    return nv_name_valid(name) ? NV_SUCCESS : NV_ERR_NAME;
}

uint32_t nv_match(uint32_t (*read)(const char *, char *, uint32_t), const char *name, const char *value)
{
    if (name == nullptr || value == nullptr) {
        return NV_ERR_VALUE;
    }
    char stored[kMatchSize];
    if (read(name, stored, sizeof(stored)) != NV_SUCCESS) {
        return NV_ERR_SYSTEM;
    }
    return strcmp(stored, value) == 0 ? NV_SUCCESS : NV_ERR_DIFFER;
}

} // namespace lterouter
