// The answer to a request, under construction.
#pragma once

#include "lc_ipc_msg.h"

#include <cstdint>
#include <cstring>

namespace lterouter::tools {

// The result word; the function that serves the request may replace it by a record.
struct Answer {
    alignas(uint32_t) uint8_t body[IPC_MSG_MAX_BODY] = {};
    uint32_t length;

    template <typename T> void put(const T &record)
    {
        memcpy(body, &record, sizeof(record));
        length = sizeof(record);
    }
    void put_value(uint32_t value) { memcpy(body + sizeof(int32_t), &value, sizeof(value)); }
    void put_result(int32_t result) { memcpy(body, &result, sizeof(result)); }
};

} // namespace lterouter::tools
