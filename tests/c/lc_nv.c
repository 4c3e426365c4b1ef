#include "lc_nv.h"

#include "check.h"
#include "child.h"
#include "files.h"

#include <fcntl.h>
#include <pthread.h>
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

/* For a child: another program's lock over the file; -1 when it cannot be had. */
static int open_locked(const char *path, int flags)
{
    struct flock lock;
    const int fd = open(path, flags);
    memset(&lock, 0, sizeof(lock));
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    return fcntl(fd, F_SETLKW, &lock) == 0 ? fd : -1;
}

/* Locks the file while it writes it in two steps. */
static int write_slowly(int ready)
{
    const int fd = open_locked(NAME_PATH, O_WRONLY | O_TRUNC);
    if (write(fd, "half ", 5) != 5 || !tell_ready(ready)) {
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

/* ---- The threads of a process ---- */

#define HELD NAME "_held"
#define HANGS 20 /* seconds */

static int let_go[2];

static int lock_until_let_go(int ready)
{
    char byte;
    if (open_locked(NVMRAM_DIR HELD, O_RDWR) < 0 || !tell_ready(ready)) {
        return 1;
    }
    return read(let_go[0], &byte, 1) == 1 ? 0 : 1;
}

static void *read_held(void *value)
{
    return nvmram_readnv(HELD, value, 64) == NV_SUCCESS ? value : NULL;
}

static void *write_held(void *value)
{
    return nvmram_writenv(HELD, value, 64) == NV_SUCCESS ? value : NULL;
}

/* Whether so many locks of others are waited for, or will be. */
static int locks_are_waited_for(int count)
{
    int tries;
    for (tries = 0; tries < 1000 * HANGS; ++tries) {
        char line[128];
        int waiting = 0;
        FILE *locks = fopen("/proc/locks", "r");
        while (locks != NULL && fgets(line, sizeof(line), locks) != NULL) {
            waiting += strstr(line, "->") != NULL;
        }
        if (locks != NULL) {
            fclose(locks);
        }
        if (waiting >= count) {
            return 1;
        }
        usleep(1000);
    }
    return 0;
}

static int open_descriptors(void)
{
    int count = 0;
    int fd;
    for (fd = 0; fd < 256; ++fd) {
        count += fcntl(fd, F_GETFD) >= 0;
    }
    return count;
}

static int use_other_parameters(void)
{
    return nvmram_writenv(NAME, "from here", 64) == NV_SUCCESS &&
           nvram_match(NAME, "from here") == NV_SUCCESS;
}

static void check_ended_as_cancelled(pthread_t thread)
{
    void *result = NULL;
    CHECK_INT(pthread_cancel(thread), 0);
    CHECK_INT(pthread_join(thread, &result), 0);
    CHECK(result == PTHREAD_CANCELED);
}

/* One waits for another process, those behind it for their turn. */
static void waiting_threads_hold_nobody_up_and_can_be_cancelled(void)
{
    char values[4][64] = {"", "", "changed", ""};
    pthread_t threads[4];
    void *result = NULL;
    pid_t holder;
    pid_t child;
    int descriptors;
    alarm(2 * HANGS); /* what would hang is ended */
    CHECK_INT(nvmram_writenv(HELD, "old", 64), NV_SUCCESS);
    REQUIRE(pipe(let_go) == 0);
    holder = start_child(lock_until_let_go);
    descriptors = open_descriptors();
    REQUIRE(pthread_create(&threads[0], NULL, read_held, values[0]) == 0);
    CHECK(locks_are_waited_for(1));
    CHECK(use_other_parameters());

    child = fork();
    if (child == 0) {
        alarm(HANGS);
        _exit(use_other_parameters() ? 0 : 1);
    }
    CHECK_INT(exit_status(child), 0);
    child = fork();
    if (child == 0) {
        alarm(2 * HANGS);
        _exit(read_held(values[0]) != NULL && strcmp(values[0], "old") == 0 ? 0 : 1);
    }
    CHECK(locks_are_waited_for(2));

    REQUIRE(pthread_create(&threads[1], NULL, read_held, values[1]) == 0);
    REQUIRE(pthread_create(&threads[2], NULL, write_held, values[2]) == 0);
    REQUIRE(pthread_create(&threads[3], NULL, read_held, values[3]) == 0);
    check_ended_as_cancelled(threads[2]);
    check_ended_as_cancelled(threads[0]);
    CHECK(locks_are_waited_for(2));
    check_ended_as_cancelled(threads[1]);
    CHECK(write(let_go[1], "g", 1) == 1);
    CHECK_INT(pthread_join(threads[3], &result), 0);
    CHECK(result == values[3]);
    CHECK_TEXT(values[3], "old");
    CHECK_INT(exit_status(child), 0);
    CHECK_INT(exit_status(holder), 0);
    CHECK_INT(open_descriptors(), descriptors);
    close(let_go[0]);
    close(let_go[1]);
    CHECK_INT(nvmram_writenv(HELD, "new", 64), NV_SUCCESS);
    check_value(HELD, "new");
    alarm(0);
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

/* ---- Parameter files ---- */

#define FILE_PATH "/tmp/parameters"

static int parse(const char *text)
{
    char line[64];
    char *name;
    char *value;
    uint32_t bits;
    strcpy(line, text);
    return nv_parse_line(line, &name, &bits, &value, FILE_PATH, 1);
}

static void line_is_parsed_in_place(void)
{
    char line[] = "wan.apn=0x1F=b=c\n";
    char *name = NULL;
    char *value = NULL;
    uint32_t bits = 0;
    CHECK_INT(nv_parse_line(line, &name, &bits, &value, NULL, 1), NV_LINE_PARAMETER);
    CHECK_TEXT(name, "wan.apn");
    CHECK_INT(bits, 31);
    CHECK_TEXT(value, "b=c");
    CHECK(name == line && value == line + 13);
    CHECK_INT(parse("=ffffffff=\n"), NV_LINE_PARAMETER);
    CHECK_INT(parse("# no line feed"), NV_LINE_SKIP);
    CHECK_INT(parse("\n"), NV_LINE_SKIP);
    CHECK_INT(parse("a=1=x"), NV_LINE_MALFORMED);
    CHECK_INT(parse("a=g=x\n"), NV_LINE_MALFORMED);
    CHECK_INT(parse("a= 1=x\n"), NV_LINE_MALFORMED);
    CHECK_INT(parse("a=100000000=x\n"), NV_LINE_MALFORMED);
    CHECK_INT(parse("a b=1=x\n"), NV_LINE_MALFORMED);
}

static void checksum_is_run_in_pieces(void)
{
    CHECK_INT(nv_crc32_update(0, "123456789", 9), 0x2DFD2D88U);
    CHECK_INT(nv_crc32_update(nv_crc32_update(0, "1234", 4), "56789", 5), 0x2DFD2D88U);
    CHECK_INT(nv_crc32_update(7, NULL, 0), 7);
}

static void parameter_is_looked_up_in_a_file(void)
{
    char value[8] = "kept";
    write_file(FILE_PATH, "# comment\n\na=1=b=c\nbroken\n");
    CHECK_INT(nvm_parsefile(FILE_PATH, "a", value, 3, 0), NV_ERR_BUFFER);
    CHECK_INT(nvm_parsefile(FILE_PATH, "b", value, 8, 0), NV_ERR_FILE);
    CHECK_INT(nvm_parsefile(FILE_PATH, "a", value, 8, 1), NV_ERR_FILE);
    CHECK_INT(nvm_parsefile("/tmp/missing", "a", value, 8, 0), NV_ERR_FILE);
    CHECK_INT(nvm_parsefile(NULL, "a", value, 8, 0), NV_ERR_FILE);
    CHECK_INT(nvm_parsefile(NULL, "a", NULL, 8, 0), NV_ERR_BUFFER);
    CHECK_TEXT(value, "kept");
    CHECK_INT(nvm_parsefile(FILE_PATH, "a", value, 4, 0), NV_SUCCESS);
    CHECK_TEXT(value, "b=c");
    write_file(FILE_PATH, "00000000\n");
    CHECK_INT(nvm_parsefile(FILE_PATH, "a", value, 8, 1), NV_ERR_NAME);
}

/* ---- The persistent store ---- */

#define EXPORTED "/tmp/exported"

static void check_copy(const char *path, const char *expected)
{
    size_t size;
    CHECK_TEXT(read_file(path, &size), expected);
    CHECK_INT(size, strlen(expected) + 1);
}

/* Both copies of the parameter "p", and what is read. */
static void check_persistent(const char *expected)
{
    char value[64] = "";
    CHECK_INT(nvm_readnv("p", value, sizeof(value)), NV_SUCCESS);
    CHECK_TEXT(value, expected);
    CHECK_INT(nvm_match("p", expected), NV_SUCCESS);
    check_copy(NVM_CURRENT_DIR "p", expected);
    check_copy(NVM_BACKUP_DIR "p", expected);
}

static void persistent_store_needs_its_defaults_file(void)
{
    char value[8];
    CHECK_INT(nvm_init(), NV_ERR_SYSTEM);
    CHECK_INT(nvm_readnv("p", value, sizeof(value)), NV_ERR_SYSTEM);
    CHECK_INT(nvm_writenv("p", "x", sizeof(value)), NV_ERR_SYSTEM);
    CHECK_INT(nvm_match("p", "x"), NV_ERR_SYSTEM);
    CHECK_INT(nvm_export(EXPORTED, 1, 0), NV_ERR_SYSTEM);
    CHECK_INT(nvm_routerreset(), NV_ERR_FILE);
    CHECK(mkdir("/2ndfile/nv", 0755) == 0);
    write_file(NVM_DEFAULTS_FILE, "# name=bits=value\n"
                                  "pri_version=2=1.0\nup_dev_sku=2=EU\np=1=default\nq=2=other\n");
}

static void defaults_fill_the_persistent_store(void)
{
    struct stat status;
    umask(077);
    CHECK_INT(nvm_match("p", "default"), NV_SUCCESS);
    CHECK_INT(nvm_init(), NV_SUCCESS);
    check_persistent("default");
    CHECK(stat(NVM_CURRENT_DIR "p", &status) == 0 && (status.st_mode & 0777) == 0666);
    CHECK(stat(NVM_BACKUP_DIR, &status) == 0 && (status.st_mode & 0777) == 0666);
}

static void persistent_value_is_kept_twice(void)
{
    char value[8] = "kept";
    CHECK_INT(nvm_writenv("p", "a longer value", 64), NV_SUCCESS);
    check_persistent("a longer value");
    CHECK_INT(nvm_writenv("p", "short", 6), NV_SUCCESS);
    check_persistent("short");
    CHECK_INT(nvm_match("p", "other"), NV_ERR_DIFFER);
    CHECK_INT(nvm_readnv("p", value, 5), NV_ERR_BUFFER);
    CHECK_INT(nvm_readnv(NULL, value, 8), NV_ERR_BUFFER);
    CHECK_INT(nvm_readnv("absent", value, 8), NV_ERR_NAME);
    CHECK_TEXT(value, "kept");
    CHECK_INT(nvm_writenv(NULL, "x", 8), NV_ERR_BUFFER);
    CHECK_INT(nvm_writenv("p", NULL, 8), NV_ERR_VALUE);
    CHECK_INT(nvm_writenv("p", "short", 5), NV_ERR_VALUE);
    CHECK_INT(nvm_writenv("p/q", "x", 8), NV_ERR_NAME);
    CHECK_INT(nvm_writenv("absent", "x", 8), NV_ERR_NAME);
    CHECK_INT(nvm_match("p", NULL), NV_ERR_VALUE);
    check_persistent("short");
}

static void start_repairs_unless_the_last_run_ended_in_order(void)
{
    write_file(NVM_BACKUP_DIR "p", "damaged");
    CHECK_INT(nvm_fin(), NV_SUCCESS);
    CHECK_INT(nvm_fin(), NV_SUCCESS);
    CHECK_INT(nvm_init(), NV_SUCCESS);
    CHECK(access(NVM_SHUTDOWN_MARKER, F_OK) != 0);
    check_file(NVM_BACKUP_DIR "p", "damaged");
    CHECK_INT(nvm_init(), NV_SUCCESS);
    check_persistent("short");
    CHECK(unlink(NVM_CURRENT_DIR "p") == 0);
    CHECK_INT(nvm_init(), NV_SUCCESS);
    check_persistent("short");
}

static void parameters_are_exported_and_imported(void)
{
    CHECK_INT(nvm_export(NULL, 1, 0), NV_ERR_FILE);
    CHECK_INT(nvm_export(EXPORTED, 0, 1), NV_SUCCESS);
    check_file(EXPORTED, "00000000\n");
    CHECK_INT(nvm_export(EXPORTED, 1, 0), NV_SUCCESS);
    check_file(EXPORTED, "p=1=short\n");
    CHECK_INT(nvm_import(EXPORTED, 1, 1, 0), NV_ERR_FILE);
    CHECK_INT(nvm_import(EXPORTED, 1, 0, 1), NV_ERR_FILE);
    CHECK_INT(nvm_import(NULL, 1, 0, 0), NV_ERR_FILE);

    CHECK_INT(nvm_export(EXPORTED, 3, 1), NV_SUCCESS);
    CHECK_INT(nvm_writenv("p", "changed", 64), NV_SUCCESS);
    CHECK_INT(nvm_writenv("q", "changed", 64), NV_SUCCESS);
    CHECK_INT(nvm_import(EXPORTED, 1, 1, 1), NV_SUCCESS);
    check_persistent("short");
    CHECK_INT(nvm_match("q", "changed"), NV_SUCCESS);
    CHECK_INT(nvm_import(EXPORTED, 2, 1, 1), NV_SUCCESS);
    CHECK_INT(nvm_match("q", "other"), NV_SUCCESS);
}

static void reset_gives_the_marked_parameters_their_defaults_back(void)
{
    CHECK_INT(nvm_writenv("q", "stays", 64), NV_SUCCESS);
    CHECK_INT(nvm_routerreset(), NV_SUCCESS);
    check_persistent("default");
    CHECK_INT(nvm_match("q", "stays"), NV_SUCCESS);
}

static void persistent_store_is_cleared(void)
{
    CHECK_INT(nvm_clear(), NV_SUCCESS);
    CHECK(access(NVM_CURRENT_DIR "p", F_OK) != 0 && access(NVM_BACKUP_DIR "p", F_OK) != 0);
    CHECK_INT(nvm_match("p", "default"), NV_SUCCESS);
    CHECK_INT(nvm_clear(), NV_SUCCESS); /* nothing is left to remove */
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
    waiting_threads_hold_nobody_up_and_can_be_cancelled();
    store_is_cleared();
    line_is_parsed_in_place();
    checksum_is_run_in_pieces();
    parameter_is_looked_up_in_a_file();
    persistent_store_needs_its_defaults_file();
    defaults_fill_the_persistent_store();
    persistent_value_is_kept_twice();
    start_repairs_unless_the_last_run_ended_in_order();
    parameters_are_exported_and_imported();
    reset_gives_the_marked_parameters_their_defaults_back();
    persistent_store_is_cleared();
    return check_end();
}
