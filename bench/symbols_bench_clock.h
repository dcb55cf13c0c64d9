#pragma once

#include <ctime>

/// Seconds of processor time that this process has used: while others use the machine too, that
/// tells more than the clock on the wall. What is timed with it runs in one thread and waits for
/// nothing.
inline double processorSeconds()
{
    timespec time = {};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}
