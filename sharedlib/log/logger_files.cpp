// sharedlib/log/logger_files.cpp: the logger's log files: names, flush policy, and the message pipe it keeps.
#include "sharedlib/log/internal/log_file.h"
#include "sharedlib/log/internal/recursive_lock.h"
#include "sharedlib/log/logger.h"
#include "sharedlib/platform/message_pipe.h"
#include "sharedlib/platform/process.h"

void Logger::flush() {
    std::lock_guard const guard(*m_lock);
    for (auto const& file : m_files) {
        file->flush();
    }
}

void Logger::setFlushOnWrite(bool flushOnWrite) {
    std::lock_guard const guard(*m_lock);
    m_flushOnWrite.store(flushOnWrite, std::memory_order_relaxed);
}

bool Logger::getFlushOnWrite() const noexcept {
    return m_flushOnWrite.load(std::memory_order_relaxed);
}

bool Logger::getFlushOnWrite() noexcept {
    return m_flushOnWrite.load(std::memory_order_relaxed);
}

void Logger::setSecondsBetweenFlushes(int seconds) noexcept {
    m_secondsBetweenFlushes.store(seconds, std::memory_order_relaxed);
}

int Logger::getSecondsBetweenFlushes() const noexcept {
    return m_secondsBetweenFlushes.load(std::memory_order_relaxed);
}

void Logger::setLastFlush(std::int64_t secondsSinceEpoch) noexcept {
    m_lastFlush.store(secondsSinceEpoch, std::memory_order_relaxed);
}

std::int64_t Logger::getLastFlush() const noexcept {
    return m_lastFlush.load(std::memory_order_relaxed);
}

void Logger::setIncludePIDInName(bool include) noexcept {
    m_includePIDInName.store(include, std::memory_order_relaxed);
}

bool Logger::getIncludePIDInName() const noexcept {
    return m_includePIDInName.load(std::memory_order_relaxed);
}

void Logger::setFilePrefix(char const* prefix) {
    std::lock_guard const guard(*m_lock);
    m_filePrefix = prefix == nullptr ? "" : prefix;
    resetFilePrefix();
}

void Logger::resetFilePrefix() {
    std::lock_guard const guard(*m_lock);
    std::string prefix = m_filePrefix;
    if (getIncludePIDInName()) {
        prefix += '_' + std::to_string(platform::currentProcessId());
    }
    for (auto const& file : m_files) {
        file->setPrefix(prefix.c_str());
    }
}

std::string Logger::getFilePrefix() const {
    std::lock_guard const guard(*m_lock);
    return m_files.front()->filePrefix();
}

std::string Logger::getFileName() const {
    std::lock_guard const guard(*m_lock);
    return m_files.front()->fileName();
}

std::string Logger::getLogDirName() const {
    return m_logDirName;
}

void Logger::setPipeName(char const* pipeName) {
    std::lock_guard const guard(*m_lock);
    platform::closeMessagePipe(m_pipe.exchange(nullptr));
    if (pipeName != nullptr) {
        m_pipe = platform::openMessagePipe(pipeName);
    }
}

void* Logger::getPipe() const noexcept {
    return m_pipe;
}
