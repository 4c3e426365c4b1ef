// The operator list of the last search, as the WAN manager leaves it in the RAM store: a head, then
// entries, each ended by ">".

#include "lte_sdk/core.h"

#include "lc_nv.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <iterator>

namespace lterouter {
namespace {

constexpr char kKey[] = LCT_PARAM_OPERATORS;
constexpr size_t kValueSize = 524;
constexpr size_t kEntrySize = 64;
constexpr size_t kEntries = 10;

static_assert(sizeof(lct_operator) == 40);
static_assert(sizeof(lct_netlist_rsp) == 408 && sizeof(lct_netlist_rsp::operators) == 40 * kEntries);

// Missing fields keep their values in the entry.
void parse_entry(const char *text, lct_operator *entry)
{
    char name[kEntrySize];
    int32_t *const number = entry->numbers;
    const int fields = sscanf(text,
                              "%63[^,],%" SCNu16 ",%" SCNu16 ",%" SCNd32 ",%" SCNd32 ",%" SCNd32
                              ",%" SCNd32 ",%" SCNd32,
                              name, &entry->first, &entry->second, &number[0], &number[1], &number[2],
                              &number[3], &number[4]);
    if (fields > 0) {
        snprintf(entry->name, sizeof(entry->name), "%.15s", name);
    }
}

void print_entry(const lct_operator &entry)
{
    const int32_t *const number = entry.numbers;
    printf("%s,%" PRIu16 ",%" PRIu16 ",%" PRId32 ",%" PRId32 ",%" PRId32 ",%" PRId32 ",%" PRId32 "\n",
           entry.name, entry.first, entry.second, number[0], number[1], number[2], number[3],
           number[4]);
}

} // namespace
} // namespace lterouter

using namespace lterouter;

void netlist_nv()
{
    char value[kValueSize];
    if (nvmram_readnv(kKey, value, sizeof(value)) != NV_SUCCESS) {
        puts("read nv err");
        return;
    }
    if (value[0] == '\0' || strcmp(value, "end") == 0) {
        printf("nv value:**%s**\n", value);
        return;
    }
    lct_operator entries[kEntries] = {};
    const char *text = strchr(value, '>');
    for (lct_operator *entry = entries;
         text != nullptr && text[1] != '\0' && entry != std::end(entries); ++entry) {
        const char *start = text + 1;
        text = strchr(start, '>');
        char piece[kEntrySize];
        const size_t length = text == nullptr ? strlen(start) : static_cast<size_t>(text - start);
        snprintf(piece, sizeof(piece), "%.*s", static_cast<int>(length), start);
        printf("sscanf:**%s**\n", piece);
        parse_entry(piece, entry);
    }
    puts("nv value list:--------");
    std::for_each(std::begin(entries), std::end(entries), print_entry);
    puts("nv value list end--------");
}
