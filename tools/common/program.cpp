#include "common/program.h"

#include <cstdarg>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace lterouter::tools {

Program g_program;

namespace {

void print_error(const char *format, va_list arguments)
{
    flockfile(stderr);
    fprintf(stderr, "%s: ", g_program.name);
    vfprintf(stderr, format, arguments);
    fputc('\n', stderr);
    funlockfile(stderr);
}

} // namespace

bool open_standard_streams()
{
    constexpr int kOtherWay[] = {O_WRONLY, O_RDONLY, O_RDONLY};
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
        // open returns the lowest free descriptor, which is this one, since those below are open.
        if (fcntl(fd, F_GETFD) < 0 && open("/dev/null", kOtherWay[fd]) != fd) {
            return false;
        }
    }
    return true;
}

int fail(int code, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    print_error(format, arguments);
    va_end(arguments);
    return code;
}

void note(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    print_error(format, arguments);
    va_end(arguments);
}

} // namespace lterouter::tools
