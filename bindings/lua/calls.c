/* Made by scripts/bindings of include/ and bindings/interface.toml. */
#include "lterouter.h"

#include <string.h>

static const struct error_text lc_nv_texts[] = {
    {NV_ERR_NAME, "bad name, or no such parameter"},
    {NV_ERR_BUFFER, "NULL argument, or the value does not fit the caller's buffer"},
    {NV_ERR_FILE, "bad or unreadable file or checksum"},
    {NV_ERR_VALUE, "NULL or over-long value"},
    {NV_ERR_SYSTEM, "system failure"},
    {NV_ERR_DIFFER, "the value differs"},
};
const struct errors lc_nv_errors = {lc_nv_texts, 6, NULL};

static const struct error_text lc_ipc_msg_texts[] = {
    {IPC_ERR_PARAM, "parameter check failed"},
    {IPC_ERR_NOT_INIT, "not initialised"},
    {IPC_ERR_LENGTH, "length mismatch or unexpected message"},
    {IPC_ERR_TOO_SMALL, "the caller's buffer or array is too small"},
    {IPC_ERR_REFUSED, "registration refused by the publisher"},
    {IPC_ERR_TIMEOUT, "timed out"},
    {IPC_ERR_FULL, "queue full and the caller would not wait"},
    {IPC_ERR_EMPTY, "queue empty and the caller would not wait"},
    {IPC_ERR_SOCKET, "socket error"},
    {IPC_ERR_RESOURCE, "out of memory, list failure, or a limit reached"},
};
const struct errors lc_ipc_msg_errors = {lc_ipc_msg_texts, 10, NULL};

static const struct error_text sdk_timer_texts[] = {
    {TIMER_ERR_NOT_INIT, "not initialised; init_timer(): already, or out of memory"},
    {TIMER_ERR_PARAM, "bad argument"},
    {TIMER_ERR_NO_TIMER, "the timer expired or was stopped"},
    {TIMER_ERR_THREAD, "the thread cannot be started"},
    {TIMER_ERR_INTERNAL, "out of memory, or a list failure"},
};
const struct errors sdk_timer_errors = {sdk_timer_texts, 5, NULL};

const struct errors lte_sdk_errors = {NULL, 0, "failed"};

const struct errors lc_network_errors = {NULL, 0, "failed; the system's log tells why at level DEBUG"};

const struct errors lc_log_errors = {NULL, 0, "no such log module, or the list of them cannot be read"};

const struct errors lc_up_errors = {NULL, 0, "failed; /tmp/ltelog.1 tells why"};

static void push_lct_operator(lua_State *L, const lct_operator *record)
{
    lua_createtable(L, 0, 4);
    set_text(L, "name", record->name, sizeof record->name);
    set_unsigned(L, "first", record->first);
    set_unsigned(L, "second", record->second);
    set_numbers(L, "numbers", record->numbers, 5);
}

static void push_lct_operators(lua_State *L, const lct_operator *records, int count)
{
    static const lct_operator none;
    int found = 0;
    lua_createtable(L, count, 0);
    for (int i = 0; i < count; i++) {
        if (memcmp(&records[i], &none, sizeof none) != 0) {
            push_lct_operator(L, &records[i]);
            lua_rawseti(L, -2, ++found);
        }
    }
}

void push_lct_link_status(lua_State *L, const lct_link_status *record)
{
    lua_createtable(L, 0, 9);
    set_unsigned(L, "iface_type", record->iface_type);
    set_unsigned(L, "link_status", record->link_status);
    set_unsigned(L, "ip_status", record->ip_status);
    set_text(L, "interface_name", record->interface_name, sizeof record->interface_name);
    set_text(L, "ip", record->ip, sizeof record->ip);
    set_text(L, "gateway", record->gateway, sizeof record->gateway);
    set_text(L, "dns1", record->dns1, sizeof record->dns1);
    set_text(L, "dns2", record->dns2, sizeof record->dns2);
    set_text(L, "mask", record->mask, sizeof record->mask);
}

void push_lct_iface_status(lua_State *L, const lct_iface_status *record)
{
    lua_createtable(L, 0, 1);
    set_unsigned(L, "readiness", record->readiness);
}

static void push_apn_item(lua_State *L, const apn_item *record)
{
    lua_createtable(L, 0, 10);
    set_text(L, "key", record->key, sizeof record->key);
    set_text(L, "apn", record->apn, sizeof record->apn);
    set_text(L, "text1", record->text1, sizeof record->text1);
    set_text(L, "text2", record->text2, sizeof record->text2);
    set_text(L, "text3", record->text3, sizeof record->text3);
    set_text(L, "text4", record->text4, sizeof record->text4);
    set_unsigned(L, "number1", record->number1);
    set_signed(L, "number2", record->number2);
    set_signed(L, "number3", record->number3);
    set_signed(L, "enabled", record->enabled);
}

static void push_if_stats(lua_State *L, const if_stats *record)
{
    lua_createtable(L, 0, 24);
    set_unsigned(L, "rx_packets", record->rx_packets);
    set_unsigned(L, "tx_packets", record->tx_packets);
    set_unsigned(L, "rx_bytes", record->rx_bytes);
    set_unsigned(L, "tx_bytes", record->tx_bytes);
    set_unsigned(L, "rx_errors", record->rx_errors);
    set_unsigned(L, "tx_errors", record->tx_errors);
    set_unsigned(L, "rx_dropped", record->rx_dropped);
    set_unsigned(L, "tx_dropped", record->tx_dropped);
    set_unsigned(L, "rx_multicast", record->rx_multicast);
    set_unsigned(L, "rx_compressed", record->rx_compressed);
    set_unsigned(L, "tx_compressed", record->tx_compressed);
    set_unsigned(L, "collisions", record->collisions);
    set_unsigned(L, "rx_length_errors", record->rx_length_errors);
    set_unsigned(L, "rx_over_errors", record->rx_over_errors);
    set_unsigned(L, "rx_crc_errors", record->rx_crc_errors);
    set_unsigned(L, "rx_frame_errors", record->rx_frame_errors);
    set_unsigned(L, "rx_fifo_errors", record->rx_fifo_errors);
    set_unsigned(L, "rx_missed_errors", record->rx_missed_errors);
    set_unsigned(L, "tx_aborted_errors", record->tx_aborted_errors);
    set_unsigned(L, "tx_carrier_errors", record->tx_carrier_errors);
    set_unsigned(L, "tx_fifo_errors", record->tx_fifo_errors);
    set_unsigned(L, "tx_heartbeat_errors", record->tx_heartbeat_errors);
    set_unsigned(L, "tx_window_errors", record->tx_window_errors);
    set_unsigned(L, "uptime", record->uptime);
}

static void push_logconfig(lua_State *L, const logconfig *record)
{
    lua_createtable(L, 0, 3);
    set_signed(L, "id", record->id);
    set_text(L, "letter", &record->letter, 1);
    set_text(L, "name", record->name, sizeof record->name);
}

static int call_log_find_module(lua_State *L)
{
    logconfig out = {0};
    const int32_t id = check_int32(L, 1);
    const int64_t code = get_logconfig_by_ID(&out, id);
    if (code != 0)
        return fail(L, &lc_log_errors, "log.find_module", code);
    push_logconfig(L, &out);
    return 1;
}

static int call_log_start(lua_State *L)
{
    const int32_t id = check_int32(L, 1);
    const int64_t code = log_init(id);
    if (code != 0)
        return fail(L, &lc_log_errors, "log.start", code);
    lua_pushboolean(L, 1);
    return 1;
}

static int call_log_write(lua_State *L)
{
    const int32_t level = check_int32(L, 1);
    const char *text = check_text(L, 2);
    log_print_text(level, text);
    lua_pushboolean(L, 1);
    return 1;
}

static int call_network_add_route(lua_State *L)
{
    const char *dev = check_text(L, 1);
    const int metric = check_int32(L, 2);
    const char *dst = optional_text(L, 3);
    const char *gw = optional_text(L, 4);
    const char *mask = optional_text(L, 5);
    const int code = lc_route_add(dev, metric, dst, gw, mask);
    if (code != 0)
        return fail_errno(L, "network.add_route", code);
    lua_pushboolean(L, 1);
    return 1;
}

static int call_network_delete_route(lua_State *L)
{
    const char *dev = check_text(L, 1);
    const int metric = check_int32(L, 2);
    const char *dst = optional_text(L, 3);
    const char *gw = optional_text(L, 4);
    const char *mask = optional_text(L, 5);
    const int code = lc_route_del(dev, metric, dst, gw, mask);
    if (code != 0)
        return fail_errno(L, "network.delete_route", code);
    lua_pushboolean(L, 1);
    return 1;
}

static int call_network_add_default_routes(lua_State *L)
{
    const char *dev = check_text(L, 1);
    char *gateways = check_copy(L, 2, "");
    const int64_t code = lc_route_add_default(dev, gateways);
    if (code != 0)
        return fail(L, &lc_network_errors, "network.add_default_routes", code);
    lua_pushboolean(L, 1);
    return 1;
}

static int call_network_delete_default_routes(lua_State *L)
{
    const char *dev = check_text(L, 1);
    char *gateways = check_copy(L, 2, "");
    const int64_t code = lc_route_del_default(dev, gateways);
    if (code != 0)
        return fail(L, &lc_network_errors, "network.delete_default_routes", code);
    lua_pushboolean(L, 1);
    return 1;
}

static int call_network_is_address(lua_State *L)
{
    const char *text = check_text(L, 1);
    lua_pushboolean(L, is_valid_ip(text) != 0);
    return 1;
}

static int call_network_has_interface(lua_State *L)
{
    const char *name = check_text(L, 1);
    lua_pushboolean(L, lc_is_interface_exist(name) != 0);
    return 1;
}

static int call_network_find_neighbour(lua_State *L)
{
    const char *ip = check_text(L, 1);
    char mac[19] = {0};
    const int64_t code = lc_get_climac_by_ip(ip, mac);
    if (code != 0)
        return fail(L, &lc_network_errors, "network.find_neighbour", code);
    lua_pushstring(L, mac);
    return 1;
}

static int call_network_probe(lua_State *L)
{
    const struct in_addr target_ip = check_address(L, 1);
    const struct in_addr our_ip = check_address(L, 2);
    const uint8_t *our_mac = check_bytes(L, 3, 6);
    const uint8_t *expected_mac = check_bytes(L, 4, 6);
    const char *ifname = check_text(L, 5);
    const int timeout_ms = (int)check_milliseconds(L, 6);
    lua_pushboolean(L, lc_arp_check(target_ip, our_ip, our_mac, expected_mac, ifname, timeout_ms) == 0);
    return 1;
}

static int call_network_update_neighbour(lua_State *L)
{
    const char *target_ip = check_text(L, 1);
    const char *source_ip = check_text(L, 2);
    const char *ifname = check_text(L, 3);
    const char *mac = check_text(L, 4);
    const int64_t code = lc_arp_update(target_ip, source_ip, ifname, mac);
    if (code != 0)
        return fail(L, &lc_network_errors, "network.update_neighbour", code);
    lua_pushboolean(L, 1);
    return 1;
}

static int call_timers_count(lua_State *L)
{
    uint32_t counts[2] = {0};
    const int64_t code = query_timer(counts);
    if (code != 0)
        return fail(L, &sdk_timer_errors, "timers.count", code);
    push_unsigned(L, counts[0]);
    push_unsigned(L, counts[1]);
    return 2;
}

static int call_messaging_set_send_limit(lua_State *L)
{
    const uint32_t milliseconds = (uint32_t)check_milliseconds(L, 1);
    ipc_msg_set_send_limit(milliseconds);
    lua_pushboolean(L, 1);
    return 1;
}

static int call_ram_open(lua_State *L)
{
    const int64_t code = nvmram_init();
    if (code != 0)
        return fail(L, &lc_nv_errors, "ram.open", code);
    lua_pushboolean(L, 1);
    return 1;
}

static int call_ram_read(lua_State *L)
{
    const char *name = check_text(L, 1);
    char buf[4097] = {0};
    const int64_t code = nvmram_readnv(name, buf, 4096);
    if (code != 0)
        return fail(L, &lc_nv_errors, "ram.read", code);
    lua_pushstring(L, buf);
    return 1;
}

static int call_ram_write(lua_State *L)
{
    const char *name = check_text(L, 1);
    const char *value = check_text(L, 2);
    const int64_t code = nvmram_writenv(name, value, 4096);
    if (code != 0)
        return fail(L, &lc_nv_errors, "ram.write", code);
    lua_pushboolean(L, 1);
    return 1;
}

static int call_ram_clear(lua_State *L)
{
    const int64_t code = nvmram_clear();
    if (code != 0)
        return fail(L, &lc_nv_errors, "ram.clear", code);
    lua_pushboolean(L, 1);
    return 1;
}

static int call_ram_match(lua_State *L)
{
    const char *name = check_text(L, 1);
    const char *value = check_text(L, 2);
    const uint32_t code = nvram_match(name, value);
    if (code != NV_SUCCESS && code != NV_ERR_DIFFER)
        return fail(L, &lc_nv_errors, "ram.match", code);
    lua_pushboolean(L, code == NV_SUCCESS);
    return 1;
}

static int call_nvm_open(lua_State *L)
{
    const int64_t code = nvm_init();
    if (code != 0)
        return fail(L, &lc_nv_errors, "nvm.open", code);
    lua_pushboolean(L, 1);
    return 1;
}

static int call_nvm_read(lua_State *L)
{
    const char *name = check_text(L, 1);
    char buf[4097] = {0};
    const int64_t code = nvm_readnv(name, buf, 4096);
    if (code != 0)
        return fail(L, &lc_nv_errors, "nvm.read", code);
    lua_pushstring(L, buf);
    return 1;
}

static int call_nvm_write(lua_State *L)
{
    const char *name = check_text(L, 1);
    const char *value = check_text(L, 2);
    const int64_t code = nvm_writenv(name, value, 4096);
    if (code != 0)
        return fail(L, &lc_nv_errors, "nvm.write", code);
    lua_pushboolean(L, 1);
    return 1;
}

static int call_nvm_match(lua_State *L)
{
    const char *name = check_text(L, 1);
    const char *value = check_text(L, 2);
    const uint32_t code = nvm_match(name, value);
    if (code != NV_SUCCESS && code != NV_ERR_DIFFER)
        return fail(L, &lc_nv_errors, "nvm.match", code);
    lua_pushboolean(L, code == NV_SUCCESS);
    return 1;
}

static int call_nvm_clear(lua_State *L)
{
    const int64_t code = nvm_clear();
    if (code != 0)
        return fail(L, &lc_nv_errors, "nvm.clear", code);
    lua_pushboolean(L, 1);
    return 1;
}

static int call_nvm_close(lua_State *L)
{
    const int64_t code = nvm_fin();
    if (code != 0)
        return fail(L, &lc_nv_errors, "nvm.close", code);
    lua_pushboolean(L, 1);
    return 1;
}

static int call_nvm_export_file(lua_State *L)
{
    const char *path = check_text(L, 1);
    const uint32_t mask = check_uint32(L, 2);
    const int with_crc = lua_toboolean(L, 3);
    const int64_t code = nvm_export(path, mask, with_crc);
    if (code != 0)
        return fail(L, &lc_nv_errors, "nvm.export_file", code);
    lua_pushboolean(L, 1);
    return 1;
}

static int call_nvm_import_file(lua_State *L)
{
    const char *path = check_text(L, 1);
    const uint32_t mask = check_uint32(L, 2);
    const int has_crc = lua_toboolean(L, 3);
    const int check_identity = lua_toboolean(L, 4);
    const int64_t code = nvm_import(path, mask, has_crc, check_identity);
    if (code != 0)
        return fail(L, &lc_nv_errors, "nvm.import_file", code);
    lua_pushboolean(L, 1);
    return 1;
}

static int call_nvm_reset(lua_State *L)
{
    const int64_t code = nvm_routerreset();
    if (code != 0)
        return fail(L, &lc_nv_errors, "nvm.reset", code);
    lua_pushboolean(L, 1);
    return 1;
}

static int call_nvm_look_up(lua_State *L)
{
    const char *path = check_text(L, 1);
    const char *name = check_text(L, 2);
    char buf[4097] = {0};
    const int has_crc = lua_toboolean(L, 3);
    const int64_t code = nvm_parsefile(path, name, buf, 4096, has_crc);
    if (code != 0)
        return fail(L, &lc_nv_errors, "nvm.look_up", code);
    lua_pushstring(L, buf);
    return 1;
}

static int call_nvm_checksum(lua_State *L)
{
    const uint32_t crc = check_uint32(L, 1);
    size_t data_size;
    const char *data = luaL_checklstring(L, 2, &data_size);
    push_unsigned(L, nv_crc32_update(crc, data, data_size));
    return 1;
}

static int call_client_send(lua_State *L)
{
    require_client(L);
    const uint32_t module_id = check_uint32(L, 2);
    const uint32_t msg_id = check_uint32(L, 3);
    size_t body_size;
    const char *body = check_body(L, 4, &body_size);
    const uint32_t sent = send_request(module_id, msg_id, body, (uint32_t)body_size);
    if (sent != 1)
        return fail(L, &lte_sdk_errors, "client:send", sent);
    lua_pushboolean(L, 1);
    return 1;
}

static int call_client_request(lua_State *L)
{
    require_client(L);
    const uint32_t module_id = check_uint32(L, 2);
    const uint32_t msg_id = check_uint32(L, 3);
    size_t body_size;
    const char *body = check_body(L, 4, &body_size);
    const uint32_t timeout = (uint32_t)check_milliseconds(L, 5);
    char rsp[1008];
    uint32_t rsp_len = sizeof rsp;
    const uint32_t sent =
        send_request_syn(module_id, msg_id, body, (uint32_t)body_size, timeout, rsp, &rsp_len);
    if (sent != 1)
        return fail(L, &lte_sdk_errors, "client:request", sent);
    lua_pushlstring(L, rsp, rsp_len);
    return 1;
}

static int call_client_notify(lua_State *L)
{
    require_client(L);
    const uint32_t msg_id = check_uint32(L, 2);
    size_t body_size;
    const char *body = check_body(L, 3, &body_size);
    const uint32_t sent = send_notify(msg_id, body, (uint32_t)body_size);
    if (sent != 1)
        return fail(L, &lte_sdk_errors, "client:notify", sent);
    lua_pushboolean(L, 1);
    return 1;
}

static int call_client_subscribe(lua_State *L)
{
    require_events(L);
    regnotify();
    lua_pushboolean(L, 1);
    return 1;
}

static int call_client_connect(lua_State *L)
{
    require_client(L);
    const int64_t code = lct_connect();
    if (code != 0)
        return fail(L, &lte_sdk_errors, "client:connect", code);
    lua_pushboolean(L, 1);
    return 1;
}

static int call_client_disconnect(lua_State *L)
{
    require_client(L);
    const int64_t code = lct_disconnect();
    if (code != 0)
        return fail(L, &lte_sdk_errors, "client:disconnect", code);
    lua_pushboolean(L, 1);
    return 1;
}

static int call_client_get_roaming(lua_State *L)
{
    require_client(L);
    lct_value_rsp out = {0};
    const int64_t code = lct_get_roam_switch(&out);
    if (code != 0)
        return fail(L, &lte_sdk_errors, "client:get_roaming", code);
    push_unsigned(L, out.value);
    return 1;
}

static int call_client_set_roaming(lua_State *L)
{
    require_client(L);
    const uint32_t value = check_uint32(L, 2);
    const int64_t code = lct_set_roam_switch(&value);
    if (code != 0)
        return fail(L, &lte_sdk_errors, "client:set_roaming", code);
    lua_pushboolean(L, 1);
    return 1;
}

static int call_client_get_network_type(lua_State *L)
{
    require_client(L);
    lct_value_rsp out = {0};
    const int64_t code = lct_get_nettype(&out);
    if (code != 0)
        return fail(L, &lte_sdk_errors, "client:get_network_type", code);
    push_unsigned(L, out.value);
    return 1;
}

static int call_client_set_network_type(lua_State *L)
{
    require_client(L);
    const uint32_t nettype = check_uint32(L, 2);
    const int64_t code = lct_set_nettype(&nettype);
    if (code != 0)
        return fail(L, &lte_sdk_errors, "client:set_network_type", code);
    lua_pushboolean(L, 1);
    return 1;
}

static int call_client_enable_pin(lua_State *L)
{
    require_client(L);
    lct_pin pin = {0};
    check_field(L, 2, pin.pin, sizeof pin.pin);
    const int64_t code = lct_enable_pin(&pin);
    if (code != 0)
        return fail(L, &lte_sdk_errors, "client:enable_pin", code);
    lua_pushboolean(L, 1);
    return 1;
}

static int call_client_disable_pin(lua_State *L)
{
    require_client(L);
    lct_pin pin = {0};
    check_field(L, 2, pin.pin, sizeof pin.pin);
    const int64_t code = lct_disenable_pin(&pin);
    if (code != 0)
        return fail(L, &lte_sdk_errors, "client:disable_pin", code);
    lua_pushboolean(L, 1);
    return 1;
}

static int call_client_change_pin(lua_State *L)
{
    require_client(L);
    lct_pin_change change = {0};
    check_field(L, 2, change.old_pin, sizeof change.old_pin);
    check_field(L, 3, change.new_pin, sizeof change.new_pin);
    const int64_t code = lct_modify_pin(&change);
    if (code != 0)
        return fail(L, &lte_sdk_errors, "client:change_pin", code);
    lua_pushboolean(L, 1);
    return 1;
}

static int call_client_set_pin_asking(lua_State *L)
{
    require_client(L);
    const uint8_t enable = check_uint8(L, 2);
    const int64_t code = lct_modify_pin_en(&enable);
    if (code != 0)
        return fail(L, &lte_sdk_errors, "client:set_pin_asking", code);
    lua_pushboolean(L, 1);
    return 1;
}

static int call_client_set_pin_asking_loosely(lua_State *L)
{
    require_client(L);
    const uint8_t enable = check_uint8(L, 2);
    const int64_t code = lct_sim_set_pinen_req(&enable);
    if (code != 0)
        return fail(L, &lte_sdk_errors, "client:set_pin_asking_loosely", code);
    lua_pushboolean(L, 1);
    return 1;
}

static int call_client_search_operators(lua_State *L)
{
    require_client(L);
    lct_netlist_rsp out = {0};
    const int64_t code = lct_get_netlist_req(&out);
    if (code != 0)
        return fail(L, &lte_sdk_errors, "client:search_operators", code);
    push_lct_operators(L, out.operators, 10);
    return 1;
}

static int call_client_get_imsi(lua_State *L)
{
    require_client(L);
    char buf[69] = {0};
    const int64_t code = lct_net_imsi_get_req(buf, 68);
    if (code != 0)
        return fail(L, &lte_sdk_errors, "client:get_imsi", code);
    return push_answer(L, buf, &lte_sdk_errors, "client:get_imsi");
}

static int call_client_use_apn(lua_State *L)
{
    require_client(L);
    const int64_t code = lct_apn_set_req();
    if (code != 0)
        return fail(L, &lte_sdk_errors, "client:use_apn", code);
    lua_pushboolean(L, 1);
    return 1;
}

static int call_client_set_preference(lua_State *L)
{
    require_client(L);
    const uint32_t preference = check_uint32(L, 2);
    const int64_t code = lct_net_set_pref_req(&preference);
    if (code != 0)
        return fail(L, &lte_sdk_errors, "client:set_preference", code);
    lua_pushboolean(L, 1);
    return 1;
}

static int call_client_inject_state(lua_State *L)
{
    require_client(L);
    const uint32_t state = check_uint32(L, 2);
    const int64_t code = lct_net_set_status_test_req(&state);
    if (code != 0)
        return fail(L, &lte_sdk_errors, "client:inject_state", code);
    lua_pushboolean(L, 1);
    return 1;
}

static int call_client_get_channel(lua_State *L)
{
    require_client(L);
    uint32_t channel = 0;
    const int64_t code = lct_lte_channel_req(&channel);
    if (code != 0)
        return fail(L, &lte_sdk_errors, "client:get_channel", code);
    push_unsigned(L, channel);
    return 1;
}

static int call_client_set_serial_port(lua_State *L)
{
    require_client(L);
    const uint32_t port = check_uint32(L, 2);
    const int64_t code = lct_set_serial_port(port);
    if (code != 0)
        return fail(L, &lte_sdk_errors, "client:set_serial_port", code);
    lua_pushboolean(L, 1);
    return 1;
}

static int call_client_snapshot(lua_State *L)
{
    require_client(L);
    const int64_t code = lct_get_diag_info();
    if (code != 0)
        return fail(L, &lte_sdk_errors, "client:snapshot", code);
    lua_pushboolean(L, 1);
    return 1;
}

static int call_client_snapshot_everything(lua_State *L)
{
    require_client(L);
    const int64_t code = lct_get_diag_hide_info();
    if (code != 0)
        return fail(L, &lte_sdk_errors, "client:snapshot_everything", code);
    lua_pushboolean(L, 1);
    return 1;
}

static int call_client_at(lua_State *L)
{
    require_client(L);
    char *cmd = check_copy(L, 2, " ");
    char out[117] = {0};
    const int64_t code = lct_ext_at_req(cmd, out, 116);
    if (code != 0)
        return fail(L, &lte_sdk_errors, "client:at", code);
    lua_pushstring(L, out);
    return 1;
}

static int call_client_set_interface(lua_State *L)
{
    require_client(L);
    lct_iface_status status = {0};
    status.readiness = check_uint32(L, 2);
    const int64_t code = lct_inface_status_req(&status);
    if (code != 0)
        return fail(L, &lte_sdk_errors, "client:set_interface", code);
    lua_pushboolean(L, 1);
    return 1;
}

static int call_client_switch_radio_off(lua_State *L)
{
    require_client(L);
    const int64_t code = lct_at_cfun_off_req();
    if (code != 0)
        return fail(L, &lte_sdk_errors, "client:switch_radio_off", code);
    lua_pushboolean(L, 1);
    return 1;
}

static int call_client_send_test_ussd(lua_State *L)
{
    require_client(L);
    const int64_t code = lct_test_ussd_notify_req();
    if (code != 0)
        return fail(L, &lte_sdk_errors, "client:send_test_ussd", code);
    lua_pushboolean(L, 1);
    return 1;
}

static int call_lte_signal_level(lua_State *L)
{
    char buf[4097] = {0};
    const int64_t code = lct_net_signal_level_get_req(buf, 4096);
    if (code != 0)
        return fail(L, &lte_sdk_errors, "lte.signal_level", code);
    lua_pushstring(L, buf);
    return 1;
}

static int call_lte_imei(lua_State *L)
{
    char buf[4097] = {0};
    const int64_t code = lct_net_imei_get_req(buf, 4096);
    if (code != 0)
        return fail(L, &lte_sdk_errors, "lte.imei", code);
    lua_pushstring(L, buf);
    return 1;
}

static int call_lte_sim_status(lua_State *L)
{
    char buf[4097] = {0};
    const int64_t code = lct_sim_status_get_req(buf, 4096);
    if (code != 0)
        return fail(L, &lte_sdk_errors, "lte.sim_status", code);
    lua_pushstring(L, buf);
    return 1;
}

static int call_lte_syslog_switch(lua_State *L)
{
    lua_pushboolean(L, lct_get_syslog_switch_flg() != 0);
    return 1;
}

static int call_lte_change_state(lua_State *L)
{
    if (!claim_endpoint())
        return fail_claim(L, "lte.change_state");
    const int64_t code = lct_state_change_req();
    release_endpoint();
    if (code != 0)
        return fail(L, &lte_sdk_errors, "lte.change_state", code);
    lua_pushboolean(L, 1);
    return 1;
}

static int call_lte_delete_messages(lua_State *L)
{
    if (!claim_endpoint())
        return fail_claim(L, "lte.delete_messages");
    const int64_t code = lct_sms_del_dev_all_msg();
    release_endpoint();
    if (code != 0)
        return fail(L, &lte_sdk_errors, "lte.delete_messages", code);
    lua_pushboolean(L, 1);
    return 1;
}

static int call_lte_set_led(lua_State *L)
{
    const uint32_t led = check_uint32(L, 1);
    const uint32_t colour = check_uint32(L, 2);
    const uint32_t flash = check_uint32(L, 3);
    const int64_t code = lte_set_led_status(led, colour, flash);
    if (code != 0)
        return fail(L, &lte_sdk_errors, "lte.set_led", code);
    lua_pushboolean(L, 1);
    return 1;
}

static int call_lte_find_apn(lua_State *L)
{
    const char *path = check_text(L, 1);
    const char *key = check_text(L, 2);
    apn_item out = {0};
    const int64_t code = auto_match_apn(path, key, &out);
    if (code != 0)
        return fail(L, &lte_sdk_errors, "lte.find_apn", code);
    push_apn_item(L, &out);
    return 1;
}

static int call_lte_parse_apn_list(lua_State *L)
{
    const char *text = check_text(L, 1);
    apn_item out = {0};
    const int64_t code = parse_apn_list(text, &out);
    if (code != 0)
        return fail(L, &lte_sdk_errors, "lte.parse_apn_list", code);
    push_apn_item(L, &out);
    return 1;
}

static int call_lte_statistics(lua_State *L)
{
    const char *ifname = check_text(L, 1);
    if_stats stats = {0};
    const int64_t code = lct_readlist_proc(ifname, &stats);
    if (code != 0)
        return fail(L, &lte_sdk_errors, "lte.statistics", code);
    push_if_stats(L, &stats);
    return 1;
}

static int call_names_radio(lua_State *L)
{
    const uint32_t value = check_uint32(L, 1);
    lua_pushstring(L, get_radio_str(value));
    return 1;
}

static int call_names_sim(lua_State *L)
{
    const uint32_t value = check_uint32(L, 1);
    lua_pushstring(L, get_sim_str(value));
    return 1;
}

static int call_names_link(lua_State *L)
{
    const uint32_t value = check_uint32(L, 1);
    lua_pushstring(L, get_link_str(value));
    return 1;
}

static int call_names_registration(lua_State *L)
{
    const uint32_t value = check_uint32(L, 1);
    lua_pushstring(L, get_net_type_str(value));
    return 1;
}

static int call_names_interface_type(lua_State *L)
{
    const uint32_t value = check_uint32(L, 1);
    lua_pushstring(L, get_iface_type_str(value));
    return 1;
}

static int call_names_interface_priority(lua_State *L)
{
    const uint32_t value = check_uint32(L, 1);
    lua_pushstring(L, get_iface_priority_str(value));
    return 1;
}

static int call_names_interface_connection(lua_State *L)
{
    const uint32_t value = check_uint32(L, 1);
    lua_pushstring(L, get_iface_conn_str(value));
    return 1;
}

static int call_names_interface_status(lua_State *L)
{
    const uint32_t value = check_uint32(L, 1);
    lua_pushstring(L, get_iface_status_str(value));
    return 1;
}

static int call_names_roaming(lua_State *L)
{
    const uint32_t value = check_uint32(L, 1);
    lua_pushstring(L, get_roaming_str(value));
    return 1;
}

static int call_names_ip_mode(lua_State *L)
{
    const uint32_t value = check_uint32(L, 1);
    lua_pushstring(L, get_ipmode_str(value));
    return 1;
}

static int call_upgrade_set_image_size(lua_State *L)
{
    const int32_t size = check_int32(L, 1);
    const int64_t code = lc_set_img_size(size);
    if (code != 0)
        return fail(L, &lc_up_errors, "upgrade.set_image_size", code);
    lua_pushboolean(L, 1);
    return 1;
}

static int call_upgrade_start(lua_State *L)
{
    const int64_t code = lc_up_start();
    if (code != 0)
        return fail(L, &lc_up_errors, "upgrade.start", code);
    lua_pushboolean(L, 1);
    return 1;
}

static int call_upgrade_write(lua_State *L)
{
    size_t data_size;
    const char *data = luaL_checklstring(L, 1, &data_size);
    const int64_t code = lc_up_img(data, (int32_t)data_size);
    if (code != 0)
        return fail(L, &lc_up_errors, "upgrade.write", code);
    lua_pushboolean(L, 1);
    return 1;
}

static int call_upgrade_confirm(lua_State *L)
{
    const int64_t code = lc_up_status();
    if (code != 0)
        return fail(L, &lc_up_errors, "upgrade.confirm", code);
    lua_pushboolean(L, 1);
    return 1;
}

static int call_names_upgrade_status(lua_State *L)
{
    const int32_t status = check_int32(L, 1);
    lua_pushstring(L, lc_get_status_str(status));
    return 1;
}

static int call_names_upgrade_frame(lua_State *L)
{
    const uint32_t value = check_uint32(L, 1);
    lua_pushstring(L, lc_get_tlv_type_str(value));
    return 1;
}

static int call_upgrade_at(lua_State *L)
{
    const char *command = check_text(L, 1);
    const int64_t code = lc_at_snd(command);
    if (code != 0)
        return fail(L, &lc_up_errors, "upgrade.at", code);
    lua_pushboolean(L, 1);
    return 1;
}

static int call_upgrade_at_wait(lua_State *L)
{
    const char *command = check_text(L, 1);
    const int64_t code = lc_at_snd_wait(command);
    if (code != 0)
        return fail(L, &lc_up_errors, "upgrade.at_wait", code);
    lua_pushboolean(L, 1);
    return 1;
}

/* clang-format off */
static const luaL_Reg log_functions[] = {
    {"find_module", call_log_find_module},
    {"start", call_log_start},
    {"write", call_log_write},
    {NULL, NULL},
};

static const luaL_Reg network_functions[] = {
    {"add_route", call_network_add_route},
    {"delete_route", call_network_delete_route},
    {"add_default_routes", call_network_add_default_routes},
    {"delete_default_routes", call_network_delete_default_routes},
    {"is_address", call_network_is_address},
    {"has_interface", call_network_has_interface},
    {"find_neighbour", call_network_find_neighbour},
    {"probe", call_network_probe},
    {"update_neighbour", call_network_update_neighbour},
    {NULL, NULL},
};

static const luaL_Reg timers_functions[] = {
    {"count", call_timers_count},
    {NULL, NULL},
};

static const luaL_Reg messaging_functions[] = {
    {"set_send_limit", call_messaging_set_send_limit},
    {NULL, NULL},
};

static const luaL_Reg ram_functions[] = {
    {"open", call_ram_open},
    {"read", call_ram_read},
    {"write", call_ram_write},
    {"clear", call_ram_clear},
    {"match", call_ram_match},
    {NULL, NULL},
};

static const luaL_Reg nvm_functions[] = {
    {"open", call_nvm_open},
    {"read", call_nvm_read},
    {"write", call_nvm_write},
    {"match", call_nvm_match},
    {"clear", call_nvm_clear},
    {"close", call_nvm_close},
    {"export_file", call_nvm_export_file},
    {"import_file", call_nvm_import_file},
    {"reset", call_nvm_reset},
    {"look_up", call_nvm_look_up},
    {"checksum", call_nvm_checksum},
    {NULL, NULL},
};

const luaL_Reg client_requests[] = {
    {"send", call_client_send},
    {"request", call_client_request},
    {"notify", call_client_notify},
    {"subscribe", call_client_subscribe},
    {"connect", call_client_connect},
    {"disconnect", call_client_disconnect},
    {"get_roaming", call_client_get_roaming},
    {"set_roaming", call_client_set_roaming},
    {"get_network_type", call_client_get_network_type},
    {"set_network_type", call_client_set_network_type},
    {"enable_pin", call_client_enable_pin},
    {"disable_pin", call_client_disable_pin},
    {"change_pin", call_client_change_pin},
    {"set_pin_asking", call_client_set_pin_asking},
    {"set_pin_asking_loosely", call_client_set_pin_asking_loosely},
    {"search_operators", call_client_search_operators},
    {"get_imsi", call_client_get_imsi},
    {"use_apn", call_client_use_apn},
    {"set_preference", call_client_set_preference},
    {"inject_state", call_client_inject_state},
    {"get_channel", call_client_get_channel},
    {"set_serial_port", call_client_set_serial_port},
    {"snapshot", call_client_snapshot},
    {"snapshot_everything", call_client_snapshot_everything},
    {"at", call_client_at},
    {"set_interface", call_client_set_interface},
    {"switch_radio_off", call_client_switch_radio_off},
    {"send_test_ussd", call_client_send_test_ussd},
    {NULL, NULL},
};

static const luaL_Reg lte_functions[] = {
    {"signal_level", call_lte_signal_level},
    {"imei", call_lte_imei},
    {"sim_status", call_lte_sim_status},
    {"syslog_switch", call_lte_syslog_switch},
    {"change_state", call_lte_change_state},
    {"delete_messages", call_lte_delete_messages},
    {"set_led", call_lte_set_led},
    {"find_apn", call_lte_find_apn},
    {"parse_apn_list", call_lte_parse_apn_list},
    {"statistics", call_lte_statistics},
    {NULL, NULL},
};

static const luaL_Reg names_functions[] = {
    {"radio", call_names_radio},
    {"sim", call_names_sim},
    {"link", call_names_link},
    {"registration", call_names_registration},
    {"interface_type", call_names_interface_type},
    {"interface_priority", call_names_interface_priority},
    {"interface_connection", call_names_interface_connection},
    {"interface_status", call_names_interface_status},
    {"roaming", call_names_roaming},
    {"ip_mode", call_names_ip_mode},
    {"upgrade_status", call_names_upgrade_status},
    {"upgrade_frame", call_names_upgrade_frame},
    {NULL, NULL},
};

static const luaL_Reg upgrade_functions[] = {
    {"set_image_size", call_upgrade_set_image_size},
    {"start", call_upgrade_start},
    {"write", call_upgrade_write},
    {"confirm", call_upgrade_confirm},
    {"at", call_upgrade_at},
    {"at_wait", call_upgrade_at_wait},
    {NULL, NULL},
};

const struct namespace namespaces[] = {
    {"log", log_functions},
    {"network", network_functions},
    {"timers", timers_functions},
    {"messaging", messaging_functions},
    {"ram", ram_functions},
    {"nvm", nvm_functions},
    {"lte", lte_functions},
    {"names", names_functions},
    {"upgrade", upgrade_functions},
    {NULL, NULL},
};

const struct number_constant number_constants[] = {
    {"MEM_OWNER_LIST", MEM_OWNER_LIST},
    {"MEM_OWNER_HASHTAB", MEM_OWNER_HASHTAB},
    {"MEM_OWNER_IPC", MEM_OWNER_IPC},
    {"MEM_OWNER_IPC_SYNC", MEM_OWNER_IPC_SYNC},
    {"MEM_OWNER_TIMER", MEM_OWNER_TIMER},
    {"MEM_OWNER_LCT", MEM_OWNER_LCT},
    {"LC_LOG_DEBUG", LC_LOG_DEBUG},
    {"LC_LOG_INFO", LC_LOG_INFO},
    {"LC_LOG_ERROR", LC_LOG_ERROR},
    {"LC_LOG_BUILT_IN", LC_LOG_BUILT_IN},
    {"LC_LOG_NAME_SIZE", LC_LOG_NAME_SIZE},
    {"LC_NETWORK_ERR_IP", LC_NETWORK_ERR_IP},
    {"LC_MAC_SIZE", LC_MAC_SIZE},
    {"LC_MAC_TEXT_SIZE", LC_MAC_TEXT_SIZE},
    {"TIMER_TICK_MS", TIMER_TICK_MS},
    {"TIMER_NAME_MAX", TIMER_NAME_MAX},
    {"TIMER_SUCCESS", TIMER_SUCCESS},
    {"TIMER_ERR_NOT_INIT", TIMER_ERR_NOT_INIT},
    {"TIMER_ERR_PARAM", TIMER_ERR_PARAM},
    {"TIMER_ERR_NO_TIMER", TIMER_ERR_NO_TIMER},
    {"TIMER_ERR_THREAD", TIMER_ERR_THREAD},
    {"TIMER_ERR_INTERNAL", TIMER_ERR_INTERNAL},
    {"IPC_SUCCESS", IPC_SUCCESS},
    {"IPC_ERR_PARAM", IPC_ERR_PARAM},
    {"IPC_ERR_NOT_INIT", IPC_ERR_NOT_INIT},
    {"IPC_ERR_LENGTH", IPC_ERR_LENGTH},
    {"IPC_ERR_TOO_SMALL", IPC_ERR_TOO_SMALL},
    {"IPC_ERR_REFUSED", IPC_ERR_REFUSED},
    {"IPC_ERR_TIMEOUT", IPC_ERR_TIMEOUT},
    {"IPC_ERR_FULL", IPC_ERR_FULL},
    {"IPC_ERR_EMPTY", IPC_ERR_EMPTY},
    {"IPC_ERR_SOCKET", IPC_ERR_SOCKET},
    {"IPC_ERR_RESOURCE", IPC_ERR_RESOURCE},
    {"IPC_MQ_MAX_QUEUES", IPC_MQ_MAX_QUEUES},
    {"IPC_MQ_DEFAULT_CAPACITY", IPC_MQ_DEFAULT_CAPACITY},
    {"IPC_MSG_TYPE_ASYNC", IPC_MSG_TYPE_ASYNC},
    {"IPC_MSG_TYPE_REQUEST", IPC_MSG_TYPE_REQUEST},
    {"IPC_MSG_TYPE_RESPONSE", IPC_MSG_TYPE_RESPONSE},
    {"IPC_MSG_TYPE_SHORT", IPC_MSG_TYPE_SHORT},
    {"IPC_MSG_MAX_SIZE", IPC_MSG_MAX_SIZE},
    {"IPC_MSG_ID_STOP", IPC_MSG_ID_STOP},
    {"IPC_MSG_ID_REGISTER", IPC_MSG_ID_REGISTER},
    {"IPC_MSG_ID_DEREGISTER", IPC_MSG_ID_DEREGISTER},
    {"IPC_MODULE_WM", IPC_MODULE_WM},
    {"IPC_MODULE_MM", IPC_MODULE_MM},
    {"IPC_MODULE_CGI", IPC_MODULE_CGI},
    {"IPC_MODULE_CLI1", IPC_MODULE_CLI1},
    {"IPC_MODULE_CLI2", IPC_MODULE_CLI2},
    {"IPC_MODULE_SMS_PB", IPC_MODULE_SMS_PB},
    {"IPC_MODULE_UPTEST", IPC_MODULE_UPTEST},
    {"IPC_MODULE_COUNT", IPC_MODULE_COUNT},
    {"IPC_PRIORITY_COMMON", IPC_PRIORITY_COMMON},
    {"NV_SUCCESS", NV_SUCCESS},
    {"NV_ERR_NAME", NV_ERR_NAME},
    {"NV_ERR_BUFFER", NV_ERR_BUFFER},
    {"NV_ERR_FILE", NV_ERR_FILE},
    {"NV_ERR_VALUE", NV_ERR_VALUE},
    {"NV_ERR_SYSTEM", NV_ERR_SYSTEM},
    {"NV_ERR_DIFFER", NV_ERR_DIFFER},
    {"NV_VALUE_MAX", NV_VALUE_MAX},
    {"NV_LINE_SIZE", NV_LINE_SIZE},
    {"NV_CHECKSUM_SIZE", NV_CHECKSUM_SIZE},
    {"NV_ATTR_RESET", NV_ATTR_RESET},
    {"NV_LINE_PARAMETER", NV_LINE_PARAMETER},
    {"NV_LINE_SKIP", NV_LINE_SKIP},
    {"NV_LINE_MALFORMED", NV_LINE_MALFORMED},
    {"SC_STATE_CHANGE_REQ", SC_STATE_CHANGE_REQ},
    {"WM_MSG_CONNECT_REQ", WM_MSG_CONNECT_REQ},
    {"WM_MSG_DISCONNECT_REQ", WM_MSG_DISCONNECT_REQ},
    {"WM_MSG_LINK_STATUS_NOTIFY", WM_MSG_LINK_STATUS_NOTIFY},
    {"WM_MSG_IFACE_STATUS_NOTIFY", WM_MSG_IFACE_STATUS_NOTIFY},
    {"WM_MSG_NETTYPE_GET_REQ", WM_MSG_NETTYPE_GET_REQ},
    {"WM_MSG_NETTYPE_SET_REQ", WM_MSG_NETTYPE_SET_REQ},
    {"WM_MSG_ROAM_SWITCH_GET_REQ", WM_MSG_ROAM_SWITCH_GET_REQ},
    {"WM_MSG_ROAM_SWITCH_SET_REQ", WM_MSG_ROAM_SWITCH_SET_REQ},
    {"WM_MSG_PIN_DISABLE_REQ", WM_MSG_PIN_DISABLE_REQ},
    {"WM_MSG_PIN_MODIFY_REQ", WM_MSG_PIN_MODIFY_REQ},
    {"WM_MSG_PIN_MODIFY_EN_REQ", WM_MSG_PIN_MODIFY_EN_REQ},
    {"WM_MSG_NETLIST_SEARCH_REQ", WM_MSG_NETLIST_SEARCH_REQ},
    {"WM_MSG_MODEM_AT_REQ", WM_MSG_MODEM_AT_REQ},
    {"WM_MSG_PIN_ENABLE_REQ", WM_MSG_PIN_ENABLE_REQ},
    {"WM_MSG_DUALMODE_SET_PREF_REQ", WM_MSG_DUALMODE_SET_PREF_REQ},
    {"WM_MSG_APN_SET_REQ", WM_MSG_APN_SET_REQ},
    {"WM_MSG_MODEM_NOTIFY", WM_MSG_MODEM_NOTIFY},
    {"WM_MSG_IMSI_GET_REQ", WM_MSG_IMSI_GET_REQ},
    {"WM_MSG_IFACE_UPORDOWN_REQ", WM_MSG_IFACE_UPORDOWN_REQ},
    {"WM_MSG_DIAG_INFO_REQ", WM_MSG_DIAG_INFO_REQ},
    {"WM_MSG_DIAG_HIDE_INFO_REQ", WM_MSG_DIAG_HIDE_INFO_REQ},
    {"WM_MSG_LTE_CHANNEL_REQ", WM_MSG_LTE_CHANNEL_REQ},
    {"WM_MSG_SERIAL_PORT_SET_REQ", WM_MSG_SERIAL_PORT_SET_REQ},
    {"WM_MSG_AT_CFUN_OFF_REQ", WM_MSG_AT_CFUN_OFF_REQ},
    {"WM_MSG_SMS_DEL_ALL_REQ", WM_MSG_SMS_DEL_ALL_REQ},
    {"LCT_TRACE_LIMIT", LCT_TRACE_LIMIT},
    {"LCT_EVENT_LINK_STATUS", LCT_EVENT_LINK_STATUS},
    {"LCT_EVENT_IFACE_STATUS", LCT_EVENT_IFACE_STATUS},
    {"LCT_LINK_BODY_SIZE", LCT_LINK_BODY_SIZE},
    {"LCT_IFACE_BODY_SIZE", LCT_IFACE_BODY_SIZE},
    {"LCT_LINK_DISCONNECTED", LCT_LINK_DISCONNECTED},
    {"LCT_LINK_DISCONNECTING", LCT_LINK_DISCONNECTING},
    {"LCT_LINK_CONNECTED", LCT_LINK_CONNECTED},
    {"LCT_LINK_CONNECTING", LCT_LINK_CONNECTING},
    {"LCT_LINK_CLEAR", LCT_LINK_CLEAR},
    {"LCT_IFACE_TYPE_WCDMA", LCT_IFACE_TYPE_WCDMA},
    {"LCT_LED_SIGNAL", LCT_LED_SIGNAL},
    {"LCT_LED_INTERNET", LCT_LED_INTERNET},
    {"LCT_LED_SIM", LCT_LED_SIM},
    {"LC_UP_PIECE_SIZE", LC_UP_PIECE_SIZE},
    {"UPGRADE_TLV_TYPE_COMMAND_REQ", UPGRADE_TLV_TYPE_COMMAND_REQ},
    {"UPGRADE_TLV_TYPE_COMMAND_RSP", UPGRADE_TLV_TYPE_COMMAND_RSP},
    {"UPGRADE_TLV_TYPE_DATA_REQ", UPGRADE_TLV_TYPE_DATA_REQ},
    {"UPGRADE_TLV_TYPE_DATA_RSP", UPGRADE_TLV_TYPE_DATA_RSP},
    {"UPGRADE_TLV_TYPE_CMD_BEGIN", UPGRADE_TLV_TYPE_CMD_BEGIN},
    {"UPGRADE_TLV_TYPE_CMD_END", UPGRADE_TLV_TYPE_CMD_END},
    {"LCT_UP_FAIL", LCT_UP_FAIL},
    {"LCT_UP_NONE", LCT_UP_NONE},
    {"LCT_UP_OK", LCT_UP_OK},
    {"LCT_UP_GO", LCT_UP_GO},
    {"LCT_UP_CHKOK", LCT_UP_CHKOK},
    {NULL, 0},
};

const struct text_constant text_constants[] = {
    {"LC_LOG_FLAG_PREFIX", LC_LOG_FLAG_PREFIX},
    {"LC_LOG_CONFIG_FILE", LC_LOG_CONFIG_FILE},
    {"NVMRAM_DIR", NVMRAM_DIR},
    {"NVM_CURRENT_DIR", NVM_CURRENT_DIR},
    {"NVM_BACKUP_DIR", NVM_BACKUP_DIR},
    {"NVM_DEFAULTS_FILE", NVM_DEFAULTS_FILE},
    {"NVM_SHUTDOWN_MARKER", NVM_SHUTDOWN_MARKER},
    {"NV_IDENTITY_VERSION", NV_IDENTITY_VERSION},
    {"NV_IDENTITY_VARIANT", NV_IDENTITY_VARIANT},
    {"LCT_PARAM_SIGNAL", LCT_PARAM_SIGNAL},
    {"LCT_PARAM_IMEI", LCT_PARAM_IMEI},
    {"LCT_PARAM_SIM", LCT_PARAM_SIM},
    {"LCT_PARAM_LINK", LCT_PARAM_LINK},
    {"LCT_PARAM_OPERATORS", LCT_PARAM_OPERATORS},
    {"LCT_PARAM_DIAG", LCT_PARAM_DIAG},
    {"LCT_PARAM_SYSLOG_SWITCH", LCT_PARAM_SYSLOG_SWITCH},
    {"LCT_PARAM_USSD_TEST", LCT_PARAM_USSD_TEST},
    {"LCT_TRACE_FILE", LCT_TRACE_FILE},
    {"LCT_TRACE_OLDER_FILE", LCT_TRACE_OLDER_FILE},
    {"LC_UP_DATA_PORT", LC_UP_DATA_PORT},
    {"LC_UP_AT_PORT", LC_UP_AT_PORT},
    {"LC_UP_AT_START", LC_UP_AT_START},
    {"LC_UP_AT_STATUS", LC_UP_AT_STATUS},
    {NULL, NULL},
};
/* clang-format on */
