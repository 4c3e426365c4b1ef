// Synchronous requests to a WAN manager that answers, does not answer or does not run. Interposes
// ipc_msg_send_syn.
#pragma once

#include "lc_ipc_msg.h"
#include "support/bytes.h"
#include "support/client.h"
#include "support/interpose.h"

#include <algorithm>
#include <utility>

namespace testing_support {

// What the endpoint was asked for last, and what came of it.
struct Exchange {
    uint32_t timeout = 0;
    uint32_t room = 0;
    uint32_t result = 0;
};

inline Exchange g_exchange;
inline bool g_impatient = false; // waits are over at once, whatever their time-out

// size bytes of an answer with this result word; what does not fit is cut.
inline Bytes answer_of(int32_t result, size_t size)
{
    const Bytes word = bytes_of(result);
    Bytes answer = pattern(std::max(size, word.size()));
    std::copy(word.begin(), word.end(), answer.begin());
    answer.resize(size);
    return answer;
}

// A call's result. It must have asked exactly once; afterwards the trace file holds its lines alone.
template <typename Call> int32_t asking(WanManagerPeer::Answer answer, Call call)
{
    unlink(kTraceFile);
    WanManagerPeer wan_manager(std::move(answer));
    const int32_t result = call();
    EXPECT_EQ(wan_manager.stop().size(), 1U);
    return result;
}

template <typename Call> int32_t answered(const Bytes &answer, Call call)
{
    return asking([&](ModulePeer &peer, const WireMessage &request) { peer.respond(request, answer); },
                  call);
}

template <typename Call> int32_t timed_out(Call call)
{
    g_impatient = true;
    const int32_t result = asking(nullptr, call);
    g_impatient = false;
    EXPECT_EQ(g_exchange.result, IPC_ERR_TIMEOUT);
    return result;
}

// Without a WAN manager.
template <typename Call> int32_t unheard(Call call)
{
    unlink(kTraceFile);
    const int32_t result = call();
    EXPECT_EQ(g_exchange.result, IPC_ERR_SOCKET);
    return result;
}

} // namespace testing_support

TAKES_OVER uint32_t ipc_msg_send_syn(const ipc_addr *dest_addr, ipc_msg_hdr *in_buff, uint32_t in_len,
                                     uint32_t timeout, void *out_buff, uint32_t *out_len)
{
    using namespace testing_support;
    static const auto real = next_definition<decltype(ipc_msg_send_syn)>("ipc_msg_send_syn");
    const uint32_t room = *out_len;
    // A deadline drops the fraction of the current second, so that of 1 ms has passed already.
    const uint32_t result =
        real(dest_addr, in_buff, in_len, g_impatient ? 1 : timeout, out_buff, out_len);
    g_exchange = {timeout, room, result};
    return result;
}
