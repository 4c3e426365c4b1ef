#include "lc_nv.h"

#include "check.h"
#include "child.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#define NAME "wan.apn_1-A"
#define NAME_PATH NVMRAM_DIR NAME

static void check_value(const char *name, const char *expected)
{
    char value[64] = "";
    CHECK_INT(nvmram_readnv(name, value, sizeof(value)), NV_SUCCESS);
    CHECK_TEXT(value, expected);
}

static int start_where_nothing_can_be_made(int ready)
{
    tell_ready(ready);
    return mkdir("/tmp/bare", 0700) == 0 && chroot("/tmp/bare") == 0 ? (int)nvmram_init() : -1;
}

static void store_has_a_folder(void)
{
    struct stat status;
    char value[8];
    CHECK_INT(nvmram_writenv(NAME, "x", 8), NV_ERR_SYSTEM);
    CHECK_INT(nvmram_readnv(NAME, value, sizeof(value)), NV_ERR_NAME);
    CHECK_INT(nvram_match(NAME, "x"), NV_ERR_SYSTEM);
    CHECK_INT(nvmram_init(), NV_SUCCESS);
    CHECK_INT(nvmram_init(), NV_SUCCESS);
    CHECK(stat(NVMRAM_DIR, &status) == 0 && S_ISDIR(status.st_mode));
    CHECK_INT(exit_status(start_child(start_where_nothing_can_be_made)), NV_ERR_SYSTEM);
}

static void what_is_written_is_read(void)
{
    CHECK_INT(nvmram_writenv(NAME, "a longer value", 64), NV_SUCCESS);
    check_value(NAME, "a longer value");
    CHECK_INT(nvmram_writenv(NAME, "short", 6), NV_SUCCESS);
    check_value(NAME, "short");
    CHECK_INT(nvmram_writenv(NAME, "", 1), NV_SUCCESS);
    check_value(NAME, "");
}

static void parameter_is_a_file_that_everyone_may_write(void)
{
    char bytes[16];
    struct stat status;
    const int fd = open(NAME_PATH, O_RDONLY);
    REQUIRE(fd >= 0);
    CHECK_INT(nvmram_writenv(NAME, "text", 64), NV_SUCCESS);
    CHECK_INT(read(fd, bytes, sizeof(bytes)), 5);
    CHECK(memcmp(bytes, "text", 5) == 0);
    CHECK(fstat(fd, &status) == 0 && (status.st_mode & 0777) == 0666);
    close(fd);
}

static void bad_arguments_are_refused(void)
{
    char value[8] = "kept";
    char long_name[129];
    memset(long_name, 'n', sizeof(long_name));
    long_name[128] = '\0';
    nvmram_writenv(NAME, "1234567", 8);
    CHECK_INT(nvmram_readnv(NULL, value, sizeof(value)), NV_ERR_BUFFER);
    CHECK_INT(nvmram_readnv(NAME, NULL, 8), NV_ERR_BUFFER);
    CHECK_INT(nvmram_readnv(NAME, value, 7), NV_ERR_BUFFER);
    CHECK_INT(nvmram_readnv("a/b", value, sizeof(value)), NV_ERR_NAME);
    CHECK_INT(nvmram_readnv("absent", value, sizeof(value)), NV_ERR_NAME);
    CHECK_INT(nvmram_readnv(long_name, value, sizeof(value)), NV_ERR_NAME);
    CHECK_TEXT(value, "kept");
    CHECK_INT(nvmram_writenv(NULL, "x", 8), NV_ERR_BUFFER);
    CHECK_INT(nvmram_writenv(NAME, NULL, 8), NV_ERR_VALUE);
    CHECK_INT(nvmram_writenv(NAME, "12345678", 8), NV_ERR_VALUE);
    CHECK_INT(nvmram_writenv("a b", "x", 8), NV_ERR_NAME);
    CHECK_INT(nvmram_writenv(long_name, "x", 8), NV_ERR_NAME);
    CHECK_INT(nvram_match(NULL, "x"), NV_ERR_VALUE);
    CHECK_INT(nvram_match(NAME, NULL), NV_ERR_VALUE);
    check_value(NAME, "1234567");
    CHECK_INT(nvmram_writenv(long_name + 1, "longest name", 64), NV_SUCCESS);
    check_value(long_name + 1, "longest name");
}

static void value_is_compared(void)
{
    nvmram_writenv(NAME, "on", 8);
    CHECK_INT(nvram_match(NAME, "on"), NV_SUCCESS);
    CHECK_INT(nvram_match(NAME, "off"), NV_ERR_DIFFER);
    CHECK_INT(nvram_match("absent", "on"), NV_ERR_SYSTEM);
}

static int write_for_the_parent(int ready)
{
    const uint32_t result = nvmram_writenv(NAME, "from another process", 64);
    tell_ready(ready);
    return (int)result;
}

/* Holds another program's lock over the file while it writes it in two steps. */
static int write_slowly(int ready)
{
    struct flock lock;
    const int fd = open(NAME_PATH, O_WRONLY | O_TRUNC);
    memset(&lock, 0, sizeof(lock));
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    if (fcntl(fd, F_SETLKW, &lock) != 0 || write(fd, "half ", 5) != 5 || !tell_ready(ready)) {
        return 1;
    }
    usleep(100000);
    return write(fd, "whole", 6) == 6 ? 0 : 1;
}

static void processes_share_the_store(void)
{
    const pid_t writer = start_child(write_for_the_parent);
    CHECK_INT(exit_status(writer), NV_SUCCESS);
    check_value(NAME, "from another process");
}

static void reader_waits_for_the_lock_of_another_process(void)
{
    const pid_t writer = start_child(write_slowly);
    check_value(NAME, "half whole");
    CHECK_INT(exit_status(writer), 0);
}

static void store_is_cleared(void)
{
    char value[8];
    nvmram_writenv(".hidden", "stays", 8);
    CHECK_INT(nvmram_clear(), NV_SUCCESS);
    CHECK_INT(nvmram_readnv(NAME, value, sizeof(value)), NV_ERR_NAME);
    check_value(".hidden", "stays");
    CHECK_INT(nvmram_clear(), NV_SUCCESS); /* nothing is left to remove */
}

int main(void)
{
    store_has_a_folder();
    what_is_written_is_read();
    parameter_is_a_file_that_everyone_may_write();
    bad_arguments_are_refused();
    value_is_compared();
    processes_share_the_store();
    reader_waits_for_the_lock_of_another_process();
    store_is_cleared();
    return check_end();
}
