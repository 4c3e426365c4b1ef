// Traffic counters of an interface from /proc/net/dev, in any of the three layouts it has had.

#include "lte_sdk/statistics.h"

#include "lc_file/stream.h"
#include "support/layout.h"

#include <cctype>
#include <cinttypes>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <sys/sysinfo.h>

namespace lterouter {
namespace {

constexpr size_t kLineSize = 512;

// The host shares this record in memory.
static_assert(offsetof(if_stats, rx_errors) == 32 && offsetof(if_stats, rx_length_errors) == 64);
static_assert(offsetof(if_stats, uptime) == 108 && sizeof(if_stats) == 112);

// One conversion for each counter of the record, so that one sscanf with the same arguments reads every
// layout. For a counter that a layout lacks it is a %n of the counter's width, which consumes no input;
// it is zeroed afterwards.
#define N "%jn"
#define L "%" SCNu64
#define U "%" SCNu32
constexpr const char *ss_fmt[] = {
    N L U U U U "%n%n" N L U U U U U,
    L L U U U U "%n%n" L L U U U U U,
    L L U U U U U U L L U U U U U U,
};
#undef N
#undef L
#undef U

} // namespace
} // namespace lterouter

using namespace lterouter;

unsigned procnetdev_version(const char *header)
{
    return strstr(header, "compressed") != nullptr ? 2 : strstr(header, "bytes") != nullptr ? 1 : 0;
}

const char *get_name(char (&name)[kIfNameSize], const char *line)
{
    const auto space = [](char c) { return isspace(static_cast<unsigned char>(c)) != 0; };
    const char *start = line;
    while (space(*start)) {
        ++start;
    }
    const char *end = start;
    while (*end != '\0' && *end != ':' && !space(*end)) {
        ++end;
    }
    if (*end == ':') {
        const char *alias = end + 1;
        while (isdigit(static_cast<unsigned char>(*alias)) != 0) {
            ++alias;
        }
        if (*alias == ':') {
            end = alias;
        }
    }
    const auto length = static_cast<size_t>(end - start);
    if (*end != ':' || length >= sizeof(name)) {
        name[0] = '\0';
        return *line == '\0' ? line : line + 1;
    }
    memcpy(name, start, length);
    name[length] = '\0';
    return end + 1;
}

void get_dev_fields(const char *text, if_stats *stats, unsigned version)
{
    memset(stats, 0, sizeof(*stats));
    sscanf(text, ss_fmt[version], &stats->rx_bytes, &stats->rx_packets, &stats->rx_errors,
           &stats->rx_dropped, &stats->rx_fifo_errors, &stats->rx_frame_errors, &stats->rx_compressed,
           &stats->rx_multicast, &stats->tx_bytes, &stats->tx_packets, &stats->tx_errors,
           &stats->tx_dropped, &stats->tx_fifo_errors, &stats->collisions, &stats->tx_carrier_errors,
           &stats->tx_compressed);
    if (version < 2) {
        stats->rx_multicast = stats->rx_compressed = stats->tx_compressed = 0;
    }
    if (version < 1) {
        stats->rx_bytes = stats->tx_bytes = 0;
    }
}

uint32_t get_uptime()
{
    struct sysinfo info = {};
    sysinfo(&info);
    return static_cast<uint32_t>(info.uptime);
}

int32_t lct_readlist_proc(const char *ifname, if_stats *stats)
{
    if (ifname == nullptr) {
        return -1;
    }
    const Stream file(lc_fopen("/proc/net/dev", "re"));
    if (!file) {
        return -1;
    }
    char line[kLineSize];
    line[0] = '\0';
    lc_fgets(line, sizeof(line), file.get());
    lc_fgets(line, sizeof(line), file.get());
    const unsigned version = procnetdev_version(line);
    while (lc_fgets(line, sizeof(line), file.get()) != nullptr) {
        char name[kIfNameSize];
        const char *fields = get_name(name, line);
        get_dev_fields(fields, stats, version);
        if (strcmp(name, ifname) == 0) {
            stats->uptime = get_uptime();
            return 0;
        }
    }
    memset(stats, 0, sizeof(*stats));
    return -1;
}
