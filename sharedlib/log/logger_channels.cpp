// sharedlib/log/logger_channels.cpp: the settings of the log channels, and the table of log files they are routed to.
#include "sharedlib/log/internal/log_file.h"
#include "sharedlib/log/internal/recursive_lock.h"
#include "sharedlib/log/logger.h"

bool Logger::CheckConditional(int channel, LogItemSeverityLevel severity) const noexcept {
    return isChannel(channel) && conditional(channel).m_level.load(std::memory_order_relaxed) >= severity;
}

LogItemSeverityLevel Logger::GetConditional(int channel) const noexcept {
    return isChannel(channel) ? conditional(channel).m_level.load(std::memory_order_relaxed) : LogSev_Error;
}

void Logger::SetConditional(int channel, LogItemSeverityLevel level) {
    if (isChannel(channel)) {
        std::lock_guard const guard(*m_lock);
        conditional(channel).m_level.store(level, std::memory_order_relaxed);
    }
}

void Logger::SetConditionalChannel(int channel, char const* fileChannelName) {
    std::lock_guard const guard(*m_lock);
    int index = findChannel(fileChannelName);
    if (index < 0) {
        index = addChannel(getFilePrefix().c_str(), fileChannelName);
    }
    if (isChannel(channel)) {
        conditional(channel).m_fileChannel.store(index, std::memory_order_relaxed);
        // Lines take the file from here without the lock, so it has to be seen whole.
        m_channelFiles[static_cast<std::size_t>(channel)].store(m_files[static_cast<std::size_t>(index)].get(),
                                                                std::memory_order_release);
    }
}

void Logger::SetConditionalData(int channel, unsigned int data) {
    if (isChannel(channel)) {
        std::lock_guard const guard(*m_lock);
        conditional(channel).setUserData(data);
    }
}

void Logger::SetConditionalDateFlag(int channel, bool dateFlag) {
    if (isChannel(channel)) {
        std::lock_guard const guard(*m_lock);
        conditional(channel).m_dateFlag.store(dateFlag, std::memory_order_relaxed);
    }
}

void Logger::SetConditionalLevelFlag(int channel, bool levelFlag) {
    if (isChannel(channel)) {
        std::lock_guard const guard(*m_lock);
        conditional(channel).m_levelFlag.store(levelFlag, std::memory_order_relaxed);
    }
}

void Logger::SetConditionalNameFlag(int channel, bool nameFlag) {
    if (isChannel(channel)) {
        std::lock_guard const guard(*m_lock);
        conditional(channel).m_nameFlag.store(nameFlag, std::memory_order_relaxed);
    }
}

int Logger::addChannel(char const* prefix, char const* name) {
    if (name == nullptr) {
        return 0;
    }
    std::lock_guard const guard(*m_lock);
    int const present = findChannel(name);
    if (present >= 0) {
        return present;
    }
    m_files.push_back(std::make_unique<LogFile>(this, prefix == nullptr ? "" : prefix, name));
    return static_cast<int>(m_files.size()) - 1;
}

int Logger::findChannel(char const* name) {
    if (name == nullptr) {
        return -1;
    }
    std::lock_guard const guard(*m_lock);
    for (std::size_t index = 0; index < m_files.size(); ++index) {
        if (m_files[index]->name() == name) {
            return static_cast<int>(index);
        }
    }
    return -1;
}
