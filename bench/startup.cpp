// The client of the WAN manager from start to end: lct_module_init, which registers for three
// notifications, and lct_module_fin. A process stands in for the WAN manager and answers.
//
// By hand: the directory of the RAM parameters, a socket, a thread that receives, the same three
// requests and their answers, and a message to its own socket that ends the thread; and a server that
// does select, recvfrom and sendto.
#include "lc_ipc_msg.h"
#include "lc_nv.h"
#include "lte_sdk.h"
#include "support/by_hand.h"
#include "support/measure.h"
#include "support/process.h"

#include <atomic>
#include <cerrno>
#include <sys/stat.h>

namespace {

using bench::require;

constexpr uint32_t kNotifications[] = {WM_MSG_IFACE_STATUS_NOTIFY, WM_MSG_LINK_STATUS_NOTIFY,
                                       WM_MSG_MODEM_NOTIFY};

struct Shared {
    bench::Tally ready;
    std::atomic<unsigned> registrations = 0;
};
Shared &g_shared = bench::make_shared_with_processes<Shared>();

// ---- The library ----

// The client does not tell whether it was answered; this does.
uint32_t accept(uint32_t notify_id)
{
    require(notify_id == kNotifications[g_shared.registrations % std::size(kNotifications)],
            "the next registration");
    ++g_shared.registrations;
    return 1;
}

void run_our_server()
{
    require(ipc_msg_init(IPC_MODULE_MM, nullptr, nullptr, accept, 0) == IPC_SUCCESS, "ipc_msg_init");
    g_shared.ready.add();
    bench::sleep_for_ever();
}

uint32_t ignore(const lct_event *) { return 0; }

void start_and_end()
{
    static const lct_config config = {{}, ignore};
    const unsigned before = g_shared.registrations;
    require(lct_module_init(&config) == 0, "lct_module_init");
    require(g_shared.registrations == before + std::size(kNotifications), "three registrations");
    require(lct_module_fin() == 0, "lct_module_fin");
}

// ---- By hand ----

constexpr char kHandServer[] = "bench_startup_server";

void run_hand_server()
{
    const int fd = bench::by_hand::open_socket(kHandServer);
    g_shared.ready.add();
    bench::by_hand::serve(fd);
}

void start_and_end_by_hand()
{
    static const sockaddr_un server = bench::by_hand::address_of(kHandServer);
    static bench::by_hand::Client client;
    require(mkdir(NVMRAM_DIR, 0777) == 0 || errno == EEXIST, "making a directory");
    client.start("bench_startup_client");
    for (const uint32_t id : kNotifications) {
        require(client.ask(server, id) == id + 1, "a registration by hand");
    }
    client.stop();
}

} // namespace

int main(int argc, char **argv)
{
    const bench::Report report(argc, argv);
    g_shared.ready.expect(2);
    bench::start_process(run_our_server);
    bench::start_process(run_hand_server);
    g_shared.ready.await();
    report.race({"start and end, registrations",
                 {std::size(kNotifications)},
                 bench::once,
                 bench::nothing,
                 {{"lterouter", start_and_end}, {"by hand", start_and_end_by_hand, 1.2}}});
    return 0;
}
