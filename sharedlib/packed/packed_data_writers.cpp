// sharedlib/packed/packed_data_writers.cpp: how values get into a message.
#include "sharedlib/log/gate.h"
#include "sharedlib/packed/internal/short_text.h"
#include "sharedlib/packed/packed_data.h"

#include <algorithm>
#include <cstring>

void CPackedData::PutData(const void* source, int length) {
    const Position start = position();
    const bool begun = beginValue(kData) && (!m_debug || putBytes(static_cast<std::uint32_t>(length), 4));
    if (!begun || !putBlob(source, length)) {
        moveTo(start);
    }
}

void CPackedData::PutString(const char* text) {
    if (text == nullptr) {
        text = "";
    }
    putText(text, std::strlen(text));
}

void CPackedData::PutString(const std::string& text) {
    putText(text.data(), short_text::untilZero(text.data(), text.size()));
}

void CPackedData::putSizeAtOffset(unsigned long offset) {
    if (!canWrite()) {
        logReadWriteMismatch();
        return;
    }
    const Position end = position();
    setPutIndex(offset);
    const std::uint32_t field = m_putIndex;
    PutUint32(end.put - field - 4 - (m_debug ? 1 : 0));
    // A field that cannot be written leaves the message as it was.
    const bool written = m_putIndex != field;
    moveTo({written ? std::max(end.put, m_putIndex) : end.put, std::max(end.used, used())});
}

void CPackedData::writeHeader() {
    putBytes(header(), 1);
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

// Every message comes through here with its first value, which is therefore spared the calls of the plain rules.
void CPackedData::putRare(std::uint64_t value, std::uint32_t size, Tag tag) {
    if (m_putIndex != 0 || !canWrite() || Buffer::size() < kLargestFirstValue) {
        return putPlain(value, size, tag);
    }
    const std::uint32_t payload = m_debug ? 2 : 1;
    wroteTo(payload + size);
    char* const to = writeData();
    to[0] = static_cast<char>(header());
    to[1] = static_cast<char>(tag);
    little_endian::storeLow(to + payload, value, size);
}

// The writers' plain rules, for everything that the straight lines do not cover.
void CPackedData::putPlain(std::uint64_t value, std::uint32_t size, Tag tag) {
    const Position start = position();
    if (!beginValue(tag) || !putBytes(value, size)) {
        moveTo(start);
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

// Appends the `size` low bytes of `value`.
bool CPackedData::putBytes(std::uint64_t value, std::uint32_t size) {
    if (!makeRoom(size)) {
        return false;
    }
    little_endian::storeLow(writeData() + m_putIndex, value, size);
    wroteTo(m_putIndex + size);
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
    wroteTo(m_putIndex + size);
    return true;
}

void CPackedData::putText(const char* text, std::size_t bytes) {
    const std::uint64_t end = std::uint64_t{m_putIndex} + sizeof(std::uint16_t) + bytes;
    const bool plain = end < m_writeLimit.plain;
    if (bytes > INT16_MAX || (!plain && end + 1 >= m_writeLimit.tagged)) {
        // The length field has 16 bits and is read back as signed.
        return putTextRare(text, static_cast<std::int16_t>(bytes & 0xFFFF));
    }
    char* to = writeData() + m_putIndex;
    if (!plain) {
        *to++ = static_cast<char>(kString);
    }
    little_endian::store(to, static_cast<std::uint16_t>(bytes));
    short_text::copy(to + sizeof(std::uint16_t), text, bytes);
    m_putIndex = static_cast<std::uint32_t>(end) + (plain ? 0 : 1);
}

void CPackedData::putTextRare(const char* text, std::int16_t length) {
    const Position start = position();
    const std::uint32_t size = length > 0 ? static_cast<std::uint32_t>(length) : 0;
    if (!beginValue(kString) || !makeRoom(size + sizeof(std::uint16_t))) {
        return moveTo(start);
    }
    // A text that is too long for its field is written as the field alone.
    putBytes(static_cast<std::uint16_t>(length), sizeof(std::uint16_t));
    putBlob(text, static_cast<int>(size));
}
