// An idle client: what bench/footprint.cpp starts and looks at. Linked with its own library only.
#ifndef BENCH_IDLE_H
#define BENCH_IDLE_H

#include <stdbool.h>

// Makes this client reachable, as its library does that. false: it is not.
bool become_reachable(void);

#endif
