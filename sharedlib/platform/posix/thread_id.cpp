// sharedlib/platform/posix/thread_id.cpp: tells threads apart.
#include "sharedlib/platform/thread_id.h"

namespace platform {

std::uintptr_t currentThreadId() {
    // The system's number would go stale in the child of a fork; an address of the thread's own does not.
    static constinit thread_local char mark = '\0';
    return reinterpret_cast<std::uintptr_t>(&mark);
}

} // namespace platform
