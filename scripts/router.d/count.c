/* How many instructions something takes on the emulated router, whose clock an emulator moves on with
 * each of them: a request to the WAN manager with its answer, a program from start to end, or
 * everything since the kernel's clock began. A loop of known length tells how many there are in a
 * nanosecond.
 *
 * usage: count TIMES [PROGRAM ARGUMENT...] | boot */
#include "lc_ipc_msg.h"
#include "lte_sdk.h"

#include <spawn.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <time.h>

enum { TURNS = 10000000, INSTRUCTIONS_EACH = 3 };

extern char **environ;

static double now(void)
{
    struct timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return (double)time.tv_sec * 1e9 + (double)time.tv_nsec;
}

static double instructions_in_a_nanosecond(void)
{
    long left = TURNS;
    const double begun = now();
    __asm__ volatile(".set push\n.set noreorder\n1: addiu %0, %0, -1\nbnez %0, 1b\nnop\n.set pop"
                     : "+r"(left));
    return (double)TURNS * INSTRUCTIONS_EACH / (now() - begun);
}

static bool ask(char **unused)
{
    (void)unused;
    lct_value_rsp answer = {0, 0};
    return lct_get_roam_switch(&answer) == 0;
}

static bool run(char **words)
{
    pid_t child;
    int status;
    return posix_spawnp(&child, words[0], NULL, NULL, words, environ) == 0 &&
           waitpid(child, &status, 0) == child && status == 0;
}

/* The first time finds nothing in the caches. */
static bool count(bool (*work)(char **), char **words, long times)
{
    const double rate = instructions_in_a_nanosecond();
    if (!work(words)) {
        return false;
    }
    const double begun = now();
    for (long left = times; left > 0; --left) {
        if (!work(words)) {
            return false;
        }
    }
    printf("%.0f\n", (now() - begun) * rate / (double)times);
    return true;
}

static int count_boot(void)
{
    const double since_boot = now();
    printf("%.0f\n", since_boot * instructions_in_a_nanosecond());
    return 0;
}

int main(int argc, char **argv)
{
    if (argc == 2 && strcmp(argv[1], "boot") == 0) {
        return count_boot();
    }
    const long times = argc > 1 ? strtol(argv[1], NULL, 10) : 0;
    if (times <= 0) {
        return 2;
    }
    if (argc > 2) {
        return count(run, argv + 2, times) ? 0 : 1;
    }
    if (lct_ipc_init_for_sc_msg() != 0) {
        return 1;
    }
    const bool counted = count(ask, NULL, times);
    ipc_msg_fin();
    return counted ? 0 : 1;
}
