// Effects of failing calls in the message queues.
#include "harness.h"

#include "lc_ipc_mq.h"
#include "support/queues.h"

namespace lc_ipc_mq_test {

using namespace faults;
using namespace testing_support;

namespace {

const Lines kNoMemory = {err("Assign memory failed!")};
const Lines kNoList = {err("Create list failed!")};

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

// ---- Waiting ----

std::string sent(int32_t timeout)
{
    MessagePtr message;
    {
        const Quiet quiet;
        message = make_message(7);
    }
    const uint32_t result = ipc_mq_send(g_queue, message.get(), 0, timeout);
    if (result == IPC_SUCCESS) {
        static_cast<void>(message.release());
    }
    return shown(result);
}

std::string received(int32_t timeout)
{
    ipc_msg_hdr *message = nullptr;
    const uint32_t result = ipc_mq_recv(g_queue, &message, timeout);
    mem_free_ex(0, 0, 0, message);
    return shown(result);
}

void fill_queue()
{
    make_queue();
    while (put(g_queue, 7) == IPC_SUCCESS) {
    }
}

void put_one() { put(g_queue, 7); }
void take_one() { take(g_queue); }

// A wait that ends without a signal, as one that fails does, is not begun anew: a sender overfills the
// queue, and a receiver finds nothing. Without a time it is over at once.
const Rules kTimeOut = {{.call = "pthread_cond_timedwait", .result = "7", .how = {"ETIMEDOUT"}},
                        {.call = "gettimeofday", .result = "7"}};
const Rules kSendWaits = kTimeOut + Rules{memory(1, kNoMemory)};
const Lines kNothingThere = {err("Delete from list mgt->mq_head failed! sret=3")};
const Rules kRecvWaits =
    kTimeOut + Rules{{.call = "pthread_cond_timedwait", .result = "11", .said = kNothingThere},
                     {.call = "pthread_cond_wait", .result = "11", .said = kNothingThere}};

// Another thread does what is waited for.
Scenario waiting(const char *function, const char *story, std::function<std::string()> act,
                 const Rules &rules, std::function<void()> setup, std::function<void()> other)
{
    return {.function = function,
            .story = story,
            .act =
                [act, other] {
                    std::thread thread;
                    {
                        const Quiet quiet;
                        g_hooks.wait = [&thread, other] { thread = std::thread(other); };
                    }
                    const std::string result = act();
                    const Quiet quiet;
                    if (thread.joinable()) {
                        thread.join();
                    }
                    return result;
                },
            .rules = rules,
            .setup = std::move(setup),
            .undo = ipc_mq_destroy,
            .threads_count = true,
            .only = {"gettimeofday", "mem_malloc_ex", "pthread_cond_wait", "pthread_cond_timedwait"}};
}

// ---- Watching ----

void make_watched_queue()
{
    make_queue();
    ipc_mq_get_fd(g_queue);
}

void make_watched_queue_with_message()
{
    make_watched_queue();
    put(g_queue, 7);
}

// What the descriptor shows when this has been done.
std::string watched(std::string (*act)(int32_t))
{
    pollfd poller = {-1, POLLIN, 0};
    {
        const Quiet quiet;
        poller.fd = ipc_mq_get_fd(g_queue);
    }
    const std::string result = act(0);
    return result + (poll(&poller, 1, 0) == 1 ? " readable" : " empty");
}

const Lines kNoPipe = {err("Create pipe failed! errno is %e.")};

const bool g_watching = enlist({
    {.function = "ipc_mq_get_fd",
     .act = [] { return std::string(ipc_mq_get_fd(g_queue) >= 0 ? "made" : "not made"); },
     .rules = {{.call = "pipe", .result = "not made", .said = kNoPipe},
               {.call = "fcntl64", .result = "not made", .said = kNoPipe}},
     .setup = make_queue,
     .undo = ipc_mq_destroy},
    // What fails of showing it keeps no message from anybody; the next occasion shows what is.
    {.function = "ipc_mq_get_fd",
     .story = "shows_a_message",
     .act = [] { return watched(sent); },
     .rules = {{.call = "mem_malloc_ex", .result = "11 empty", .said = kNoMemory},
               {.call = "write", .result = "0 empty", .how = {"EINTR", "EIO", "ENOSPC"}, .keeps = 1}},
     .setup = make_watched_queue,
     .undo = ipc_mq_destroy,
     .next = [] { return watched(sent); }},
    {.function = "ipc_mq_get_fd",
     .story = "shows_that_there_is_none",
     .act = [] { return watched(received); },
     .rules = {{.call = "read", .result = "0 readable", .how = {"EINTR", "EIO", "nothing"}}},
     .setup = make_watched_queue_with_message,
     .undo = ipc_mq_destroy,
     .once = true},
});

const bool g_enlisted = enlist({
    {.function = "ipc_mq_create",
     .act = [] { return shown(ipc_mq_create(4, &g_queue)); },
     // The list of the queues, which is made with the first of them, stays.
     .rules = Rules{memory(1, kNoList)} +
              keeping(1, {memory(2, kNoMemory), memory(3, kNoList), memory(4, kNoMemory)}),
     .setup = ipc_mq_init,
     .undo = ipc_mq_destroy},
    {.function = "ipc_mq_send",
     .act = [] { return sent(0); },
     .rules = {memory(1, kNoMemory)},
     .setup = make_queue,
     .undo = ipc_mq_destroy},
    waiting(
        "ipc_mq_send", "waits", [] { return sent(-1); }, kSendWaits, fill_queue, take_one),
    waiting(
        "ipc_mq_send", "waits_for_a_time", [] { return sent(20000); }, kSendWaits, fill_queue,
        take_one),
    of_queue("ipc_mq_recv", [] { return received(0); }),
    waiting(
        "ipc_mq_recv", "waits", [] { return received(-1); }, kRecvWaits, make_queue, put_one),
    waiting(
        "ipc_mq_recv", "waits_for_a_time", [] { return received(20000); }, kRecvWaits, make_queue,
        put_one),
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
    // Without the time a deadline has passed.
    {.function = "mkcondtimeout",
     .act =
         [] {
             timespec deadline;
             mkcondtimeout(&deadline, 1500);
             return std::string(deadline.tv_sec > time(nullptr) - 60 ? "to come" : "passed");
         },
     .rules = {{.call = "gettimeofday", .result = "passed"}}},
});

} // namespace

} // namespace lc_ipc_mq_test
