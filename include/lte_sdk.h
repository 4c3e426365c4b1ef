/* lte_sdk: the client through which a process drives the WAN manager and its modem.
 *
 * Call lct_module_init once, then the requests from any thread; the host's callback gets the link and
 * interface notifications. Diagnostics go to the trace file /tmp/ltelog.1 (/tmp/ltelog.2 is the
 * generation before).
 *
 * Threads: lct_module_init and lct_module_fin belong to one thread. Requests may be made from any
 * thread but the one that runs the callback, the messaging receive thread: the callback must not block
 * for long, a synchronous request could never be answered there, and any send may have to wait for its
 * receiver (see lc_ipc_msg.h). */
#ifndef LTE_SDK_H
#define LTE_SDK_H

#include "lc_api.h"

#include <stdint.h>

LC_BEGIN_DECLS

/* Message identifiers of the WAN manager and, the last, of the SMS store. */
#define SC_STATE_CHANGE_REQ 0x10000001u
#define WM_MSG_CONNECT_REQ 0x10400001u
#define WM_MSG_DISCONNECT_REQ 0x10400003u
#define WM_MSG_LINK_STATUS_NOTIFY 0x10400016u
#define WM_MSG_IFACE_STATUS_NOTIFY 0x10400017u
#define WM_MSG_NETTYPE_GET_REQ 0x1040005au
#define WM_MSG_NETTYPE_SET_REQ 0x1040005cu
#define WM_MSG_ROAM_SWITCH_GET_REQ 0x1040006au
#define WM_MSG_ROAM_SWITCH_SET_REQ 0x1040006cu
#define WM_MSG_PIN_DISABLE_REQ 0x10400070u
#define WM_MSG_PIN_MODIFY_REQ 0x10400080u
#define WM_MSG_PIN_MODIFY_EN_REQ 0x10400082u
#define WM_MSG_NETLIST_SEARCH_REQ 0x10400086u
#define WM_MSG_MODEM_AT_REQ 0x1040008fu
#define WM_MSG_PIN_ENABLE_REQ 0x1040009cu
#define WM_MSG_DUALMODE_SET_PREF_REQ 0x104000a3u
#define WM_MSG_APN_SET_REQ 0x104000aau
#define WM_MSG_MODEM_NOTIFY 0x104000b3u
#define WM_MSG_IMSI_GET_REQ 0x104000bdu
#define WM_MSG_IFACE_UPORDOWN_REQ 0x104000bfu
#define WM_MSG_DIAG_INFO_REQ 0x104000c1u
#define WM_MSG_DIAG_HIDE_INFO_REQ 0x104000c3u
#define WM_MSG_LTE_CHANNEL_REQ 0x104000c5u
#define WM_MSG_SERIAL_PORT_SET_REQ 0x104000c7u
#define WM_MSG_AT_CFUN_OFF_REQ 0x104000cfu
#define WM_MSG_SMS_DEL_ALL_REQ 0x104000d1u

/* ---- Events ---- */

#define LCT_EVENT_LINK_STATUS 0xAF001u
#define LCT_EVENT_IFACE_STATUS 0xAF002u

#define LCT_LINK_BODY_SIZE 656u
#define LCT_IFACE_BODY_SIZE 688u

/* Body of a link status notification. Host byte order; texts are NUL-terminated. */
typedef struct lct_link_status {
    uint32_t iface_type; /* 2: the WCDMA/LTE modem */
    uint32_t reserved1;
    uint32_t link_status; /* LCT_LINK_... */
    uint32_t ip_status;   /* 1: the IP layer is up */
    uint32_t reserved2;
    char interface_name[16];
    char ip[18];
    char gateway[18];
    char dns1[18];
    char dns2[18];
    char mask[18];
    uint8_t reserved3[530];
} lct_link_status;

#define LCT_LINK_DISCONNECTED 0u
#define LCT_LINK_DISCONNECTING 1u
#define LCT_LINK_CONNECTED 2u
#define LCT_LINK_CONNECTING 3u
#define LCT_LINK_CLEAR 4u

#define LCT_IFACE_TYPE_WCDMA 2u

/* Body of an interface status notification. */
typedef struct lct_iface_status {
    uint32_t reserved1;
    uint32_t readiness; /* 1: ready */
    uint8_t reserved2[680];
} lct_iface_status;

/* What the callback is given; valid, with its data, only during the call. */
typedef struct lct_event {
    uint32_t event;   /* LCT_EVENT_LINK_STATUS or LCT_EVENT_IFACE_STATUS */
    const void *data; /* const lct_link_status * or const lct_iface_status * */
    uint32_t len;     /* always 656 or 688; what a short notification lacks reads as zero */
    uint32_t reserved;
} lct_event;

/* The result is ignored. */
typedef uint32_t (*lct_callback)(const lct_event *event);

/* The host's configuration: nine machine words that the client does not read, then the callback, which
 * may be NULL. The host owns it and keeps it alive until lct_module_fin. */
typedef struct lct_config {
    uintptr_t reserved[9];
    lct_callback callback;
} lct_config;

/* ---- Start-up and shut-down ---- */

/* Starts the client: RAM parameters, queue, endpoint of module 3, subscriptions to the three
 * notifications of the WAN manager. A WAN manager that does not answer is not an error (each of the
 * three subscriptions waits up to 4 s for one that is there and silent).
 * Returns 0, -1 (config is NULL, no RAM store, no queue) or the code of ipc_msg_init; the steps done
 * before a failed one stay done. */
LC_API int32_t lct_module_init(const lct_config *config);

/* Stops the endpoint and destroys the queues of the process. Always 0. */
LC_API int32_t lct_module_fin(void);

/* ---- Send primitives ----
 * module_id: IPC_MODULE_...; body: body_len bytes in host byte order, or NULL with length 0.
 * All return 1 for delivered, 0 for not: send_request when the receiver's socket took the message,
 * send_request_syn when the response is there, send_notify when it was published, to however many. A
 * body of more than IPC_MSG_MAX_BODY bytes is dropped by its receiver. */

/* Asynchronous message. */
LC_API uint32_t send_request(uint32_t module_id, uint32_t msg_id, const void *body, uint32_t body_len);

/* Synchronous request. timeout: milliseconds. rsp: response body, whose first word is the WAN manager's
 * result (0 = success). rsp_len: in, room in rsp; out, bytes delivered. When nothing came back, rsp and
 * *rsp_len keep the caller's own values; of a response too long for rsp, the beginning is copied and 0
 * returned. */
LC_API uint32_t send_request_syn(uint32_t module_id, uint32_t msg_id, const void *body,
                                 uint32_t body_len, uint32_t timeout, void *rsp, uint32_t *rsp_len);

/* Notification to every process that registered for msg_id at this process. */
LC_API uint32_t send_notify(uint32_t msg_id, const void *body, uint32_t body_len);

/* Subscribes to the interface, link and modem notifications; done by lct_module_init. Call it again to
 * resubscribe at a WAN manager that was started later. */
LC_API void regnotify(void);

/* ---- Requests ---- 0 for success, -1 for failure (the trace file tells which).
 * Pointers must not be NULL. After a failure a record for the answer holds what came of it, or what it
 * held before. */

/* Ask for the link; the outcome arrives as a link status event. Always 0. */
LC_API int32_t lct_connect(void);
LC_API int32_t lct_disconnect(void);

/* A response of a result word and one value. */
typedef struct lct_value_rsp {
    int32_t result; /* 0 = success */
    uint32_t value;
} lct_value_rsp;

/* The roaming switch: reads it into out->value, or sets it to *value. What the values mean is the WAN
 * manager's business (wansim: 0 off, 1 on). Wait up to 400 s for an answer. */
LC_API int32_t lct_get_roam_switch(lct_value_rsp *out);
LC_API int32_t lct_set_roam_switch(const uint32_t *value);

/* The network type: the same for what the modem may register with. Up to 400 s. */
LC_API int32_t lct_get_nettype(lct_value_rsp *out);
LC_API int32_t lct_set_nettype(const uint32_t *nettype);

/* The SIM's PIN. The records are the WAN manager's (wansim: texts, NUL-padded). */
typedef struct lct_pin {
    char pin[16];
} lct_pin;

typedef struct lct_pin_change {
    char old_pin[16];
    char new_pin[16];
} lct_pin_change;

/* Have the SIM ask for its PIN at every start, or no longer; change the PIN; switch by one byte
 * (wansim: 0 off) whether it is asked for. Up to 5 s. */
LC_API int32_t lct_enable_pin(const lct_pin *pin);
LC_API int32_t lct_disenable_pin(const lct_pin *pin);
LC_API int32_t lct_modify_pin(const lct_pin_change *change);
LC_API int32_t lct_modify_pin_en(const uint8_t *enable);

/* The same as lct_modify_pin_en for callers that take an answer of one byte, whatever it says, for
 * success; a longer answer is a failure. Up to 20 s. */
LC_API int32_t lct_sim_set_pinen_req(const uint8_t *enable);

/* An operator that a search has found. What the numbers mean is the WAN manager's business. */
typedef struct lct_operator {
    char name[16];
    uint16_t first;
    uint16_t second;
    int32_t numbers[5];
} lct_operator;

typedef struct lct_netlist_rsp {
    int32_t result; /* 0 = success */
    uint32_t reserved;
    lct_operator operators[10];
} lct_netlist_rsp;

/* Searches for operators, up to 400 s, and prints the list that the search left in the RAM store
 * ("wm_search_netlist_nv") to standard output, also when the WAN manager reports an error. An answer
 * may be shorter than out, which then keeps what it had there. */
LC_API int32_t lct_get_netlist_req(lct_netlist_rsp *out);

/* The SIM's IMSI: buf of len bytes receives the answer, a result word and the text, which need not be
 * terminated: zero buf first. 0 means that an answer came, whatever its result word says. -1 also when
 * the answer is longer than len; buf then holds its beginning. Up to 5 s. */
LC_API int32_t lct_net_imsi_get_req(char *buf, uint32_t len);

/* Has the WAN manager use the access point name that the host has stored. Up to 5 s. */
LC_API int32_t lct_apn_set_req(void);

/* The preferred radio technology. Success when the request is delivered, or when the result is 0.
 * Up to 20 s. */
LC_API int32_t lct_net_set_pref_req(const uint32_t *preference);

/* Injects a state of 4 bytes into the WAN manager's state machine, for tests. Success when it is
 * delivered, whatever the result. Up to 20 s. */
LC_API int32_t lct_net_set_status_test_req(const uint32_t *state);

/* The LTE channel in use; 0 on failure. Up to 20 s. */
LC_API int32_t lct_lte_channel_req(uint32_t *channel);

/* Selects the modem's serial port. Up to 400 s. */
LC_API int32_t lct_set_serial_port(uint32_t port);

/* Have the WAN manager take a snapshot for diagnosis, of what is public or of all. Up to 400 s. */
LC_API int32_t lct_get_diag_info(void);
LC_API int32_t lct_get_diag_hide_info(void);

/* Has the modem carry out an AT command. cmd: the command and one more character, which is replaced by
 * the carriage return that ends a command; at most 911 characters in all. out: receives the answer, at
 * most 116 characters and out_len bytes of it, padded with NULs, without a terminator when the text
 * fills it. A long answer is in a file: out is then its path, and its content is printed to standard
 * output. Up to 20 s. */
LC_API int32_t lct_ext_at_req(const char *cmd, char *out, uint32_t out_len);

/* Asynchronous: brings the interface up or down, or switches the modem's radio off. 0 when the request
 * is on its way. */
LC_API int32_t lct_inface_status_req(const lct_iface_status *status);
LC_API int32_t lct_at_cfun_off_req(void);

/* ---- Values that the WAN manager keeps in the RAM store ---- no message is sent.
 * size: capacity of buf, terminator included. 0, or -1 when there is no value or it does not fit. */

LC_API int32_t lct_net_signal_level_get_req(char *buf, uint32_t size);
LC_API int32_t lct_net_imei_get_req(char *buf, uint32_t size);
LC_API int32_t lct_sim_status_get_req(char *buf, uint32_t size); /* such as "sim_ready" */

/* 1 when logging to syslog is switched on for the whole router, else 0. */
LC_API int32_t lct_get_syslog_switch_flg(void);

/* ---- For tools that have not called lct_module_init ---- */

/* Brings up the endpoint of module 3 without a handler; ipc_msg_fin ends it. Returns 0 or the code of
 * ipc_msg_init. */
LC_API int32_t lct_ipc_init_for_sc_msg(void);

/* Ask the WAN manager for a state change (up to 400 s), or the SMS store to delete every message (up to
 * 50 s), over an endpoint that lives as long as the call: in a process that has started the client they
 * would end the client's. With a SIM that cannot be used they return 0 and nothing is deleted or
 * changed. */
LC_API int32_t lct_state_change_req(void);
LC_API int32_t lct_sms_del_dev_all_msg(void);

/* ---- For tests ---- */

/* Sends the SMS store an answer to a USSD code, as if the modem had reported it; which of the three
 * says the RAM parameter "test_ussd_flg". Needs a started client. 0, or -1 when it cannot be sent. */
LC_API int32_t lct_test_ussd_notify_req(void);

/* ---- Names of enumerations ---- constant texts; a fallback for values that have no name. */

LC_API const char *get_radio_str(uint32_t value);          /* radio access technology */
LC_API const char *get_sim_str(uint32_t value);            /* SIM state */
LC_API const char *get_link_str(uint32_t value);           /* LCT_LINK_... */
LC_API const char *get_net_type_str(uint32_t value);       /* registration */
LC_API const char *get_iface_type_str(uint32_t value);     /* interface type */
LC_API const char *get_iface_priority_str(uint32_t value); /* its priority */
LC_API const char *get_iface_conn_str(uint32_t value);     /* connection mode */
LC_API const char *get_iface_status_str(uint32_t value);   /* readiness */
LC_API const char *get_roaming_str(uint32_t value);        /* roaming */
LC_API const char *get_ipmode_str(uint32_t value);         /* IP mode; they start at 1 */

/* ---- Access point names ---- */

/* An access point. Texts that are too long for their field are cut. */
typedef struct apn_item {
    char key[16]; /* operator code */
    char apn[65]; /* the access point name */
    char text1[65];
    char text2[65];
    char text3[65];
    char text4[20];
    uint32_t number1;
    int32_t number2;
    int32_t number3;
    uint8_t reserved1[264];
    int32_t enabled;
    uint32_t reserved2;
} apn_item;

/* Looks an operator code up in a list file: lines of seven fields, each ended by ">": one that is not
 * looked at, the code (one "F" at its end is padding), text1, apn, text2, text3, number1 (its last
 * digit counts). The first line with the code wins; a line of other than seven fields ends the search.
 * Returns 0 with *out filled, or -1: NULL or unreadable path, malformed line, no such code. */
LC_API int32_t auto_match_apn(const char *path, const char *key, apn_item *out);

/* Takes the first enabled, complete item of a list. Items are ended by ">" and shorter than 512
 * characters; their ten fields are separated by "&": text1, enabled, one that is not looked at, text2,
 * text3, apn, number1, text4, number2, number3. Returns 0; or -1 when there is none: *out then holds
 * the last item as far as it was read, or what it held before when there is no ">". */
LC_API int32_t parse_apn_list(const char *text, apn_item *out);

/* Copies what stands between the first sep in a text and the next into out of out_size bytes, zeroed
 * before; what is too long is cut. The next sep is looked for one character behind the start of the
 * first. Returns where it starts, in the text given; NULL when a separator or an argument is missing.
 */
LC_API const char *get_split_str(const char *in, const char *sep, char *out, uint32_t out_size);

/* ---- Interface counters ---- */

typedef struct if_stats {
    uint64_t rx_packets;
    uint64_t tx_packets;
    uint64_t rx_bytes;
    uint64_t tx_bytes;
    uint32_t rx_errors;
    uint32_t tx_errors;
    uint32_t rx_dropped;
    uint32_t tx_dropped;
    uint32_t rx_multicast;
    uint32_t rx_compressed;
    uint32_t tx_compressed;
    uint32_t collisions;
    uint32_t rx_length_errors;
    uint32_t rx_over_errors;
    uint32_t rx_crc_errors;
    uint32_t rx_frame_errors;
    uint32_t rx_fifo_errors;
    uint32_t rx_missed_errors;
    uint32_t tx_aborted_errors;
    uint32_t tx_carrier_errors;
    uint32_t tx_fifo_errors;
    uint32_t tx_heartbeat_errors;
    uint32_t tx_window_errors;
    uint32_t uptime; /* seconds since the system started */
} if_stats;

/* Reads an interface's counters from /proc/net/dev; those that the kernel does not list there are 0.
 * Returns 0; or -1: NULL ifname, no such file (*stats stays as it is), no such interface (*stats is all
 * zero). */
LC_API int32_t lct_readlist_proc(const char *ifname, if_stats *stats);

/* ---- Status LEDs ---- */

#define LCT_LED_SIGNAL 1u
#define LCT_LED_INTERNET 2u
#define LCT_LED_SIM 3u

/* Sets a status LED through its control file under /proc, by a shell command (system). colour: 0 to 3,
 * not used yet; flash: 4, 8 and 9, 10, 11 or 12. Returns the shell's status, 0 for done; -1 for a
 * colour or flash that does not exist. */
LC_API int32_t lte_set_led_status(uint32_t led, uint32_t colour, uint32_t flash);

LC_END_DECLS

#endif
