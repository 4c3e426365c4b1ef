/* Loaded into lteweb: the clock by which its main thread keeps time stands still but for the
 * milliseconds in the file LTEWEB_CLOCK, so that a test can let hours pass at once. Threads that wait
 * by the system's clock keep that. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <fcntl.h>
#include <stdint.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <time.h>
#include <unistd.h>

#define REAL(name) ((__typeof__(&name))(uintptr_t)dlsym(RTLD_NEXT, #name))

static const volatile int64_t *g_passed_ms;
static int64_t g_begun_ms;

__attribute__((constructor)) static void begin(void)
{
    struct timespec now;
    const char *path = getenv("LTEWEB_CLOCK");
    const int fd = path != NULL ? open(path, O_RDONLY | O_CLOEXEC) : -1;
    void *const mapped =
        fd >= 0 ? mmap(NULL, sizeof(int64_t), PROT_READ, MAP_SHARED, fd, 0) : MAP_FAILED;
    if (mapped == MAP_FAILED || REAL(clock_gettime)(CLOCK_MONOTONIC, &now) != 0) {
        abort();
    }
    close(fd);
    g_begun_ms = (int64_t)now.tv_sec * 1000;
    g_passed_ms = mapped;
    unsetenv("LD_PRELOAD"); /* ltectl is not meant */
}

int clock_gettime(clockid_t clock, struct timespec *now)
{
    if (clock != CLOCK_MONOTONIC || g_passed_ms == NULL || gettid() != getpid()) {
        return REAL(clock_gettime)(clock, now);
    }
    const int64_t ms = g_begun_ms + *g_passed_ms;
    now->tv_sec = (time_t)(ms / 1000);
    now->tv_nsec = (long)(ms % 1000) * 1000000;
    return 0;
}
