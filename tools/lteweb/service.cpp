#include "lteweb/service.h"

#include "common/clock.h"
#include "common/slice.h"
#include "common/wan_manager.h"
#include "ltectl/held_lock.h"
#include "lteweb/guard.h"
#include "lteweb/json_text.h"
#include "lteweb/page.h"
#include "lteweb/password.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>

namespace lterouter::tools {
namespace {

// Longer than ltectl's own deadlines, which give the better message.
constexpr int64_t kCommandMs = 20000;
constexpr int64_t kScanMs = 200000;
constexpr int64_t kNoLimitMs = 0;
constexpr int64_t kLookMs = 2000;

constexpr Refusal kNoMemory = {kUnavailable, "out of memory", 1};
constexpr Refusal kBusy = {kUnavailable, "too much is going on; try again", 1};
constexpr Refusal kNoSession = {kUnauthorized, "log in first"};
constexpr Refusal kNotStarted = {kBadGateway, "ltectl cannot be started"};

// Who reads an identity has to log in, and the status is for everybody.
constexpr std::string_view kIdentities[] = {",\"imsi\":\"", ",\"imei\":\""};

// Without the members that begin like this; their values are digits.
void write_without_identities(FILE *file, std::string_view object)
{
    while (!object.empty()) {
        size_t nearest = object.size();
        size_t length = 0;
        for (const std::string_view identity : kIdentities) {
            const size_t place = object.find(identity);
            if (place < nearest) {
                nearest = place;
                length = identity.size();
            }
        }
        fwrite(object.data(), 1, nearest, file);
        object.remove_prefix(nearest + length);
        if (length != 0) {
            object.remove_prefix(std::min(object.find('"') + 1, object.size()));
        }
    }
}

void write_objects(FILE *file, std::string_view lines, bool with_identities)
{
    const char *separator = "";
    fputc('[', file);
    while (!lines.empty()) {
        const std::string_view line = take_line(&lines);
        if (is_object(line)) {
            fputs(separator, file);
            if (with_identities) {
                fwrite(line.data(), 1, line.size(), file);
            } else {
                write_without_identities(file, line);
            }
            separator = ",";
        }
    }
    fputc(']', file);
}

void reply_with_output(const Exchange &exchange, const Child &child, Reply *reply)
{
    TextStream text;
    if (text) {
        JsonObject object(text.file());
        object.number("exit", child.exit_code());
        write_objects(object.key("objects"), child.output(), exchange.logged_in);
        object.text("message", child.errors());
    }
    reply_with(text, reply);
}

void reply_with_file(const Child &child, Reply *reply)
{
    TextStream text;
    if (text) {
        fwrite(child.output().data(), 1, child.output().size(), text.file());
    }
    reply_with(text, reply);
    if (reply->status == kOk) {
        reply->type = "application/octet-stream";
        reply->download = "parameters.cfg";
    }
}

// ---- Events ----

void write_link(FILE *file, const lct_link_status &link)
{
    const bool known = link.link_status < std::size(kLinkStates);
    JsonObject object(file);
    object.text("event", "link").text("status", known ? kLinkStates[link.link_status] : "unknown");
    if (!known) {
        object.number("status_value", link.link_status);
    }
    if (link.link_status == LCT_LINK_CONNECTED) {
        for (const LinkText &text : link_texts(link)) {
            if (!text.value.empty()) {
                object.text(text.name, text.value);
            }
        }
    }
    object.text("name", get_link_str(link.link_status));
}

void write_interface(FILE *file, const lct_iface_status &interface)
{
    JsonObject(file)
        .text("event", "interface")
        .text("status", interface.readiness == kReady ? "ready" : "not ready")
        .text("name", get_iface_status_str(interface.readiness));
}

const char *write_news(FILE *file, const News &news)
{
    switch (news.kind) {
    case NewsKind::kLink:
        write_link(file, news.link);
        return "link";
    case NewsKind::kInterface:
        write_interface(file, news.interface);
        return "interface";
    case NewsKind::kGone:
    case NewsKind::kBack:
        JsonObject(file)
            .text("event", "manager")
            .text("status", news.kind == NewsKind::kGone ? "gone" : "back");
        return "manager";
    case NewsKind::kSample:
        History::write_sample(file, news.sample);
        return "sample";
    }
    return "";
}

void earlier(std::optional<int64_t> *first, std::optional<int64_t> other)
{
    if (other && (!*first || *other < **first)) {
        *first = other;
    }
}

} // namespace

Service::Service(const Settings &settings, const Sleeper &sleeper)
    : settings_(settings), sleeper_(sleeper), password_(password_stamp(settings.password_file)),
      listeners_(sleeper), scan_("scan", kScanMs, listeners_),
      upgrade_("upgrade", kNoLimitMs, listeners_)
{
}

template <typename Self, typename Visit> void Service::each_child(Self &self, Visit visit)
{
    for (auto &child : self.children_) {
        visit(child);
    }
    visit(self.scan_.child());
    visit(self.upgrade_.child());
}

// ---- Requests ----

Refusal Service::begin(Exchange &exchange, const Head &head)
{
    if (const Refusal refusal = judge_origin(head, settings_.listen, settings_.hosts); refusal) {
        return refusal;
    }
    Refusal refusal;
    exchange.route = find_route(head, &refusal);
    if (refusal) {
        return refusal;
    }
    const Route &route = *exchange.route;
    exchange.service = this;
    exchange.dry_run = head.dry_run;
    exchange.secure = head.origin != nullptr && begins_with(head.origin, "https://");
    look_at_password();
    const int64_t now = now_ms();
    const Session *const session = sessions_.find(cookie_value(head.cookie, kCookieName), now);
    exchange.logged_in = session != nullptr;
    if (session != nullptr) {
        memcpy(exchange.session_id, session->id, sizeof(exchange.session_id));
    } else if (needs_session(route)) {
        return kNoSession;
    }
    if (route.access == Access::kChanger) {
        refusal = sessions_.judge_token(*session, head, now);
    }
    uint64_t length;
    if (!refusal) {
        refusal = judge_body(route, head, settings_, &length);
    }
    return !refusal && route.work == Work::kUpgrade ? begin_upload(exchange, length) : refusal;
}

Refusal Service::begin_upload(Exchange &exchange, uint64_t length)
{
    if (upgrade_.running() || uploading_) {
        return {kConflict, "an upgrade is running"};
    }
    if (length == 0) {
        return {kBadRequest, "the image is empty"};
    }
    if (!exchange.image.open(settings_.image_folder, length)) {
        return {kNoStorage, "there is no room for the image"};
    }
    uploading_ = exchange.uploads = true;
    return {};
}

// Who has logged in with an earlier password has to do it again.
void Service::look_at_password()
{
    const PasswordStamp stamp = password_stamp(settings_.password_file);
    if (stamp != password_) {
        password_ = stamp;
        sessions_.end_all();
    }
}

void Service::end_outdated_streams()
{
    if (listeners_.any_reads_trace()) {
        look_at_password();
        listeners_.end_outdated(sessions_, now_ms());
    }
}

void Service::add_body(Exchange &exchange, const char *bytes, size_t size)
{
    if (exchange.route->work == Work::kUpgrade) {
        exchange.image.add(bytes, size);
    } else if (!exchange.body.add({bytes, size}, kLongestImport)) {
        reply_with(kNoMemory, &exchange.reply);
    }
}

void Service::serve(Exchange &exchange)
{
    // The session may have ended since the request began.
    exchange.session = exchange.logged_in ? sessions_.find(exchange.session_id, now_ms()) : nullptr;
    exchange.logged_in = exchange.session != nullptr;
    if (needs_session(*exchange.route) && !exchange.logged_in) {
        return reply_with(kNoSession, &exchange.reply);
    }
    switch (exchange.route->work) {
    case Work::kFile: {
        const PageFile &file = page_file(exchange.route->path);
        exchange.reply.status = kOk;
        exchange.reply.type = file.type;
        exchange.reply.constant = file.content;
        return;
    }
    case Work::kCommand:
    case Work::kExport:
    case Work::kImport:
    case Work::kScan:
        return serve_command(exchange);
    case Work::kUpgrade:
        return start_upgrade(exchange);
    case Work::kSession:
        return serve_session(exchange);
    case Work::kLogin:
        return serve_login(exchange);
    case Work::kLogout:
        return serve_logout(exchange);
    case Work::kHistory:
        return serve_history(exchange);
    case Work::kEvents:
        return serve_events(exchange);
    case Work::kJobs:
        return serve_jobs(exchange);
    }
}

void Service::abandon(Exchange &exchange)
{
    if (exchange.child != nullptr) {
        exchange.child->forget();
        if (is_reading(*exchange.route)) {
            exchange.child->end();
        }
    }
    if (exchange.uploads) {
        uploading_ = false;
    }
    if (exchange.listener != nullptr) {
        exchange.listener->close();
    }
}

void Service::serve_command(Exchange &exchange)
{
    const Route &route = *exchange.route;
    CommandLine line;
    JsonFields fields;
    if (route.body == BodyKind::kObject &&
        !parse_fields(exchange.body.data(), exchange.body.size(), &fields)) {
        return reply_with({kBadRequest, "the body is no object of texts"}, &exchange.reply);
    }
    begin_command(route, settings_, &line);
    if (exchange.dry_run) {
        line.add("--dry-run");
    }
    if (route.work == Work::kImport) {
        line.input.swap(exchange.body);
    }
    if (const Refusal refusal = add_fields(route, fields, &line); refusal) {
        return reply_with(refusal, &exchange.reply);
    }
    if (route.work == Work::kScan) {
        return start_job(exchange, scan_, line, -1);
    }
    run(exchange, line);
}

Child *Service::free_child(bool logged_in)
{
    const size_t count = logged_in ? kMaxChildren : kMaxOfStrangers;
    Child *const free =
        std::find_if(children_, children_ + count, [](const Child &child) { return !child.running(); });
    return free != children_ + count ? free : nullptr;
}

void Service::run(Exchange &exchange, CommandLine &line)
{
    line.add(nullptr);
    Child *const child = free_child(exchange.logged_in);
    if (child == nullptr) {
        return reply_with(kBusy, &exchange.reply);
    }
    if (!child->start(settings_.ltectl, line.arguments, line.input, -1,
                      {.on_end = on_end, .context = &exchange, .longest_ms = kCommandMs})) {
        return reply_with(kNotStarted, &exchange.reply);
    }
    exchange.child = child;
}

void Service::on_end(void *context, Child &child)
{
    Exchange &exchange = *static_cast<Exchange *>(context);
    if (child.was_late()) {
        reply_with({kGatewayTimeout, "ltectl did not end in time"}, &exchange.reply);
    } else if (child.was_cut()) {
        reply_with({kBadGateway, "ltectl had too much to say"}, &exchange.reply);
    } else if (exchange.route->work == Work::kExport && child.exit_code() == 0) {
        reply_with_file(child, &exchange.reply);
    } else {
        reply_with_output(exchange, child, &exchange.reply);
    }
    exchange.child = nullptr;
    exchange.service->sleeper_.wake(exchange.connection);
}

void Service::start_job(Exchange &exchange, Job &job, CommandLine &line, int stdin_file)
{
    if (job.running()) {
        return reply_with({kConflict, "it is running already"}, &exchange.reply);
    }
    if (!job.start(settings_, line, stdin_file)) {
        return reply_with(kNotStarted, &exchange.reply);
    }
    TextStream text;
    if (text) {
        fputs("{}", text.file());
    }
    reply_with(text, &exchange.reply, kAccepted);
}

void Service::start_upgrade(Exchange &exchange)
{
    if (exchange.image.error() != 0 || !exchange.image.rewind()) {
        return reply_with({kNoStorage, "there is no room for the image"}, &exchange.reply);
    }
    CommandLine line;
    begin_command(*exchange.route, settings_, &line);
    start_job(exchange, upgrade_, line, exchange.image.fd());
}

void Service::serve_session(Exchange &exchange)
{
    TextStream text;
    if (text) {
        JsonObject object(text.file());
        object.boolean("login", exchange.logged_in);
        if (exchange.logged_in) {
            object.text("token", exchange.session->token);
        }
        object.boolean("password", has_password(settings_.password_file));
    }
    reply_with(text, &exchange.reply);
}

void Service::serve_login(Exchange &exchange)
{
    const int64_t now = now_ms();
    if (const uint32_t wait = throttle_.wait_seconds(now); wait != 0) {
        return reply_with({kTooManyRequests, "too many wrong passwords", wait}, &exchange.reply);
    }
    JsonFields fields;
    const JsonField *password = nullptr;
    if (parse_fields(exchange.body.data(), exchange.body.size(), &fields) && fields.count == 1) {
        password = fields.find(exchange.route->fields[0].name);
    }
    if (password == nullptr || password->length > exchange.route->fields[0].longest) {
        return reply_with({kBadRequest, "the body is no password"}, &exchange.reply);
    }
    switch (check_password(settings_.password_file, password->value)) {
    case PasswordCheck::kRight:
        break;
    case PasswordCheck::kWrong:
        throttle_.failed(now);
        return reply_with({kUnauthorized, "this is not the password"}, &exchange.reply);
    case PasswordCheck::kNone:
        return reply_with({kForbidden, "no password is set"}, &exchange.reply);
    case PasswordCheck::kUnreadable:
        return reply_with({kForbidden, "the password file holds no hash of a password"},
                          &exchange.reply);
    }
    throttle_.succeeded();
    sessions_.end(exchange.session); // its cookie is replaced
    const Session *const session = sessions_.begin(now);
    if (session == nullptr) {
        return reply_with({kUnavailable, "there are no random numbers", 1}, &exchange.reply);
    }
    snprintf(exchange.reply.cookie, sizeof(exchange.reply.cookie),
             "lteweb=%s; Path=/; HttpOnly; SameSite=Strict%s", session->id,
             exchange.secure ? "; Secure" : "");
    TextStream text;
    if (text) {
        JsonObject(text.file()).text("token", session->token);
    }
    reply_with(text, &exchange.reply);
}

void Service::serve_logout(Exchange &exchange)
{
    sessions_.end(exchange.session);
    end_outdated_streams();
    snprintf(exchange.reply.cookie, sizeof(exchange.reply.cookie),
             "lteweb=; Path=/; Max-Age=0; HttpOnly; SameSite=Strict");
    exchange.reply.status = kOk;
    exchange.reply.constant = "{}";
}

void Service::serve_history(Exchange &exchange)
{
    TextStream text;
    if (text) {
        history_.write(text.file(), settings_.sample_seconds);
    }
    reply_with(text, &exchange.reply);
}

void Service::serve_events(Exchange &exchange)
{
    exchange.listener = listeners_.open(exchange.connection, exchange.session_id);
    if (exchange.listener == nullptr) {
        return reply_with({kUnavailable, "too many listen already", 5}, &exchange.reply);
    }
    trace_.want(listeners_.any_reads_trace());
}

void Service::serve_jobs(Exchange &exchange)
{
    TextStream text;
    if (text) {
        JsonObject object(text.file());
        scan_.write(object.key("scan"));
        upgrade_.write(object.key("upgrade"));
    }
    reply_with(text, &exchange.reply);
}

// ---- Waiting ----

size_t Service::add_polled(pollfd *polled) const
{
    size_t count = 0;
    polled[count++] = {watcher_.fd(), POLLIN, 0};
    count += listeners_.add_polled(polled + count);
    each_child(*this, [&](const Child &child) { count += child.add_polled(polled + count); });
    return count;
}

void Service::handle(const pollfd *polled, size_t count)
{
    listeners_.end_closed(polled, count);
    take_news();
    each_child(*this, [](Child &child) { child.exchange(); });
}

void Service::reap()
{
    each_child(*this, [](Child &child) { child.reap(); });
}

void Service::take_news()
{
    News news;
    while (watcher_.take(&news)) {
        if (news.kind == NewsKind::kSample) {
            history_.add(news.sample);
        }
        publish_news(news);
    }
}

void Service::publish_news(const News &news)
{
    TextStream text;
    const char *const kind = text ? write_news(text.file(), news) : "";
    if (!text.finish()) {
        return;
    }
    if (news.kind == NewsKind::kSample) {
        listeners_.publish(kind, text.view());
    } else {
        listeners_.keep(kind, text.view());
    }
}

std::optional<int64_t> Service::next_ms() const
{
    std::optional<int64_t> next = next_look_ms_;
    earlier(&next, listeners_.next_ms());
    earlier(&next, trace_.next_ms());
    each_child(*this, [&](const Child &child) { earlier(&next, child.next_ms()); });
    return next;
}

void Service::tick(int64_t now)
{
    if (now >= next_look_ms_) {
        next_look_ms_ = now + kLookMs;
        upgrade_.note_elsewhere(!upgrade_.child().running() && is_upgrade_running());
    }
    listeners_.tick(now);
    end_outdated_streams();
    trace_.want(listeners_.any_reads_trace());
    trace_.tick(
        now,
        [](void *context, std::string_view line) {
            TextStream text;
            if (text) {
                JsonObject(text.file()).text("line", line);
            }
            if (text.finish()) {
                static_cast<Listeners *>(context)->publish_trace(text.view());
            }
        },
        &listeners_);
    each_child(*this, [=](Child &child) { child.tick(now); });
}

// ---- The end ----

void Service::let_go()
{
    listeners_.end_all();
    for (Child &child : children_) {
        child.end();
    }
    scan_.child().end();
}

bool Service::end()
{
    for (Child &child : children_) {
        child.kill_now();
    }
    scan_.child().kill_now();
    return watcher_.stop();
}

} // namespace lterouter::tools
