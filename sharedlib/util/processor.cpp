// sharedlib/util/processor.cpp: the processors that the process may use, and sleeping.
#include "sharedlib/util/processor.h"
#include "sharedlib/platform/clock.h"
#include "sharedlib/platform/processor.h"
#include <cstdlib>

namespace {

constexpr int kDrawnProcessors = 32;

} // namespace

unsigned long GetProcessAffinityMask() {
    return static_cast<unsigned long>(platform::processorAffinityMask());
}

unsigned long ChooseRandomProcessor() {
    unsigned long long const mask = GetProcessAffinityMask();
    if (mask <= 1) {
        return static_cast<unsigned long>(mask);
    }
    std::srand(platform::tickCountMs());
    // Without a processor among those that are drawn, the loop would find none.
    int const first = (mask & 0xFFFF'FFFFULL) != 0 ? 0 : kDrawnProcessors;
    unsigned long long chosen = 0;
    while (chosen == 0) {
        chosen = mask & (1ULL << (first + std::rand() % kDrawnProcessors));
    }
    return static_cast<unsigned long>(chosen);
}

void MsgSleep(unsigned long milliseconds) {
    platform::sleepMs(milliseconds);
}
