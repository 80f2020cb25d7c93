// sharedlib/platform/processor.h: the processors that the process may run on.
#pragma once
#include <cstdint>

namespace platform {

/// One bit for each of the first 64 processors that the process may run on, the first processor in the lowest bit; 0
/// when that cannot be read. Any thread.
std::uint64_t processorAffinityMask();

} // namespace platform
