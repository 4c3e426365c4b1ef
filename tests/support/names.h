/* The names of the client's enumerations, for C and C++. */
#ifndef NAMES_H
#define NAMES_H

#include "lte_sdk.h"

#include <stddef.h>

typedef struct enumeration {
    const char *function;
    const char *(*name_of)(uint32_t value);
    uint32_t first;
    const char *names[16]; /* of the values from `first` on */
    const char *otherwise;
} enumeration;

#define NAMED(function) #function, function

static const enumeration enumerations[] = {
    {NAMED(get_radio_str),
     0,
     {"WM_WCDMA_EVDO_PSRAT_NONE", "WM_WCDMA_EVDO_PSRAT_GSM", "WM_WCDMA_EVDO_PSRAT_GPRS",
      "WM_WCDMA_EVDO_PSRAT_EDGE", "WM_WCDMA_EVDO_PSRAT_WCDMA", "WM_WCDMA_EVDO_PSRAT_HSDPA",
      "WM_WCDMA_EVDO_PSRAT_HSUPA", "WM_WCDMA_EVDO_PSRAT_LTE", "WM_WCDMA_EVDO_PSRAT_UMTS",
      "WM_WCDMA_EVDO_PSRAT_HSPAPLUS", "WM_WCDMA_EVDO_PSRAT_DC_HSPAPLUS", "WM_WCDMA_EVDO_PSRAT_CDMA",
      "WM_WCDMA_EVDO_PSRAT_EVDO_O", "WM_WCDMA_EVDO_PSRAT_EVDO_A", "WM_WCDMA_EVDO_PSRAT_EVDO_B",
      "WM_TD_SCDMA"},
     "UNKOWN RADIO TYPE"},
    {NAMED(get_sim_str),
     0,
     {"WM_SIM_READY", "WM_SIM_NOT_INSERT", "WM_SIM_PIN_LOCKED", "WM_SIM_PUK_LOCKED", "WM_SIM_LOCKED",
      "WM_SIM_NOT_READY", "WM_SIM_BUSY", "WM_SIM_READY_NETWORK_LOCKED"},
     "UNKOWN SIMCARD TYPE"},
    {NAMED(get_link_str),
     LCT_LINK_DISCONNECTED,
     {"WM_DISCONNECTED", "WM_DISCONNECTING", "CONN_CONNECTED", "WM_CONNECTING", "WM_LINK_STA_CLEAR"},
     "UNKNOWN LINK STATUS"},
    {NAMED(get_net_type_str),
     0,
     {"WM_REG_NONE", "WM_REG_2G", "WM_REG_3G", "WM_REG_4G"},
     "UNKOWN NETWORK TYPE"},
    {NAMED(get_iface_type_str),
     0,
     {"WM_ETH", "WM_WIFI", "WM_WCDMA", "WM_MAX"},
     "UNKOWN INTERFACE TYPE"},
    {NAMED(get_iface_priority_str),
     0,
     {"IFACE_PRIO_LEVEL1", "IFACE_PRIO_LEVEL2", "IFACE_PRIO_LEVEL3", "IFACE_PRIO_MAX"},
     "UNKOWN INTERFACE PRIORITY"},
    {NAMED(get_iface_conn_str),
     0,
     {"WM_NET_SET_TYPE_AUTO", "WM_NET_SET_TYPE_MANUAL"},
     "UNKOWN CONNECTION TYPE"},
    {NAMED(get_iface_status_str),
     0,
     {"WM_NOT_READY", "WM_READY", "WM_WARNING", "WM_WARNING_CLEAR"},
     "UNKNOWN INTERFACE STATUS"},
    {NAMED(get_roaming_str), 0, {"WM_ROAMING_HOME", "WM_ROAMING_ROAMING"}, "UNKNOWN ROAMING"},
    {NAMED(get_ipmode_str), 1, {"WM_IPV4", "WM_IPV6", "WM_IPV4V6"}, "UNKNOWN IPMODE"},
};
#undef NAMED

static inline const char *expected_name(const enumeration *row, uint32_t value)
{
    const uint32_t index = value - row->first;
    return index < 16 && row->names[index] != NULL ? row->names[index] : row->otherwise;
}

#endif
