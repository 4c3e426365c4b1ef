/* Pseudo-random numbers, the same in every run. */
#ifndef RANDOM_H
#define RANDOM_H

#include <stdint.h>

/* Any state will do to begin with; states that are close to each other give unlike numbers. */
static inline uint32_t next_random(uint32_t *state)
{
    uint32_t mixed = *state += 0x9E3779B9u;
    mixed = (mixed ^ mixed >> 16) * 0x85EBCA6Bu;
    mixed = (mixed ^ mixed >> 13) * 0xC2B2AE35u;
    return mixed ^ mixed >> 16;
}

#endif
