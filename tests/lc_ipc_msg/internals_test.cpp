// Code that callers of the library cannot reach directly: argument checks of the receive thread's
// functions, and the lists of the endpoint.

#include "lc_ipc_msg/receive.h"
#include "lc_ipc_msg/registry.h"
#include "lc_ipc_msg/sync.h"
#include "support/endpoint.h"
#include "support/error_log.h"

using namespace testing_support;

extern "C" {
extern lc_list *g_mq_mgt_list;
extern lc_list *g_reg_notify_list;
extern lc_list *g_sync_waitor_list;
}

namespace {

constexpr int32_t kMinute = 60000;
constexpr const char *kServer = kWmName;

struct Registration {
    uint32_t notify_id;
    lc_list *addr_list;
};

// Publishing to nobody passes through the registry's lock, behind which its lists are settled.
void settle_registry()
{
    const MessagePtr msg = make_message(UINT32_MAX);
    ASSERT_EQ(ipc_msg_notify(msg.get(), 0), IPC_SUCCESS);
}

std::vector<Registration> registrations()
{
    settle_registry();
    std::vector<Registration> all;
    for (uint32_t i = 0; i < lc_list_query_num(g_reg_notify_list); ++i) {
        uint32_t err = 0;
        const lc_list_node *node = lc_list_get_node(g_reg_notify_list, static_cast<int32_t>(i), &err);
        all.push_back(*static_cast<const Registration *>(node->data));
    }
    return all;
}

void subscribe(Peer &peer, uint32_t notify_id)
{
    ASSERT_TRUE(peer.send(kMmName, register_request(notify_id, 1)));
    ASSERT_EQ(word_at(peer.receive(), 16), 0U);
}

// The receive thread handles its datagrams one by one, so the one behind comes out of the queue last.
void unsubscribe(const Endpoint &endpoint, const Peer &peer, uint32_t notify_id)
{
    ASSERT_TRUE(peer.send(kMmName, deregister_request(notify_id)));
    ASSERT_TRUE(peer.send(kMmName, datagram({0, 10, 0, 0})));
    ASSERT_NE(take(endpoint.queue, kMinute), nullptr);
}

} // namespace

TEST(Internals, a_receive_step_without_a_running_flag_gives_1)
{
    ErrorLog log;
    EXPECT_EQ(lterouter::receive_message({}, nullptr), IPC_ERR_PARAM);
    EXPECT_EQ(log.lines(), Lines{from_msg("Para check failed! Para flag is NULL.\n")});
    ErrorLog::switch_off();
    EXPECT_EQ(lterouter::receive_message({}, nullptr), IPC_ERR_PARAM);
    EXPECT_EQ(log.lines(), Lines{});
}

TEST(Internals, registry_requests_of_null_give_1)
{
    ErrorLog log;
    EXPECT_EQ(lterouter::handle_register(nullptr, nullptr), IPC_ERR_PARAM);
    EXPECT_EQ(log.lines(), Lines{from_msg("Para check failed! Para reg_msg is NULL.\n")});
    EXPECT_EQ(lterouter::handle_deregister(nullptr), IPC_ERR_PARAM);
    EXPECT_EQ(log.lines(), Lines{from_msg("Para check failed! Para dereg_msg is NULL.\n")});
    ErrorLog::switch_off();
    EXPECT_EQ(lterouter::handle_register(nullptr, nullptr), IPC_ERR_PARAM);
    EXPECT_EQ(lterouter::handle_deregister(nullptr), IPC_ERR_PARAM);
    EXPECT_EQ(log.lines(), Lines{});
}

TEST(Internals, the_list_of_queues_is_made_with_the_first_queue_and_cleared_with_all)
{
    ipc_mq_init();
    EXPECT_EQ(g_mq_mgt_list, nullptr);
    const mq_cb first = new_queue(1);
    const mq_cb second = new_queue(1);
    EXPECT_EQ(g_mq_mgt_list->count, 2U);
    EXPECT_EQ(g_mq_mgt_list->head, second);
    EXPECT_EQ(g_mq_mgt_list->tail, first);
    ipc_mq_destroy();
    EXPECT_EQ(g_mq_mgt_list, nullptr);
}

TEST(Internals, waiters_and_registry_live_with_the_endpoint)
{
    {
        const Endpoint endpoint;
        EXPECT_EQ(lc_list_query_num(g_sync_waitor_list), 0U);
        EXPECT_EQ(lc_list_query_num(g_reg_notify_list), 0U);
    }
    EXPECT_EQ(g_sync_waitor_list, nullptr);
    EXPECT_EQ(g_reg_notify_list, nullptr);
}

TEST(Internals, registrations_are_kept_in_the_order_of_their_first_subscriber)
{
    const Endpoint endpoint;
    Peer a("a");
    Peer b("b");
    subscribe(a, 22);
    subscribe(a, 20);
    subscribe(b, 22);
    subscribe(a, 22);
    const std::vector<Registration> all = registrations();
    ASSERT_EQ(all.size(), 2U);
    EXPECT_EQ(all[0].notify_id, 22U);
    EXPECT_EQ(all[1].notify_id, 20U);
    ASSERT_EQ(all[0].addr_list->count, 2U);
    EXPECT_EQ(all[1].addr_list->count, 1U);
    const auto *first = static_cast<const ipc_addr *>(all[0].addr_list->head->data);
    const auto *second = static_cast<const ipc_addr *>(all[0].addr_list->tail->data);
    EXPECT_TRUE(same_address(first->sock, abstract_address("a")));
    EXPECT_TRUE(same_address(second->sock, abstract_address("b")));
    EXPECT_EQ(first->priority, 0U);
}

TEST(Internals, a_registration_whose_last_subscriber_left_stays_empty)
{
    const Endpoint endpoint;
    Peer peer("peer");
    subscribe(peer, 20);
    unsubscribe(endpoint, peer, 20);
    ASSERT_EQ(registrations().size(), 1U);
    EXPECT_EQ(registrations()[0].notify_id, 20U);
    EXPECT_EQ(registrations()[0].addr_list->count, 0U);
    const MessagePtr msg = make_message(20);
    EXPECT_EQ(ipc_msg_notify(msg.get(), 0), IPC_SUCCESS);
    EXPECT_TRUE(peer.has_nothing());
    subscribe(peer, 20);
    EXPECT_EQ(registrations().size(), 1U);
}

TEST(Internals, a_refused_registration_stores_nothing)
{
    const Endpoint endpoint({.reg_check = [](uint32_t) -> uint32_t { return 0; }});
    Peer peer("peer");
    ASSERT_TRUE(peer.send(kMmName, register_request(20, 1)));
    ASSERT_EQ(word_at(peer.receive(), 16), 6U);
    EXPECT_TRUE(registrations().empty());
}

TEST(Internals, a_waiter_is_listed_under_its_session_before_the_request_leaves)
{
    const Endpoint endpoint;
    const Peer server(kServer);
    const ipc_addr to = address_record(kServer);
    const MessagePtr request = make_message(50);
    ipc_gen_seesion_id(request.get());
    Bytes out(16);
    uint32_t out_len = 0;
    int listed = 0;
    const Hooked looked(calls::sendto, [&](auto &next, auto... arguments) {
        listed += g_sync_waitor_list->count == 1 &&
                          msg_id_match(g_sync_waitor_list->head->data, request.get()) == 0
                      ? 1
                      : 0;
        return next(arguments...);
    });
    EXPECT_EQ(ipc_msg_send_syn(&to, request.get(), 0, 1, out.data(), &out_len), IPC_ERR_TIMEOUT);
    EXPECT_EQ(listed, 1);
}

TEST(Internals, a_waiter_is_unlisted_after_a_time_out_and_after_a_failed_send)
{
    const Endpoint endpoint;
    const ipc_addr to = address_record(kServer);
    const MessagePtr request = make_message(50);
    Bytes out(16);
    uint32_t out_len = 0;
    EXPECT_EQ(ipc_msg_send_syn(&to, request.get(), 0, 1, out.data(), &out_len), IPC_ERR_SOCKET);
    EXPECT_EQ(lc_list_query_num(g_sync_waitor_list), 0U);
    const Peer server(kServer);
    EXPECT_EQ(ipc_msg_send_syn(&to, request.get(), 0, 1, out.data(), &out_len), IPC_ERR_TIMEOUT);
    EXPECT_EQ(lc_list_query_num(g_sync_waitor_list), 0U);
}

TEST(Internals, the_response_step_gives_4_when_nobody_waits)
{
    const Endpoint endpoint;
    const ipc_msg_hdr response = {IPC_MSG_TYPE_RESPONSE, 50, 0, 99};
    EXPECT_EQ(lterouter::deliver_response(response, sizeof(response)), IPC_ERR_LENGTH);
}
