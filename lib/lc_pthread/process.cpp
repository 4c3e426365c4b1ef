#include "lc_pthread/process.h"

#include "lc_log/print.h"
#include "lc_pthread.h"
#include "support/fd.h"
#include "support/ignore.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace lterouter {
namespace {

constexpr LogFamily kLogFamily = kLogPthread;
constexpr int kLastSignal = 126;
constexpr int kTriesAfterFirst = 5;

struct CloseDir {
    void operator()(DIR *directory) const { closedir(directory); }
};
struct Free {
    void operator()(void *block) const { free(block); }
};
using Pids = std::unique_ptr<pid_t[], Free>;

// ---- In the child of _eval: only calls that are safe after fork in a threaded process ----

// ">FILE" truncates, ">>FILE" appends, a bare "FILE" is overwritten in place.
int open_redirect(const char *redirect)
{
    int flags = O_WRONLY | O_CREAT;
    if (redirect[0] == '>' && redirect[1] == '>') {
        flags |= O_APPEND;
        redirect += 2;
    } else if (redirect[0] == '>') {
        flags |= O_TRUNC;
        redirect += 1;
    }
    return open(redirect, flags, 0644);
}

void redirect_standard_descriptors(const char *redirect)
{
    close(STDIN_FILENO);
    close(STDOUT_FILENO);
    close(STDERR_FILENO);
    open("/dev/null", O_RDONLY);
    open("/dev/null", O_WRONLY);
    open("/dev/null", O_WRONLY);
    const int file = redirect != nullptr ? open_redirect(redirect) : -1;
    if (file >= 0 && file != STDOUT_FILENO) {
        dup2(file, STDOUT_FILENO);
        close(file);
    }
}

[[noreturn]] void run_command(char *const argv[], const char *redirect, int timeout)
{
    for (int sig = 0; sig <= kLastSignal; ++sig) {
        signal(sig, SIG_DFL);
    }
    // The child inherits the signal mask: with SIGALRM blocked there would be no time-out.
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    setsid();
    redirect_standard_descriptors(redirect);
    alarm(static_cast<unsigned int>(timeout));
    execvp(argv[0], argv);
    // Not exit, which would flush the host's buffers and run its exit handlers.
    _exit(errno);
}

// ---- Processes by name ----

bool is_number(const char *text) { return *text != '\0' && text[strspn(text, "0123456789")] == '\0'; }

bool has_name(int pid, const char *name)
{
    char found[256];
    return strcmp(psname(pid, found, sizeof(found)), name) == 0;
}

// Signals the processes until none is left, at most six times; a line and a pause follow each time but
// the last. Returns the last result of lc_killall.
int signal_until_gone(const char *caller, const char *name, int sig, const char *doing,
                      unsigned int seconds)
{
    int result = lc_killall(name, sig);
    for (int tries = kTriesAfterFirst; result == 0 && tries-- > 0;) {
        log_from(place(kLogFamily, __LINE__), "%s: %s name=%s n=%d\n\n", caller, doing, name, tries);
        sleep(seconds);
        result = lc_killall(name, sig);
    }
    return result;
}

} // namespace
} // namespace lterouter

using namespace lterouter;

pid_t lc_fork() { return fork(); }

// The reserved name is part of the interface: the router's modules link to it.
// NOLINTNEXTLINE(bugprone-reserved-identifier)
int _eval(char *const argv[], const char *redirect, int timeout, int *ppid)
{
    const pid_t pid = lc_fork();
    if (pid < 0) {
        return errno;
    }
    if (pid == 0) {
        run_command(argv, redirect, timeout);
    }
    if (ppid != nullptr) {
        *ppid = pid;
        return 0;
    }
    int status = 0;
    while (waitpid(pid, &status, 0) == -1) {
        if (errno != EINTR) {
            return errno;
        }
    }
    return status;
}

int f_read(const char *path, void *buf, int len)
{
    if (len < 0) {
        return -1;
    }
    const Fd file{open(path, O_RDONLY | O_CLOEXEC)};
    return file ? static_cast<int>(read(file.get(), buf, static_cast<size_t>(len))) : -1;
}

int f_read_string(const char *path, char *buf, int size)
{
    if (size < 1) {
        return -1;
    }
    const int length = f_read(path, buf, size - 1);
    buf[length > 0 ? length : 0] = '\0';
    return length;
}

char *psname(int pid, char *buf, int size)
{
    if (size < 1) {
        return nullptr;
    }
    buf[0] = '\0';
    char path[sizeof("/proc//stat") + 11];
    snprintf(path, sizeof(path), "/proc/%d/stat", pid);
    char text[512];
    if (f_read_string(path, text, sizeof(text)) < 5) {
        return buf;
    }
    // "PID (NAME) ...", where the name itself may hold parentheses.
    char *end = strrchr(text, ')');
    if (end == nullptr) {
        return buf;
    }
    *end = '\0';
    const char *start = strchr(text, '(');
    if (start != nullptr && atoi(text) == pid) {
        strncpy(buf, start + 1, static_cast<size_t>(size));
    }
    return buf;
}

int pids_by_name(const char *name, pid_t **pids)
{
    *pids = nullptr;
    const char *slash = strchr(name, '/');
    if (slash != nullptr) {
        name = slash + 1;
    }
    const std::unique_ptr<DIR, CloseDir> proc{opendir("/proc")};
    if (proc == nullptr) {
        return 0;
    }
    Pids found;
    int count = 0;
    while (const dirent *entry = readdir(proc.get())) {
        if (!is_number(entry->d_name) || !has_name(atoi(entry->d_name), name)) {
            continue;
        }
        void *grown = realloc(found.get(), (static_cast<size_t>(count) + 1) * sizeof(pid_t));
        if (grown == nullptr) {
            return -1;
        }
        ignore(found.release(), "the grown block has taken its place");
        found.reset(static_cast<pid_t *>(grown));
        found[static_cast<size_t>(count++)] = atoi(entry->d_name);
    }
    *pids = found.release();
    return count;
}

int lc_pidof(const char *name)
{
    pid_t *list = nullptr;
    const int count = pids_by_name(name, &list);
    const Pids pids{list};
    return count < 1 ? -1 : pids[0];
}

int lc_killall(const char *name, int sig)
{
    pid_t *list = nullptr;
    const int count = pids_by_name(name, &list);
    const Pids pids{list};
    if (count < 1) {
        return -2;
    }
    int result = 0;
    for (int i = count; i-- > 0;) {
        result |= kill(pids[static_cast<size_t>(i)], sig);
    }
    return result;
}

int lc_killall_tk(const char *name)
{
    int result = lc_killall(name, SIGTERM);
    if (result != 0) {
        return result;
    }
    result = signal_until_gone(__func__, name, 0, "waiting", 1);
    if (result != 0) {
        return result;
    }
    return signal_until_gone(__func__, name, SIGKILL, "SIGKILL", 2);
}
