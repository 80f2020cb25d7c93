// sharedlib/platform/posix/address_space.cpp: zeroed memory that costs address space until it is touched.
#include "sharedlib/platform/address_space.h"

#include <sys/mman.h>

namespace platform {

void* reserveZeroed(std::size_t size) {
    // Without swap reservation the system counts only pages that are touched.
    void* const block = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (block == MAP_FAILED) {
        return nullptr;
    }
    // One touched byte would make a large page resident, often two megabytes.
    madvise(block, size, MADV_NOHUGEPAGE);
    return block;
}

void* growZeroed(void* block, std::size_t oldSize, std::size_t newSize) {
    if (block == nullptr) {
        return reserveZeroed(newSize);
    }
    void* const grown = mremap(block, oldSize, newSize, MREMAP_MAYMOVE);
    return grown != MAP_FAILED ? grown : nullptr;
}

void releaseZeroed(void* block, std::size_t size) {
    if (block != nullptr) {
        munmap(block, size);
    }
}

} // namespace platform
