/* Logs an error of a module: what the checks run on the emulated router.
 *
 * usage: say MODULE TEXT */
#include "lc_log.h"

#include <stdlib.h>

int main(int argc, char **argv)
{
    if (argc != 3 || log_init(atoi(argv[1])) != 0) {
        return 1;
    }
    log_print(LC_LOG_ERROR, "%s", argv[2]);
    return 0;
}
