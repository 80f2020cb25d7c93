// sharedlib/net/conn_fifo_buffer.h: the outbound queue of a connection, which warns when it grows.
#pragma once
#include "sharedlib/containers/fifo_buffer.h"
#include "sharedlib/export.h"
#include "sharedlib/packed/little_endian.h"
#include <cstdint>
#include <cstring>

class CConnection;

/// A byte queue that logs on channel Network when its blocks reach `CConnection::s_outboundSizeWarning` bytes, each
/// time their number has doubled since, and when it is empty again. Its block size is
/// `CConnection::s_outboundBundleSize` at the time of its first block. It belongs to its connection's thread.
///
/// The four operations that it shares with `CFifoBuffer` log when the change is complete, and touch nothing afterwards:
/// whoever hears the line may use the queue or delete it.
class SHAREDLIB_API CConnFifoBuffer : public CFifoBuffer {
public:
    /// Names the connection that warnings speak of; it outlives the queue's use. Null silences them.
    void setConn(CConnection* conn) { m_conn = conn; }
    /// `CFifoBuffer::append` with warnings.
    void append(const void* data, int length);
    /// `CFifoBuffer::appendRuns` with warnings.
    bool appendRuns(const BufferRun* runs, int count);
    /// `CFifoBuffer::clearBytes` with warnings.
    void clearBytes(int count);
    /// `CFifoBuffer::clear` with warnings.
    void clear();
    /// Appends a message of `size` bytes behind its size as two bytes, if both fit into the last block and
    /// the message has at most `kCopyPiece` bytes; else nothing.
    bool appendIfRoom(std::uint16_t size, const char* data) {
        BufferBundle* const last = m_tail != nullptr ? m_tail : m_head;
        if (last == nullptr) {
            return false;
        }
        const std::int32_t total = std::int32_t{sizeof size} + size;
        const std::int32_t end = last->used + (last == m_head ? m_readOffset : 0);
        if (size > kCopyPiece || total > last->capacity - end || total > INT32_MAX - m_byteCount) {
            return false;
        }
        char* const target = last->data() + end;
        little_endian::store(target, size);
        // An empty message may come without an address, which may not be copied from. memmove as in `append`.
        if (size != 0) {
            std::memmove(target + sizeof size, data, size);
        }
        last->used += total;
        m_byteCount += total;
        return true;
    }

protected:
    BufferBundle* appendBundle(BufferBundle* after) override;
    void recycleFirstBundle() override;
    /// Compares the blocks taken with the warning level and logs what has changed.
    void calcSizeWarning();

private:
    struct DueWarnings;

    template <typename Change>
    void changeThenTell(Change change);
    void warn(std::int64_t capacity);
    void tell(const DueWarnings& due) const;

    // Block count at the last warning; 0 when no warning is outstanding.
    std::int32_t m_warnedBundleCount = 0;
    // Collects the warnings of the change under way.
    DueWarnings* m_due = nullptr;
    CConnection* m_conn = nullptr;
};
