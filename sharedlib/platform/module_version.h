// sharedlib/platform/module_version.h: the version that an executable file or a library carries.
#pragma once
#include <cstddef>
#include <cstdint>
#include <vector>

namespace platform {

/// Every function gives 0 or the system's error number. The file may hold anything. Any thread.

/// Where the version information of a file lies, for `readVersionInfo`.
struct VersionInfoPlace {
    std::uint64_t offset = 0;
    std::uint32_t size = 0;
};

/// The two words of a file version: major and minor part, and the third and fourth part, the first of each in the high
/// 16 bits.
struct FileVersion {
    std::uint32_t high = 0;
    std::uint32_t low = 0;
};

/// Finds the version information of the Windows program or library `path`, the system's own path.
int findVersionInfo(const char* path, VersionInfoPlace& place);
/// Reads the version information that was found.
int readVersionInfo(const char* path, const VersionInfoPlace& place, std::vector<std::byte>& info);
/// Takes the file version out of version information.
int queryFileVersion(const std::vector<std::byte>& info, FileVersion& version);

} // namespace platform
