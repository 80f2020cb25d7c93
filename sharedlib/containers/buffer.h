// sharedlib/containers/buffer.h: a block of raw bytes, owned and growing or borrowed and read-only.
#pragma once
#include "sharedlib/export.h"

#include <cstdint>

/// A block of bytes that either owns heap storage, which it can enlarge, or wraps memory of somebody else, which it
/// only reads. It never changes between the two. One thread at a time.
class SHAREDLIB_API Buffer {
public:
    /// Bytes of a default-constructed buffer.
    static constexpr unsigned int BUFFER_DEFAULT_SIZE = 1024;

    /// Owns `BUFFER_DEFAULT_SIZE` uninitialised bytes.
    Buffer() : Buffer(BUFFER_DEFAULT_SIZE) {}
    /// Owns `size` uninitialised bytes; when memory runs out, an owned buffer of 0 bytes.
    explicit Buffer(unsigned int size);
    /// Wraps `size` bytes at `data` without copying; the caller keeps them alive for as long as the buffer is used.
    Buffer(const void* data, unsigned int size)
        : m_data(const_cast<char*>(static_cast<const char*>(data))), m_size(size) {}
    /// An owned duplicate of the other's bytes, whether the other owns them or not.
    Buffer(const Buffer& other);
    Buffer& operator=(const Buffer&) = delete;
    ~Buffer() {
        if (m_owned != 0) {
            release();
        }
    }

    /// Whether the storage is the buffer's own.
    bool canWrite() const { return m_owned != 0; }
    /// Makes an owned buffer hold at least `needed` bytes, growing to exactly that and keeping its content (the new
    /// bytes are 0). Returns whether `needed` bytes are there now: false for a smaller wrapped buffer, and,
    /// with the storage as it was, when memory runs out.
    bool checkSize(unsigned int needed) { return needed <= m_size || (m_owned != 0 && grow(needed)); }

    /// The storage; null when there is none. Valid until the buffer grows or dies.
    const char* readData() const { return m_data; }
    /// The storage, for owned buffers only.
    char* writeData() { return m_data; }
    /// Size of the storage in bytes.
    unsigned int size() const { return m_size; }

private:
    bool grow(unsigned int needed);
    void release() noexcept;

    char* m_data = nullptr;
    std::uint32_t m_size = 0;
    std::uint32_t m_owned = 0;
};
