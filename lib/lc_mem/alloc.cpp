// Not in mem.cpp: a compiler that sees the definitions of mem_malloc_ex and mem_free_ex could inline
// them, and a program could no longer interpose them.

#include "lc_mem/alloc.h"

#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace lterouter::mem {
namespace {

// Cached, since asking the kernel for the thread id would cost every allocation a system call. No
// static TLS, so that a program may load the library with dlopen.
constinit thread_local pid_t t_thread_id = 0;

// A forked child's thread has another id.
__attribute__((constructor)) void forget_thread_id_after_fork()
{
    pthread_atfork(nullptr, nullptr, [] { t_thread_id = 0; });
}

uint32_t tag_of(pid_t thread_id) { return static_cast<uint32_t>(thread_id) & 0xFFFFU; }

__attribute__((noinline)) void note_thread_id()
{
    t_thread_id = static_cast<pid_t>(syscall(SYS_gettid));
}

// Not inline: runs once per thread, and must not make every allocation more expensive.
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

// Never inline: before 2.40 the GNU libc may change vector registers at a thread's first access to the
// thread storage of a library that was loaded by dlopen, which is harmless across a call.
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
