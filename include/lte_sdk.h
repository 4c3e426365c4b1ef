/** @file
 * The client through which a process drives the WAN manager and its modem.
 *
 * Call lct_module_init() once, then the requests; the host's callback gets the link and interface
 * notifications. A program that only asks and ends starts by lct_ipc_init_for_sc_msg() instead. To end,
 * stop the threads that make requests, then call lct_deregister(), then lct_module_fin(). Diagnostics
 * go to the trace file /tmp/ltelog.1 (/tmp/ltelog.2 is the generation before).
 *
 * No message says that the WAN manager has ended or started again. While it does not run every send
 * fails at once; while it hangs requests time out. After a restart it has no subscribers. A host that
 * outlives it therefore subscribes every few seconds, by ipc_register_notify(), whose result tells
 * whether the WAN manager runs, with a time-out of some seconds, on a thread that may block.
 *
 * @see ltectl(1), wansim(1)
 *
 * @par Threads
 * lct_module_init() and lct_module_fin() belong to one thread. Requests may be made from any thread but
 * the one that runs the callback, the messaging receive thread: the callback must not block for long, a
 * synchronous request could never be answered there, and any send may have to wait for its receiver,
 * without end unless ipc_msg_set_send_limit() bounds it. The receive thread inherits the signal mask of
 * the caller of lct_module_init(): a host that awaits signals (sigwait), or whose handlers must not run
 * there, blocks them before.
 *
 * @par Example
 * Asks for the link and prints its states for ten seconds.
 * @code
 * #include <lte_sdk.h>
 * #include <stdio.h>
 * #include <unistd.h>
 *
 * static uint32_t on_event(const lct_event *event)
 * {
 *     if (event->event == LCT_EVENT_LINK_STATUS) {
 *         const lct_link_status *link = event->data;
 *         printf("%s %s\n", get_link_str(link->link_status), link->ip);
 *     }
 *     return 0;
 * }
 *
 * int main(void)
 * {
 *     static const lct_config config = {{0}, on_event};
 *     if (lct_module_init(&config) != 0)
 *         return 1;
 *     lct_connect();
 *     sleep(10);
 *     lct_deregister();
 *     return lct_module_fin();
 * }
 * @endcode */
#ifndef LTE_SDK_H
#define LTE_SDK_H

#include "lc_api.h"

#include <stdint.h>

LC_BEGIN_DECLS

/** @name Message identifiers of the WAN manager and, the last, of the SMS store
 * @{ */
#define SC_STATE_CHANGE_REQ 0x10000001u          /**< change the state */
#define WM_MSG_CONNECT_REQ 0x10400001u           /**< bring the link up */
#define WM_MSG_DISCONNECT_REQ 0x10400003u        /**< take the link down */
#define WM_MSG_LINK_STATUS_NOTIFY 0x10400016u    /**< notification: lct_link_status */
#define WM_MSG_IFACE_STATUS_NOTIFY 0x10400017u   /**< notification: lct_iface_status */
#define WM_MSG_NETTYPE_GET_REQ 0x1040005au       /**< read the network type */
#define WM_MSG_NETTYPE_SET_REQ 0x1040005cu       /**< set the network type */
#define WM_MSG_ROAM_SWITCH_GET_REQ 0x1040006au   /**< read the roaming switch */
#define WM_MSG_ROAM_SWITCH_SET_REQ 0x1040006cu   /**< set the roaming switch */
#define WM_MSG_PIN_DISABLE_REQ 0x10400070u       /**< no longer ask for the PIN */
#define WM_MSG_PIN_MODIFY_REQ 0x10400080u        /**< change the PIN */
#define WM_MSG_PIN_MODIFY_EN_REQ 0x10400082u     /**< switch by a byte whether the PIN is asked for */
#define WM_MSG_NETLIST_SEARCH_REQ 0x10400086u    /**< search for operators */
#define WM_MSG_MODEM_AT_REQ 0x1040008fu          /**< carry out an AT command */
#define WM_MSG_PIN_ENABLE_REQ 0x1040009cu        /**< ask for the PIN at every start */
#define WM_MSG_DUALMODE_SET_PREF_REQ 0x104000a3u /**< prefer a radio technology */
#define WM_MSG_APN_SET_REQ 0x104000aau           /**< use the stored access point name */
#define WM_MSG_MODEM_NOTIFY 0x104000b3u          /**< notification: what the modem reports */
#define WM_MSG_IMSI_GET_REQ 0x104000bdu          /**< read the IMSI */
#define WM_MSG_IFACE_UPORDOWN_REQ 0x104000bfu    /**< bring the interface up or down */
#define WM_MSG_DIAG_INFO_REQ 0x104000c1u         /**< snapshot for diagnosis, of what is public */
#define WM_MSG_DIAG_HIDE_INFO_REQ 0x104000c3u    /**< snapshot for diagnosis, of all */
#define WM_MSG_LTE_CHANNEL_REQ 0x104000c5u       /**< read the LTE channel */
#define WM_MSG_SERIAL_PORT_SET_REQ 0x104000c7u   /**< select the modem's serial port */
#define WM_MSG_AT_CFUN_OFF_REQ 0x104000cfu       /**< switch the modem's radio off */
#define WM_MSG_SMS_DEL_ALL_REQ 0x104000d1u       /**< delete every SMS */
/** @}
 * @name Volatile parameters of lc_nv.h that tell about the modem
 * @{ */
#define LCT_PARAM_SIGNAL "wm_wcdma_rssi_tmp"           /**< signal strength */
#define LCT_PARAM_IMEI "wm_wcdma_imei_nv"              /**< IMEI */
#define LCT_PARAM_SIM "wm_wcdma_modem_status_tmp"      /**< state of the SIM */
#define LCT_PARAM_LINK "wm_wcdma_link_tmp"             /**< LCT_LINK_... in decimal */
#define LCT_PARAM_OPERATORS "wm_search_netlist_nv"     /**< what the last search found */
#define LCT_PARAM_DIAG "wm_wcdma_diag_tmp"             /**< diagnosis */
#define LCT_PARAM_SYSLOG_SWITCH "wm_syslog_switch_flg" /**< 1: the host wants the log */
#define LCT_PARAM_USSD_TEST "test_ussd_flg" /**< which answer lct_test_ussd_notify_req() sends */
/** @}
 * @name The trace file of the client and of the modem upgrade
 * @{ */
#define LCT_TRACE_FILE "/tmp/ltelog.1"       /**< what is appended to */
#define LCT_TRACE_OLDER_FILE "/tmp/ltelog.2" /**< the generation before */
#define LCT_TRACE_LIMIT 262144               /**< bytes; the entry that goes beyond ends a generation */
/** @}
 * @name Events
 * @{ */
#define LCT_EVENT_LINK_STATUS 0xAF001u  /**< the link changed: lct_link_status */
#define LCT_EVENT_IFACE_STATUS 0xAF002u /**< the interface changed: lct_iface_status */

#define LCT_LINK_BODY_SIZE 656u  /**< bytes of a lct_link_status */
#define LCT_IFACE_BODY_SIZE 688u /**< bytes of a lct_iface_status */
/** @} */

/** Body of a link status notification. Host byte order; texts are NUL-terminated. */
typedef struct lct_link_status {
    uint32_t iface_type;     /**< 2: the WCDMA/LTE modem */
    uint32_t reserved1;      /**< of no meaning */
    uint32_t link_status;    /**< LCT_LINK_... */
    uint32_t ip_status;      /**< 1: the IP layer is up */
    uint32_t reserved2;      /**< of no meaning */
    char interface_name[16]; /**< the network interface */
    char ip[18];             /**< its address */
    char gateway[18];        /**< its gateway */
    char dns1[18];           /**< first name server */
    char dns2[18];           /**< second name server */
    char mask[18];           /**< its network mask */
    uint8_t reserved3[530];  /**< of no meaning */
} lct_link_status;

/** @name States of the link
 * @{ */
#define LCT_LINK_DISCONNECTED 0u  /**< down */
#define LCT_LINK_DISCONNECTING 1u /**< going down */
#define LCT_LINK_CONNECTED 2u     /**< up */
#define LCT_LINK_CONNECTING 3u    /**< coming up */
#define LCT_LINK_CLEAR 4u         /**< cleared */
/** @} */

#define LCT_IFACE_TYPE_WCDMA 2u /**< iface_type of the WCDMA/LTE modem */

/** Body of an interface status notification. */
typedef struct lct_iface_status {
    uint32_t reserved1;     /**< of no meaning */
    uint32_t readiness;     /**< 1: ready */
    uint8_t reserved2[680]; /**< of no meaning */
} lct_iface_status;

/** What the callback is given; valid, with its data, only during the call. */
typedef struct lct_event {
    uint32_t event;    /**< LCT_EVENT_LINK_STATUS or LCT_EVENT_IFACE_STATUS */
    const void *data;  /**< const lct_link_status * or const lct_iface_status * */
    uint32_t len;      /**< always 656 or 688; what a short notification lacks reads as zero */
    uint32_t reserved; /**< always 0 */
} lct_event;

/** Gets an @p event, valid during the call, on the messaging receive thread.
 * @return ignored */
typedef uint32_t (*lct_callback)(const lct_event *event);

/** The host's configuration. The host owns it and keeps it alive until lct_module_fin(). */
typedef struct lct_config {
    uintptr_t reserved[9]; /**< machine words that the client does not read */
    lct_callback callback; /**< gets the events; may be NULL */
} lct_config;

/** @name Start-up and shut-down
 * @{ */

/** Starts the client with @p config: RAM parameters, queue, endpoint of module 3, subscriptions as by
 * regnotify(). A WAN manager that does not answer is not an error. The steps done before a failed one
 * stay done. The subscriptions outlive the process: until lct_deregister() the WAN manager goes on
 * sending each event to the address of the ended process.
 * @return 0; -1 when config is NULL or there is no RAM store or no queue; else the code of
 *         ipc_msg_init() */
LC_API int32_t lct_module_init(const lct_config *config);

/** Stops the endpoint and destroys the queues of the process. It cancels no subscription: call
 * lct_deregister() before. No other call may be in progress.
 * @retval 0 always */
LC_API int32_t lct_module_fin(void);

/** @}
 * @name Send primitives
 * A body of more than IPC_MSG_MAX_BODY bytes is dropped by its receiver.
 * @param[in] module_id IPC_MODULE_...
 * @param[in] msg_id    the message's identifier
 * @param[in] body      body_len bytes in host byte order, or NULL with length 0
 * @param[in] body_len  bytes of body
 * @{ */

/** Sends an asynchronous message.
 * @retval 1 the receiver's socket took the message
 * @retval 0 it did not */
LC_API uint32_t send_request(uint32_t module_id, uint32_t msg_id, const void *body, uint32_t body_len);

/** Sends a request and waits for its response. When nothing came back, rsp and *rsp_len are unchanged;
 * of a response too long for rsp, the beginning is copied and 0 returned.
 * @param[in]     timeout milliseconds, as for ipc_msg_send_syn(); 2000 or more, since up to 1 s is lost
 * @param[out]    rsp     the response's body; its first word is the WAN manager's result, 0 for success
 * @param[in,out] rsp_len in: room in rsp; out: bytes delivered
 * @retval 1 the response is there
 * @retval 0 it is not */
LC_API uint32_t send_request_syn(uint32_t module_id, uint32_t msg_id, const void *body,
                                 uint32_t body_len, uint32_t timeout, void *rsp, uint32_t *rsp_len);

/** Sends a notification to every process that registered for it at this process.
 * @retval 1 it was published, to however many
 * @retval 0 it was not */
LC_API uint32_t send_notify(uint32_t msg_id, const void *body, uint32_t body_len);

/** Subscribes to the interface, link and modem notifications: done by lct_module_init(), and to be done
 * again when a WAN manager starts later. Waits up to 4 s for each when it is there and silent. */
LC_API void regnotify(void);

/** Cancels the subscriptions of regnotify(). There is no answer: an event sent before still arrives. */
LC_API void lct_deregister(void);

/** @} */

/** A response of a result word and one value. */
typedef struct lct_value_rsp {
    int32_t result; /**< 0 = success */
    uint32_t value; /**< what was asked for */
} lct_value_rsp;

/** The SIM's PIN. The record is the WAN manager's (wansim: text, NUL-padded). */
typedef struct lct_pin {
    char pin[16]; /**< the PIN */
} lct_pin;

/** A change of the SIM's PIN. The record is the WAN manager's (wansim: texts, NUL-padded). */
typedef struct lct_pin_change {
    char old_pin[16]; /**< the PIN so far */
    char new_pin[16]; /**< the PIN from now on */
} lct_pin_change;

/** An operator that a search has found. What the numbers mean is the WAN manager's business. */
typedef struct lct_operator {
    char name[16];      /**< its name */
    uint16_t first;     /**< a number */
    uint16_t second;    /**< a number */
    int32_t numbers[5]; /**< more numbers */
} lct_operator;

/** The answer to a search for operators. */
typedef struct lct_netlist_rsp {
    int32_t result;             /**< 0 = success */
    uint32_t reserved;          /**< of no meaning */
    lct_operator operators[10]; /**< those found */
} lct_netlist_rsp;

/** @name Requests
 * The trace file tells why one failed. Pointers must not be NULL. Where nothing else is said, an answer
 * is a success when its result is 0, also one that is shorter than its record; without a result it is a
 * failure, and so is one that is longer. A field that the answer does not contain stays unchanged,
 * after a failure too. The meaning of switches, types and preferences is the WAN manager's business;
 * what wansim makes of them is noted.
 *
 * The time that a request waits is fixed. A caller that cannot wait so long makes it by
 * send_request_syn(), with its identifier, the body that is its argument here and another time-out, and
 * bounds by ipc_msg_set_send_limit() the wait for room in the WAN manager's socket.
 * @param[in] enable one byte (wansim: 0 off)
 * @retval 0  success
 * @retval -1 failure
 * @{ */

/** Asks for the link, and always gives 0; the outcome arrives as a link status event. */
LC_API int32_t lct_connect(void);
/** Asks for the end of the link, and always gives 0; the outcome arrives as a link status event. */
LC_API int32_t lct_disconnect(void);
/** Reads the roaming switch into @p out (wansim: 0 off, 1 on). Waits up to 400 s. */
LC_API int32_t lct_get_roam_switch(lct_value_rsp *out);
/** Sets the roaming switch to @p value, as lct_get_roam_switch() gives it. Waits up to 400 s. */
LC_API int32_t lct_set_roam_switch(const uint32_t *value);
/** Reads the network type, what the modem may register with, into @p out. Waits up to 400 s. */
LC_API int32_t lct_get_nettype(lct_value_rsp *out);
/** Sets the network type to @p nettype, as lct_get_nettype() gives it. Waits up to 400 s. */
LC_API int32_t lct_set_nettype(const uint32_t *nettype);
/** Has the SIM ask for its PIN, @p pin, at every start. Waits up to 5 s. */
LC_API int32_t lct_enable_pin(const lct_pin *pin);
/** Has the SIM no longer ask for its PIN, @p pin. Waits up to 5 s. */
LC_API int32_t lct_disenable_pin(const lct_pin *pin);
/** Changes the PIN by @p change, the old one and the new one. Waits up to 5 s. */
LC_API int32_t lct_modify_pin(const lct_pin_change *change);
/** Switches whether the PIN is asked for. Waits up to 5 s. */
LC_API int32_t lct_modify_pin_en(const uint8_t *enable);

/** Switches whether the PIN is asked for, for callers that count any answer of at most one byte as
 * success, and a longer one as failure. Waits up to 20 s. */
LC_API int32_t lct_sim_set_pinen_req(const uint8_t *enable);

/** Searches for operators, with the answer in @p out, and prints the list that the search left in the
 * RAM store ("wm_search_netlist_nv") to standard output, also when the WAN manager reports an error.
 * Waits up to 400 s. */
LC_API int32_t lct_get_netlist_req(lct_netlist_rsp *out);

/** Reads the SIM's IMSI. An answer is a success whatever its result, but not one that is longer than @p
 * len: buf then holds its beginning. Waits up to 5 s.
 * @param[in,out] buf len bytes for the answer, a result word and the text, which need not be
 *                    terminated: zero buf first */
LC_API int32_t lct_net_imsi_get_req(char *buf, uint32_t len);

/** Has the WAN manager use the access point name that the host has stored. Waits up to 5 s. */
LC_API int32_t lct_apn_set_req(void);

/** Sets the @p preference for a radio technology. An answer is a success whatever its result; of one
 * that is too long the result must be 0. Waits up to 20 s. */
LC_API int32_t lct_net_set_pref_req(const uint32_t *preference);

/** Injects a @p state of 4 bytes into the WAN manager's state machine, for tests. An answer is a
 * success whatever its result. Waits up to 20 s. */
LC_API int32_t lct_net_set_status_test_req(const uint32_t *state);

/** Reads the LTE channel in use. Waits up to 20 s.
 * @param[out] channel the channel; 0 on failure, or when the answer holds none */
LC_API int32_t lct_lte_channel_req(uint32_t *channel);

/** Selects the serial @p port of the modem. Waits up to 400 s. */
LC_API int32_t lct_set_serial_port(uint32_t port);
/** Has the WAN manager take a snapshot for diagnosis, of what is public. Waits up to 400 s. */
LC_API int32_t lct_get_diag_info(void);
/** Has the WAN manager take a snapshot for diagnosis, of everything. Waits up to 400 s. */
LC_API int32_t lct_get_diag_hide_info(void);

/** Has the modem carry out an AT command. A long answer is in a file: out is then its path, and its
 * content is printed to standard output. Waits up to 20 s.
 * @param[in]  cmd     the command and one more character, which is replaced by the carriage return that
 *                     ends a command; at most 911 characters in all
 * @param[out] out     the answer, at most 116 characters and out_len bytes of it, padded with NULs,
 *                     without a terminator when the text fills it; unchanged after a failure
 * @param[in]  out_len bytes of out */
LC_API int32_t lct_ext_at_req(const char *cmd, char *out, uint32_t out_len);

/** Brings the interface up or down, as @p status says, and returns when the request has been sent. */
LC_API int32_t lct_inface_status_req(const lct_iface_status *status);
/** Switches the modem's radio off, and returns when the request has been sent. */
LC_API int32_t lct_at_cfun_off_req(void);

/** @}
 * @name Values that the WAN manager keeps in the RAM store
 * No message is sent. The values are valid while the WAN manager runs: one that was killed leaves them
 * behind. The state of the link is among them, for a host that starts while it is up: nvmram_readnv()
 * gives LCT_PARAM_LINK (wansim: LCT_LINK_... in decimal).
 * @param[out] buf  the value
 * @param[in]  size capacity of buf, terminator included
 * @retval 0  read
 * @retval -1 there is no value or it does not fit
 * @{ */

/** Reads the signal's level (wansim: in decimal, as the modem's +CSQ has it: 0 is -113 dBm or less,
 * each step is 2 dB more, 31 is -51 dBm or more; 99 is not known, as with the radio off). */
LC_API int32_t lct_net_signal_level_get_req(char *buf, uint32_t size);
/** Reads the modem's IMEI. */
LC_API int32_t lct_net_imei_get_req(char *buf, uint32_t size);
/** Reads the SIM's state: "sim_ready" or "pin_enable" of a SIM that can be used; of another (wansim)
 * what it waits for, "sim_pin" or "sim_puk", or else "sim_locked" or "sim_absent". */
LC_API int32_t lct_sim_status_get_req(char *buf, uint32_t size);

/** Tells whether logging to syslog is switched on for the whole router.
 * @retval 1 it is
 * @retval 0 it is not */
LC_API int32_t lct_get_syslog_switch_flg(void);

/** @}
 * @name For tools that have not called lct_module_init()
 * @{ */

/** Brings up the endpoint of module 3 without a handler and without subscriptions, for programs that
 * make some requests and end: the WAN manager does not remember them. ipc_msg_fin() ends it.
 * @return 0 or the code of ipc_msg_init() */
LC_API int32_t lct_ipc_init_for_sc_msg(void);

/** @}
 * @name Requests over an endpoint that lives as long as the call
 * In a process that has started the client they would end the client's.
 * @retval 0  success, also when the SIM cannot be used: the request is then not made
 * @retval -1 failure
 * @{ */

/** Asks the WAN manager for a state change. Waits up to 400 s. */
LC_API int32_t lct_state_change_req(void);

/** Asks the SMS store to delete every message. Waits up to 50 s. Before it a request for a state change
 * goes to the WAN manager, whatever the SIM. */
LC_API int32_t lct_sms_del_dev_all_msg(void);

/** @}
 * @name For tests
 * @{ */

/** Sends the SMS store an answer to a USSD code, as if the modem had reported it: the one of three that
 * LCT_PARAM_USSD_TEST numbers (1 to 3), else the first. Needs a started client.
 * @retval 0  sent
 * @retval -1 it cannot be sent */
LC_API int32_t lct_test_ussd_notify_req(void);

/** @}
 * @name Names of enumerations
 * Each names a @p value as the WAN manager counts.
 * @return a constant text; a fallback for a value that has no name
 * @{ */

/** Names a radio access technology. */
LC_API const char *get_radio_str(uint32_t value);
/** Names a SIM state. */
LC_API const char *get_sim_str(uint32_t value);
/** Names a state of the link, LCT_LINK_.... */
LC_API const char *get_link_str(uint32_t value);
/** Names a registration. */
LC_API const char *get_net_type_str(uint32_t value);
/** Names an interface type. */
LC_API const char *get_iface_type_str(uint32_t value);
/** Names an interface's priority. */
LC_API const char *get_iface_priority_str(uint32_t value);
/** Names an interface's connection mode. */
LC_API const char *get_iface_conn_str(uint32_t value);
/** Names an interface's readiness. */
LC_API const char *get_iface_status_str(uint32_t value);
/** Names a roaming state. */
LC_API const char *get_roaming_str(uint32_t value);
/** Names an IP mode; the modes start at 1. */
LC_API const char *get_ipmode_str(uint32_t value);

/** @} */

/** An access point. Texts that are too long for their field are cut. What text1 to text4 and the
 * numbers mean is the host's business. */
typedef struct apn_item {
    char key[16];           /**< operator code */
    char apn[65];           /**< the access point name */
    char text1[65];         /**< a text of the list */
    char text2[65];         /**< a text of the list */
    char text3[65];         /**< a text of the list */
    char text4[20];         /**< a text of the list */
    uint32_t number1;       /**< a number of the list */
    int32_t number2;        /**< a number of the list */
    int32_t number3;        /**< a number of the list */
    uint8_t reserved1[264]; /**< zero */
    int32_t enabled;        /**< 0: not to be used; auto_match_apn() leaves it 0 */
    uint32_t reserved2;     /**< zero */
} apn_item;

/** @name Access point names
 * @{ */

/** Looks the operator code @p key up in the list file @p path. Its lines have at most 255 characters
 * and seven fields, each ended by ">": one that is not looked at, the code (one "F" at its end is
 * padding), text1, apn, text2, text3, number1 (its last digit counts). The first line with the code
 * wins; a line of other than seven fields, such as an empty one, ends the search.
 * @param[out] out the access point; what the file has no field for, such as enabled, is 0
 * @retval 0  found
 * @retval -1 NULL or unreadable path, malformed line, no such code; *out is unchanged */
LC_API int32_t auto_match_apn(const char *path, const char *key, apn_item *out);

/** Stores the first enabled, complete item of the list @p text in @p out. Items are ended by ">" and
 * shorter than 512 characters; their ten fields are separated by "&": text1, enabled, one that is not
 * looked at, text2, text3, apn, number1, text4, number2, number3.
 * @retval 0  found
 * @retval -1 there is none: *out then holds the last item as far as it was read, or what it held before
 *            when there is no ">" */
LC_API int32_t parse_apn_list(const char *text, apn_item *out);

/** Copies the text between the first and the second separator @p sep in @p in. Both the copy and the
 * search for the second begin one character after the start of the first, however long sep is.
 * @param[out] out      is zeroed first; what is too long is cut
 * @param[in]  out_size bytes of out
 * @return where the second separator starts, in in; NULL, and out unchanged, when a separator is
 *         missing, or in or sep is NULL */
LC_API const char *get_split_str(const char *in, const char *sep, char *out, uint32_t out_size);

/** @} */

/** Counters of a network interface. */
typedef struct if_stats {
    uint64_t rx_packets;          /**< packets received */
    uint64_t tx_packets;          /**< packets sent */
    uint64_t rx_bytes;            /**< bytes received */
    uint64_t tx_bytes;            /**< bytes sent */
    uint32_t rx_errors;           /**< errors in receiving */
    uint32_t tx_errors;           /**< errors in sending */
    uint32_t rx_dropped;          /**< dropped in receiving */
    uint32_t tx_dropped;          /**< dropped in sending */
    uint32_t rx_multicast;        /**< multicast packets received */
    uint32_t rx_compressed;       /**< compressed packets received */
    uint32_t tx_compressed;       /**< compressed packets sent */
    uint32_t collisions;          /**< collisions in sending */
    uint32_t rx_length_errors;    /**< 0: not listed */
    uint32_t rx_over_errors;      /**< 0: not listed */
    uint32_t rx_crc_errors;       /**< 0: not listed */
    uint32_t rx_frame_errors;     /**< frame errors in receiving */
    uint32_t rx_fifo_errors;      /**< FIFO overruns in receiving */
    uint32_t rx_missed_errors;    /**< 0: not listed */
    uint32_t tx_aborted_errors;   /**< 0: not listed */
    uint32_t tx_carrier_errors;   /**< carrier losses in sending */
    uint32_t tx_fifo_errors;      /**< FIFO underruns in sending */
    uint32_t tx_heartbeat_errors; /**< 0: not listed */
    uint32_t tx_window_errors;    /**< 0: not listed */
    uint32_t uptime;              /**< seconds since the system started */
} if_stats;

/** @name Interface counters and status LEDs
 * @{ */

/** Reads the counters of the interface @p ifname from /proc/net/dev into @p stats; those that the
 * kernel does not list there are 0.
 * @retval 0  read
 * @retval -1 NULL ifname or no such file (*stats is unchanged), or no such interface (*stats is then
 *            all zero) */
LC_API int32_t lct_readlist_proc(const char *ifname, if_stats *stats);

#define LCT_LED_SIGNAL 1u   /**< the signal's */
#define LCT_LED_INTERNET 2u /**< the link's */
#define LCT_LED_SIM 3u      /**< the SIM's */

/** Sets a status LED through its control file under /proc, by a shell command (system). It writes a
 * digit there; what the LED does then (dark, lit, a way of blinking) the board's driver defines.
 * @param[in] led    LCT_LED_...
 * @param[in] colour 0 to 3; not used yet
 * @param[in] flash  the pattern: 4 writes 0, 8 and 9 write 1, 10 writes 2, 11 writes 3, 12 writes 4
 * @return the shell's status as system gives it, 0 for done; -1 for a colour or flash that does not
 *         exist */
LC_API int32_t lte_set_led_status(uint32_t led, uint32_t colour, uint32_t flash);

/** @} */

LC_END_DECLS

#endif
