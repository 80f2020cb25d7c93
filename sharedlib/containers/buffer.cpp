// sharedlib/containers/buffer.cpp: a block of raw bytes, owned and growing or borrowed and read-only.
#include "sharedlib/containers/buffer.h"

#include <cstring>
#include <new>

Buffer::Buffer(unsigned int size) : m_data(static_cast<char*>(::operator new(size, std::nothrow))), m_owned(1) {
    m_size = m_data != nullptr ? size : 0;
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
    return true;
}

void Buffer::release() noexcept {
    ::operator delete(m_data);
}
