// Command lines of ltectl, from its main on, without a WAN manager: exit code, output and messages are
// such as a script can rely on. Input: the arguments, each up to a NUL.
#include "common/program.h"
#include "lc_nv.h"
#include "lte_sdk.h"
#include "ltectl/deadline.h"
#include "parameter_text.h"
#include "printed.h"
#include "support.h"

#include <algorithm>
#include <bitset>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <dlfcn.h>
#include <poll.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <vector>

using namespace fuzzing;

// The program under another name.
int ltectl_main(int argc, char **argv);

namespace {

constexpr size_t kMostArguments = 12;
constexpr const char *kOutput = "/tmp/output";
constexpr const char *kFolder = "/tmp/folder"; // the current one of a call

// ---- The program's variables ----

extern "C" {
extern char __start_program_bss[];
extern char __stop_program_bss[];
extern char __start_program_data[];
extern char __stop_program_data[];
}

// What lies between the variables is not to be touched by ordinary code.
#define UNCHECKED __attribute__((no_sanitize("address", "coverage")))

UNCHECKED void copy(volatile char *to, const volatile char *from, size_t size)
{
    for (size_t i = 0; i < size; ++i) {
        to[i] = from[i];
    }
}

UNCHECKED void clear(volatile char *from, const volatile char *to)
{
    while (from != to) {
        *from++ = 0;
    }
}

class Variables {
public:
    Variables() : start_(static_cast<size_t>(__stop_program_data - __start_program_data))
    {
        copy(start_.data(), __start_program_data, start_.size());
    }
    void restore() const
    {
        copy(__start_program_data, start_.data(), start_.size());
        clear(__start_program_bss, __stop_program_bss);
    }

private:
    std::vector<char> start_;
};

// ---- The machine ----

// Set in the thread that runs the program: it waits for nothing, and writes only where it may.
thread_local bool g_runs = false;

int g_full = -1; // where nothing can be written to

constexpr int kStop = 1000; // readable when a signal has come
constexpr int kMostWaits = 16;
int g_waits = 0; // of this call for a signal among others

bool g_changes = true; // whether a call may have changed what there is to be read

bool begins(const char *path, std::string_view folder)
{
    return std::string_view(path).starts_with(folder);
}

bool is_trace(std::string_view path) { return path == LCT_TRACE_FILE || path == LCT_TRACE_OLDER_FILE; }

// Not what would harm, nor a device that never ends or never begins.
bool may_open(const char *path, bool writes)
{
    if (!g_runs) {
        return true;
    }
    g_changes = g_changes || (writes && !is_trace(path));
    if (begins(path, "/tmp/") || begins(path, "/2ndfile/")) {
        return true;
    }
    const bool relative = path[0] != '/' && strstr(path, "..") == nullptr;
    return relative || (!writes && !begins(path, "/dev/") && !begins(path, "/proc/")) ||
           strcmp(path, "/proc/net/dev") == 0 || strcmp(path, "/proc/net/unix") == 0;
}

void put_folders()
{
    mkdir("/2ndfile/nv", 0777);
    for (const char *folder : {NVM_CURRENT_DIR, NVM_BACKUP_DIR, NVMRAM_DIR, kFolder}) {
        mkdir(folder, 0777);
        empty_folder(folder);
    }
    rmdir(NVM_SHUTDOWN_MARKER);
}

// By which modules are told what to log.
void remove_flags()
{
    DIR *directory = opendir("/tmp");
    while (const dirent *entry = readdir(directory)) {
        if (begins(entry->d_name, ".LC_DEBUG_FLAG")) {
            unlinkat(dirfd(directory), entry->d_name, 0);
        }
    }
    closedir(directory);
}

// What there is to be read.
void put_files()
{
    if (!g_changes) {
        return;
    }
    g_changes = false;
    constexpr std::string_view kParameters = "a=1=x\nb=2=y\n";
    put_folders();
    remove_flags();
    write_file(LCT_TRACE_OLDER_FILE, "[lib/lc_up:lc_up_start:89]modem up start\n\n\xc2\x9b\x9b\x1b\n");
    write_file(NVM_DEFAULTS_FILE, NV_IDENTITY_VERSION "=1=1\na=1=x\nb=2=y\n");
    write_file(NVM_CURRENT_DIR "a", {"new", 4});
    write_file(NVM_BACKUP_DIR "a", {"new", 4});
    write_file(NVMRAM_DIR "r", {"volatile", 9});
    write_file("/tmp/folder/p", with_checksum(kParameters));
    write_file("/tmp/folder/q", kParameters);
    write_file("/tmp/folder/l", "1>26201>Home>internet>user>secret>1>\n");
    write_file("/tmp/folder/i", std::string(2100, 'i'));
}

// ---- One call ----

struct Result {
    int code;
    std::string output;
    std::string messages;
    bool json;
};

constexpr int kMostDescriptors = 64;

// Ends what a process ends with.
class Process {
public:
    Process() : current_(open(".", O_PATH | O_CLOEXEC))
    {
        require(chdir(kFolder) == 0, "there is a folder");
        for (int fd = 0; fd < kMostDescriptors; ++fd) {
            was_open_.set(static_cast<size_t>(fd), fcntl(fd, F_GETFD) >= 0);
        }
        const int output = open(kOutput, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
        dup2(output, STDOUT_FILENO);
        g_full = open("/dev/full", O_WRONLY | O_CLOEXEC);
        pthread_sigmask(SIG_SETMASK, nullptr, &signals_);
        g_runs = true;
    }
    ~Process()
    {
        g_runs = false;
        fflush(stdout);
        clearerr(stdout);
        pthread_sigmask(SIG_SETMASK, &signals_, nullptr);
        for (int fd = 0; fd < kMostDescriptors; ++fd) {
            if (!was_open_.test(static_cast<size_t>(fd))) {
                close(fd);
            }
        }
        require(fchdir(current_) == 0, "there was a folder");
        close(current_);
    }
    Process(const Process &) = delete;
    Process &operator=(const Process &) = delete;

private:
    const int current_;
    std::bitset<kMostDescriptors> was_open_;
    sigset_t signals_;
};

// --get, and -g alone or after another letter: bare values instead of objects.
bool asks_for_fields(std::string_view argument)
{
    return argument.starts_with("--")
               ? argument.starts_with("--get")
               : argument.starts_with('-') && argument.find('g') != argument.npos;
}

Result run(std::vector<char *> arguments)
{
    static const Variables variables;
    variables.restore();
    g_waits = 0;
    const auto argc = static_cast<int>(arguments.size());
    const bool in_fields = std::any_of(arguments.begin(), arguments.end(), asks_for_fields);
    arguments.push_back(nullptr);
    Result result;
    {
        const Process process;
        Printed messages(stderr);
        result.code = ltectl_main(argc, arguments.data());
        result.messages = messages.take();
    }
    result.output = read_file(kOutput);
    result.json = lterouter::tools::g_program.json && !in_fields;
    return result;
}

// ---- What a script relies on ----

// Takes a string of JSON off the text; false when there is none.
bool take_string(std::string_view *text)
{
    if (!text->starts_with('"')) {
        return false;
    }
    for (size_t i = 1; i < text->size() && static_cast<uint8_t>((*text)[i]) >= 0x20; ++i) {
        if ((*text)[i] == '"') {
            text->remove_prefix(i + 1);
            return true;
        }
        i += (*text)[i] == '\\' ? 1 : 0;
    }
    return false;
}

bool take_number(std::string_view *text)
{
    const size_t size = std::min(text->find_first_not_of("-0123456789"), text->size());
    text->remove_prefix(size);
    return size > 0;
}

bool take_mark(std::string_view *text, char mark)
{
    if (!text->starts_with(mark)) {
        return false;
    }
    text->remove_prefix(1);
    return true;
}

bool take_list(std::string_view *text)
{
    if (!take_mark(text, '[')) {
        return false;
    }
    if (take_mark(text, ']')) {
        return true;
    }
    do {
        if (!take_string(text)) {
            return false;
        }
    } while (take_mark(text, ','));
    return take_mark(text, ']');
}

// An object of strings, numbers and lists of strings.
bool is_object(std::string_view text)
{
    if (!take_mark(&text, '{')) {
        return false;
    }
    do {
        if (!take_string(&text) || !take_mark(&text, ':') ||
            !(take_string(&text) || take_number(&text) || take_list(&text))) {
            return false;
        }
    } while (take_mark(&text, ','));
    return text == "}";
}

void check_json(std::string_view output)
{
    while (!output.empty()) {
        const size_t end = output.find('\n');
        require(end != std::string_view::npos && is_object(output.substr(0, end)),
                "every line is an object");
        output.remove_prefix(end + 1);
    }
}

// Whether there is a control character, of those above ASCII too, which are 0xc2 and another byte.
bool drives_terminal(std::string_view output)
{
    uint8_t before = 0;
    for (const char ch : output) {
        const auto byte = static_cast<uint8_t>(ch);
        if ((byte < 0x20 && byte != '\n') || byte == 0x7f ||
            (before == 0xc2 && byte >= 0x80 && byte <= 0x9f)) {
            return true;
        }
        before = byte;
    }
    return false;
}

// What completes a word is for the shell, which is told with a tab where the explanation of one begins.
std::string for_terminal(std::string output, bool completes)
{
    if (completes) {
        std::erase(output, '\t');
    }
    return output;
}

void check(const Result &result, bool completes)
{
    require(!drives_terminal(for_terminal(result.output, completes)),
            "nothing that a file holds drives the terminal");
    require(result.code >= 0 && result.code <= 4, "there are five exit codes");
    const bool is_help = result.output.starts_with("usage: ");
    if (result.code == 0) {
        require(result.messages.empty() ||
                    (result.messages.starts_with("ltectl: ") && result.messages.ends_with('\n')),
                "what works says at most what is to be known of it, in lines");
    } else if (result.code >= 2) {
        require(result.code > 2 || result.output.empty(), "without a command there is no answer");
        require(result.messages.starts_with("ltectl: ") || result.messages.starts_with("usage: ltectl"),
                "who says why is named");
        require(result.messages.ends_with('\n'), "in lines");
    }
    require(result.code == 1 || is_help || result.output.ends_with('\n') || result.output.empty(),
            "an answer is made of lines");
    if (result.json && !is_help) {
        check_json(result.output);
    }
}

template <typename Function> Function *real(const char *name)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

} // namespace

// ---- No deadline: nothing is waited for ----

namespace lterouter::tools {

static Ending g_ending = {nullptr, nullptr};

int run_work(Work work)
{
    g_ending = {nullptr, nullptr};
    const int code = work.run(work.context);
    for (void (*const step)() : {g_ending.farewell, g_ending.close}) {
        if (step != nullptr) {
            step();
        }
    }
    return code;
}

Waiting::Waiting(const Wait &wait) : wait_(wait) {}
Waiting::~Waiting() {}

void at_end(const Ending &ending) { g_ending = ending; }
void at_end(void (*farewell)()) { g_ending.farewell = farewell; }
void unknown_if_ended(const char *, ...) {}
void run_until_signal() {}
void run_until_signal_or_lock() {}
int stop_fd() { return kStop; }

} // namespace lterouter::tools

extern "C" {

int open64(const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & (O_CREAT | __O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    if (!may_open(path, (flags & O_ACCMODE) != O_RDONLY)) {
        errno = EACCES;
        return -1;
    }
    static auto *const next = real<int(const char *, int, ...)>("open64");
    return next(path, flags, mode);
}

FILE *fopen64(const char *path, const char *mode)
{
    if (!may_open(path, mode[0] != 'r' || strchr(mode, '+') != nullptr)) {
        errno = EACCES;
        return nullptr;
    }
    static auto *const next = real<FILE *(const char *, const char *)>("fopen64");
    return next(path, mode);
}

int mkdir(const char *path, mode_t mode) noexcept
{
    static auto *const next = real<int(const char *, mode_t)>("mkdir");
    const int result = next(path, mode);
    g_changes = g_changes || (g_runs && result == 0);
    return result;
}

// The shell empties the stores; of the rest it does nothing.
int system(const char *command)
{
    g_changes = true;
    for (const char *folder : {NVM_CURRENT_DIR, NVM_BACKUP_DIR, NVMRAM_DIR}) {
        if (std::string_view(command).starts_with(std::string("rm ") + folder + "*")) {
            empty_folder(folder);
        }
    }
    return 0;
}

// Who reads has had enough by then, so that nothing goes on for ever.
unsigned sleep(unsigned seconds)
{
    if (!g_runs) {
        static auto *const next = real<unsigned(unsigned)>("sleep");
        return next(seconds);
    }
    dup2(g_full, STDOUT_FILENO);
    return 0;
}

// Nobody reads, and a signal comes soon, so that nothing is waited for.
int poll(pollfd *watched, nfds_t count, int timeout)
{
    if (!g_runs) {
        static auto *const next = real<int(pollfd *, nfds_t, int)>("poll");
        return next(watched, count, timeout);
    }
    for (nfds_t i = 0; i < count; ++i) {
        watched[i].revents =
            static_cast<short>(watched[i].fd == STDOUT_FILENO                     ? POLLERR
                               : watched[i].fd == kStop && ++g_waits > kMostWaits ? POLLIN
                                                                                  : 0);
    }
    return 1;
}

int select(int count, fd_set *readable, fd_set *writable, fd_set *exceptional, timeval *timeout)
{
    timespec time = {};
    if (!g_runs && timeout != nullptr) {
        time = {timeout->tv_sec, timeout->tv_usec * 1000};
    }
    return pselect(count, readable, writable, exceptional, timeout == nullptr ? nullptr : &time,
                   nullptr);
}

} // extern "C"

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    std::string_view rest(reinterpret_cast<const char *>(data), size);
    std::vector<Copy> copies;
    copies.push_back(text_copy_of("ltectl"));
    while (!rest.empty() && copies.size() < kMostArguments) {
        const std::string argument = text_of(rest);
        rest.remove_prefix(std::min(argument.size() + 1, rest.size()));
        copies.push_back(text_copy_of(argument));
    }
    std::vector<char *> arguments;
    for (const Copy &copy : copies) {
        arguments.push_back(copy.get());
    }
    put_files();
    const bool completes = arguments.size() > 1 && strcmp(arguments[1], "--complete") == 0;
    check(run(arguments), completes);
    return 0;
}
