// sharedlib/log/internal/log_file.h: one numbered log file of the logger.
#pragma once
#include "sharedlib/platform/file.h"
#include "sharedlib/platform/local_time.h"
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

class Logger;

/// A file channel: the file that a named group of channels writes its lines to. Opens its file with the first line,
/// under the next free number, and moves it when the prefix or the output folder changes. The logger owns it and calls
/// it only under the main lock; it has no lock of its own. No failure is reported: without a file, lines are dropped.
class LogFile {
public:
    /// A file channel called `name` ("" for the main log file) of `owner`, which outlives it; `prefix` as in
    /// `setPrefix`.
    LogFile(Logger* owner, char const* prefix, char const* name);
    /// Writes what is buffered and closes the file.
    ~LogFile();
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;

    /// Makes `prefix` the beginning of the file's name, behind the channel's name and "_" if it has one. If that is a
    /// change, the file is closed, and the next line moves it to its new name.
    void setPrefix(char const* prefix);
    /// Opens or moves the file unless it is open, or has failed to open, for the current prefix and folder.
    void openIfNeeded();
    /// Appends one line: the local time if `dateFlag`, `text` cut to what fits in 4,094 characters, a line end. The
    /// line reaches the file at once if `isError` or the logger says so, else when the logger's interval is over, the
    /// buffer is full, or the file is flushed or closed. What the system refuses is lost; the next line starts a line
    /// again.
    void write(std::string_view text, bool dateFlag, bool isError);
    /// Writes what is buffered.
    void flush();

    /// The file channel's name; fixed.
    [[nodiscard]] const std::string& name() const { return m_name; }
    /// The beginning of the file's name: name, "_" and prefix, or the prefix alone.
    [[nodiscard]] const std::string& filePrefix() const { return m_filePrefix; }
    /// Full path of the current file, "" before the first one is opened.
    [[nodiscard]] const std::string& fileName() const { return m_fileName; }

private:
    // A line of 4,095 characters, each of them a line feed that takes two bytes on disk.
    static constexpr std::size_t kWorstLine = std::size_t{2} * 4095;
    static constexpr std::size_t kBufferSize = 65536;

    [[nodiscard]] bool isFolderUnchanged() const;
    void openNumbered(const std::string& base);
    int openAs(std::string name, const std::string& native, bool isNew);
    [[nodiscard]] bool isReady();
    std::size_t appendTimeStamp();
    void appendText(std::string_view text);
    void appendBytes(std::string_view bytes);
    [[nodiscard]] bool mustFlush(bool isError);
    void close();

    Logger* m_logger;
    std::string m_filePrefix;
    std::string m_name;
    std::string m_fileName;
    platform::File m_file;
    bool m_opened = false;
    std::string m_directory;

    std::int64_t m_stampSecond = -1;
    char m_stamp[platform::kLocalTimeLength + 2] = {};
    // The last byte that reached the file: a line that was cut there still needs its end.
    char m_lastWritten = '\n';
    // Lines on their way to the file, line ends already in their form on disk.
    std::size_t m_buffered = 0;
    std::array<char, kBufferSize> m_buffer;
};
