// stats: traffic counters of an interface. They need no WAN manager.

#include "common/completion.h"
#include "common/program.h"
#include "common/record.h"
#include "lte_sdk.h"
#include "ltectl/commands.h"

#include <unistd.h>

namespace lterouter::tools {
namespace {

bool g_watch = false;
uint32_t g_count = 0; // 0: no limit

// Bytes since the last reading; none at the first.
struct Rates {
    bool known;
    uint64_t rx;
    uint64_t tx;
};

void show(const char *ifname, const if_stats &stats, const Rates &rates)
{
    const struct {
        const char *name;
        uint64_t value;
    } counters[] = {
        {"rx_bytes", stats.rx_bytes},
        {"tx_bytes", stats.tx_bytes},
        {"rx_packets", stats.rx_packets},
        {"tx_packets", stats.tx_packets},
        {"rx_errors", stats.rx_errors},
        {"tx_errors", stats.tx_errors},
        {"rx_dropped", stats.rx_dropped},
        {"tx_dropped", stats.tx_dropped},
        {"rx_multicast", stats.rx_multicast},
        {"collisions", stats.collisions},
        {"rx_compressed", stats.rx_compressed},
        {"tx_compressed", stats.tx_compressed},
        {"rx_fifo_errors", stats.rx_fifo_errors},
        {"tx_fifo_errors", stats.tx_fifo_errors},
        {"rx_frame_errors", stats.rx_frame_errors},
        {"tx_carrier_errors", stats.tx_carrier_errors},
        {"uptime", stats.uptime},
    };
    Record record;
    record.event("stats").word("interface", ifname);
    for (const auto &counter : counters) {
        record.number(counter.name, static_cast<int64_t>(counter.value));
    }
    if (rates.known) {
        record.number("rx_bytes_per_second", static_cast<int64_t>(rates.rx))
            .number("tx_bytes_per_second", static_cast<int64_t>(rates.tx));
    }
}

} // namespace

const Option kStatsOptions[] = {
    {"watch", nullptr, "again every second, until Ctrl-C", &kSwitch, &g_watch},
    {"count", "N", "with --watch, end after N lines", &kCount, &g_count},
    {},
};

void offer_interface(Offer &offer, const char *const *before)
{
    if (before[0] == nullptr) {
        offer.add_interfaces();
    }
}

int show_stats(char *const *operands)
{
    const char *ifname = operands[0];
    if_stats last = {};
    for (uint32_t shown = 0; g_count == 0 || shown < g_count; ++shown) {
        if_stats stats;
        if (lct_readlist_proc(ifname, &stats) != 0) {
            return fail(kFailed, "there is no interface \"%s\" in /proc/net/dev", ifname);
        }
        show(ifname, stats,
             {shown != 0, stats.rx_bytes - last.rx_bytes, stats.tx_bytes - last.tx_bytes});
        last = stats;
        // The second line has every field; without the one asked for nothing would ever be printed.
        const bool never_prints = shown != 0 && !missing_field().empty();
        if (!g_watch || output_error() != 0 || never_prints) {
            break;
        }
        if (shown + 1 != g_count) {
            sleep(1);
        }
    }
    return kDone;
}

} // namespace lterouter::tools
