// sharedlib/platform/address_space.h: zeroed memory that costs address space until it is touched.
#pragma once
#include <cstddef>

namespace platform {

/// `size` zero bytes whose pages become resident when first touched; null when the system refuses or `size` is 0.
void* reserveZeroed(std::size_t size);
/// The block enlarged to `newSize` (never smaller than `oldSize`), perhaps at another place; new bytes are zero and
/// untouched, the old content is kept without being copied through memory where the system can. Null, with the old
/// block unchanged, when the system refuses.
void* growZeroed(void* block, std::size_t oldSize, std::size_t newSize);
/// Gives the block back; null does nothing.
void releaseZeroed(void* block, std::size_t size);

} // namespace platform
