/* Child processes. */
#ifndef CHILD_H
#define CHILD_H

#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

/* Runs work in a forked process, which exits with its result. Returns once work has passed `ready` to
 * tell_ready. Not while there are other threads. */
static inline pid_t start_child(int (*work)(int ready))
{
    int ends[2];
    char byte;
    pid_t pid;
    if (pipe(ends) != 0) {
        return -1;
    }
    pid = fork();
    if (pid == 0) {
        close(ends[0]);
        _exit(work(ends[1]));
    }
    close(ends[1]);
    if (pid > 0 && read(ends[0], &byte, 1) != 1) {
        waitpid(pid, NULL, 0);
        pid = -1;
    }
    close(ends[0]);
    return pid;
}

/* For the child: tells its parent that it can be counted on. */
static inline int tell_ready(int ready) { return write(ready, "r", 1) == 1; }

/* Waits for the end of a process: its exit status, or -1 when it was ended by others. */
static inline int exit_status(pid_t pid)
{
    int status;
    if (waitpid(pid, &status, 0) != pid || !WIFEXITED(status)) {
        return -1;
    }
    return WEXITSTATUS(status);
}

#endif
