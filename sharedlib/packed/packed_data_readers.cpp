// sharedlib/packed/packed_data_readers.cpp: how values are taken out of a message.
#include "sharedlib/log/gate.h"
#include "sharedlib/packed/internal/short_text.h"
#include "sharedlib/packed/packed_data.h"

#include <algorithm>
#include <cstring>

namespace {

// The text in `length` bytes, which ends early at a zero byte, in front of at least `readable` bytes of the message.
inline std::string textOf(const char* bytes, std::size_t length, std::size_t readable) {
    // As many characters as a string holds without an allocation, copied at once: the processor hands a wide store on
    // to the caller who moves the text, but waits for several narrow ones.
    constexpr std::size_t kInPlace = 15;
    const std::size_t size = short_text::untilZero(bytes, length);
    std::string text(bytes, size <= kInPlace && readable >= kInPlace ? kInPlace : size);
    text.resize(size);
    return text;
}

} // namespace

std::string CPackedData::GetString() const {
    const char* const data = readData();
    const std::uint32_t afterLength = m_getIndex + sizeof(std::uint16_t);
    const bool plain = afterLength < m_readLimit.plain;
    if (plain || (afterLength + 1 < m_readLimit.tagged && data[m_getIndex] == static_cast<char>(kString))) {
        const std::uint32_t start = afterLength + (plain ? 0 : 1);
        const std::uint32_t limit = plain ? m_readLimit.plain : m_readLimit.tagged;
        const auto length = little_endian::load<std::uint16_t>(data + start - sizeof(std::uint16_t));
        if (length <= INT16_MAX && start + length < limit) {
            m_getIndex = start + length;
            return textOf(data + start, length, limit - 1 - start);
        }
    }
    beginRead(kString);
    return GetStringNoDebug();
}

void CPackedData::GetMagic() const {
    beginRead(kMagic);
    // A mark of which fewer than two bytes are left reads as 0, which is as wrong as any other.
    if (takeBytes(sizeof(kMagicNumber)) != kMagicNumber) {
        logMagicMismatch();
    }
}

void CPackedData::GetData(void* target, int length) const {
    beginBlob();
    GetDataNoDebug(target, length);
}

void CPackedData::GetData(CPackedData& destination, int length) {
    if (length < 0) {
        return;
    }
    const auto size = static_cast<std::uint32_t>(length);
    if (!destination.checkSize(size)) {
        SHAREDLIB_LOG(LogSev_Assert, Log::Generic, "CPackedData::GetData: Capacity too small");
        return;
    }
    beginBlob();
    if (remains(size)) {
        GetDataNoDebug(destination.writeData(), length);
    } else {
        destination.clearTo(size);
    }
    destination.moveTo({destination.position().put, size});
}

void CPackedData::SkipData(int length) const {
    beginBlob();
    SkipDataNoDebug(length);
}

void CPackedData::SkipDataNoDebug(int length) const {
    if (length > 0 && remains(static_cast<std::uint32_t>(length))) {
        advance(static_cast<std::uint32_t>(length));
    }
}

void CPackedData::ReadHeader() const {
    const std::uint64_t header = takeBytes(1);
    if (header > 3) {
        SHAREDLIB_LOG(LogSev_Error, Log::Generic, "Malformed header in packet");
        noteReadError();
        return;
    }
    m_debug = (header & 1) != 0;
    m_md5 = (header & 2) != 0;
    settle();
}

int CPackedData::GetType() const {
    return static_cast<std::int8_t>(takeBytes(1));
}

bool CPackedData::GetBoolNoDebug() const {
    return takeBytes(1) != 0;
}

char CPackedData::GetInt8NoDebug() const {
    return static_cast<char>(takeBytes(1));
}

std::uint8_t CPackedData::GetUint8NoDebug() const {
    return static_cast<std::uint8_t>(takeBytes(1));
}

std::int16_t CPackedData::GetInt16NoDebug() const {
    return static_cast<std::int16_t>(takeBytes(2));
}

std::uint16_t CPackedData::GetUint16NoDebug() const {
    return static_cast<std::uint16_t>(takeBytes(2));
}

std::int32_t CPackedData::GetInt32NoDebug() const {
    return static_cast<std::int32_t>(takeBytes(4));
}

std::uint32_t CPackedData::GetUint32NoDebug() const {
    return static_cast<std::uint32_t>(takeBytes(4));
}

std::int64_t CPackedData::GetInt64NoDebug() const {
    return static_cast<std::int64_t>(takeBytes(8));
}

float CPackedData::GetFloatNoDebug() const {
    return std::bit_cast<float>(static_cast<std::uint32_t>(takeBytes(4)));
}

double CPackedData::GetDoubleNoDebug() const {
    return std::bit_cast<double>(takeBytes(8));
}

std::string CPackedData::GetStringNoDebug() const {
    const std::int16_t length = GetInt16NoDebug();
    if (length <= 0 || !remains(static_cast<std::uint32_t>(length))) {
        return {};
    }
    const char* const text = readData() + m_getIndex;
    advance(static_cast<std::uint32_t>(length));
    return textOf(text, static_cast<std::size_t>(length), static_cast<std::size_t>(length));
}

void CPackedData::GetDataNoDebug(void* target, int length) const {
    if (length > 0 && remains(static_cast<std::uint32_t>(length))) {
        // The target may be this buffer's own storage.
        std::memmove(target, readData() + m_getIndex, static_cast<std::size_t>(length));
        advance(static_cast<std::uint32_t>(length));
    }
}

int CPackedData::peekType() const {
    return static_cast<std::int8_t>(peekBytes(1));
}

bool CPackedData::peekBool() const {
    return peekBytes(1) != 0;
}

char CPackedData::peekInt8() const {
    return static_cast<char>(peekBytes(1));
}

std::uint8_t CPackedData::peekUint8() const {
    return static_cast<std::uint8_t>(peekBytes(1));
}

std::int16_t CPackedData::peekInt16() const {
    return static_cast<std::int16_t>(peekBytes(2));
}

std::uint16_t CPackedData::peekUint16() const {
    return static_cast<std::uint16_t>(peekBytes(2));
}

std::int32_t CPackedData::peekInt32() const {
    return static_cast<std::int32_t>(peekBytes(4));
}

std::uint32_t CPackedData::peekUint32() const {
    return static_cast<std::uint32_t>(peekBytes(4));
}

std::int64_t CPackedData::peekInt64() const {
    return static_cast<std::int64_t>(peekBytes(8));
}

float CPackedData::peekFloat() const {
    return std::bit_cast<float>(static_cast<std::uint32_t>(peekBytes(4)));
}

double CPackedData::peekDouble() const {
    return std::bit_cast<double>(peekBytes(8));
}

void CPackedData::logReadError(int got, int expected) const {
    SHAREDLIB_LOG(LogSev_Error, Log::Generic, "Parse error reading packet at GetIndex=%d (Expected %x, got %x)",
                  GetGetIndex(), static_cast<unsigned int>(expected), static_cast<unsigned int>(got));
    noteReadError();
}

void CPackedData::logMagicMismatch() const {
    SHAREDLIB_LOG(LogSev_Error, Log::Generic, "Magic error reading packet at GetIndex=%d", GetGetIndex());
    noteReadError();
}

// Every message comes through here with its first value, which is therefore spared the calls of the plain rules.
std::uint64_t CPackedData::takeRare(std::uint32_t size, Tag tag) const {
    if (m_getIndex == 0 && used() >= kLargestFirstValue) {
        const char* const data = readData();
        const auto header = static_cast<std::uint8_t>(data[0]);
        const std::uint32_t payload = (header & 1) != 0 ? 2 : 1;
        if (header <= 3 && (payload == 1 || data[1] == static_cast<char>(tag))) {
            m_debug = payload != 1;
            m_md5 = (header & 2) != 0;
            moveGetTo(payload + size);
            return little_endian::loadLow(data + payload, size);
        }
    }
    return takePlain(size, tag);
}

// The readers' plain rules, for everything that the straight lines do not cover.
std::uint64_t CPackedData::takePlain(std::uint32_t size, Tag tag) const {
    beginRead(tag);
    return takeBytes(size);
}

// Takes what stands in front of a payload: the header of a message not yet read from, and the tag.
void CPackedData::beginRead(Tag tag) const {
    if (m_getIndex == 0) {
        ReadHeader();
    }
    if (!m_debug) {
        return;
    }
    // A missing tag reads as 0, which is no tag.
    const int got = GetType();
    if (got != tag) {
        logReadError(got, tag);
    }
}

// A blob's length field repeats what the reader must know anyway, so it is stepped over unread.
void CPackedData::beginBlob() const {
    beginRead(kData);
    if (m_debug) {
        advance(sizeof(std::uint32_t));
    }
}

// The `size` bytes at the get index as a number; 0 when fewer remain.
std::uint64_t CPackedData::peekBytes(std::uint32_t size) const {
    return remains(size) ? little_endian::loadLow(readData() + m_getIndex, size) : 0;
}

std::uint64_t CPackedData::takeBytes(std::uint32_t size) const {
    const std::uint64_t value = peekBytes(size);
    advance(size);
    return value;
}

void CPackedData::noteReadError() const {
    if (!m_readError) {
        m_readError = true;
        dump();
    }
}
