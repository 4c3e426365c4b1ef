// The WAN manager's messages, for its clients and for wansim.
#pragma once

#include "common/record.h"
#include "lc_ipc_msg.h"
#include "lte_sdk/request_table.h"

#include <array>
#include <string_view>

namespace lterouter::tools {

// The address of a module.
ipc_addr module_address(uint32_t module_id);
inline ipc_addr wan_manager_address() { return module_address(IPC_MODULE_MM); }

// The name of a socket, for people: without the mark of the abstract namespace.
std::string_view socket_name(const ipc_addr &address);

// By LCT_LINK_....
inline constexpr const char *kLinkStates[] = {"disconnected", "disconnecting", "connected",
                                              "connecting"};

// The texts of a link that is connected, with the names of their fields.
struct LinkText {
    const char *name;
    std::string_view value;
};
inline std::array<LinkText, 6> link_texts(const lct_link_status &link)
{
    return {{{"interface", bounded(link.interface_name)},
             {"ip", bounded(link.ip)},
             {"gateway", bounded(link.gateway)},
             {"dns1", bounded(link.dns1)},
             {"dns2", bounded(link.dns2)},
             {"mask", bounded(link.mask)}}};
}

// Each adds to a line: the link's state and, when it is connected, its addresses; whether the
// interface is ready; the roaming switch, on, off or the WAN manager's own value.
void add_link(Record &record, const lct_link_status &link);
void add_interface(Record &record, const lct_iface_status &interface);
void add_roaming(Record &record, uint32_t value);

// The link's state alone, where nothing else of it is known.
void add_link_state(Record &record, uint32_t link_status);

// The same as a line of its own.
void print_link(const lct_link_status &link);
void print_interface(const lct_iface_status &interface);
void print_roaming(uint32_t value);

// The answer to a request for the IMSI. Clients have room for more than the standard's 15 digits.
struct ImsiAnswer {
    int32_t result;
    char imsi[32];
};
constexpr uint32_t kImsiSize = 16; // bytes of the standard's, its terminator included

constexpr uint32_t kReady = 1;

} // namespace lterouter::tools
