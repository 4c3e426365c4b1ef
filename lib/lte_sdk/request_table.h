// The requests of the client and the notifications to it, a row each. Library, tools and fuzz targets
// read them. A program contains only what it uses of a row: the library numbers, ltectl also the
// messages' names.
#pragma once

#include "lc_ipc_msg.h"
#include "lte_sdk.h"
#include "lte_sdk/at_record.h"

#include <cstdint>

namespace lterouter {

// What is in a body.
enum class Fields : uint8_t {
    kNone,
    kNumber,
    kByte,
    kRoaming, // a number: 0 off, 1 on
    kPin,
    kPins,
    kLink,
    kInterface,
    kCommand, // to the modem
    kText,
    kMessageId, // of a notification that is subscribed to
};

struct BodyForm {
    Fields fields;
    uint32_t least; // bytes
    uint32_t most;
};

constexpr BodyForm body_of(Fields fields, uint32_t size) { return {fields, size, size}; }

namespace body {
inline constexpr BodyForm none = body_of(Fields::kNone, 0);
inline constexpr BodyForm number = body_of(Fields::kNumber, sizeof(uint32_t));
inline constexpr BodyForm byte = body_of(Fields::kByte, sizeof(uint8_t));
inline constexpr BodyForm roaming = body_of(Fields::kRoaming, sizeof(uint32_t));
inline constexpr BodyForm pin = body_of(Fields::kPin, sizeof(lct_pin));
inline constexpr BodyForm pins = body_of(Fields::kPins, sizeof(lct_pin_change));
inline constexpr BodyForm link = body_of(Fields::kLink, LCT_LINK_BODY_SIZE);
inline constexpr BodyForm interface = body_of(Fields::kInterface, LCT_IFACE_BODY_SIZE);
inline constexpr BodyForm command = {Fields::kCommand, sizeof(AtHead) + 1, IPC_MSG_MAX_BODY};
inline constexpr BodyForm message_id = body_of(Fields::kMessageId, sizeof(uint32_t));
inline constexpr BodyForm text = {Fields::kText, 0, IPC_MSG_MAX_BODY};
} // namespace body

struct AnswerForm {
    uint32_t least; // bytes of a success up to its value
    uint32_t room;  // that the library has for it; 0: none, or what its caller has

    constexpr bool has_one_length() const { return least == room; }
};

namespace answer {
inline constexpr AnswerForm none = {0, 0};
inline constexpr AnswerForm byte = {sizeof(uint8_t), sizeof(uint8_t)};
inline constexpr AnswerForm result = {sizeof(int32_t), sizeof(int32_t)};
inline constexpr AnswerForm value = {sizeof(lct_value_rsp), sizeof(lct_value_rsp)};
inline constexpr AnswerForm operators = {sizeof(int32_t), sizeof(lct_netlist_rsp)};
inline constexpr AnswerForm imsi = {sizeof(int32_t), 0};
inline constexpr AnswerForm at = {offsetof(AtAnswer, text), kAtAnswerMax};
} // namespace answer

// clang-format off

// Function, message, module, body, answer, time-out in milliseconds. A request without a time-out is asynchronous.
#define LCT_REQUESTS(ROW) \
    ROW(lct_connect,                 WM_MSG_CONNECT_REQ,           IPC_MODULE_MM,     none,      none,           0) \
    ROW(lct_disconnect,              WM_MSG_DISCONNECT_REQ,        IPC_MODULE_MM,     none,      none,           0) \
    ROW(lct_enable_pin,              WM_MSG_PIN_ENABLE_REQ,        IPC_MODULE_MM,     pin,       result,      5000) \
    ROW(lct_disenable_pin,           WM_MSG_PIN_DISABLE_REQ,       IPC_MODULE_MM,     pin,       result,      5000) \
    ROW(lct_modify_pin,              WM_MSG_PIN_MODIFY_REQ,        IPC_MODULE_MM,     pins,      result,      5000) \
    ROW(lct_modify_pin_en,           WM_MSG_PIN_MODIFY_EN_REQ,     IPC_MODULE_MM,     byte,      result,      5000) \
    ROW(lct_sim_set_pinen_req,       WM_MSG_PIN_MODIFY_EN_REQ,     IPC_MODULE_MM,     byte,      byte,       20000) \
    ROW(lct_set_nettype,             WM_MSG_NETTYPE_SET_REQ,       IPC_MODULE_MM,     number,    result,    400000) \
    ROW(lct_get_nettype,             WM_MSG_NETTYPE_GET_REQ,       IPC_MODULE_MM,     none,      value,     400000) \
    ROW(lct_set_roam_switch,         WM_MSG_ROAM_SWITCH_SET_REQ,   IPC_MODULE_MM,     roaming,   result,    400000) \
    ROW(lct_get_roam_switch,         WM_MSG_ROAM_SWITCH_GET_REQ,   IPC_MODULE_MM,     none,      value,     400000) \
    ROW(lct_set_serial_port,         WM_MSG_SERIAL_PORT_SET_REQ,   IPC_MODULE_MM,     number,    result,    400000) \
    ROW(lct_get_netlist_req,         WM_MSG_NETLIST_SEARCH_REQ,    IPC_MODULE_MM,     none,      operators, 400000) \
    ROW(lct_get_diag_info,           WM_MSG_DIAG_INFO_REQ,         IPC_MODULE_MM,     none,      result,    400000) \
    ROW(lct_get_diag_hide_info,      WM_MSG_DIAG_HIDE_INFO_REQ,    IPC_MODULE_MM,     none,      result,    400000) \
    ROW(lct_net_imsi_get_req,        WM_MSG_IMSI_GET_REQ,          IPC_MODULE_MM,     none,      imsi,        5000) \
    ROW(lct_apn_set_req,             WM_MSG_APN_SET_REQ,           IPC_MODULE_MM,     none,      result,      5000) \
    ROW(lct_net_set_pref_req,        WM_MSG_DUALMODE_SET_PREF_REQ, IPC_MODULE_MM,     number,    result,     20000) \
    ROW(lct_net_set_status_test_req, SC_STATE_CHANGE_REQ,          IPC_MODULE_MM,     number,    result,     20000) \
    ROW(lct_lte_channel_req,         WM_MSG_LTE_CHANNEL_REQ,       IPC_MODULE_MM,     none,      value,      20000) \
    ROW(lct_ext_at_req,              WM_MSG_MODEM_AT_REQ,          IPC_MODULE_MM,     command,   at,         20000) \
    ROW(lct_inface_status_req,       WM_MSG_IFACE_UPORDOWN_REQ,    IPC_MODULE_MM,     interface, none,           0) \
    ROW(lct_at_cfun_off_req,         WM_MSG_AT_CFUN_OFF_REQ,       IPC_MODULE_MM,     none,      none,           0) \
    ROW(lct_state_change_req,        SC_STATE_CHANGE_REQ,          IPC_MODULE_MM,     none,      result,    400000) \
    ROW(lct_sms_del_dev_all_msg,     WM_MSG_SMS_DEL_ALL_REQ,       IPC_MODULE_SMS_PB, none,      result,     50000) \
    ROW(lct_test_ussd_notify_req,    WM_MSG_MODEM_NOTIFY,          IPC_MODULE_SMS_PB, text,      none,           0)

// Message, body; in the order in which the client subscribes.
#define LCT_NOTIFICATIONS(ROW) \
    ROW(WM_MSG_IFACE_STATUS_NOTIFY, interface) \
    ROW(WM_MSG_LINK_STATUS_NOTIFY,  link) \
    ROW(WM_MSG_MODEM_NOTIFY,        text)

// clang-format on

struct RequestRow {
    uint32_t msg_id;
    uint32_t module_id;
    BodyForm body;
    AnswerForm answer;
    uint32_t timeout_ms;
};

#define LCT_REQUEST_ROW(function, message, module, its_body, its_answer, timeout_ms) \
    {message, module, body::its_body, answer::its_answer, timeout_ms},
inline constexpr RequestRow kRequestRows[] = {LCT_REQUESTS(LCT_REQUEST_ROW)};
#undef LCT_REQUEST_ROW

#define LCT_NOTIFICATION_ID(message, its_body) message,
inline constexpr uint32_t kNotifications[] = {LCT_NOTIFICATIONS(LCT_NOTIFICATION_ID)};
#undef LCT_NOTIFICATION_ID

} // namespace lterouter
