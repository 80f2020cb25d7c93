// sharedlib/util/paths.cpp: the game's folders and full paths built from names relative to them.
#include "sharedlib/util/paths.h"
#include "sharedlib/platform/file.h"
#include "sharedlib/platform/file_name.h"
#include "sharedlib/platform/folders.h"
#include "sharedlib/util/text.h"
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace {

constexpr std::size_t kMaxPath = 255;
constexpr std::size_t kMaxExecutablePath = 259;

using PathBuffer = std::array<char, kMaxPath + 1>;

PathBuffer s_gamePath;
PathBuffer s_outputPath;
PathBuffer s_parentPath;
PathBuffer s_remoteGamePath;

// Refuses what does not fit: a path cut in the middle of a name would lead into another folder.
bool assign(PathBuffer& buffer, const char* path) {
    if (path == nullptr) {
        return false;
    }
    const std::size_t length = std::strlen(path);
    if (length > kMaxPath) {
        return false;
    }
    std::memmove(buffer.data(), path, length + 1);
    return true;
}

bool hasDrive(const char* path) {
    return path[0] != '\0' && path[1] == ':';
}

bool isAbsolute(const char* path) {
    return hasDrive(path) || (path[0] == '\\' && path[1] == '\\');
}

std::string join(std::string_view folder, std::string_view name) {
    std::string path;
    path.reserve(folder.size() + 1 + name.size());
    path += folder;
    path += '\\';
    path += name;
    return path;
}

std::string joinBelow(const PathBuffer& base, const char* folder, const char* name) {
    return folder == nullptr ? join(base.data(), name) : join(join(base.data(), folder), name);
}

std::string cutAtLastBackslash(std::string path) {
    path.resize(std::min(path.rfind('\\'), path.size()));
    return path;
}

bool equalInAnyCase(std::string left, std::string right) {
    makeLower(left.data());
    makeLower(right.data());
    return left == right;
}

// The output folder below the user's documents folder; "" when there is no documents folder or the path is too long.
std::string documentsOutputPath(const char* folderName) {
    const std::string documents = platform::libraryPath(platform::documentsFolder());
    if (documents.empty()) {
        return {};
    }
    std::string path = join(documents, Kest::Orv::isSet(folderName) ? folderName : "Vantorra");
    return path.size() > kMaxPath ? std::string() : path;
}

} // namespace

void InitGamePath(bool useDocumentsFolder, char const* folderName) {
    std::string folder;
    if (platform::workingFolder(folder) != 0) {
        return;
    }
    folder = platform::libraryPath(folder);
    if (folder.empty() || !assign(s_gamePath, folder.c_str())) {
        return;
    }
    makeLower(s_gamePath.data());
    std::string output = useDocumentsFolder ? documentsOutputPath(folderName) : std::string();
    if (output.empty()) {
        output = s_gamePath.data();
    }
    if (useDocumentsFolder) {
        ensureDirectoryExists(output.c_str());
    }
    assign(s_outputPath, output.c_str());
    assign(s_parentPath, cutAtLastBackslash(s_gamePath.data()).c_str());
    assign(s_remoteGamePath, s_gamePath.data());
}

int ForceExePath() {
    std::string executable;
    int error = platform::executablePath(executable);
    if (error == 0) {
        executable = platform::libraryPath(executable);
        error = executable.empty() || executable.size() > kMaxExecutablePath ? ENAMETOOLONG : 0;
    }
    if (error != 0) {
        std::fputs("*** --- *** Could not find the working directory", stdout);
        return error;
    }
    const std::string folder = cutAtLastBackslash(executable);
    error = platform::setWorkingFolder(platform::nativePath(folder).c_str());
    if (error != 0) {
        errno = error;
        std::perror(folder.c_str());
    }
    return error;
}

void SetOutputPath(char const* path) {
    assign(s_outputPath, path);
}

void InitRemotePath(char const* path) {
    assign(s_remoteGamePath, path);
}

char const* GetGamePath() {
    return s_gamePath.data();
}

char const* GetGameOutputPath() {
    return s_outputPath.data();
}

char const* GetParentPath() {
    return s_parentPath.data();
}

char const* GetRemoteGamePath() {
    return s_remoteGamePath.data();
}

std::string GetFullPath(char const* path) {
    return isAbsolute(path) ? path : join(s_gamePath.data(), path);
}

std::string GetRemoteFullPath(char const* path) {
    return isAbsolute(path) ? path : join(s_remoteGamePath.data(), path);
}

std::string GetOutputPath(char const* path) {
    return hasDrive(path) ? path : join(s_outputPath.data(), path);
}

std::string GetRelativePath(char const* path) {
    std::string text = path;
    const std::size_t length = std::strlen(s_gamePath.data());
    if (!equalInAnyCase(text.substr(0, length), s_gamePath.data())) {
        return text;
    }
    return text.substr(std::min(length + 1, text.size()));
}

std::string MakeFullPath(char const* folder, char const* name) {
    return joinBelow(s_gamePath, folder, name);
}

std::string MakeRemoteFullPath(char const* folder, char const* name) {
    return joinBelow(s_remoteGamePath, folder, name);
}

std::string MakeFullRoomPath(char const* room) {
    return join(MakeFullPath("data\\World\\Rooms", room), room);
}

bool hasExtension(char const* path, char const* extension) {
    if (path == nullptr || extension == nullptr) {
        return false;
    }
    const char* const dot = std::strrchr(path, '.');
    return dot != nullptr && equalInAnyCase(dot + 1, extension);
}

bool ensureDirectoryExists(char const* path) {
    if (path == nullptr) {
        return false;
    }
    const std::string native = NativePath(path);
    return platform::isWritable(native.c_str()) || platform::makeFolder(native.c_str()) == 0;
}

std::string NativePath(char const* path) {
    return platform::nativePath(path);
}

bool MapDrive(char drive, char const* nativeFolder) {
    return platform::mapDrive(drive, nativeFolder);
}
