// A stand-in for the system's log daemon: a datagram socket on /dev/log.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

namespace testing_support {

class SyslogListener {
public:
    SyslogListener() : fd_(socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0))
    {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        strcpy(address.sun_path, "/dev/log");
        unlink(address.sun_path);
        if (bind(fd_, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) != 0) {
            ADD_FAILURE() << "cannot listen on /dev/log: " << strerror(errno);
        }
    }
    ~SyslogListener() { close(fd_); }
    SyslogListener(const SyslogListener &) = delete;
    SyslogListener &operator=(const SyslogListener &) = delete;

    // One line as it was sent: "<11>Nov 21 03:00:00 03WanManager: text\n". Empty when there is none.
    std::string next_raw()
    {
        char buffer[8192];
        const ssize_t size = recv(fd_, buffer, sizeof(buffer), 0);
        return size > 0 ? std::string(buffer, static_cast<size_t>(size)) : std::string();
    }

    // The text of the next message, behind its identity; empty when there is none.
    std::string next()
    {
        const std::string raw = next_raw();
        const size_t identity_end = raw.find(": ");
        return identity_end == std::string::npos ? raw : raw.substr(identity_end + 2);
    }

    std::vector<std::string> all()
    {
        std::vector<std::string> lines;
        for (std::string line = next(); !line.empty(); line = next()) {
            lines.push_back(line);
        }
        return lines;
    }

private:
    int fd_;
};

// "DEBUG", "INFO" or "ERROR" of a module, as an integrator would switch it from a shell.
inline void switch_log(const char *module, const char *level, bool on = true)
{
    char path[128];
    snprintf(path, sizeof(path), "/tmp/.LC_DEBUG_FLAG_%s_%s", module, level);
    if (on) {
        close(open(path, O_CREAT | O_WRONLY, 0644));
    } else {
        unlink(path);
    }
}

} // namespace testing_support
