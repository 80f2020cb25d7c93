// sharedlib/log/logger_line.cpp: how one log line is composed and handed to the outputs.
#include "sharedlib/log/internal/format.h"
#include "sharedlib/log/internal/log_call_scope.h"
#include "sharedlib/log/internal/log_file.h"
#include "sharedlib/log/internal/log_line.h"
#include "sharedlib/log/internal/recursive_lock.h"
#include "sharedlib/log/logger.h"
#include "sharedlib/platform/debugger.h"
#include "sharedlib/platform/dialog.h"
#include <cstring>

namespace {

// The format and what stands in front of it have at most this many characters together.
constexpr std::size_t kMaxFormat = 1023;

std::string_view levelWord(LogItemSeverityLevel severity) {
    switch (severity) {
    case LogSev_Fatal:
    case LogSev_Assert:
    case LogSev_Error:
        return "ERROR ";
    case LogSev_Warning:
        return "WARNING ";
    default:
        return {};
    }
}

std::string_view cut(char const* text, std::size_t limit) {
    if (text == nullptr) {
        return {};
    }
    auto const* const end = static_cast<char const*>(std::memchr(text, '\0', limit));
    return {text, end == nullptr ? limit : static_cast<std::size_t>(end - text)};
}

// The prefix counts as a part of the format; it holds no conversion, because no channel's name has a '%'.
void appendMessage(LogLine& line, char const* format, NativeArgumentList args) {
    std::span<char> const room = std::span<char>(line.text).subspan(line.prefixLength);
    line.length += log_format::formatText(room, cut(format, kMaxFormat - line.prefixLength), args);
}

} // namespace

void Logger::logIt(unsigned long mask, LogItemSeverityLevel severity, int channel, char const* format,
                   NativeArgumentList args) {
    if (severity == LogSev_None || getBSquelchLogger() || LogCallScope::isInside(*this)) {
        return;
    }
    LogCallScope const inside(*this);
    LogLine line(severity, channel);
    if (!applySettings(line)) {
        return;
    }
    appendMessage(line, format, args);
    if (mask != 0) {
        reportToCrashService(line);
    }
    if ((mask & LogLocation_Debugger) != 0) {
        writeToDebugger(line);
    }
    if ((mask & LogLocation_Console) != 0) {
        callBack(m_consoleLogFunction, line);
    }
    if ((mask & LogLocation_File) != 0) {
        writeToFile(line);
    }
    if ((mask & LogLocation_DB) != 0) {
        callBack(m_DBLogFunction, line);
    }
    if ((mask & LogLocation_Pipe) != 0) {
        callBack(m_pipeLogFunction, line);
    }
    showDialog(line);
}

// Writes what stands in front of the message, and finds the line's file. False if the channel does not admit the line.
bool Logger::applySettings(LogLine& line) const {
    if (!isChannel(line.channel)) {
        line.file = m_mainFile;
        return true;
    }
    ConditionalLog const& settings = conditional(line.channel);
    if (line.severity > settings.m_level.load(std::memory_order_relaxed)) {
        return false;
    }
    line.file = m_channelFiles[static_cast<std::size_t>(line.channel)].load(std::memory_order_acquire);
    line.dateFlag = settings.m_dateFlag.load(std::memory_order_relaxed);
    if (settings.m_levelFlag.load(std::memory_order_relaxed)) {
        line.append(levelWord(line.severity));
        line.isError = line.severity >= LogSev_Fatal && line.severity <= LogSev_Error;
        line.reportLevel = reportLevel(line.severity);
    }
    if (settings.m_nameFlag.load(std::memory_order_relaxed)) {
        line.append(settings.m_prefix);
        line.append(": ");
    } else if (line.length > 0) {
        line.append(": ");
    }
    line.prefixLength = line.length;
    return true;
}

void Logger::writeToDebugger(LogLine const& line) {
    // No lock is worth taking while nobody listens.
    if (getOutputToDebugger() && platform::debuggerAttached()) {
        std::lock_guard const guard(*m_lock);
        platform::writeToDebugger(line.text.data());
        platform::writeToDebugger("\n");
    }
}

void Logger::callBack(std::atomic<LogFunction> const& function, LogLine const& line) {
    if (function.load(std::memory_order_relaxed) == nullptr) {
        return;
    }
    std::lock_guard const guard(*m_lock);
    // Under the lock it stays what it is.
    LogFunction const call = function.load(std::memory_order_relaxed);
    if (call != nullptr) {
        call(line.severity, line.channel, line.text.data(), static_cast<int>(line.prefixLength),
             line.file->name().c_str());
    }
}

void Logger::writeToFile(LogLine const& line) {
    std::lock_guard const guard(*m_lock);
    line.file->write({line.text.data(), line.length}, line.dateFlag, line.isError);
}

void Logger::showDialog(LogLine const& line) const {
    bool const isGrave = line.severity == LogSev_Fatal || line.severity == LogSev_Assert;
    if (isGrave && m_useDialogs.load(std::memory_order_relaxed)) {
        platform::showErrorDialog("Error", line.text.data());
    }
}
