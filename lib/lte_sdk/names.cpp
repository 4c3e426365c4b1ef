// Names of the WAN manager's enumerations, for display and logging. Web pages and scripts compare them,
// so they must not change, spelling included.

#include "lte_sdk.h"

#include <cstddef>

namespace lterouter {
namespace {

template <size_t kCount>
const char *name_of(uint32_t value, const char *const (&names)[kCount], const char *otherwise)
{
    return value < kCount ? names[value] : otherwise;
}

} // namespace
} // namespace lterouter

using namespace lterouter;

const char *get_radio_str(uint32_t value)
{
    static constexpr const char *kNames[] = {
        "WM_WCDMA_EVDO_PSRAT_NONE",        "WM_WCDMA_EVDO_PSRAT_GSM",
        "WM_WCDMA_EVDO_PSRAT_GPRS",        "WM_WCDMA_EVDO_PSRAT_EDGE",
        "WM_WCDMA_EVDO_PSRAT_WCDMA",       "WM_WCDMA_EVDO_PSRAT_HSDPA",
        "WM_WCDMA_EVDO_PSRAT_HSUPA",       "WM_WCDMA_EVDO_PSRAT_LTE",
        "WM_WCDMA_EVDO_PSRAT_UMTS",        "WM_WCDMA_EVDO_PSRAT_HSPAPLUS",
        "WM_WCDMA_EVDO_PSRAT_DC_HSPAPLUS", "WM_WCDMA_EVDO_PSRAT_CDMA",
        "WM_WCDMA_EVDO_PSRAT_EVDO_O",      "WM_WCDMA_EVDO_PSRAT_EVDO_A",
        "WM_WCDMA_EVDO_PSRAT_EVDO_B",      "WM_TD_SCDMA",
    };
    return name_of(value, kNames, "UNKOWN RADIO TYPE");
}

const char *get_sim_str(uint32_t value)
{
    static constexpr const char *kNames[] = {
        "WM_SIM_READY",  "WM_SIM_NOT_INSERT", "WM_SIM_PIN_LOCKED", "WM_SIM_PUK_LOCKED",
        "WM_SIM_LOCKED", "WM_SIM_NOT_READY",  "WM_SIM_BUSY",       "WM_SIM_READY_NETWORK_LOCKED",
    };
    return name_of(value, kNames, "UNKOWN SIMCARD TYPE");
}

const char *get_link_str(uint32_t value)
{
    static constexpr const char *kNames[] = {"WM_DISCONNECTED", "WM_DISCONNECTING", "CONN_CONNECTED",
                                             "WM_CONNECTING", "WM_LINK_STA_CLEAR"};
    return name_of(value, kNames, "UNKNOWN LINK STATUS");
}

const char *get_net_type_str(uint32_t value)
{
    static constexpr const char *kNames[] = {"WM_REG_NONE", "WM_REG_2G", "WM_REG_3G", "WM_REG_4G"};
    return name_of(value, kNames, "UNKOWN NETWORK TYPE");
}

const char *get_iface_type_str(uint32_t value)
{
    static constexpr const char *kNames[] = {"WM_ETH", "WM_WIFI", "WM_WCDMA", "WM_MAX"};
    return name_of(value, kNames, "UNKOWN INTERFACE TYPE");
}

const char *get_iface_priority_str(uint32_t value)
{
    static constexpr const char *kNames[] = {"IFACE_PRIO_LEVEL1", "IFACE_PRIO_LEVEL2",
                                             "IFACE_PRIO_LEVEL3", "IFACE_PRIO_MAX"};
    return name_of(value, kNames, "UNKOWN INTERFACE PRIORITY");
}

const char *get_iface_conn_str(uint32_t value)
{
    static constexpr const char *kNames[] = {"WM_NET_SET_TYPE_AUTO", "WM_NET_SET_TYPE_MANUAL"};
    return name_of(value, kNames, "UNKOWN CONNECTION TYPE");
}

const char *get_iface_status_str(uint32_t value)
{
    static constexpr const char *kNames[] = {"WM_NOT_READY", "WM_READY", "WM_WARNING",
                                             "WM_WARNING_CLEAR"};
    return name_of(value, kNames, "UNKNOWN INTERFACE STATUS");
}

const char *get_roaming_str(uint32_t value)
{
    static constexpr const char *kNames[] = {"WM_ROAMING_HOME", "WM_ROAMING_ROAMING"};
    return name_of(value, kNames, "UNKNOWN ROAMING");
}

const char *get_ipmode_str(uint32_t value)
{
    // The modes start at 1.
    static constexpr const char *kNames[] = {"UNKNOWN IPMODE", "WM_IPV4", "WM_IPV6", "WM_IPV4V6"};
    return name_of(value, kNames, kNames[0]);
}
