#include "lteweb/events.h"

#include "common/clock.h"
#include "lteweb/json_text.h"

#include <algorithm>
#include <cstring>

namespace lterouter::tools {
namespace {

constexpr size_t kLongestWaiting = 16 * 1024;
constexpr int64_t kAliveMs = 15000; // proxies close a stream in which nothing happens
constexpr std::string_view kFirst = "retry: 3000\n\n";
constexpr std::string_view kAlive = "event: alive\ndata: {}\n\n"; // a page cannot see a comment

bool write_event(const char *kind, std::string_view object, TextStream &text)
{
    if (text) {
        fprintf(text.file(), "event: %s\ndata: %.*s\n\n", kind, static_cast<int>(object.size()),
                object.data());
    }
    return text.finish();
}

} // namespace

void Listener::open(void *connection, const SecretText &session)
{
    connection_ = connection;
    memcpy(session_, session, sizeof(session_));
    asleep_ = false;
    ended_ = !waiting_.add(kFirst, kLongestWaiting);
}

void Listener::close()
{
    connection_ = nullptr;
    waiting_.clear();
}

ssize_t Listener::read(char *into, size_t size, const Sleeper &sleeper)
{
    if (ended_) {
        return -1;
    }
    const size_t count = std::min(size, waiting_.size());
    if (count == 0) {
        asleep_ = true;
        sleeper.sleep(connection_);
        return 0;
    }
    memcpy(into, waiting_.data(), count);
    waiting_.drop(count);
    if (waiting_.size() == 0) {
        waiting_.clear();
    }
    return static_cast<ssize_t>(count);
}

void Listener::add(std::string_view text, const Sleeper &sleeper)
{
    ended_ = ended_ || !waiting_.add(text, kLongestWaiting);
    wake(sleeper);
}

void Listener::finish(const Sleeper &sleeper)
{
    ended_ = true;
    wake(sleeper);
}

void Listener::wake(const Sleeper &sleeper)
{
    if (asleep_) {
        asleep_ = false;
        sleeper.wake(connection_);
    }
}

size_t Listeners::count_strangers() const
{
    return static_cast<size_t>(
        std::count_if(std::begin(listeners_), std::end(listeners_),
                      [](const Listener &each) { return each.used() && !each.reads_trace(); }));
}

Listener *Listeners::open(void *connection, const SecretText &session)
{
    if (session[0] == '\0' && count_strangers() >= kMaxStrangers) {
        return nullptr;
    }
    for (Listener &listener : listeners_) {
        if (!listener.used()) {
            listener.open(connection, session);
            for (const Kept &kept : kept_) {
                listener.add(kept.text.view(), sleeper_);
            }
            return &listener;
        }
    }
    return nullptr;
}

void Listeners::send(std::string_view text, bool trace)
{
    for (Listener &listener : listeners_) {
        if (listener.used() && (!trace || listener.reads_trace())) {
            listener.add(text, sleeper_);
        }
    }
}

void Listeners::publish(const char *kind, std::string_view object)
{
    TextStream text;
    if (write_event(kind, object, text)) {
        send(text.view(), false);
    }
}

void Listeners::publish_trace(std::string_view object)
{
    TextStream text;
    if (write_event("trace", object, text)) {
        send(text.view(), true);
    }
}

void Listeners::keep(const char *kind, std::string_view object)
{
    TextStream text;
    if (!write_event(kind, object, text)) {
        return;
    }
    for (Kept &kept : kept_) {
        if (strcmp(kept.kind, kind) == 0) {
            kept.text.clear();
            kept.text.add(text.view(), kLongestWaiting); // without memory it is not known later
        }
    }
    send(text.view(), false);
}

bool Listeners::any_reads_trace() const
{
    return std::any_of(std::begin(listeners_), std::end(listeners_), [](const Listener &listener) {
        return listener.used() && listener.reads_trace();
    });
}

size_t Listeners::add_polled(pollfd *polled) const
{
    size_t count = 0;
    for (const Listener &listener : listeners_) {
        if (listener.used() && listener.asleep()) {
            polled[count++] = {sleeper_.socket(listener.connection()), POLLRDHUP, 0};
        }
    }
    return count;
}

void Listeners::end_closed(const pollfd *polled, size_t count)
{
    for (Listener &listener : listeners_) {
        for (size_t i = 0; i < count; ++i) {
            if (listener.used() && listener.asleep() && polled[i].revents != 0 &&
                polled[i].fd == sleeper_.socket(listener.connection())) {
                listener.finish(sleeper_);
            }
        }
    }
}

std::optional<int64_t> Listeners::next_ms() const
{
    const bool any = std::any_of(std::begin(listeners_), std::end(listeners_),
                                 [](const Listener &listener) { return listener.used(); });
    return any ? std::optional(alive_ms_) : std::nullopt;
}

void Listeners::tick(int64_t now)
{
    if (now >= alive_ms_) {
        alive_ms_ = now + kAliveMs;
        send(kAlive, false);
    }
}

void Listeners::end_outdated(const Sessions &sessions, int64_t now_ms)
{
    for (Listener &listener : listeners_) {
        if (listener.used() && listener.reads_trace() &&
            sessions.find(listener.session(), now_ms) == nullptr) {
            listener.finish(sleeper_);
        }
    }
}

void Listeners::end_all()
{
    for (Listener &listener : listeners_) {
        if (listener.used()) {
            listener.finish(sleeper_);
        }
    }
}

} // namespace lterouter::tools
