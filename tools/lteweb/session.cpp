#include "lteweb/session.h"

#include "lteweb/random.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace lterouter::tools {
namespace {

constexpr int64_t kIdleMs = 30 * 60 * 1000;
constexpr int64_t kLongestMs = 12 * 60 * 60 * 1000;

constexpr uint32_t kFreeFailures = 4;     // the fifth has consequences
constexpr uint32_t kLongestWaitShift = 6; // 64 s
constexpr int64_t kSecondMs = 1000;

bool make_secret(SecretText &text)
{
    uint8_t bytes[kSecretSize];
    if (!fill_random(bytes, sizeof(bytes))) {
        return false;
    }
    constexpr char kDigits[] = "0123456789abcdef";
    for (size_t i = 0; i < kSecretSize; ++i) {
        text[2 * i] = kDigits[bytes[i] >> 4];
        text[2 * i + 1] = kDigits[bytes[i] & 15];
    }
    text[2 * kSecretSize] = '\0';
    return true;
}

bool is_over(const Session &session, int64_t now_ms)
{
    return session.used_ms == 0 || now_ms - session.used_ms > kIdleMs ||
           now_ms - session.begun_ms > kLongestMs;
}

} // namespace

const Session *Sessions::find(std::string_view id, int64_t now_ms) const
{
    for (const Session &session : sessions_) {
        if (!is_over(session, now_ms) && equal_in_constant_time(id, session.id)) {
            return &session;
        }
    }
    return nullptr;
}

const Session *Sessions::begin(int64_t now_ms)
{
    Session &session =
        *std::min_element(std::begin(sessions_), std::end(sessions_),
                          [](const Session &a, const Session &b) { return a.used_ms < b.used_ms; });
    end(&session);
    if (!make_secret(session.id) || !make_secret(session.token)) {
        end(&session);
        return nullptr;
    }
    session.begun_ms = now_ms;
    session.used_ms = now_ms;
    return &session;
}

void Sessions::end(const Session *session)
{
    if (session != nullptr) {
        explicit_bzero(&sessions_[session - sessions_], sizeof(*session));
    }
}

void Sessions::end_all() { explicit_bzero(sessions_, sizeof(sessions_)); }

Refusal Sessions::judge_token(const Session &session, const Head &head, int64_t now_ms)
{
    if (head.token == nullptr || !equal_in_constant_time(head.token, session.token)) {
        return {kForbidden, "the token is missing or wrong"};
    }
    sessions_[&session - sessions_].used_ms = now_ms;
    return {};
}

uint32_t Throttle::wait_seconds(int64_t now_ms) const
{
    return until_ms_ > now_ms ? static_cast<uint32_t>((until_ms_ - now_ms + kSecondMs - 1) / kSecondMs)
                              : 0;
}

void Throttle::failed(int64_t now_ms)
{
    ++failures_;
    if (failures_ > kFreeFailures) {
        const uint32_t shift = std::min(failures_ - kFreeFailures - 1, kLongestWaitShift);
        until_ms_ = now_ms + (kSecondMs << shift);
    }
}

} // namespace lterouter::tools
