// Names of the WAN manager's enumerations, compared letter by letter: others compare them too.
#include "lte_sdk.h"

#include <gtest/gtest.h>

#include <vector>

namespace names_test {

namespace {

using NameOf = const char *(*)(uint32_t value);

// The names of the values from `first` on, and of nothing else.
void expect_names(NameOf name_of, uint32_t first, const std::vector<const char *> &names,
                  const char *otherwise)
{
    const auto end = static_cast<uint32_t>(first + names.size());
    for (uint32_t value = first; value < end; ++value) {
        EXPECT_STREQ(name_of(value), names[value - first]) << value;
    }
    for (uint32_t value = 0; value < 300; ++value) {
        if (value < first || value >= end) {
            EXPECT_STREQ(name_of(value), otherwise) << value;
        }
    }
    // No bit of a value is dropped.
    for (uint32_t bit = 5; bit < 32; ++bit) {
        for (uint32_t value = first; value < end; ++value) {
            EXPECT_STREQ(name_of((1U << bit) | value), otherwise) << bit << ' ' << value;
        }
    }
    EXPECT_STREQ(name_of(0xFFFFFFFF), otherwise);
}

} // namespace

TEST(Names, of_radio_access_technologies)
{
    expect_names(get_radio_str, 0,
                 {"WM_WCDMA_EVDO_PSRAT_NONE", "WM_WCDMA_EVDO_PSRAT_GSM", "WM_WCDMA_EVDO_PSRAT_GPRS",
                  "WM_WCDMA_EVDO_PSRAT_EDGE", "WM_WCDMA_EVDO_PSRAT_WCDMA", "WM_WCDMA_EVDO_PSRAT_HSDPA",
                  "WM_WCDMA_EVDO_PSRAT_HSUPA", "WM_WCDMA_EVDO_PSRAT_LTE", "WM_WCDMA_EVDO_PSRAT_UMTS",
                  "WM_WCDMA_EVDO_PSRAT_HSPAPLUS", "WM_WCDMA_EVDO_PSRAT_DC_HSPAPLUS",
                  "WM_WCDMA_EVDO_PSRAT_CDMA", "WM_WCDMA_EVDO_PSRAT_EVDO_O",
                  "WM_WCDMA_EVDO_PSRAT_EVDO_A", "WM_WCDMA_EVDO_PSRAT_EVDO_B", "WM_TD_SCDMA"},
                 "UNKOWN RADIO TYPE");
}

TEST(Names, of_sim_states)
{
    expect_names(get_sim_str, 0,
                 {"WM_SIM_READY", "WM_SIM_NOT_INSERT", "WM_SIM_PIN_LOCKED", "WM_SIM_PUK_LOCKED",
                  "WM_SIM_LOCKED", "WM_SIM_NOT_READY", "WM_SIM_BUSY", "WM_SIM_READY_NETWORK_LOCKED"},
                 "UNKOWN SIMCARD TYPE");
}

TEST(Names, of_link_states)
{
    expect_names(
        get_link_str, LCT_LINK_DISCONNECTED,
        {"WM_DISCONNECTED", "WM_DISCONNECTING", "CONN_CONNECTED", "WM_CONNECTING", "WM_LINK_STA_CLEAR"},
        "UNKNOWN LINK STATUS");
    EXPECT_STREQ(get_link_str(LCT_LINK_CONNECTED), "CONN_CONNECTED");
    EXPECT_STREQ(get_link_str(LCT_LINK_CLEAR), "WM_LINK_STA_CLEAR");
}

TEST(Names, of_registrations)
{
    expect_names(get_net_type_str, 0, {"WM_REG_NONE", "WM_REG_2G", "WM_REG_3G", "WM_REG_4G"},
                 "UNKOWN NETWORK TYPE");
}

TEST(Names, of_interface_types)
{
    expect_names(get_iface_type_str, 0, {"WM_ETH", "WM_WIFI", "WM_WCDMA", "WM_MAX"},
                 "UNKOWN INTERFACE TYPE");
    EXPECT_STREQ(get_iface_type_str(LCT_IFACE_TYPE_WCDMA), "WM_WCDMA");
}

TEST(Names, of_interface_priorities)
{
    expect_names(get_iface_priority_str, 0,
                 {"IFACE_PRIO_LEVEL1", "IFACE_PRIO_LEVEL2", "IFACE_PRIO_LEVEL3", "IFACE_PRIO_MAX"},
                 "UNKOWN INTERFACE PRIORITY");
}

TEST(Names, of_connection_modes)
{
    expect_names(get_iface_conn_str, 0, {"WM_NET_SET_TYPE_AUTO", "WM_NET_SET_TYPE_MANUAL"},
                 "UNKOWN CONNECTION TYPE");
}

TEST(Names, of_interface_readiness)
{
    expect_names(get_iface_status_str, 0,
                 {"WM_NOT_READY", "WM_READY", "WM_WARNING", "WM_WARNING_CLEAR"},
                 "UNKNOWN INTERFACE STATUS");
}

TEST(Names, of_roaming)
{
    expect_names(get_roaming_str, 0, {"WM_ROAMING_HOME", "WM_ROAMING_ROAMING"}, "UNKNOWN ROAMING");
}

TEST(Names, of_ip_modes_which_start_at_1)
{
    expect_names(get_ipmode_str, 1, {"WM_IPV4", "WM_IPV6", "WM_IPV4V6"}, "UNKNOWN IPMODE");
}

} // namespace names_test
