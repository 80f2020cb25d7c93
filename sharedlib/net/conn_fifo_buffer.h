// sharedlib/net/conn_fifo_buffer.h: the outbound queue of a connection, which warns when it grows.
#pragma once
#include "sharedlib/containers/fifo_buffer.h"
#include "sharedlib/export.h"
#include <cstdint>
#include <cstring>

class CConnection;

/// A byte queue that logs on channel Network when its blocks reach `CConnection::s_outboundSizeWarning` bytes, each
/// time their number has doubled since, and when it is empty again. Its block size is
/// `CConnection::s_outboundBundleSize` at the time of its first block. It belongs to its connection's thread.
class SHAREDLIB_API CConnFifoBuffer : public CFifoBuffer {
public:
    /// Names the connection that warnings speak of; it outlives the queue's use. Null leaves warnings nameless.
    void setConn(CConnection* conn) { m_conn = conn; }
    /// Appends `first` and then `second`, both or nothing, as `appendRuns` does. Lengths are not negative.
    bool appendPair(BufferRun first, BufferRun second) {
        BufferBundle* const last = m_tail != nullptr ? m_tail : m_head;
        const std::int64_t total = std::int64_t{first.length} + second.length;
        if (last != nullptr && total <= INT32_MAX - m_byteCount) {
            const std::int32_t end = last->used + (last == m_head ? m_readOffset : 0);
            if (total <= last->capacity - end) {
                char* const target = last->data() + end;
                std::memcpy(target, first.data, static_cast<std::size_t>(first.length));
                std::memcpy(target + first.length, second.data, static_cast<std::size_t>(second.length));
                last->used += static_cast<std::int32_t>(total);
                m_byteCount += static_cast<std::int32_t>(total);
                return true;
            }
        }
        const BufferRun runs[] = {first, second};
        return appendRuns(runs, 2);
    }

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
