// sharedlib/net/conn_fifo_buffer.cpp: the outbound queue of a connection, which warns when it grows.
#include "sharedlib/net/conn_fifo_buffer.h"
#include "sharedlib/log/gate.h"
#include "sharedlib/net/connection.h"
#include <array>
#include <string>
#include <string_view>

/// Capacities in bytes that are worth a line each.
struct CConnFifoBuffer::DueWarnings {
    /// Stands for a queue that is empty again.
    static constexpr std::int64_t kEmptied = -1;

    void add(std::int64_t capacity) { capacities[count++] = capacity; }

    // Within one change the block count doubles 31 times at most before it can only fall.
    std::array<std::int64_t, 40> capacities;
    std::size_t count = 0;
};

/// A line in the middle of a change would let its hearers see, and use, a queue that is not whole.
template <typename Change>
void CConnFifoBuffer::changeThenTell(Change change) {
    DueWarnings due;
    m_due = &due;
    change();
    if (m_warnedBundleCount > 0) {
        // Blocks that were taken for bytes that then found no room have been given back silently.
        calcSizeWarning();
    }
    m_due = nullptr;
    tell(due);
}

void CConnFifoBuffer::append(const void* data, int length) {
    changeThenTell([&] { CFifoBuffer::append(data, length); });
}

bool CConnFifoBuffer::appendRuns(const BufferRun* runs, int count) {
    bool queued = false;
    changeThenTell([&] { queued = CFifoBuffer::appendRuns(runs, count); });
    return queued;
}

void CConnFifoBuffer::clearBytes(int count) {
    changeThenTell([&] { CFifoBuffer::clearBytes(count); });
}

void CConnFifoBuffer::clear() {
    changeThenTell([&] { CFifoBuffer::clear(); });
}

BufferBundle* CConnFifoBuffer::appendBundle(BufferBundle* after) {
    if (m_bundleSize <= 0) {
        m_bundleSize = CConnection::s_outboundBundleSize;
    }
    BufferBundle* const bundle = CFifoBuffer::appendBundle(after);
    if (bundle != nullptr) {
        calcSizeWarning();
    }
    return bundle;
}

void CConnFifoBuffer::recycleFirstBundle() {
    CFifoBuffer::recycleFirstBundle();
    calcSizeWarning();
}

void CConnFifoBuffer::calcSizeWarning() {
    if (m_warnedBundleCount > 0 && m_bundleCount == 0) {
        m_warnedBundleCount = 0;
        warn(DueWarnings::kEmptied);
        return;
    }
    const std::int64_t capacity = std::int64_t{m_bundleSize} * m_bundleCount;
    const bool due = m_warnedBundleCount <= 0 ? capacity >= CConnection::s_outboundSizeWarning
                                              : m_bundleCount >= std::int64_t{m_warnedBundleCount} * 2;
    if (due) {
        m_warnedBundleCount = m_bundleCount;
        warn(capacity);
    }
}

void CConnFifoBuffer::warn(std::int64_t capacity) {
    if (m_due != nullptr) {
        m_due->add(capacity);
        return;
    }
    DueWarnings now;
    now.add(capacity);
    tell(now);
}

void CConnFifoBuffer::tell(const DueWarnings& due) const {
    if (due.count == 0 || m_conn == nullptr || log_gate::openLogger(LogSev_Warning, Log::Network) == nullptr) {
        return;
    }
    // Taken before the first line, whose hearers may delete the connection and this queue with it.
    const std::string address = m_conn->GetIpAsString();
    const std::uint16_t port = m_conn->GetRemotePort();
    // A line has no room for more. Not a string, because the end of a connection must not need memory.
    std::array<char, 4096> name{};
    std::string_view(m_conn->GetHandlerName()).copy(name.data(), name.size() - 1);
    for (std::size_t i = 0; i < due.count; ++i) {
        if (due.capacities[i] == DueWarnings::kEmptied) {
            SHAREDLIB_LOG(LogSev_Warning, Log::Network, "Outbound queue capacity emptied on %s to %s:%d", name.data(),
                          address.c_str(), port);
        } else {
            SHAREDLIB_LOG(LogSev_Warning, Log::Network, "Outbound queue capacity increased to %d bytes on %s to %s:%d",
                          static_cast<int>(due.capacities[i]), name.data(), address.c_str(), port);
        }
    }
}
