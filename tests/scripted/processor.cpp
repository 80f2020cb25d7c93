// tests/scripted/processor.cpp: an affinity mask that the test sets.
#include "tests/scripted/processor.h"
#include "sharedlib/platform/processor.h"

std::uint64_t platform::processorAffinityMask() {
    return scripted::affinityMask;
}
