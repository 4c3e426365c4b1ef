#include "lc_ipc_msg/message.h"

#include "lc_log/print.h"
#include "lc_pthread/mutex.h"

#include <cstdio>
#include <cstring>
#include <sys/socket.h>

namespace lterouter {
namespace {

constexpr uint32_t kNoMatch = 8;

struct Module {
    uint32_t id;
    char short_name[10];
    char process_name[82];
    uint32_t numbers[5];
};

// The same in every process of the router. Only the short name is used.
constexpr Module kModules[] = {
    {0, "wm", "lc_wm", {2, 60000, 120000, 0, 1}},
    {1, "mm", "lc_mm", {2, 60000, 120000, 0, 1}},
    {2, "cgi", "", {4, 0, 120000, 0, 1}},
    // 3 and 4 share a name: both always bind per-process names, so these differ.
    {3, "cli1", "", {2, 0, 120000, 0, 1}},
    {4, "cli1", "", {4, 0, 120000, 0, 1}},
    {5, "", "", {4, 0, 120000, 0, 1}},
    {6, "sms_pb", "", {4, 0, 120000, 0, 1}},
    {7, "uptest", "", {4, 0, 120000, 0, 1}},
};
static_assert(sizeof(kModules) / sizeof(kModules[0]) == IPC_MODULE_COUNT);

struct SessionCounter {
    Mutex mutex;
    uint32_t last GUARDED_BY(mutex) = 0;
};

SessionCounter g_msg_session_id_mgt;

// The first word of a record. Read in place: a copy would give every reading function a stack guard.
struct __attribute__((packed, may_alias)) Word {
    uint32_t value;
};

// Waiters and registrations both start with the word by which they are found.
uint32_t first_word(const void *record) { return static_cast<const Word *>(record)->value; }

} // namespace

uint32_t body_word(ipc_msg_hdr &msg) { return first_word(ipc_msg_body(&msg)); }

void set_body_word(ipc_msg_hdr &msg, uint32_t word)
{
    static_cast<Word *>(ipc_msg_body(&msg))->value = word;
}

void set_socket_name(sockaddr_un &sock, uint32_t module_id, unsigned int pid)
{
    char *name = sock.sun_path + 1;
    constexpr size_t kRoom = sizeof(sock.sun_path) - 1;
    const char *module = kModules[module_id].short_name;
    sock.sun_family = AF_UNIX;
    if (pid != 0) {
        snprintf(name, kRoom, "lc_socket_%s_%u_%s", module, pid, kCommonPriority);
    } else {
        snprintf(name, kRoom, "lc_socket_%s_%s", module, kCommonPriority);
    }
}

bool same_socket(const sockaddr_un &a, const sockaddr_un &b)
{
    return memcmp(a.sun_path, b.sun_path, sizeof(a.sun_path)) == 0;
}

} // namespace lterouter

using namespace lterouter;

void *ipc_memory_assign(uint32_t body_len, uint32_t type)
{
    const uint32_t header = type == IPC_MSG_TYPE_SHORT ? 8 : sizeof(ipc_msg_hdr);
    if (body_len > UINT32_MAX - header) {
        return nullptr;
    }
    void *msg = mem::allocate(MEM_OWNER_IPC, header + body_len);
    if (msg != nullptr) {
        memcpy(msg, &type, sizeof(type));
    }
    return msg;
}

void *ipc_msg_get_body(ipc_msg_hdr *msg)
{
    LC_REQUIRE(msg, "msg", nullptr);
    return ipc_msg_body(msg);
}

ipc_addr *ipc_msg_get_sender(ipc_msg_hdr *msg)
{
    LC_REQUIRE(msg, "msg", nullptr);
    return ipc_msg_sender(msg);
}

void ipc_gen_seesion_id(ipc_msg_hdr *msg)
{
    const MutexLock guard(g_msg_session_id_mgt.mutex);
    msg->session_id = ++g_msg_session_id_mgt.last;
}

uint32_t ipc_get_addr_by_id(uint32_t module_id, uint32_t priority, ipc_addr *addr)
{
    if (priority != IPC_PRIORITY_COMMON) {
        return LC_FAIL(IPC_ERR_PARAM, "Para check failed! Para priority is %lu.\n",
                       static_cast<unsigned long>(priority));
    }
    LC_REQUIRE(addr, "addr", IPC_ERR_PARAM);
    if (module_id >= IPC_MODULE_COUNT) {
        // "&lu" is deliberate: the texts are part of the interface.
        return LC_FAIL(IPC_ERR_PARAM, "Para module_id invalid! module_id=&lu.\n");
    }
    *addr = {};
    set_socket_name(addr->sock, module_id, 0);
    addr->priority = priority;
    return IPC_SUCCESS;
}

uint32_t msg_id_match(const void *waiter, const void *msg)
{
    return first_word(waiter) == static_cast<const ipc_msg_hdr *>(msg)->session_id ? 0 : kNoMatch;
}

uint32_t notify_id_match(const void *registration, const void *notify_id)
{
    return first_word(registration) == first_word(notify_id) ? 0 : kNoMatch;
}
