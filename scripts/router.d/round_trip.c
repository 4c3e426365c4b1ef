/* How long a request to the WAN manager and its answer take, in nanoseconds, on average.
 *
 * usage: round_trip COUNT */
#include "lc_ipc_msg.h"
#include "lte_sdk.h"

#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

static long long now(void)
{
    struct timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec * 1000000000LL + time.tv_nsec;
}

static bool ask(void)
{
    lct_value_rsp answer = {0, 0};
    return lct_get_roam_switch(&answer) == 0;
}

static bool ask_often(long count)
{
    /* The first also binds and connects. */
    if (!ask()) {
        return false;
    }
    const long long begun = now();
    for (long left = count; left > 0; --left) {
        if (!ask()) {
            return false;
        }
    }
    printf("%lld\n", (now() - begun) / count);
    return true;
}

int main(int argc, char **argv)
{
    const long count = argc == 2 ? strtol(argv[1], NULL, 10) : 0;
    if (count <= 0) {
        return 2;
    }
    if (lct_ipc_init_for_sc_msg() != 0) {
        return 1;
    }
    const bool answered = ask_often(count);
    ipc_msg_fin();
    return answered ? 0 : 1;
}
