/* Calls of an application that upgrades a modem.
 *
 *   sizes FIRST LAST          tells the library each image size of a range, which it traces
 *   chunks IMAGE CHUNK CALLS  passes an image in chunks of one size, as who reads it from somewhere;
 * opens the transfer itself, without the AT command */
#include "lc_up.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static unsigned char *read_image(const char *path, int32_t *size)
{
    FILE *file = fopen(path, "rb");
    if (file == NULL || fseek(file, 0, SEEK_END) != 0) {
        return NULL;
    }
    *size = (int32_t)ftell(file);
    rewind(file);
    unsigned char *image = malloc((size_t)*size);
    const size_t count = image == NULL ? 0 : fread(image, 1, (size_t)*size, file);
    fclose(file);
    return count == (size_t)*size ? image : NULL;
}

static int32_t begin(void)
{
    static lc_up_frame frame;
    lc_fill_head(&frame, UPGRADE_TLV_TYPE_CMD_BEGIN, UPGRADE_TLV_TYPE_COMMAND_REQ, 0);
    return lc_data_snd(&frame);
}

static int32_t pass_image(const char *path, int32_t chunk, int32_t calls)
{
    int32_t size = 0;
    unsigned char *image = read_image(path, &size);
    if (image == NULL) {
        return 1;
    }
    int32_t result = lc_set_img_size(size);
    if (result == 0) {
        result = begin();
    }
    for (int32_t passed = 0; result == 0 && passed < size && calls > 0; passed += chunk, --calls) {
        result = lc_up_img(image + passed, size - passed < chunk ? size - passed : chunk);
    }
    free(image);
    return result;
}

int main(int argc, char **argv)
{
    if (argc == 5 && strcmp(argv[1], "chunks") == 0) {
        return pass_image(argv[2], atoi(argv[3]), atoi(argv[4])) == 0 ? 0 : 1;
    }
    if (argc == 4 && strcmp(argv[1], "sizes") == 0) {
        const int32_t last = atoi(argv[3]);
        for (int32_t number = atoi(argv[2]); number <= last; ++number) {
            lc_set_img_size(number);
        }
        return 0;
    }
    fputs("usage: upgrade_calls sizes FIRST LAST | chunks IMAGE CHUNK CALLS\n", stderr);
    return 2;
}
