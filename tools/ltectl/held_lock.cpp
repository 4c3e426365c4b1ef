#include "ltectl/held_lock.h"

#include "lc_file/stream.h"
#include "lc_pthread.h"

#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lterouter::tools {
namespace {

struct Lock {
    bool waits; // for the one before it
    int pid;    // not positive when no process owns it, or one that cannot be seen from here
    unsigned long long inode;
};

// A line of the table: "1: -> POSIX  ADVISORY  WRITE 25636 fe:00:10952831 0 EOF".
bool parse(const char *line, Lock *lock)
{
    const char *kind = line + strcspn(line, " ");
    kind += strspn(kind, " ");
    lock->waits = strncmp(kind, "->", 2) == 0;
    return sscanf(kind + (lock->waits ? 2 : 0), "%*s %*s %*s %d %*x:%*x:%llu", &lock->pid,
                  &lock->inode) == 2;
}

// Shows each lock to a function, until it returns true. Returns whether it did.
template <typename Found> bool find(Found found)
{
    const Stream table{fopen("/proc/locks", "re")};
    char line[256];
    Lock lock;
    while (table && fgets(line, sizeof(line), table.get()) != nullptr) {
        if (parse(line, &lock) && found(lock)) {
            return true;
        }
    }
    return false;
}

// The lock that this process waits for: after each, the table has those who wait for it.
bool find_lock(Lock *held)
{
    *held = {};
    return find([held, self = getpid()](const Lock &lock) {
        *held = lock.waits ? *held : lock;
        return lock.waits && lock.pid == self;
    });
}

// The path of a file that this process has open.
void find_path(unsigned long long inode, char *path, size_t size)
{
    DIR *folder = opendir("/proc/self/fd");
    if (folder == nullptr) {
        return;
    }
    while (const dirent *entry = readdir(folder)) {
        char link[sizeof("/proc/self/fd/") + sizeof(entry->d_name)];
        snprintf(link, sizeof(link), "/proc/self/fd/%s", entry->d_name);
        struct stat status;
        if (stat(link, &status) == 0 && S_ISREG(status.st_mode) && status.st_ino == inode) {
            const ssize_t length = readlink(link, path, size - 1);
            path[length > 0 ? length : 0] = '\0';
            break;
        }
    }
    closedir(folder);
}

} // namespace

bool is_locked(ino_t file)
{
    return find([file](const Lock &lock) { return !lock.waits && lock.inode == file; });
}

bool is_upgrade_running()
{
    // Not by a lock of its own, which an upgrade that begins meanwhile would take for another's.
    struct stat file;
    return lstat(kUpgradeLock, &file) == 0 && is_locked(file.st_ino);
}

HeldLock::HeldLock()
{
    Lock held;
    if (find_lock(&held)) {
        find_path(held.inode, path_, sizeof(path_));
        name_holder(held.pid);
    }
}

void HeldLock::name_holder(int pid)
{
    if (pid > 0) {
        char name[17] = ""; // one more than is filled
        psname(pid, name, sizeof(name) - 1);
        snprintf(holder_, sizeof(holder_), "process %d (%s)", pid, name);
        snprintf(next_step_, sizeof(next_step_), "if it hangs, end it: kill %d", pid);
    } else {
        snprintf(holder_, sizeof(holder_), "another process");
        snprintf(next_step_, sizeof(next_step_), "fuser %s shows who has the file open", path_);
    }
}

} // namespace lterouter::tools
