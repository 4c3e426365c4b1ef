/* Loaded into lteweb: one call of those that may fail does so, LTEWEB_FAIL=NAME:NUMBER, counted from
 * the moment that the file LTEWEB_ARM exists. What has failed is told by the file's removal. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <spawn.h>
#include <stdatomic.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/types.h>
#include <unistd.h>

static atomic_long g_left = -1; /* calls until the failing one; -1: none will */
static const char *g_name;
static const char *g_arm;

__attribute__((constructor)) static void begin(void)
{
    const char *fail = getenv("LTEWEB_FAIL");
    const char *colon = fail != NULL ? strchr(fail, ':') : NULL;
    g_arm = getenv("LTEWEB_ARM");
    if (colon != NULL && g_arm != NULL) {
        g_name = strndup(fail, (size_t)(colon - fail));
        g_left = strtol(colon + 1, NULL, 10);
    }
    unsetenv("LD_PRELOAD"); /* ltectl is not meant */
}

static int fails(const char *name)
{
    if (g_name == NULL || strcmp(name, g_name) != 0 || access(g_arm, F_OK) != 0) {
        return 0;
    }
    if (atomic_fetch_sub(&g_left, 1) != 1) {
        return 0;
    }
    unlink(g_arm);
    return 1;
}

#define REAL(name) ((__typeof__(&name))(uintptr_t)dlsym(RTLD_NEXT, #name))

extern void *__libc_malloc(size_t size);

void *malloc(size_t size)
{
    if (fails("malloc")) {
        errno = ENOMEM;
        return NULL;
    }
    return __libc_malloc(size);
}

int pipe2(int ends[2], int flags)
{
    if (fails("pipe2")) {
        errno = EMFILE;
        return -1;
    }
    return REAL(pipe2)(ends, flags);
}

int posix_spawn(pid_t *pid, const char *path, const posix_spawn_file_actions_t *actions,
                const posix_spawnattr_t *attributes, char *const arguments[], char *const environment[])
{
    if (fails("posix_spawn")) {
        return EAGAIN;
    }
    return REAL(posix_spawn)(pid, path, actions, attributes, arguments, environment);
}

FILE *open_memstream(char **text, size_t *size)
{
    if (fails("open_memstream")) {
        errno = ENOMEM;
        return NULL;
    }
    return REAL(open_memstream)(text, size);
}

ssize_t read(int fd, void *bytes, size_t size)
{
    if (fails("read")) {
        errno = EIO;
        return -1;
    }
    return REAL(read)(fd, bytes, size);
}

ssize_t write(int fd, const void *bytes, size_t size)
{
    if (fails("write")) {
        errno = EIO;
        return -1;
    }
    return REAL(write)(fd, bytes, size);
}

int mkostemp64(char *path, int flags)
{
    if (fails("mkostemp")) {
        errno = ENOSPC;
        return -1;
    }
    return REAL(mkostemp64)(path, flags);
}

off64_t lseek64(int fd, off64_t offset, int whence)
{
    if (fails("lseek")) {
        errno = EIO;
        return -1;
    }
    return REAL(lseek64)(fd, offset, whence);
}
