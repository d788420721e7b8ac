// Processor time of the calling thread: on a shared machine the wall clock also tells what others do.
#pragma once

#include <ctime>

inline double ThreadSeconds()
{
    timespec used;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used);
    return static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) * 1e-9;
}
