#include "lc_up/serial.h"

#include "lct_trace/trace.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/select.h>
#include <termios.h>

namespace lterouter {
namespace {

constexpr time_t kReadTimeoutSeconds = 5;

} // namespace

int open_port(const char *path) { return open(path, O_RDWR | O_NOCTTY | O_CLOEXEC); }

void configure_port(int fd)
{
    // All zero but the speed: no flow control, no translation, and no minimum count for reads.
    termios settings = {};
    cfsetspeed(&settings, B115200);
    tcflush(fd, TCIOFLUSH);
    tcsetattr(fd, TCSANOW, &settings);
}

} // namespace lterouter

using namespace lterouter;

int lc_open_tty()
{
    LC_TRACE(void(), "enter\n\n");
    const int fd = open_port(LC_UP_DATA_PORT);
    if (fd < 0) {
        return LC_TRACE(-1, "open %s error\n\n", LC_UP_DATA_PORT);
    }
    configure_port(fd);
    return LC_TRACE(fd, "end\n\n");
}

int32_t lc_read_tty(int fd, void *buf, size_t len)
{
    if (buf == nullptr) {
        return LC_TRACE(-1, "param is NULL\n\n");
    }
    if (fd < 0 || fd >= FD_SETSIZE) {
        return LC_TRACE(-1, "FD_ISSET error\n\n"); // FD_SET would write beyond the set
    }
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(fd, &readable);
    timeval timeout = {.tv_sec = kReadTimeoutSeconds, .tv_usec = 0};
    const int ready = select(fd + 1, &readable, nullptr, nullptr, &timeout);
    if (ready == 0) {
        return 0;
    }
    if (ready == -1) {
        return LC_TRACE(0, "select error:%d %d\n\n", ready, errno);
    }
    if (!FD_ISSET(fd, &readable)) {
        return LC_TRACE(-1, "FD_ISSET error\n\n");
    }
    const ssize_t count = read(fd, buf, len);
    // A modem that restarts appears as another device. Always tested at the data port.
    if (count == 0 && access(LC_UP_DATA_PORT, F_OK) != 0) {
        return LC_TRACE(-1, "tty dev disappear\n\n");
    }
    return static_cast<int32_t>(count);
}
