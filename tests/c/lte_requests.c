/* The client's requests to the WAN manager: the messages sent, and the handling of answers. */
#include "lc_nv.h"

#include "../support/expected_requests.h"
#include "files.h"
#include "module.h"

#include <fcntl.h>

#define PRINTED "/tmp/printed"
#define VALUE 0x01020304u

/* What requests are made with, and what they fill in. */
static union {
    uint8_t bytes[LCT_IFACE_BODY_SIZE];
    lct_pin pin;
    lct_pin_change change;
    uint32_t word;
    lct_iface_status iface;
} given;

static union {
    uint8_t bytes[sizeof(lct_netlist_rsp)];
    lct_value_rsp value;
    lct_netlist_rsp list;
    char text[24];
    uint32_t word;
} out;

static int be_the_manager(int ready) { return be_module(WAN_MANAGER, ready, NULL); }

/* From now on: this result and VALUE, as far as they fit, and zeros. */
static void tell_answer(int32_t result, uint32_t size)
{
    const uint32_t words[] = {(uint32_t)result, VALUE};
    uint8_t answer[sizeof(lct_netlist_rsp) + 1] = {0};
    memcpy(answer, words, sizeof(words));
    tell(WAN_MANAGER, TELL_ANSWER, answer, size);
}

/* What the call printed to standard output, whatever it returned. */
static const char *printed_by(int32_t (*call)(void))
{
    static char text[2048];
    const int saved = dup(STDOUT_FILENO);
    const int file = open(PRINTED, O_RDWR | O_CREAT | O_TRUNC, 0600);
    ssize_t size;
    REQUIRE(saved >= 0 && file >= 0);
    fflush(stdout);
    dup2(file, STDOUT_FILENO);
    call();
    fflush(stdout);
    dup2(saved, STDOUT_FILENO);
    size = pread(file, text, sizeof(text) - 1, 0);
    close(file);
    close(saved);
    text[size > 0 ? size : 0] = '\0';
    return text;
}

/* ---- The requests that are answered ---- */

static int32_t enable_pin(void) { return lct_enable_pin(&given.pin); }
static int32_t disable_pin(void) { return lct_disenable_pin(&given.pin); }
static int32_t modify_pin(void) { return lct_modify_pin(&given.change); }
static int32_t modify_pin_en(void) { return lct_modify_pin_en(given.bytes); }
static int32_t set_pin_en(void) { return lct_sim_set_pinen_req(given.bytes); }
static int32_t set_nettype(void) { return lct_set_nettype(&given.word); }
static int32_t get_nettype(void) { return lct_get_nettype(&out.value); }
static int32_t set_roaming(void) { return lct_set_roam_switch(&given.word); }
static int32_t get_roaming(void) { return lct_get_roam_switch(&out.value); }
static int32_t set_port(void) { return lct_set_serial_port(given.word); }
static int32_t search(void) { return lct_get_netlist_req(&out.list); }
static int32_t get_imsi(void) { return lct_net_imsi_get_req(out.text, sizeof(out.text)); }
static int32_t set_preference(void) { return lct_net_set_pref_req(&given.word); }
static int32_t set_state(void) { return lct_net_set_status_test_req(&given.word); }
static int32_t get_channel(void) { return lct_lte_channel_req(&out.word); }

/* Results when the WAN manager refuses, when a byte is missing from its answer, of which a result of 4
 * bytes cannot do without, and with one too many. */
typedef struct request {
    const char *name;
    int32_t (*make)(void);
    uint32_t own_room; /* where it is the caller's */
    int32_t refused;
    int32_t too_short;
    int32_t too_long;
} request;

/* clang-format off */
static const request requests[] = {
    {"lct_enable_pin",                enable_pin,              0, -1, -1, -1},
    {"lct_disenable_pin",             disable_pin,             0, -1, -1, -1},
    {"lct_modify_pin",                modify_pin,              0, -1, -1, -1},
    {"lct_modify_pin_en",             modify_pin_en,           0, -1, -1, -1},
    {"lct_sim_set_pinen_req",         set_pin_en,              0,  0,  0, -1},
    {"lct_set_nettype",               set_nettype,             0, -1, -1, -1},
    {"lct_get_nettype",               get_nettype,             0, -1,  0, -1},
    {"lct_set_roam_switch",           set_roaming,             0, -1, -1, -1},
    {"lct_get_roam_switch",           get_roaming,             0, -1,  0, -1},
    {"lct_set_serial_port",           set_port,                0, -1, -1, -1},
    {"lct_get_netlist_req",           search,                  0, -1,  0, -1},
    {"lct_get_diag_info",             lct_get_diag_info,       0, -1, -1, -1},
    {"lct_get_diag_hide_info",        lct_get_diag_hide_info,  0, -1, -1, -1},
    {"lct_net_imsi_get_req",          get_imsi,               24,  0,  0, -1},
    {"lct_apn_set_req",               lct_apn_set_req,         0, -1, -1, -1},
    {"lct_net_set_pref_req",          set_preference,          0,  0,  0,  0},
    {"lct_net_set_status_test_req",   set_state,               0,  0,  0, -1},
    {"lct_lte_channel_req",           get_channel,             0, -1,  0, -1},
};
/* clang-format on */
#define REQUESTS (sizeof(requests) / sizeof(requests[0]))

/* The result of a request to a WAN manager that answers so. */
static void check_result(const request *row, int32_t result, uint32_t size, int32_t expected)
{
    tell_answer(result, size);
    check_int(row->make(), expected, __FILE__, __LINE__, row->name);
}

static void request_is_sent_and_its_answer_decides(void)
{
    for (size_t i = 0; i < REQUESTS; ++i) {
        const request *row = &requests[i];
        const ExpectedRequest told = expected_request(row->name);
        const uint32_t room = row->own_room != 0 ? row->own_room : told.room;
        check_result(row, 0, room, 0);
        check_last_message(WAN_MANAGER, told.msg_id, IPC_MSG_TYPE_REQUEST, given.bytes, told.body_most);
        check_result(row, 7, room, row->refused);
        check_result(row, 0, room - 1, row->too_short);
        check_result(row, 0, room + 1, row->too_long);
    }
}

static void request_to_nobody_fails(void)
{
    for (size_t i = 0; i < REQUESTS; ++i) {
        check_int(requests[i].make(), -1, __FILE__, __LINE__, requests[i].name);
    }
}

static void value_is_handed_out(void)
{
    tell_answer(0, sizeof(lct_value_rsp));
    memset(&out, 0xFF, sizeof(out));
    CHECK_INT(get_nettype(), 0);
    CHECK(out.value.result == 0 && out.value.value == VALUE);
    memset(&out, 0xFF, sizeof(out));
    CHECK_INT(get_roaming(), 0);
    CHECK(out.value.result == 0 && out.value.value == VALUE);
    CHECK_INT(get_channel(), 0);
    CHECK_INT(out.word, VALUE);
    tell_answer(7, sizeof(lct_value_rsp));
    CHECK_INT(get_channel(), -1);
    CHECK_INT(out.word, 0);
}

static void value_that_does_not_come_is_the_callers_own(void)
{
    tell_answer(0, sizeof(int32_t));
    memset(&out, 0xFF, sizeof(out));
    CHECK_INT(get_nettype(), 0);
    CHECK(out.value.result == 0 && out.value.value == 0xFFFFFFFFu);
    memset(&out, 0xFF, sizeof(out));
    CHECK_INT(get_roaming(), 0);
    CHECK(out.value.result == 0 && out.value.value == 0xFFFFFFFFu);
    memset(&out, 0xFF, sizeof(out));
    CHECK_INT(get_channel(), 0);
    CHECK_INT(out.word, 0);
}

static void imsi_is_handed_out_as_far_as_there_is_room(void)
{
    static const char answer[24] = "\0\0\0\0"
                                   "001010123456789";
    tell(WAN_MANAGER, TELL_ANSWER, answer, sizeof(answer));
    memset(&out, 0xFF, sizeof(out));
    CHECK_INT(lct_net_imsi_get_req(out.text, 8), -1);
    CHECK(memcmp(out.text, answer, 8) == 0);
    CHECK_INT(out.bytes[8], 0xFF);
    CHECK_INT(get_imsi(), 0);
    CHECK(memcmp(out.text, answer, sizeof(answer)) == 0);
}

static void operators_that_a_search_left_are_printed(void)
{
    static const char list[] = "2>Northern Cell,1,2,-3,4,5,6,7>Old Valley,8,9,10,11,12,13,14>";
    static const char printed[] =
        "sscanf:**Northern Cell,1,2,-3,4,5,6,7**\nsscanf:**Old Valley,8,9,10,11,12,13,14**\n"
        "nv value list:--------\n"
        "Northern Cell,1,2,-3,4,5,6,7\nOld Valley,8,9,10,11,12,13,14\n"
        ",0,0,0,0,0,0,0\n,0,0,0,0,0,0,0\n,0,0,0,0,0,0,0\n,0,0,0,0,0,0,0\n"
        ",0,0,0,0,0,0,0\n,0,0,0,0,0,0,0\n,0,0,0,0,0,0,0\n,0,0,0,0,0,0,0\n"
        "nv value list end--------\n";
    static const lct_netlist_rsp answer = {0, 0, {{"Northern Cell", 1, 2, {-3, 4, 5, 6, 7}}}};
    tell(WAN_MANAGER, TELL_ANSWER, &answer, sizeof(answer));
    CHECK_TEXT(printed_by(search), "read nv err\n");
    CHECK(memcmp(&out.list, &answer, sizeof(answer)) == 0);
    CHECK_INT(nvmram_writenv("wm_search_netlist_nv", list, 524), NV_SUCCESS);
    CHECK_TEXT(printed_by(search), printed);
    tell_answer(7, sizeof(answer));
    CHECK_TEXT(printed_by(search), printed); /* also then */
}

/* ---- AT commands ---- */

typedef struct at_answer {
    int32_t result;
    uint32_t type; /* 1: text is the path of a file that holds the answer */
    uint32_t length;
    char text[116];
} at_answer;

static int32_t ask_modem(void) { return lct_ext_at_req("AT+CSQ?", out.text, sizeof(out.text)); }

static void tell_at_answer(int32_t result, uint32_t type, const char *text)
{
    at_answer answer = {result, type, (uint32_t)strlen(text), ""};
    strcpy(answer.text, text);
    tell(WAN_MANAGER, TELL_ANSWER, &answer, sizeof(answer));
}

static void command_is_sent_with_what_ends_its_answer(void)
{
    struct {
        uint32_t numbers[4];
        char marker1[16];
        char marker2[16];
        char marker3[48];
        char command[8];
    } body = {{7, 0, 5000, 3}, "OK", "ERROR", "+CME ERROR", "AT+CSQ\r"};
    tell_at_answer(0, 0, "+CSQ: 23,99");
    CHECK_INT(ask_modem(), 0);
    CHECK_TEXT(out.text, "+CSQ: 23,99");
    check_last_message(WAN_MANAGER, WM_MSG_MODEM_AT_REQ, IPC_MSG_TYPE_REQUEST, &body, sizeof(body));
}

static void answer_is_cut_to_the_room_for_it(void)
{
    tell_at_answer(0, 0, "+CSQ: 23,99");
    memset(&out, 0xFF, sizeof(out));
    CHECK_INT(lct_ext_at_req("AT+CSQ?", out.text, 4), 0);
    CHECK(memcmp(out.text, "+CSQ\xFF", 5) == 0);
}

static void long_answer_is_a_file_which_is_printed(void)
{
    write_file("/tmp/answer", "AT\r\nATI\r\nOK\r\n");
    tell_at_answer(0, 1, "/tmp/answer");
    CHECK_TEXT(printed_by(ask_modem), "AT\r\nATI\r\nOK\r\n");
    CHECK_TEXT(out.text, "/tmp/answer");
    tell_at_answer(0, 1, "/tmp/absent");
    CHECK_INT(ask_modem(), 0);
}

static void command_that_fails_gives_no_text(void)
{
    strcpy(out.text, "before");
    tell_at_answer(-1, 0, "ERROR");
    CHECK_INT(ask_modem(), -1);
    CHECK_TEXT(out.text, "before");
}

/* ---- The requests that nobody answers ---- */

static void interface_and_radio_are_switched(void)
{
    CHECK_INT(lct_inface_status_req(&given.iface), 0);
    check_last_message(WAN_MANAGER, WM_MSG_IFACE_UPORDOWN_REQ, IPC_MSG_TYPE_ASYNC, &given.iface,
                       sizeof(given.iface));
    CHECK_INT(lct_at_cfun_off_req(), 0);
    check_last_message(WAN_MANAGER, WM_MSG_AT_CFUN_OFF_REQ, IPC_MSG_TYPE_ASYNC, "", 0);
}

/* ---- Values in the RAM store ---- */

static const struct {
    const char *name;
    const char *value;
    int32_t (*read)(char *buf, uint32_t size);
} parameters[] = {
    {"wm_wcdma_rssi_tmp", "23", lct_net_signal_level_get_req},
    {"wm_wcdma_imei_nv", "490154203237518", lct_net_imei_get_req},
    {"wm_wcdma_modem_status_tmp", "sim_ready", lct_sim_status_get_req},
};

static void stored_value_is_read(void)
{
    char text[16];
    for (size_t i = 0; i < sizeof(parameters) / sizeof(parameters[0]); ++i) {
        const char *value = parameters[i].value;
        CHECK_INT(parameters[i].read(text, sizeof(text)), -1);
        CHECK_INT(nvmram_writenv(parameters[i].name, value, sizeof(text)), NV_SUCCESS);
        CHECK_INT(parameters[i].read(text, sizeof(text)), 0);
        CHECK_TEXT(text, value);
        CHECK_INT(parameters[i].read(text, (uint32_t)strlen(value)), -1);
    }
}

static void syslog_is_switched_on_by_a_one(void)
{
    CHECK_INT(lct_get_syslog_switch_flg(), 0);
    CHECK_INT(nvmram_writenv("wm_syslog_switch_flg", "1", 2), NV_SUCCESS);
    CHECK_INT(lct_get_syslog_switch_flg(), 1);
    CHECK_INT(nvmram_writenv("wm_syslog_switch_flg", "0", 2), NV_SUCCESS);
    CHECK_INT(lct_get_syslog_switch_flg(), 0);
}

/* ---- Without a WAN manager ---- */

static void nothing_reaches_nobody(void)
{
    request_to_nobody_fails();
    CHECK_INT(ask_modem(), -1);
    CHECK_INT(lct_inface_status_req(&given.iface), -1);
    CHECK_INT(lct_at_cfun_off_req(), -1);
}

int main(void)
{
    static const lct_config config = {{0}, NULL};
    const pid_t manager = start_child(be_the_manager);
    REQUIRE(manager > 0);
    for (size_t i = 0; i < sizeof(given); ++i) {
        given.bytes[i] = (uint8_t)(i * 7 + 1);
    }
    REQUIRE(lct_module_init(&config) == 0);
    operators_that_a_search_left_are_printed();
    request_is_sent_and_its_answer_decides();
    value_is_handed_out();
    value_that_does_not_come_is_the_callers_own();
    imsi_is_handed_out_as_far_as_there_is_room();
    command_is_sent_with_what_ends_its_answer();
    answer_is_cut_to_the_room_for_it();
    long_answer_is_a_file_which_is_printed();
    command_that_fails_gives_no_text();
    interface_and_radio_are_switched();
    stored_value_is_read();
    syslog_is_switched_on_by_a_one();
    stop_module(WAN_MANAGER, manager);
    nothing_reaches_nobody();
    CHECK_INT(lct_module_fin(), 0);
    return check_end();
}
