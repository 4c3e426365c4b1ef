#include "lc_pthread.h"

#include "check.h"
#include "child.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#define OUTPUT "/tmp/output"
#define NOBODY "nobody_at_all"

/* ---- Processes ---- */

/* Long enough to be still there when the signaller looks again at once, and gone a second later. */
static void end_slowly(int sig)
{
    usleep(300000);
    _exit(sig);
}

/* A process of that name, for ever. Emulated programs, too, have no name of their own but for this. */
static int sleep_under(const char *name, int ready)
{
    prctl(PR_SET_NAME, name);
    signal(SIGTERM, end_slowly);
    tell_ready(ready);
    while (pause() == -1) {
    }
    return 0;
}

static int sleep_as_worker(int ready) { return sleep_under("c_worker", ready); }

static int sleep_as_odd_name(int ready) { return sleep_under("a (b) c)", ready); }

static void forked_process_runs_on_its_own(void)
{
    const pid_t parent = getpid();
    const pid_t pid = lc_fork();
    if (pid == 0) {
        _exit(getppid() == parent ? 7 : 8);
    }
    CHECK(pid > 0);
    CHECK_INT(exit_status(pid), 7);
}

static int run(const char *command, const char *redirect, int timeout)
{
    char *const argv[] = {"sh", "-c", (char *)command, NULL};
    return _eval(argv, redirect, timeout, NULL);
}

static void check_output(const char *expected)
{
    char text[64];
    CHECK_INT(f_read_string(OUTPUT, text, sizeof(text)), strlen(expected));
    CHECK_TEXT(text, expected);
}

static void command_is_run_and_its_output_redirected(void)
{
    int status = run("echo one", ">" OUTPUT, 0);
    CHECK(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    check_output("one\n");
    run("echo two", ">>" OUTPUT, 0);
    check_output("one\ntwo\n");
    run("printf O", OUTPUT, 0);
    check_output("One\ntwo\n");
    status = run("exit 3", NULL, 0);
    CHECK(WIFEXITED(status) && WEXITSTATUS(status) == 3);
}

static void command_gets_a_session_of_its_own(void)
{
    const int status = run("set -- $(cat /proc/$$/stat); [ $6 = $$ ]", NULL, 0);
    CHECK(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

static void command_that_cannot_be_run_gives_the_error(void)
{
    char *const argv[] = {"/tmp/absent", NULL};
    const int status = _eval(argv, NULL, 0, NULL);
    CHECK(WIFEXITED(status) && WEXITSTATUS(status) == ENOENT);
}

static void command_is_ended_by_its_time_out(void)
{
    const int status = run("exec sleep 20", NULL, 1);
    CHECK(WIFSIGNALED(status) && WTERMSIG(status) == SIGALRM);
}

static void command_in_the_background_is_left_to_the_caller(void)
{
    char *const argv[] = {"sh", "-c", "exit 5", NULL};
    int pid = -1;
    CHECK_INT(_eval(argv, NULL, 0, &pid), 0);
    CHECK(pid > 0);
    CHECK_INT(exit_status(pid), 5);
}

static void start_of_a_file_is_read(void)
{
    char text[8];
    memset(text, 'x', sizeof(text));
    run("printf 0123456789", ">" OUTPUT, 0);
    CHECK_INT(f_read(OUTPUT, text, 4), 4);
    CHECK(memcmp(text, "0123xxxx", sizeof(text)) == 0);
    CHECK_INT(f_read(OUTPUT, text, -1), -1);
    CHECK_INT(f_read("/tmp/absent", text, 4), -1);
    CHECK_INT(f_read_string(OUTPUT, text, 4), 3);
    CHECK_TEXT(text, "012");
    CHECK_INT(f_read_string("/tmp/absent", text, 4), -1);
    CHECK_TEXT(text, "");
    CHECK_INT(f_read_string(OUTPUT, text, 0), -1);
}

static void process_has_a_name(void)
{
    const pid_t odd = start_child(sleep_as_odd_name);
    char name[16];
    REQUIRE(odd > 0);
    CHECK(psname(odd, name, sizeof(name)) == name);
    CHECK_TEXT(name, "a (b) c)");
    memset(name, 'x', sizeof(name));
    psname(odd, name, 3);
    CHECK(memcmp(name, "a (x", 4) == 0);
    CHECK(psname(odd, name, 0) == NULL);
    CHECK_INT(kill(odd, SIGKILL), 0);
    CHECK_INT(exit_status(odd), -1);
    CHECK_TEXT(psname(odd, name, sizeof(name)), "");
}

static void process_is_found_and_signalled_by_its_name(void)
{
    const pid_t worker = start_child(sleep_as_worker);
    int status = 0;
    REQUIRE(worker > 0);
    CHECK_INT(lc_pidof("c_worker"), worker);
    CHECK_INT(lc_pidof("bin/c_worker"), worker);
    CHECK_INT(lc_pidof("c_work"), -1);
    CHECK_INT(lc_killall("c_worker", 0), 0);
    CHECK_INT(lc_killall("c_worker", 1000), -1); /* no such signal */
    CHECK_INT(lc_killall(NOBODY, SIGTERM), -2);
    CHECK_INT(lc_killall("c_worker", SIGUSR1), 0);
    CHECK_INT(waitpid(worker, &status, 0), worker);
    CHECK(WIFSIGNALED(status) && WTERMSIG(status) == SIGUSR1);
    CHECK_INT(lc_pidof("c_worker"), -1);
}

static void processes_are_ended_by_their_name(void)
{
    pid_t workers[2];
    signal(SIGCHLD, SIG_IGN); /* nobody has to reap them before they are gone */
    workers[0] = start_child(sleep_as_worker);
    workers[1] = start_child(sleep_as_worker);
    REQUIRE(workers[0] > 0 && workers[1] > 0);
    CHECK_INT(lc_killall_tk("c_worker"), -2);
    CHECK_INT(lc_pidof("c_worker"), -1);
    CHECK_INT(kill(workers[0], 0), -1);
    CHECK_INT(kill(workers[1], 0), -1);
    CHECK_INT(lc_killall_tk(NOBODY), -2);
    signal(SIGCHLD, SIG_DFL);
}

/* ---- Threads ---- */

static void *give_back(void *argument) { return argument; }

static void *exit_with(void *argument) { lc_pthread_exit(argument); }

static void *sleep_for_ever(void *argument)
{
    while (pause() == -1) {
    }
    return argument;
}

static void check_ends_with(void *(*start)(void *), int cancelled, void *expected)
{
    static int argument;
    pthread_t thread;
    void *result = NULL;
    REQUIRE(lc_pthread_create(&thread, NULL, start, &argument) == 0);
    if (cancelled) {
        CHECK_INT(lc_pthread_cancle(thread), 0);
    }
    CHECK_INT(lc_pthread_join(thread, &result), 0);
    CHECK(result == (expected == NULL ? &argument : expected));
}

static void thread_ends_with_its_result(void)
{
    check_ends_with(give_back, 0, NULL);
    check_ends_with(exit_with, 0, NULL);
    check_ends_with(sleep_for_ever, 1, PTHREAD_CANCELED);
}

static void attributes_are_kept(void)
{
    pthread_attr_t attr;
    int value = -1;
    size_t size = 0;
    CHECK_INT(lc_pthread_attr_init(&attr), 0);

    CHECK_INT(lc_pthread_attr_getdetachstate(&attr, &value), 0);
    CHECK_INT(value, PTHREAD_CREATE_JOINABLE);
    CHECK_INT(lc_pthread_attr_setdetachstate(&attr, PTHREAD_CREATE_DETACHED), 0);
    CHECK_INT(lc_pthread_attr_getdetachstate(&attr, &value), 0);
    CHECK_INT(value, PTHREAD_CREATE_DETACHED);
    CHECK_INT(lc_pthread_attr_setdetachstate(&attr, 99), EINVAL);

    CHECK_INT(lc_pthread_attr_setscope(&attr, PTHREAD_SCOPE_SYSTEM), 0);
    CHECK_INT(lc_pthread_attr_setscope(&attr, PTHREAD_SCOPE_PROCESS), ENOTSUP);
    CHECK_INT(lc_pthread_attr_setscope(&attr, 99), EINVAL);
    CHECK_INT(lc_pthread_attr_getscope(&attr, &value), 0);
    CHECK_INT(value, PTHREAD_SCOPE_SYSTEM);

    CHECK_INT(lc_pthread_attr_setstacksize(&attr, 512 * 1024), 0);
    CHECK_INT(lc_pthread_attr_setstacksize(&attr, 1), EINVAL);
    CHECK_INT(lc_pthread_attr_getstacksize(&attr, &size), 0);
    CHECK_INT(size, 512 * 1024);
    CHECK_INT(lc_pthread_attr_destroy(&attr), 0);
}

/* What the threads of the next two tests share. */
static pthread_mutex_t mutex;
static pthread_cond_t changed;
static int turn;

enum { ROUNDS = 200 };

/* Waits for the odd turns, and makes them even. */
static void *take_odd_turns(void *argument)
{
    int i;
    for (i = 0; i < ROUNDS; ++i) {
        lc_pthread_mutex_lock(&mutex);
        while (turn % 2 == 0) {
            lc_pthread_cond_wait(&changed, &mutex);
        }
        ++turn;
        lc_pthread_cond_signal(&changed);
        lc_pthread_mutex_unlock(&mutex);
    }
    return argument;
}

static void threads_take_turns(void)
{
    pthread_t thread;
    int failures = 0;
    int i;
    turn = 0;
    REQUIRE(lc_pthread_create(&thread, NULL, take_odd_turns, NULL) == 0);
    for (i = 0; i < ROUNDS; ++i) {
        failures += lc_pthread_mutex_lock(&mutex) != 0;
        while (turn % 2 != 0) {
            failures += lc_pthread_cond_wait(&changed, &mutex) != 0;
        }
        ++turn;
        failures += lc_pthread_cond_signal(&changed) != 0;
        failures += lc_pthread_mutex_unlock(&mutex) != 0;
    }
    CHECK_INT(lc_pthread_join(thread, NULL), 0);
    CHECK_INT(turn, 2 * ROUNDS);
    CHECK_INT(failures, 0);
}

static pthread_cond_t arrived = PTHREAD_COND_INITIALIZER;
static int waiting;

static void *wait_for_turn(void *argument)
{
    lc_pthread_mutex_lock(&mutex);
    ++waiting;
    lc_pthread_cond_signal(&arrived);
    while (turn == 0) {
        lc_pthread_cond_wait(&changed, &mutex);
    }
    lc_pthread_mutex_unlock(&mutex);
    return argument;
}

static void broadcast_wakes_every_thread(void)
{
    enum { THREADS = 3 };
    pthread_t threads[THREADS];
    int i;
    turn = 0;
    for (i = 0; i < THREADS; ++i) {
        REQUIRE(lc_pthread_create(&threads[i], NULL, wait_for_turn, NULL) == 0);
        CHECK_INT(lc_pthread_mutex_lock(&mutex), 0);
        while (waiting <= i) {
            lc_pthread_cond_wait(&arrived, &mutex);
        }
        lc_pthread_mutex_unlock(&mutex);
    }
    lc_pthread_mutex_lock(&mutex);
    turn = 1;
    CHECK_INT(lc_pthread_cond_broadcast(&changed), 0);
    lc_pthread_mutex_unlock(&mutex);
    for (i = 0; i < THREADS; ++i) {
        CHECK_INT(lc_pthread_join(threads[i], NULL), 0);
    }
}

static void wait_ends_at_its_deadline(void)
{
    const struct timespec past = {1, 0};
    const struct timespec none = {1, 1000000000};
    CHECK_INT(lc_pthread_mutex_lock(&mutex), 0);
    CHECK_INT(lc_pthread_cond_timedwait(&changed, &mutex, &past), ETIMEDOUT);
    CHECK_INT(lc_pthread_cond_timedwait(&changed, &mutex, &none), EINVAL);
    CHECK_INT(lc_pthread_mutex_unlock(&mutex), 0);
}

static void mutex_is_held_by_one(void)
{
    CHECK_INT(lc_pthread_mutex_trylock(&mutex), 0);
    CHECK_INT(lc_pthread_mutex_trylock(&mutex), EBUSY);
    CHECK_INT(lc_pthread_mutex_unlock(&mutex), 0);
    CHECK_INT(lc_pthread_mutex_trylock(&mutex), 0);
    CHECK_INT(lc_pthread_mutex_unlock(&mutex), 0);
}

int main(void)
{
    forked_process_runs_on_its_own();
    command_is_run_and_its_output_redirected();
    command_gets_a_session_of_its_own();
    command_that_cannot_be_run_gives_the_error();
    command_is_ended_by_its_time_out();
    command_in_the_background_is_left_to_the_caller();
    start_of_a_file_is_read();
    process_has_a_name();
    process_is_found_and_signalled_by_its_name();
    processes_are_ended_by_their_name();

    thread_ends_with_its_result();
    attributes_are_kept();
    CHECK_INT(lc_pthread_mutex_init(&mutex, NULL), 0);
    CHECK_INT(lc_pthread_cond_init(&changed, NULL), 0);
    mutex_is_held_by_one();
    threads_take_turns();
    broadcast_wakes_every_thread();
    wait_ends_at_its_deadline();
    CHECK_INT(lc_pthread_cond_destroy(&changed), 0);
    CHECK_INT(lc_pthread_mutex_destroy(&mutex), 0);
    return check_end();
}
