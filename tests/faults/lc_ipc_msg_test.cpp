// Effects of failing calls in the messaging endpoint.
#include "receive.h"

#include "lc_ipc_msg.h"
#include "support/peer.h"
#include "support/queues.h"

namespace lc_ipc_msg_test {

using namespace faults;
using namespace testing_support;

namespace {

constexpr char kOwnName[] = "lc_socket_mm_common";
constexpr uint32_t kNotification = 0x77;
constexpr uint32_t kMessage = 0x88;

const std::string &kNoMemory = kNoMessage;
const std::string kTimeout = err("Sending sync message timeout occured!");
const std::string kNoSend = err("Send failed! errno is %e.");
const std::string kTooLate = err("Send failed! errno is " + std::to_string(ETIMEDOUT) + ".");

Rule memory(int nth, const std::string &result, const Lines &said)
{
    return {.call = "mem_malloc_ex", .result = result, .said = said, .nth = nth};
}

// ---- The endpoint, and what it talks to ----

mq_cb g_queue = nullptr;
std::unique_ptr<Peer> g_peer;
std::unique_ptr<Peer> g_subscribers[2];

uint32_t start() { return ipc_msg_init(IPC_MODULE_MM, g_queue, nullptr, nullptr, 0); }

void start_endpoint()
{
    inside([] { EXPECT_EQ(start(), IPC_SUCCESS); });
    EXPECT_TRUE(rests());
}

void start_endpoint_with_queue()
{
    g_queue = new_queue(4);
    start_endpoint();
}

// Without the stop message that could not be sent the thread goes on, and is waited for until another
// comes.
void stop_again()
{
    if (!g_record->fired) {
        return;
    }
    const ipc_addr own = address_record(kOwnName);
    MessagePtr stop = make_message(IPC_MSG_ID_STOP);
    ipc_msg_send_asy(&own, stop.get(), 0);
}

void stop_endpoint()
{
    g_library_thread.blind = false;
    ipc_msg_fin();
    ipc_mq_destroy();
    g_queue = nullptr;
    g_peer = nullptr;
    for (auto &subscriber : g_subscribers) {
        subscriber = nullptr;
    }
}

// A module that answers who waits for it.
void start_endpoint_and_module()
{
    start_endpoint();
    g_peer = std::make_unique<Peer>(kSmsStoreSocket);
    g_hooks.wait = [] {
        WireMessage request;
        while (g_peer->receive(&request, 0)) {
            g_peer->respond(request, testing_support::bytes_of(uint32_t{0}));
        }
    };
}

ipc_addr module_record()
{
    ipc_addr to = {};
    ipc_get_addr_by_id(IPC_MODULE_SMS_PB, 0, &to);
    return to;
}

// ---- A module that does not read ----

std::unique_ptr<Peer> g_full;

void start_endpoint_and_full_module(uint32_t limit)
{
    start_endpoint();
    g_full = std::make_unique<Peer>(kSmsStoreSocket);
    const Peer filler;
    for (size_t i = 0; i < room_of_a_socket(); ++i) {
        filler.send(kSmsStoreSocket, {0});
    }
    ipc_msg_set_send_limit(limit);
}

void stop_endpoint_and_full_module()
{
    ipc_msg_set_send_limit(0);
    g_full = nullptr;
    stop_endpoint();
}

std::string told()
{
    ipc_msg_hdr message = {0, kMessage, 0, 0};
    const ipc_addr to = module_record();
    return shown(ipc_msg_send_asy(&to, &message, 0));
}

std::string request_answered(uint32_t timeout = 20000)
{
    alignas(ipc_msg_hdr) uint8_t request[sizeof(ipc_msg_hdr) + 4] = {};
    alignas(ipc_msg_hdr) uint8_t response[sizeof(ipc_msg_hdr) + 4] = {};
    auto *header = reinterpret_cast<ipc_msg_hdr *>(request);
    *header = {0, kMessage, 4, 0};
    ipc_gen_seesion_id(header);
    uint32_t length = 4;
    const ipc_addr to = module_record();
    const uint32_t result = ipc_msg_send_syn(&to, header, 4, timeout, response, &length);
    return shown(result) + " " + shown(length);
}

// ---- What the receive thread makes of a datagram ----

std::string queued_after(const Bytes &bytes)
{
    const Peer peer;
    peer.send(kOwnName, bytes);
    rests();
    return shown(queued()) + " queued";
}

std::string registered()
{
    Peer peer("subscriber");
    peer.send(kOwnName,
              datagram({IPC_MSG_TYPE_REQUEST, IPC_MSG_ID_REGISTER, 4, 5}, word(kNotification)));
    rests();
    const Bytes answer = peer.receive(0);
    return answer.empty() ? "no answer" : "answer " + shown(word_at(answer, 16));
}

void subscribe(size_t i)
{
    g_subscribers[i] = std::make_unique<Peer>("subscriber" + std::to_string(i));
    g_subscribers[i]->send(
        kOwnName, datagram({IPC_MSG_TYPE_REQUEST, IPC_MSG_ID_REGISTER, 4, 5}, word(kNotification)));
    g_subscribers[i]->receive();
    EXPECT_TRUE(rests());
}

void subscribe_two()
{
    start_endpoint();
    inside([] {
        subscribe(0);
        subscribe(1);
    });
}

std::string notified()
{
    ipc_msg_hdr message = {0, kNotification, 0, 0};
    const uint32_t result = ipc_msg_notify(&message, 0);
    std::string got;
    for (auto &subscriber : g_subscribers) {
        got += subscriber->receive(0).empty() ? " no" : " yes";
    }
    return shown(result) + got;
}

// The first leaves; who is notified then?
std::string deregistered()
{
    g_subscribers[0]->send(
        kOwnName, datagram({IPC_MSG_TYPE_ASYNC, IPC_MSG_ID_DEREGISTER, 4, 0}, word(kNotification)));
    rests();
    return notified();
}

std::string diagnosed()
{
    {
        const Quiet quiet;
        const Peer peer("sender");
        peer.send(kOwnName, datagram({0, kMessage, 4, 0}, word(1)));
    }
    uint8_t message[64];
    uint32_t length = 16;
    ipc_addr sender = {};
    return shown(ipc_diag_msg_receive(message, &length, &sender));
}

// A registration that fails at its n-th allocation, answered with 11.
Rule registration(int nth, const std::string &line, const std::string &result = "answer 11")
{
    return memory(nth, result,
                  {line, err("Handle register request failed!, sret=11."),
                   err("Receive common priority message failed! sret=11.")});
}

template <typename Use> Scenario plain(const char *function, Use use)
{
    return calls_nothing(function, [use] { return shown(use()); });
}

const bool g_endpoint = enlist({
    {.function = "ipc_memory_assign",
     .act =
         [] {
             void *message = ipc_memory_assign(4, 0);
             const std::string result = shown(message);
             mem_free_ex(0, 0, 0, message);
             return result;
         },
     .rules = {memory(1, "null", {})}},
    {.function = "ipc_msg_init",
     .act = [] { return shown(start()); },
     .rules =
         {memory(1, "11", {err("Create list failed!")}),
          memory(2, "11", {err("Create list failed!")}),
          memory(3, "11", {err("Start message receiving thread failed! ret=12.")}),
          {.call = "socket",
           .result = "11",
           .said = {err("Create socket common failed! errno is %e.")}},
          {.call = "bind", .result = "11", .said = {err("Bind socket common failed! errno is %e.")}},
          {.call = "pthread_create",
           .result = "11",
           .said = {err("Start message receiving thread failed! ret=%e.")}}},
     .undo = stop_endpoint},
    {.function = "ipc_msg_fin",
     .act =
         [] {
             ipc_msg_fin();
             return std::string();
         },
     .rules = {memory(1, "", {}), {.call = "sendto", .result = "", .said = {kNoSend}}},
     .setup =
         [] {
             start_endpoint();
             g_hooks.join = stop_again;
         },
     .undo = stop_endpoint},
});

const bool g_receiving = enlist({
    {.function = "ipc_msg_init",
     .story = "receives_a_message",
     .act =
         [] {
             return queued_after(datagram({0, kMessage, 4, 0}, word(1)));
         },
     .rules = receive_fails(4, "0 queued") +
              Rules{memory(3, "0 queued",
                           {kNoMemory, err("Send to message queue failed!, sret=11."),
                            err("Receive common priority message failed! sret=11.")})},
     .setup = start_endpoint_with_queue,
     .undo = stop_endpoint,
     .role = Role::kLibrary},
    {.function = "ipc_msg_init",
     .story = "receives_a_registration",
     .act = registered,
     .rules = receive_fails(4, "no answer") +
              Rules{registration(3, kNoMemory, "no answer"),
                    registration(4, kNoMemory),
                    registration(5, kNoMemory),
                    registration(6, err("Create list failed!")),
                    registration(7, kNoMemory),
                    registration(8, kNoMemory),
                    {.call = "sendto",
                     .result = "no answer",
                     .said = {kNoSend, err("Send register response to client failed! sret=10.")},
                     .keeps = 5}},
     .setup = start_endpoint,
     .undo = stop_endpoint,
     .role = Role::kLibrary},
    {.function = "ipc_msg_init",
     .story = "receives_a_deregistration",
     .act = [] { return deregistered(); },
     .rules = receive_fails(4, "0 yes yes"),
     .setup = subscribe_two,
     .undo = stop_endpoint,
     .role = Role::kLibrary},
});

const bool g_sending =
    enlist(
        {
            {.function = "ipc_msg_send_asy",
             .act = told,
             .rules = {{.call = "sendto", .result = "10", .said = {kNoSend}}},
             .setup = start_endpoint_and_module,
             .undo = stop_endpoint},
            {.function = "ipc_msg_send_syn",
             .act = [] { return request_answered(); },
             .rules = {memory(1, "11 4", {kNoMemory}),
                       memory(2, "11 4", {kNoMemory}),
                       {.call = "sendto", .result = "10 4", .said = {kNoSend}},
                       {.call = "gettimeofday", .result = "7 4", .said = {kTimeout}}},
             .setup = start_endpoint_and_module,
             .undo = stop_endpoint},
            // A wait that ends without an answer begins anew, one that fails has timed out.
            {.function = "ipc_msg_send_syn",
             .story = "waits",
             .act = [] { return request_answered(); },
             .rules = {{.call = "pthread_cond_timedwait", .how = {"nothing"}},
                       {.call = "pthread_cond_timedwait", .result = "7 4", .said = {kTimeout}}},
             .setup = start_endpoint_and_module,
             .undo = stop_endpoint,
             .threads_count = true,
             .only = {"pthread_cond_timedwait"}},
            // The answer that the receive thread loses does not come, and the waiter's time runs
            // out.
            {.function = "ipc_msg_send_syn",
             .story = "gets_its_answer",
             .act =
                 [] {
                     // A deadline may come a second early.
                     const std::string result = request_answered(2000);
                     rests();
                     return result;
                 },
             .rules = receive_fails(4, "7 4", {kTimeout}),
             .setup = start_endpoint_and_module,
             .undo = stop_endpoint,
             .role = Role::kLibrary},
            {.function = "ipc_register_notify",
             .act =
                 [] {
                     const ipc_addr to = module_record();
                     return shown(ipc_register_notify(&to, kNotification, 20000));
                 },
             .rules = {memory(1, "11", {kNoMemory}),
                       memory(2, "11", {kNoMemory}),
                       memory(0, "11", {kNoMemory, err("Send notify register failed! sret=11.")}),
                       {.call = "sendto",
                        .result = "10",
                        .said = {kNoSend, err("Send notify register failed! sret=10.")}},
                       {.call = "gettimeofday",
                        .result = "7",
                        .said = {kTimeout, err("Send notify register failed! sret=7.")}}},
             .setup = start_endpoint_and_module,
             .undo = stop_endpoint},
            {.function = "ipc_deregister_notify",
             .act =
                 [] {
                     const ipc_addr to = module_record();
                     return shown(ipc_deregister_notify(&to, kNotification));
                 },
             .rules = {memory(1, "11", {kNoMemory}),
                       {.call = "sendto",
                        .result = "10",
                        .said = {kNoSend, err("Send notify deregister failed! sret=10.")}}},
             .setup = start_endpoint_and_module,
             .undo = stop_endpoint},
            // One subscriber that cannot be reached keeps nothing from the others.
            {.function = "ipc_msg_notify",
             .act = notified,
             .rules = {{.call = "sendto", .result = "0 no yes", .said = {kNoSend}, .nth = 1},
                       {.call = "sendto", .result = "0 yes no", .said = {kNoSend}, .nth = 2}},
             .setup = subscribe_two,
             .undo = stop_endpoint},
            {.function = "ipc_diag_msg_receive",
             .act = diagnosed,
             .rules = {memory(1, "11", {kNoMemory}),
                       {.call = "recvfrom",
                        .result = "10",
                        .said = {err("Orderly shutdown occured!")},
                        .how = {"nothing"}},
                       {.call = "recvfrom", .result = "4", .said = {mismatch(4)}, .how = {"short"}},
                       {.call = "recvfrom",
                        .result = "10",
                        .said = {err("Receive message failed! errno is %e.")}}},
             .setup =
                 [] {
                     g_library_thread.blind = true;
                     inside([] { start(); });
                 },
             .undo = stop_endpoint},
            // Whatever fails of the wait, the send goes on until there is room, or its time is over.
            {.function = "ipc_msg_set_send_limit",
             .story = "finds_room",
             .act = told,
             .rules = {{.call = "sendto", .how = {"EAGAIN"}},
                       {.call = "sendto", .result = "10", .said = {kNoSend}}},
             .setup =
                 [] {
                     start_endpoint_and_full_module(20000);
                     g_hooks.room = [] { g_full->receive(0); };
                 },
             .undo = stop_endpoint_and_full_module},
            {.function = "ipc_msg_set_send_limit",
             .story = "finds_no_room",
             .act = told,
             .rules = {{.call = "sendto", .how = {"EAGAIN"}},
                       {.call = "sendto", .result = "10", .said = {kNoSend}, .unsaid = {kTooLate}}},
             .setup = [] { start_endpoint_and_full_module(100); },
             .undo = stop_endpoint_and_full_module},
            plain("ipc_msg_set_send_limit",
                  [] {
                      ipc_msg_set_send_limit(0);
                      return 0;
                  }),
            plain("ipc_gen_seesion_id",
                  [] {
                      ipc_msg_hdr message = {};
                      ipc_gen_seesion_id(&message);
                      return message.session_id != 0 ? 1 : 0;
                  }),
            plain("ipc_get_addr_by_id",
                  [] {
                      ipc_addr addr;
                      return ipc_get_addr_by_id(1, 0, &addr);
                  }),
            plain("ipc_msg_get_body",
                  [] {
                      ipc_msg_hdr message = {};
                      return ipc_msg_get_body(&message) == &message + 1 ? 1 : 0;
                  }),
            plain("ipc_msg_get_sender",
                  [] {
                      ipc_msg_hdr message = {};
                      return static_cast<void *>(ipc_msg_get_sender(&message)) == &message + 1 ? 1 : 0;
                  }),
            plain("msg_id_match",
                  [] {
                      const ipc_msg_hdr message = {};
                      return msg_id_match(&message, &message);
                  }),
            plain("notify_id_match", [] { return notify_id_match(&kNotification, &kNotification); }),
            plain("reg_notify_node_destroy", [] { return reg_notify_node_destroy(nullptr); }),
        });

} // namespace

} // namespace lc_ipc_msg_test
