/* Prints how this machine lays out the records of the public headers. First the machine: bytes of a
 * word and the order of bytes; then "RECORD 0 SIZE" and, for each of its fields, "RECORD.FIELD OFFSET
 * SIZE". */
#include "lc_hashtab.h"
#include "lc_ipc_mq.h"
#include "lc_ipc_msg.h"
#include "lc_list.h"
#include "lc_log.h"
#include "lc_up.h"
#include "lte_sdk.h"
#include "sdk_timer.h"

#include <stddef.h>
#include <stdio.h>

struct part {
    const char *name;
    size_t offset;
    size_t size;
};

#define RECORD(record)             \
    {                              \
#record, 0, sizeof(record) \
    }
#define FIELD(record, field)                                                      \
    {                                                                             \
#record "." #field, offsetof(record, field), sizeof(((record *)0)->field) \
    }

static const struct part parts[] = {
    RECORD(ipc_msg_hdr),
    FIELD(ipc_msg_hdr, type),
    FIELD(ipc_msg_hdr, msg_id),
    FIELD(ipc_msg_hdr, length),
    FIELD(ipc_msg_hdr, session_id),

    RECORD(ipc_addr),
    FIELD(ipc_addr, priority),
    FIELD(ipc_addr, sock.sun_family),
    FIELD(ipc_addr, sock.sun_path),
    FIELD(ipc_addr, padding),

    RECORD(lct_link_status),
    FIELD(lct_link_status, iface_type),
    FIELD(lct_link_status, reserved1),
    FIELD(lct_link_status, link_status),
    FIELD(lct_link_status, ip_status),
    FIELD(lct_link_status, reserved2),
    FIELD(lct_link_status, interface_name),
    FIELD(lct_link_status, ip),
    FIELD(lct_link_status, gateway),
    FIELD(lct_link_status, dns1),
    FIELD(lct_link_status, dns2),
    FIELD(lct_link_status, mask),
    FIELD(lct_link_status, reserved3),

    RECORD(lct_iface_status),
    FIELD(lct_iface_status, reserved1),
    FIELD(lct_iface_status, readiness),
    FIELD(lct_iface_status, reserved2),

    RECORD(lct_value_rsp),
    FIELD(lct_value_rsp, result),
    FIELD(lct_value_rsp, value),

    RECORD(lct_pin),
    FIELD(lct_pin, pin),

    RECORD(lct_pin_change),
    FIELD(lct_pin_change, old_pin),
    FIELD(lct_pin_change, new_pin),

    RECORD(lct_operator),
    FIELD(lct_operator, name),
    FIELD(lct_operator, first),
    FIELD(lct_operator, second),
    FIELD(lct_operator, numbers),

    RECORD(lct_netlist_rsp),
    FIELD(lct_netlist_rsp, result),
    FIELD(lct_netlist_rsp, reserved),
    FIELD(lct_netlist_rsp, operators),

    RECORD(apn_item),
    FIELD(apn_item, key),
    FIELD(apn_item, apn),
    FIELD(apn_item, text1),
    FIELD(apn_item, text2),
    FIELD(apn_item, text3),
    FIELD(apn_item, text4),
    FIELD(apn_item, number1),
    FIELD(apn_item, number2),
    FIELD(apn_item, number3),
    FIELD(apn_item, reserved1),
    FIELD(apn_item, enabled),
    FIELD(apn_item, reserved2),

    RECORD(if_stats),
    FIELD(if_stats, rx_packets),
    FIELD(if_stats, tx_packets),
    FIELD(if_stats, rx_bytes),
    FIELD(if_stats, tx_bytes),
    FIELD(if_stats, rx_errors),
    FIELD(if_stats, tx_errors),
    FIELD(if_stats, rx_dropped),
    FIELD(if_stats, tx_dropped),
    FIELD(if_stats, rx_multicast),
    FIELD(if_stats, rx_compressed),
    FIELD(if_stats, tx_compressed),
    FIELD(if_stats, collisions),
    FIELD(if_stats, rx_length_errors),
    FIELD(if_stats, rx_over_errors),
    FIELD(if_stats, rx_crc_errors),
    FIELD(if_stats, rx_frame_errors),
    FIELD(if_stats, rx_fifo_errors),
    FIELD(if_stats, rx_missed_errors),
    FIELD(if_stats, tx_aborted_errors),
    FIELD(if_stats, tx_carrier_errors),
    FIELD(if_stats, tx_fifo_errors),
    FIELD(if_stats, tx_heartbeat_errors),
    FIELD(if_stats, tx_window_errors),
    FIELD(if_stats, uptime),

    RECORD(ipc_mq_usg),
    FIELD(ipc_mq_usg, capacity),
    FIELD(ipc_mq_usg, high_count),
    FIELD(ipc_mq_usg, normal_count),

    RECORD(logconfig),
    FIELD(logconfig, id),
    FIELD(logconfig, letter),
    FIELD(logconfig, name),

    RECORD(lc_up_frame),
    FIELD(lc_up_frame, index),
    FIELD(lc_up_frame, type),
    FIELD(lc_up_frame, length),
    FIELD(lc_up_frame, checksum),
    FIELD(lc_up_frame, payload),

    RECORD(lc_up_response),
    FIELD(lc_up_response, index),
    FIELD(lc_up_response, type),
    FIELD(lc_up_response, reserved),
    FIELD(lc_up_response, status),

    RECORD(lc_list),
    FIELD(lc_list, count),
    FIELD(lc_list, head),
    FIELD(lc_list, tail),

    RECORD(lc_list_node),
    FIELD(lc_list_node, reserved),
    FIELD(lc_list_node, data),
    FIELD(lc_list_node, next),
    FIELD(lc_list_node, prev),

    RECORD(lc_hashtab),
    FIELD(lc_hashtab, buckets),
    FIELD(lc_hashtab, size),
    FIELD(lc_hashtab, count),
    FIELD(lc_hashtab, hash),
    FIELD(lc_hashtab, compare),

    RECORD(lc_hashtab_entry),
    FIELD(lc_hashtab_entry, key),
    FIELD(lc_hashtab_entry, value),
    FIELD(lc_hashtab_entry, next),

    RECORD(timer),
    FIELD(timer, name),
    FIELD(timer, interval),
    FIELD(timer, repeat),
    FIELD(timer, callback),
    FIELD(timer, arg),

    RECORD(timer_id),
    FIELD(timer_id, node),
    FIELD(timer_id, stamp),

    RECORD(lct_config),
    FIELD(lct_config, reserved),
    FIELD(lct_config, callback),

    RECORD(lct_event),
    FIELD(lct_event, event),
    FIELD(lct_event, data),
    FIELD(lct_event, len),
    FIELD(lct_event, reserved),
};

int main(void)
{
    printf("%zu %s\n", sizeof(void *),
           __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__ ? "BIG_ENDIAN" : "LITTLE_ENDIAN");
    for (size_t i = 0; i < sizeof(parts) / sizeof(parts[0]); ++i) {
        printf("%s %zu %zu\n", parts[i].name, parts[i].offset, parts[i].size);
    }
    return 0;
}
