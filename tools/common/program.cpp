#include "common/program.h"

#include <cstdarg>
#include <cstdio>

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
