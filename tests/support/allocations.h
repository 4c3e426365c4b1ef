// The names of what the library allocates, by owner and size: a test says what there is no memory for,
// whatever else is allocated before it. nth tells apart what has the same owner and size.
#pragma once

#include "lc_ipc_msg.h"
#include "lc_list.h"
#include "lc_mem.h"

#include <cstddef>
#include <cstdint>

namespace testing_support {

struct Allocation {
    const char *name;
    uint32_t owner;
    size_t smallest;
    size_t largest;
    int nth = 1;

    bool is(uint32_t owner_tag, size_t size) const
    {
        return owner_tag == owner && size >= smallest && size <= largest;
    }
    constexpr Allocation number(int n) const { return {name, owner, smallest, largest, n}; }
};

constexpr Allocation of_size(const char *name, uint32_t owner, size_t size)
{
    return {name, owner, size, size};
}

inline constexpr size_t kAnySize = SIZE_MAX;

// ---- Lists ----
inline constexpr Allocation kList = of_size("list", MEM_OWNER_LIST, sizeof(lc_list));

// ---- Queues ----
inline constexpr Allocation kQueueNode =
    of_size("node of a queue", MEM_OWNER_IPC, sizeof(lc_list_node));
inline constexpr Allocation kQueue = {"queue", MEM_OWNER_IPC, sizeof(lc_list_node) + 1, kAnySize};

// ---- The endpoint ----
inline constexpr Allocation kThreadArguments = {"arguments of the receive thread", MEM_OWNER_IPC_SYNC,
                                                1, kAnySize};
inline constexpr Allocation kDatagram = of_size("buffer of a datagram", MEM_OWNER_IPC_SYNC, 1024);
inline constexpr Allocation kReceivedMessage = {"received message", MEM_OWNER_IPC_SYNC,
                                                sizeof(ipc_msg_hdr) + sizeof(ipc_addr), 1023};
inline constexpr Allocation kMessage = {"message to send", MEM_OWNER_IPC, sizeof(ipc_msg_hdr),
                                        kAnySize};

// What waits for a response.
inline constexpr Allocation kWaiter = {"waiter", MEM_OWNER_IPC_SYNC, sizeof(lc_list_node) + 1, 1023};
inline constexpr Allocation kWaiterNode =
    of_size("node of a waiter", MEM_OWNER_IPC_SYNC, sizeof(lc_list_node));

// What a registration is kept in.
inline constexpr Allocation kRegistration =
    of_size("registration", MEM_OWNER_IPC_SYNC, 2 * sizeof(void *));
inline constexpr Allocation kRegistrationNode =
    of_size("node of a registration", MEM_OWNER_IPC_SYNC, sizeof(lc_list_node));
inline constexpr Allocation kSubscriber = of_size("address", MEM_OWNER_IPC_SYNC, sizeof(ipc_addr));

} // namespace testing_support
