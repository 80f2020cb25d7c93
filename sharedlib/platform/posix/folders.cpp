// sharedlib/platform/posix/folders.cpp: the current user's well-known folders, by the freedesktop.org rules.
#include "sharedlib/platform/folders.h"
#include "sharedlib/platform/file.h"
#include <cstdlib>
#include <fstream>
#include <pwd.h>
#include <string_view>
#include <unistd.h>
#include <vector>

namespace platform {
namespace {

std::string environment(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? std::string() : value;
}

std::string homeFolder() {
    if (std::string home = environment("HOME"); !home.empty()) {
        return home;
    }
    constexpr std::size_t kRoom = 16384;
    std::vector<char> room(kRoom);
    passwd entry{};
    passwd* found = nullptr;
    if (::getpwuid_r(::getuid(), &entry, room.data(), room.size(), &found) != 0 || found == nullptr) {
        return {};
    }
    return entry.pw_dir;
}

// The value between the quotes: absolute, or behind "$HOME"; anything else names no folder.
std::string unquoted(std::string_view value, const std::string& home) {
    constexpr std::string_view kHome = "$HOME";
    const bool isBehindHome = value.starts_with("$HOME/") || value.starts_with("$HOME\"");
    if (isBehindHome ? home.empty() : !value.starts_with('/')) {
        return {};
    }
    std::string text;
    if (isBehindHome) {
        text = home;
        value.remove_prefix(kHome.size());
    }
    for (std::size_t i = 0; i < value.size() && value[i] != '"'; ++i) {
        if (value[i] == '\\' && i + 1 < value.size()) {
            ++i;
        }
        text += value[i];
    }
    return text;
}

std::string configuredFolder(const std::string& home) {
    constexpr std::string_view kKey = "XDG_DOCUMENTS_DIR=\"";
    std::string config = environment("XDG_CONFIG_HOME");
    if (!config.starts_with('/')) {
        config = home + "/.config";
    }
    std::string folder;
    std::ifstream file(config + "/user-dirs.dirs");
    for (std::string line; std::getline(file, line);) {
        const std::size_t start = line.find_first_not_of(" \t");
        if (start != std::string::npos && line.compare(start, kKey.size(), kKey) == 0) {
            folder = unquoted(std::string_view(line).substr(start + kKey.size()), home);
        }
    }
    return folder;
}

} // namespace

std::string documentsFolder() {
    const std::string home = homeFolder();
    std::string folder = configuredFolder(home);
    if (folder.empty()) {
        folder = environment("XDG_DOCUMENTS_DIR");
    }
    if (!folder.starts_with('/') && !home.empty()) {
        folder = home + "/Documents";
    }
    while (folder.size() > 1 && folder.back() == '/') {
        folder.pop_back();
    }
    return folder.starts_with('/') && isFolder(folder.c_str()) ? folder : std::string();
}

} // namespace platform
