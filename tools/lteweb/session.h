// Who has given the password, and how often a wrong one may be given.
#pragma once

#include "lteweb/http.h"

#include <cstdint>
#include <string_view>

namespace lterouter::tools {

constexpr size_t kSecretSize = 16; // bytes
using SecretText = char[2 * kSecretSize + 1];

struct Session {
    SecretText id;    // in the cookie
    SecretText token; // in a header, which a foreign page cannot send
    int64_t begun_ms;
    int64_t used_ms; // 0: there is none
};

class Sessions {
public:
    // The session of an id, as a cookie has it; nullptr without one.
    const Session *find(std::string_view id, int64_t now_ms) const;
    // Another session, in the place of the one that was used longest ago if need be. nullptr without
    // random numbers.
    const Session *begin(int64_t now_ms);
    void end(const Session *session); // nullptr: none
    void end_all();

    // Whether a request that changes something comes from a page of this session, which is in use then.
    Refusal judge_token(const Session &session, const Head &head, int64_t now_ms);

private:
    static constexpr size_t kMaxSessions = 8;
    Session sessions_[kMaxSessions] = {};
};

// Slows down who tries passwords. It does not tell addresses apart: behind a proxy there is but one.
class Throttle {
public:
    // Seconds for which no password is looked at; 0: one is.
    uint32_t wait_seconds(int64_t now_ms) const;
    void failed(int64_t now_ms);
    void succeeded() { *this = {}; }

private:
    uint32_t failures_ = 0;
    int64_t until_ms_ = 0;
};

constexpr std::string_view kCookieName = "lteweb";

} // namespace lterouter::tools
