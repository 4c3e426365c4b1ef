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

/* Message identifiers of the WAN manager. */
#define WM_MSG_CONNECT_REQ 0x10400001u
#define WM_MSG_DISCONNECT_REQ 0x10400003u
#define WM_MSG_LINK_STATUS_NOTIFY 0x10400016u
#define WM_MSG_IFACE_STATUS_NOTIFY 0x10400017u
#define WM_MSG_ROAM_SWITCH_GET_REQ 0x1040006au
#define WM_MSG_ROAM_SWITCH_SET_REQ 0x1040006cu
#define WM_MSG_MODEM_NOTIFY 0x104000b3u

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

/* ---- Requests ---- 0 for success, -1 for failure (the trace file tells which). */

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

LC_END_DECLS

#endif
