// Messages as modules build them, and arbitrary datagrams.
#pragma once

#include "lc_ipc_msg.h"
#include "lc_mem.h"
#include "support/bytes.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>

namespace testing_support {

struct FreeMessage {
    void operator()(void *msg) const { mem_free_ex(0, 0, MEM_OWNER_IPC, msg); }
};
using MessagePtr = std::unique_ptr<ipc_msg_hdr, FreeMessage>;

inline Bytes word(uint32_t value)
{
    Bytes bytes(sizeof(value));
    memcpy(bytes.data(), &value, sizeof(value));
    return bytes;
}

inline uint32_t word_at(const Bytes &bytes, size_t offset)
{
    uint32_t value = 0;
    if (offset + sizeof(value) <= bytes.size()) {
        memcpy(&value, bytes.data() + offset, sizeof(value));
    }
    return value;
}

inline Bytes datagram(const ipc_msg_hdr &header, const Bytes &body = {})
{
    Bytes bytes(sizeof(header));
    memcpy(bytes.data(), &header, sizeof(header));
    bytes.insert(bytes.end(), body.begin(), body.end());
    return bytes;
}

inline ipc_msg_hdr header_of(const Bytes &bytes)
{
    ipc_msg_hdr header = {};
    std::copy_n(bytes.begin(), std::min(bytes.size(), sizeof(header)),
                reinterpret_cast<uint8_t *>(&header));
    return header;
}

inline Bytes body_of(const Bytes &bytes)
{
    return bytes.size() < sizeof(ipc_msg_hdr)
               ? Bytes()
               : Bytes(bytes.begin() + static_cast<ptrdiff_t>(sizeof(ipc_msg_hdr)), bytes.end());
}

// A message of the current process: zeroed header, identifier, length, body.
inline MessagePtr make_message(uint32_t msg_id, const Bytes &body = {}, uint32_t type = 0)
{
    const auto length = static_cast<uint32_t>(body.size());
    MessagePtr msg(static_cast<ipc_msg_hdr *>(ipc_memory_assign(length, IPC_MSG_TYPE_ASYNC)));
    *msg = {type, msg_id, length, 0};
    if (length != 0) {
        memcpy(ipc_msg_body(msg.get()), body.data(), body.size());
    }
    return msg;
}

// Header and body of a message in memory.
inline Bytes message_bytes(const ipc_msg_hdr &msg)
{
    const auto *bytes = reinterpret_cast<const uint8_t *>(&msg);
    return {bytes, bytes + sizeof(msg) + msg.length};
}

} // namespace testing_support
