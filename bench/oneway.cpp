// Asynchronous messages, one way: bursts from a process to a handler of this one, until the handler has
// had the last of a burst.
//
//   by hand              a loop of sendto, and one of recvfrom with 1 KiB allocated for each datagram
//   by hand with select  waits with select before each recvfrom, as the library's receive thread does
#include "lc_ipc_msg.h"
#include "support/by_hand.h"
#include "support/measure.h"
#include "support/process.h"

#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

using bench::require;

constexpr unsigned kBurst = 1000;

// What the receiver wants, and of which sender.
struct Sender {
    bench::Signal wanted;
    uint32_t body_len = 0;
};

struct Message {
    ipc_msg_hdr header;
    uint8_t body[IPC_MSG_MAX_BODY];
};
static_assert(sizeof(Message) == IPC_MSG_MAX_SIZE);

// Every message of a burst starts with its number.
uint32_t number_of(const uint8_t *body)
{
    uint32_t number;
    memcpy(&number, body, sizeof(number));
    return number;
}

// Answers each wish with a burst.
template <typename Send> [[noreturn]] void send_bursts(Sender &sender, Send send)
{
    static Message message;
    for (;;) {
        sender.wanted.await();
        for (uint32_t i = 0; i < kBurst; ++i) {
            message.header = {IPC_MSG_TYPE_ASYNC, 0x50000001, sender.body_len, 0};
            memcpy(message.body, &i, sizeof(i));
            send(message);
        }
    }
}

// ---- The library ----

Sender &g_our_sender = bench::make_shared_with_processes<Sender>();
bench::Signal &g_complete = bench::make_shared_with_processes<bench::Signal>();

void start_our_sender()
{
    bench::start_process([] {
        ipc_addr receiver;
        require(ipc_msg_init(IPC_MODULE_CLI1, nullptr, nullptr, nullptr, 1) == IPC_SUCCESS &&
                    ipc_get_addr_by_id(IPC_MODULE_MM, IPC_PRIORITY_COMMON, &receiver) == IPC_SUCCESS,
                "starting the sender");
        send_bursts(g_our_sender, [&](Message &message) {
            require(ipc_msg_send_asy(&receiver, &message.header, message.header.length) == IPC_SUCCESS,
                    "ipc_msg_send_asy");
        });
    });
}

uint32_t handle(ipc_msg_hdr *msg, uint32_t)
{
    static uint32_t expected = 0;
    require(number_of(static_cast<const uint8_t *>(ipc_msg_body(msg))) == expected, "the next message");
    expected = (expected + 1) % kBurst;
    if (expected == 0) {
        g_complete.give();
    }
    return 0;
}

void receive_burst()
{
    g_our_sender.wanted.give();
    g_complete.await();
}

// ---- By hand ----

constexpr char kHandReceiver[] = "bench_oneway_receiver";
Sender &g_hand_sender = bench::make_shared_with_processes<Sender>();

void start_hand_sender()
{
    bench::start_process([] {
        const int fd = bench::by_hand::open_socket("bench_oneway_sender");
        const sockaddr_un receiver = bench::by_hand::address_of(kHandReceiver);
        send_bursts(g_hand_sender, [&](const Message &message) {
            bench::by_hand::send(fd, receiver, &message, sizeof(ipc_msg_hdr) + message.header.length);
        });
    });
}

struct Free {
    void operator()(void *block) const { free(block); }
};

void receive_by_hand(int fd, uint32_t expected)
{
    const std::unique_ptr<Message, Free> message(static_cast<Message *>(malloc(sizeof(Message))));
    sockaddr_un sender;
    bench::by_hand::receive(fd, message.get(), sizeof(Message), &sender);
    require(number_of(message->body) == expected, "the next message by hand");
}

template <typename Wait> void receive_burst_by_hand(int fd, Wait wait)
{
    g_hand_sender.wanted.give();
    for (uint32_t i = 0; i < kBurst; ++i) {
        wait(fd);
        receive_by_hand(fd, i);
    }
}

} // namespace

int main(int argc, char **argv)
{
    const bench::Report report(argc, argv);
    const int fd = bench::by_hand::open_socket(kHandReceiver);
    start_our_sender();
    start_hand_sender();
    require(ipc_msg_init(IPC_MODULE_MM, nullptr, handle, nullptr, 0) == IPC_SUCCESS, "ipc_msg_init");
    report.race({"asynchronous message, bytes of body",
                 {8, IPC_MSG_MAX_BODY},
                 [](unsigned) { return kBurst; },
                 [](unsigned size) { g_our_sender.body_len = g_hand_sender.body_len = size; },
                 {{"lterouter", receive_burst},
                  {"by hand", [&] { receive_burst_by_hand(fd, [](int) {}); }, 1.25},
                  {"by hand with select",
                   [&] { receive_burst_by_hand(fd, bench::by_hand::wait_for_datagram); }, 1.25}}});
    return 0;
}
