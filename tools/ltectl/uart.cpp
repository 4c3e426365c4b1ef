#include "ltectl/uart.h"

#include "common/program.h"
#include "support/fd.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <termios.h>

namespace lterouter::tools {
namespace {

constexpr tcflag_t kLocked = CSIZE | CREAD | CLOCAL;
constexpr tcflag_t kWanted = CS8 | CREAD | CLOCAL;
constexpr cc_t kGapTenths = 1;

struct HeldPort {
    int fd;
    termios locked_before; // flags that are 1 there, and characters that are not 0
};

HeldPort g_held[2];
unsigned g_held_count = 0;

int fail_to_lock(const char *port)
{
    return errno == EPERM
               ? fail(kFailed, "only root may lock the settings of %s: start it as root for --uart",
                      port)
               : fail(kFailed, "cannot lock the settings of %s: %s", port, strerror(errno));
}

} // namespace

bool is_uart(const char *port)
{
    const Fd fd{open(port, O_RDONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC)};
    // The kernel's serial_struct, of which not every libc has a header: the type comes first, and 0 is
    // unknown, as that of a modem on USB.
    int serial[32] = {};
    return fd && ioctl(fd.get(), TIOCGSERIAL, serial) == 0 && serial[0] != 0;
}

int lock_uart_settings(const char *port, int fd, uint8_t answer)
{
    HeldPort held = {.fd = fd, .locked_before = {}};
    termios settings;
    if (ioctl(fd, TIOCGLCKTRMIOS, &held.locked_before) != 0 || tcgetattr(fd, &settings) != 0) {
        return fail(kFailed, "cannot read the settings of %s: %s", port, strerror(errno));
    }
    settings.c_cflag = (settings.c_cflag & ~kLocked) | kWanted;
    settings.c_cc[VMIN] = answer;
    settings.c_cc[VTIME] = answer == 0 ? 0 : kGapTenths;
    if (tcsetattr(fd, TCSANOW, &settings) != 0) {
        return fail(kFailed, "cannot switch the receiver of %s on: %s", port, strerror(errno));
    }
    termios locked = held.locked_before;
    locked.c_cflag |= kLocked;
    locked.c_cc[VMIN] = locked.c_cc[VTIME] = 1;
    if (ioctl(fd, TIOCSLCKTRMIOS, &locked) != 0) {
        return fail_to_lock(port);
    }
    g_held[g_held_count++] = held;
    return kDone;
}

void release_uart_settings()
{
    // The last close would do it as well, but another program may have the port open too.
    for (unsigned left = g_held_count; left > 0; --left) {
        const HeldPort &held = g_held[left - 1];
        ioctl(held.fd, TIOCSLCKTRMIOS, &held.locked_before);
    }
}

} // namespace lterouter::tools
