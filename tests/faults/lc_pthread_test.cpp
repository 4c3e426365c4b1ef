// Effects of failing calls in the process and thread helpers.
#include "harness.h"

#include "lc_pthread.h"
#include "support/text_file.h"

#include <sys/prctl.h>

namespace lc_pthread_test {

using namespace faults;

namespace {

constexpr char kName[] = "faultssuffer";
constexpr char kFile[] = "/tmp/text";

// ---- Children ----

pid_t g_child = -1;

void reap()
{
    if (g_child > 0) {
        waitpid(g_child, nullptr, 0);
    }
    g_child = -1;
}

std::string forked()
{
    g_child = lc_fork();
    if (g_child == 0) {
        _exit(0);
    }
    return g_child > 0 ? "child" : shown(g_child) + " " + shown(errno);
}

// Runs a command that says something, and shows what became of both.
std::string command_run(const char *redirect)
{
    char echo[] = "echo";
    char word[] = "word";
    char *const argv[] = {echo, word, nullptr};
    const int result = _eval(argv, redirect, 0, nullptr);
    const Quiet quiet;
    while (waitpid(-1, nullptr, 0) > 0) {
    }
    return shown(result) + " " + testing_support::read_text("/tmp/out");
}

std::string command_left_running()
{
    char program[] = "true";
    char *const argv[] = {program, nullptr};
    int pid = -1;
    const int result = _eval(argv, nullptr, 0, &pid);
    const Quiet quiet;
    int status = -1;
    waitpid(pid, &status, 0);
    return shown(result) + " " + shown(status);
}

// What a command's process meets on its way is seen by its status alone.
const Rules kCommandFails = {{.call = "fork", .result = "%e word\n"},
                             {.call = "execvp", .result = "%w "}};

void remove_output() { unlink("/tmp/out"); }

// ---- A process to be found and stopped ----

// It has the name, and does not end on SIGTERM.
void start_victim()
{
    int ready[2];
    EXPECT_EQ(pipe(ready), 0);
    g_child = fork();
    if (g_child == 0) {
        prctl(PR_SET_NAME, kName);
        signal(SIGTERM, SIG_IGN);
        EXPECT_EQ(write(ready[1], "x", 1), 1);
        for (;;) {
            pause();
        }
    }
    char byte;
    EXPECT_EQ(read(ready[0], &byte, 1), 1);
    snprintf(g_varying_path, sizeof(g_varying_path), "/proc/%d/stat", g_child);
    close(ready[0]);
    close(ready[1]);
}

void end_victim()
{
    if (g_child > 0) {
        kill(g_child, SIGKILL);
    }
    reap();
}

// The victim goes at the first pause, or only after it has been killed.
void start_obedient_victim()
{
    start_victim();
    g_hooks.pause = end_victim;
}

int g_pauses = 0;

void start_stubborn_victim()
{
    start_victim();
    g_pauses = 0;
    g_hooks.pause = [] {
        if (++g_pauses > 5) {
            reap();
        }
    };
}

std::string found()
{
    const int pid = lc_pidof(kName);
    return pid == g_child ? "found" : shown(pid);
}

// The process, which is the latest, is not found when its entry or its name cannot be read; of the
// other entries' names, and behind it, nothing is seen.
Rules search_fails(const char *missing)
{
    return {{.call = "opendir", .result = missing},
            {.call = "realloc", .result = missing},
            {.call = "readdir64", .subject = "the end"},
            {.call = "readdir64", .result = missing},
            {.call = "open64", .result = missing, .subject = kVarying},
            {.call = "read", .result = missing, .subject = kVarying}};
}

// What is said before a pause, when so many are left.
std::string doing(const char *what, int left)
{
    return note(std::string(":lc_killall_tk: ") + what + " name=" + kName + " n=" + shown(left));
}

// Of the signals, each that fails ends the work: the first, and those before and after each pause.
Rules kills_fail()
{
    Lines unsaid = {doing("SIGKILL", 4)};
    Rules rules = {{.call = "kill", .result = "-1", .unsaid = unsaid, .nth = 8},
                   {.call = "kill", .result = "-1", .unsaid = unsaid, .nth = 7}};
    for (int left = 0; left < 5; ++left) {
        unsaid.insert(unsaid.begin(), doing("waiting", left));
        rules.push_back({.call = "kill", .result = "-1", .unsaid = unsaid, .nth = 6 - left});
    }
    rules.push_back({.call = "kill", .result = "-1", .unsaid = unsaid, .nth = 1});
    return rules;
}

// ---- Files ----

void write_file() { testing_support::write_text(kFile, "content"); }

const Rules kReadFails = {{.call = "open64", .result = "-1 "},
                          {.call = "read", .result = "1 c", .how = {"short"}},
                          {.call = "read", .result = "0 ", .how = {"nothing"}},
                          {.call = "read", .result = "-1 "}};

void name_this_process() { prctl(PR_SET_NAME, kName); }

// ---- Threads ----

pthread_attr_t g_attr;
pthread_mutex_t g_mutex = PTHREAD_MUTEX_INITIALIZER;
pthread_cond_t g_cond = PTHREAD_COND_INITIALIZER;
pthread_t g_thread;
bool g_joined = true;

void *sleep_until_cancelled(void *)
{
    for (;;) {
        pause();
    }
}

void start_thread()
{
    g_joined = pthread_create(&g_thread, nullptr, sleep_until_cancelled, nullptr) != 0;
}

void join_thread()
{
    if (!g_joined) {
        pthread_cancel(g_thread);
        pthread_join(g_thread, nullptr);
    }
    g_joined = true;
}

// A wrapper of one thread call: its result is the call's.
Scenario of_threads(
    const char *function, const char *call, std::function<int()> act,
    std::function<void()> setup = [] {}, std::function<void()> undo = [] {})
{
    return {.function = function,
            .act = [act] { return shown(act()); },
            .rules = {{.call = call, .result = "%e"}},
            .setup = std::move(setup),
            .undo = std::move(undo),
            .threads_count = true};
}

// One that uses up what it is given.
Scenario once(Scenario scenario)
{
    scenario.once = true;
    return scenario;
}

// The first thread that is ended makes libc load what it needs for that.
void end_a_thread()
{
    start_thread();
    join_thread();
}

void make_attributes() { pthread_attr_init(&g_attr); }
void destroy_attributes() { pthread_attr_destroy(&g_attr); }

template <typename Act> Scenario of_attributes(const char *function, const char *call, Act act)
{
    return of_threads(function, call, act, make_attributes, destroy_attributes);
}

// Waits while another thread signals; the mutex keeps that thread until the wait has begun.
template <typename Wait> int waited(Wait wait)
{
    std::thread other;
    {
        const Quiet quiet;
        pthread_mutex_lock(&g_mutex);
        other = std::thread([] {
            pthread_mutex_lock(&g_mutex);
            pthread_cond_signal(&g_cond);
            pthread_mutex_unlock(&g_mutex);
        });
    }
    const int result = wait();
    const Quiet quiet;
    pthread_mutex_unlock(&g_mutex);
    other.join();
    return result;
}

void ignore_result(int) {}

const bool g_processes = enlist({
    {.function = "lc_fork",
     .act = forked,
     .rules = {{.call = "fork", .result = "-1 %e"}},
     .undo = reap,
     .once = true},
    {.function = "_eval",
     .act = [] { return command_run(">/tmp/out"); },
     .rules = {{.call = "fork", .result = "%e "},
               {.call = "execvp", .result = "%w "},
               // An interrupted wait is taken up again.
               {.call = "waitpid", .result = "0 word\n", .how = {"EINTR"}},
               {.call = "waitpid", .result = "%e word\n"},
               // Without its file the command's output goes nowhere.
               {.call = "open64", .result = "0 ", .subject = "/tmp/out"},
               {.call = "dup2", .result = "0 "}},
     .setup = remove_output},
    {.function = "_eval",
     .story = "leaves_the_child_to_the_caller",
     .act = command_left_running,
     .rules = {{.call = "fork", .result = "%e -1"}, {.call = "execvp", .result = "0 %w"}},
     .only = {"fork", "execvp"}}, // the rest of the child is the same
    {.function = "f_read",
     .act =
         [] {
             char text[16] = "";
             const int length = f_read(kFile, text, sizeof(text));
             return shown(length) + " " + text;
         },
     .rules = kReadFails,
     .setup = write_file},
    {.function = "f_read_string",
     .act =
         [] {
             char text[16] = "not empty";
             const int length = f_read_string(kFile, text, sizeof(text));
             return shown(length) + " " + text;
         },
     .rules = kReadFails,
     .setup = write_file},
    {.function = "psname",
     .act =
         [] {
             char name[16];
             return "name " + std::string(psname(getpid(), name, sizeof(name)));
         },
     .rules = {{.call = "open64", .result = "name "}, {.call = "read", .result = "name "}},
     .setup = name_this_process},
    {.function = "lc_pidof",
     .act = found,
     .rules = search_fails("-1"),
     .setup = start_victim,
     .undo = end_victim},
    {.function = "lc_killall",
     .act = [] { return shown(lc_killall(kName, 0)); },
     .rules = search_fails("-2") + Rules{{.call = "kill", .result = "-1"}},
     .setup = start_victim,
     .undo = end_victim},
    // Whatever hides the process from a search ends the work: it is as if none were left.
    {.function = "lc_killall_tk",
     .act = [] { return shown(lc_killall_tk(kName)); },
     .rules = Rules{{.call = "opendir", .nth = 3}} + // it has gone by then
              losing({{.call = "opendir"},
                      {.call = "realloc"},
                      {.call = "open64", .subject = kVarying},
                      {.call = "read", .subject = kVarying},
                      {.call = "kill", .result = "-1"}},
                     {doing("waiting", 4)}),
     .setup = start_obedient_victim,
     .undo = end_victim,
     .once = true,
     .only = {"opendir", "realloc", "open64", "read", "kill", "sleep"}},
    {.function = "lc_killall_tk",
     .story = "kills_in_the_end",
     .act = [] { return shown(lc_killall_tk(kName)); },
     .rules = kills_fail(),
     .setup = start_stubborn_victim,
     .undo = end_victim,
     .once = true,
     .only = {"kill", "sleep"}}, // the searches fail above
});

const bool g_threads = enlist({
    of_threads("lc_pthread_create", "pthread_create",
               [] {
                   pthread_t thread;
                   const int result = lc_pthread_create(
                       &thread, nullptr, [](void *p) { return p; }, nullptr);
                   const Quiet quiet;
                   if (result == 0) {
                       pthread_join(thread, nullptr);
                   }
                   return result;
               }),
    once(of_threads(
        "lc_pthread_join", "pthread_join",
        [] {
            const int result = lc_pthread_join(g_thread, nullptr);
            g_joined = result == 0;
            return result;
        },
        [] {
            g_joined = pthread_create(
                           &g_thread, nullptr, [](void *p) { return p; }, nullptr) != 0;
        },
        join_thread)),
    once(of_threads(
        "lc_pthread_cancle", "pthread_cancel", [] { return lc_pthread_cancle(g_thread); },
        [] {
            end_a_thread();
            start_thread();
        },
        join_thread)),
    of_threads(
        "lc_pthread_attr_init", "pthread_attr_init", [] { return lc_pthread_attr_init(&g_attr); },
        [] {}, destroy_attributes),
    once(of_threads(
        "lc_pthread_attr_destroy", "pthread_attr_destroy",
        [] { return lc_pthread_attr_destroy(&g_attr); }, make_attributes)),
    of_attributes("lc_pthread_attr_getscope", "pthread_attr_getscope",
                  [] {
                      int scope;
                      return lc_pthread_attr_getscope(&g_attr, &scope);
                  }),
    of_attributes("lc_pthread_attr_setscope", "pthread_attr_setscope",
                  [] { return lc_pthread_attr_setscope(&g_attr, PTHREAD_SCOPE_SYSTEM); }),
    of_attributes("lc_pthread_attr_getdetachstate", "pthread_attr_getdetachstate",
                  [] {
                      int state;
                      return lc_pthread_attr_getdetachstate(&g_attr, &state);
                  }),
    of_attributes("lc_pthread_attr_setdetachstate", "pthread_attr_setdetachstate",
                  [] { return lc_pthread_attr_setdetachstate(&g_attr, PTHREAD_CREATE_JOINABLE); }),
    of_attributes("lc_pthread_attr_getstacksize", "pthread_attr_getstacksize",
                  [] {
                      size_t size;
                      return lc_pthread_attr_getstacksize(&g_attr, &size);
                  }),
    of_attributes("lc_pthread_attr_setstacksize", "pthread_attr_setstacksize",
                  [] { return lc_pthread_attr_setstacksize(&g_attr, 1 << 20); }),
    of_threads("lc_pthread_mutex_init", "pthread_mutex_init",
               [] {
                   pthread_mutex_t mutex;
                   return lc_pthread_mutex_init(&mutex, nullptr);
               }),
    of_threads("lc_pthread_mutex_destroy", "pthread_mutex_destroy",
               [] {
                   pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
                   return lc_pthread_mutex_destroy(&mutex);
               }),
    of_threads("lc_pthread_mutex_lock", "pthread_mutex_lock",
               [] {
                   const int result = lc_pthread_mutex_lock(&g_mutex);
                   const Quiet quiet;
                   ignore_result(result == 0 ? pthread_mutex_unlock(&g_mutex) : 0);
                   return result;
               }),
    of_threads("lc_pthread_mutex_trylock", "pthread_mutex_trylock",
               [] {
                   const int result = lc_pthread_mutex_trylock(&g_mutex);
                   const Quiet quiet;
                   ignore_result(result == 0 ? pthread_mutex_unlock(&g_mutex) : 0);
                   return result;
               }),
    of_threads("lc_pthread_mutex_unlock", "pthread_mutex_unlock",
               [] {
                   {
                       const Quiet quiet;
                       pthread_mutex_lock(&g_mutex);
                   }
                   const int result = lc_pthread_mutex_unlock(&g_mutex);
                   const Quiet quiet;
                   ignore_result(result == 0 ? 0 : pthread_mutex_unlock(&g_mutex));
                   return result;
               }),
    of_threads("lc_pthread_cond_init", "pthread_cond_init",
               [] {
                   pthread_cond_t cond;
                   return lc_pthread_cond_init(&cond, nullptr);
               }),
    of_threads("lc_pthread_cond_destroy", "pthread_cond_destroy",
               [] {
                   pthread_cond_t cond = PTHREAD_COND_INITIALIZER;
                   return lc_pthread_cond_destroy(&cond);
               }),
    of_threads("lc_pthread_cond_broadcast", "pthread_cond_broadcast",
               [] { return lc_pthread_cond_broadcast(&g_cond); }),
    of_threads("lc_pthread_cond_signal", "pthread_cond_signal",
               [] { return lc_pthread_cond_signal(&g_cond); }),
    of_threads("lc_pthread_cond_wait", "pthread_cond_wait",
               [] { return waited([] { return lc_pthread_cond_wait(&g_cond, &g_mutex); }); }),
    of_threads("lc_pthread_cond_timedwait", "pthread_cond_timedwait",
               [] {
                   return waited([] {
                       const timespec deadline = {time(nullptr) + 60, 0};
                       return lc_pthread_cond_timedwait(&g_cond, &g_mutex, &deadline);
                   });
               }),
    {.function = "lc_pthread_exit",
     .act =
         [] {
             const Quiet quiet;
             pthread_t thread;
             void *result = nullptr;
             pthread_create(
                 &thread, nullptr,
                 [](void *) -> void * {
                     t_role = Role::kCaller;
                     lc_pthread_exit(&g_mutex);
                 },
                 nullptr);
             pthread_join(thread, &result);
             return shown(result);
         },
     .setup = end_a_thread,
     .calls_nothing = true},
});

} // namespace

} // namespace lc_pthread_test
