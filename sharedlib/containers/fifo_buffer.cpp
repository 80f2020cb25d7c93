// sharedlib/containers/fifo_buffer.cpp: a byte queue made of pooled blocks.
#include "sharedlib/containers/fifo_buffer.h"

#include <algorithm>

CFifoBuffer::~CFifoBuffer() {
    while (m_head != nullptr) {
        CFifoBuffer::recycleFirstBundle();
    }
}

bool CFifoBuffer::appendRuns(const BufferRun* runs, int count) {
    std::int64_t total = 0;
    for (int i = 0; i < count; ++i) {
        if (runs[i].length < 0) {
            return false;
        }
        total += runs[i].length;
    }
    if (total == 0) {
        return true;
    }
    // All blocks are taken before the first byte is copied: half a message in the queue would shift the peer's stream.
    BufferBundle* current = m_tail != nullptr ? m_tail : m_head;
    if (total > INT32_MAX - m_byteCount || !reserve(total)) {
        return false;
    }
    if (current == nullptr) {
        current = m_head;
    }
    for (int i = 0; i < count; ++i) {
        fill(&current, runs[i]);
    }
    m_byteCount += static_cast<std::int32_t>(total);
    return true;
}

int CFifoBuffer::getBundleRuns(BufferRun* runs, int maxRuns) const {
    int count = 0;
    for (const BufferBundle* block = m_head; block != nullptr && count < maxRuns; block = block->next) {
        runs[count++] = {block->data() + (block == m_head ? m_readOffset : 0), block->used};
    }
    return count;
}

void CFifoBuffer::clear() {
    while (m_head != nullptr) {
        recycleFirstBundle();
    }
    m_tail = nullptr;
    m_readOffset = 0;
    m_byteCount = 0;
}

int CFifoBuffer::getBundleCount() const {
    int count = 0;
    for (const BufferBundle* block = m_head; block != nullptr; block = block->next) {
        ++count;
    }
    return count;
}

BufferBundle* CFifoBuffer::appendBundle(BufferBundle* after) {
    BufferBundle* const block = CBundleManager::getInstance()->getBundle(m_bundleSize);
    if (block == nullptr) {
        return nullptr;
    }
    (after != nullptr ? after->next : m_head) = block;
    ++m_bundleCount;
    return block;
}

void CFifoBuffer::recycleFirstBundle() {
    BufferBundle* const block = m_head;
    if (block == nullptr) {
        return;
    }
    m_head = block->next;
    --m_bundleCount;
    CBundleManager::getInstance()->returnBundle(block);
}

// Appends what the last block has no room for.
void CFifoBuffer::appendBlocks(const char* data, int length) {
    if (m_head == nullptr && length > 0) {
        // Most appends find a queue that the last write pass has emptied, and need one block.
        BufferBundle* const block = appendBundle(nullptr);
        if (block == nullptr) {
            return;
        }
        m_readOffset = 0;
        if (length <= block->capacity) {
            copyBytes(block->data(), data, length);
            block->used = length;
            m_byteCount = length;
            return;
        }
    }
    const BufferRun run{data, length};
    if (!appendRuns(&run, 1) && m_head != nullptr && m_head->used == 0) {
        dropBlocksBehind(nullptr);
    }
}

// Links as many blocks behind the last one as `total` bytes need, or none.
bool CFifoBuffer::reserve(std::int64_t total) {
    BufferBundle* const last = m_tail != nullptr ? m_tail : m_head;
    std::int64_t room = last != nullptr ? roomIn(*last) : 0;
    BufferBundle* newest = last;
    while (room < total) {
        BufferBundle* const block = appendBundle(newest);
        if (block == nullptr) {
            dropBlocksBehind(last);
            return false;
        }
        if (newest == nullptr) {
            m_readOffset = 0;
        }
        newest = block;
        room += block->capacity;
    }
    m_tail = newest != m_head ? newest : nullptr;
    return true;
}

// Gives the blocks behind `last` (null: all) back to the pool.
void CFifoBuffer::dropBlocksBehind(BufferBundle* last) {
    BufferBundle*& first = last != nullptr ? last->next : m_head;
    while (first != nullptr) {
        BufferBundle* const block = first;
        first = block->next;
        --m_bundleCount;
        CBundleManager::getInstance()->returnBundle(block);
    }
}

void CFifoBuffer::copyBytes(char* to, const char* from, std::int32_t length) {
    while (length > 0) {
        const std::int32_t piece = std::min(length, kCopyPiece);
        std::copy_n(from, piece, to);
        to += piece;
        from += piece;
        length -= piece;
    }
}

// Copies a run into the reserved blocks from `*current` on and leaves `*current` at the block written last.
void CFifoBuffer::fill(BufferBundle** current, BufferRun run) {
    while (run.length > 0) {
        if (roomIn(**current) == 0) {
            *current = (*current)->next;
        }
        BufferBundle& block = **current;
        const std::int32_t part = std::min(roomIn(block), run.length);
        copyBytes(block.data() + writePosition(block), run.data, part);
        block.used += part;
        run.data += part;
        run.length -= part;
    }
}

// Consumes `count` bytes when that empties the head block or more.
void CFifoBuffer::clearBlocks(int count) {
    std::int32_t rest = std::min(count, m_byteCount);
    if (rest <= 0) {
        return;
    }
    m_byteCount -= rest;
    while (m_head != nullptr && m_head->used <= rest) {
        rest -= m_head->used;
        m_readOffset = 0;
        recycleFirstBundle();
    }
    if (m_head == nullptr || m_head->next == nullptr) {
        m_tail = nullptr;
    }
    if (m_head != nullptr) {
        m_head->used -= rest;
        m_readOffset = rest;
    }
}
