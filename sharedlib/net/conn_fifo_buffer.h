// sharedlib/net/conn_fifo_buffer.h: the outbound queue of a connection, which warns when it grows.
#pragma once
#include "sharedlib/containers/fifo_buffer.h"
#include "sharedlib/export.h"
#include <cstdint>

class CConnection;

/// A byte queue that logs on channel Network when its blocks reach `CConnection::s_outboundSizeWarning` bytes, each
/// time their number has doubled since, and when it is empty again. Its block size is
/// `CConnection::s_outboundBundleSize` at the time of its first block. It belongs to its connection's thread.
class SHAREDLIB_API CConnFifoBuffer : public CFifoBuffer {
public:
    /// Names the connection that warnings speak of; it outlives the queue's use. Null leaves warnings nameless.
    void setConn(CConnection* conn) { m_conn = conn; }

protected:
    BufferBundle* appendBundle(BufferBundle* after) override;
    void recycleFirstBundle() override;
    /// Compares the blocks taken with the warning level and logs what has changed.
    void calcSizeWarning();

private:
    void warnOfIncrease(std::int64_t capacity);

    // Block count at the last warning; 0 when no warning is outstanding.
    std::int32_t m_warnedBundleCount = 0;
    CConnection* m_conn = nullptr;
};
