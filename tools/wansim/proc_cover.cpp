#include "wansim/proc_cover.h"

#include "common/command.h"
#include "common/program.h"
#include "support/errno_guard.h"
#include "support/fd.h"
#include "support/ignore.h"
#include "wansim/board.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <iterator>
#include <memory>
#include <string_view>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace lterouter::tools {
namespace {

constexpr const char *kLedFiles[] = {"lte_signal_flag", "internet_flag", "lte_sim_flag"};

constexpr char kBuildFolder[] = "/tmp/wansim-board.XXXXXX";

// How many processes find themselves in /proc before the next look at those that have started.
constexpr uint32_t kAhead = 256;

// What the kernel calls the namespaces that it begins with, on every machine.
constexpr std::string_view kFirstUsers = "user:[4026531837]";
constexpr std::string_view kFirstProcesses = "pid:[4026531836]";

// The target of a link; empty where it cannot be read.
struct Target {
    char text[64];
    std::string_view view;

    explicit Target(const char *link)
    {
        const ssize_t length = readlink(link, text, sizeof(text));
        view = {text, static_cast<size_t>(std::max<ssize_t>(length, 0))};
    }
    bool is_other_than(std::string_view known) const { return !view.empty() && view != known; }
};

// Whether /proc is that of the processes among which this one is.
bool is_of_own_processes()
{
    uint32_t self = 0;
    return parse_number(Target("/proc/self").view, 1, INT32_MAX, &self) &&
           static_cast<pid_t>(self) == getpid();
}

// Only when it is certain that not every program of the machine sees what is mounted here. Root of a
// user namespace may only mount where that namespace's programs see it; a container has a first
// process of its own.
bool are_mounts_private()
{
    const Target of_first("/proc/1/ns/mnt");
    return Target("/proc/self/ns/user").is_other_than(kFirstUsers) ||
           (!of_first.view.empty() && Target("/proc/self/ns/mnt").is_other_than(of_first.view)) ||
           (Target("/proc/self/ns/pid").is_other_than(kFirstProcesses) && is_of_own_processes());
}

// Calls visit with the name of each entry.
template <typename Visit> void each_entry(const char *directory, Visit visit)
{
    struct Close {
        void operator()(DIR *open) const { closedir(open); }
    };
    const std::unique_ptr<DIR, Close> entries{opendir(directory)};
    if (entries == nullptr) {
        return;
    }
    while (const dirent *entry = readdir(entries.get())) {
        if (entry->d_name[0] != '.') {
            visit(entry->d_name);
        }
    }
}

// Of an entry of a folder.
struct Path {
    char text[sizeof(kBuildFolder) + sizeof('/') + sizeof(dirent::d_name)];

    Path(const char *folder, const char *name) { snprintf(text, sizeof(text), "%s/%s", folder, name); }
};

void link_entry(const char *folder, const char *name)
{
    ignore(symlink(Path("kernel", name).text, Path(folder, name).text), "it is there already");
}

// A link in a folder to each entry of procfs.
void link_entries(const char *procfs, const char *folder)
{
    each_entry(procfs, [folder](const char *name) { link_entry(folder, name); });
}

// Not a thread of one, which procfs finds by its number without listing it.
bool is_process(uint32_t number)
{
    const auto process = static_cast<pid_t>(number);
    return syscall(SYS_tgkill, process, process, 0) == 0 || errno != ESRCH;
}

// The number of the process that was started last; 0 when it cannot be read.
uint32_t last_process()
{
    char text[64];
    const Fd file(open("/proc/kernel/loadavg", O_RDONLY | O_CLOEXEC));
    const ssize_t length = read(file.get(), text, sizeof(text));
    const std::string_view line(text, static_cast<size_t>(std::max<ssize_t>(length, 0)));
    uint32_t last = 0;
    const size_t space = line.find_last_of(' ');
    if (space != line.npos && line.back() == '\n') {
        parse_number({line.begin() + space + 1, line.end() - 1}, 1, INT32_MAX, &last);
    }
    return last;
}

bool fill(const char *folder)
{
    const Path kernel(folder, "kernel");
    if (mkdir(kernel.text, 0555) != 0 ||
        mount("/proc", kernel.text, nullptr, MS_BIND | MS_REC, nullptr) != 0) {
        return false;
    }
    link_entries("/proc", folder);
    return std::all_of(std::begin(kLedFiles), std::end(kLedFiles), [folder](const char *name) {
        return mknod(Path(folder, name).text, S_IFREG | 0644, 0) == 0;
    });
}

// Built elsewhere, so that nobody sees a part of it.
bool cover_proc()
{
    char folder[sizeof(kBuildFolder)];
    memcpy(folder, kBuildFolder, sizeof(folder));
    if (mkdtemp(folder) == nullptr) {
        return false;
    }
    const bool mounted =
        mount("wansim", folder, "tmpfs", MS_NOSUID | MS_NODEV | MS_NOEXEC, "mode=755") == 0;
    const bool covered =
        mounted && fill(folder) && mount(folder, "/proc", nullptr, MS_BIND | MS_REC, nullptr) == 0;
    const ErrnoGuard guard;
    if (mounted) {
        umount2(folder, MNT_DETACH);
    }
    rmdir(folder);
    return covered;
}

} // namespace

int ProcCover::open()
{
    if (std::all_of(std::begin(kLedFiles), std::end(kLedFiles),
                    [](const char *name) { return access(Path("/proc", name).text, F_OK) == 0; })) {
        return kDone;
    }
    if (!are_mounts_private()) {
        return refuse_board("would cover /proc, for the LEDs' files, for every program of this machine",
                            0);
    }
    covers_ = cover_proc();
    if (!covers_) {
        return refuse_board("cannot cover /proc for the LEDs' files", errno);
    }
    follow_processes();
    return kDone;
}

ProcCover::~ProcCover()
{
    if (covers_) {
        umount2("/proc", MNT_DETACH);
    }
}

void ProcCover::follow_processes() const
{
    if (!covers_) {
        return;
    }
    link_entries("/proc/kernel", "/proc");
    const uint32_t last = last_process();
    for (uint32_t process = last + 1; process <= last + kAhead; ++process) {
        char name[16];
        snprintf(name, sizeof(name), "%u", process);
        link_entry("/proc", name);
    }
    each_entry("/proc", [last](const char *name) {
        uint32_t process = 0;
        if (parse_number(name, 1, INT32_MAX, &process) && process - last - 1 >= kAhead &&
            !is_process(process)) {
            unlink(Path("/proc", name).text);
        }
    });
}

} // namespace lterouter::tools
