// sharedlib/log/conditional_log.cpp: the settings of one log channel.
#include "sharedlib/log/conditional_log.h"

ConditionalLog::ConditionalLog(std::string const& prefix, LogItemSeverityLevel level, int fileChannel)
    : m_level(level), m_prefix(prefix), m_fileChannel(fileChannel) {
}

ConditionalLog::ConditionalLog(ConditionalLog const& other)
    : m_level(other.m_level.load(std::memory_order_relaxed)), m_prefix(other.m_prefix), m_userData(other.getUserData()),
      m_fileChannel(other.m_fileChannel.load(std::memory_order_relaxed)),
      m_dateFlag(other.m_dateFlag.load(std::memory_order_relaxed)),
      m_nameFlag(other.m_nameFlag.load(std::memory_order_relaxed)),
      m_levelFlag(other.m_levelFlag.load(std::memory_order_relaxed)) {
}

ConditionalLog& ConditionalLog::operator=(ConditionalLog const& other) {
    if (this != &other) {
        m_level.store(other.m_level.load(std::memory_order_relaxed), std::memory_order_relaxed);
        m_prefix = other.m_prefix;
        setUserData(other.getUserData());
        m_fileChannel.store(other.m_fileChannel.load(std::memory_order_relaxed), std::memory_order_relaxed);
        m_dateFlag.store(other.m_dateFlag.load(std::memory_order_relaxed), std::memory_order_relaxed);
        m_nameFlag.store(other.m_nameFlag.load(std::memory_order_relaxed), std::memory_order_relaxed);
        m_levelFlag.store(other.m_levelFlag.load(std::memory_order_relaxed), std::memory_order_relaxed);
    }
    return *this;
}

ConditionalLog::~ConditionalLog() = default;
