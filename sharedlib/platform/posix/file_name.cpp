// sharedlib/platform/posix/file_name.cpp: library paths with drives and backslashes over one tree of POSIX names.
#include "sharedlib/platform/file_name.h"
#include "sharedlib/platform/file.h"
#include <algorithm>
#include <array>
#include <new>

namespace platform {
namespace {

constexpr std::size_t kDrives = 26;
constexpr std::string_view kSeparators = "\\/";

// The folder of each drive without a trailing slash, so "" is the root folder; no slash at all means that there is
// none.
struct Drive {
    bool mapped = false;
    std::string folder;
};

using DriveTable = std::array<Drive, kDrives>;

// Never destroyed: a static object of the host may log, and so open a file, after the library's own are gone.
DriveTable& drives() {
    alignas(DriveTable) static unsigned char memory[sizeof(DriveTable)];
    static DriveTable* const table = [] {
        auto* const initial = new (memory) DriveTable;
        (*initial)['c' - 'a'].mapped = true;
        return initial;
    }();
    return *table;
}

Drive* findDrive(char letter) {
    const char lower = static_cast<char>(letter | 0x20);
    return lower >= 'a' && lower <= 'z' ? &drives()[static_cast<std::size_t>(lower - 'a')] : nullptr;
}

// Takes the drive or the leading separators off `path` and gives what the rest stands behind.
std::string takeRoot(std::string_view& path) {
    const bool hasDrive = path.size() >= 2 && path[1] == ':';
    if (!hasDrive) {
        return path.find_first_of(kSeparators) == 0 ? "/" : "";
    }
    const Drive* const drive = findDrive(path[0]);
    // A relative name with a colon exists nowhere, unless somebody means it to.
    std::string root = drive != nullptr && drive->mapped ? drive->folder : std::string(path.substr(0, 2));
    path.remove_prefix(2);
    return root + '/';
}

// The name in `folder` that takes the place of `name`: itself if it exists, else one that differs in case only.
std::string findName(const std::string& folder, std::string_view name) {
    std::string found(name);
    if (nameExists((folder + found).c_str())) {
        return found;
    }
    bool isFound = false;
    scanFolder(folder.empty() ? "." : folder.c_str(), name, "", [&](std::string_view candidate) {
        // The least of several, so that the choice does not depend on the order of the scan.
        if (candidate.size() == name.size() && (!isFound || candidate < found)) {
            found = candidate;
            isFound = true;
        }
    });
    return found;
}

} // namespace

std::string nativePath(std::string_view path) {
    std::string native = takeRoot(path);
    while (!path.empty()) {
        const std::size_t end = std::min(path.find_first_of(kSeparators), path.size());
        if (end != 0) {
            native += findName(native, path.substr(0, end));
        }
        if (end == path.size()) {
            break;
        }
        if (!native.empty() && native.back() != '/') {
            native += '/';
        }
        path.remove_prefix(end + 1);
    }
    return native;
}

std::string libraryPath(std::string_view path) {
    if (!path.starts_with('/') || path.find('\\') != std::string_view::npos) {
        return {};
    }
    std::string text;
    std::size_t longest = 0;
    for (std::size_t i = 0; i < kDrives; ++i) {
        const Drive& drive = drives()[i];
        const std::size_t length = drive.folder.size();
        const bool holds = path.starts_with(drive.folder) && (path.size() == length || path[length] == '/');
        if (drive.mapped && holds && (text.empty() || length > longest)) {
            text = {static_cast<char>('a' + i), ':'};
            longest = length;
        }
    }
    path.remove_prefix(longest);
    text += path.empty() ? "/" : path;
    for (char& character : text) {
        character = character == '/' ? '\\' : character;
    }
    return text;
}

bool mapDrive(char drive, const char* folder) {
    Drive* const found = findDrive(drive);
    std::string_view path = folder == nullptr ? "" : folder;
    if (found == nullptr || (!path.empty() && path.front() != '/')) {
        return false;
    }
    const bool unmap = path.empty();
    while (path.ends_with('/')) {
        path.remove_suffix(1);
    }
    found->folder = path;
    found->mapped = !unmap || (drive | 0x20) == 'c';
    return true;
}

} // namespace platform
