/* What a process holds at a moment, for programs that look for growth. Stands in for the allocation
 * layer, so that the blocks of the library are counted to the byte: for one source file of a program.
 */
#ifndef FIGURES_H
#define FIGURES_H

#include "lc_mem.h"

#include <dirent.h>
#include <malloc.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

typedef struct figures {
    long rss_kb;
    long heap_bytes; /* of the library's blocks */
    long descriptors;
    long threads;
} figures;

static long heap_bytes;

void *mem_malloc_ex(uint32_t thread_tag, uint32_t line, uint32_t owner, size_t size)
{
    void *const block = malloc(size);
    (void)thread_tag, (void)line, (void)owner;
    if (block != NULL) {
        __atomic_add_fetch(&heap_bytes, (long)malloc_usable_size(block), __ATOMIC_RELAXED);
    }
    return block;
}

uint32_t mem_free_ex(uint32_t thread_tag, uint32_t line, uint32_t owner, void *block)
{
    (void)thread_tag, (void)line, (void)owner;
    if (block != NULL) {
        __atomic_sub_fetch(&heap_bytes, (long)malloc_usable_size(block), __ATOMIC_RELAXED);
    }
    free(block);
    return 0;
}

/* Freed memory goes back at once, so that a sanitizer's own hoard is not taken for growth. */
const char *__asan_default_options(void);
const char *__asan_default_options(void)
{
    return "quarantine_size_mb=1:thread_local_quarantine_size_kb=64";
}

static inline long entries_of(const char *folder)
{
    DIR *const entries = opendir(folder);
    long count = -2; /* without . and .. */
    while (entries != NULL && readdir(entries) != NULL) {
        ++count;
    }
    if (entries != NULL) {
        closedir(entries);
    }
    return count;
}

static inline long resident_kb(void)
{
    FILE *const status = fopen("/proc/self/status", "r");
    char line[256];
    long kb = -1;
    while (status != NULL && fgets(line, sizeof(line), status) != NULL) {
        if (strncmp(line, "VmRSS:", 6) == 0) {
            kb = strtol(line + 6, NULL, 10);
        }
    }
    if (status != NULL) {
        fclose(status);
    }
    return kb;
}

static inline figures take_figures(void)
{
    figures now;
    now.rss_kb = resident_kb();
    now.heap_bytes = __atomic_load_n(&heap_bytes, __ATOMIC_RELAXED);
    now.descriptors = entries_of("/proc/self/fd") - 1; /* the one that looks */
    now.threads = entries_of("/proc/self/task");
    return now;
}

static inline void print_figures(const char *when, const figures *held)
{
    printf("%s: %ld KiB resident, %ld bytes in blocks of the library, %ld descriptors, %ld threads\n",
           when, held->rss_kb, held->heap_bytes, held->descriptors, held->threads);
}

#endif
