/* Passes an image to the library in chunks of one size, as an application does that reads it from
 * somewhere. Opens the transfer itself, without the AT command.
 *
 * usage: upgrade_chunks IMAGE CHUNK CALLS */
#include "lc_up.h"

#include <stdio.h>
#include <stdlib.h>

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

int main(int argc, char **argv)
{
    int32_t size = 0;
    unsigned char *image = argc == 4 ? read_image(argv[1], &size) : NULL;
    if (image == NULL) {
        fputs("usage: upgrade_chunks IMAGE CHUNK CALLS\n", stderr);
        return 2;
    }
    const int32_t chunk = atoi(argv[2]);
    int32_t calls = atoi(argv[3]);
    int32_t result = lc_set_img_size(size);
    if (result == 0) {
        result = begin();
    }
    for (int32_t passed = 0; result == 0 && passed < size && calls > 0; passed += chunk, --calls) {
        result = lc_up_img(image + passed, size - passed < chunk ? size - passed : chunk);
    }
    free(image);
    return result == 0 ? 0 : 1;
}
