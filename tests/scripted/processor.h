// tests/scripted/processor.h: an affinity mask that the test sets.
#pragma once
#include <cstdint>

namespace scripted {

/// What `platform::processorAffinityMask` answers.
inline std::uint64_t affinityMask = 1;

} // namespace scripted
