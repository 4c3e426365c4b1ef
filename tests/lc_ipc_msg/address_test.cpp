#include "support/error_log.h"
#include "support/peer.h"

#include <algorithm>
#include <cstddef>
#include <dlfcn.h>
#include <fstream>
#include <iterator>

namespace address_test {

using namespace testing_support;

static_assert(sizeof(ipc_addr) == 116);
static_assert(offsetof(ipc_addr, priority) == 0 && offsetof(ipc_addr, sock) == 4);
static_assert(offsetof(ipc_addr, padding) == 114);

namespace {

ipc_addr dirty_record()
{
    ipc_addr addr;
    memset(&addr, 0xA5, sizeof(addr));
    return addr;
}

// Row by row: identifier, the two names in fields of 10 and 82 bytes, five numbers.
Bytes module_table()
{
    struct Row {
        const char *short_name;
        const char *process_name;
        uint32_t numbers[5];
    };
    const Row rows[] = {
        {"wm", "lc_wm", {2, 60000, 120000, 0, 1}}, {"mm", "lc_mm", {2, 60000, 120000, 0, 1}},
        {"cgi", "", {4, 0, 120000, 0, 1}},         {"cli1", "", {2, 0, 120000, 0, 1}},
        {"cli1", "", {4, 0, 120000, 0, 1}},        {"", "", {4, 0, 120000, 0, 1}},
        {"sms_pb", "", {4, 0, 120000, 0, 1}},      {"uptest", "", {4, 0, 120000, 0, 1}},
    };
    Bytes table;
    const auto append = [&table](Bytes bytes, size_t size) {
        bytes.resize(size);
        table.insert(table.end(), bytes.begin(), bytes.end());
    };
    uint32_t id = 0;
    for (const Row &row : rows) {
        append(word(id++), 4);
        append(text(row.short_name), 10);
        append(text(row.process_name), 82);
        for (const uint32_t number : row.numbers) {
            append(word(number), 4);
        }
    }
    return table;
}

// The file that the library was loaded from.
Bytes library_image()
{
    Dl_info info = {};
    EXPECT_NE(dladdr(dlsym(RTLD_DEFAULT, "ipc_get_addr_by_id"), &info), 0);
    std::ifstream file(info.dli_fname, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

} // namespace

TEST(Address, of_every_module_is_its_shared_socket_name_in_an_otherwise_zero_record_of_116_bytes)
{
    const char *names[] = {"lc_socket_wm_common",     "lc_socket_mm_common",    "lc_socket_cgi_common",
                           "lc_socket_cli1_common",   "lc_socket_cli1_common",  "lc_socket__common",
                           "lc_socket_sms_pb_common", "lc_socket_uptest_common"};
    for (uint32_t id = 0; id < 8; ++id) {
        Bytes expected(116);
        const uint16_t family = 1;
        memcpy(&expected[4], &family, sizeof(family));
        memcpy(&expected[7], names[id], strlen(names[id]));
        ipc_addr addr = dirty_record();
        EXPECT_EQ(ipc_get_addr_by_id(id, 0, &addr), IPC_SUCCESS);
        EXPECT_EQ(bytes_of(addr), expected) << names[id];
    }
}

TEST(Address, checks_priority_then_record_then_module)
{
    ErrorLog log;
    ipc_addr addr = dirty_record();
    EXPECT_EQ(ipc_get_addr_by_id(8, 1, nullptr), IPC_ERR_PARAM);
    EXPECT_EQ(log.lines(), Lines{from_msg("Para check failed! Para priority is 1.\n")});
    EXPECT_EQ(ipc_get_addr_by_id(8, 0, nullptr), IPC_ERR_PARAM);
    EXPECT_EQ(log.lines(), Lines{from_msg("Para check failed! Para addr is NULL.\n")});
    EXPECT_EQ(ipc_get_addr_by_id(8, 0, &addr), IPC_ERR_PARAM);
    EXPECT_EQ(log.lines(), Lines{from_msg("Para module_id invalid! module_id=&lu.\n")});
}

TEST(Address, every_priority_but_0_and_every_module_above_7_is_refused_and_the_record_untouched)
{
    ErrorLog log;
    const Bytes before = bytes_of(dirty_record());
    ipc_addr addr = dirty_record();
    for (const uint32_t priority : {1U, 2U, UINT32_MAX}) {
        EXPECT_EQ(ipc_get_addr_by_id(0, priority, &addr), IPC_ERR_PARAM) << priority;
        EXPECT_EQ(bytes_of(addr), before);
    }
    EXPECT_EQ(log.lines(), (Lines{from_msg("Para check failed! Para priority is 1.\n"),
                                  from_msg("Para check failed! Para priority is 2.\n"),
                                  from_msg("Para check failed! Para priority is 4294967295.\n")}));
    for (const uint32_t module_id : {8U, 9U, UINT32_MAX}) {
        EXPECT_EQ(ipc_get_addr_by_id(module_id, 0, &addr), IPC_ERR_PARAM) << module_id;
        EXPECT_EQ(bytes_of(addr), before);
    }
}

TEST(Address, is_silent_while_the_flag_file_is_absent)
{
    ErrorLog log;
    ErrorLog::switch_off();
    ipc_addr addr = {};
    EXPECT_EQ(ipc_get_addr_by_id(0, 1, &addr), IPC_ERR_PARAM);
    EXPECT_EQ(ipc_get_addr_by_id(0, 0, nullptr), IPC_ERR_PARAM);
    EXPECT_EQ(ipc_get_addr_by_id(8, 0, &addr), IPC_ERR_PARAM);
    EXPECT_EQ(log.lines(), Lines{});
}

// The columns that no operation reads are carried data: they must be in the library's image.
TEST(ModuleTable, carries_names_and_numbers_of_all_8_rows)
{
    const Bytes image = library_image();
    const Bytes table = module_table();
    EXPECT_NE(std::search(image.begin(), image.end(), table.begin(), table.end()), image.end());
}

} // namespace address_test
