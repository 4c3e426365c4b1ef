#include "lc_mem.h"

#include "lc_mem/alloc.h"

#include <cstdlib>
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

// Apart, so that what happens once costs nothing at every allocation.
__attribute__((noinline)) pid_t ask_thread_id()
{
    return t_thread_id = static_cast<pid_t>(syscall(SYS_gettid));
}

} // namespace

// Never inline: before 2.40 the GNU libc may change vector registers when a thread first comes to the
// storage of a library that was loaded late, which is harmless across a call.
__attribute__((noinline)) uint32_t thread_tag()
{
    const pid_t kept = t_thread_id;
    return static_cast<uint32_t>(kept != 0 ? kept : ask_thread_id()) & 0xFFFFU;
}

} // namespace lterouter::mem

void *mem_malloc_ex(uint32_t /*thread_tag*/, uint32_t /*line*/, uint32_t /*owner*/, size_t size)
{
    return malloc(size);
}

uint32_t mem_free_ex(uint32_t /*thread_tag*/, uint32_t /*line*/, uint32_t /*owner*/, void *block)
{
    free(block);
    return 0;
}

void mem_init() {}

void mem_fin() {}

void mem_dump_trace_info() {}

uint32_t mem_get_big_block_size() { return 0; }

uint32_t mem_get_pool_size() { return 0; }

uint32_t mem_is_valid(const void * /*block*/) { return 1; }

void *mem_get_tr_head(void *block) { return block; }
