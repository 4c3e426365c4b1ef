// Counters out of the kernel's table of interfaces, compared with an implementation in memory. Input:
// the interface's name up to the first line feed, the table.
#include "lte_sdk/statistics.h"
#include "served_file.h"

#include <vector>

using namespace fuzzing;

namespace {

constexpr const char *kPath = "/proc/net/dev";
constexpr size_t kLineSize = 512;
constexpr size_t kNameSize = 16;
constexpr const char *kSpaces = " \t\n\v\f\r";

// A counter of either width; none where a layout has no such column.
struct Column {
    uint64_t if_stats::*wide = nullptr;
    uint32_t if_stats::*narrow = nullptr;
};

constexpr Column wide(uint64_t if_stats::*counter) { return {.wide = counter}; }
constexpr Column narrow(uint32_t if_stats::*counter) { return {.narrow = counter}; }

constexpr Column kRxBytes = wide(&if_stats::rx_bytes);
constexpr Column kRxPackets = wide(&if_stats::rx_packets);
constexpr Column kRxErrors = narrow(&if_stats::rx_errors);
constexpr Column kRxDropped = narrow(&if_stats::rx_dropped);
constexpr Column kRxFifo = narrow(&if_stats::rx_fifo_errors);
constexpr Column kRxFrame = narrow(&if_stats::rx_frame_errors);
constexpr Column kRxCompressed = narrow(&if_stats::rx_compressed);
constexpr Column kRxMulticast = narrow(&if_stats::rx_multicast);
constexpr Column kTxBytes = wide(&if_stats::tx_bytes);
constexpr Column kTxPackets = wide(&if_stats::tx_packets);
constexpr Column kTxErrors = narrow(&if_stats::tx_errors);
constexpr Column kTxDropped = narrow(&if_stats::tx_dropped);
constexpr Column kTxFifo = narrow(&if_stats::tx_fifo_errors);
constexpr Column kCollisions = narrow(&if_stats::collisions);
constexpr Column kTxCarrier = narrow(&if_stats::tx_carrier_errors);
constexpr Column kTxCompressed = narrow(&if_stats::tx_compressed);

// The columns of the table over the years, oldest first.
const std::vector<Column> kLayouts[] = {
    {kRxPackets, kRxErrors, kRxDropped, kRxFifo, kRxFrame, kTxPackets, kTxErrors, kTxDropped, kTxFifo,
     kCollisions, kTxCarrier},
    {kRxBytes, kRxPackets, kRxErrors, kRxDropped, kRxFifo, kRxFrame, kTxBytes, kTxPackets, kTxErrors,
     kTxDropped, kTxFifo, kCollisions, kTxCarrier},
    {kRxBytes, kRxPackets, kRxErrors, kRxDropped, kRxFifo, kRxFrame, kRxCompressed, kRxMulticast,
     kTxBytes, kTxPackets, kTxErrors, kTxDropped, kTxFifo, kCollisions, kTxCarrier, kTxCompressed},
};

static_assert(std::size(kLayouts) == lterouter::kNetDevLayouts, "a layout is missing here");

const std::vector<Column> &layout_of(const std::string &header)
{
    const bool has_compressed = header.find("compressed") != std::string::npos;
    return kLayouts[has_compressed ? 2 : header.find("bytes") != std::string::npos ? 1 : 0];
}

// The name that a line begins with, and the text with the counters. A name that cannot be used reads as
// empty, and all but the line's first character as the text.
std::string split_name(const std::string &line, std::string *counters)
{
    *counters = line.empty() ? line : line.substr(1);
    const size_t start = std::min(line.find_first_not_of(kSpaces), line.size());
    size_t end = line.find_first_of(std::string(":") + kSpaces, start);
    if (end == std::string::npos || line[end] != ':') {
        return "";
    }
    const size_t alias_end = line.find_first_not_of("0123456789", end + 1);
    if (alias_end != std::string::npos && line[alias_end] == ':') {
        end = alias_end;
    }
    if (end - start >= kNameSize) {
        return "";
    }
    *counters = line.substr(end + 1);
    return line.substr(start, end - start);
}

// Stops at what is no number.
if_stats parse_counters(const std::string &text, const std::vector<Column> &layout)
{
    if_stats stats = {};
    const char *rest = text.c_str();
    for (const Column &column : layout) {
        char *end;
        const unsigned long long number = strtoull(rest, &end, 10);
        if (end == rest) {
            break;
        }
        rest = end;
        if (column.wide != nullptr) {
            stats.*column.wide = number;
        } else {
            stats.*column.narrow = static_cast<uint32_t>(number);
        }
    }
    return stats;
}

// Zeros when there is no such interface.
if_stats find(std::string_view table, const std::string &wanted, bool *found)
{
    take_line(&table, kLineSize);
    const std::vector<Column> &layout = layout_of(text_of(take_line(&table, kLineSize)));
    while (!table.empty()) {
        std::string counters;
        const std::string line = text_of(take_line(&table, kLineSize));
        const std::string name = split_name(line, &counters);
        if (name == wanted) {
            *found = true;
            return parse_counters(counters, layout);
        }
    }
    *found = false;
    return {};
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    std::string_view table(reinterpret_cast<const char *>(data), size);
    const std::string name = take_first_line(&table);
    bool exists;
    const if_stats expected = find(table, name, &exists);

    const DescriptorCheck descriptors;
    const ServedFile served(kPath, table);
    const auto stats = std::make_unique<if_stats>();
    memset(stats.get(), 0xA5, sizeof(*stats));
    const int32_t result = lct_readlist_proc(text_copy_of(name).get(), stats.get());
    require(result == (exists ? 0 : -1), "the result is that of the lookup in memory");
    require((stats->uptime != 0) == exists, "an interface that is there comes with the uptime");
    stats->uptime = 0;
    require(memcmp(stats.get(), &expected, sizeof(expected)) == 0, "so are the counters");
    return 0;
}
