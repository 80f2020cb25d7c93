// sharedlib/platform/service.h: the entry that makes the system start a program as a service.
#pragma once
#include <string>

namespace platform {

/// What an entry says. Texts that may be null are marked.
struct ServiceEntry {
    const char* name;
    const char* displayName;
    /// The absolute path of the program, which is started without arguments when the system starts, and again 10
    /// seconds after each time that it failed.
    const char* program;
    /// As `prepareServiceAccount` gives it. Null: the system's own account, or the one that the entry already has.
    const char* account;
    /// The account's password where the system wants one; may be null.
    const char* password;
};

/// Where the work on an entry came to its end.
enum class ServiceStep {
    done,
    findAccount,
    openPolicy,
    grantRight,
    checkPassword,
    openManager,
    reconfigure,
    create,
    setFailureActions,
    openService,
    remove
};

/// A step and the system's error number for it: 0 when all is done, never 1 or 2, which callers give a meaning.
struct ServiceResult {
    ServiceStep step = ServiceStep::done;
    int error = 0;
};

/// Finds the user `userName` and makes it one that a service can run as. `account` is what an entry calls it.
/// On POSIX the user must exist; no right is needed and the password, which may be null, is not looked at. Any thread.
ServiceResult prepareServiceAccount(const char* userName, const char* password, std::string& account);

/// Creates the entry, or gives the one of this name the new settings. What fails leaves everything as it was, except
/// for `setFailureActions`, which leaves the entry there. Any thread.
ServiceResult installService(const ServiceEntry& entry);

/// Deletes the entry `name`. A running service goes on running. Any thread.
ServiceResult removeService(const char* name);

} // namespace platform
