// sharedlib/util/source_control.cpp: files of the Perforce source control, through its command-line client.
#include "sharedlib/util/source_control.h"
#include "sharedlib/log/gate.h"
#include "sharedlib/util/child_process.h"
#include <cerrno>
#include <cstring>
#include <string>

namespace {

constexpr char const* kClient = "p4";
constexpr char const* kFolders[] = {"C:\\Program Files\\Perforce\\p4.exe", "C:\\Program Files (x86)\\Perforce\\p4.exe"};
constexpr std::size_t kMaxQuoted = 2047;

bool runAnyClient(char const* command, std::string const& file) {
    for (char const* program : kFolders) {
        if (spawnWithLoggedOutputV(program, kClient, command, file.c_str(), nullptr) == 0) {
            return true;
        }
    }
    return false;
}

bool logFailure(char const* command, char const* file) {
    int const error = errno;
    SHAREDLIB_DEBUGLOG(LogSev_Error, Log::Generic, "Failed to run 'p4 %s %s': %s", command, file, std::strerror(error));
    return false;
}

bool runQuoted(char const* command, char const* file) {
    file = file != nullptr ? file : "";
    std::string const quoted = '"' + std::string(file) + '"';
    if (quoted.size() > kMaxQuoted) {
        // Cut, it would be the name of another file.
        errno = ENAMETOOLONG;
        return logFailure(command, file);
    }
    return runAnyClient(command, quoted) || logFailure(command, file);
}

} // namespace

void PerforceAddFile(char const* file) {
    runQuoted("add", file);
}

void PerforceAddFileNoQuotes(char const* file) {
    file = file != nullptr ? file : "";
    if (!runAnyClient("add", file)) {
        logFailure("add", file);
    }
}

bool PerforceCheckoutFile(char const* file) {
    return runQuoted("edit", file);
}

void PerforceDeleteFile(char const* file) {
    runQuoted("delete", file);
}

void PerforceRevertFile(char const* file) {
    runQuoted("revert", file);
}
