// sharedlib/platform/posix/file_reading.cpp: files that are read.
#include "sharedlib/platform/file_reading.h"
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {

namespace {

int descriptorOf(const File& file) {
    return static_cast<int>(file.handle);
}

} // namespace

int openForReading(const char* path, File& file) {
    File opened;
    do {
        opened.handle = ::open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    } while (!opened.isOpen() && errno == EINTR);
    struct stat status {};
    if (!opened.isOpen() || ::fstat(descriptorOf(opened), &status) != 0) {
        return errno;
    }
    if (!S_ISREG(status.st_mode)) {
        return S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
    }
    file = std::move(opened);
    return 0;
}

int measureFile(const File& file, std::int64_t& size) {
    struct stat status {};
    if (::fstat(descriptorOf(file), &status) != 0) {
        return errno;
    }
    size = status.st_size;
    return 0;
}

int readAt(const File& file, std::uint64_t offset, std::span<std::byte> bytes) {
    while (!bytes.empty()) {
        const ssize_t got = ::pread(descriptorOf(file), bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (got < 0 && errno != EINTR) {
            return errno;
        }
        if (got == 0) {
            return ENODATA;
        }
        if (got > 0) {
            bytes = bytes.subspan(static_cast<std::size_t>(got));
            offset += static_cast<std::uint64_t>(got);
        }
    }
    return 0;
}

} // namespace platform
