#include "common/wan_manager.h"

#include <cstring>

namespace lterouter::tools {
namespace {

constexpr const char *kLinkStates[] = {"disconnected", "disconnecting", "connected", "connecting"};
constexpr const char *kSwitchStates[] = {"off", "on"};

// What a value is called; the value itself when it has no name.
template <size_t Count>
void add_named(Record &record, const char *name, const char *const (&names)[Count], uint32_t value)
{
    if (value < Count) {
        record.word(name, names[value]);
    } else {
        record.number(name, value);
    }
}

} // namespace

ipc_addr module_address(uint32_t module_id)
{
    ipc_addr address;
    ipc_get_addr_by_id(module_id, IPC_PRIORITY_COMMON, &address);
    return address;
}

std::string_view socket_name(const ipc_addr &address)
{
    const char *path = address.sock.sun_path;
    const size_t mark = path[0] == '\0' ? 1 : 0;
    return {path + mark, strnlen(path + mark, sizeof(address.sock.sun_path) - mark)};
}

void print_link(const lct_link_status &link)
{
    Record record;
    record.word("event", "link");
    add_named(record, "status", kLinkStates, link.link_status);
    if (link.link_status == LCT_LINK_CONNECTED) {
        record.field("interface", bounded(link.interface_name))
            .field("ip", bounded(link.ip))
            .field("gateway", bounded(link.gateway))
            .field("dns1", bounded(link.dns1))
            .field("dns2", bounded(link.dns2))
            .field("mask", bounded(link.mask));
    }
    record.field("name", get_link_str(link.link_status));
}

void print_interface(const lct_iface_status &interface)
{
    Record()
        .word("event", "interface")
        .word("status", interface.readiness == kReady ? "ready" : "not ready")
        .field("name", get_iface_status_str(interface.readiness));
}

void print_roaming(uint32_t value)
{
    Record record;
    record.word("event", "roaming");
    add_named(record, "status", kSwitchStates, value);
}

} // namespace lterouter::tools
