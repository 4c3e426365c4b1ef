// A started LTE client and its environment.
#pragma once

#include "lte_sdk.h"
#include "support/peer.h"
#include "support/trace_file.h"

#include <gtest/gtest.h>

#include <unistd.h>

namespace testing_support {

// A host that ignores its events. It has a callback, since without one every response that
// arrives leaves a line in the trace file.
inline const lct_config kClientConfig = {{}, [](const lct_event *) { return uint32_t{0}; }};

// The client with no WAN manager there at its start, so that a peer that is bound later finds nothing
// in its socket but what the test sends.
class Client : public testing::Test {
protected:
    Client() { EXPECT_EQ(lct_module_init(&kClientConfig), 0); }
    ~Client() override { EXPECT_EQ(lct_module_fin(), 0); }
};

inline std::string own_socket() { return client_socket_name(getpid()); }

inline bool socket_exists(const std::string &name)
{
    return read_text("/proc/net/unix").find("@" + name) != std::string::npos;
}

// One message that the peer should have; an empty one when it does not.
inline WireMessage receive_from(Peer &peer)
{
    WireMessage message;
    EXPECT_TRUE(peer.receive(&message)) << "nothing arrived";
    return message;
}

inline void expect_header(const WireMessage &message, uint32_t type, uint32_t msg_id, uint32_t length)
{
    EXPECT_EQ(message.header.type, type);
    EXPECT_EQ(message.header.msg_id, msg_id);
    EXPECT_EQ(message.header.length, length);
    EXPECT_EQ(message.sender_name(), own_socket());
}

inline void send_to_client(const Peer &peer, uint32_t type, uint32_t msg_id, const Bytes &body = {})
{
    peer.send(abstract_address(own_socket()), {type, msg_id, 0, 77}, body);
}

// The client's answer, which comes after it has dealt with all that was sent to it before.
inline WireMessage register_at_client(Peer &peer, uint32_t notify_id)
{
    send_to_client(peer, IPC_MSG_TYPE_REQUEST, IPC_MSG_ID_REGISTER, bytes_of(notify_id));
    return receive_from(peer);
}

} // namespace testing_support
