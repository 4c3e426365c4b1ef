/* Has the library trace one entry for each number of a range.
 *
 * usage: trace_writer FIRST LAST */
#include "lc_up.h"

#include <stdio.h>
#include <stdlib.h>

int main(int argc, char **argv)
{
    if (argc != 3) {
        fputs("usage: trace_writer FIRST LAST\n", stderr);
        return 2;
    }
    const int32_t last = atoi(argv[2]);
    for (int32_t number = atoi(argv[1]); number <= last; ++number) {
        lc_set_img_size(number);
    }
    return 0;
}
