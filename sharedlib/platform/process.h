// sharedlib/platform/process.h: the process itself.
#pragma once
#include <cstdint>

namespace platform {

/// The system's number of this process. Any thread.
std::uint32_t currentProcessId();

} // namespace platform
