// sharedlib/platform/memory_map.h: whole files as memory.
#pragma once
#include "sharedlib/platform/file.h"
#include <cstdint>

namespace platform {

/// Every function that gives an `int` gives 0 or the system's error number; interrupted calls are repeated. Any thread.

/// Opens the existing regular file `path`, the system's own, for reading alone: while one such opening lives no other
/// succeeds, in this process or another. Who opens the file by other means is not kept out where the system has no
/// means for that. Never waits.
int openAlone(const char* path, File& file);

/// Prepares the mapping of the first `size` bytes (at least 1) of a file; a system that needs a handle for it keeps it
/// in `mapping`, which lives as long as the view. Fails for a file that is larger than the address space.
int createMapping(const File& file, std::int64_t size, File& mapping);

/// Makes a prepared mapping readable as memory at `view`. Bytes that somebody cuts off the file meanwhile end the
/// process when they are read.
int mapView(const File& file, const File& mapping, std::int64_t size, void*& view);

/// Ends what `mapView` began, with the same size.
void unmapView(void* view, std::int64_t size);

} // namespace platform
