// sharedlib/containers/fifo_buffer.h: a byte queue made of pooled blocks.
#pragma once
#include "sharedlib/containers/bundle_manager.h"
#include "sharedlib/export.h"

#include <cstdint>
#include <cstring>

/// A contiguous run of bytes that belongs to somebody else.
struct BufferRun {
    const char* data = nullptr;
    int length = 0;
};

/// A byte queue: appended at the back, consumed from the front a block at a time, without ever moving a queued byte.
/// Blocks come from `CBundleManager` and return there. Holds at most 2,147,483,647 bytes. Not locked: pumping thread.
class SHAREDLIB_API CFifoBuffer {
public:
    CFifoBuffer() = default;
    CFifoBuffer(const CFifoBuffer&) = delete;
    CFifoBuffer& operator=(const CFifoBuffer&) = delete;
    /// Gives all blocks back to the pool; the overrides of a derived class no longer take part.
    virtual ~CFifoBuffer();

    /// Copies `length` bytes to the back. Nothing is queued when `length` is 0 or less, when the queue would hold more
    /// than 2,147,483,647 bytes, or when a block cannot be had (bundle size 0 or less, memory exhausted).
    void append(const void* data, int length) {
        BufferBundle* last = m_tail != nullptr ? m_tail : m_head;
        if (last != nullptr && length > 0 && length <= kCopyPiece && length <= roomIn(*last) &&
            length <= INT32_MAX - m_byteCount) {
            // memmove: compilers turn a memcpy of bounded length into the instruction that `kCopyPiece` avoids.
            std::memmove(last->data() + writePosition(*last), data, static_cast<std::size_t>(length));
            last->used += length;
            m_byteCount += length;
            return;
        }
        appendBlocks(static_cast<const char*>(data), length);
    }
    /// Appends `count` runs one after the other, all of them or, as for `append`, nothing. A run of 0 bytes is allowed;
    /// one of negative length refuses the whole. Returns whether the bytes were queued (true when there were none).
    bool appendRuns(const BufferRun* runs, int count);

    /// The contiguous unconsumed bytes at the front; they stay where they are until consumed. Null and 0 when empty.
    void getFirstBundle(const char** data, int* length) const {
        *data = m_head != nullptr ? m_head->data() + m_readOffset : nullptr;
        *length = m_head != nullptr ? m_head->used : 0;
    }
    /// Describes the unconsumed bytes of the first blocks, at most `maxRuns` of them, in queue order, and returns how
    /// many runs were filled in. They stay valid until consumed; appending leaves them as they are.
    int getBundleRuns(BufferRun* runs, int maxRuns) const;
    /// Consumes `count` bytes from the front, at most as many as are queued; 0 or less does nothing.
    void clearBytes(int count) {
        if (m_head != nullptr && count > 0 && m_head->used > count) {
            m_head->used -= count;
            m_readOffset += count;
            m_byteCount -= count;
            return;
        }
        clearBlocks(count);
    }
    /// Gives every block back through `recycleFirstBundle`.
    void clear();

    /// Whether nothing is queued.
    bool isEmpty() const { return m_head == nullptr; }
    /// Blocks in the queue, counted along the chain.
    int getBundleCount() const;
    /// Bytes queued.
    int getByteCount() const { return m_byteCount; }
    /// The size in bytes of the blocks that the queue requests; 0 until set.
    int getBundleSize() const { return m_bundleSize; }
    /// Sets the size of the blocks requested from now on; queued blocks keep theirs.
    void setBundleSize(int size) { m_bundleSize = size; }

protected:
    /// The most bytes that are copied at once. Beyond 2 KB and a little, C libraries copy with a string instruction,
    /// which some processors run up to thirty times slower when the target stands a little behind the source within
    /// their pages.
    static constexpr std::int32_t kCopyPiece = 2048;

    /// Takes a block of `m_bundleSize` bytes from the pool, links it behind `after` (null: as the head) and counts it.
    /// Leaves `m_tail` to the caller. Returns the block, or null, with nothing changed, when the pool has none. An
    /// override runs in the middle of a change and must not make another.
    virtual BufferBundle* appendBundle(BufferBundle* after);
    /// Gives the head block back to the pool and makes its successor the head; leaves `m_tail` and `m_readOffset`
    /// alone. Does nothing on an empty queue.
    virtual void recycleFirstBundle();

    /// The block being consumed; null when the queue is empty.
    BufferBundle* m_head = nullptr;
    /// The last block while there are several; null while there is at most one.
    BufferBundle* m_tail = nullptr;
    /// Offset of the first unconsumed byte in the head block.
    std::int32_t m_readOffset = 0;
    /// Size of the blocks that this queue requests.
    std::int32_t m_bundleSize = 0;
    /// Bytes queued.
    std::int32_t m_byteCount = 0;
    /// Blocks in the queue, kept by `appendBundle` and `recycleFirstBundle`.
    std::int32_t m_bundleCount = 0;

private:
    std::int32_t writePosition(const BufferBundle& block) const {
        return block.used + (&block == m_head ? m_readOffset : 0);
    }
    std::int32_t roomIn(const BufferBundle& block) const { return block.capacity - writePosition(block); }
    static void copyBytes(char* to, const char* from, std::int32_t length);
    void appendBlocks(const char* data, int length);
    bool reserve(std::int64_t total);
    void dropBlocksBehind(BufferBundle* last);
    void fill(BufferBundle** current, BufferRun run);
    void clearBlocks(int count);
};
