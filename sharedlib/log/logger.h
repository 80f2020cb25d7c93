// sharedlib/log/logger.h: the logger that every part of a process reports through.
#pragma once
#include "sharedlib/enums/log_channel.h"
#include "sharedlib/export.h"
#include "sharedlib/log/conditional_log.h"
#include "sharedlib/log/severity.h"
#include "sharedlib/native_types.h"
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class LogFile;
class RecursiveLock;
struct LogLine;

/// A host's output for log lines. `text` is the line without time stamp and line break; its first `prefixLength`
/// characters are the level word and channel name that the logger put in front of the message. `fileChannelName` is the
/// name of the log file that the line goes to, "" for the main one. The pointers live for the call. Called on the
/// logging thread, which holds the logger's lock: the callback may use the logger's setters, and lines that it logs are
/// dropped.
using LogFunction = void (*)(LogItemSeverityLevel severity, int channel, char const* text, int prefixLength,
                             char const* fileChannelName);

/// The outputs of a log line, as bits of the location mask.
enum LogLocation : std::int32_t {
    LogLocation_Debugger = 1,
    LogLocation_Console = 2,
    LogLocation_File = 4,
    LogLocation_DB = 8,
    LogLocation_Pipe = 16
};

/// Takes log lines and hands each to the outputs that are on: crash service, debugger, console callback, log file,
/// database callback and pipe callback, in this order; Fatal and Assert lines also raise a modal error dialog that
/// blocks the calling thread, so a server calls `setUseDialogs(false)`.
///
/// Every operation is safe in any thread unless it says otherwise, and none reports an error; what cannot be written is
/// lost. A log call throws nothing of its own, but an exception that a host's callback throws passes through it, and
/// ends the process where a destructor of the library logs: callbacks should not throw. Those operations that take or
/// give a text throw `std::bad_alloc` when memory is exhausted. A thread that is already inside a log call of this
/// logger (in a callback, say) logs nothing. A process that forks while another thread logs must not log in the child
/// before it has executed a program.
///
/// `channel` is a value of `Log` throughout. Formats are those of printf, the same on every system; beside `%lld` they
/// know `%I64d`. Text from outside belongs into a `%s`, never into the format.
class SHAREDLIB_API Logger {
public:
    /// A logger whose file names begin with `filePrefix` in the log folder `logDirName` below the output path; null
    /// means "" for both. Every channel writes Warning and worse, Generic writes everything and without its name. No
    /// file is opened before its first line.
    Logger(char const* filePrefix, char const* logDirName);
    /// Closes the files and the pipe, and ends the crash service, also one that another logger started. No other thread
    /// may use the logger any more, and `theLogger` must not name it.
    virtual ~Logger();
    Logger(Logger const&) = delete;
    Logger& operator=(Logger const&) = delete;

    /// Writes a line to every output that the location mask has. Does nothing when squelched or when the channel does
    /// not admit `severity`. A channel outside the table counts as one at level Error without name and level word. The
    /// message is cut at 4,095 characters, the format at 1,023.
    void syslog(LogItemSeverityLevel severity, int channel, char const* format, ...);
    /// Like `syslog`, with the arguments as a list, which is used up.
    void vsyslog(LogItemSeverityLevel severity, int channel, char const* format, NativeArgumentList args);
    /// Like `syslog`, but only to debugger, file and database.
    void debuglog(LogItemSeverityLevel severity, int channel, char const* format, ...);
    /// Like `syslog`, but only to debugger and console.
    void screenlog(LogItemSeverityLevel severity, int channel, char const* format, ...);

    /// Whether `channel` admits lines of `severity`; false for a channel outside the table. Waits for nobody.
    bool CheckConditional(int channel, LogItemSeverityLevel severity) const noexcept;
    /// The level of `channel`; Error for a channel outside the table.
    LogItemSeverityLevel GetConditional(int channel) const noexcept;
    /// Sets the least severe severity that `channel` writes. This and the following setters ignore channels outside the
    /// table.
    void SetConditional(int channel, LogItemSeverityLevel level);
    /// Sends the lines of `channel` to the log file called `fileChannelName` (case counts), which is created if there
    /// is none. "" and null name the main log file.
    void SetConditionalChannel(int channel, char const* fileChannelName);
    /// Attaches a value to `channel`, which the logger never reads.
    void SetConditionalData(int channel, unsigned int data);
    /// Whether the file lines of `channel` begin with a time stamp.
    void SetConditionalDateFlag(int channel, bool dateFlag);
    /// Whether the lines of `channel` from Fatal to Warning begin with "ERROR " or "WARNING ". Only then are errors
    /// flushed at once in any case and sent to the crash service.
    void SetConditionalLevelFlag(int channel, bool levelFlag);
    /// Whether the lines of `channel` carry the channel's name.
    void SetConditionalNameFlag(int channel, bool nameFlag);

    /// Whether lines go to a debugger that is attached to the process; true at first.
    void setOutputToDebugger(bool output) noexcept;
    bool getOutputToDebugger() const noexcept;
    /// Whether Fatal and Assert lines raise the error dialog, whatever the location mask; true at first.
    void setUseDialogs(bool use);
    /// The console callback; null switches the output off. When this returns, the old callback runs in no other thread.
    void setConsoleLogFunction(LogFunction function);
    /// The database callback, likewise.
    void setDBLogFunction(LogFunction function);
    /// The pipe callback, likewise.
    void setPipeLogFunction(LogFunction function);
    /// The outputs that lines may use, bits of `LogLocation`; -1, all of them, at first.
    void setLogLocationMask(int mask);
    /// While true, nothing is logged at all.
    void setBSquelchLogger(bool squelch);
    bool getBSquelchLogger() const noexcept;

    /// Hands what the log files have buffered to the system.
    void flush();
    /// Whether every line is flushed at once; true at first.
    void setFlushOnWrite(bool flushOnWrite);
    bool getFlushOnWrite() const noexcept;
    bool getFlushOnWrite() noexcept;
    /// With flushing at each line off, a line is flushed when more than `seconds` have passed since the last timed
    /// flush; 0 or less switches the timed flush off. 0 at first.
    void setSecondsBetweenFlushes(int seconds) noexcept;
    int getSecondsBetweenFlushes() const noexcept;
    /// The time of the last timed flush, in seconds since 1970 of the library's clock.
    void setLastFlush(std::int64_t secondsSinceEpoch) noexcept;
    std::int64_t getLastFlush() const noexcept;
    /// Whether file names carry the process id, from the next `setFilePrefix` or `resetFilePrefix` on; false at first.
    void setIncludePIDInName(bool include) noexcept;
    bool getIncludePIDInName() const noexcept;
    /// Sets what file names begin with; null means "". Each open file is moved to its new name at its next line.
    void setFilePrefix(char const* prefix);
    /// Gives every log file the current prefix anew, with or without the process id.
    void resetFilePrefix();
    /// A copy of what the main log file's name begins with, the process id included when it is.
    std::string getFilePrefix() const;
    /// A copy of the main log file's full path; empty before its first line.
    std::string getFileName() const;
    /// A copy of the log folder's name.
    std::string getLogDirName() const;
    /// Opens the existing message pipe `pipeName` (`\\.\pipe\NAME`) for the host's pipe callback to write to. A pipe
    /// held before is closed.
    void setPipeName(char const* pipeName);
    /// The handle of the message pipe, null when none could be opened: a handle on Windows, the number of a socket
    /// elsewhere. It stays the logger's and lives until `setPipeName` or the logger's end. A write waits while the
    /// server reads nothing; one to a server that has gone raises the system's signal for it, unless the host prevents
    /// that.
    void* getPipe() const noexcept;

    /// Connects the logger to the crash and event reporting service at the address `dsn`, which gets "http://" in front
    /// unless it contains that. From then on each line of severity Fatal, Assert and Error is also sent to the service,
    /// before any other output and while the location mask is not 0, if its channel's level flag is on. The service
    /// keeps its data in the folder ".sentry-native/" with the process id below the working directory. When it cannot
    /// start, and always when the library was built without it, nothing is sent and nothing is logged about that. Once,
    /// before other threads log. See docs/crash_reports.md.
    void initializeSentry(std::string dsn);

protected:
    /// Composes the line and hands it to the outputs in `mask` (bits of `LogLocation`). The channel's level is tested.
    void logIt(unsigned long mask, LogItemSeverityLevel severity, int channel, char const* format,
               NativeArgumentList args);
    /// The index of the log file called `name`, which is created with the file prefix `prefix` (null means "") if there
    /// is none; 0, the main log file, for null.
    int addChannel(char const* prefix, char const* name);
    /// The index of the log file called `name` (case counts), or -1.
    int findChannel(char const* name);

private:
    friend class LogFile;
    friend Logger* log_gate::openLogger(LogItemSeverityLevel severity, int channel) noexcept;

    static bool isChannel(int channel) noexcept { return channel >= 0 && channel < Log::Max; }
    ConditionalLog& conditional(int channel) const noexcept {
        return *m_conditionals[static_cast<std::size_t>(channel)];
    }
    bool admits(LogItemSeverityLevel severity, int channel) const noexcept;
    unsigned long locations(unsigned long outputs) const noexcept;
    static int reportLevel(LogItemSeverityLevel severity) noexcept;
    bool applySettings(LogLine& line) const;
    void reportToCrashService(LogLine const& line) const;
    void writeToDebugger(LogLine const& line);
    void callBack(std::atomic<LogFunction> const& function, LogLine const& line);
    void writeToFile(LogLine const& line);
    void showDialog(LogLine const& line) const;

    // The lock guards each call of an output and whatever is not atomic here.
    std::array<ConditionalLog*, Log::Max> m_conditionals{};
    // Where each channel's lines go: the entry of m_files that its conditional names.
    std::array<std::atomic<LogFile*>, Log::Max> m_channelFiles{};
    std::vector<std::unique_ptr<LogFile>> m_files;
    LogFile* m_mainFile = nullptr;
    std::unique_ptr<RecursiveLock> m_lock;
    std::string const m_logDirName;
    std::string m_filePrefix;
    std::atomic<std::int32_t> m_logLocationMask{-1};
    std::atomic<bool> m_useDialogs{true};
    std::atomic<bool> m_bSquelchLogger{false};
    std::atomic<bool> m_flushOnWrite{true};
    std::atomic<bool> m_outputToDebugger{true};
    std::atomic<bool> m_includePIDInName{false};
    std::atomic<std::int32_t> m_secondsBetweenFlushes{0};
    std::atomic<std::int64_t> m_lastFlush{0};
    std::atomic<LogFunction> m_consoleLogFunction{nullptr};
    std::atomic<LogFunction> m_DBLogFunction{nullptr};
    std::atomic<LogFunction> m_pipeLogFunction{nullptr};
    std::atomic<void*> m_pipe{nullptr};
    std::atomic<bool> m_sentryInitialized{false};
};

/// The process's logger; null until the host stores one, which stays the host's. The library tests it before each use
/// and never creates one.
SHAREDLIB_API extern Logger* theLogger;
