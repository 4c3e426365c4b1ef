/* Keeps numbered values in a store on the file system at /2ndfile, for scripts/powercut.
 *
 * usage: powercut_store STORE prepare                        makes the store, each value with number 1
 *        powercut_store STORE update SEED PAUSE_US SYNC_US   goes on to write the next numbers
 *        powercut_store STORE check                          starts the store and says what it holds
 *        powercut_store STORE wear COUNT                     gives p0 so many values of 10 digits
 *   STORE  nvm (the library's), or rename: a temporary file, synced, renamed, the folder synced
 *
 * update prints "NANOSECONDS PARAMETER NUMBER" after each value that was acknowledged, by the monotonic
 * clock, and ends when the store refuses one. PAUSE_US: between two values. SYNC_US: at random moments,
 * on average so far apart, another process writes out the file system; 0: never.
 * check prints "PARAMETER NUMBER" for a value as it was written (0: the default), "PARAMETER empty" for
 * one without a byte, or "PARAMETER torn" and the first bytes of what is there. */
#define _GNU_SOURCE /* syncfs */
#include "c/random.h"
#include "lc_nv.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

enum { PARAMETERS = 8, VALUE_SIZE = NV_VALUE_MAX + 1, NAME_SIZE = 16 };

#define DEFAULT_VALUE "default"
#define RENAME_DIR "/2ndfile/renamed/"

static int fail(const char *what)
{
    perror(what);
    return 1;
}

static void name_of(unsigned parameter, char *name) { snprintf(name, NAME_SIZE, "p%u", parameter); }

/* ---- Values ---- */

/* Half of the values are short, a quarter longer, a quarter takes several blocks of the file system.
 * The bytes depend on the number everywhere, so that no mixture of two values looks like a third. */
static void make_value(unsigned parameter, unsigned number, char *value)
{
    static const uint32_t kLongest[] = {40, 40, 400, 4000};
    uint32_t state = number * 2654435761u + parameter;
    const uint32_t length = next_random(&state) % kLongest[next_random(&state) % 4];
    char *end = value + snprintf(value, VALUE_SIZE, "%u:", number);
    for (uint32_t i = 0; i < length; ++i) {
        *end++ = (char)('a' + next_random(&state) % 26);
    }
    *end = '\0';
}

/* ---- The library's store ---- */

static bool start_nvm(void) { return nvm_init() == NV_SUCCESS; }

static bool prepare_nvm(void)
{
    mkdir("/2ndfile/nv", 0777);
    FILE *defaults = fopen(NVM_DEFAULTS_FILE, "w");
    for (unsigned i = 0; defaults != NULL && i < PARAMETERS; ++i) {
        fprintf(defaults, "p%u=1=" DEFAULT_VALUE "\n", i);
    }
    return defaults != NULL && fclose(defaults) == 0 && start_nvm();
}

static bool write_nvm(const char *name, const char *value)
{
    return nvm_writenv(name, value, VALUE_SIZE) == NV_SUCCESS;
}

static bool read_nvm(const char *name, char *value)
{
    return nvm_readnv(name, value, VALUE_SIZE) == NV_SUCCESS;
}

/* ---- The store that writes, syncs and renames ---- */

static bool prepare_rename(void) { return mkdir(RENAME_DIR, 0777) == 0 || errno == EEXIST; }

static bool start_rename(void) { return true; }

static bool sync_folder(void)
{
    const int fd = open(RENAME_DIR, O_RDONLY | O_DIRECTORY);
    const bool synced = fd >= 0 && fsync(fd) == 0;
    close(fd);
    return synced;
}

static bool write_rename(const char *name, const char *value)
{
    char path[64];
    char temporary[64];
    snprintf(path, sizeof(path), RENAME_DIR "%s", name);
    snprintf(temporary, sizeof(temporary), RENAME_DIR "%s.new", name);
    const size_t size = strlen(value) + 1;
    const int fd = open(temporary, O_WRONLY | O_CREAT | O_TRUNC, 0666);
    const bool written = fd >= 0 && write(fd, value, size) == (ssize_t)size && fsync(fd) == 0;
    close(fd);
    return written && rename(temporary, path) == 0 && sync_folder();
}

static bool read_rename(const char *name, char *value)
{
    char path[64];
    snprintf(path, sizeof(path), RENAME_DIR "%s", name);
    const int fd = open(path, O_RDONLY);
    const ssize_t length = fd < 0 ? -1 : read(fd, value, VALUE_SIZE);
    close(fd);
    if (length <= 0) {
        return false;
    }
    value[length - 1] = '\0';
    return true;
}

struct store {
    const char *name;
    bool (*prepare)(void);
    bool (*start)(void);
    bool (*write)(const char *name, const char *value);
    bool (*read)(const char *name, char *value);
};

static const struct store kStores[] = {
    {"nvm", prepare_nvm, start_nvm, write_nvm, read_nvm},
    {"rename", prepare_rename, start_rename, write_rename, read_rename},
};

static bool write_number(const struct store *store, unsigned parameter, unsigned number)
{
    char name[NAME_SIZE];
    char value[VALUE_SIZE];
    name_of(parameter, name);
    make_value(parameter, number, value);
    return store->write(name, value);
}

/* ---- What the program is asked for ---- */

static int prepare(const struct store *store)
{
    if (!store->prepare()) {
        return fail("the store cannot be made");
    }
    for (unsigned i = 0; i < PARAMETERS; ++i) {
        if (!write_number(store, i, 1)) {
            return fail("a first value cannot be written");
        }
    }
    return 0;
}

static void wait_us(uint32_t microseconds)
{
    const struct timespec pause = {(time_t)(microseconds / 1000000),
                                   (long)(microseconds % 1000000) * 1000};
    nanosleep(&pause, NULL);
}

/* From nothing to twice the average. */
static void wait_about_us(uint32_t average, uint32_t *random)
{
    wait_us((uint32_t)((uint64_t)average * next_random(random) >> 31));
}

/* As other programs of a router make the kernel write out data, at moments that nobody chose. */
static void sync_at_random(uint32_t average, uint32_t random)
{
    if (average == 0 || fork() != 0) {
        return;
    }
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int fd = open("/2ndfile", O_RDONLY | O_DIRECTORY);
    do {
        wait_about_us(average, &random);
    } while (syncfs(fd) == 0);
    _exit(0);
}

static int update(const struct store *store, uint32_t random, uint32_t pause, uint32_t sync_average)
{
    unsigned numbers[PARAMETERS];
    for (unsigned i = 0; i < PARAMETERS; ++i) {
        numbers[i] = 1;
    }
    sync_at_random(sync_average, random);
    for (;;) {
        const unsigned parameter = next_random(&random) % PARAMETERS;
        if (!write_number(store, parameter, ++numbers[parameter])) {
            return 0;
        }
        struct timespec now;
        clock_gettime(CLOCK_MONOTONIC, &now);
        dprintf(STDOUT_FILENO, "%lld %u %u\n", (long long)now.tv_sec * 1000000000 + now.tv_nsec,
                parameter, numbers[parameter]);
        wait_about_us(pause, &random);
    }
}

/* As a counter would be kept. */
static int wear(const struct store *store, uint32_t count)
{
    char value[NAME_SIZE];
    for (uint32_t number = 1; number <= count; ++number) {
        snprintf(value, sizeof(value), "%010u", (unsigned)number);
        if (!store->write("p0", value)) {
            return fail("a value cannot be written");
        }
    }
    return 0;
}

static size_t common_length(const char *left, const char *right)
{
    size_t length = 0;
    while (left[length] != '\0' && left[length] == right[length]) {
        ++length;
    }
    return length;
}

static void check_parameter(const struct store *store, unsigned parameter)
{
    char name[NAME_SIZE];
    char found[VALUE_SIZE];
    char expected[VALUE_SIZE];
    name_of(parameter, name);
    if (!store->read(name, found)) {
        strcpy(found, DEFAULT_VALUE); /* as a store without anything else would say */
    }
    const unsigned number = (unsigned)strtoul(found, NULL, 10);
    make_value(parameter, number, expected);
    if (strcmp(found, DEFAULT_VALUE) == 0) {
        printf("%u 0\n", parameter);
    } else if (strcmp(found, expected) == 0) {
        printf("%u %u\n", parameter, number);
    } else if (found[0] == '\0') {
        printf("%u empty\n", parameter);
    } else {
        printf("%u torn, %zu of %zu bytes right: %.40s\n", parameter, common_length(found, expected),
               strlen(expected), found);
    }
}

static int check(const struct store *store)
{
    if (!store->start()) {
        return fail("the store cannot be started");
    }
    for (unsigned i = 0; i < PARAMETERS; ++i) {
        check_parameter(store, i);
    }
    return 0;
}

static uint32_t number_from(const char *text) { return (uint32_t)strtoul(text, NULL, 10); }

int main(int argc, char **argv)
{
    for (size_t i = 0; argc > 2 && i < sizeof(kStores) / sizeof(*kStores); ++i) {
        const struct store *store = &kStores[i];
        if (strcmp(argv[1], store->name) != 0) {
            continue;
        }
        if (argc == 3 && strcmp(argv[2], "prepare") == 0) {
            return prepare(store);
        }
        if (argc == 6 && strcmp(argv[2], "update") == 0) {
            return update(store, number_from(argv[3]), number_from(argv[4]), number_from(argv[5]));
        }
        if (argc == 3 && strcmp(argv[2], "check") == 0) {
            return check(store);
        }
        if (argc == 4 && strcmp(argv[2], "wear") == 0) {
            return wear(store, number_from(argv[3]));
        }
    }
    fputs("usage: powercut_store nvm|rename prepare|check|wear COUNT|update SEED PAUSE_US SYNC_US\n",
          stderr);
    return 2;
}
