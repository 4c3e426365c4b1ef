#include "lc_nv/name.h"

#include <cstring>

namespace lterouter {
namespace {

bool is_name_character(char ch)
{
    // Not isalnum, which would follow the host's locale.
    return (ch >= '0' && ch <= '9') || (ch >= 'A' && ch <= 'Z') || (ch >= 'a' && ch <= 'z') ||
           ch == '-' || ch == '_' || ch == '.';
}

} // namespace

bool nv_name_valid(const char *name)
{
    if (strnlen(name, kNvNameMax + 1) > kNvNameMax) {
        return false;
    }
    while (is_name_character(*name)) {
        ++name;
    }
    return *name == '\0';
}

} // namespace lterouter
