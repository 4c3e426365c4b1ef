#include "lc_nv/name.h"

#include <cctype>
#include <cstring>

namespace lterouter {
namespace {

bool is_name_character(char ch)
{
    return isalnum(static_cast<unsigned char>(ch)) != 0 || ch == '-' || ch == '_' || ch == '.';
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
