// sharedlib/util/processor.h: the processors that the process may use, and sleeping.
#pragma once
#include "sharedlib/export.h"

/// The processors that this process may run on, one bit each, the first processor in the lowest bit; 0 when that cannot
/// be read. Processors beyond the bits of the result are left out. Any thread.
SHAREDLIB_API unsigned long GetProcessAffinityMask();

/// A mask with one bit of the affinity mask, chosen at random among the first 32 processors (among the others when the
/// mask has none of these); an affinity mask of 0 or 1 is returned as it is. Seeds the C library's `rand` with the tick
/// count, so that two calls in the same millisecond agree. Not for threads that share `rand`.
SHAREDLIB_API unsigned long ChooseRandomProcessor();

/// Sleeps for at least `milliseconds`; 0 gives up the processor once. Any thread.
SHAREDLIB_API void MsgSleep(unsigned long milliseconds);
