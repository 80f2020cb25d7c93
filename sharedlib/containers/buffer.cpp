// sharedlib/containers/buffer.cpp: a block of raw bytes, owned and growing or borrowed and read-only.
#include "sharedlib/containers/buffer.h"

#include <cstring>
#include <new>
#include <utility>

Buffer::Buffer(unsigned int size) : m_data(static_cast<char*>(::operator new(size, std::nothrow))), m_owned(1) {
    m_size = m_data != nullptr ? size : 0;
    m_writableSize = m_size;
}

Buffer::Buffer(const Buffer& other) : Buffer(other.m_size) {
    if (m_size != 0) {
        std::memcpy(m_data, other.m_data, m_size);
    }
}

// The new bytes are zeroed: a message that ends behind bytes nobody wrote must not carry the heap's to a peer.
bool Buffer::grow(unsigned int needed) {
    auto* const data = static_cast<char*>(::operator new(needed, std::nothrow));
    if (data == nullptr) {
        return false;
    }
    if (m_size != 0) {
        std::memcpy(data, m_data, m_size);
    }
    std::memset(data + m_size, 0, needed - m_size);
    ::operator delete(m_data);
    m_data = data;
    m_size = needed;
    m_writableSize = needed;
    return true;
}

void Buffer::release() noexcept {
    ::operator delete(m_data);
}

void Buffer::swap(Buffer& other) noexcept {
    std::swap(m_data, other.m_data);
    std::swap(m_size, other.m_size);
    std::swap(m_owned, other.m_owned);
    std::swap(m_writableSize, other.m_writableSize);
}
