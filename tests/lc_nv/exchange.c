/* Performs the operation named by its first argument, and prints the result:
 * checksum: of the standard input, eight digits; export FILE MASK; import FILE MASK; both with a
 * checksum line. */
#include "lc_nv.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static uint32_t checksum_of_input(void)
{
    char block[1000];
    uint32_t crc = 0;
    size_t count;
    while ((count = fread(block, 1, sizeof(block), stdin)) > 0) {
        crc = nv_crc32_update(crc, block, count);
    }
    return crc;
}

int main(int argc, char **argv)
{
    if (argc == 2 && strcmp(argv[1], "checksum") == 0) {
        printf("%08X\n", (unsigned)checksum_of_input());
        return 0;
    }
    if (argc == 4) {
        const uint32_t mask = (uint32_t)strtoul(argv[3], NULL, 16);
        printf("%u\n", (unsigned)(strcmp(argv[1], "export") == 0 ? nvm_export(argv[2], mask, 1)
                                                                 : nvm_import(argv[2], mask, 1, 0)));
        return 0;
    }
    return 2;
}
