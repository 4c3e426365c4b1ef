// This process as a client of the WAN manager: a thread of its own, since the library's calls may wait.
// What it learns comes through a pipe.
#pragma once

#include "lte_sdk.h"
#include "lteweb/child.h"
#include "lteweb/history.h"

#include <cstdint>
#include <pthread.h>

namespace lterouter::tools {

enum class NewsKind : uint32_t { kLink, kInterface, kGone, kBack, kSample };

struct News {
    NewsKind kind;
    union {
        lct_link_status link; // without what is not known
        lct_iface_status interface;
        Sample sample;
    };
};

class Watcher {
public:
    Watcher() = default;
    ~Watcher();
    Watcher(const Watcher &) = delete;
    Watcher &operator=(const Watcher &) = delete;

    // False with errno set. Signals that the caller has blocked stay blocked on the library's threads.
    bool start(const char *interface_name, uint32_t sample_seconds);
    int fd() const { return news_.get(); }
    // False when there is nothing more for now.
    bool take(News *news);
    // False when a call of the library did not end in time: it goes on until the process ends.
    bool stop();

private:
    OwnFd news_;
    OwnFd stop_;
    bool running_ = false;
    pthread_t thread_ = {};
};

} // namespace lterouter::tools
