// A synchronous request: the way to a server in another process and back, with an answer of 8 bytes.
//
//   by hand  the library's threads and calls: the client sends and waits on a condition variable for a
//            thread that does select and recvfrom; the server does select, recvfrom and sendto
//   ZeroMQ   REQ and REP sockets over ipc
//   nng      req and rep sockets over ipc, with messages, which are not copied
//   sd-bus   a method call through a dbus-daemon of its own
#include "lc_ipc_msg.h"
#include "support/bus.h"
#include "support/by_hand.h"
#include "support/measure.h"
#include "support/process.h"

#include <cstring>
#include <nng/nng.h>
#include <nng/protocol/reqrep0/rep.h>
#include <nng/protocol/reqrep0/req.h>
#include <zmq.h>

namespace {

using bench::kNoteBody;
using bench::Note;
using bench::require;

constexpr uint32_t kTimeoutMs = 60000;

// One that is answered with the number after it.
uint64_t g_number = 0;

// Starts a server and returns when it can be asked. prepare: returns what the server then does.
template <typename Prepare> void start_server(Prepare prepare)
{
    auto &ready = bench::make_shared_with_processes<bench::Signal>();
    bench::start_process([&] {
        const auto serve = prepare();
        ready.give();
        serve();
    });
    ready.await();
}

// ---- The library ----

ipc_addr g_server;

uint32_t answer(ipc_msg_hdr *msg, uint32_t)
{
    Note response = {{IPC_MSG_TYPE_RESPONSE, msg->msg_id, kNoteBody, msg->session_id}, 0};
    memcpy(&response.value, ipc_msg_body(msg), sizeof(response.value));
    ++response.value;
    require(ipc_msg_send_asy(ipc_msg_sender(msg), &response.header, kNoteBody) == IPC_SUCCESS,
            "ipc_msg_send_asy");
    return 0;
}

void start_our_server()
{
    start_server([] {
        require(ipc_msg_init(IPC_MODULE_MM, nullptr, answer, nullptr, 0) == IPC_SUCCESS,
                "ipc_msg_init");
        return bench::sleep_for_ever;
    });
}

void start_our_client()
{
    require(ipc_msg_init(IPC_MODULE_CLI1, nullptr, nullptr, nullptr, 1) == IPC_SUCCESS &&
                ipc_get_addr_by_id(IPC_MODULE_MM, IPC_PRIORITY_COMMON, &g_server) == IPC_SUCCESS,
            "starting the client");
}

void ask()
{
    Note request = {{IPC_MSG_TYPE_REQUEST, 0x50000001, kNoteBody, 0}, ++g_number};
    Note response;
    uint32_t length = kNoteBody;
    ipc_gen_seesion_id(&request.header);
    require(ipc_msg_send_syn(&g_server, &request.header, kNoteBody, kTimeoutMs, &response, &length) ==
                    IPC_SUCCESS &&
                length == kNoteBody && response.value == g_number + 1,
            "ipc_msg_send_syn");
}

// ---- By hand ----

constexpr char kHandServer[] = "bench_request_server";
bench::by_hand::Client g_hand;

void start_hand_server()
{
    start_server([] {
        const int fd = bench::by_hand::open_socket(kHandServer);
        return [fd] { bench::by_hand::serve(fd); };
    });
}

void ask_by_hand()
{
    static const sockaddr_un server = bench::by_hand::address_of(kHandServer);
    ++g_number;
    require(g_hand.ask(server, g_number) == g_number + 1, "a request by hand");
}

// ---- ZeroMQ ----

constexpr char kZmqAddress[] = "ipc:///tmp/zmq";
void *g_zmq;

void start_zmq_server()
{
    start_server([] {
        void *const socket = zmq_socket(zmq_ctx_new(), ZMQ_REP);
        require(zmq_bind(socket, kZmqAddress) == 0, "zmq_bind");
        return [socket] {
            for (uint64_t number;;) {
                require(zmq_recv(socket, &number, sizeof(number), 0) == sizeof(number), "zmq_recv");
                ++number;
                require(zmq_send(socket, &number, sizeof(number), 0) == sizeof(number), "zmq_send");
            }
        };
    });
}

void start_zmq_client()
{
    g_zmq = zmq_socket(zmq_ctx_new(), ZMQ_REQ);
    require(zmq_connect(g_zmq, kZmqAddress) == 0, "zmq_connect");
}

void ask_zmq()
{
    uint64_t number = ++g_number;
    require(zmq_send(g_zmq, &number, sizeof(number), 0) == sizeof(number) &&
                zmq_recv(g_zmq, &number, sizeof(number), 0) == sizeof(number) && number == g_number + 1,
            "a request over ZeroMQ");
}

// ---- nng ----

constexpr char kNngAddress[] = "ipc:///tmp/nng";
nng_socket g_nng;

void start_nng_server()
{
    start_server([] {
        nng_socket socket;
        require(nng_rep0_open(&socket) == 0 && nng_listen(socket, kNngAddress, nullptr, 0) == 0,
                "nng_listen");
        return [socket] {
            for (nng_msg *msg;;) {
                require(nng_recvmsg(socket, &msg, 0) == 0, "nng_recvmsg");
                ++*static_cast<uint64_t *>(nng_msg_body(msg));
                require(nng_sendmsg(socket, msg, 0) == 0, "nng_sendmsg");
            }
        };
    });
}

void start_nng_client()
{
    require(nng_req0_open(&g_nng) == 0 && nng_dial(g_nng, kNngAddress, nullptr, 0) == 0, "nng_dial");
}

void ask_nng()
{
    ++g_number;
    nng_msg *msg;
    require(nng_msg_alloc(&msg, 0) == 0 && nng_msg_append(msg, &g_number, sizeof(g_number)) == 0 &&
                nng_sendmsg(g_nng, msg, 0) == 0 && nng_recvmsg(g_nng, &msg, 0) == 0,
            "a request over nng");
    require(*static_cast<uint64_t *>(nng_msg_body(msg)) == g_number + 1, "an answer over nng");
    nng_msg_free(msg);
}

// ---- sd-bus ----

constexpr char kBusName[] = "bench.Server";
constexpr char kBusPath[] = "/bench/server";
sd_bus *g_bus;

int answer_bus(sd_bus_message *message, void *, sd_bus_error *)
{
    uint64_t number;
    require(sd_bus_message_read(message, "t", &number) >= 0, "reading a method call");
    return sd_bus_reply_method_return(message, "t", number + 1);
}

constexpr sd_bus_vtable kBusMethods[] = {
    SD_BUS_VTABLE_START(0), SD_BUS_METHOD("Ask", "t", "t", answer_bus, 0), SD_BUS_VTABLE_END};

void start_bus_server()
{
    bench::start_bus();
    start_server([] {
        sd_bus *const bus = bench::join_bus();
        require(sd_bus_add_object_vtable(bus, nullptr, kBusPath, kBusName, kBusMethods, nullptr) >= 0 &&
                    sd_bus_request_name(bus, kBusName, 0) >= 0,
                "offering a method");
        return [bus] { bench::handle_bus(bus); };
    });
}

void ask_bus()
{
    uint64_t number;
    sd_bus_message *reply = nullptr;
    require(sd_bus_call_method(g_bus, kBusName, kBusPath, kBusName, "Ask", nullptr, &reply, "t",
                               ++g_number) >= 0 &&
                sd_bus_message_read(reply, "t", &number) >= 0 && number == g_number + 1,
            "a request over sd-bus");
    sd_bus_message_unref(reply);
}

} // namespace

int main(int argc, char **argv)
{
    const bench::Report report(argc, argv);
    start_our_server();
    if (!report.counts_instructions()) {
        start_hand_server();
        start_zmq_server();
        start_nng_server();
        start_bus_server();
        g_hand.start("bench_request_client");
        start_zmq_client();
        start_nng_client();
        g_bus = bench::join_bus();
    }
    start_our_client();
    // One after others' work, and many in a row, which find what they need in the caches.
    static unsigned in_a_row;
    const auto asking = [](void (*ask_once)()) {
        return [ask_once] {
            for (unsigned i = 0; i < in_a_row; ++i) {
                ask_once();
            }
        };
    };
    report.race({"synchronous request, 8 bytes of answer, so many in a row",
                 {1, 50},
                 [](unsigned size) { return size; },
                 [](unsigned size) { in_a_row = size; },
                 {{"lterouter", asking(ask)},
                  {"by hand", asking(ask_by_hand), 1.25},
                  {"ZeroMQ", asking(ask_zmq), 0.6},
                  {"nng", asking(ask_nng), 0.4},
                  {"sd-bus", asking(ask_bus), 0.5}}});
    return 0;
}
