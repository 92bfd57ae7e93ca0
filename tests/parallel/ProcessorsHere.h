#pragma once
// Processors this test process may run on, asked of the system here rather than of the code
// under test: a split that wrongly believes it has one processor must fail its test, not skip it.

#include <sched.h>

inline int ProcessorsHere()
{
    cpu_set_t set;
    CPU_ZERO(&set);
    return ::sched_getaffinity(0, sizeof set, &set) == 0 ? CPU_COUNT(&set) : 1;
}
