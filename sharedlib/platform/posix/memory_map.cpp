// sharedlib/platform/posix/memory_map.cpp: whole files as memory.
#include "sharedlib/platform/memory_map.h"
#include <cerrno>
#include <cstddef>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

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
    do {
        // Non-blocking, because opening a pipe would wait for its writer.
        opened.handle = ::open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    } while (!opened.isOpen() && errno == EINTR);
    if (!opened.isOpen()) {
        return errno;
    }
    struct stat status {};
    if (::fstat(static_cast<int>(opened.handle), &status) != 0) {
        return errno;
    }
    if (!S_ISREG(status.st_mode)) {
        return S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
    }
    if (const int error = lockAlone(static_cast<int>(opened.handle)); error != 0) {
        return error;
    }
    file = std::move(opened);
    return 0;
}

int measureFile(const File& file, std::int64_t& size) {
    struct stat status {};
    if (::fstat(static_cast<int>(file.handle), &status) != 0) {
        return errno;
    }
    size = status.st_size;
    return 0;
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
