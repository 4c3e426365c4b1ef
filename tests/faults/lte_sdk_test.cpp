// Effects of failing calls in the client of the WAN manager.
#include "receive.h"

#include "lc_nv.h"
#include "lte_sdk.h"
#include "support/expected_requests.h"
#include "support/peer.h"
#include "support/text_file.h"

namespace lte_sdk_test {

using namespace faults;
using testing_support::Peer;
using testing_support::read_text;
using testing_support::WireMessage;
using testing_support::write_text;

namespace {

constexpr char kNoMemory[] = "Malloc memory failed.";
const std::string &kNoWaiter = kNoMessage;
const std::string kNoSend = err("Send failed! errno is %e.");
constexpr char kNotSent[] = "ipc msg send failure.";
constexpr char kAtFile[] = "/tmp/answer";

Rule memory(int nth, const std::string &result, const Lines &said)
{
    return {.call = "mem_malloc_ex", .result = result, .said = said, .nth = nth};
}

Rule sending(const std::string &result, Lines said, int nth = 0)
{
    said.insert(said.begin(), kNoSend);
    return {.call = "sendto", .result = result, .said = std::move(said), .nth = nth};
}

// Without the time every deadline has passed.
Rule timing_out(const std::string &result, Lines said, int nth = 0)
{
    said.insert(said.begin(), err("Sending sync message timeout occured!"));
    return {.call = "gettimeofday", .result = result, .said = std::move(said), .nth = nth};
}

// ---- The other modules: they answer who waits for it ----

std::unique_ptr<Peer> g_wan_manager;
std::unique_ptr<Peer> g_sms_store;
bool g_answer_is_file = false;
size_t g_pin_answer_size = 4;

template <typename Word> void put_word(std::vector<uint8_t> *body, size_t index, Word word)
{
    memcpy(body->data() + index * sizeof(word), &word, sizeof(word));
}

size_t room_of(uint32_t msg_id)
{
    for (const auto &request : testing_support::kExpectedRequests) {
        if (request.msg_id == msg_id) {
            return request.room;
        }
    }
    return sizeof(int32_t);
}

// As long as the request has room for, with a good result.
std::vector<uint8_t> answer_to(uint32_t msg_id)
{
    switch (msg_id) {
    case WM_MSG_MODEM_AT_REQ: {
        std::vector<uint8_t> body(64);
        put_word(&body, 1, g_answer_is_file ? 1U : 0U);
        const char *text = g_answer_is_file ? kAtFile : "OK";
        memcpy(body.data() + 12, text, strlen(text));
        return body;
    }
    case WM_MSG_PIN_MODIFY_EN_REQ:
        return std::vector<uint8_t>(g_pin_answer_size);
    case WM_MSG_IMSI_GET_REQ:
        return std::vector<uint8_t>(16, '1');
    default:
        break;
    }
    std::vector<uint8_t> body(room_of(msg_id));
    if (body.size() == sizeof(lct_value_rsp)) {
        put_word(&body, 1, 5U);
    }
    return body;
}

void answer(Peer *peer)
{
    WireMessage request;
    while (peer != nullptr && peer->receive(&request, 0)) {
        if (request.header.type == IPC_MSG_TYPE_REQUEST) {
            peer->respond(request, answer_to(request.header.msg_id));
        }
    }
}

void start_modules()
{
    g_wan_manager = std::make_unique<Peer>(testing_support::kWanManagerSocket);
    g_sms_store = std::make_unique<Peer>(testing_support::kSmsStoreSocket);
    g_hooks.wait = [] {
        answer(g_wan_manager.get());
        answer(g_sms_store.get());
    };
}

void stop_modules()
{
    g_wan_manager = nullptr;
    g_sms_store = nullptr;
}

// ---- The client ----

const lct_config kConfig = {{}, [](const lct_event *) { return uint32_t{0}; }};

void start_client()
{
    start_modules();
    inside([] { EXPECT_EQ(lct_module_init(&kConfig), 0); });
}

void stop_client()
{
    lct_module_fin();
    stop_modules();
}

// Without the stop message that could not be sent the receive thread is waited for until another comes.
void stop_again()
{
    if (!g_record->fired || g_wan_manager == nullptr) {
        return;
    }
    ipc_msg_hdr stop = {0, IPC_MSG_ID_STOP, 0, 0};
    ipc_addr own = {};
    own.sock = testing_support::abstract_address(testing_support::client_socket_name(getpid()));
    ipc_msg_send_asy(&own, &stop, 0);
}

void put_parameter(const char *name, const char *value)
{
    mkdir(NVMRAM_DIR, 0777);
    write_text(std::string(NVMRAM_DIR) + name, value + std::string(1, '\0'));
}

bool g_started = false;

// A client that runs is not started again.
std::string started()
{
    if (g_started) {
        const Quiet quiet;
        lct_module_fin();
    }
    const int32_t result = lct_module_init(&kConfig);
    g_started = result == 0;
    return shown(result);
}

// ---- The host ----

std::atomic<int> g_events{0};

const lct_config kHost = {{}, [](const lct_event *) {
                              ++g_events;
                              return uint32_t{0};
                          }};

void start_client_of_host()
{
    start_modules();
    inside([] { EXPECT_EQ(lct_module_init(&kHost), 0); });
    EXPECT_TRUE(rests());
    write_text("/tmp/ltelog.1", std::string(262144, 'x'));
}

lct_link_status link()
{
    lct_link_status status = {};
    status.iface_type = LCT_IFACE_TYPE_WCDMA;
    status.link_status = LCT_LINK_CONNECTED;
    status.ip_status = 1;
    strcpy(status.interface_name, "wwan0");
    return status;
}

const Lines kHeard = {"WM_MSG_LINK_STATUS_NOTIFY",
                      "link status:WM_CONNECTED WM_IP_UP WM_WCDMA",
                      "interface:wwan0",
                      "ip:",
                      "gateway:",
                      "dns1:",
                      "dns2:",
                      "mask:"};

std::string events_after(uint32_t msg_id, const std::vector<uint8_t> &body)
{
    g_events = 0;
    g_wan_manager->send(
        testing_support::abstract_address(testing_support::client_socket_name(getpid())),
        {IPC_MSG_TYPE_ASYNC, msg_id, 0, 0}, body);
    rests();
    return shown(g_events.load()) + " events";
}

// ---- Scenarios ----

// A request of the started client.
Scenario of_client(const char *function, std::function<std::string()> act, Rules rules)
{
    return {.function = function,
            .act = std::move(act),
            .rules = std::move(rules),
            .setup = start_client,
            .undo = stop_client};
}

// What comes of a synchronous request that cannot be made: lines of the layers below, and the last its
// own.
Rules not_delivered(const std::string &result, const Lines &last)
{
    const auto with = [&last](const std::string &line) {
        Lines lines = {line};
        lines.insert(lines.end(), last.begin(), last.end());
        return lines;
    };
    return {memory(1, result, with(kNoMemory)),
            memory(2, result, with(kNoMemory)),
            memory(3, result, with(kNoWaiter)),
            memory(4, result, with(kNoWaiter)),
            sending(result, last),
            timing_out(result, last)};
}

// Of the answer it says so much, if anything.
template <typename Act>
Scenario request(const char *function, Act act, const char *line = kNotSent, const Lines &answer = {})
{
    return of_client(
        function, [act] { return shown(act()); }, losing(not_delivered("-1", {line}), answer));
}

// A value that the WAN manager keeps in the RAM store.
template <typename Act> Scenario of_value(const char *function, const char *parameter, Act act)
{
    return {.function = function,
            .act =
                [act] {
                    char value[32] = "";
                    const int32_t result = act(value, 32);
                    return shown(result) + " " + value;
                },
            .rules = {{.call = "open64", .result = "-1 "},
                      {.call = "read", .result = "0 ", .how = {"short"}},
                      {.call = "read", .result = "-1 "}},
            .setup = [parameter] { put_parameter(parameter, "value"); }};
}

template <typename Act> Scenario name(const char *function, Act act)
{
    return calls_nothing(function, [act] { return std::string(act(1)); });
}

const lct_pin kPin = {"1234"};
const lct_pin_change kPins = {"1234", "4321"};
const uint8_t kOn = 1;
const uint32_t kWord = 1;
const lct_iface_status kIface = {0, 1, {}};
lct_value_rsp g_value;
lct_netlist_rsp g_list;
char g_text[64];

// The endpoint, from its n-th allocation on; the result is the client's.
Rules endpoint_fails(int nth, const std::string &result, const Lines &said)
{
    const auto with = [&said](const std::string &line) {
        Lines lines = {line};
        lines.insert(lines.end(), said.begin(), said.end());
        return lines;
    };
    return {memory(nth, result, with(err("Create list failed!"))),
            memory(nth + 1, result, with(err("Create list failed!"))),
            memory(nth + 2, result, with(err("Start message receiving thread failed! ret=12."))),
            {.call = "socket",
             .result = result,
             .said = with(err("Create socket common failed! errno is %e."))},
            {.call = "bind",
             .result = result,
             .said = with(err("Bind socket common failed! errno is %e."))},
            {.call = "pthread_create",
             .result = result,
             .said = with(err("Start message receiving thread failed! ret=%e."))}};
}

// Three registrations, whose failures are only said.
Rules registrations_fail(int nth)
{
    const Lines lost = {kNoWaiter, err("Send notify register failed! sret=11.")};
    Rules rules;
    for (int i = nth; i < nth + 12; i += 4) {
        rules = rules + Rules{memory(i, "", {kNoWaiter}), memory(i + 1, "", {kNoWaiter}),
                              memory(i + 2, "", lost), memory(i + 3, "", lost)};
    }
    rules.push_back(sending("", {err("Send notify register failed! sret=10.")}));
    // The answer to one that was given up comes during the next, and is dropped.
    const std::string late = err("Receive common priority message failed! sret=4.");
    rules.push_back(timing_out("", {err("Send notify register failed! sret=7.")}, 3));
    rules.push_back(timing_out("", {err("Send notify register failed! sret=7."), late}));
    return rules;
}

std::string nothing() { return ""; }

// How many deregistrations have reached the WAN manager.
std::string deregistered()
{
    const Quiet quiet;
    int count = 0;
    for (WireMessage message; g_wan_manager->receive(&message, 0);) {
        count += message.header.msg_id == IPC_MSG_ID_DEREGISTER ? 1 : 0;
    }
    return shown(count);
}

const bool g_core = enlist({
    {.function = "lct_module_init",
     .act = started,
     // What was made before a step that fails stays: the list of the queues, the queue.
     .rules = Rules{{.call = "mkdir", .result = "0", .how = {"EEXIST"}},
                    {.call = "mkdir", .result = "-1", .said = {"init radom nv failed"}},
                    memory(1, "-1", {err("Create list failed!"), "ipc_mq_create err"})} +
              keeping(1, Rules{memory(2, "-1", {kNoWaiter, "ipc_mq_create err"}),
                            memory(3, "-1", {err("Create list failed!"), "ipc_mq_create err"}),
                            memory(4, "-1", {kNoWaiter, "ipc_mq_create err"})}) +
              keeping(4, endpoint_fails(5, "11", {"ipc init failled, ret=11"})) +
              registrations_fail(8),
     .setup = start_modules,
     .undo = stop_client},
    // The first line turns the trace over. One that fails keeps nothing from the host.
    {.function = "lct_module_init",
     .story = "tells_the_host",
     .act = [] { return events_after(WM_MSG_LINK_STATUS_NOTIFY, testing_support::bytes_of(link())); },
     .rules = receive_fails(sizeof(lct_link_status), "0 events", {}, kHeard),
     .setup = start_client_of_host,
     .undo = stop_client,
     .role = Role::kLibrary},
    {.function = "lct_module_fin",
     .act = [] { return shown(lct_module_fin()); },
     .rules = {memory(1, "0", {}), sending("0", {})},
     .setup =
         [] {
             start_client();
             g_hooks.join = stop_again;
         },
     .undo = stop_client},
    of_client(
        "regnotify",
        [] {
            regnotify();
            return nothing();
        },
        registrations_fail(1)),
    // One that fails keeps nothing from the others.
    of_client(
        "lct_deregister",
        [] {
            lct_deregister();
            return deregistered();
        },
        {{.call = "mem_malloc_ex", .result = "2", .said = {kNoMessage}},
         sending("2", {err("Send notify deregister failed! sret=10.")})}),
    of_client("send_request", [] { return shown(send_request(IPC_MODULE_MM, 7, &kWord, 4)); },
              {memory(1, "0", {kNoMemory}), sending("0", {})}),
    of_client(
        "send_request_syn",
        [] {
            uint32_t result = 9;
            uint32_t length = 4;
            const uint32_t sent = send_request_syn(IPC_MODULE_MM, 7, &kWord, 4, 5000, &result, &length);
            return shown(sent) + " " + shown(result);
        },
        not_delivered("0 9", {})),
    of_client("send_notify", [] { return shown(send_notify(7, &kWord, 4)); },
              {memory(1, "0", {kNoMemory})}),
    // What comes of them the host learns otherwise.
    of_client("lct_connect", [] { return shown(lct_connect()); },
              {memory(1, "0", {kNoMemory}), sending("0", {})}),
    of_client("lct_disconnect", [] { return shown(lct_disconnect()); },
              {memory(1, "0", {kNoMemory}), sending("0", {})}),
});

const bool g_requests = enlist({
    request("lct_enable_pin", [] { return lct_enable_pin(&kPin); }),
    request("lct_disenable_pin", [] { return lct_disenable_pin(&kPin); }),
    request("lct_modify_pin", [] { return lct_modify_pin(&kPins); }),
    request("lct_modify_pin_en", [] { return lct_modify_pin_en(&kOn); }),
    request("lct_set_nettype", [] { return lct_set_nettype(&kWord); }),
    request("lct_get_nettype", [] { return lct_get_nettype(&g_value); }),
    request("lct_set_roam_switch", [] { return lct_set_roam_switch(&kWord); }),
    request("lct_get_roam_switch", [] { return lct_get_roam_switch(&g_value); }, kNotSent,
            {"get roam switch value:5"}),
    request("lct_set_serial_port", [] { return lct_set_serial_port(1); }),
    request(
        "lct_get_diag_info", [] { return lct_get_diag_info(); }, "result error."),
    request(
        "lct_get_diag_hide_info", [] { return lct_get_diag_hide_info(); }, "result error."),
    request(
        "lct_apn_set_req", [] { return lct_apn_set_req(); }, "ipc result of request msg error:1"),
    request(
        "lct_net_set_pref_req", [] { return lct_net_set_pref_req(&kWord); },
        "call WM_MSG_DUALMODE_SET_PREF_REQ failed ret:0 rsp:1"),
    request(
        "lct_net_set_status_test_req", [] { return lct_net_set_status_test_req(&kWord); },
        "call SC_STATE_CHANGE_REQ failed ret:0 rsp:1"),
    request(
        "lct_net_imsi_get_req", [] { return lct_net_imsi_get_req(g_text, 16); },
        "need more length buffer to put."),
    request("lct_ext_at_req", [] { return lct_ext_at_req("AT\n", g_text, sizeof(g_text)); },
            "call WM_MSG_MODEM_AT_REQ failed. ret=0 rsp->err_code=3", {"rsp_len:0", "type:0", "OK"}),
    {.function = "lct_sim_set_pinen_req",
     .act = [] { return shown(lct_sim_set_pinen_req(&kOn)); },
     .rules = not_delivered("-1", {"call WM_MSG_PIN_MODIFY_EN_REQ failed ret:0 rsp:1"}),
     .setup =
         [] {
             g_pin_answer_size = 1;
             start_client();
         },
     .undo = stop_client},
    of_client(
        "lct_lte_channel_req",
        [] {
            uint32_t channel = 9;
            const int32_t result = lct_lte_channel_req(&channel);
            return shown(result) + " " + shown(channel);
        },
        not_delivered("-1 0", {"get channel failed ret:0 rsp:1"})),
    of_client("lct_inface_status_req", [] { return shown(lct_inface_status_req(&kIface)); },
              {memory(1, "-1", {kNoMemory, "call WM_MSG_IFACE_UPORDOWN_REQ failed ret:0 "}),
               sending("-1", {"call WM_MSG_IFACE_UPORDOWN_REQ failed ret:0 "})}),
    of_client("lct_at_cfun_off_req", [] { return shown(lct_at_cfun_off_req()); },
              {memory(1, "-1", {kNoMemory, kNotSent}), sending("-1", {kNotSent})}),
    // The list of the RAM store is printed, as far as it can be.
    {.function = "lct_get_netlist_req",
     .act = [] { return shown(lct_get_netlist_req(&g_list)); },
     .rules = not_delivered("-1", {kNotSent}),
     .setup =
         [] {
             start_client();
             put_parameter("wm_search_netlist_nv", "head>one,1,2,3,4,5,6,7>");
         },
     .undo = stop_client},
    // A file that cannot be shown is no failure.
    {.function = "lct_ext_at_req",
     .story = "shows_a_file",
     .act = [] { return shown(lct_ext_at_req("AT\n", g_text, sizeof(g_text))); },
     .rules = losing(not_delivered("-1", {"call WM_MSG_MODEM_AT_REQ failed. ret=0 rsp->err_code=3"}),
                     {"rsp_len:0", "type:1", kAtFile}),
     .setup =
         [] {
             write_text(kAtFile, std::string(200, 'x'));
             g_answer_is_file = true;
             start_client();
         },
     .undo = stop_client},
    of_value("lct_net_signal_level_get_req", "wm_wcdma_rssi_tmp", lct_net_signal_level_get_req),
    of_value("lct_net_imei_get_req", "wm_wcdma_imei_nv", lct_net_imei_get_req),
    of_value("lct_sim_status_get_req", "wm_wcdma_modem_status_tmp", lct_sim_status_get_req),
    {.function = "lct_get_syslog_switch_flg",
     .act = [] { return shown(lct_get_syslog_switch_flg()); },
     .rules = {{.call = "open64", .result = "0"}, {.call = "read", .result = "0"}},
     .setup = [] { put_parameter("wm_syslog_switch_flg", "1"); }},
});

constexpr char kNotDeleted[] = "ipc msg del failure.";

void ready_sim()
{
    start_modules();
    put_parameter("wm_wcdma_modem_status_tmp", "sim_ready");
    g_hooks.join = stop_again;
}

const bool g_standalone = enlist({
    {.function = "lct_ipc_init_for_sc_msg",
     .act = [] { return shown(lct_ipc_init_for_sc_msg()); },
     .rules = endpoint_fails(1, "11", {"ipc init failled, ret=11"}),
     .setup = start_modules,
     .undo = stop_client},
    // A SIM whose state cannot be read is not ready, and nothing is asked then.
    {.function = "lct_state_change_req",
     .act = [] { return shown(lct_state_change_req()); },
     .rules = endpoint_fails(1, "-1", {"ipc init failled, ret=11", "ipc init failure."}) +
              Rules{timing_out("-1", {kNotSent}),
                    memory(4, "-1", {kNoMemory, kNotSent}),
                    memory(5, "-1", {kNoMemory, kNotSent}),
                    memory(6, "-1", {kNoWaiter, kNotSent}),
                    memory(7, "-1", {kNoWaiter, kNotSent}),
                    memory(8, "0", {}), // the stop message
                    sending("-1", {kNotSent}, 1),
                    sending("0", {}, 2),
                    {.call = "open64", .result = "0", .said = {"nv match error"}},
                    {.call = "read", .result = "0", .said = {"nv match error"}}},
     .setup = ready_sim,
     .undo = stop_client},
    {.function = "lct_sms_del_dev_all_msg",
     .act = [] { return shown(lct_sms_del_dev_all_msg()); },
     .rules = Rules{memory(4, "0", {kNoMemory, kNotSent}), sending("0", {kNotSent}, 1),
                    sending("0", {}, 3)} +
              losing(endpoint_fails(1, "-1", {"ipc init failled, ret=11", "ipc init failure."}) +
                         Rules{memory(5, "-1", {kNoMemory, kNotDeleted}),
                               memory(6, "-1", {kNoMemory, kNotDeleted}),
                               memory(7, "-1", {kNoWaiter, kNotDeleted}),
                               memory(8, "-1", {kNoWaiter, kNotDeleted}),
                               sending("-1", {kNotDeleted}, 2),
                               timing_out("-1", {kNotDeleted}),
                               {.call = "open64", .result = "0", .said = {"nv match error"}},
                               {.call = "read", .result = "0", .said = {"nv match error"}}},
                     {"ipc msg del ok"}),
     .setup = ready_sim,
     .undo = stop_client},
    // Without the flag it is the first text.
    {.function = "lct_test_ussd_notify_req",
     .act = [] { return shown(lct_test_ussd_notify_req()); },
     .rules = {memory(1, "-1", {kNoMemory, kNotSent}), sending("-1", {kNotSent})},
     .setup =
         [] {
             start_client();
             put_parameter("test_ussd_flg", "2");
         },
     .undo = stop_client},
});

// ---- Lists, counters, lights ----

apn_item g_apn;

const bool g_others = enlist({
    {.function = "auto_match_apn",
     .act = [] { return shown(auto_match_apn("/tmp/apns", "12345", &g_apn)); },
     .rules = {{.call = "fopen64",
                .result = "-1",
                .said = {"open the apn list file failed:/tmp/apns"},
                .subject = "apns"},
               {.call = "fgets", .result = "-1"}},
     .setup = [] { write_text("/tmp/apns", "0>99999>a>b>c>d>1>\n0>12345>a>b>c>d>1>\n"); }},
    // The trace fails; the work does not.
    {.function = "parse_apn_list",
     .act = [] { return shown(parse_apn_list("a&1&b&c&d&apn&1&e&2&3>", &g_apn)) + " " + g_apn.apn; }},
    calls_nothing("get_split_str",
                  [] { return shown(get_split_str("a/b/c", "/", g_text, 8)) + " " + g_text; }),
    {.function = "get_split_str",
     .story = "rejects",
     .act = [] { return shown(get_split_str(nullptr, "/", g_text, 8)); }},
    {.function = "get_split_str",
     .story = "turns_the_trace_over",
     .act = [] { return shown(get_split_str(nullptr, "/", g_text, 8)); },
     .setup = [] { write_text("/tmp/ltelog.1", std::string(262144, 'x')); }},
    {.function = "lct_readlist_proc",
     .act =
         [] {
             if_stats stats;
             const int32_t result = lct_readlist_proc("lo", &stats);
             return shown(result) + (result == 0 && stats.uptime != 0 ? " with uptime" : "");
         },
     .rules =
         {{.call = "fopen64", .result = "-1"},
          // Without the second heading the layout would be another; the line itself is what is read.
          {.call = "fgets", .result = "-1", .nth = 3},
          {.call = "sysinfo", .result = "0"}}},
    {.function = "lte_set_led_status",
     .act = [] { return shown(lte_set_led_status(LCT_LED_SIM, 0, 8)); },
     .rules = {{.call = "system", .result = "32512", .how = {"status 127"}},
               {.call = "system", .result = "-1"}},
     .setup = [] { g_hooks.instead["echo 1 > /proc/lte_sim_flag"] = "true"; }},
    name("get_radio_str", get_radio_str),
    name("get_sim_str", get_sim_str),
    name("get_link_str", get_link_str),
    name("get_net_type_str", get_net_type_str),
    name("get_iface_type_str", get_iface_type_str),
    name("get_iface_priority_str", get_iface_priority_str),
    name("get_iface_conn_str", get_iface_conn_str),
    name("get_iface_status_str", get_iface_status_str),
    name("get_roaming_str", get_roaming_str),
    name("get_ipmode_str", get_ipmode_str),
});

} // namespace

} // namespace lte_sdk_test
