// A notification to 1, 8 and 32 subscribers, each a process of its own. Two races, since who publishes
// and those who are told share a CPU:
//
//   publishing   the publisher's call alone. The subscribers run with a policy that does not let them
//                take the CPU from it; before the next call it waits until all have been told. Beside
//                a loop of sendto over the subscribers' addresses, and beside sd-bus, which writes one
//                message, whoever gets it.
//   telling all  from the call until the last subscriber has been told, all with the same policy.
//                Beside the same loop, to subscribers that do select and recvfrom, and beside a signal
//                that a dbus-daemon passes on to those who asked for it, with sd-bus on both sides.
#include "lc_ipc_msg.h"
#include "support/bus.h"
#include "support/by_hand.h"
#include "support/measure.h"
#include "support/process.h"

#include <cstring>
#include <sched.h>
#include <string>
#include <vector>

namespace {

using bench::kNoteBody;
using bench::Note;
using bench::require;

const std::vector<unsigned> kSizes = {1, 8, 32};
constexpr unsigned kMost = 32;
constexpr uint32_t kTimeoutMs = 60000;

unsigned g_size;
uint64_t g_number; // of the notification; each subscriber is to be told the next

struct Shared {
    bench::Signal publisher_is_up;
    bench::Tally subscribed;
    bench::Tally told;
    int policy = SCHED_OTHER; // of the subscribers
};
Shared &g_shared = bench::make_shared_with_processes<Shared>();

void take_policy()
{
    static int taken = SCHED_OTHER;
    if (taken != g_shared.policy) {
        taken = g_shared.policy;
        const sched_param none = {};
        require(sched_setscheduler(0, taken, &none) == 0, "setting a policy");
    }
}

// In a subscriber, on the thread that receives.
void be_told(uint64_t number)
{
    take_policy();
    static uint64_t last = 0;
    require(number > last, "a notification newer than the one before");
    last = number;
    g_shared.told.add();
}

// For each number of subscribers there is a notification of its own: this one is told those of more
// than its index.
template <typename Subscribe> void subscribe_to_all(unsigned index, Subscribe subscribe)
{
    for (const unsigned size : kSizes) {
        if (index < size) {
            subscribe(size);
        }
    }
}

// Starts processes that do run(index), which subscribes and calls subscribed.add().
template <typename Run> void start_subscribers(Run run)
{
    for (unsigned index = 0; index < kMost; ++index) {
        bench::start_process([&] { run(index); });
    }
}

// ---- The library ----

constexpr uint32_t kFirstId = 0x60000000;

uint32_t handle(ipc_msg_hdr *msg, uint32_t)
{
    uint64_t number;
    memcpy(&number, ipc_msg_body(msg), sizeof(number));
    if (msg->type == IPC_MSG_TYPE_ASYNC) { // not the answer to a registration
        be_told(number);
    }
    return 0;
}

void run_our_subscriber(unsigned index)
{
    g_shared.publisher_is_up.await();
    ipc_addr publisher;
    require(ipc_msg_init(IPC_MODULE_CLI1, nullptr, handle, nullptr, 1) == IPC_SUCCESS &&
                ipc_get_addr_by_id(IPC_MODULE_MM, IPC_PRIORITY_COMMON, &publisher) == IPC_SUCCESS,
            "starting a subscriber");
    subscribe_to_all(index, [&](unsigned size) {
        require(ipc_register_notify(&publisher, kFirstId + size, kTimeoutMs) == IPC_SUCCESS,
                "ipc_register_notify");
    });
    g_shared.subscribed.add();
    bench::sleep_for_ever();
}

void start_publisher()
{
    require(ipc_msg_init(IPC_MODULE_MM, nullptr, nullptr, nullptr, 0) == IPC_SUCCESS, "ipc_msg_init");
    for (unsigned i = 0; i < kMost; ++i) {
        g_shared.publisher_is_up.give();
    }
}

void publish()
{
    Note note = {{IPC_MSG_TYPE_ASYNC, kFirstId + g_size, kNoteBody, 0}, ++g_number};
    require(ipc_msg_notify(&note.header, kNoteBody) == IPC_SUCCESS, "ipc_msg_notify");
}

// ---- By hand ----

std::string hand_name(unsigned index) { return "bench_notify_" + std::to_string(index); }

void run_hand_subscriber(unsigned index)
{
    const int fd = bench::by_hand::open_socket(hand_name(index));
    g_shared.subscribed.add();
    for (;;) {
        bench::by_hand::wait_for_datagram(fd);
        Note note;
        sockaddr_un sender;
        bench::by_hand::receive(fd, &note, sizeof(note), &sender);
        be_told(note.value);
    }
}

struct HandPublisher {
    int fd = bench::by_hand::open_socket("bench_notify_publisher");
    std::vector<sockaddr_un> subscribers;
};

void publish_by_hand()
{
    static const HandPublisher publisher = [] {
        HandPublisher made;
        for (unsigned index = 0; index < kMost; ++index) {
            made.subscribers.push_back(bench::by_hand::address_of(hand_name(index)));
        }
        return made;
    }();
    const Note note = {{IPC_MSG_TYPE_ASYNC, kFirstId, kNoteBody, 0}, ++g_number};
    for (unsigned i = 0; i < g_size; ++i) {
        bench::by_hand::send(publisher.fd, publisher.subscribers[i], &note, sizeof(note));
    }
}

// ---- sd-bus ----

constexpr char kBusPath[] = "/bench/publisher";
constexpr char kBusInterface[] = "bench.Publisher";
sd_bus *g_bus;

std::string signal_name(unsigned size) { return "Told" + std::to_string(size); }

int handle_signal(sd_bus_message *message, void *, sd_bus_error *)
{
    uint64_t number;
    require(sd_bus_message_read(message, "t", &number) >= 0, "reading a signal");
    be_told(number);
    return 0;
}

void run_bus_subscriber(unsigned index)
{
    sd_bus *const bus = bench::join_bus();
    subscribe_to_all(index, [&](unsigned size) {
        require(sd_bus_match_signal(bus, nullptr, nullptr, kBusPath, kBusInterface,
                                    signal_name(size).c_str(), handle_signal, nullptr) >= 0,
                "sd_bus_match_signal");
    });
    g_shared.subscribed.add();
    bench::handle_bus(bus);
}

void publish_on_bus()
{
    static const std::vector<std::string> names = [] {
        std::vector<std::string> made;
        for (unsigned size = 0; size <= kMost; ++size) {
            made.push_back(signal_name(size));
        }
        return made;
    }();
    require(sd_bus_emit_signal(g_bus, kBusPath, kBusInterface, names[g_size].c_str(), "t",
                               ++g_number) >= 0 &&
                sd_bus_flush(g_bus) >= 0,
            "sd_bus_emit_signal");
}

// ---- The races ----

void expect_telling()
{
    g_shared.told.await(); // the one before
    g_shared.told.expect(g_size);
}

bench::Contender publishing(const char *name, void (*publish)(), double goal)
{
    return {name, publish, goal, expect_telling};
}

bench::Contender telling_all(const char *name, void (*publish)(), double goal)
{
    const auto operation = [publish] {
        publish();
        g_shared.told.await();
    };
    return {name, operation, goal, expect_telling};
}

void set_size(unsigned size)
{
    g_shared.told.await();
    g_size = size;
}

void start_all(bool ours_only)
{
    g_shared.subscribed.expect(ours_only ? kMost : 3 * kMost);
    start_subscribers(run_our_subscriber);
    if (!ours_only) {
        start_subscribers(run_hand_subscriber);
        bench::start_bus();
        start_subscribers(run_bus_subscriber);
        g_bus = bench::join_bus();
    }
    start_publisher();
    g_shared.subscribed.await();
}

} // namespace

int main(int argc, char **argv)
{
    const bench::Report report(argc, argv);
    start_all(report.counts_instructions());
    const auto race = [&](const char *name, int policy,
                          const std::vector<bench::Contender> &contenders) {
        g_shared.policy = policy; // which each takes when it is told for the first time
        report.race({name, kSizes, bench::once, set_size, contenders});
    };
    race("notification: the publisher's call, subscribers", SCHED_BATCH,
         {publishing("lterouter", publish, 0), publishing("by hand", publish_by_hand, 1.15),
          publishing("sd-bus", publish_on_bus, 0.3)});
    race("notification: until all have it, subscribers", SCHED_OTHER,
         {telling_all("lterouter", publish, 0), telling_all("by hand", publish_by_hand, 1.15),
          telling_all("sd-bus", publish_on_bus, 0.3)});
    return 0;
}
