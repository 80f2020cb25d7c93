// sharedlib/util/memory_map.h: a whole file as one block of read-only memory.
#pragma once
#include "sharedlib/export.h"
#include <cstdint>
#include <memory>

namespace platform {
struct File;
}

/// Maps a file while it lives, and lets no other `MemoryMap` of any process open the same file meanwhile. What it
/// cannot do is logged at severity Error on channel Generic and leaves an object without a view. A file that somebody
/// cuts short while it is mapped ends the process that reads past its new end. Any thread, one at a time.
class SHAREDLIB_API MemoryMap {
public:
    /// Maps the regular file `fileName`, a path of the library or, on Linux, also of the system; null fails like "".
    /// Throws `std::bad_alloc` when memory is exhausted.
    explicit MemoryMap(char const* fileName);
    MemoryMap(MemoryMap const&) = delete;
    MemoryMap& operator=(MemoryMap const&) = delete;
    ~MemoryMap();

    /// The start of the file, read-only; null after any failure and for an empty file. Valid while the object lives.
    void* GetBuffer() const { return m_view; }
    /// The file's size in bytes; 0 when it could not be opened or measured.
    std::int64_t GetSize() const { return m_fileSize; }

private:
    void* m_view = nullptr;
    std::int64_t m_fileSize = 0;
    // Open, it keeps others out.
    std::unique_ptr<platform::File> m_file;
    std::unique_ptr<platform::File> m_mapping;
};
