// sharedlib/net/internal/inbound_buffer.cpp: the growable buffer that a connection receives into.
#include "sharedlib/net/internal/inbound_buffer.h"
#include "sharedlib/platform/address_space.h"
#include <cstddef>
#include <limits>
#include <new>

InboundBuffer::InboundBuffer() : m_data(static_cast<char*>(platform::reserveZeroed(kInitialSize))) {
    if (m_data == nullptr) {
        throw std::bad_alloc();
    }
}

InboundBuffer::~InboundBuffer() {
    platform::releaseZeroed(m_data, static_cast<std::size_t>(m_size));
}

bool InboundBuffer::grow(std::uint64_t size) {
    if (size <= m_size) {
        return true;
    }
    if (size > std::numeric_limits<std::size_t>::max()) {
        return false;
    }
    void* const grown = platform::growZeroed(m_data, static_cast<std::size_t>(m_size), static_cast<std::size_t>(size));
    if (grown == nullptr) {
        return false;
    }
    m_data = static_cast<char*>(grown);
    m_size = size;
    return true;
}
