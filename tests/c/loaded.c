/* The library as a plug-in or a script uses it: loaded by dlopen, used from several threads, closed
 * again. The program interposes the allocation layer. usage: loaded LIBRARY */
#include "lc_ipc_msg.h"
#include "lc_list.h"
#include "lc_mem.h"
#include "sdk_timer.h"

#include "check.h"
#include "child.h"
#include "plain_socket.h"

#include <dlfcn.h>
#include <pthread.h>
#include <sys/syscall.h>

enum { kLists = 500, kMostKeys = 4096, kKeysOfOwnPlace = 32 }; /* the GNU libc allocates for more */

static const char *path;

static struct {
    __typeof__(lc_list_create) *list_create;
    __typeof__(lc_list_destroy) *list_destroy;
    __typeof__(init_timer) *timer_init;
    __typeof__(start_timer) *timer_start;
    __typeof__(ipc_msg_init) *msg_init;
    __typeof__(ipc_msg_fin) *msg_fin;
} library;

/* ---- The allocation layer ---- */

static unsigned calls;
static unsigned wrong_tags;

static void note_call(uint32_t thread_tag)
{
    __atomic_add_fetch(&calls, 1, __ATOMIC_RELAXED);
    if (thread_tag != ((uint32_t)syscall(SYS_gettid) & 0xFFFF)) {
        __atomic_add_fetch(&wrong_tags, 1, __ATOMIC_RELAXED);
    }
}

void *mem_malloc_ex(uint32_t thread_tag, uint32_t line, uint32_t owner, size_t size)
{
    (void)line;
    (void)owner;
    note_call(thread_tag);
    return malloc(size);
}

uint32_t mem_free_ex(uint32_t thread_tag, uint32_t line, uint32_t owner, void *block)
{
    (void)line;
    (void)owner;
    note_call(thread_tag);
    free(block);
    return 0;
}

/* ---- Loading ---- */

static int find(void *handle, const char *name, void *function)
{
    void *const symbol = dlsym(handle, name);
    memcpy(function, &symbol, sizeof(symbol));
    return symbol != NULL;
}

/* NULL when it cannot be had. */
static void *load(void)
{
    void *const handle = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (handle == NULL) {
        fprintf(stderr, "%s\n", dlerror());
        return NULL;
    }
    return find(handle, "lc_list_create", &library.list_create) &&
                   find(handle, "lc_list_destroy", &library.list_destroy) &&
                   find(handle, "init_timer", &library.timer_init) &&
                   find(handle, "start_timer", &library.timer_start) &&
                   find(handle, "ipc_msg_init", &library.msg_init) &&
                   find(handle, "ipc_msg_fin", &library.msg_fin)
               ? handle
               : NULL;
}

/* ---- Thread ids ---- */

static void *make_lists(void *unused)
{
    int i;
    for (i = 0; i < kLists; ++i) {
        library.list_destroy(library.list_create(), NULL);
    }
    return unused;
}

static int all_tags_are_right(unsigned lists) { return calls == 2 * lists && wrong_tags == 0; }

/* Two threads, this one, and the one of a forked process. */
static int threads_are_told_apart(void)
{
    pthread_t threads[2];
    pid_t child;
    calls = 0;
    if (pthread_create(&threads[0], NULL, make_lists, NULL) != 0 ||
        pthread_create(&threads[1], NULL, make_lists, NULL) != 0) {
        return 0;
    }
    make_lists(NULL);
    pthread_join(threads[0], NULL);
    pthread_join(threads[1], NULL);
    child = fork();
    if (child == 0) {
        make_lists(NULL);
        _exit(all_tags_are_right(4 * kLists) ? 0 : 1);
    }
    return all_tags_are_right(3 * kLists) && exit_status(child) == 0;
}

static int load_and_tell_threads_apart(void) { return load() != NULL && threads_are_told_apart(); }

static pthread_key_t keys[kMostKeys];

static int take_keys(int count)
{
    int taken = 0;
    while (taken < count && pthread_key_create(&keys[taken], NULL) == 0) {
        ++taken;
    }
    return taken;
}

static int nothing_is_under_keys(int count)
{
    int i;
    for (i = 0; i < count; ++i) {
        if (pthread_getspecific(keys[i]) != NULL) {
            return 0;
        }
    }
    return 1;
}

/* In a process of its own. */
static int told_apart_with_keys_taken(int count)
{
    const pid_t child = fork();
    if (child == 0) {
        const int taken = take_keys(count);
        const int told_apart = load_and_tell_threads_apart();
        _exit(taken > kKeysOfOwnPlace && told_apart && nothing_is_under_keys(taken) ? 0 : 1);
    }
    return exit_status(child) == 0;
}

static void threads_are_told_apart_in_a_program_of_many_keys(void)
{
    CHECK(told_apart_with_keys_taken(kKeysOfOwnPlace + 1));
    CHECK(told_apart_with_keys_taken(kMostKeys)); /* none is left */
}

/* ---- Closing ---- */

static pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
static pthread_cond_t happened = PTHREAD_COND_INITIALIZER;
static unsigned ticks;
static unsigned messages;

static void note(unsigned *count)
{
    pthread_mutex_lock(&mutex);
    ++*count;
    pthread_cond_signal(&happened);
    pthread_mutex_unlock(&mutex);
}

static void note_tick(uintptr_t unused)
{
    (void)unused;
    note(&ticks);
}

static uint32_t note_message(ipc_msg_hdr *msg, uint32_t size)
{
    (void)msg;
    (void)size;
    note(&messages);
    return 0;
}

static unsigned number_of(const unsigned *count)
{
    unsigned number;
    pthread_mutex_lock(&mutex);
    number = *count;
    pthread_mutex_unlock(&mutex);
    return number;
}

static void await(const unsigned *count, unsigned number)
{
    pthread_mutex_lock(&mutex);
    while (*count < number) {
        pthread_cond_wait(&happened, &mutex);
    }
    pthread_mutex_unlock(&mutex);
}

static uint32_t start_endpoint(void)
{
    return library.msg_init(IPC_MODULE_UPTEST, NULL, note_message, NULL, 0);
}

static int is_bound(const struct sockaddr_un *address)
{
    const int fd = open_socket(*address);
    if (fd >= 0) {
        close(fd);
    }
    return fd < 0;
}

static void send_message(const struct sockaddr_un *to)
{
    const plain_message msg = {{IPC_MSG_TYPE_ASYNC, 100, 0, 1}, {0}, {0}};
    const int fd = open_socket(plain_address("loaded"));
    CHECK(plain_send(fd, to, &msg));
    close(fd);
}

static void what_it_has_started_goes_on_when_it_is_closed(void)
{
    const struct sockaddr_un endpoint = plain_address("lc_socket_uptest_common");
    timer ticking = {"ticking", TIMER_TICK_MS, 1, note_tick, 0};
    timer_id id;
    void *const handle = load();
    pid_t child;
    REQUIRE(handle != NULL);
    REQUIRE(library.timer_init() == TIMER_SUCCESS);
    REQUIRE(library.timer_start(&ticking, &id) == TIMER_SUCCESS);
    REQUIRE(start_endpoint() == IPC_SUCCESS);
    await(&ticks, 1);
    CHECK_INT(dlclose(handle), 0);
    await(&ticks, number_of(&ticks) + 2);
    send_message(&endpoint);
    await(&messages, 1);
    child = fork(); /* which the library takes part in */
    if (child == 0) {
        _exit(0);
    }
    CHECK_INT(exit_status(child), 0);
    CHECK(is_bound(&endpoint));
}

static void loaded_again_it_is_the_same(void)
{
    const struct sockaddr_un endpoint = plain_address("lc_socket_uptest_common");
    void *const handle = load();
    REQUIRE(handle != NULL);
    CHECK_INT(library.timer_init(), TIMER_ERR_NOT_INIT); /* has been started */
    CHECK_INT(start_endpoint(), IPC_SUCCESS);
    send_message(&endpoint);
    await(&messages, 2);
    library.msg_fin();
    CHECK(!is_bound(&endpoint));
    CHECK_INT(dlclose(handle), 0);
}

int main(int argc, char **argv)
{
    void *handle;
    REQUIRE(argc == 2);
    path = argv[1];
    threads_are_told_apart_in_a_program_of_many_keys();
    handle = load();
    REQUIRE(handle != NULL);
    CHECK(threads_are_told_apart());
    CHECK_INT(dlclose(handle), 0);
    what_it_has_started_goes_on_when_it_is_closed();
    loaded_again_it_is_the_same();
    return check_end();
}
