// The streams of events. Each listener has a bounded buffer: one that does not read loses its stream
// and delays nobody.
#pragma once

#include "lteweb/bytes.h"
#include "lteweb/session.h"

#include <cstdint>
#include <optional>
#include <poll.h>
#include <string_view>
#include <sys/types.h>

namespace lterouter::tools {

constexpr size_t kMaxListeners = 16;
constexpr size_t kMaxStrangers = 12; // without a login

// A connection that can be put to sleep while it has nothing to send; the server's.
struct Sleeper {
    void (*sleep)(void *connection);
    void (*wake)(void *connection);
    int (*socket)(void *connection);
};

class Listener {
public:
    bool used() const { return connection_ != nullptr; }
    // With a login; without one the id is empty.
    bool reads_trace() const { return session_[0] != '\0'; }
    const SecretText &session() const { return session_; }

    void open(void *connection, const SecretText &session);
    void close();
    // What to send; 0 after the connection was put to sleep, -1 at the end of the stream.
    ssize_t read(char *into, size_t size, const Sleeper &sleeper);
    void add(std::string_view text, const Sleeper &sleeper);
    void finish(const Sleeper &sleeper);
    bool asleep() const { return asleep_; }
    void *connection() const { return connection_; }

private:
    void wake(const Sleeper &sleeper);

    void *connection_ = nullptr;
    Bytes waiting_;
    SecretText session_ = "";
    bool asleep_ = false;
    bool ended_ = false;
};

class Listeners {
public:
    explicit Listeners(const Sleeper &sleeper) : sleeper_(sleeper) {}

    // nullptr when there are too many. It begins with what is known by now.
    Listener *open(void *connection, const SecretText &session);
    ssize_t read(Listener &listener, char *into, size_t size)
    {
        return listener.read(into, size, sleeper_);
    }

    // object: a line of JSON.
    void publish(const char *kind, std::string_view object);
    // The same, and the first event of every stream to come.
    void keep(const char *kind, std::string_view object);
    void publish_trace(std::string_view object);
    bool any_reads_trace() const;

    // Clients that close a stream in which nothing happens.
    size_t add_polled(pollfd *polled) const;
    void end_closed(const pollfd *polled, size_t count);

    std::optional<int64_t> next_ms() const;
    void tick(int64_t now_ms);

    void end_all();
    // Ends the streams whose session is over.
    void end_outdated(const Sessions &sessions, int64_t now_ms);

private:
    size_t count_strangers() const;
    void send(std::string_view text, bool trace);

    struct Kept {
        const char *kind;
        Bytes text;
    };

    const Sleeper sleeper_;
    Listener listeners_[kMaxListeners];
    Kept kept_[3] = {{"manager", {}}, {"link", {}}, {"interface", {}}};
    int64_t alive_ms_ = 0;
};

} // namespace lterouter::tools
