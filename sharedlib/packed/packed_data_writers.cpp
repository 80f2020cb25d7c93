// sharedlib/packed/packed_data_writers.cpp: how values get into a message.
#include "sharedlib/log/gate.h"
#include "sharedlib/packed/packed_data.h"

#include <algorithm>
#include <cstring>

void CPackedData::PutData(const void* source, int length) {
    const Position start = position();
    const bool begun = beginValue(kData) && (!m_debug || putBytes(static_cast<std::uint32_t>(length), 4));
    if (!begun || !putBlob(source, length)) {
        restore(start);
    }
}

void CPackedData::PutString(const char* text) {
    const Position start = position();
    const std::size_t bytes = text != nullptr ? std::strlen(text) : 0;
    // The length field has 16 bits and is read back as signed.
    if (!beginValue(kString) || !putText(text, static_cast<std::int16_t>(bytes & 0xFFFF))) {
        restore(start);
    }
}

void CPackedData::putSizeAtOffset(unsigned long offset) {
    if (!canWrite()) {
        logReadWriteMismatch();
        return;
    }
    const Position end = position();
    setPutIndex(offset);
    PutUint32(end.put - m_putIndex - 4 - (m_debug ? 1 : 0));
    m_putIndex = std::max(end.put, m_putIndex);
    m_usedSize = std::max(end.used, m_usedSize);
}

void CPackedData::writeHeader() {
    putBytes((m_md5 ? 2U : 0U) | (m_debug ? 1U : 0U), 1);
}

void CPackedData::PutType(int type) {
    putBytes(static_cast<std::uint8_t>(type), 1);
}

void CPackedData::PutBoolNoDebug(bool value) {
    putBytes(value ? 1 : 0, 1);
}

void CPackedData::PutUint8NoDebug(std::uint8_t value) {
    putBytes(value, 1);
}

void CPackedData::PutInt16NoDebug(std::int16_t value) {
    putBytes(static_cast<std::uint16_t>(value), 2);
}

void CPackedData::PutUint16NoDebug(std::uint16_t value) {
    putBytes(value, 2);
}

void CPackedData::PutInt32NoDebug(std::int32_t value) {
    putBytes(static_cast<std::uint32_t>(value), 4);
}

void CPackedData::PutUint32NoDebug(std::uint32_t value) {
    putBytes(value, 4);
}

void CPackedData::PutInt64NoDebug(std::int64_t value) {
    putBytes(static_cast<std::uint64_t>(value), 8);
}

void CPackedData::PutFloatNoDebug(float value) {
    putBytes(std::bit_cast<std::uint32_t>(value), 4);
}

void CPackedData::PutDoubleNoDebug(double value) {
    putBytes(std::bit_cast<std::uint64_t>(value), 8);
}

void CPackedData::PutDataNoDebug(const void* source, int length) {
    putBlob(source, length);
}

void CPackedData::logReadWriteMismatch() const {
    SHAREDLIB_LOG(LogSev_Assert, Log::Network, "Attempt to write to read-only packet packet at PutIndex=%d",
                  GetPutIndex());
}

// The writers' plain rules, for everything that the straight line in the header does not cover.
void CPackedData::putRare(std::uint64_t value, std::uint32_t size, Tag tag) {
    const Position start = position();
    if (!beginValue(tag) || !putBytes(value, size)) {
        restore(start);
    }
}

// What stands in front of a payload: the header of a new message, and the tag. False when nothing may follow.
bool CPackedData::beginValue(Tag tag) {
    if (!canWrite()) {
        logReadWriteMismatch();
        return false;
    }
    if (m_putIndex == 0) {
        writeHeader();
        if (m_putIndex == 0) {
            return false;
        }
    }
    return !m_debug || putBytes(tag, 1);
}

void CPackedData::restore(Position position) {
    m_putIndex = position.put;
    m_usedSize = position.used;
}

// Appends the `size` low bytes of `value`.
bool CPackedData::putBytes(std::uint64_t value, std::uint32_t size) {
    if (!makeRoom(size)) {
        return false;
    }
    char bytes[sizeof(value)];
    little_endian::store(bytes, value);
    std::memcpy(writeData() + m_putIndex, bytes, size);
    m_putIndex += size;
    m_usedSize = m_putIndex;
    return true;
}

bool CPackedData::putBlob(const void* source, int length) {
    if (length <= 0) {
        return true;
    }
    const auto size = static_cast<std::uint32_t>(length);
    if (!makeRoom(size)) {
        return false;
    }
    std::memcpy(writeData() + m_putIndex, source, size);
    m_putIndex += size;
    m_usedSize = m_putIndex;
    return true;
}

bool CPackedData::putText(const char* text, std::int16_t length) {
    const std::uint32_t size = length > 0 ? static_cast<std::uint32_t>(length) : 0;
    if (!makeRoom(size + 2)) {
        return false;
    }
    char* const to = writeData() + m_putIndex;
    little_endian::store(to, static_cast<std::uint16_t>(length));
    if (size != 0) {
        std::memcpy(to + 2, text, size);
    }
    m_putIndex += size + 2;
    m_usedSize = m_putIndex;
    return true;
}
