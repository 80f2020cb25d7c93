// tests/scripted/processor.cpp: an affinity mask that the test sets.
#include "tests/scripted/processor.h"
#include "sharedlib/platform/processor.h"
#include "tests/scripted/per_test.h"

namespace scripted {

namespace {

PerTest const perTest([](bool) { affinityMask() = 1; }, [] {});

} // namespace

std::uint64_t& affinityMask() {
    static std::uint64_t mask = 1;
    return mask;
}

} // namespace scripted

namespace platform {

std::uint64_t processorAffinityMask() {
    return scripted::affinityMask();
}

} // namespace platform
