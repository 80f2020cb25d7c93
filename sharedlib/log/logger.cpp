// sharedlib/log/logger.cpp: the life, the entry points and the switches of the logger.
#include "sharedlib/log/logger.h"
#include "sharedlib/log/internal/log_file.h"
#include "sharedlib/log/internal/recursive_lock.h"
#include "sharedlib/platform/crash_service.h"
#include "sharedlib/platform/message_pipe.h"

Logger* theLogger = nullptr;

namespace {

constexpr std::size_t kFirstFileSlots = 4;

char const* orEmpty(char const* text) {
    return text == nullptr ? "" : text;
}

} // namespace

Logger::Logger(char const* filePrefix, char const* logDirName)
    : m_lock(std::make_unique<RecursiveLock>()), m_logDirName(orEmpty(logDirName)), m_filePrefix(orEmpty(filePrefix)) {
    m_files.reserve(kFirstFileSlots);
    m_mainFile = m_files.emplace_back(std::make_unique<LogFile>(this, m_filePrefix.c_str(), "")).get();
    for (std::int32_t channel = 0; channel < Log::Max; ++channel) {
        auto const index = static_cast<std::size_t>(channel);
        m_conditionals[index] = new ConditionalLog(Log_ValueToName(static_cast<Log>(channel)), LogSev_Warning, 0);
        m_channelFiles[index].store(m_mainFile, std::memory_order_relaxed);
    }
    SetConditional(Log::Generic, LogSev_Detail);
    SetConditionalNameFlag(Log::Generic, false);
}

Logger::~Logger() {
    for (ConditionalLog* conditional : m_conditionals) {
        delete conditional;
    }
    m_files.clear();
    platform::closeMessagePipe(m_pipe);
    m_sentryInitialized = false;
    // Also when this logger never started it.
    platform::stopCrashService();
}

void Logger::syslog(LogItemSeverityLevel severity, int channel, char const* format, ...) {
    if (admits(severity, channel)) {
        va_list args;
        va_start(args, format);
        logIt(locations(0xFFFF), severity, channel, format, args);
        va_end(args);
    }
}

void Logger::vsyslog(LogItemSeverityLevel severity, int channel, char const* format, NativeArgumentList args) {
    if (admits(severity, channel)) {
        logIt(locations(0xFFFF), severity, channel, format, args);
    }
}

void Logger::debuglog(LogItemSeverityLevel severity, int channel, char const* format, ...) {
    if (admits(severity, channel)) {
        va_list args;
        va_start(args, format);
        logIt(locations(LogLocation_Debugger | LogLocation_File | LogLocation_DB), severity, channel, format, args);
        va_end(args);
    }
}

void Logger::screenlog(LogItemSeverityLevel severity, int channel, char const* format, ...) {
    if (admits(severity, channel)) {
        va_list args;
        va_start(args, format);
        logIt(locations(LogLocation_Debugger | LogLocation_Console), severity, channel, format, args);
        va_end(args);
    }
}

bool Logger::admits(LogItemSeverityLevel severity, int channel) const noexcept {
    return !getBSquelchLogger() && severity <= GetConditional(channel);
}

unsigned long Logger::locations(unsigned long outputs) const noexcept {
    return static_cast<std::uint32_t>(m_logLocationMask.load(std::memory_order_relaxed)) & outputs;
}

void Logger::setOutputToDebugger(bool output) noexcept {
    m_outputToDebugger.store(output, std::memory_order_relaxed);
}

bool Logger::getOutputToDebugger() const noexcept {
    return m_outputToDebugger.load(std::memory_order_relaxed);
}

void Logger::setUseDialogs(bool use) {
    std::lock_guard const guard(*m_lock);
    m_useDialogs.store(use, std::memory_order_relaxed);
}

void Logger::setConsoleLogFunction(LogFunction function) {
    std::lock_guard const guard(*m_lock);
    m_consoleLogFunction.store(function, std::memory_order_relaxed);
}

void Logger::setDBLogFunction(LogFunction function) {
    std::lock_guard const guard(*m_lock);
    m_DBLogFunction.store(function, std::memory_order_relaxed);
}

void Logger::setPipeLogFunction(LogFunction function) {
    std::lock_guard const guard(*m_lock);
    m_pipeLogFunction.store(function, std::memory_order_relaxed);
}

void Logger::setLogLocationMask(int mask) {
    std::lock_guard const guard(*m_lock);
    m_logLocationMask.store(mask, std::memory_order_relaxed);
}

void Logger::setBSquelchLogger(bool squelch) {
    std::lock_guard const guard(*m_lock);
    m_bSquelchLogger.store(squelch, std::memory_order_relaxed);
}

bool Logger::getBSquelchLogger() const noexcept {
    return m_bSquelchLogger.load(std::memory_order_relaxed);
}
