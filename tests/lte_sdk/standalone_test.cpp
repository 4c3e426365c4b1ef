// Requests of tools that have not started the client, against the sockets of the WAN manager and of the
// SMS store; and the answers for tests that the SMS store is sent.
#include "lc_ipc_msg.h"
#include "support/expected_requests.h"
#include "support/ram_store.h"
#include "support/sync_requests.h"

#include <gtest/gtest.h>

#include <atomic>
#include <vector>

namespace standalone_test {

using namespace testing_support;

namespace {

constexpr char kSimStatus[] = "wm_wcdma_modem_status_tmp";
const uint32_t kStateChange = expected_request("lct_state_change_req").msg_id;
const uint32_t kModemNotify = expected_request("lct_test_ussd_notify_req").msg_id;
const uint32_t kSmsDeleteAll = expected_request("lct_sms_del_dev_all_msg").msg_id;

const std::string kSimNotReady = trace_entry("lct_check_sim_card_ready", "nv match error\n\n");
const std::string kInitFailed = trace_entry("lct_ipc_init_for_sc_msg", "ipc init failled, ret=11\n\n");

// What a peer answers, and what it sees when it is asked.
class Answers {
public:
    explicit Answers(Bytes body) : body_(std::move(body)) {}
    explicit Answers(int32_t result) : Answers(bytes_of(result)) {}

    AnsweringPeer::Answer operator()()
    {
        return [this](Peer &peer, const WireMessage &request) {
            endpoint_was_up = socket_exists(own_socket());
            peer.respond(request, body_);
        };
    }

    std::atomic<bool> endpoint_was_up{false};

private:
    Bytes body_;
};

// Both calls, with the SIM ready.
class Standalone : public RamStore {
protected:
    Standalone() { set_sim("sim_ready"); }
    ~Standalone() override
    {
        EXPECT_FALSE(socket_exists(own_socket())) << "the endpoint outlived the call";
    }

    static void set_sim(const std::string &status) { put(kSimStatus, stored(status)); }

    static void expect_message(const WireMessage &message, uint32_t type, uint32_t msg_id)
    {
        expect_header(message, type, msg_id, 0);
    }
};

const std::vector<std::string> kUnusable = {
    "",         "0",         "sim_not_ready", "sim_ready ", "sim_read",          "SIM_READY",
    "sim_busy", "pin_enabl", "pin_enabled",   "puk_locked", "pin_enable\nagain",
};

} // namespace

using StateChange = Standalone;
using SmsClear = Standalone;

// ---- The endpoint ----

TEST(BareEndpoint, is_the_clients_without_a_trace_also_when_it_is_up_already)
{
    EXPECT_EQ(lct_ipc_init_for_sc_msg(), 0);
    EXPECT_EQ(lct_ipc_init_for_sc_msg(), 0);
    EXPECT_TRUE(socket_exists(own_socket()));
    EXPECT_EQ(trace_text(), "");
    ipc_msg_fin();
    EXPECT_FALSE(socket_exists(own_socket()));
}

TEST(BareEndpoint, has_no_handler)
{
    ASSERT_EQ(lct_ipc_init_for_sc_msg(), 0);
    Peer wan_manager(kWanManagerSocket);
    send_to_client(wan_manager, IPC_MSG_TYPE_ASYNC, WM_MSG_LINK_STATUS_NOTIFY);
    register_at_client(wan_manager, 9);
    EXPECT_EQ(trace_text(), "");
    ipc_msg_fin();
}

TEST(BareEndpoint, failure_is_traced_with_its_code)
{
    const Peer squatter(own_socket());
    EXPECT_EQ(lct_ipc_init_for_sc_msg(), 11);
    EXPECT_EQ(trace_text(), kInitFailed);
}

// ---- State change ----

TEST_F(StateChange, without_an_answer_in_time_fails)
{
    EXPECT_EQ(timed_out(lct_state_change_req), -1);
    EXPECT_EQ(trace_text(), trace_entry("lct_state_change_req", "ipc msg send failure.\n\n"));
}

// ---- SMS clear ----

namespace {

std::string sms_trace(const std::string &text)
{
    return trace_entry("lct_sms_del_dev_all_msg", text + "\n\n");
}

const std::string kDeleted = sms_trace("ipc msg del ok");
const std::string kNotDeleted = sms_trace("ipc msg del failure.");
const std::string kNotAnnounced = sms_trace("ipc msg send failure.");

} // namespace

TEST_F(SmsClear, announces_before_it_deletes)
{
    Peer wan_manager(kWanManagerSocket);
    std::atomic<bool> announced = false;
    AnsweringPeer sms_store(
        [&](Peer &peer, const WireMessage &request) {
            announced = !wan_manager.has_nothing();
            peer.respond(request, bytes_of(int32_t{0}));
        },
        kSmsStoreSocket);
    EXPECT_EQ(lct_sms_del_dev_all_msg(), 0);
    EXPECT_TRUE(announced);
}

TEST_F(SmsClear, without_an_answer_in_time_fails)
{
    Peer sms_store(kSmsStoreSocket);
    EXPECT_EQ(timed_out(lct_sms_del_dev_all_msg), -1);
    EXPECT_EQ(trace_text(), kNotDeleted);
    expect_message(receive_from(sms_store), IPC_MSG_TYPE_REQUEST, kSmsDeleteAll);
}

TEST_F(SmsClear, deletes_although_nobody_took_the_announcement)
{
    Answers answers(0);
    AnsweringPeer sms_store(answers(), kSmsStoreSocket);
    EXPECT_EQ(lct_sms_del_dev_all_msg(), 0);
    EXPECT_EQ(sms_store.stop().size(), 1U);
    EXPECT_EQ(trace_text(), kNotAnnounced + kDeleted);
}

TEST_F(SmsClear, unknown_sim_status_is_success_also_when_the_announcement_fails)
{
    unlink(file_of(kSimStatus).c_str());
    Peer sms_store(kSmsStoreSocket);
    EXPECT_EQ(lct_sms_del_dev_all_msg(), 0);
    EXPECT_EQ(trace_text(), kNotAnnounced + kSimNotReady);
    EXPECT_TRUE(sms_store.has_nothing());
}

// ---- What both have in common ----

namespace {

struct Row {
    const char *name;
    int32_t (*call)();
    uint32_t timeout;
    const char *asked; // the socket that answers
    uint32_t msg_id;
    const char *other;
    size_t announcements; // at the other
    std::string done;     // traces
    std::string refused;
    std::string unanswered;
    std::string not_started;
};

std::string state_trace(const std::string &text)
{
    return trace_entry("lct_state_change_req", text + "\n\n");
}

void PrintTo(const Row &row, std::ostream *out) { *out << row.name; }

const Row kRows[] = {
    {"lct_state_change_req", lct_state_change_req, 400000, kWanManagerSocket, kStateChange,
     kSmsStoreSocket, 0, "", state_trace("result error."), state_trace("ipc msg send failure."),
     state_trace("ipc init failure.")},
    {"lct_sms_del_dev_all_msg", lct_sms_del_dev_all_msg, 50000, kSmsStoreSocket, kSmsDeleteAll,
     kWanManagerSocket, 1, kDeleted, kNotDeleted, kNotDeleted, sms_trace("ipc init failure.")},
};

class EitherCall : public Standalone, public testing::WithParamInterface<Row> {
protected:
    // The result with an answer, of which the trace must tell so.
    void expect_failure(Bytes body, const std::string &trace)
    {
        unlink(kTraceFile);
        Answers answers(std::move(body));
        AnsweringPeer asked(answers(), GetParam().asked);
        EXPECT_EQ(GetParam().call(), -1);
        EXPECT_EQ(trace_text(), trace);
        EXPECT_FALSE(socket_exists(own_socket()));
    }

    void expect_announcements(size_t calls)
    {
        const std::vector<WireMessage> &received = other_.stop();
        EXPECT_EQ(received.size(), calls * GetParam().announcements);
        for (const WireMessage &message : received) {
            expect_message(message, IPC_MSG_TYPE_ASYNC, kStateChange);
        }
    }

    Answers good_{0};
    AnsweringPeer other_{nullptr, GetParam().other};
};

} // namespace

INSTANTIATE_TEST_SUITE_P(Standalone, EitherCall, testing::ValuesIn(kRows));

TEST_P(EitherCall, asks_over_an_endpoint_of_each_call)
{
    AnsweringPeer asked(good_(), GetParam().asked);
    for (int i = 0; i < 3; ++i) {
        unlink(kTraceFile);
        good_.endpoint_was_up = false;
        EXPECT_EQ(GetParam().call(), 0);
        EXPECT_TRUE(good_.endpoint_was_up);
        EXPECT_FALSE(socket_exists(own_socket()));
        EXPECT_EQ(trace_text(), GetParam().done);
    }
    EXPECT_EQ(asked.stop().size(), 3U);
    for (const WireMessage &message : asked.stop()) {
        expect_message(message, IPC_MSG_TYPE_REQUEST, GetParam().msg_id);
    }
    expect_announcements(3);
}

TEST_P(EitherCall, with_nobody_to_ask_fails)
{
    EXPECT_EQ(GetParam().call(), -1);
    EXPECT_EQ(trace_text(), GetParam().unanswered);
    expect_announcements(1);
}

TEST_P(EitherCall, sim_that_cannot_be_used_is_success_and_only_an_announcement_is_sent)
{
    Peer asked(GetParam().asked);
    for (const std::string &status : kUnusable) {
        unlink(kTraceFile);
        set_sim(status);
        EXPECT_EQ(GetParam().call(), 0) << status;
        EXPECT_EQ(trace_text(), kSimNotReady) << status;
        EXPECT_FALSE(socket_exists(own_socket()));
    }
    unlink(kTraceFile);
    unlink(file_of(kSimStatus).c_str());
    EXPECT_EQ(GetParam().call(), 0);
    EXPECT_EQ(trace_text(), kSimNotReady);
    EXPECT_TRUE(asked.has_nothing());
    expect_announcements(kUnusable.size() + 1);
}

TEST_P(EitherCall, waits_its_own_time_for_a_result)
{
    const AnsweringPeer asked(good_(), GetParam().asked);
    EXPECT_EQ(GetParam().call(), 0);
    EXPECT_EQ(g_exchange.timeout, GetParam().timeout);
    EXPECT_EQ(g_exchange.room, 4U);
}

TEST_P(EitherCall, sim_that_asks_for_its_pin_at_every_start_can_be_used)
{
    set_sim("pin_enable");
    AnsweringPeer asked(good_(), GetParam().asked);
    EXPECT_EQ(GetParam().call(), 0);
    EXPECT_EQ(asked.stop().size(), 1U);
    EXPECT_EQ(trace_text(), GetParam().done);
}

TEST_P(EitherCall, non_zero_result_fails)
{
    for (const int32_t result : {1, -1, 256, INT32_MIN}) {
        expect_failure(bytes_of(result), GetParam().refused);
    }
}

TEST_P(EitherCall, answer_of_other_than_4_bytes_fails)
{
    for (const size_t size : {0U, 1U, 3U}) {
        expect_failure(Bytes(size), GetParam().refused);
    }
    for (const size_t size : {5U, 8U}) {
        expect_failure(Bytes(size), GetParam().unanswered);
    }
}

TEST_P(EitherCall, endpoint_that_cannot_start_fails_before_the_sim_is_looked_at_and_nothing_is_sent)
{
    set_sim("sim_busy");
    const Peer asked(GetParam().asked);
    {
        const Peer squatter(own_socket());
        EXPECT_EQ(GetParam().call(), -1);
    }
    EXPECT_EQ(trace_text(), kInitFailed + GetParam().not_started);
    EXPECT_TRUE(asked.has_nothing());
    EXPECT_EQ(other_.stop().size(), 0U);
}

TEST_P(EitherCall, takes_the_endpoint_of_a_started_client_with_it)
{
    const AnsweringPeer asked(good_(), GetParam().asked);
    ASSERT_EQ(lct_module_init(&kClientConfig), 0);
    EXPECT_EQ(GetParam().call(), 0);
    EXPECT_FALSE(socket_exists(own_socket()));
    EXPECT_EQ(trace_text(), GetParam().done);
    EXPECT_EQ(lct_module_fin(), 0);
}

// ---- USSD answers for tests ----

namespace {

constexpr char kUssdFlag[] = "test_ussd_flg";
const std::string kUssdFailed = trace_entry("lct_test_ussd_notify_req", "ipc msg send failure.\n\n");

// What the SMS store gets with the flag at a value; without one when it is null.
std::string ussd_slot(const char *flag)
{
    unlink((NVMRAM_DIR + std::string(kUssdFlag)).c_str());
    if (flag != nullptr) {
        EXPECT_EQ(nvmram_writenv(kUssdFlag, flag, 256), NV_SUCCESS);
    }
    Peer sms_store(kSmsStoreSocket);
    EXPECT_EQ(lct_test_ussd_notify_req(), 0);
    const WireMessage message = receive_from(sms_store);
    EXPECT_TRUE(sms_store.has_nothing());
    EXPECT_EQ(message.header.type, IPC_MSG_TYPE_ASYNC);
    EXPECT_EQ(message.header.msg_id, kModemNotify);
    EXPECT_EQ(message.sender_name(), own_socket());
    return {message.body.begin(), message.body.end()};
}

// The answer in a slot: what stands in quotes behind a start and in front of an end, up to which the
// slot must be full, and padded with NULs from there on.
std::string quoted(const std::string &slot, const std::string &start, const std::string &end)
{
    const std::string text = slot.c_str();
    EXPECT_EQ(slot, text + std::string(slot.size() - text.size(), '\0'));
    EXPECT_LT(text.size(), slot.size()) << "not terminated";
    if (!text.starts_with(start + '"') || !text.ends_with('"' + end)) {
        ADD_FAILURE() << text;
        return "";
    }
    return text.substr(start.size() + 1, text.size() - start.size() - end.size() - 2);
}

std::vector<uint32_t> hexadecimal(const std::string &digits, size_t width)
{
    EXPECT_EQ(digits.size() % width, 0U);
    EXPECT_EQ(digits.find_first_not_of("0123456789ABCDEF"), std::string::npos);
    std::vector<uint32_t> numbers;
    for (size_t i = 0; i < digits.size(); i += width) {
        numbers.push_back(static_cast<uint32_t>(std::stoul(digits.substr(i, width), nullptr, 16)));
    }
    return numbers;
}

std::string from_ucs2(const std::string &digits)
{
    std::string text;
    for (const uint32_t unit : hexadecimal(digits, 4)) {
        EXPECT_LT(unit, 0x80U);
        text += static_cast<char>(unit);
    }
    return text;
}

// The 7-bit alphabet has letters, digits, space and full stop where ASCII has them.
std::string from_packed(const std::string &digits)
{
    std::string text;
    uint32_t bits = 0;
    unsigned count = 0;
    for (const uint32_t octet : hexadecimal(digits, 2)) {
        bits |= octet << count;
        for (count += 8; count >= 7; count -= 7) {
            text += static_cast<char>(bits & 0x7FU);
            bits >>= 7;
        }
    }
    return text;
}

class UssdTest : public Client {
protected:
    ~UssdTest() override { EXPECT_EQ(trace_text(), ""); }
};

} // namespace

TEST_F(UssdTest, slot_1_is_a_menu_of_400_bytes_in_ucs2)
{
    const std::string slot = ussd_slot("1");
    EXPECT_EQ(slot.size(), 400U);
    EXPECT_EQ(from_ucs2(quoted(slot, "+CUSD: 1,", ",72")),
              "Choose:\n1 Balance\n2 Data left\n3 Top up\n0 Back");
}

TEST_F(UssdTest, slot_2_is_an_answer_of_400_bytes_in_packed_7_bit_behind_a_colon)
{
    const std::string slot = ussd_slot("2");
    EXPECT_EQ(slot.size(), 400U);
    EXPECT_EQ(from_packed(quoted(slot, ":+CUSD: 0,", ",15")),
              "Your data bundle ends on the last day of this month.");
}

TEST_F(UssdTest, slot_3_is_a_balance_of_200_bytes_in_plain_text)
{
    const std::string slot = ussd_slot("3");
    EXPECT_EQ(slot.size(), 200U);
    EXPECT_EQ(quoted(slot, "+CUSD: 0,", ",15"), "The balance of 070 555 0142 is 12.34.");
}

TEST_F(UssdTest, any_other_flag_selects_slot_1)
{
    const std::string slot_1 = ussd_slot("1");
    EXPECT_EQ(ussd_slot(nullptr), slot_1);
    for (const char *flag : {"", "0", "4", "x", "-2", "20", "258", "x2"}) {
        EXPECT_EQ(ussd_slot(flag), slot_1) << flag;
    }
}

TEST_F(UssdTest, flag_of_up_to_31_characters_can_be_read)
{
    const std::string flag = std::string(30, '0') + '3';
    EXPECT_EQ(ussd_slot(flag.c_str()), ussd_slot("3"));
    EXPECT_EQ(ussd_slot(('0' + flag).c_str()), ussd_slot("1"));
}

using UssdTestFailure = Client;

TEST_F(UssdTestFailure, without_a_store_is_traced)
{
    EXPECT_EQ(lct_test_ussd_notify_req(), -1);
    EXPECT_EQ(trace_text(), kUssdFailed);
}

TEST(UssdTestNotStarted, fails_and_is_traced)
{
    Peer sms_store(kSmsStoreSocket);
    EXPECT_EQ(lct_test_ussd_notify_req(), -1);
    EXPECT_EQ(trace_text(), kUssdFailed);
    EXPECT_TRUE(sms_store.has_nothing());
}

} // namespace standalone_test
