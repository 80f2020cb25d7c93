// sharedlib/platform/posix/processor.cpp: the processors that the process may run on.
#include "sharedlib/platform/processor.h"
#include <cstddef>
#include <sched.h>
#include <unistd.h>
#include <vector>

namespace platform {

std::uint64_t processorAffinityMask() {
    // The kernel refuses a set smaller than its own, whose size it does not tell, so larger ones are tried in turn.
    for (std::size_t sets = 1; sets <= 64; sets *= 2) {
        std::vector<cpu_set_t> processors(sets);
        std::size_t const bytes = sets * sizeof(cpu_set_t);
        // The first thread stands for the process: threads may have masks of their own.
        if (sched_getaffinity(getpid(), bytes, processors.data()) != 0) {
            continue;
        }
        std::uint64_t mask = 0;
        for (std::size_t i = 0; i < 64; ++i) {
            mask |= std::uint64_t{CPU_ISSET_S(i, bytes, processors.data()) != 0} << i;
        }
        return mask;
    }
    return 0;
}

} // namespace platform
