// sharedlib/net/internal/inbound_buffer.h: the growable buffer that a connection receives into.
#pragma once
#include <cstdint>

/// Zeroed bytes whose size costs only address space until they are written: a peer that announces four gigabytes and
/// sends none takes no memory. Never shrinks.
class InboundBuffer {
public:
    /// The size of a new connection's buffer, in bytes.
    static constexpr std::uint64_t kInitialSize = 20000;

    /// A buffer of `kInitialSize` bytes; throws `std::bad_alloc` when the system refuses.
    InboundBuffer();
    ~InboundBuffer();
    InboundBuffer(const InboundBuffer&) = delete;
    InboundBuffer& operator=(const InboundBuffer&) = delete;

    [[nodiscard]] char* data() { return m_data; }
    [[nodiscard]] std::uint64_t size() const { return m_size; }
    /// Makes the buffer `size` bytes large, perhaps at another place; the new bytes are zero. A size that is not larger
    /// changes nothing. False, with the buffer unchanged, when the system refuses.
    bool grow(std::uint64_t size);

private:
    char* m_data;
    std::uint64_t m_size = kInitialSize;
};
