// A modem simulated by interposing the system calls on its two ports: each call is recorded, the input
// is scripted, and no time passes. For programs that are linked with the shared library.
#pragma once

#include "support/calls.h"
#include "support/child_process.h"
#include "support/trace_file.h"
#include "support/upgrade_frames.h"

#include <gtest/gtest.h>

#include <deque>
#include <fcntl.h>
#include <map>

namespace testing_support {

inline constexpr char kDataPort[] = "/dev/ttyUSB1";
inline constexpr char kAtPort[] = "/dev/ttyUSB3";

using Steps = std::vector<std::string>;

// What comes of waiting for a port and reading it once.
struct ReadEvent {
    enum Kind { kBytes, kSilence, kWaitFails, kNotMarked, kReadFails } kind;
    Bytes bytes = {};
};

struct ModemCalls {
    // Everything done to the ports, in order. A step names its port "data" or "at".
    Steps steps;
    std::vector<Bytes> written;
    int open_flags = 0;
    termios applied = {};

    // Read in this order; then there is silence. A plain read of silence yields 0.
    std::deque<ReadEvent> script;
    // Answers what was written whole, by adding to the script.
    std::function<void(const Bytes &)> on_write;
    std::function<void()> before_open;

    ssize_t failed_write = -1; // how many bytes one that fails has written all the same

    int trace_file = -1;                  // its descriptor, which may be the number that a port had
    std::map<int, std::string> ports;     // open descriptors
    std::map<int, std::string> old_ports; // closed ones, which the library may still use

    // Of an open or a closed port; empty for any other descriptor.
    std::string name_of(int fd) const
    {
        for (const auto &descriptors : {ports, old_ports}) {
            if (const auto found = descriptors.find(fd);
                found != descriptors.end() && fd != trace_file) {
                return found->second;
            }
        }
        return "";
    }
    bool is_open(int fd) const { return ports.contains(fd); }

    void note(const std::string &step) { steps.push_back(step); }

    void hears(Bytes bytes) { script.push_back({ReadEvent::kBytes, std::move(bytes)}); }
    void hears(const std::string &text) { hears(Bytes(text.begin(), text.end())); }
    void hears(ReadEvent::Kind kind, size_t times = 1) { script.insert(script.end(), times, {kind}); }

    ReadEvent next()
    {
        if (script.empty()) {
            return {ReadEvent::kSilence};
        }
        ReadEvent event = std::move(script.front());
        script.pop_front();
        return event;
    }
};

inline ModemCalls &g_modem = kept<ModemCalls>();

// What is made of the calls for the ports. Where a call has a fault, only those for a port are counted.
inline const bool g_ports_are_interposed = [] {
    calls::open.add([](auto &next, const char *path, int flags, mode_t mode) {
        const std::string text = path;
        if (text == kTraceFile && (flags & O_APPEND) != 0) {
            return g_modem.trace_file = calls::open.real(path, flags, mode);
        }
        if (text != kDataPort && text != kAtPort) {
            return calls::open.real(path, flags, mode);
        }
        const std::string name = text == kDataPort ? "data" : "at";
        g_modem.open_flags = flags;
        if (g_modem.before_open) {
            g_modem.before_open();
        }
        const int fd = next(path, flags, mode);
        g_modem.note("open " + name + (fd < 0 ? ": fails" : ""));
        if (fd >= 0) {
            g_modem.ports[fd] = name;
            g_modem.old_ports.erase(fd);
        }
        return fd;
    });
    calls::close.add([](auto &next, int fd) {
        if (const std::string name = g_modem.name_of(fd); !name.empty()) {
            g_modem.note("close " + name + (g_modem.is_open(fd) ? "" : " again"));
            g_modem.ports.erase(fd);
            g_modem.old_ports[fd] = name;
        }
        if (fd == g_modem.trace_file) {
            g_modem.trace_file = -1;
        }
        return next(fd);
    });
    calls::cfsetspeed.add([](auto &next, termios *settings, speed_t speed) {
        g_modem.note("speed");
        return next(settings, speed);
    });
    calls::tcflush.add([](auto &, int fd, int queue) {
        g_modem.note("discard " + g_modem.name_of(fd) + (queue == TCIOFLUSH ? "" : ", one direction"));
        return calls::tcflush.fails() ? -1 : 0;
    });
    calls::tcsetattr.add([](auto &, int fd, int when, const termios *settings) {
        g_modem.note("apply to " + g_modem.name_of(fd) + (when == TCSANOW ? "" : ", later"));
        g_modem.applied = *settings;
        return calls::tcsetattr.fails() ? -1 : 0;
    });
    calls::write.add([](auto &, int fd, const void *bytes, size_t size) {
        const std::string name = g_modem.name_of(fd);
        if (name.empty()) {
            return calls::write.real(fd, bytes, size);
        }
        g_modem.note("write " + std::to_string(size) + " to " + name);
        if (!g_modem.is_open(fd)) {
            errno = EBADF;
            return ssize_t{-1};
        }
        if (calls::write.fails()) {
            return g_modem.failed_write;
        }
        const auto *begin = static_cast<const uint8_t *>(bytes);
        const Bytes written(begin, begin + size);
        g_modem.written.push_back(written);
        if (g_modem.on_write) {
            g_modem.on_write(written);
        }
        return static_cast<ssize_t>(size);
    });
    calls::select.add([](auto &, int count, fd_set *readable, fd_set *writable, fd_set *exceptional,
                         timeval *timeout) {
        const int fd = count - 1;
        const std::string name = g_modem.name_of(fd);
        if (name.empty()) {
            return calls::select.real(count, readable, writable, exceptional, timeout);
        }
        EXPECT_TRUE(FD_ISSET(fd, readable));
        EXPECT_EQ(writable, nullptr);
        EXPECT_EQ(exceptional, nullptr);
        EXPECT_EQ(timeout->tv_usec, 0);
        g_modem.note("wait " + std::to_string(timeout->tv_sec) + " s for " + name);
        errno = g_modem.is_open(fd) ? EINTR : EBADF;
        if (errno == EBADF || calls::select.fails()) {
            return -1;
        }
        switch (g_modem.script.empty() ? ReadEvent::kSilence : g_modem.script.front().kind) {
        case ReadEvent::kSilence:
            g_modem.next();
            FD_ZERO(readable);
            return 0;
        case ReadEvent::kWaitFails:
            g_modem.next();
            return -1;
        case ReadEvent::kNotMarked:
            g_modem.next();
            FD_ZERO(readable);
            return 1;
        default:
            return 1;
        }
    });
    calls::read.add([](auto &, int fd, void *bytes, size_t size) {
        const std::string name = g_modem.name_of(fd);
        if (!g_modem.is_open(fd)) {
            return calls::read.real(fd, bytes, size);
        }
        g_modem.note("read " + std::to_string(size) + " from " + name);
        const ReadEvent event = g_modem.next();
        if (calls::read.fails() || event.kind == ReadEvent::kReadFails) {
            errno = EIO;
            return ssize_t{-1};
        }
        EXPECT_LE(event.bytes.size(), size) << "the script does not say what comes of the rest";
        std::copy(event.bytes.begin(), event.bytes.end(), static_cast<uint8_t *>(bytes));
        return static_cast<ssize_t>(event.bytes.size());
    });
    calls::usleep.add([](auto &, useconds_t microseconds) {
        g_modem.note("pause " + std::to_string(microseconds) + " us");
        return 0;
    });
    calls::sleep.add([](auto &, unsigned seconds) {
        g_modem.note("sleep " + std::to_string(seconds) + " s");
        return 0U;
    });
    return true;
}();

inline Steps repeated(const Steps &steps, size_t times)
{
    Steps result;
    for (; times != 0; --times) {
        result.insert(result.end(), steps.begin(), steps.end());
    }
    return result;
}

inline Steps joined(std::initializer_list<Steps> parts)
{
    Steps result;
    for (const Steps &part : parts) {
        result.insert(result.end(), part.begin(), part.end());
    }
    return result;
}

inline const Steps kOpenData = {"open data", "speed", "discard data", "apply to data"};
inline const Steps kOpenAt = {"open at", "speed", "discard at", "apply to at"};
inline const Steps kSend = {"write 2064 to data"};
inline const Steps kReadData = {"wait 5 s for data", "read 128 from data"};
inline const Steps kSilentRead = {"wait 5 s for data", "pause 5000 us"};
inline const Steps kCloseData = {"close data"};

// An entry of the trace file as trace_text gives it.
inline std::string up_entry(const std::string &function, const std::string &text)
{
    return "[lib/lc_up:" + function + ":N]" + text + "\n\n";
}

// The entries of one function.
inline std::string up_entries(const std::string &function, const std::vector<std::string> &texts)
{
    std::string result;
    for (const std::string &text : texts) {
        result += up_entry(function, text);
    }
    return result;
}

// The two ports are there, as /dev/null to anybody but the library.
class SerialModem : public testing::Test {
protected:
    SerialModem()
    {
        plug_in(kDataPort);
        plug_in(kAtPort);
    }
    ~SerialModem() override { unplug(); }

    static void plug_in(const char *port) { EXPECT_EQ(symlink("/dev/null", port), 0); }
    static void unplug()
    {
        unlink(kDataPort);
        unlink(kAtPort);
    }

    // From now on every frame is answered so.
    static void answers(const std::string &status = "RSP_OK")
    {
        g_modem.on_write = [status](const Bytes &frame) { g_modem.hears(answer(frame, status)); };
    }

    // What was done since the last call.
    static Steps take_steps() { return std::exchange(g_modem.steps, {}); }
    static std::vector<Bytes> take_written() { return std::exchange(g_modem.written, {}); }
    static std::string take_trace()
    {
        const std::string text = trace_text();
        unlink(kTraceFile);
        return text;
    }
    static size_t count_steps(const std::string &step)
    {
        return static_cast<size_t>(std::count(g_modem.steps.begin(), g_modem.steps.end(), step));
    }

    // A process performs one upgrade: a test of several has a process for each.
    template <typename Function> static void in_own_process(const std::string &which, Function function)
    {
        ChildProcess process([&] {
            function();
            fflush(stdout);
            return HasFailure() ? 1 : 0;
        });
        EXPECT_EQ(process.wait(), 0) << which;
    }

    // A descriptor of the data port that was not opened by the library.
    static int open_data_port()
    {
        const int fd = open(kDataPort, O_RDWR | O_NOCTTY);
        take_steps();
        return fd;
    }
};

} // namespace testing_support
