// Synchronous requests to a WAN manager that answers, does not answer or does not run.
#pragma once

#include "support/bytes.h"
#include "support/client.h"
#include "support/library_calls.h"

#include <algorithm>
#include <utility>

namespace testing_support {

// What the endpoint was asked for last, and what came of it.
struct Exchange {
    uint32_t timeout = 0;
    uint32_t room = 0;
    uint32_t result = 0;
};

inline thread_local Exchange g_exchange;
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
template <typename Call> int32_t asking(AnsweringPeer::Answer answer, Call call)
{
    unlink(kTraceFile);
    AnsweringPeer wan_manager(std::move(answer));
    const int32_t result = call();
    EXPECT_EQ(wan_manager.stop().size(), 1U);
    return result;
}

template <typename Call> int32_t answered(const Bytes &answer, Call call)
{
    return asking([&](Peer &peer, const WireMessage &request) { peer.respond(request, answer); }, call);
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

// Notes what it is asked for, and waits as long as it is told to.
inline const bool g_exchanges_are_noted = [] {
    calls::ipc_msg_send_syn.add([](auto &next, auto *to, auto *request, uint32_t size, uint32_t timeout,
                                   void *answer, uint32_t *answer_size) {
        const uint32_t room = *answer_size;
        // A deadline drops the fraction of the current second, so that of 1 ms has passed already.
        const uint32_t result = next(to, request, size, g_impatient ? 1 : timeout, answer, answer_size);
        g_exchange = {timeout, room, result};
        return result;
    });
    return true;
}();

} // namespace testing_support
