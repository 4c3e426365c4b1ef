#include "lteweb/server.h"

#include "common/clock.h"
#include "common/program.h"
#include "common/record.h"
#include "lteweb/service.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <microhttpd.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <new>
#include <strings.h>
#include <sys/signalfd.h>
#include <sys/socket.h>

namespace lterouter::tools {
namespace {

constexpr unsigned kMaxConnections = 64;
constexpr unsigned kMaxFromOneAddress = 32; // unless it is this machine, where a proxy may be
constexpr size_t kConnectionMemory = 8192;
constexpr size_t kStreamBlock = 2048;
constexpr unsigned kSilenceSeconds = 15;
constexpr int kBacklog = 64;
constexpr int kSendBuffer = 65536; // what the kernel keeps for a client that does not read
constexpr int kUnheardMs = 30000;  // how long it keeps it for one that is out of reach

// However steadily bytes trickle: from the beginning of a request to its end, and for its reply.
constexpr int64_t kRequestMs = 10000;
constexpr int64_t kUploadMs = 900000;
constexpr int64_t kReplyMs = 60000;
constexpr int64_t kNever = INT64_MAX;
constexpr int64_t kEndMs = 2500; // for what waits when the server ends

constexpr struct {
    const char *name;
    const char *value;
} kEveryReply[] = {
    {"Content-Security-Policy", "default-src 'none'; script-src 'self'; style-src 'self'; connect-src "
                                "'self'; img-src 'self' data:; "
                                "base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
    {"X-Content-Type-Options", "nosniff"},
    {"X-Frame-Options", "DENY"},
    {"Referrer-Policy", "no-referrer"},
    {"Cross-Origin-Resource-Policy", "same-origin"},
    {"Cross-Origin-Opener-Policy", "same-origin"},
    {"Cache-Control", "no-store"},
};

constexpr struct {
    const char *name;
    const char *Head::*place;
} kHeaders[] = {
    {"Host", &Head::host},
    {"Origin", &Head::origin},
    {"Sec-Fetch-Site", &Head::site},
    {"Sec-Fetch-Mode", &Head::mode},
    {"Content-Type", &Head::content_type},
    {"Content-Length", &Head::content_length},
    {"Transfer-Encoding", &Head::transfer_encoding},
    {"Cookie", &Head::cookie},
    {"X-Lteweb-Token", &Head::token},
};

struct Slot {
    MHD_Connection *connection = nullptr; // nullptr: free
    int64_t deadline_ms = kNever;
    std::optional<Exchange> exchange;
    bool asleep = false;
};

int socket_of(MHD_Connection *connection)
{
    const auto *info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
    return info != nullptr ? info->connect_fd : -1;
}

Slot &slot_of(MHD_Connection *connection)
{
    const auto *info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_SOCKET_CONTEXT);
    return *static_cast<Slot *>(info->socket_context);
}

void put_to_sleep(void *connection)
{
    Slot &slot = *static_cast<Slot *>(connection);
    slot.asleep = true;
    MHD_suspend_connection(slot.connection);
}

void wake(void *connection)
{
    Slot &slot = *static_cast<Slot *>(connection);
    if (slot.asleep) {
        slot.asleep = false;
        MHD_resume_connection(slot.connection);
    }
}

int socket_of_slot(void *connection) { return socket_of(static_cast<Slot *>(connection)->connection); }

constexpr Sleeper kSleeper = {put_to_sleep, wake, socket_of_slot};

// ---- The head of a request ----

MHD_Result take_header(void *context, MHD_ValueKind, const char *name, const char *value)
{
    Head &head = *static_cast<Head *>(context);
    for (const auto &header : kHeaders) {
        if (strcasecmp(header.name, name) == 0) {
            head.malformed = head.malformed || head.*header.place != nullptr;
            head.*header.place = value != nullptr ? value : "";
        }
    }
    return MHD_YES;
}

MHD_Result take_argument(void *context, MHD_ValueKind, const char *name, const char *value)
{
    Head &head = *static_cast<Head *>(context);
    const bool dry_run = strcmp(name, "dry-run") == 0 && (value == nullptr || *value == '\0');
    head.malformed = head.malformed || !dry_run || head.dry_run;
    head.dry_run = dry_run;
    return MHD_YES;
}

Head read_head(MHD_Connection *connection, const char *method, const char *path)
{
    Head head;
    head.method = method;
    head.path = path;
    MHD_get_connection_values(connection, MHD_HEADER_KIND, take_header, &head);
    MHD_get_connection_values(connection, MHD_GET_ARGUMENT_KIND, take_argument, &head);
    return head;
}

// ---- Replies ----

class Response {
public:
    explicit Response(MHD_Response *response) : response_(response) {}
    ~Response()
    {
        if (response_ != nullptr) {
            MHD_destroy_response(response_);
        }
    }
    Response(const Response &) = delete;
    Response &operator=(const Response &) = delete;

    explicit operator bool() const { return response_ != nullptr; }
    void header(const char *name, const char *value)
    {
        complete_ = complete_ && MHD_add_response_header(response_, name, value) == MHD_YES;
    }
    // A reply without one of its headers is not sent: the connection is closed instead.
    MHD_Result queue(MHD_Connection *connection, unsigned status)
    {
        return complete_ ? MHD_queue_response(connection, status, response_) : MHD_NO;
    }

private:
    MHD_Response *const response_;
    bool complete_ = true;
};

MHD_Response *body_of(Reply &reply)
{
    if (reply.allocated == nullptr) {
        return MHD_create_response_from_buffer(
            reply.constant.size(), const_cast<char *>(reply.constant.data()), MHD_RESPMEM_PERSISTENT);
    }
    MHD_Response *const response =
        MHD_create_response_from_buffer(reply.length, reply.allocated, MHD_RESPMEM_MUST_FREE);
    if (response != nullptr) {
        reply.allocated = nullptr;
    }
    return response;
}

void add_common(Response &response, const char *type)
{
    for (const auto &header : kEveryReply) {
        response.header(header.name, header.value);
    }
    response.header("Content-Type", type);
}

MHD_Result send_reply(Slot &slot)
{
    Reply &reply = slot.exchange->reply;
    Response response(body_of(reply));
    if (!response) {
        return MHD_NO;
    }
    add_common(response, reply.type);
    if (reply.cookie[0] != '\0') {
        response.header("Set-Cookie", reply.cookie);
    }
    if (reply.retry_after != 0) {
        char seconds[16];
        snprintf(seconds, sizeof(seconds), "%u", reply.retry_after);
        response.header("Retry-After", seconds);
    }
    if (reply.allow != nullptr) {
        response.header("Allow", reply.allow);
    }
    if (reply.download != nullptr) {
        char disposition[64];
        snprintf(disposition, sizeof(disposition), "attachment; filename=\"%s\"", reply.download);
        response.header("Content-Disposition", disposition);
    }
    slot.deadline_ms = now_ms() + kReplyMs;
    return response.queue(slot.connection, reply.status);
}

ssize_t read_stream(void *context, uint64_t, char *into, size_t size)
{
    Slot &slot = *static_cast<Slot *>(context);
    const ssize_t count = slot.exchange->service->read_stream(*slot.exchange, into, size);
    return count < 0 ? static_cast<ssize_t>(MHD_CONTENT_READER_END_OF_STREAM) : count;
}

MHD_Result send_stream(Slot &slot)
{
    Response response(
        MHD_create_response_from_callback(MHD_SIZE_UNKNOWN, kStreamBlock, read_stream, &slot, nullptr));
    if (!response) {
        return MHD_NO;
    }
    add_common(response, "text/event-stream");
    response.header("X-Accel-Buffering", "no"); // a proxy passes each event on as it comes
    slot.deadline_ms = kNever;
    return response.queue(slot.connection, kOk);
}

// ---- Requests ----

MHD_Result begin_request(Service &service, Slot &slot, const Head &head)
{
    slot.exchange.emplace();
    Exchange &exchange = *slot.exchange;
    exchange.connection = &slot;
    const Refusal refusal = service.begin(exchange, head);
    if (refusal) {
        reply_with(refusal, &exchange.reply);
        exchange.reply.allow =
            refusal.status == kMethodNotAllowed ? allowed_methods(head.path) : nullptr;
        return send_reply(slot);
    }
    slot.deadline_ms = now_ms() + (exchange.route->work == Work::kUpgrade ? kUploadMs : kRequestMs);
    return MHD_YES;
}

MHD_Result complete_request(Service &service, Slot &slot)
{
    Exchange &exchange = *slot.exchange;
    if (exchange.reply.status == 0) {
        service.serve(exchange);
    }
    if (exchange.reply.status != 0) {
        return send_reply(slot);
    }
    if (exchange.listener != nullptr) {
        return send_stream(slot);
    }
    slot.deadline_ms = kNever; // its child has one
    put_to_sleep(&slot);
    return MHD_YES;
}

MHD_Result on_request(void *context, MHD_Connection *connection, const char *url, const char *method,
                      const char *, const char *upload, size_t *upload_size, void **begun)
{
    Service &service = *static_cast<Service *>(context);
    Slot &slot = slot_of(connection);
    if (*begun == nullptr) {
        *begun = &slot;
        return begin_request(service, slot, read_head(connection, method, url));
    }
    if (*upload_size != 0) {
        service.add_body(*slot.exchange, upload, *upload_size);
        *upload_size = 0;
        return MHD_YES;
    }
    return complete_request(service, slot);
}

void on_completed(void *context, MHD_Connection *connection, void **begun, MHD_RequestTerminationCode)
{
    Slot &slot = slot_of(connection);
    if (*begun != nullptr && slot.exchange) {
        static_cast<Service *>(context)->abandon(*slot.exchange);
        slot.exchange.reset();
    }
    *begun = nullptr;
    slot.deadline_ms = now_ms() + kRequestMs;
}

// Paths are compared as they come: none of ours has a character that is written in another way.
size_t leave_as_it_is(void *, MHD_Connection *, char *text) { return strlen(text); }

class Server {
public:
    Server(const Settings &settings, const sigset_t &signals)
        : settings_(settings), signals_(signals), service_(settings, kSleeper)
    {
    }
    ~Server()
    {
        if (daemon_ != nullptr) {
            MHD_stop_daemon(daemon_);
        }
    }
    Server(const Server &) = delete;
    Server &operator=(const Server &) = delete;

    int run()
    {
        if (!open_signals() || !listen_there()) {
            return fail(kFailed, "cannot listen at %s:%u: %s", settings_.listen.text,
                        settings_.listen.port, strerror(errno));
        }
        if (!start_daemon() || !service_.start()) {
            return fail(kFailed, "cannot start the server: %s", strerror(errno));
        }
        announce();
        while (!ending_) {
            step(next_ms());
        }
        return end();
    }

private:
    static constexpr size_t kOwnPolled = 2;

    bool open_signals()
    {
        signal_fd_.reset(signalfd(-1, &signals_, SFD_CLOEXEC | SFD_NONBLOCK));
        return static_cast<bool>(signal_fd_);
    }
    bool listen_there()
    {
        const Listen &where = settings_.listen;
        listener_.reset(socket(where.address.ss_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        const int on = 1;
        return listener_ &&
               setsockopt(listener_.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on)) == 0 &&
               setsockopt(listener_.get(), SOL_SOCKET, SO_SNDBUF, &kSendBuffer, sizeof(kSendBuffer)) ==
                   0 && // connections inherit it, and the next one
               setsockopt(listener_.get(), IPPROTO_TCP, TCP_USER_TIMEOUT, &kUnheardMs,
                          sizeof(kUnheardMs)) == 0 &&
               // Also an address that this machine gets later, as at its boot.
               setsockopt(listener_.get(), IPPROTO_IP, IP_FREEBIND, &on, sizeof(on)) == 0 &&
               bind(listener_.get(), reinterpret_cast<const sockaddr *>(&where.address),
                    where.length) == 0 &&
               listen(listener_.get(), kBacklog) == 0;
    }
    bool start_daemon()
    {
        daemon_ = MHD_start_daemon(
            MHD_USE_EPOLL | MHD_ALLOW_SUSPEND_RESUME, 0, nullptr, nullptr, on_request, &service_,
            MHD_OPTION_LISTEN_SOCKET, listener_.get(), MHD_OPTION_NOTIFY_CONNECTION, on_connection,
            this, MHD_OPTION_NOTIFY_COMPLETED, on_completed, &service_, MHD_OPTION_UNESCAPE_CALLBACK,
            leave_as_it_is, nullptr, MHD_OPTION_CONNECTION_LIMIT, kMaxConnections,
            MHD_OPTION_PER_IP_CONNECTION_LIMIT, settings_.listen.loopback ? 0U : kMaxFromOneAddress,
            MHD_OPTION_CONNECTION_MEMORY_LIMIT, kConnectionMemory, MHD_OPTION_CONNECTION_TIMEOUT,
            kSilenceSeconds, MHD_OPTION_STRICT_FOR_CLIENT, 1, MHD_OPTION_END);
        if (daemon_ == nullptr) {
            return false;
        }
        listener_.release(); // closed with the daemon
        const MHD_DaemonInfo *info = MHD_get_daemon_info(daemon_, MHD_DAEMON_INFO_EPOLL_FD);
        poll_fd_ = info != nullptr ? info->epoll_fd : -1;
        return poll_fd_ >= 0;
    }
    void announce() const
    {
        const MHD_DaemonInfo *info = MHD_get_daemon_info(daemon_, MHD_DAEMON_INFO_BIND_PORT);
        Record()
            .event("listening")
            .text("listening at")
            .word("address", settings_.listen.text)
            .number("port", info != nullptr ? info->port : 0);
    }

    // ---- Connections ----

    static void on_connection(void *context, MHD_Connection *connection, void **slot,
                              MHD_ConnectionNotificationCode code)
    {
        Server &server = *static_cast<Server *>(context);
        if (code == MHD_CONNECTION_NOTIFY_STARTED) {
            *slot = server.take_slot(connection);
        } else {
            static_cast<Slot *>(*slot)->connection = nullptr;
        }
    }
    // There are as many as connections.
    Slot *take_slot(MHD_Connection *connection)
    {
        Slot *slot = slots_;
        while (slot->connection != nullptr) {
            ++slot;
        }
        slot->connection = connection;
        slot->deadline_ms = now_ms() + kRequestMs;
        slot->asleep = false;
        return slot;
    }
    void close_late(int64_t now)
    {
        for (Slot &slot : slots_) {
            if (slot.connection != nullptr && slot.deadline_ms <= now) {
                slot.deadline_ms = kNever;
                shutdown(socket_of(slot.connection), SHUT_RDWR); // the daemon finds it closed
            }
        }
    }

    // ---- The loop ----

    int64_t next_ms() const
    {
        int64_t next = service_.next_ms().value_or(kNever);
        for (const Slot &slot : slots_) {
            if (slot.connection != nullptr) {
                next = std::min(next, slot.deadline_ms);
            }
        }
        MHD_UNSIGNED_LONG_LONG left;
        if (MHD_get_timeout(daemon_, &left) == MHD_YES && left < INT_MAX) {
            next = std::min(next, now_ms() + static_cast<int64_t>(left));
        }
        return next;
    }
    void step(int64_t until_ms)
    {
        pollfd polled[kOwnPolled + Service::kMaxPolled];
        polled[0] = {signal_fd_.get(), POLLIN, 0};
        polled[1] = {poll_fd_, POLLIN, 0};
        const size_t count = service_.add_polled(polled + kOwnPolled);
        const int64_t left = std::clamp<int64_t>(until_ms - now_ms(), 0, INT_MAX);
        const int timeout = until_ms == kNever ? -1 : static_cast<int>(left);
        if (poll(polled, kOwnPolled + count, timeout) < 0 && errno != EINTR) {
            return; // without memory: the next one may succeed
        }
        take_signals();
        service_.handle(polled + kOwnPolled, count);
        const int64_t now = now_ms();
        service_.tick(now);
        close_late(now);
        MHD_run(daemon_);
    }
    void take_signals()
    {
        signalfd_siginfo signal;
        bool child_ended = false;
        while (read(signal_fd_.get(), &signal, sizeof(signal)) == sizeof(signal)) {
            child_ended = child_ended || signal.ssi_signo == SIGCHLD;
            ending_ = ending_ || signal.ssi_signo != SIGCHLD;
        }
        if (child_ended) {
            service_.reap();
        }
    }

    // ---- The end ----

    bool anything_waits() const
    {
        return std::any_of(std::begin(slots_), std::end(slots_), [](const Slot &slot) {
            return slot.connection != nullptr && slot.exchange;
        });
    }
    int end()
    {
        const MHD_socket listening = MHD_quiesce_daemon(daemon_);
        if (listening != MHD_INVALID_SOCKET) {
            close(listening);
        }
        service_.let_go();
        const int64_t deadline = now_ms() + kEndMs;
        while (anything_waits() && now_ms() < deadline) {
            step(std::min(deadline, next_ms()));
        }
        if (!service_.end()) {
            note("ended out of order: the WAN manager does not answer");
            fflush(nullptr);
            _exit(kDone); // the library's threads still use what would be destroyed
        }
        Record().event("ended");
        return kDone;
    }

    const Settings &settings_;
    const sigset_t &signals_;
    Service service_;
    OwnFd signal_fd_;
    OwnFd listener_;
    MHD_Daemon *daemon_ = nullptr;
    int poll_fd_ = -1;
    bool ending_ = false;
    Slot slots_[kMaxConnections + 1];
};

} // namespace

int serve(const Settings &settings, const sigset_t &signals)
{
    void *const memory = malloc(sizeof(Server)); // too much for a stack
    if (memory == nullptr) {
        return fail(kFailed, "out of memory");
    }
    auto *const server = new (memory) Server(settings, signals);
    const int code = server->run();
    server->~Server();
    free(memory);
    return code;
}

} // namespace lterouter::tools
