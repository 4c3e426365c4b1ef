#include "common/wan_manager.h"

#include <cstring>

namespace lterouter::tools {
namespace {

constexpr const char *kSwitchStates[] = {"off", "on"};

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

void add_link(Record &record, const lct_link_status &link)
{
    record.event("link").text("link");
    add_named(record, "status", kLinkStates, link.link_status);
    if (link.link_status == LCT_LINK_CONNECTED) {
        for (const LinkText &text : link_texts(link)) {
            record.field(text.name, text.value);
        }
    }
    record.field("name", get_link_str(link.link_status));
}

void add_link_state(Record &record, uint32_t link_status)
{
    record.event("link").text("link");
    add_named(record, "status", kLinkStates, link_status);
    record.field("name", get_link_str(link_status));
}

void add_interface(Record &record, const lct_iface_status &interface)
{
    record.event("interface")
        .text("interface")
        .word("status", interface.readiness == kReady ? "ready" : "not ready")
        .field("name", get_iface_status_str(interface.readiness));
}

void add_roaming(Record &record, uint32_t value)
{
    record.event("roaming").text("roaming");
    add_named(record, "status", kSwitchStates, value);
}

void print_link(const lct_link_status &link)
{
    Record record;
    add_link(record, link);
}

void print_interface(const lct_iface_status &interface)
{
    Record record;
    add_interface(record, interface);
}

void print_roaming(uint32_t value)
{
    Record record;
    add_roaming(record, value);
}

} // namespace lterouter::tools
