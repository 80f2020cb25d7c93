// sharedlib/platform/posix/service.cpp: service entries as units of systemd.
#include "sharedlib/platform/service.h"
#include "sharedlib/platform/file.h"
#include "sharedlib/platform/file_reading.h"
#include "sharedlib/platform/program.h"
#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <fcntl.h>
#include <pwd.h>
#include <span>
#include <string_view>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace platform {
namespace {

constexpr std::size_t kMaxUnitName = 255;
constexpr int kNotPermittedExit = 4;
constexpr mode_t kReadableByAll = 0644;

// Callers give 1 and 2 a meaning, which the system's numbers for these two must not take on.
ServiceResult failure(ServiceStep step, int error) {
    return {step, error == EPERM ? EACCES : error == ENOENT ? ENXIO : error};
}

std::string hexEscape(char letter) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    const auto byte = static_cast<unsigned char>(letter);
    return {'\\', 'x', kDigits[byte / 16U], kDigits[byte % 16U]};
}

bool isControl(char letter) {
    return static_cast<unsigned char>(letter) < ' ' || letter == '\x7F';
}

// The unit's file name: what may not stand there is written as systemd itself writes it.
std::string unitName(std::string_view service) {
    constexpr std::string_view kAllowed = "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ:-_.";
    std::string name;
    for (const char letter : service) {
        const bool isFirstMark = name.empty() && (letter == '.' || letter == '-');
        const bool isAllowed = kAllowed.find(letter) != std::string_view::npos && !isFirstMark;
        name += isAllowed ? std::string(1, letter) : hexEscape(letter);
    }
    return name + ".service";
}

// A percent sign begins a specifier of systemd's; a line break would begin another setting, a backslash at the end
// would join the next line.
std::string plainValue(std::string_view text) {
    std::string value;
    for (const char letter : text) {
        value.append(letter == '%' ? 2 : 1, isControl(letter) ? ' ' : letter);
    }
    return value.ends_with('\\') ? value + ' ' : value;
}

// Whatever the quoting, systemd starts no program with such a character in its path.
bool isStartable(std::string_view program) {
    return program.find_first_of("\"'\\") == std::string_view::npos && std::ranges::none_of(program, isControl);
}

std::string unitText(const ServiceEntry& entry, const std::string& userLine) {
    return "[Unit]\nDescription=" + plainValue(entry.displayName) +
           "\nAfter=network.target\nStartLimitIntervalSec=0\n"
           "\n[Service]\nType=notify\nExecStart=\"" +
           plainValue(entry.program) + "\"\n" + userLine +
           "Restart=on-failure\nRestartSec=10\n"
           "\n[Install]\nWantedBy=multi-user.target\n";
}

// The folder of the machine's own units, or the first that the variable of systemd's tools names.
std::string unitFolder() {
    const char* const variable = ::secure_getenv("SYSTEMD_UNIT_PATH");
    const std::string_view all = variable != nullptr ? variable : "";
    return all.starts_with('/') ? std::string(all.substr(0, all.find(':'))) : "/etc/systemd/system";
}

int readUnit(const std::string& path, std::string& text) {
    File file;
    std::int64_t size = 0;
    int error = openForReading(path.c_str(), file);
    error = error != 0 ? error : measureFile(file, size);
    if (error == 0) {
        text.resize(static_cast<std::size_t>(size));
        error = readAt(file, 0, std::as_writable_bytes(std::span(text)));
    }
    return error;
}

int fillUnit(const File& file, std::string_view text) {
    const auto descriptor = static_cast<int>(file.handle);
    std::size_t written = 0;
    if (const int error = writeAll(file, std::span(&text, 1), written); error != 0) {
        return error;
    }
    return ::fchmod(descriptor, kReadableByAll) != 0 || ::fsync(descriptor) != 0 ? errno : 0;
}

// The unit is there with all its text or not at all.
int writeUnit(const std::string& folder, const std::string& path, std::string_view text) {
    std::string temporary = folder + "/.sharedlibXXXXXX";
    File file;
    file.handle = ::mkostemp(temporary.data(), O_CLOEXEC);
    if (!file.isOpen()) {
        return errno;
    }
    int error = fillUnit(file, text);
    if (error == 0 && ::rename(temporary.c_str(), path.c_str()) != 0) {
        error = errno;
    }
    if (error != 0) {
        ::unlink(temporary.c_str());
    }
    return error;
}

// The line that names the account in a unit's text, with its end; empty when there is none.
std::string userLineOf(std::string_view text) {
    constexpr std::string_view kLineStart = "\nUser=";
    const std::size_t start = text.find(kLineStart);
    if (start == std::string_view::npos) {
        return {};
    }
    const std::string_view line = text.substr(start + 1);
    return std::string(line.substr(0, line.find('\n'))) + '\n';
}

int waitForExit(pid_t child) {
    int status = 0;
    while (::waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) {
            return errno;
        }
    }
    if (!WIFEXITED(status)) {
        return EIO;
    }
    const int code = WEXITSTATUS(status);
    return code == 0 ? 0 : code == kNotPermittedExit ? EACCES : EIO;
}

// Runs systemd's tool with default signals and without this process's files. It says itself, on standard error, what
// goes wrong.
int runSystemctl(std::vector<std::string> words) {
    words.insert(words.begin(), "systemctl");
    std::intptr_t child = -1;
    const int error = startProgram(std::move(words), ProgramInput::caller, child);
    return error != 0 ? error : waitForExit(static_cast<pid_t>(child));
}

int checkFolder(const std::string& folder) {
    return ::faccessat(AT_FDCWD, folder.c_str(), W_OK | X_OK, AT_EACCESS) == 0 ? 0 : errno;
}

} // namespace

ServiceResult prepareServiceAccount(const char* userName, const char* /*password*/, std::string& account) {
    std::vector<char> texts(1024);
    passwd found{};
    passwd* user = nullptr;
    int error = 0;
    while ((error = ::getpwnam_r(userName, &found, texts.data(), texts.size(), &user)) == ERANGE || error == EINTR) {
        texts.resize(texts.size() * 2);
    }
    if (user == nullptr) {
        return failure(ServiceStep::findAccount, error != 0 ? error : ENOENT);
    }
    account = user->pw_name;
    return {};
}

ServiceResult installService(const ServiceEntry& entry) {
    const std::string folder = unitFolder();
    const std::string name = unitName(entry.name);
    const std::string path = folder + '/' + name;
    if (const int error = checkFolder(folder); error != 0) {
        return failure(ServiceStep::openManager, error);
    }
    std::string before;
    const int readError = readUnit(path, before);
    const bool isNew = readError == ENOENT;
    const ServiceStep step = isNew ? ServiceStep::create : ServiceStep::reconfigure;
    if (!isNew && readError != 0) {
        return failure(step, readError);
    }
    if (name.size() > kMaxUnitName) {
        return failure(step, ENAMETOOLONG);
    }
    if (*entry.name == '\0' || !isStartable(entry.program)) {
        return failure(step, EINVAL);
    }
    const std::string userLine =
        entry.account != nullptr ? "User=" + plainValue(entry.account) + '\n' : userLineOf(before);
    int error = writeUnit(folder, path, unitText(entry, userLine));
    if (error != 0) {
        return failure(step, error);
    }
    // This makes systemd read the unit, too.
    error = runSystemctl({"--quiet", "enable", name});
    if (error == 0) {
        return {};
    }
    isNew ? ::unlink(path.c_str()) : writeUnit(folder, path, before);
    return failure(step, error);
}

ServiceResult removeService(const char* name) {
    const std::string folder = unitFolder();
    const std::string unit = unitName(name);
    const std::string path = folder + '/' + unit;
    if (const int error = checkFolder(folder); error != 0) {
        return failure(ServiceStep::openManager, error);
    }
    if (!nameExists(path.c_str())) {
        return failure(ServiceStep::openService, ENOENT);
    }
    if (const int error = runSystemctl({"--quiet", "disable", unit}); error != 0) {
        return failure(ServiceStep::remove, error);
    }
    if (::unlink(path.c_str()) != 0) {
        return failure(ServiceStep::remove, errno);
    }
    // The entry is gone already; where no systemd runs, nobody has to hear of it.
    runSystemctl({"--quiet", "daemon-reload"});
    return {};
}

} // namespace platform
