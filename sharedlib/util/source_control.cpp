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

/// A command of the client and the line for its failure.
struct Command {
    char const* word;
    char const* failure;
};
constexpr Command kAdd{"add", "Failed to run 'p4 add %s': %s"};
constexpr Command kEdit{"edit", "Failed to run 'p4 edit %s': %s"};
constexpr Command kDelete{"delete", "Failed to run 'p4 delete %s': %s"};
constexpr Command kRevert{"revert", "Failed to run 'p4 revert %s': %s"};

bool runAnyClient(Command const& command, std::string const& file) {
    for (char const* program : kFolders) {
        if (spawnWithLoggedOutputV(program, kClient, command.word, file.c_str(), nullptr) == 0) {
            return true;
        }
    }
    return false;
}

bool logFailure(Command const& command, char const* file) {
    int const error = errno;
    SHAREDLIB_DEBUGLOG(LogSev_Error, Log::Generic, command.failure, file, std::strerror(error));
    return false;
}

bool runQuoted(Command const& command, char const* file) {
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
    runQuoted(kAdd, file);
}

void PerforceAddFileNoQuotes(char const* file) {
    file = file != nullptr ? file : "";
    if (!runAnyClient(kAdd, file)) {
        logFailure(kAdd, file);
    }
}

bool PerforceCheckoutFile(char const* file) {
    return runQuoted(kEdit, file);
}

void PerforceDeleteFile(char const* file) {
    runQuoted(kDelete, file);
}

void PerforceRevertFile(char const* file) {
    runQuoted(kRevert, file);
}
