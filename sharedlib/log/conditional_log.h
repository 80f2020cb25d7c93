// sharedlib/log/conditional_log.h: the settings of one log channel.
#pragma once
#include "sharedlib/export.h"
#include "sharedlib/log/severity.h"
#include <atomic>
#include <cstdint>
#include <string>

class Logger;
namespace log_gate {
Logger* openLogger(LogItemSeverityLevel severity, int channel) noexcept;
}

/// The conditional of a log channel: up to which severity its lines are written, what stands in front of them, and into
/// which log file they go. Only the logger creates and deletes conditionals, and changes them through its setters.
/// Reading and setting is safe in any thread; copies take each field by itself.
class SHAREDLIB_API ConditionalLog {
public:
    /// Takes every field of `other`.
    ConditionalLog(ConditionalLog const& other);
    /// Takes every field of `other`; not while another thread reads the name.
    ConditionalLog& operator=(ConditionalLog const& other);

    /// A copy of the channel's name, such as "Network".
    std::string getPrefix() const { return m_prefix; }
    /// The value that the host attached to the channel, 0 at first. The logger never reads it.
    unsigned int getUserData() const noexcept { return m_userData.load(std::memory_order_relaxed); }
    /// Attaches `data` to the channel.
    void setUserData(unsigned int data) noexcept { m_userData.store(data, std::memory_order_relaxed); }

protected:
    /// A channel called `prefix` that writes lines up to `level` into the log file with the index `fileChannel`, with
    /// time stamp, name and level word.
    ConditionalLog(std::string const& prefix, LogItemSeverityLevel level, int fileChannel);
    virtual ~ConditionalLog();

private:
    friend class Logger;
    friend Logger* log_gate::openLogger(LogItemSeverityLevel severity, int channel) noexcept;

    // Lines read the settings without a lock, so that a setting may change at any time in another thread.
    std::atomic<LogItemSeverityLevel> m_level;
    std::string m_prefix;
    std::atomic<std::uint32_t> m_userData{0};
    std::atomic<std::int32_t> m_fileChannel;
    std::atomic<bool> m_dateFlag{true};
    std::atomic<bool> m_nameFlag{true};
    std::atomic<bool> m_levelFlag{true};
};
