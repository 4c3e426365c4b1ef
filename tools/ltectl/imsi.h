// The SIM's identity, as the WAN manager answers it.
#pragma once

#include "lte_sdk.h"

namespace lterouter::tools {

struct ImsiAnswer {
    int32_t result = -1;
    char imsi[32] = {};

    // False when the WAN manager does not tell.
    bool read()
    {
        return lct_net_imsi_get_req(reinterpret_cast<char *>(this), sizeof(*this)) == 0 &&
               result == 0 && imsi[0] != '\0';
    }
};

} // namespace lterouter::tools
