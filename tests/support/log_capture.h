// tests/support/log_capture.h: a logger whose lines a test reads back.
#pragma once
#include "sharedlib/log/logger.h"
#include <gtest/gtest.h>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

/// One line as a host's database callback gets it, without what the logger put in front of the message.
struct LogLineSeen {
    LogItemSeverityLevel severity = LogSev_None;
    int channel = 0;
    std::string text;

    friend bool operator==(const LogLineSeen&, const LogLineSeen&) = default;
    friend std::ostream& operator<<(std::ostream& out, const LogLineSeen& line) {
        return out << '[' << line.severity << ' ' << line.channel << "] " << line.text;
    }
};

/// Installs a logger of its own as `theLogger` for its lifetime and collects the lines, which go nowhere else: no file,
/// no dialog. Channels have the logger's usual levels (Warning, Generic Detail) until `show`. The innermost one
/// collects.
class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    /// Sets the level of a channel.
    void show(Log channel, LogItemSeverityLevel level) { m_logger.SetConditional(channel, level); }
    /// Forgets the lines so far.
    void clear() { m_lines.clear(); }

    /// All lines, oldest first.
    [[nodiscard]] const std::vector<LogLineSeen>& lines() const { return m_lines; }
    /// The texts of the lines of `channel`, oldest first.
    [[nodiscard]] std::vector<std::string> texts(Log channel) const;
    /// Lines with exactly this severity, channel and text.
    [[nodiscard]] int count(LogItemSeverityLevel severity, Log channel, std::string_view text) const;
    /// Lines whose text contains `part`.
    [[nodiscard]] int countContaining(std::string_view part) const;

    Logger& logger() { return m_logger; }

private:
    static void collect(LogItemSeverityLevel severity, int channel, char const* text, int prefixLength,
                        char const* fileChannelName);

    Logger m_logger{"test", nullptr};
    Logger* m_previous;
    LogCapture* m_outer;
    std::vector<LogLineSeen> m_lines;
};
