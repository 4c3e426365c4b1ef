#include "ltectl/store_watch.h"

#include "common/program.h"
#include "ltectl/deadline.h"
#include "ltectl/nv_store.h"
#include "ltectl/storage.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <poll.h>
#include <sys/stat.h>

namespace lterouter::tools {
namespace {

constexpr char kMounts[] = "/proc/self/mounts";

int cannot_watch(const char *what)
{
    const char *limit = errno == ENOSPC   ? "; fs.inotify.max_user_watches is the limit"
                        : errno == EMFILE ? "; fs.inotify.max_user_instances may be the limit"
                                          : "";
    return *limit == '\0' ? cannot("watch", what, errno)
                          : fail(kFailed, "cannot watch %s: %s%s", what, strerror(errno), limit);
}

// A file that has just been made and not yet been written, which is told in its turn.
bool is_unwritten(const CopyPlace &place, const inotify_event &event)
{
    struct stat status;
    return (event.mask & IN_CREATE) != 0 && stat(CopyPath(place, event.name).text, &status) == 0 &&
           S_ISREG(status.st_mode) && status.st_size == 0;
}

bool is_defaults_file(const char *name)
{
    return strcmp(name, strrchr(NVM_DEFAULTS_FILE, '/') + 1) == 0;
}

} // namespace

// A directory that is not there is watched for in the one above, which is watched first, so that none
// is made unnoticed.
int StoreWatch::add(const char *directory, int *watch)
{
    char above[sizeof(NVM_CURRENT_DIR)];
    for (const char *slash = strchr(directory, '/'); slash != nullptr; slash = strchr(slash + 1, '/')) {
        const auto length = static_cast<size_t>(slash - directory) + 1;
        memcpy(above, directory, length);
        above[length] = '\0';
        // Without IN_MODIFY: a file that is emptied before it is written holds nothing meanwhile.
        *watch = events_->add(above, kFileChanges | IN_ONLYDIR);
        if (*watch < 0 && errno != ENOENT && errno != ENOTDIR) {
            return cannot_watch(above);
        }
    }
    return kDone;
}

int StoreWatch::begin()
{
    position_ = end_ = 0;
    events_.emplace();
    if (!*events_) {
        return cannot_watch(kPersistentStore.root);
    }
    if (!mounts_) {
        mounts_.emplace(open(kMounts, O_RDONLY | O_CLOEXEC));
    }
    const int code = add(kCurrent.directory, &current_);
    return code == kDone ? add(kBackup.directory, &backup_) : code;
}

// No value for what concerns no parameter.
std::optional<StoreWatch::Told> StoreWatch::tell(const inotify_event &event)
{
    const bool of_file = (event.mask & kFileChanges) != 0 && event.len != 0;
    if (of_file && (event.wd == current_ || event.wd == backup_)) {
        name_ = event.name;
        return is_unwritten(event.wd == current_ ? kCurrent : kBackup, event)
                   ? std::nullopt
                   : std::optional(Told::kParameter);
    }
    const bool of_another = of_file && (event.mask & IN_ISDIR) == 0 && !is_defaults_file(event.name);
    return of_another ? std::nullopt : std::optional(Told::kEverything);
}

std::optional<StoreWatch::Told> StoreWatch::tell_next()
{
    std::optional<Told> told;
    while (!told && position_ < end_) {
        const auto *event = reinterpret_cast<const inotify_event *>(told_ + position_);
        position_ += sizeof(*event) + event->len;
        told = tell(*event);
    }
    return told;
}

StoreWatch::Told StoreWatch::await()
{
    for (;;) {
        if (const auto told = tell_next()) {
            return *told;
        }
        pollfd watched[] = {{stop_fd(), POLLIN, 0},
                            {events_->fd(), POLLIN, 0},
                            {mounts_->get(), POLLPRI, 0}, // the kernel tells of no change below
                            {STDOUT_FILENO, 0, 0}};
        if (poll(watched, std::size(watched), -1) < 0) {
            return Told::kError;
        }
        if (watched[0].revents != 0) {
            return Told::kSignal;
        }
        if (watched[2].revents != 0) {
            return Told::kEverything;
        }
        if (watched[1].revents == 0) {
            return Told::kReaderGone;
        }
        const ssize_t count = read(events_->fd(), told_, sizeof(told_));
        if (count < 0) {
            return Told::kError;
        }
        position_ = 0;
        end_ = static_cast<size_t>(count);
    }
}

} // namespace lterouter::tools
