// trace: the entries of the library's trace file, oldest first. It needs no WAN manager.

#include "common/program.h"
#include "common/record.h"
#include "lte_sdk.h"
#include "ltectl/clock.h"
#include "ltectl/commands.h"
#include "ltectl/deadline.h"
#include "ltectl/events.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace lterouter::tools {
namespace {

bool g_follow = false;

// Far longer than any line of an entry. Bounds the memory for an endless line, and is printed to a pipe
// in one write.
constexpr size_t kLongestLine = 2048;
static_assert(kLongestLine < PIPE_BUF);

// Two generations hold far more than a client traces in this time.
constexpr int64_t kPollMs = 200;

// ---- Lines ----

// The beginning of an entry: "[unit:function:line]".
struct Head {
    std::string_view unit;
    std::string_view function;
    uint32_t line = 0;
};

// Removes the text up to and including the mark; false when there is no mark.
bool take_to(std::string_view *text, char mark, std::string_view *taken)
{
    const size_t length = text->find(mark);
    if (length == std::string_view::npos) {
        return false;
    }
    *taken = {text->data(), length};
    text->remove_prefix(length + 1);
    return true;
}

// Removes the head of a line; false when it has none, like the further lines of an entry.
bool take_head(std::string_view *line, Head *head)
{
    std::string_view rest = *line;
    std::string_view before;
    std::string_view number;
    if (!take_to(&rest, '[', &before) || !before.empty() || !take_to(&rest, ':', &head->unit) ||
        !take_to(&rest, ':', &head->function) || !take_to(&rest, ']', &number) ||
        !parse_number(number, 0, INT32_MAX, &head->line)) {
        return false;
    }
    *line = rest;
    return true;
}

void print_object(std::string_view line)
{
    if (line.empty()) { // between two entries
        return;
    }
    Record record;
    record.event("trace");
    Head head;
    if (take_head(&line, &head)) {
        record.word("unit", head.unit).word("function", head.function).number("line", head.line);
    }
    record.word("text", line);
}

// Unchanged from the file.
void print_line(std::string_view line)
{
    start_output();
    put_text(line);
    putchar('\n');
    flush_output();
}

// line: without its line feed.
void show(std::string_view line)
{
    if (line.ends_with('\r')) { // lines from the modem end with it
        line.remove_suffix(1);
    }
    g_program.json ? print_object(line) : print_line(line);
}

// ---- Files ----

// A generation of the trace file, wherever it has been renamed to.
class Generation {
public:
    Generation() = default;
    // O_NONBLOCK: must not block on a FIFO or device in its place.
    explicit Generation(const char *path)
    {
        const int fd = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
        file_ = fd >= 0 ? fdopen(fd, "r") : nullptr;
        error_ = file_ != nullptr ? 0 : errno;
    }
    Generation(Generation &&other) noexcept { *this = std::move(other); }
    Generation &operator=(Generation &&other) noexcept
    {
        std::swap(file_, other.file_);
        std::swap(error_, other.error_);
        return *this;
    }
    ~Generation()
    {
        if (file_ != nullptr) {
            fclose(file_);
        }
    }

    explicit operator bool() const { return file_ != nullptr; }
    // The error of opening or reading.
    int error() const { return error_; }

    bool is(const struct stat &other) const
    {
        struct stat own;
        return file_ != nullptr && fstat(fileno(file_), &own) == 0 && own.st_dev == other.st_dev &&
               own.st_ino == other.st_ino;
    }
    bool is(const Generation &other) const
    {
        struct stat status;
        return other.file_ != nullptr && fstat(fileno(other.file_), &status) == 0 && is(status);
    }

    // Shows the lines that have been added, a longer one in pieces. An entry that is just being written
    // is left for the next time; finally: there is none.
    void show_new(bool finally);

private:
    void begin_again_if_cut();
    size_t take_line(char (&line)[kLongestLine]);

    FILE *file_ = nullptr;
    int error_ = ENOENT;
};

// The file has been truncated, as by a user who wants only new entries.
void Generation::begin_again_if_cut()
{
    struct stat status;
    if (fstat(fileno(file_), &status) == 0 && status.st_size < ftello(file_)) {
        // A new stream: the old one's buffer may hold the removed text.
        const int fd = fcntl(fileno(file_), F_DUPFD_CLOEXEC, 0);
        fclose(file_);
        lseek(fd, 0, SEEK_SET);
        file_ = fdopen(fd, "r");
        error_ = file_ != nullptr ? 0 : errno;
    }
}

// Reads up to the line feed, the end of the file or of the buffer. Returns the length.
size_t Generation::take_line(char (&line)[kLongestLine])
{
    size_t length = 0;
    int byte;
    while (length < sizeof(line) && (byte = getc_unlocked(file_)) != EOF) {
        line[length++] = static_cast<char>(byte);
        if (byte == '\n') {
            break;
        }
    }
    return length;
}

void Generation::show_new(bool finally)
{
    if (file_ != nullptr) {
        begin_again_if_cut();
    }
    if (file_ == nullptr) {
        return;
    }
    char line[kLongestLine];
    off_t shown = ftello(file_);
    size_t length;
    while (output_error() == 0 && (length = take_line(line)) > 0) {
        const bool ended = line[length - 1] == '\n';
        const bool whole = ended || length == sizeof(line) || finally;
        if (!whole || !await_reader()) {
            break;
        }
        show({line, ended ? length - 1 : length});
        shown += static_cast<off_t>(length);
    }
    if (ferror(file_) != 0) {
        error_ = errno;
    }
    fseeko(file_, shown, SEEK_SET); // also clears the end-of-file flag
}

// Both generations as they were at one moment.
struct Trace {
    Generation current;
    Generation previous;
};

// Whether the path still leads to that file, or to none.
bool leads_to(const char *path, const Generation &generation)
{
    struct stat status;
    return stat(path, &status) == 0 ? generation.is(status) : !generation;
}

Trace open_trace()
{
    for (;;) {
        // In this order: as long as the current one stands, the other is the one before it.
        Trace trace{Generation(LCT_TRACE_FILE), Generation(LCT_TRACE_OLDER_FILE)};
        const bool unreadable = !trace.current && trace.current.error() != ENOENT;
        if (unreadable || leads_to(LCT_TRACE_FILE, trace.current)) {
            return trace;
        }
    }
}

// Returns kDone, or the exit code after saying which one cannot be read.
int check(const Trace &trace)
{
    const struct {
        const char *path;
        int error;
    } generations[] = {{LCT_TRACE_FILE, trace.current.error()},
                       {LCT_TRACE_OLDER_FILE, trace.previous.error()}};
    for (const auto &[path, error] : generations) {
        if (error != 0 && error != ENOENT) {
            return fail(kFailed, "cannot read %s: %s", path, strerror(error));
        }
    }
    return kDone;
}

// ---- Following ----

// Follows renamed files.
void catch_up(Trace *trace)
{
    // A file created and renamed since the last look is the previous one.
    if (leads_to(LCT_TRACE_FILE, trace->current) &&
        (trace->current || leads_to(LCT_TRACE_OLDER_FILE, trace->previous))) {
        return;
    }
    Trace now = open_trace();
    if (now.previous.is(trace->current)) {
        trace->previous.show_new(true);
        now.previous = std::move(trace->current); // and its position
    } else if (!now.previous || now.previous.is(trace->previous)) {
        trace->current.show_new(true); // it has been removed
        now.previous = std::move(trace->previous);
    } else if (trace->current || trace->previous) {
        trace->current.show_new(true);
        note("the trace file was renamed more than once meanwhile: lines may be lost");
    }
    *trace = std::move(now);
}

int follow(Trace *trace)
{
    if (!trace->current && !trace->previous) {
        note("waiting for %s", LCT_TRACE_FILE);
    }
    for (;;) {
        catch_up(trace);
        // A writer that had the file open when it was renamed writes to the previous one.
        trace->previous.show_new(false);
        trace->current.show_new(false);
        if (const int code = check(*trace); code != kDone) {
            return code;
        }
        if (output_error() != 0) {
            return kDone; // judge_output decides at the end whether this is a failure
        }
        Event none;
        switch (next_event(&none, now_ms() + kPollMs)) {
        case Arrival::kTimeout:
        case Arrival::kEvent:
            break;
        case Arrival::kSignal:
        case Arrival::kReaderGone:
            return kDone;
        case Arrival::kError:
            return fail(kFailed, "cannot wait: %s", strerror(errno));
        }
    }
}

} // namespace

const Option kTraceOptions[] = {
    {"follow", nullptr, "continue with new entries, until Ctrl-C", &kSwitch, &g_follow, 'f'},
    {},
};

int show_trace(char *const *)
{
    Trace trace = open_trace();
    if (const int code = check(trace); code != kDone) {
        return code;
    }
    const bool waits = g_follow || trace.previous; // the next entry creates the file again
    if (!trace.current && !waits) {
        return fail(kFailed, "cannot read %s: %s", LCT_TRACE_FILE, strerror(ENOENT));
    }
    if (g_follow) {
        return run_until(0, [&] {
            run_until_signal();
            return follow(&trace);
        });
    }
    trace.previous.show_new(true);
    trace.current.show_new(true);
    return check(trace);
}

} // namespace lterouter::tools
