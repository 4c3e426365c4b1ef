#include "ltectl/endpoints.h"

#include "common/wan_manager.h"
#include "lc_file/stream.h"
#include "support/fd.h"

#include <atomic>
#include <cstring>
#include <sys/socket.h>
#include <sys/stat.h>

namespace lterouter::tools {
namespace {

constexpr size_t kLine = 512;

// A line of the kernel's table, which shows a NUL of an abstract name as "@".
struct Row {
    unsigned int flags = 0;
    unsigned int type = 0;
    uint32_t inode = 0;
    int name = 0; // where it starts; 0 when the line is none of a socket

    explicit Row(const char *line)
    {
        sscanf(line, "%*s %*x %*x %x %x %*x %u %n", &flags, &type, &inode, &name);
    }
};

// What the kernel calls a datagram socket, or 0 when it cannot be found out. Not the compiler's number:
// MIPS has another than the machine that emulates a program for it.
unsigned int datagram_type()
{
    static constinit std::atomic<unsigned int> known{0};
    if (known != 0) {
        return known;
    }
    const Fd own{socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
    const Stream table{fopen(kSocketTable, "re")};
    struct stat status;
    if (!table || fstat(own.get(), &status) != 0) {
        return 0;
    }
    char line[kLine];
    while (fgets(line, sizeof(line), table.get()) != nullptr) {
        if (const Row row(line); row.name != 0 && row.inode == status.st_ino) {
            known = row.type;
        }
    }
    return known;
}

// False for a socket that is no endpoint: one that listens, or is not for datagrams. Its state is not
// tested: a sender that waits for room connects itself to the endpoint, and the kernel shows both as
// connected from then on.
bool parse_socket(const char *line, Bound *bound)
{
    const Row row(line);
    if (row.name == 0 || row.flags != 0 || line[row.name] != '@') {
        return false;
    }
    bound->inode = row.inode;
    const char *name = line + row.name + 1;
    size_t length = strcspn(name, "\n");
    if (length >= sizeof(bound->name) ||
        strncmp(name, kEndpointPrefix.data(), kEndpointPrefix.size()) != 0) {
        return false;
    }
    if (const unsigned int type = datagram_type(); type != 0 && row.type != type) {
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
    char line[kLine];
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
