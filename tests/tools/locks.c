/* Preloaded into a program, stands for a kernel that locks a terminal's settings, which only root may
 * have done, and for a port that is a UART.
 *
 * LOCKS_LOG   a file that is told of each lock: the port's number, and the flags and characters that
 * are locked LOCKS_FAIL  the call that fails, with ERRNO: tcgetattr, tcsetattr, get or set (of the
 * locks) LOCKS_TYPE  what the kernel says of every port's type */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <termios.h>

#ifdef __GLIBC__
typedef unsigned long Request;
#else
typedef int Request;
#endif

static int fails(const char *call)
{
    const char *failing = getenv("LOCKS_FAIL");
    if (failing == NULL || strcmp(failing, call) != 0) {
        return 0;
    }
    errno = atoi(getenv("ERRNO"));
    return 1;
}

static void tell(int fd, const struct termios *locks)
{
    const char *path = getenv("LOCKS_LOG");
    FILE *log = path == NULL ? NULL : fopen(path, "a");
    if (log != NULL) {
        struct stat port = {0}; /* a terminal whose other end is gone has no name */
        fstat(fd, &port);
        fprintf(log, "%u cflag=%o min=%d time=%d\n", minor(port.st_rdev), (unsigned)locks->c_cflag,
                locks->c_cc[VMIN], locks->c_cc[VTIME]);
        fclose(log);
    }
}

static int port_type(int *type)
{
    const char *told = getenv("LOCKS_TYPE");
    if (told == NULL) {
        errno = ENOTTY;
        return -1;
    }
    *type = atoi(told);
    return 0;
}

int ioctl(int fd, Request request, ...)
{
    static int (*next)(int, Request, ...);
    if (next == NULL) {
        *(void **)&next = dlsym(RTLD_NEXT, "ioctl");
    }
    va_list rest;
    va_start(rest, request);
    void *argument = va_arg(rest, void *);
    va_end(rest);
    switch (request) {
    case TIOCGLCKTRMIOS:
        memset(argument, 0, sizeof(struct termios));
        ((struct termios *)argument)->c_cflag = HUPCL; /* somebody has locked that before */
        return -fails("get");
    case TIOCSLCKTRMIOS:
        if (fails("set")) {
            return -1;
        }
        tell(fd, argument);
        return 0;
    case TIOCGSERIAL:
        return port_type(argument);
    default:
        return next(fd, request, argument);
    }
}

int tcgetattr(int fd, struct termios *settings)
{
    static int (*next)(int, struct termios *);
    if (next == NULL) {
        *(void **)&next = dlsym(RTLD_NEXT, "tcgetattr");
    }
    return fails("tcgetattr") ? -1 : next(fd, settings);
}

int tcsetattr(int fd, int when, const struct termios *settings)
{
    static int (*next)(int, int, const struct termios *);
    if (next == NULL) {
        *(void **)&next = dlsym(RTLD_NEXT, "tcsetattr");
    }
    return fails("tcsetattr") ? -1 : next(fd, when, settings);
}
