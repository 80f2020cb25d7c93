// sharedlib/platform/thread_id.h: tells threads apart.
#pragma once
#include <cstdint>

namespace platform {

/// A number, never 0, that no two living threads of the process share. Any thread.
std::uintptr_t currentThreadId();

} // namespace platform
