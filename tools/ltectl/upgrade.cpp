// upgrade: new firmware for the modem. Needs no WAN manager, only the modem's serial ports.

#include "common/program.h"
#include "common/record.h"
#include "lc_nv.h"
#include "lc_up.h"
#include "lte_sdk.h"
#include "ltectl/clock.h"
#include "ltectl/commands.h"
#include "ltectl/held_lock.h"
#include "ltectl/progress_bar.h"
#include "ltectl/storage.h"
#include "ltectl/uart.h"
#include "ltectl/upgrade_trace.h"
#include "support/fd.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lterouter::tools {
namespace {

struct Port {
    const char *path;
    uint8_t answer; // its bytes, where the library reads once for it and has waited for the first
};

constexpr Port kPorts[] = {{LC_UP_DATA_PORT, sizeof(lc_up_response)}, {LC_UP_AT_PORT, 0}};
constexpr unsigned kPollSeconds = 1;

uint32_t g_timeout = 300;
bool g_dry_run = false;
bool g_uart = false;

// ---- The image ----

struct Image {
    const char *path;
    int fd = -1;
    int32_t size = 0;

    int32_t pieces() const { return (size + LC_UP_PIECE_SIZE - 1) / LC_UP_PIECE_SIZE; }
    int32_t last_piece() const { return size - (pieces() - 1) * LC_UP_PIECE_SIZE; }
};

int open_image(Image *image)
{
    image->fd = open(image->path, O_RDONLY | O_NONBLOCK | O_CLOEXEC); // must not block on a FIFO
    struct stat status;
    if (image->fd < 0 || fstat(image->fd, &status) != 0) {
        return fail(kFailed, "cannot read %s: %s", image->path, strerror(errno));
    }
    if (!S_ISREG(status.st_mode)) {
        return fail(kFailed, "%s is no file", image->path);
    }
    if (status.st_size <= LC_UP_PIECE_SIZE || status.st_size > INT32_MAX) {
        return fail(kFailed, "%s cannot be an image: its size is %lld bytes, not 2049 to 2147483647",
                    image->path, static_cast<long long>(status.st_size));
    }
    image->size = static_cast<int32_t>(status.st_size);
    return kDone;
}

// Returns the error, or NULL when the piece was read.
const char *read_piece(const Image &image, int32_t piece, char *bytes, int32_t size)
{
    const off_t offset = static_cast<off_t>(piece) * LC_UP_PIECE_SIZE;
    const ssize_t count = pread(image.fd, bytes, static_cast<size_t>(size), offset);
    if (count == size) {
        return nullptr;
    }
    return count < 0 ? strerror(errno) : "it has become shorter meanwhile";
}

int32_t size_of(const Image &image, int32_t piece)
{
    return piece + 1 == image.pieces() ? image.last_piece() : LC_UP_PIECE_SIZE;
}

// ---- Before anything is sent ----

int open_port(const char *port) { return open(port, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC); }

// fd: of open_port. Returns the error, or NULL when the port can be used.
const char *obstacle(const Fd &fd)
{
    if (!fd) {
        return errno == EBUSY ? "another program holds it" : strerror(errno);
    }
    return isatty(fd.get()) == 1 ? nullptr : "it is no serial port";
}

int check_ports(bool lock_settings)
{
    for (const auto &[port, answer] : kPorts) {
        Fd fd{open_port(port)};
        if (const char *reason = obstacle(fd); reason != nullptr) {
            return fail(kFailed,
                        "cannot use the modem's port %s: %s; is the modem plugged in, and its serial "
                        "driver loaded?",
                        port, reason);
        }
        if (!lock_settings) {
            continue;
        }
        if (const int code = lock_uart_settings(port, fd.release(), answer); code != kDone) {
            return code;
        }
    }
    return kDone;
}

// Held until the process ends. Not a lock on a port: a modem that restarts would get another device
// name while its old port is held open.
int lock_upgrade()
{
    const int fd = open(kUpgradeLock, O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0666);
    if (fd < 0) {
        return cannot("make", kUpgradeLock, errno);
    }
    if (flock(fd, LOCK_EX | LOCK_NB) != 0) {
        return fail(kFailed, "another upgrade is running");
    }
    return kDone;
}

int32_t frames_of(const Image &image) { return image.pieces() + 2; } // begin and end

int show_plan(const Image &image)
{
    uint32_t crc = 0;
    for (int32_t piece = 0; piece < image.pieces(); ++piece) {
        char bytes[LC_UP_PIECE_SIZE];
        const int32_t size = size_of(image, piece);
        if (const char *reason = read_piece(image, piece, bytes, size); reason != nullptr) {
            return fail(kFailed, "cannot read %s: %s", image.path, reason);
        }
        crc = nv_crc32_update(crc, bytes, static_cast<size_t>(size));
    }
    char checksum[9];
    snprintf(checksum, sizeof(checksum), "%08X", crc);
    Record()
        .word("event", "plan")
        .field("image", image.path)
        .number("bytes", image.size)
        .number("checksum", crc, checksum)
        .number("pieces", image.pieces())
        .number("last_piece", image.last_piece())
        .number("frames", frames_of(image))
        .number("wire_bytes",
                static_cast<int64_t>(frames_of(image)) * static_cast<int64_t>(sizeof(lc_up_frame)));
    for (const auto &[port, answer] : kPorts) {
        const char *reason = obstacle(Fd{open_port(port)});
        Record()
            .word("event", "port")
            .field("port", port)
            .field("status", reason == nullptr ? "ready" : reason);
    }
    return check_ports(false);
}

// ---- Signals ----

enum class Phase { kStarting, kSending, kSent };

std::atomic<Phase> g_phase{Phase::kStarting};

const char *what_stopping_leaves(Phase phase)
{
    switch (phase) {
    case Phase::kStarting:
        return "stopped before anything was changed";
    case Phase::kSending:
        return "stopped before the image was complete; start the upgrade again";
    default:
        return "stopped waiting; the image is sent, and the modem goes on by itself";
    }
}

sigset_t g_stopping;

void *watch_signals(void *)
{
    const char *const behind_bar = isatty(STDERR_FILENO) == 1 ? "\n" : "";
    int signal = 0;
    sigwait(&g_stopping, &signal);
    if (g_phase == Phase::kSending) { // the modem has incomplete firmware: requires a second signal
        fputs(behind_bar, stderr);
        note("stopping now can leave the modem without firmware; press Ctrl-C again to stop all the "
             "same");
        sigwait(&g_stopping, &signal);
    }
    fputs(behind_bar, stderr);
    release_uart_settings();
    // The library's calls cannot be cancelled: they end with the process.
    _exit(fail(kFailed, "%s", what_stopping_leaves(g_phase)));
}

// Before the upgrade, so that no signal interrupts a pause of the library, or leaves a port locked.
void hold_signals()
{
    sigemptyset(&g_stopping);
    sigaddset(&g_stopping, SIGINT);
    sigaddset(&g_stopping, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &g_stopping, nullptr);
    signal(SIGHUP, SIG_IGN); // a closed terminal does not end the upgrade
}

int start_watching()
{
    pthread_t watcher;
    const int error = pthread_create(&watcher, nullptr, watch_signals, nullptr);
    return error == 0 ? kDone : fail(kFailed, "cannot start a thread: %s", strerror(error));
}

// ---- The upgrade ----

const char *plural_of_try(uint32_t tries) { return tries == 1 ? "try" : "tries"; }

// The JSON fields; in text the sentence that follows has them. piece: counted from 1; 0: none.
void tell_failure(const char *frame, int32_t piece, uint32_t tries)
{
    if (!g_program.json) {
        return;
    }
    Record failure;
    failure.word("event", "failed").word("frame", frame);
    if (piece > 0) {
        failure.number("piece", piece);
    }
    failure.number("tries", tries);
}

int fail_at(const char *what, const Attempts &attempts)
{
    return fail(kFailed,
                "the modem did not take %s, after %u %s. It has no complete firmware now: leave it "
                "powered and start the upgrade again; if its ports are gone, restart it first. The "
                "trace is in " LCT_TRACE_FILE,
                what, attempts.tries, plural_of_try(attempts.tries));
}

int start(const Image &image)
{
    Record()
        .word("event", "start")
        .field("image", image.path)
        .number("bytes", image.size)
        .number("pieces", image.pieces());
    const TraceMark mark = mark_trace();
    if (lc_set_img_size(image.size) == 0 && lc_up_start() == 0) {
        return kDone;
    }
    const Attempts attempts = attempts_since(mark, Frame::kNone);
    if (attempts.frame == Frame::kBegin) {
        tell_failure("begin", 0, attempts.tries);
        return fail(kFailed,
                    "the modem switched to upgrade mode but did not take the begin command, after %u "
                    "%s. Nothing is changed; restart it and try again. The trace is in " LCT_TRACE_FILE,
                    attempts.tries, plural_of_try(attempts.tries));
    }
    tell_failure("start", 0, 1);
    return fail(
        kFailed,
        "the modem did not accept upgrade mode on %s. Nothing is changed; the trace is "
        "in " LCT_TRACE_FILE "%s",
        LC_UP_AT_PORT,
        !g_uart && is_uart(LC_UP_AT_PORT)
            ? ". The port is a UART, which receives nothing without --uart: try again with it, as root"
            : "");
}

// The call that passes a piece sends the one before it; the last call sends the last one and the end
// command too.
int explain_failure(const Image &image, int32_t piece, const Attempts &attempts)
{
    if (attempts.frame == Frame::kEnd) {
        tell_failure("end", 0, attempts.tries);
        return fail_at("the end command", attempts);
    }
    const int32_t failed = attempts.frame == Frame::kLastPiece ? piece + 1 : piece;
    tell_failure("piece", failed, attempts.tries);
    char what[48];
    snprintf(what, sizeof(what), "piece %d of %d", failed, image.pieces());
    return fail_at(what, attempts);
}

int send(const Image &image)
{
    ProgressBar progress(static_cast<uint64_t>(image.size));
    for (int32_t piece = 0; piece < image.pieces(); ++piece) {
        char bytes[LC_UP_PIECE_SIZE];
        const int32_t size = size_of(image, piece);
        if (const char *reason = read_piece(image, piece, bytes, size); reason != nullptr) {
            progress.clear();
            return fail(kFailed,
                        "cannot read %s: %s. The modem has no complete firmware now: start the "
                        "upgrade again",
                        image.path, reason);
        }
        const TraceMark mark = mark_trace();
        if (lc_up_img(bytes, size) != 0) {
            progress.clear();
            return explain_failure(image, piece, attempts_since(mark, Frame::kPiece));
        }
        // The library has buffered the last piece that was passed, unless it is the image's last.
        const bool complete = piece + 1 == image.pieces();
        progress.show(static_cast<uint64_t>(complete ? image.size : piece * LC_UP_PIECE_SIZE));
    }
    return kDone;
}

int await_modem()
{
    Record().word("event", "sent");
    uint32_t questions = 0;
    const int64_t deadline = now_ms() + static_cast<int64_t>(g_timeout) * 1000;
    do {
        if (now_ms() >= deadline) {
            tell_failure("status", 0, questions);
            return fail(
                kFailed,
                "the image is sent, but the modem does not say within %u s that it is upgraded; "
                "leave it powered and look again later",
                g_timeout);
        }
        // The modem restarts first; a missing port is reported at once.
        sleep(kPollSeconds);
        ++questions;
    } while (lc_up_status() != 0);
    g_program.outcome_stands = true; // a failure would make the user upgrade the modem again
    Record().word("event", "upgraded");
    return kDone;
}

int run(const Image &image)
{
    if (const int code = check_ports(g_uart); code != kDone) {
        return code;
    }
    if (const int code = start_watching(); code != kDone) {
        return code;
    }
    if (const int code = start(image); code != kDone) {
        return code;
    }
    g_phase = Phase::kSending;
    if (const int code = send(image); code != kDone) {
        return code;
    }
    g_phase = Phase::kSent;
    return await_modem();
}

} // namespace

const Option kUpgradeOptions[] = {
    {"timeout", "SECONDS", "time-out of the modem's part after the transfer (300)", &kSeconds,
     &g_timeout},
    {"uart", nullptr, "keep receivers on and eight data bits, for ports that are UARTs; needs root",
     &kSwitch, &g_uart},
    {"dry-run", nullptr, "check image and ports, and show what would be sent", &kSwitch, &g_dry_run},
    {},
};

int upgrade(char *const *operands)
{
    Image image{.path = operands[0]};
    if (const int code = open_image(&image); code != kDone) {
        return code;
    }
    if (g_dry_run) {
        return show_plan(image);
    }
    if (const int code = lock_upgrade(); code != kDone) {
        return code;
    }
    hold_signals();
    const int code = run(image);
    release_uart_settings();
    return code;
}

} // namespace lterouter::tools
