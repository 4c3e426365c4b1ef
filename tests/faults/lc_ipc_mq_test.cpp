// What comes of failing calls in the message queues.
#include "harness.h"

#include "lc_ipc_mq.h"
#include "support/queues.h"

using namespace faults;
using namespace testing_support;

namespace {

const Lines kNoMemory = {"Assign memory failed!"};
const Lines kNoList = {"Create list failed!"};

mq_cb g_queue = nullptr;

void make_queue() { g_queue = new_queue(4); }

void make_queue_with_message()
{
    make_queue();
    put(g_queue, 7);
}

Rule memory(int nth, const Lines &said)
{
    return {.call = "mem_malloc_ex", .result = "11", .said = said, .nth = nth};
}

// A function of a queue that holds a message, which neither allocates nor calls the kernel.
Scenario of_queue(const char *function, std::function<std::string()> act)
{
    Scenario scenario = calls_nothing(function, std::move(act));
    scenario.setup = make_queue_with_message;
    scenario.undo = ipc_mq_destroy;
    return scenario;
}

const bool g_enlisted = enlist({
    {.function = "ipc_mq_create",
     .act = [] { return shown(ipc_mq_create(4, &g_queue)); },
     .rules = {memory(1, kNoList), memory(2, kNoMemory), memory(3, kNoList), memory(4, kNoMemory)},
     .setup = ipc_mq_init,
     .undo = ipc_mq_destroy},
    {.function = "ipc_mq_send",
     .act =
         [] {
             MessagePtr message;
             {
                 const Quiet quiet;
                 message = make_message(7);
             }
             const uint32_t result = ipc_mq_send(g_queue, message.get(), 0, 0);
             if (result == IPC_SUCCESS) {
                 static_cast<void>(message.release());
             }
             return shown(result);
         },
     .rules = {memory(1, kNoMemory)},
     .setup = make_queue,
     .undo = ipc_mq_destroy},
    of_queue("ipc_mq_recv",
             [] {
                 ipc_msg_hdr *message = nullptr;
                 const uint32_t result = ipc_mq_recv(g_queue, &message, 0);
                 mem_free_ex(0, 0, 0, message);
                 return shown(result);
             }),
    of_queue("ipc_mq_remove", [] { return shown(ipc_mq_remove(g_queue, 7)); }),
    of_queue("ipc_mq_usg_state",
             [] {
                 ipc_mq_usg usage[4];
                 uint32_t count = 4;
                 return shown(ipc_mq_usg_state(usage, &count));
             }),
    of_queue("ipc_mq_destroy",
             [] {
                 ipc_mq_destroy();
                 return std::string();
             }),
    calls_nothing("ipc_mq_init",
                  [] {
                      ipc_mq_init();
                      return std::string();
                  }),
    calls_nothing("mq_mgt_node_destroy", [] { return shown(mq_mgt_node_destroy(nullptr)); }),
    calls_nothing("mkcondtimeout",
                  [] {
                      timespec deadline;
                      mkcondtimeout(&deadline, 1500);
                      return shown(deadline.tv_nsec);
                  }),
});

} // namespace
