#include "lteweb/child.h"

#include "common/clock.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

namespace lterouter::tools {
namespace {

constexpr size_t kLongestOutput = 2 * 1024 * 1024; // both generations of the trace file, as objects
constexpr size_t kLongestErrors = 8192;
constexpr int64_t kGraceMs = 2000; // between asking it to end and making it
constexpr int kKilled = 128;       // and the signal's number, as a shell has it

// The ends of a pipe: the child's, and ours, which does not block.
struct Pipe {
    OwnFd child;
    OwnFd own;

    bool open(bool child_reads)
    {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) {
            return false;
        }
        child.reset(ends[child_reads ? 0 : 1]);
        own.reset(ends[child_reads ? 1 : 0]);
        return fcntl(own.get(), F_SETFL, O_NONBLOCK) == 0;
    }
};

// What posix_spawn is told: the standard streams, and that no signal is blocked or ignored.
class SpawnSettings {
public:
    SpawnSettings()
        : error_(posix_spawn_file_actions_init(&actions_)),
          attributes_error_(posix_spawnattr_init(&attributes_))
    {
        sigset_t none;
        sigemptyset(&none);
        sigset_t defaults;
        sigemptyset(&defaults);
        sigaddset(&defaults, SIGPIPE);
        note(posix_spawnattr_setsigmask(&attributes_, &none));
        note(posix_spawnattr_setsigdefault(&attributes_, &defaults));
        note(posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF));
    }
    ~SpawnSettings()
    {
        posix_spawn_file_actions_destroy(&actions_);
        posix_spawnattr_destroy(&attributes_);
    }
    SpawnSettings(const SpawnSettings &) = delete;
    SpawnSettings &operator=(const SpawnSettings &) = delete;

    void use(int fd, int as) { note(posix_spawn_file_actions_adddup2(&actions_, fd, as)); }
    // Returns an errno value.
    int spawn(pid_t *pid, const char *program, const char *const *arguments)
    {
        if (error_ != 0 || attributes_error_ != 0) {
            return error_ != 0 ? error_ : attributes_error_;
        }
        return posix_spawn(pid, program, &actions_, &attributes_, const_cast<char *const *>(arguments),
                           environ);
    }

private:
    void note(int error) { error_ = error_ != 0 ? error_ : error; }

    posix_spawn_file_actions_t actions_;
    posix_spawnattr_t attributes_;
    int error_;
    const int attributes_error_;
};

} // namespace

bool Child::start(const char *program, const char *const *arguments, Bytes &input, int stdin_file,
                  const Work &work)
{
    Pipe in;
    Pipe out;
    Pipe err;
    if ((stdin_file < 0 && !in.open(true)) || !out.open(false) || !err.open(false)) {
        return false;
    }
    SpawnSettings settings;
    settings.use(stdin_file < 0 ? in.child.get() : stdin_file, STDIN_FILENO);
    settings.use(out.child.get(), STDOUT_FILENO);
    settings.use(err.child.get(), STDERR_FILENO);
    pid_t pid;
    if (const int error = settings.spawn(&pid, program, arguments); error != 0) {
        errno = error;
        return false;
    }
    pid_ = pid;
    in_.reset(in.own.release());
    out_.reset(out.own.release());
    err_.reset(err.own.release());
    input_.clear();
    input_.swap(input);
    fed_ = 0;
    output_.clear();
    errors_.clear();
    work_ = work;
    deadline_ms_ = work.longest_ms != 0 ? now_ms() + work.longest_ms : 0;
    asked_to_end_ = false;
    ended_ = false;
    late_ = false;
    cut_ = false;
    feed();
    return true;
}

void Child::end()
{
    if (running() && !ended_ && !asked_to_end_) {
        kill(pid_, SIGTERM);
        asked_to_end_ = true;
        deadline_ms_ = now_ms() + kGraceMs;
    }
}

void Child::kill_now()
{
    if (running() && !ended_) {
        kill(pid_, SIGKILL);
    }
}

size_t Child::add_polled(pollfd *polled) const
{
    size_t count = 0;
    if (in_) {
        polled[count++] = {in_.get(), POLLOUT, 0};
    }
    if (out_) {
        polled[count++] = {out_.get(), POLLIN, 0};
    }
    if (err_) {
        polled[count++] = {err_.get(), POLLIN, 0};
    }
    return count;
}

void Child::feed()
{
    while (in_ && fed_ < input_.size()) {
        const ssize_t count = write(in_.get(), input_.data() + fed_, input_.size() - fed_);
        if (count < 0 && (errno == EAGAIN || errno == EINTR)) {
            return;
        }
        if (count < 0) {
            break; // it does not read any more: it has ended, or has read what it wants
        }
        fed_ += static_cast<size_t>(count);
    }
    in_.reset();
    input_.clear();
}

// No more than a piece at a time, so that listeners get what is published before there is more.
bool Child::take(OwnFd &from, Bytes &into, size_t limit)
{
    char piece[4096];
    const ssize_t count = from ? read(from.get(), piece, sizeof(piece)) : 0;
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) {
        return errno == EINTR;
    }
    if (count <= 0) {
        from.reset();
        return false;
    }
    if (!into.add({piece, static_cast<size_t>(count)}, limit) && &into == &output_) {
        cut_ = true; // of messages the first ones tell enough
        from.reset();
    }
    if (work_.on_line != nullptr) {
        pass_lines();
    }
    return true;
}

void Child::pass_lines()
{
    size_t passed = 0;
    for (;;) {
        const std::string_view rest(output_.data() + passed, output_.size() - passed);
        const size_t length = rest.find('\n');
        if (length == std::string_view::npos) {
            break;
        }
        work_.on_line(work_.context, {rest.data(), length});
        passed += length + 1;
    }
    if (passed != 0) {
        output_.drop(passed);
    }
}

void Child::exchange()
{
    if (!running()) {
        return;
    }
    feed();
    const bool more_output = take(out_, output_, kLongestOutput);
    const bool more_errors = take(err_, errors_, kLongestErrors);
    if (cut_) {
        end();
    }
    if (ended_ && !more_output && !more_errors) {
        finish();
    }
}

void Child::reap()
{
    if (running() && !ended_ && waitpid(pid_, &status_, WNOHANG) == pid_) {
        ended_ = true;
        exchange(); // what it has written before
    }
}

void Child::finish()
{
    pid_ = 0;
    in_.reset();
    out_.reset();
    err_.reset();
    input_.clear();
    exit_code_ = WIFEXITED(status_) ? WEXITSTATUS(status_) : kKilled + WTERMSIG(status_);
    if (work_.on_end != nullptr) {
        work_.on_end(work_.context, *this);
    }
    output_.clear();
    errors_.clear();
}

std::optional<int64_t> Child::next_ms() const
{
    return running() && !ended_ && deadline_ms_ != 0 ? std::optional(deadline_ms_) : std::nullopt;
}

void Child::tick(int64_t now)
{
    if (!running() || ended_ || deadline_ms_ == 0 || now < deadline_ms_) {
        return;
    }
    if (asked_to_end_) {
        kill(pid_, SIGKILL);
        deadline_ms_ = now + kGraceMs;
    } else {
        late_ = true;
        end();
    }
}

} // namespace lterouter::tools
