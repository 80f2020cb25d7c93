// sharedlib/log/internal/log_line.h: a log line on its way to the outputs.
#pragma once
#include "sharedlib/log/severity.h"
#include <array>
#include <cstddef>
#include <string_view>

class LogFile;

/// The text of a line, where it goes, and what the outputs want to know about it.
struct LogLine {
    /// A line that nothing has been written into yet. The text's storage starts as it is.
    LogLine(LogItemSeverityLevel lineSeverity, int lineChannel) : severity(lineSeverity), channel(lineChannel) {}

    /// Puts `piece` behind the text. The pieces in front of the message fit in any case.
    void append(std::string_view piece) { length += piece.copy(text.data() + length, piece.size()); }

    LogItemSeverityLevel severity;
    int channel;
    LogFile* file = nullptr;
    bool dateFlag = true;
    bool isError = false;
    /// The crash service's number for the severity, 0 when the line has none.
    int reportLevel = 0;
    std::size_t prefixLength = 0;
    std::size_t length = 0;
    /// Ends with a zero byte once the message is formatted.
    std::array<char, 4096> text;
};
