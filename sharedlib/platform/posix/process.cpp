// sharedlib/platform/posix/process.cpp: the process itself.
#include "sharedlib/platform/process.h"
#include <unistd.h>

namespace platform {

std::uint32_t currentProcessId() {
    return static_cast<std::uint32_t>(::getpid());
}

} // namespace platform
