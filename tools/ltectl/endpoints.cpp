#include "ltectl/endpoints.h"

#include "common/wan_manager.h"
#include "lc_file/stream.h"

#include <cstring>

namespace lterouter::tools {
namespace {

constexpr unsigned int kUnconnected = 1;

// Parses a line of the kernel's table, which shows a NUL of an abstract name as "@". False for a socket
// that is not an endpoint: one that listens or is connected. The type is not tested, since its numbers
// on MIPS differ from those of the machine that emulates a program.
bool parse_socket(const char *line, Bound *bound)
{
    unsigned int flags = 0;
    unsigned int state = 0;
    int start = 0;
    const bool listed =
        sscanf(line, "%*s %*x %*x %x %*x %x %u %n", &flags, &state, &bound->inode, &start) == 3 &&
        start != 0;
    if (!listed || flags != 0 || state != kUnconnected || line[start] != '@') {
        return false;
    }
    const char *name = line + start + 1;
    size_t length = strcspn(name, "\n");
    if (length >= sizeof(bound->name) ||
        strncmp(name, kEndpointPrefix.data(), kEndpointPrefix.size()) != 0) {
        return false;
    }
    bound->padded = length == sizeof(bound->name) - 1;
    while (name[length - 1] == '@') {
        --length;
    }
    snprintf(bound->name, sizeof(bound->name), "%.*s", static_cast<int>(length), name);
    return true;
}

} // namespace

bool next_endpoint(FILE *table, Bound *bound)
{
    char line[512];
    while (fgets(line, sizeof(line), table) != nullptr) {
        if (parse_socket(line, bound)) {
            return true;
        }
    }
    return false;
}

std::optional<uint32_t> socket_at(const ipc_addr &address)
{
    const Stream table{fopen(kSocketTable, "re")};
    if (!table) {
        return std::nullopt;
    }
    uint32_t inode = 0;
    Bound bound;
    while (inode == 0 && next_endpoint(table.get(), &bound)) {
        if (bound.padded && socket_name(address) == bound.name) {
            inode = bound.inode;
        }
    }
    return inode;
}

} // namespace lterouter::tools
