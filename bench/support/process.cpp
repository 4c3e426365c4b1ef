#include "support/process.h"

#include "support/measure.h"

#include <csignal>
#include <sys/prctl.h>
#include <unistd.h>

namespace bench {

pid_t start_process(const std::function<void()> &work)
{
    signal(SIGCHLD, [](int) { _exit(3); }); // none ends but by a failure, which it has told
    const pid_t pid = fork();
    require(pid >= 0, "starting a process");
    if (pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        work();
        _exit(0);
    }
    return pid;
}

void sleep_for_ever()
{
    for (;;) {
        pause();
    }
}

Signal::Signal() { require(sem_init(&semaphore_, 1, 0) == 0, "making a semaphore"); }

void Signal::give() { require(sem_post(&semaphore_) == 0, "posting a semaphore"); }

void Signal::await() { require(sem_wait(&semaphore_) == 0, "waiting for a semaphore"); }

void Tally::expect(unsigned count)
{
    left_ = count;
    awaited_ = true;
}

void Tally::add()
{
    if (--left_ == 0) {
        complete_.give();
    }
}

void Tally::await()
{
    if (awaited_) {
        complete_.await();
        awaited_ = false;
    }
}

} // namespace bench
