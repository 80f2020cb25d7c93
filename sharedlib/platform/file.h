// sharedlib/platform/file.h: files that are appended to, and the folders around them, by the system's own paths.
#pragma once
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

namespace platform {

/// An open file, closed with its owner. Moves and does not copy; child processes do not inherit it.
struct File {
    /// The system's handle, -1 when there is none.
    std::intptr_t handle = -1;

    File() = default;
    File(File&& other) noexcept : handle(std::exchange(other.handle, -1)) {}
    File& operator=(File&& other) noexcept {
        std::swap(handle, other.handle);
        other.close();
        return *this;
    }
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    ~File() { close(); }

    [[nodiscard]] bool isOpen() const { return handle != -1; }
    /// Closes the file if it is open.
    void close();
};

/// Every function that gives an `int` gives 0 or the system's error number; interrupted calls are repeated.
/// Paths are the system's own, as `nativePath` makes them. Any thread.

/// Creates the regular file `path` for appending, readable by all and writable by the owner as far as the process's
/// mask allows. A name that exists already, be it a folder or a link to nowhere, is an error that `isNameTaken` knows.
int createFile(const char* path, File& file);

/// Opens the existing regular file `path` for appending. Never waits, and never follows a link in the last place.
int openForAppend(const char* path, File& file);

/// Appends `pieces` one behind the other, in a single call of the system when it takes them all. `written` is the
/// number of bytes that reached the file, also after an error. A file that outgrows the process's file size limit
/// raises the system's signal for it first.
int writeAll(const File& file, std::span<const std::string_view> pieces, std::size_t& written);

/// Whether `error` says that the name of a new file is already in use.
bool isNameTaken(int error);

/// Gives the file `from` the name `to`. A name that is in use is left alone and is an error that `isNameTaken` knows.
int renameWithoutReplacing(const char* from, const char* to);

/// Whether anything has this name, also a link to nowhere.
bool nameExists(const char* path);

/// Whether `path` leads to a folder.
bool isFolder(const char* path);

/// Whether `path` exists and this process may write to it.
bool isWritable(const char* path);

/// Creates one folder; the folder above it must exist.
int makeFolder(const char* path);

/// Calls `found` with every name in `folder` that begins with `prefix` and ends with `suffix`, in no order and without
/// regard to the case of A to Z. Gives files, folders and links alike; the names live for the call.
int scanFolder(const char* folder, std::string_view prefix, std::string_view suffix,
               const std::function<void(std::string_view name)>& found);

/// The process's working folder as an absolute path.
int workingFolder(std::string& path);

/// Makes `path` the process's working folder.
int setWorkingFolder(const char* path);

/// The absolute path of the program that this process runs.
int executablePath(std::string& path);

} // namespace platform
