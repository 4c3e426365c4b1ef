// Apart from the two functions that are called here: a compiler that sees them would call its own and
// not those that a program puts in their place.

#include "lc_mem/alloc.h"

#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace lterouter::mem {
namespace {

// Asking the kernel for the thread id at every allocation would cost a system call each. Of no fixed
// place, so that a program may load the library when it runs.
constinit thread_local pid_t t_thread_id = 0;

// The one thread of a forked child has an id of its own.
__attribute__((constructor)) void forget_thread_id_after_fork()
{
    pthread_atfork(nullptr, nullptr, [] { t_thread_id = 0; });
}

uint32_t tag_of(pid_t thread_id) { return static_cast<uint32_t>(thread_id) & 0xFFFFU; }

__attribute__((noinline)) void note_thread_id()
{
    t_thread_id = static_cast<pid_t>(syscall(SYS_gettid));
}

// Apart, so that what happens once a thread costs nothing at every allocation.
__attribute__((noinline)) void *allocate_first(size_t size, uint32_t line, uint32_t owner)
{
    note_thread_id();
    return allocate_at(size, line, owner);
}

__attribute__((noinline)) void release_first(void *block, uint32_t line, uint32_t owner)
{
    note_thread_id();
    release_at(block, line, owner);
}

} // namespace

// Never inline: before 2.40 the GNU libc may change vector registers when a thread first comes to the
// storage of a library that was loaded late, which is harmless across a call.
__attribute__((noinline)) void *allocate_at(size_t size, uint32_t line, uint32_t owner)
{
    const pid_t id = t_thread_id;
    return id != 0 ? mem_malloc_ex(tag_of(id), line, owner, size) : allocate_first(size, line, owner);
}

__attribute__((noinline)) void release_at(void *block, uint32_t line, uint32_t owner)
{
    if (const pid_t id = t_thread_id; id != 0) {
        mem_free_ex(tag_of(id), line, owner, block);
    } else {
        release_first(block, line, owner);
    }
}

} // namespace lterouter::mem
