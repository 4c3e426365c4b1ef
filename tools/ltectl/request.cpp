#include "ltectl/request.h"

#include "common/program.h"
#include "common/record.h"
#include "ltectl/client.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <pthread.h>
#include <unistd.h>

namespace lterouter::tools {
namespace {

// A request on a thread of its own.
class Pending {
public:
    Pending(int (*request)(void *), void *context) : request_(request), context_(context) {}
    Pending(const Pending &) = delete;
    Pending &operator=(const Pending &) = delete;

    int start() { return pthread_create(&thread_, nullptr, run, this); }

    // True when the request has ended by that second from the start.
    bool ended_by(const timespec &moment)
    {
        pthread_mutex_lock(&mutex_);
        while (!ended_ && pthread_cond_timedwait(&end_, &mutex_, &moment) == 0) {
        }
        const bool ended = ended_;
        pthread_mutex_unlock(&mutex_);
        return ended;
    }

    // The request's exit code, after its end.
    int join()
    {
        pthread_join(thread_, nullptr);
        return code_;
    }

private:
    static void *run(void *self)
    {
        auto &pending = *static_cast<Pending *>(self);
        pending.code_ = pending.request_(pending.context_);
        pthread_mutex_lock(&pending.mutex_);
        pending.ended_ = true;
        pthread_cond_signal(&pending.end_);
        pthread_mutex_unlock(&pending.mutex_);
        return nullptr;
    }

    int (*const request_)(void *);
    void *const context_;
    pthread_t thread_ = {};
    pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t end_ = PTHREAD_COND_INITIALIZER;
    bool ended_ = false;
    int code_ = kFailed;
};

// One line on the terminal that is written over every second.
class ProgressLine {
public:
    explicit ProgressLine(const char *what) : what_(isatty(STDERR_FILENO) == 1 ? what : nullptr) {}
    ~ProgressLine()
    {
        if (what_ != nullptr) {
            fputs("\r\033[K", stderr);
        }
    }
    ProgressLine(const ProgressLine &) = delete;
    ProgressLine &operator=(const ProgressLine &) = delete;

    void show(uint32_t seconds) const
    {
        if (what_ != nullptr) {
            fprintf(stderr, "\r%s ... %u s", what_, seconds);
        }
    }

private:
    const char *const what_;
};

// False when the time is up.
bool await(Pending &pending, const char *progress)
{
    const ProgressLine line(progress);
    timespec moment;
    clock_gettime(CLOCK_REALTIME, &moment);
    for (uint32_t seconds = 0; g_timeout_seconds == 0 || seconds < g_timeout_seconds; ++seconds) {
        line.show(seconds);
        ++moment.tv_sec;
        if (pending.ended_by(moment)) {
            return true;
        }
    }
    return false;
}

int run_watched(int (*request)(void *), void *context, const char *progress)
{
    Pending pending(request, context);
    const int error = pending.start();
    if (error != 0) {
        return fail(kFailed, "cannot start a thread: %s", strerror(error));
    }
    if (!await(pending, progress)) {
        fail(kFailed, "no answer after %u s; the WAN manager may go on with the request",
             g_timeout_seconds);
        // The request cannot be called off: it ends with the process, and so does all that it holds.
        _exit(kFailed);
    }
    return pending.join();
}

} // namespace

int run_request(int (*request)(void *), void *context, const char *progress)
{
    const bool watched = g_timeout_seconds != 0 || progress != nullptr;
    return watched ? run_watched(request, context, progress) : request(context);
}

int run_client_request(int (*request)(void *), void *context, const char *progress)
{
    Client client;
    const int started = client.start(Client::Events::kUnwanted);
    return started != kDone ? started : run_request(request, context, progress);
}

} // namespace lterouter::tools
