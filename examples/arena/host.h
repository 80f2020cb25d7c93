// examples/arena/host.h: start-up and shutdown of a process, in the order that the library expects.
#pragma once
#include "sharedlib/log/logger.h"
#include <cstdint>
#include <memory>
#include <string>

namespace arena {

/// What the process has logged so far.
struct LogCount {
    std::uint64_t lines = 0;
    std::uint64_t warnings = 0;
    std::string lastWarning;
};

/// The library, made ready for this process: paths, logger, remote calls. Make one first thing in `main`, and
/// connections and listeners after it, so that they are gone when it ends.
class Host {
public:
    /// Log files are called `logPrefix` and a number, in the folder "logs" of the working directory.
    /// `withStrangerCall` gives this process a table of calls that differs from everybody else's.
    explicit Host(const char* logPrefix, bool withStrangerCall = false);
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;
    ~Host();

    [[nodiscard]] static const LogCount& logged();
    /// The log file's path as the system knows it; empty before the first line.
    [[nodiscard]] std::string logFile() const;
    /// Closes the library down; no line is logged afterwards. The destructor does it if nobody has.
    void shutDown();

private:
    std::unique_ptr<Logger> m_logger;
};

/// Whether the user wants the process to end (SIGINT or SIGTERM), once `watchForInterrupt` has been called.
bool isInterrupted();
void watchForInterrupt();

/// Prints the log file's path and first lines. To be called when the host has shut down: only then are all lines on
/// disk. Whether the file holds every line that was logged.
bool showLogFile(const std::string& file);

} // namespace arena
