/* Sets one of the router's LEDs: what the checks run on the emulated one.
 *
 * usage: lamp LED COLOUR FLASH */
#include "lte_sdk.h"

#include <stdlib.h>

int main(int argc, char **argv)
{
    if (argc != 4) {
        return 2;
    }
    return lte_set_led_status(strtoul(argv[1], NULL, 10), strtoul(argv[2], NULL, 10),
                              strtoul(argv[3], NULL, 10)) != 0;
}
