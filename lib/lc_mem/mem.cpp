#include "lc_mem.h"

#include "lc_mem/alloc.h"
#include "support/errno_guard.h"

#include <cstdlib>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace lterouter::mem {
namespace {

// Under a key each thread keeps its id, since asking the kernel at every allocation would cost a system
// call each. A thread_local variable would do so too, but not in a library that any program may load:
// the model that musl takes there calls into the dynamic linker, which glibc's builds would then need
// by name.
constinit bool g_has_key = false;
constinit pthread_key_t g_key = 0;

// The one thread of a forked child has an id of its own.
void forget_thread_id()
{
    if (g_has_key) {
        pthread_setspecific(g_key, nullptr);
    }
}

// Before there is a key, and if there is none to be had, the kernel is asked each time.
__attribute__((constructor)) void get_key()
{
    g_has_key = pthread_atfork(nullptr, nullptr, forget_thread_id) == 0 &&
                pthread_key_create(&g_key, nullptr) == 0;
}

// Never inline: what happens once would slow down what happens at every allocation.
__attribute__((noinline)) uintptr_t ask_thread_id()
{
    const ErrnoGuard guard; // memory for the place under the key may be short
    const auto id = static_cast<uintptr_t>(syscall(SYS_gettid));
    if (g_has_key) {
        pthread_setspecific(g_key, reinterpret_cast<const void *>(id));
    }
    return id;
}

} // namespace

uint32_t thread_tag()
{
    const auto kept = g_has_key ? reinterpret_cast<uintptr_t>(pthread_getspecific(g_key)) : 0;
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
