// tests/support/log_capture.h: a logger whose lines a test reads back.
#pragma once
#include "sharedlib/log/logger.h"
#include <algorithm>
#include <gtest/gtest.h>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
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

/// Installs a logger of its own as `theLogger` for its lifetime and collects the lines, which go nowhere else. Channels
/// have the logger's usual levels (Warning, Generic Detail) until `show`. The innermost one collects.
class LogCapture {
public:
    LogCapture() {
        m_logger.setUseDialogs(false);
        // The one output that lines of both `syslog` and `debuglog` reach without a file.
        m_logger.setLogLocationMask(LogLocation_DB);
        m_logger.setDBLogFunction(
            [](LogItemSeverityLevel severity, int channel, char const* text, int prefixLength, char const*) {
                s_innermost->m_lines.push_back({severity, channel, text + prefixLength});
            });
    }
    ~LogCapture() {
        theLogger = m_previous;
        s_innermost = m_outer;
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    void show(Log channel, LogItemSeverityLevel level) { m_logger.SetConditional(channel, level); }
    void clear() { m_lines.clear(); }

    /// All lines, oldest first; and the texts of the lines of `channel`.
    [[nodiscard]] const std::vector<LogLineSeen>& lines() const { return m_lines; }
    [[nodiscard]] std::vector<std::string> texts(Log channel) const {
        std::vector<std::string> result;
        for (const LogLineSeen& line : m_lines) {
            if (line.channel == channel) {
                result.push_back(line.text);
            }
        }
        return result;
    }
    /// Lines with exactly this severity, channel and text.
    [[nodiscard]] int count(LogItemSeverityLevel severity, Log channel, std::string_view text) const {
        return static_cast<int>(std::ranges::count(m_lines, LogLineSeen{severity, channel, std::string(text)}));
    }
    /// Lines whose text contains `part`.
    [[nodiscard]] int countContaining(std::string_view part) const {
        const auto contains = [part](const LogLineSeen& line) { return line.text.find(part) != std::string::npos; };
        return static_cast<int>(std::ranges::count_if(m_lines, contains));
    }

    Logger& logger() { return m_logger; }

private:
    static inline LogCapture* s_innermost = nullptr;

    Logger m_logger{"test", nullptr};
    Logger* m_previous = std::exchange(theLogger, &m_logger);
    LogCapture* m_outer = std::exchange(s_innermost, this);
    std::vector<LogLineSeen> m_lines;
};
