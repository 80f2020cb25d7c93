// sharedlib/packed/packed_data.cpp: the life, the positions and the storage of a message.
#include "sharedlib/packed/packed_data.h"
#include "sharedlib/log/gate.h"

#include <algorithm>
#include <cstring>

std::int32_t CPackedData::s_packetCount = 0;

CPackedData::CPackedData(const CPackedData& other) : CPackedData(other.size()) {
    copy(other);
}

CPackedData& CPackedData::operator=(const CPackedData& other) {
    copy(other);
    return *this;
}

void CPackedData::copy(const CPackedData& other) {
    const std::uint32_t length = other.used();
    if (!checkSize(length)) {
        SHAREDLIB_LOG(LogSev_Error, Log::Network, "Unable to expand packed data to %d bytes in copy",
                      static_cast<int>(length));
        return;
    }
    if (length != 0) {
        std::memmove(writeData(), other.readData(), length);
    }
    m_getIndex = 0;
    m_debug = false;
    m_md5 = false;
    m_readError = false;
    moveTo({0, length});
}

void CPackedData::setPutIndex(unsigned long index) {
    moveTo({static_cast<std::uint32_t>(std::min<std::uint64_t>(index, UINT32_MAX)), used()});
    const std::uint32_t end = canWrite() ? std::min(m_putIndex, Buffer::size()) : 0;
    // What is skipped over becomes part of the message with the next write; nobody else's bytes may leave in it.
    if (end > m_usedSize) {
        std::memset(writeData() + m_usedSize, 0, end - m_usedSize);
    }
}

void CPackedData::testPutGrowth(int length) {
    if (length < 0) {
        return;
    }
    const std::uint64_t end = std::uint64_t{position().put} + static_cast<std::uint32_t>(length);
    if (!canWrite()) {
        moveTo({m_putIndex, static_cast<std::uint32_t>(std::min<std::uint64_t>(end, Buffer::size()))});
    } else if (makeRoom(static_cast<std::uint32_t>(length))) {
        if (end > used()) {
            std::memset(writeData() + used(), 0, end - used());
        }
        moveTo({m_putIndex, static_cast<std::uint32_t>(end)});
    }
}

void CPackedData::moveTo(Position position) {
    m_putIndex = position.put;
    m_usedSize = position.used;
    m_writeLimit = {};
    settle();
}

// Makes `length` bytes at the put index writable, growing in steps of at least 1024 bytes. False for a view, for a
// message that would become too long, and when memory runs out.
bool CPackedData::makeRoom(std::uint32_t length) {
    settle();
    const std::uint64_t end = std::uint64_t{m_putIndex} + length;
    if (!canWrite() || end > kMaxSize) {
        return false;
    }
    const std::uint64_t grown = std::uint64_t{Buffer::size()} + std::max(length, kGrowthStep);
    return end <= Buffer::size() || checkSize(static_cast<unsigned int>(std::max(end, grown)));
}
