// tests/support/log_capture.cpp: a logger whose lines a test reads back.
#include "tests/support/log_capture.h"
#include <algorithm>

namespace {

LogCapture* g_capture = nullptr;

} // namespace

LogCapture::LogCapture() : m_previous(theLogger), m_outer(g_capture) {
    g_capture = this;
    m_logger.setUseDialogs(false);
    // The one output that lines of both `syslog` and `debuglog` reach without a file.
    m_logger.setLogLocationMask(LogLocation_DB);
    m_logger.setDBLogFunction(&LogCapture::collect);
    theLogger = &m_logger;
}

LogCapture::~LogCapture() {
    theLogger = m_previous;
    g_capture = m_outer;
}

std::vector<std::string> LogCapture::texts(Log channel) const {
    std::vector<std::string> result;
    for (const LogLineSeen& line : m_lines) {
        if (line.channel == channel) {
            result.push_back(line.text);
        }
    }
    return result;
}

int LogCapture::count(LogItemSeverityLevel severity, Log channel, std::string_view text) const {
    return static_cast<int>(std::ranges::count(m_lines, LogLineSeen{severity, channel, std::string(text)}));
}

int LogCapture::countContaining(std::string_view part) const {
    return static_cast<int>(std::ranges::count_if(
        m_lines, [part](const LogLineSeen& line) { return line.text.find(part) != std::string::npos; }));
}

void LogCapture::collect(LogItemSeverityLevel severity, int channel, char const* text, int prefixLength,
                         char const* /*fileChannelName*/) {
    g_capture->m_lines.push_back({severity, channel, text + prefixLength});
}
