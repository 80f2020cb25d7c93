// tests/scripted/processor.h: an affinity mask that the test sets.
#pragma once
#include <cstdint>

namespace scripted {

/// What `platform::processorAffinityMask` answers; 1 at the start of every test.
std::uint64_t& affinityMask();

} // namespace scripted
