// sharedlib/net/conn_fifo_buffer.cpp: the outbound queue of a connection, which warns when it grows.
#include "sharedlib/net/conn_fifo_buffer.h"
#include "sharedlib/log/gate.h"
#include "sharedlib/net/connection.h"

BufferBundle* CConnFifoBuffer::appendBundle(BufferBundle* after) {
    if (m_bundleSize == 0) {
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
    const std::int64_t capacity = std::int64_t{m_bundleSize} * m_bundleCount;
    if (m_warnedBundleCount <= 0) {
        if (capacity >= CConnection::s_outboundSizeWarning) {
            warnOfIncrease(capacity);
        }
        return;
    }
    if (m_bundleCount == 0) {
        m_warnedBundleCount = 0;
        if (m_conn != nullptr) {
            m_isWarning = true;
            SHAREDLIB_LOG(LogSev_Warning, Log::Network, "Outbound queue capacity emptied on %s to %s:%d",
                          m_conn->GetHandlerName(), m_conn->GetIpAsString().c_str(), m_conn->GetRemotePort());
            m_isWarning = false;
        }
        return;
    }
    if (m_bundleCount >= std::int64_t{m_warnedBundleCount} * 2) {
        warnOfIncrease(capacity);
    }
}

void CConnFifoBuffer::warnOfIncrease(std::int64_t capacity) {
    m_warnedBundleCount = m_bundleCount;
    if (m_conn != nullptr) {
        m_isWarning = true;
        SHAREDLIB_LOG(LogSev_Warning, Log::Network, "Outbound queue capacity increased to %d bytes on %s to %s:%d",
                      static_cast<int>(capacity), m_conn->GetHandlerName(), m_conn->GetIpAsString().c_str(),
                      m_conn->GetRemotePort());
        m_isWarning = false;
    }
}
