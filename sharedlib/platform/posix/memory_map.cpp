// sharedlib/platform/posix/memory_map.cpp: whole files as memory.
#include "sharedlib/platform/memory_map.h"
#include "sharedlib/platform/file_reading.h"
#include <cerrno>
#include <cstddef>
#include <sys/file.h>
#include <sys/mman.h>

namespace platform {

namespace {

int lockAlone(int descriptor) {
    int result = 0;
    do {
        result = ::flock(descriptor, LOCK_EX | LOCK_NB);
    } while (result != 0 && errno == EINTR);
    // A file system without locks keeps nobody out, which is no reason to read nothing.
    return result != 0 && errno == EWOULDBLOCK ? EBUSY : 0;
}

} // namespace

int openAlone(const char* path, File& file) {
    File opened;
    int error = openForReading(path, opened);
    if (error == 0) {
        error = lockAlone(static_cast<int>(opened.handle));
    }
    if (error == 0) {
        file = std::move(opened);
    }
    return error;
}

int createMapping(const File& /*file*/, std::int64_t size, File& /*mapping*/) {
    return static_cast<std::uint64_t>(size) <= PTRDIFF_MAX ? 0 : ENOMEM;
}

int mapView(const File& file, const File& /*mapping*/, std::int64_t size, void*& view) {
    void* const mapped =
        ::mmap(nullptr, static_cast<std::size_t>(size), PROT_READ, MAP_PRIVATE, static_cast<int>(file.handle), 0);
    if (mapped == MAP_FAILED) {
        return errno;
    }
    view = mapped;
    return 0;
}

void unmapView(void* view, std::int64_t size) {
    ::munmap(view, static_cast<std::size_t>(size));
}

} // namespace platform
