// A request and its answer, apart from the server that carries them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

namespace lterouter::tools {

// The lines of a request that decide on it; a header that is not there is nullptr.
struct Head {
    const char *method = "";
    const char *path = ""; // not decoded: no path of this server has a "%"
    const char *host = nullptr;
    const char *origin = nullptr;
    const char *site = nullptr;
    const char *mode = nullptr;
    const char *content_type = nullptr;
    const char *content_length = nullptr;
    const char *transfer_encoding = nullptr;
    const char *cookie = nullptr;
    const char *token = nullptr;
    bool dry_run = false;   // the one word that may be behind a "?"
    bool malformed = false; // a header twice, or something else behind the "?"
};

constexpr unsigned kOk = 200;
constexpr unsigned kAccepted = 202;
constexpr unsigned kBadRequest = 400;
constexpr unsigned kUnauthorized = 401;
constexpr unsigned kForbidden = 403;
constexpr unsigned kNotFound = 404;
constexpr unsigned kMethodNotAllowed = 405;
constexpr unsigned kConflict = 409;
constexpr unsigned kLengthRequired = 411;
constexpr unsigned kTooLarge = 413;
constexpr unsigned kUnsupportedType = 415;
constexpr unsigned kMisdirected = 421;
constexpr unsigned kTooManyRequests = 429;
constexpr unsigned kInternalError = 500;
constexpr unsigned kBadGateway = 502;
constexpr unsigned kUnavailable = 503;
constexpr unsigned kGatewayTimeout = 504;
constexpr unsigned kNoStorage = 507;

// Why a request is refused. No status: it is not.
struct Refusal {
    unsigned status = 0;
    const char *reason = "";
    uint32_t retry_after = 0; // seconds

    explicit operator bool() const { return status != 0; }
};

using CookieText = char[96];

// What is sent back.
struct Reply {
    unsigned status = 0; // 0: there is none yet
    const char *type = "application/json";
    char *allocated = nullptr; // the body, or
    std::string_view constant; // one that lasts
    size_t length = 0;
    const char *allow = nullptr;
    const char *download = nullptr; // the file's name
    CookieText cookie = "";
    uint32_t retry_after = 0;

    Reply() = default;
    ~Reply() { free(allocated); }
    Reply(const Reply &) = delete;
    Reply &operator=(const Reply &) = delete;
};

class TextStream;

// The reply of what has been written; an error when memory was short.
void reply_with(TextStream &text, Reply *reply, unsigned status = kOk);
void reply_with(const Refusal &refusal, Reply *reply);

} // namespace lterouter::tools
