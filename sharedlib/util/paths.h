// sharedlib/util/paths.h: the game's folders and full paths built from names relative to them.
#pragma once
#include "sharedlib/export.h"
#include <string>

/// Paths are written with a drive and backslashes on every system; `NativePath` turns one into the system's own. No
/// path builder normalises a path or looks whether it exists, and nothing here logs. Where null is not mentioned, it
/// must not be given. The four folders are one set for the whole process, at most 255 characters each, empty until
/// `InitGamePath`.
///
/// Threads: the folders and drives carry no lock, and every log line reads the output path. So `InitGamePath`,
/// `SetOutputPath`, `InitRemotePath` and `MapDrive` must not run while another thread builds a path or logs: call them
/// at start-up. `ForceExePath` changes the whole process's working directory. All else may be called from any thread.

/// Sets all four folders. The game path becomes the working directory in lower case, the parent path the folder above
/// it, the remote game path the game path. The output path becomes the game path or, if `useDocumentsFolder` is true
/// and the user has a documents folder, the folder `folderName` in it ("Vantorra" for null or ""), which is created if
/// missing. Leaves all four as they were when the working directory cannot be told or has more than 255 characters; a
/// documents path of more than 255 characters counts as none.
SHAREDLIB_API void InitGamePath(bool useDocumentsFolder, char const* folderName);

/// Makes the running program's folder the working directory. Returns 0, or the system's error number after a line on
/// standard output (the program's path cannot be told or has more than 259 characters) or standard error.
SHAREDLIB_API int ForceExePath();

/// Replaces the output path; null and more than 255 characters are refused and change nothing. Log files move there
/// with their next line.
SHAREDLIB_API void SetOutputPath(char const* path);

/// Replaces the remote game path; null and more than 255 characters are refused and change nothing.
SHAREDLIB_API void InitRemotePath(char const* path);

/// The game path: lower case, no trailing backslash except at a drive's root. The pointer stays valid, its text
/// changes.
SHAREDLIB_API char const* GetGamePath();
/// The output path, where log files go. The pointer stays valid, its text changes.
SHAREDLIB_API char const* GetGameOutputPath();
/// The folder above the game path. The pointer stays valid, its text changes.
SHAREDLIB_API char const* GetParentPath();
/// The base of the remote lookups. The pointer stays valid, its text changes.
SHAREDLIB_API char const* GetRemoteGamePath();

/// `path` itself if its second character is ':' or it begins with two backslashes, else game path, backslash, `path`.
SHAREDLIB_API std::string GetFullPath(char const* path);
/// Like `GetFullPath` with the remote game path as base.
SHAREDLIB_API std::string GetRemoteFullPath(char const* path);
/// `path` itself if its second character is ':', else output path, backslash, `path`.
SHAREDLIB_API std::string GetOutputPath(char const* path);
/// What follows the game path and the one character behind it, if `path` begins with the game path in any case, else
/// `path` itself. The game path alone gives "".
SHAREDLIB_API std::string GetRelativePath(char const* path);
/// Game path, `folder` and `name`, joined with backslashes; a null `folder` is left out.
SHAREDLIB_API std::string MakeFullPath(char const* folder, char const* name);
/// Like `MakeFullPath` with the remote game path as base.
SHAREDLIB_API std::string MakeRemoteFullPath(char const* folder, char const* name);
/// The file of a room: the room's folder in data\World\Rooms of the game path and in it the name `room` once more.
SHAREDLIB_API std::string MakeFullRoomPath(char const* room);

/// Whether the text behind the last '.' of the whole `path` equals `extension` (given without a dot), in any case of A
/// to Z. False for null and for a path without '.'.
SHAREDLIB_API bool hasExtension(char const* path, char const* extension);

/// Whether `path` can be written to or, if not, could be created as a folder; folders above it are not created.
SHAREDLIB_API bool ensureDirectoryExists(char const* path);

/// The system's own path for a path of the library, for `fopen` and its like. On Windows `path` itself. Elsewhere drive
/// C is the root folder unless `MapDrive` says otherwise, separators turn, and a name that does not exist as written is
/// looked up without regard to case, one folder after the other, because the game path is in lower case.
SHAREDLIB_API std::string NativePath(char const* path);

/// Makes `nativeFolder`, an absolute path of the system's own, the root of `drive`, a letter; null or "" undoes it.
/// Files that are open stay where they are. A folder below no drive, as may be while C is not the root folder, has a
/// path without a drive. False, with nothing changed, for another drive or a relative folder. Call it at start-up,
/// before `InitGamePath`. On Windows, where drives are the system's, it changes nothing and returns false.
SHAREDLIB_API bool MapDrive(char drive, char const* nativeFolder);
