// sharedlib/platform/file_name.h: turns the library's paths into the system's own and back.
#pragma once
#include <string>
#include <string_view>

namespace platform {

/// The system's path for `path`, which is written with a drive and backslashes; slashes separate too. Drive C is the
/// system's root folder unless `mapDrive` says otherwise, and a path that begins with a separator starts there as well;
/// a drive without a folder of its own leads nowhere. "c:" and "c:x" start at the drive's root. Where a name does not
/// exist as written, the one that differs only in the case of A to Z takes its place, one folder after the other; a
/// name that does not exist at all is kept. Touches the file system. Any thread, but not while another one maps a
/// drive.
std::string nativePath(std::string_view path);

/// The library's path for the absolute system path `path`, drive letters in lower case: the drive whose folder holds it
/// most closely, or no drive when none does. Empty when there is no such path, as for a name with a backslash in it.
std::string libraryPath(std::string_view path);

/// Makes `folder`, an absolute system path, the root of `drive`, a letter of either case. Null or "" takes the drive's
/// folder away (C gets the root folder back). False, with nothing changed, for another drive or a relative folder.
bool mapDrive(char drive, const char* folder);

} // namespace platform
