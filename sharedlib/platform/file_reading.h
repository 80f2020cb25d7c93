// sharedlib/platform/file_reading.h: files that are read.
#pragma once
#include "sharedlib/platform/file.h"
#include <cstddef>
#include <cstdint>
#include <span>

namespace platform {

/// Every function that gives an `int` gives 0 or the system's error number; interrupted calls are repeated. Any thread.

/// Opens the existing regular file `path`, the system's own, for reading. Never waits, as a pipe under that name would
/// make it.
int openForReading(const char* path, File& file);

/// The size of an open file in bytes.
int measureFile(const File& file, std::int64_t& size);

/// Fills `bytes` from the file's byte `offset` on. An error too when the file ends before.
int readAt(const File& file, std::uint64_t offset, std::span<std::byte> bytes);

} // namespace platform
