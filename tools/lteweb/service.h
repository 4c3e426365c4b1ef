// What the server does: it judges requests, does their work or has ltectl do it, and publishes events.
// It knows nothing of connections but how to wake one.
#pragma once

#include "lteweb/child.h"
#include "lteweb/events.h"
#include "lteweb/history.h"
#include "lteweb/image.h"
#include "lteweb/jobs.h"
#include "lteweb/password.h"
#include "lteweb/routes.h"
#include "lteweb/session.h"
#include "lteweb/settings.h"
#include "lteweb/trace.h"
#include "lteweb/watcher.h"

#include <cstdint>
#include <optional>
#include <poll.h>

namespace lterouter::tools {

class Service;

// A request from its head to the end of its reply.
struct Exchange {
    Service *service = nullptr;
    void *connection = nullptr;
    const Route *route = nullptr;
    SecretText session_id = ""; // empty without one; it may end before the request is complete
    const Session *session = nullptr;
    bool logged_in = false;
    bool secure = false; // the browser has come by TLS
    bool uploads = false;
    bool dry_run = false;
    Bytes body;
    ImageFile image;
    Reply reply;
    Child *child = nullptr;       // whose end it waits for
    Listener *listener = nullptr; // the reply is its stream
};

class Service {
public:
    Service(const Settings &settings, const Sleeper &sleeper);

    // False with errno set.
    bool start() { return watcher_.start(settings_.interface_name, settings_.sample_seconds); }

    // Judges the head of a request.
    Refusal begin(Exchange &exchange, const Head &head);
    // A part of the body, which is no longer than announced.
    void add_body(Exchange &exchange, const char *bytes, size_t size);
    // The request is complete: afterwards it has a reply or a listener, or waits for its child.
    void serve(Exchange &exchange);
    // The connection is gone, or the reply is sent.
    void abandon(Exchange &exchange);

    ssize_t read_stream(Exchange &exchange, char *into, size_t size)
    {
        return listeners_.read(*exchange.listener, into, size);
    }

    static constexpr size_t kMaxChildren = 8;
    static constexpr size_t kMaxOfStrangers = 6; // so that who has logged in can always do something
    static constexpr size_t kMaxPolled = 1 + (kMaxChildren + 2) * Child::kMaxPolled + kMaxListeners;
    size_t add_polled(pollfd *polled) const;
    void handle(const pollfd *polled, size_t count);
    void reap();
    std::optional<int64_t> next_ms() const;
    void tick(int64_t now_ms);

    // Ends what connections wait for, and what has been started but for an upgrade, which must not be
    // interrupted. False when the library does not let go.
    void let_go();
    bool end();

private:
    template <typename Self, typename Visit> static void each_child(Self &self, Visit visit);

    void run(Exchange &exchange, CommandLine &line);
    void serve_command(Exchange &exchange);
    void serve_session(Exchange &exchange);
    void serve_login(Exchange &exchange);
    void serve_logout(Exchange &exchange);
    void serve_history(Exchange &exchange);
    void serve_events(Exchange &exchange);
    void serve_jobs(Exchange &exchange);
    void start_job(Exchange &exchange, Job &job, CommandLine &line, int stdin_file);
    void start_upgrade(Exchange &exchange);
    Refusal begin_upload(Exchange &exchange, uint64_t length);
    void look_at_password();
    void end_outdated_streams();
    Child *free_child(bool logged_in);
    void take_news();
    void publish_news(const News &news);

    const Settings &settings_;
    const Sleeper sleeper_;
    PasswordStamp password_;
    Sessions sessions_;
    bool uploading_ = false;
    int64_t next_look_ms_ = 0; // for an upgrade of another process
    Throttle throttle_;
    History history_;
    Watcher watcher_;
    Listeners listeners_;
    TraceTail trace_;
    Child children_[kMaxChildren];
    Job scan_;
    Job upgrade_;
    static void on_end(void *context, Child &child);
};

} // namespace lterouter::tools
