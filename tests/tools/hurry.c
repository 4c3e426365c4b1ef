/* Preloaded into a program, shortens the library's pauses in an upgrade, which are for a modem's flash.
 * A wait for an answer ends as soon as the answer is there, or after a time that HURRY_PATIENCE in the
 * environment multiplies: where every answer comes, a machine that stands still for a moment must
 * change no result. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <stddef.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <time.h>
#include <unistd.h>

enum { POLL_MS = 5 };

/* Where the last command went. */
static int asked = -1;
static size_t command_length;

static long patience(void)
{
    const char *factor = getenv("HURRY_PATIENCE");
    return factor == NULL ? 1 : atol(factor);
}

static void pause_ms(long milliseconds)
{
    const struct timespec time = {milliseconds / 1000, milliseconds % 1000 * 1000000L};
    nanosleep(&time, NULL);
}

ssize_t write(int fd, const void *bytes, size_t length)
{
    static ssize_t (*next)(int, const void *, size_t);
    if (next == NULL) {
        *(void **)&next = dlsym(RTLD_NEXT, "write");
    }
    asked = fd;
    command_length = length;
    return next(fd, bytes, length);
}

/* A modem sends a command back before it answers, and the answer in one piece. */
static int is_answered(void)
{
    int unread = 0;
    return ioctl(asked, FIONREAD, &unread) == 0 && (size_t)unread > command_length;
}

/* Any number of seconds becomes 100 ms: nothing is waited for. */
unsigned sleep(unsigned seconds)
{
    pause_ms(seconds == 0 ? 0 : 100);
    return 0;
}

/* The 2 s in which an AT command is answered become 250 ms. */
int usleep(useconds_t microseconds)
{
    for (long left = (long)microseconds / 8000 * patience(); left > 0 && !is_answered();
         left -= POLL_MS) {
        pause_ms(POLL_MS);
    }
    return 0;
}

/* The 5 s in which a frame is answered become 250 ms. */
int select(int count, fd_set *readable, fd_set *writable, fd_set *exceptional, struct timeval *timeout)
{
    if (timeout == NULL) {
        return pselect(count, readable, writable, exceptional, NULL, NULL);
    }
    const long milliseconds =
        ((long)timeout->tv_sec * 1000 + (long)timeout->tv_usec / 1000) / 20 * patience();
    const struct timespec time = {milliseconds / 1000, milliseconds % 1000 * 1000000L};
    return pselect(count, readable, writable, exceptional, &time, NULL);
}
