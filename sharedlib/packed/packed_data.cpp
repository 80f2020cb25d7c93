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
    m_keptEnd = 0;
}

void CPackedData::setPutIndex(unsigned long index) {
    moveTo({static_cast<std::uint32_t>(std::min<std::uint64_t>(index, UINT32_MAX)), used()});
    clearTo(m_putIndex);
}

void CPackedData::testPutGrowth(int length) {
    const std::int64_t end = std::max<std::int64_t>(std::int64_t{position().put} + length, 0);
    if (!canWrite()) {
        moveTo({m_putIndex, static_cast<std::uint32_t>(std::min<std::int64_t>(end, Buffer::size()))});
    } else if (makeRoom(static_cast<std::uint32_t>(std::max(length, 0)))) {
        clearTo(static_cast<std::uint32_t>(end));
        moveTo({m_putIndex, static_cast<std::uint32_t>(end)});
    }
}

void CPackedData::moveTo(Position position) {
    m_keptEnd = keptEnd();
    m_putIndex = position.put;
    m_usedSize = position.used;
    m_writeLimit = {};
    settle();
}

// Zeroes the storage from where the message has never been up to `end`: it becomes part of the message with a later
// write, and nobody else's bytes may leave in it. Storage that is grown later is zeroed by growing.
void CPackedData::clearTo(std::uint32_t end) {
    const std::uint32_t start = keptEnd();
    end = canWrite() ? std::min(end, Buffer::size()) : 0;
    if (end > start) {
        std::memset(writeData() + start, 0, end - start);
    }
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
