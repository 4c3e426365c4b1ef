/* Preloaded into a program, shortens the library's pauses in an upgrade, which are for a modem's flash.
 * The waits for answers remain long enough for a loaded machine. */
#include <sys/select.h>
#include <time.h>
#include <unistd.h>

static void pause_ns(long nanoseconds)
{
    const struct timespec time = {nanoseconds / 1000000000L, nanoseconds % 1000000000L};
    nanosleep(&time, NULL);
}

/* Any number of seconds becomes 100 ms: nothing is waited for. */
unsigned sleep(unsigned seconds)
{
    pause_ns(seconds == 0 ? 0 : 100000000L);
    return 0;
}

/* 2 s become 250 ms, in which an AT command is answered. */
int usleep(useconds_t microseconds)
{
    pause_ns((long)microseconds * 125L);
    return 0;
}

/* 5 s become 250 ms, in which a frame is answered. */
int select(int count, fd_set *readable, fd_set *writable, fd_set *exceptional, struct timeval *timeout)
{
    if (timeout == NULL) {
        return pselect(count, readable, writable, exceptional, NULL, NULL);
    }
    const long long microseconds = timeout->tv_sec * 1000000LL + timeout->tv_usec;
    const struct timespec time = {0, (long)(microseconds * 50)};
    return pselect(count, readable, writable, exceptional, &time, NULL);
}
