// sharedlib/platform/posix/file.cpp: files that are appended to, and the folders around them, over POSIX.
#include "sharedlib/platform/file.h"
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

namespace platform {
namespace {

// Non-blocking, because opening a pipe that somebody put there under the file's name would wait for its reader.
constexpr int kOpenFlags = O_WRONLY | O_APPEND | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
constexpr mode_t kFileMode = 0644;
constexpr mode_t kFolderMode = 0777;

int openFile(const char* path, int flags, File& file) {
    int descriptor = -1;
    do {
        descriptor = ::open(path, flags, kFileMode);
    } while (descriptor < 0 && errno == EINTR);
    if (descriptor < 0) {
        return errno;
    }
    File opened;
    opened.handle = descriptor;
    struct stat status {};
    if (::fstat(descriptor, &status) != 0) {
        return errno;
    }
    if (!S_ISREG(status.st_mode)) {
        return EINVAL;
    }
    file = std::move(opened);
    return 0;
}

using IoList = std::array<iovec, 8>;

// Lists the pieces without their first `skip` bytes, as many as the list holds.
std::size_t listPieces(std::span<const std::string_view> pieces, std::size_t skip, IoList& list) {
    std::size_t count = 0;
    for (std::string_view piece : pieces) {
        const std::size_t skipped = std::min(skip, piece.size());
        skip -= skipped;
        piece.remove_prefix(skipped);
        if (!piece.empty() && count < list.size()) {
            list[count++] = {const_cast<char*>(piece.data()), piece.size()};
        }
    }
    return count;
}

// A rename that the file system cannot do without replacing is a second name for the file, which is never given to a
// name in use, and then the end of the first.
int relink(const char* from, const char* to) {
    if (::linkat(AT_FDCWD, from, AT_FDCWD, to, 0) != 0) {
        return errno;
    }
    if (::unlink(from) == 0) {
        return 0;
    }
    const int error = errno;
    ::unlink(to);
    return error;
}

bool equalInAnyCase(std::string_view left, std::string_view right) {
    const auto lower = [](char character) {
        return character >= 'A' && character <= 'Z' ? static_cast<char>(character | 0x20) : character;
    };
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [&](char a, char b) { return lower(a) == lower(b); });
}

bool isMatch(std::string_view name, std::string_view prefix, std::string_view suffix) {
    return name.size() >= prefix.size() + suffix.size() && equalInAnyCase(name.substr(0, prefix.size()), prefix) &&
           equalInAnyCase(name.substr(name.size() - suffix.size()), suffix);
}

} // namespace

void File::close() {
    if (isOpen()) {
        // First forgotten, because a thread may be cancelled in the call.
        ::close(static_cast<int>(std::exchange(handle, -1)));
    }
}

int createFile(const char* path, File& file) {
    return openFile(path, kOpenFlags | O_CREAT | O_EXCL, file);
}

int openForAppend(const char* path, File& file) {
    return openFile(path, kOpenFlags, file);
}

int writeAll(const File& file, std::span<const std::string_view> pieces, std::size_t& written) {
    written = 0;
    std::size_t total = 0;
    for (const std::string_view piece : pieces) {
        total += piece.size();
    }
    IoList list;
    while (written < total) {
        const std::size_t count = listPieces(pieces, written, list);
        const int descriptor = static_cast<int>(file.handle);
        // A gathered write takes the system longer, even with a single piece.
        const ssize_t result = count == 1 ? ::write(descriptor, list[0].iov_base, list[0].iov_len)
                                          : ::writev(descriptor, list.data(), static_cast<int>(count));
        if (result > 0) {
            written += static_cast<std::size_t>(result);
        } else if (result == 0) {
            return ENOSPC;
        } else if (errno != EINTR) {
            return errno;
        }
    }
    return 0;
}

bool isNameTaken(int error) {
    return error == EEXIST;
}

int renameWithoutReplacing(const char* from, const char* to) {
    if (::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0) {
        return 0;
    }
    const int error = errno;
    return error == EINVAL || error == ENOSYS ? relink(from, to) : error;
}

bool nameExists(const char* path) {
    struct stat status {};
    return ::lstat(path, &status) == 0;
}

bool isFolder(const char* path) {
    struct stat status {};
    return ::stat(path, &status) == 0 && S_ISDIR(status.st_mode);
}

bool isWritable(const char* path) {
    return ::access(path, W_OK) == 0;
}

int makeFolder(const char* path) {
    return ::mkdir(path, kFolderMode) == 0 ? 0 : errno;
}

int scanFolder(const char* folder, std::string_view prefix, std::string_view suffix,
               const std::function<void(std::string_view name)>& found) {
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(::opendir(folder), &::closedir);
    if (!stream) {
        return errno;
    }
    for (;;) {
        errno = 0;
        const dirent* const entry = ::readdir(stream.get());
        if (entry == nullptr) {
            return errno;
        }
        const std::string_view name(entry->d_name);
        if (isMatch(name, prefix, suffix)) {
            found(name);
        }
    }
}

int workingFolder(std::string& path) {
    const std::unique_ptr<char, void (*)(void*)> text(::getcwd(nullptr, 0), &std::free);
    if (!text) {
        return errno;
    }
    // The system marks a folder that no path leads to with a word in front.
    if (*text != '/') {
        return ENOENT;
    }
    path = text.get();
    return 0;
}

int setWorkingFolder(const char* path) {
    return ::chdir(path) == 0 ? 0 : errno;
}

int executablePath(std::string& path) {
    std::string text(256, '\0');
    for (;;) {
        const ssize_t length = ::readlink("/proc/self/exe", text.data(), text.size());
        if (length < 0) {
            return errno;
        }
        if (static_cast<std::size_t>(length) < text.size()) {
            text.resize(static_cast<std::size_t>(length));
            path = std::move(text);
            return 0;
        }
        text.resize(text.size() * 2);
    }
}

} // namespace platform
