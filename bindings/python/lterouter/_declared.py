# Made by scripts/bindings of include/ and bindings/interface.toml.
"""The library's records and functions as ctypes has them."""

import ctypes

from lterouter._library import declare, in_addr


class lct_link_status(ctypes.Structure):
    _fields_ = [
        ("iface_type", ctypes.c_uint32),
        ("reserved1", ctypes.c_uint32),
        ("link_status", ctypes.c_uint32),
        ("ip_status", ctypes.c_uint32),
        ("reserved2", ctypes.c_uint32),
        ("interface_name", ctypes.c_char * 16),
        ("ip", ctypes.c_char * 18),
        ("gateway", ctypes.c_char * 18),
        ("dns1", ctypes.c_char * 18),
        ("dns2", ctypes.c_char * 18),
        ("mask", ctypes.c_char * 18),
        ("reserved3", ctypes.c_uint8 * 530),
    ]


class lct_iface_status(ctypes.Structure):
    _fields_ = [
        ("reserved1", ctypes.c_uint32),
        ("readiness", ctypes.c_uint32),
        ("reserved2", ctypes.c_uint8 * 680),
    ]


class lct_operator(ctypes.Structure):
    _fields_ = [
        ("name", ctypes.c_char * 16),
        ("first", ctypes.c_uint16),
        ("second", ctypes.c_uint16),
        ("numbers", ctypes.c_int32 * 5),
    ]


class apn_item(ctypes.Structure):
    _fields_ = [
        ("key", ctypes.c_char * 16),
        ("apn", ctypes.c_char * 65),
        ("text1", ctypes.c_char * 65),
        ("text2", ctypes.c_char * 65),
        ("text3", ctypes.c_char * 65),
        ("text4", ctypes.c_char * 20),
        ("number1", ctypes.c_uint32),
        ("number2", ctypes.c_int32),
        ("number3", ctypes.c_int32),
        ("reserved1", ctypes.c_uint8 * 264),
        ("enabled", ctypes.c_int32),
        ("reserved2", ctypes.c_uint32),
    ]


class if_stats(ctypes.Structure):
    _fields_ = [
        ("rx_packets", ctypes.c_uint64),
        ("tx_packets", ctypes.c_uint64),
        ("rx_bytes", ctypes.c_uint64),
        ("tx_bytes", ctypes.c_uint64),
        ("rx_errors", ctypes.c_uint32),
        ("tx_errors", ctypes.c_uint32),
        ("rx_dropped", ctypes.c_uint32),
        ("tx_dropped", ctypes.c_uint32),
        ("rx_multicast", ctypes.c_uint32),
        ("rx_compressed", ctypes.c_uint32),
        ("tx_compressed", ctypes.c_uint32),
        ("collisions", ctypes.c_uint32),
        ("rx_length_errors", ctypes.c_uint32),
        ("rx_over_errors", ctypes.c_uint32),
        ("rx_crc_errors", ctypes.c_uint32),
        ("rx_frame_errors", ctypes.c_uint32),
        ("rx_fifo_errors", ctypes.c_uint32),
        ("rx_missed_errors", ctypes.c_uint32),
        ("tx_aborted_errors", ctypes.c_uint32),
        ("tx_carrier_errors", ctypes.c_uint32),
        ("tx_fifo_errors", ctypes.c_uint32),
        ("tx_heartbeat_errors", ctypes.c_uint32),
        ("tx_window_errors", ctypes.c_uint32),
        ("uptime", ctypes.c_uint32),
    ]


class logconfig(ctypes.Structure):
    _fields_ = [
        ("id", ctypes.c_int32),
        ("letter", ctypes.c_char),
        ("name", ctypes.c_char * 33),
    ]


class lct_value_rsp(ctypes.Structure):
    _fields_ = [
        ("result", ctypes.c_int32),
        ("value", ctypes.c_uint32),
    ]


class lct_pin(ctypes.Structure):
    _fields_ = [
        ("pin", ctypes.c_char * 16),
    ]


class lct_pin_change(ctypes.Structure):
    _fields_ = [
        ("old_pin", ctypes.c_char * 16),
        ("new_pin", ctypes.c_char * 16),
    ]


class lct_netlist_rsp(ctypes.Structure):
    _fields_ = [
        ("result", ctypes.c_int32),
        ("reserved", ctypes.c_uint32),
        ("operators", lct_operator * 10),
    ]


class lct_event(ctypes.Structure):
    _fields_ = [
        ("event", ctypes.c_uint32),
        ("data", ctypes.c_void_p),
        ("len", ctypes.c_uint32),
        ("reserved", ctypes.c_uint32),
    ]


lct_callback = ctypes.CFUNCTYPE(ctypes.c_uint32, ctypes.c_void_p)


class lct_config(ctypes.Structure):
    _fields_ = [
        ("reserved", ctypes.c_size_t * 9),
        ("callback", lct_callback),
    ]


class ipc_addr(ctypes.Structure):
    _fields_ = [
        ("priority", ctypes.c_uint32),
        ("sock", (ctypes.c_uint8 * 110)),
        ("padding", ctypes.c_uint8 * 2),
    ]


class ipc_msg_hdr(ctypes.Structure):
    _fields_ = [
        ("type", ctypes.c_uint32),
        ("msg_id", ctypes.c_uint32),
        ("length", ctypes.c_uint32),
        ("session_id", ctypes.c_uint32),
    ]


timer_callback_fn = ctypes.CFUNCTYPE(None, ctypes.c_size_t)


class timer(ctypes.Structure):
    _fields_ = [
        ("name", ctypes.c_char * 24),
        ("interval", ctypes.c_uint32),
        ("repeat", ctypes.c_uint32),
        ("callback", timer_callback_fn),
        ("arg", ctypes.c_size_t),
    ]


class timer_id(ctypes.Structure):
    _fields_ = [
        ("node", ctypes.c_size_t),
        ("stamp", ctypes.c_uint32),
    ]


declare("get_logconfig_by_ID", ctypes.c_int, ctypes.c_void_p, ctypes.c_int32)
declare("log_init", ctypes.c_int, ctypes.c_int32)
declare("log_print_text", None, ctypes.c_int32, ctypes.c_char_p)
declare("lc_route_add", ctypes.c_int, ctypes.c_char_p, ctypes.c_int, ctypes.c_char_p, ctypes.c_char_p,
        ctypes.c_char_p)
declare("lc_route_del", ctypes.c_int, ctypes.c_char_p, ctypes.c_int, ctypes.c_char_p, ctypes.c_char_p,
        ctypes.c_char_p)
declare("lc_route_add_default", ctypes.c_int, ctypes.c_char_p, ctypes.c_char_p)
declare("lc_route_del_default", ctypes.c_int, ctypes.c_char_p, ctypes.c_char_p)
declare("is_valid_ip", ctypes.c_int, ctypes.c_char_p)
declare("lc_is_interface_exist", ctypes.c_int, ctypes.c_char_p)
declare("lc_get_climac_by_ip", ctypes.c_int, ctypes.c_char_p, ctypes.c_char_p)
declare("lc_arp_check", ctypes.c_int, in_addr, in_addr, ctypes.c_void_p, ctypes.c_void_p, ctypes.c_char_p,
        ctypes.c_int)
declare("lc_arp_update", ctypes.c_int, ctypes.c_char_p, ctypes.c_char_p, ctypes.c_char_p, ctypes.c_char_p)
declare("query_timer", ctypes.c_int32, ctypes.c_void_p)
declare("ipc_msg_set_send_limit", None, ctypes.c_uint32)
declare("nvmram_init", ctypes.c_uint32)
declare("nvmram_readnv", ctypes.c_uint32, ctypes.c_char_p, ctypes.c_char_p, ctypes.c_uint32)
declare("nvmram_writenv", ctypes.c_uint32, ctypes.c_char_p, ctypes.c_char_p, ctypes.c_uint32)
declare("nvmram_clear", ctypes.c_uint32)
declare("nvram_match", ctypes.c_uint32, ctypes.c_char_p, ctypes.c_char_p)
declare("nvm_init", ctypes.c_uint32)
declare("nvm_readnv", ctypes.c_uint32, ctypes.c_char_p, ctypes.c_char_p, ctypes.c_uint32)
declare("nvm_writenv", ctypes.c_uint32, ctypes.c_char_p, ctypes.c_char_p, ctypes.c_uint32)
declare("nvm_match", ctypes.c_uint32, ctypes.c_char_p, ctypes.c_char_p)
declare("nvm_clear", ctypes.c_uint32)
declare("nvm_fin", ctypes.c_uint32)
declare("nvm_export", ctypes.c_uint32, ctypes.c_char_p, ctypes.c_uint32, ctypes.c_int)
declare("nvm_import", ctypes.c_uint32, ctypes.c_char_p, ctypes.c_uint32, ctypes.c_int, ctypes.c_int)
declare("nvm_routerreset", ctypes.c_uint32)
declare("nvm_parsefile", ctypes.c_uint32, ctypes.c_char_p, ctypes.c_char_p, ctypes.c_char_p, ctypes.c_uint32,
        ctypes.c_int)
declare("nv_crc32_update", ctypes.c_uint32, ctypes.c_uint32, ctypes.c_void_p, ctypes.c_size_t)
declare("send_request", ctypes.c_uint32, ctypes.c_uint32, ctypes.c_uint32, ctypes.c_void_p, ctypes.c_uint32)
declare("send_request_syn", ctypes.c_uint32, ctypes.c_uint32, ctypes.c_uint32, ctypes.c_void_p, ctypes.c_uint32,
        ctypes.c_uint32, ctypes.c_void_p, ctypes.c_void_p)
declare("send_notify", ctypes.c_uint32, ctypes.c_uint32, ctypes.c_void_p, ctypes.c_uint32)
declare("regnotify", None)
declare("lct_connect", ctypes.c_int32)
declare("lct_disconnect", ctypes.c_int32)
declare("lct_get_roam_switch", ctypes.c_int32, ctypes.c_void_p)
declare("lct_set_roam_switch", ctypes.c_int32, ctypes.c_void_p)
declare("lct_get_nettype", ctypes.c_int32, ctypes.c_void_p)
declare("lct_set_nettype", ctypes.c_int32, ctypes.c_void_p)
declare("lct_enable_pin", ctypes.c_int32, ctypes.c_void_p)
declare("lct_disenable_pin", ctypes.c_int32, ctypes.c_void_p)
declare("lct_modify_pin", ctypes.c_int32, ctypes.c_void_p)
declare("lct_modify_pin_en", ctypes.c_int32, ctypes.c_void_p)
declare("lct_sim_set_pinen_req", ctypes.c_int32, ctypes.c_void_p)
declare("lct_get_netlist_req", ctypes.c_int32, ctypes.c_void_p)
declare("lct_net_imsi_get_req", ctypes.c_int32, ctypes.c_char_p, ctypes.c_uint32)
declare("lct_apn_set_req", ctypes.c_int32)
declare("lct_net_set_pref_req", ctypes.c_int32, ctypes.c_void_p)
declare("lct_net_set_status_test_req", ctypes.c_int32, ctypes.c_void_p)
declare("lct_lte_channel_req", ctypes.c_int32, ctypes.c_void_p)
declare("lct_set_serial_port", ctypes.c_int32, ctypes.c_uint32)
declare("lct_get_diag_info", ctypes.c_int32)
declare("lct_get_diag_hide_info", ctypes.c_int32)
declare("lct_ext_at_req", ctypes.c_int32, ctypes.c_char_p, ctypes.c_char_p, ctypes.c_uint32)
declare("lct_inface_status_req", ctypes.c_int32, ctypes.c_void_p)
declare("lct_at_cfun_off_req", ctypes.c_int32)
declare("lct_test_ussd_notify_req", ctypes.c_int32)
declare("lct_net_signal_level_get_req", ctypes.c_int32, ctypes.c_char_p, ctypes.c_uint32)
declare("lct_net_imei_get_req", ctypes.c_int32, ctypes.c_char_p, ctypes.c_uint32)
declare("lct_sim_status_get_req", ctypes.c_int32, ctypes.c_char_p, ctypes.c_uint32)
declare("lct_get_syslog_switch_flg", ctypes.c_int32)
declare("lct_state_change_req", ctypes.c_int32)
declare("lct_sms_del_dev_all_msg", ctypes.c_int32)
declare("lte_set_led_status", ctypes.c_int32, ctypes.c_uint32, ctypes.c_uint32, ctypes.c_uint32)
declare("auto_match_apn", ctypes.c_int32, ctypes.c_char_p, ctypes.c_char_p, ctypes.c_void_p)
declare("parse_apn_list", ctypes.c_int32, ctypes.c_char_p, ctypes.c_void_p)
declare("lct_readlist_proc", ctypes.c_int32, ctypes.c_char_p, ctypes.c_void_p)
declare("get_radio_str", ctypes.c_char_p, ctypes.c_uint32)
declare("get_sim_str", ctypes.c_char_p, ctypes.c_uint32)
declare("get_link_str", ctypes.c_char_p, ctypes.c_uint32)
declare("get_net_type_str", ctypes.c_char_p, ctypes.c_uint32)
declare("get_iface_type_str", ctypes.c_char_p, ctypes.c_uint32)
declare("get_iface_priority_str", ctypes.c_char_p, ctypes.c_uint32)
declare("get_iface_conn_str", ctypes.c_char_p, ctypes.c_uint32)
declare("get_iface_status_str", ctypes.c_char_p, ctypes.c_uint32)
declare("get_roaming_str", ctypes.c_char_p, ctypes.c_uint32)
declare("get_ipmode_str", ctypes.c_char_p, ctypes.c_uint32)
declare("lc_set_img_size", ctypes.c_int32, ctypes.c_int32)
declare("lc_up_start", ctypes.c_int32)
declare("lc_up_img", ctypes.c_int32, ctypes.c_void_p, ctypes.c_int32)
declare("lc_up_status", ctypes.c_int32)
declare("lc_get_status_str", ctypes.c_char_p, ctypes.c_int32)
declare("lc_get_tlv_type_str", ctypes.c_char_p, ctypes.c_uint32)
declare("lc_at_snd", ctypes.c_int32, ctypes.c_char_p)
declare("lc_at_snd_wait", ctypes.c_int32, ctypes.c_char_p)
declare("lct_module_init", ctypes.c_int32, ctypes.c_void_p)
declare("lct_module_fin", ctypes.c_int32)
declare("lct_deregister", None)
declare("lct_ipc_init_for_sc_msg", ctypes.c_int32)
declare("ipc_msg_init", ctypes.c_uint32, ctypes.c_uint32, ctypes.c_void_p, ctypes.c_void_p, ctypes.c_void_p,
        ctypes.c_uint32)
declare("ipc_msg_fin", None)
declare("ipc_get_addr_by_id", ctypes.c_uint32, ctypes.c_uint32, ctypes.c_uint32, ctypes.c_void_p)
declare("ipc_gen_seesion_id", None, ctypes.c_void_p)
declare("ipc_msg_send_asy", ctypes.c_uint32, ctypes.c_void_p, ctypes.c_void_p, ctypes.c_uint32)
declare("ipc_msg_send_syn", ctypes.c_uint32, ctypes.c_void_p, ctypes.c_void_p, ctypes.c_uint32, ctypes.c_uint32,
        ctypes.c_void_p, ctypes.c_void_p)
declare("ipc_register_notify", ctypes.c_uint32, ctypes.c_void_p, ctypes.c_uint32, ctypes.c_uint32)
declare("ipc_deregister_notify", ctypes.c_uint32, ctypes.c_void_p, ctypes.c_uint32)
declare("ipc_msg_notify", ctypes.c_uint32, ctypes.c_void_p, ctypes.c_uint32)
declare("ipc_msg_get_body", ctypes.c_void_p, ctypes.c_void_p)
declare("ipc_msg_get_sender", ctypes.c_void_p, ctypes.c_void_p)
declare("ipc_memory_assign", ctypes.c_void_p, ctypes.c_uint32, ctypes.c_uint32)
declare("ipc_mq_init", None)
declare("ipc_mq_create", ctypes.c_uint32, ctypes.c_uint32, ctypes.c_void_p)
declare("ipc_mq_send", ctypes.c_uint32, ctypes.c_void_p, ctypes.c_void_p, ctypes.c_uint32, ctypes.c_int32)
declare("ipc_mq_recv", ctypes.c_uint32, ctypes.c_void_p, ctypes.c_void_p, ctypes.c_int32)
declare("ipc_mq_remove", ctypes.c_uint32, ctypes.c_void_p, ctypes.c_uint32)
declare("ipc_mq_get_fd", ctypes.c_int, ctypes.c_void_p)
declare("ipc_mq_destroy", None)
declare("mem_free_ex", ctypes.c_uint32, ctypes.c_uint32, ctypes.c_uint32, ctypes.c_uint32, ctypes.c_void_p)
declare("init_timer", ctypes.c_int32)
declare("start_timer", ctypes.c_int32, ctypes.c_void_p, ctypes.c_void_p)
declare("stop_timer", ctypes.c_int32, ctypes.c_size_t, ctypes.c_uint32)
declare("exist_timer", ctypes.c_int32, ctypes.c_size_t, ctypes.c_uint32)
