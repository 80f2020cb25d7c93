// sharedlib/packed/packed_data.h: the typed binary buffer in which every message is built and read.
#pragma once
#include "sharedlib/containers/buffer.h"
#include "sharedlib/export.h"
#include "sharedlib/packed/little_endian.h"

#include <bit>
#include <cstdint>
#include <string>

/// A message: a header byte and then typed values, written one after the other and taken off in the same order. With
/// the debug flag a type tag stands in front of each value and is checked on reading; with the MD5 flag the message
/// ends in a digest. All numbers are little-endian and unaligned. A packed buffer either owns growable storage or is a
/// read-only view of somebody's bytes. It belongs to one thread at a time, and nothing here throws: misuse and bad data
/// are logged, reads beyond the end give zero values, and a write that memory cannot hold leaves the message as it was.
/// A message holds at most 2,147,483,647 bytes.
class SHAREDLIB_API CPackedData : public Buffer {
public:
    /// An empty message that owns 128 bytes of storage.
    CPackedData() : CPackedData(kDefaultCapacity) {}
    /// An empty message that owns `capacity` bytes of storage (none for a negative capacity).
    explicit CPackedData(int capacity) : Buffer(capacity > 0 ? static_cast<unsigned int>(capacity) : 0U) {
        ++s_packetCount;
        startMessage();
    }
    /// A read-only view of the `length` bytes at `data` (none for a negative length), positioned at their start. The
    /// caller keeps the bytes alive; they are neither copied nor freed.
    CPackedData(const void* data, int length)
        : Buffer(data, length > 0 ? static_cast<unsigned int>(length) : 0U), m_usedSize(Buffer::size()) {
        ++s_packetCount;
    }
    /// An owning buffer with the other's used bytes, positioned for reading from the start.
    CPackedData(const CPackedData& other);
    /// Does what `copy` does.
    CPackedData& operator=(const CPackedData& other);
    ~CPackedData() { --s_packetCount; }

    /// Takes the other's used bytes, positioned for reading from the start, with all flags clear. When they do not fit,
    /// which a view or exhausted memory can cause, it logs that and changes nothing. A view that is large enough is
    /// written to.
    void copy(const CPackedData& other);
    /// Becomes an empty message with all flags clear; the storage remains.
    void empty() {
        // What a writer that is used again and again has not changed need not be set.
        if (m_writeLimit.plain == 0 || m_getIndex != 0 || m_md5 || m_readError) {
            return restart();
        }
        *writeData() = 0;
        m_putIndex = 1;
        m_keptEnd = 0;
    }

    /// \name Writers
    /// Each appends one value at the put index, the header byte first when nothing has been written yet. On a view each
    /// logs the read-only message and changes nothing.
    /// @{
    void PutBool(bool value) { put(value ? std::uint8_t{1} : std::uint8_t{0}, kBool); }
    void PutUint8(std::uint8_t value) { put(value, kUint8); }
    void PutInt8(char value) { put(static_cast<std::uint8_t>(value), kInt8); }
    void PutInt16(std::int16_t value) { put(static_cast<std::uint16_t>(value), kInt16); }
    void PutUint16(std::uint16_t value) { put(value, kInt16); }
    void PutInt32(std::int32_t value) { put(static_cast<std::uint32_t>(value), kInt32); }
    void PutUint32(std::uint32_t value) { put(value, kInt32); }
    void PutInt64(std::int64_t value) { put(static_cast<std::uint64_t>(value), kInt64); }
    void PutFloat(float value) { put(std::bit_cast<std::uint32_t>(value), kFloat); }
    void PutDouble(double value) { put(std::bit_cast<std::uint64_t>(value), kDouble); }
    /// The 16-bit mark 0x3C02.
    void PutMagic() { put(kMagicNumber, kMagic); }
    /// `length` raw bytes from outside this message; a length of 0 or less writes none. Only in debug mode does a
    /// 32-bit length precede them.
    void PutData(const void* source, int length);
    /// The text up to its first zero byte behind a 16-bit length; null writes as the empty text. Texts hold at most
    /// 32,767 bytes: one of 32,768 to 65,535 bytes is written as its length alone, a longer one is cut to its length
    /// modulo 65,536.
    void PutString(const char* text);
    /// As above: the text ends at its first zero byte.
    void PutString(const std::string& text);
    /// Fills in the 32-bit size field written earlier with `PutInt32` at `offset` (a put index noted after the
    /// message's first write): the number of bytes between the field and the put index. The put index stays.
    void putSizeAtOffset(unsigned long offset);
    /// @}

    /// Sets the offset of the next write. Nothing is checked here; a later write makes the room it needs. Bytes skipped
    /// over keep what this message has held there, and are 0 where it has held nothing.
    void setPutIndex(unsigned long index);
    /// The offset of the next write.
    int GetPutIndex() const { return static_cast<int>(untouched() ? 0 : m_putIndex); }
    /// Makes room for `length` bytes at the put index and lets the message end behind them; those that it has never
    /// held are 0. A view takes no more than it has. With a negative length the message ends before the put index, but
    /// not before its start.
    void testPutGrowth(int length);

    /// Says whether values carry type tags. On the wire it holds when set before the first write.
    void setDebug(bool debug) {
        if (m_debug != debug) {
            m_debug = debug;
            settle();
        }
    }
    /// Whether values carry type tags; for a message being read, known once its header has been read.
    bool isDebug() const { return m_debug; }
    /// Says whether the message ends in a digest. On the wire it holds when set before the first write.
    void useMD5Checksum(bool use) {
        m_md5 = use;
        if (untouched()) {
            *writeData() = static_cast<char>(header());
        }
    }
    /// Whether the message ends in a digest; for a message being read, known once its header has been read.
    bool hasMD5Checksum() const { return m_md5; }

    /// \name Readers
    /// Each takes one value at the get index, the header byte first when the get index is 0. Beyond the end the value
    /// is 0 and the get index advances all the same. In debug mode a missing or wrong tag is logged, and the first such
    /// error sets the read error flag and dumps the message.
    /// @{
    bool GetBool() const { return take<std::uint8_t>(kBool) != 0; }
    std::uint8_t GetUint8() const { return take<std::uint8_t>(kUint8); }
    char GetInt8() const { return static_cast<char>(take<std::uint8_t>(kInt8)); }
    std::int16_t GetInt16() const { return static_cast<std::int16_t>(take<std::uint16_t>(kInt16)); }
    std::uint16_t GetUint16() const { return take<std::uint16_t>(kInt16); }
    std::int32_t GetInt32() const { return static_cast<std::int32_t>(take<std::uint32_t>(kInt32)); }
    std::uint32_t GetUint32() const { return take<std::uint32_t>(kInt32); }
    std::int64_t GetInt64() const { return static_cast<std::int64_t>(take<std::uint64_t>(kInt64)); }
    float GetFloat() const { return std::bit_cast<float>(take<std::uint32_t>(kFloat)); }
    double GetDouble() const { return std::bit_cast<double>(take<std::uint64_t>(kDouble)); }
    /// The value of a size field, as `GetInt32` reads it.
    unsigned long GetSize() const { return GetUint32(); }
    /// The text up to its first zero byte; empty when its length is not positive or larger than what remains.
    std::string GetString() const;
    /// Takes a mark; a missing or wrong one is logged like a wrong tag.
    void GetMagic() const;
    /// Copies `length` bytes to `target` when that many remain, else none; nothing tells the two apart but the get
    /// index.
    void GetData(void* target, int length) const;
    /// Reads `length` bytes into the start of `destination` as above and lets that message end behind them, its indexes
    /// untouched; bytes that come in without being read are 0. Logs and reads nothing when they do not fit there. A
    /// negative length does nothing.
    void GetData(CPackedData& destination, int length);
    /// `GetData` without copying.
    void SkipData(int length) const;
    /// Advances the get index by `length` when that many bytes remain.
    void SkipDataNoDebug(int length) const;
    /// Reads the header byte at the get index and takes the two flags from it. A malformed one is logged, and the first
    /// such error sets the read error flag and dumps the message.
    void ReadHeader() const;
    /// @}

    /// The offset of the next byte to read; -1 when it is far beyond any message.
    int GetGetIndex() const { return static_cast<int>(m_getIndex); }
    /// Moves it; at 0 the next typed read takes the header again.
    void setGetIndex(unsigned long index) const { moveGetTo(index); }
    /// Whether `length` bytes remain; false for a negative length.
    bool checkBounds(int length) const { return length >= 0 && remains(static_cast<std::uint32_t>(length)); }
    /// Bytes of the message, header byte included.
    int size() const { return static_cast<int>(used()); }
    /// The start of the message, header byte included; valid until it grows.
    char* data() { return writeData(); }
    /// Whether a read of this message has met a malformed header, a wrong tag or a wrong mark.
    bool getReadErrorFlag() const { return m_readError; }

    /// Appends the digest of the message so far; to be called once, after the last value. False, with nothing changed,
    /// when the MD5 flag is clear (logged), for a view (logged) or when memory runs out.
    bool GenerateMD5Checksum();
    /// Whether the message ends in the digest of what precedes it. Its header must have been read before; without the
    /// MD5 flag, and for fewer than 17 bytes, it logs that and returns false. It finds accidents, not forgers.
    bool ValidateMD5Checksum() const;
    /// Copies the 16 bytes of the digest at the end of a raw message to `digest`, as stored, without checking it.
    /// False, with 16 zero bytes and a log line, for an empty message, one without digest, or one of 16 bytes or fewer.
    static bool GetPacketChecksum(const void* data, int length, char* digest);

    /// Writes the buffer's state and content to the log, channel Generic, severity Info. With type tags each value is a
    /// line.
    void dump() const;
    /// The number of live packed buffers of the process; a plain counter without synchronisation.
    static int getPacketCount() { return s_packetCount; }

protected:
    /// \name For derived classes
    /// Payload alone: no header, no tag, no read-only message. A view is never written.
    /// @{
    void writeHeader();
    void PutType(int type);
    void PutBoolNoDebug(bool value);
    void PutUint8NoDebug(std::uint8_t value);
    void PutInt16NoDebug(std::int16_t value);
    void PutUint16NoDebug(std::uint16_t value);
    void PutInt32NoDebug(std::int32_t value);
    void PutUint32NoDebug(std::uint32_t value);
    void PutInt64NoDebug(std::int64_t value);
    void PutFloatNoDebug(float value);
    void PutDoubleNoDebug(double value);
    void PutDataNoDebug(const void* source, int length);

    int GetType() const;
    bool GetBoolNoDebug() const;
    char GetInt8NoDebug() const;
    std::uint8_t GetUint8NoDebug() const;
    std::int16_t GetInt16NoDebug() const;
    std::uint16_t GetUint16NoDebug() const;
    std::int32_t GetInt32NoDebug() const;
    std::uint32_t GetUint32NoDebug() const;
    std::int64_t GetInt64NoDebug() const;
    float GetFloatNoDebug() const;
    double GetDoubleNoDebug() const;
    std::string GetStringNoDebug() const;
    void GetDataNoDebug(void* target, int length) const;

    int peekType() const;
    bool peekBool() const;
    char peekInt8() const;
    std::uint8_t peekUint8() const;
    std::int16_t peekInt16() const;
    std::uint16_t peekUint16() const;
    std::int32_t peekInt32() const;
    std::uint32_t peekUint32() const;
    std::int64_t peekInt64() const;
    float peekFloat() const;
    double peekDouble() const;
    /// @}

    /// Logs a wrong tag (`got` 0 for a missing one); the first read error sets the flag and dumps the message.
    void logReadError(int got, int expected) const;
    /// Logs a wrong mark; the first read error sets the flag and dumps the message.
    void logMagicMismatch() const;
    /// Logs the attempt to write into a view.
    void logReadWriteMismatch() const;
    /// Takes the value of the given type tag without a tag in front of it and logs it in one line.
    void GetAndDisplayType(int type) const;

private:
    static constexpr int kDefaultCapacity = 128;
    static constexpr std::uint32_t kGrowthStep = 1024;
    static constexpr std::uint32_t kMaxSize = INT32_MAX;
    // Header, tag and payload.
    static constexpr std::uint32_t kLargestFirstValue = 1 + 1 + sizeof(std::uint64_t);
    static constexpr std::uint16_t kMagicNumber = 0x3C02;

    enum Tag : std::uint8_t {
        kBool = 0x61,
        kUint8 = 0x62,
        kInt8 = 0x63,
        kInt16 = 0x64,
        kInt32 = 0x65,
        kInt64 = 0x66,
        kFloat = 0x67,
        kData = 0x68,
        kString = 0x69,
        kMagic = 0x70,
        kDouble = 0x71,
    };

    /// How far a straight line reaches, one of the two for values without and with tags; 0 closes it.
    struct Limit {
        std::uint32_t plain = 0;
        std::uint32_t tagged = 0;
    };
    /// Where a write began, so that one that fails half way leaves no trace.
    struct Position {
        std::uint32_t put;
        std::uint32_t used;
    };

    bool writingOn() const { return m_writeLimit.plain + m_writeLimit.tagged != 0; }
    // A message that is being written on but holds nothing yet: its header byte is laid out in advance, so that the
    // first value takes the straight line too. To everybody else its put index and size are still 0.
    bool untouched() const { return m_putIndex == 1 && writingOn(); }
    std::uint32_t used() const { return writingOn() ? (m_putIndex != 1 ? m_putIndex : 0) : m_usedSize; }
    std::uint32_t keptEnd() const { return m_keptEnd > used() ? m_keptEnd : used(); }
    bool remains(std::uint32_t length) const { return std::uint64_t{m_getIndex} + length <= used(); }
    std::uint8_t header() const { return static_cast<std::uint8_t>((m_md5 ? 2 : 0) | (m_debug ? 1 : 0)); }

    // Leaves the straight lines of reading and writing, or enters that of reading when the get index allows it.
    void settle() const {
        if (writingOn()) {
            m_putIndex = m_usedSize = used();
            m_writeLimit = {};
        }
        m_readLimit = {};
        if (m_getIndex != 0 && m_getIndex <= m_usedSize) {
            (m_debug ? m_readLimit.tagged : m_readLimit.plain) = m_usedSize + 1;
        }
    }
    void restart() {
        m_getIndex = 0;
        m_readLimit = {};
        m_debug = false;
        m_md5 = false;
        m_readError = false;
        startMessage();
    }
    // An empty message without flags; the next value may take the straight line.
    void startMessage() {
        m_putIndex = 0;
        m_keptEnd = 0;
        m_usedSize = 0;
        m_writeLimit = {};
        if (canWrite() && Buffer::size() != 0) {
            *writeData() = 0;
            m_putIndex = 1;
            m_writeLimit.plain = storageLimit();
        }
    }
    // The message ends at `end` after a write, and the next one may take the straight line.
    void wroteTo(std::uint32_t end) {
        m_keptEnd = keptEnd();
        m_putIndex = end;
        m_usedSize = end;
        if (end == 1) {
            return settle();
        }
        m_readLimit = {};
        (m_debug ? m_writeLimit.tagged : m_writeLimit.plain) = storageLimit();
    }
    std::uint32_t storageLimit() const { return (Buffer::size() < kMaxSize ? Buffer::size() : kMaxSize) + 1; }
    void moveGetTo(std::uint64_t index) const {
        // Stops at the largest index instead of beginning again at 0.
        m_getIndex = index < UINT32_MAX ? static_cast<std::uint32_t>(index) : UINT32_MAX;
        settle();
    }
    void advance(std::uint32_t length) const { moveGetTo(std::uint64_t{m_getIndex} + length); }

    // One compare covers "writable, header written, room, no tags, and nothing behind the put index". The value is
    // stored before the index is, because the compiler must assume that a stored byte may change any member: so the
    // next write finds the put index in a register.
    template <class T>
    void put(T value, Tag tag) {
        const std::uint32_t end = m_putIndex + static_cast<std::uint32_t>(sizeof(T));
        if (end < m_writeLimit.plain) {
            little_endian::store(writeData() + m_putIndex, value);
            m_putIndex = end;
        } else if (end + 1 < m_writeLimit.tagged) {
            char* const to = writeData() + m_putIndex;
            *to = static_cast<char>(tag);
            little_endian::store(to + 1, value);
            m_putIndex = end + 1;
        } else {
            putRare(value, sizeof(T), tag);
        }
    }
    // One compare covers "header read, no tags, and enough left".
    template <class T>
    T take(Tag tag) const {
        const char* const data = readData();
        const std::uint32_t start = m_getIndex;
        const std::uint32_t end = start + static_cast<std::uint32_t>(sizeof(T));
        if (end < m_readLimit.plain) {
            m_getIndex = end;
            return little_endian::load<T>(data + start);
        }
        if (end + 1 < m_readLimit.tagged && data[start] == static_cast<char>(tag)) {
            m_getIndex = end + 1;
            return little_endian::load<T>(data + start + 1);
        }
        return static_cast<T>(takeRare(sizeof(T), tag));
    }
    void putRare(std::uint64_t value, std::uint32_t size, Tag tag);
    void putPlain(std::uint64_t value, std::uint32_t size, Tag tag);
    std::uint64_t takeRare(std::uint32_t size, Tag tag) const;
    std::uint64_t takePlain(std::uint32_t size, Tag tag) const;

    Position position() {
        settle();
        return {m_putIndex, m_usedSize};
    }
    void moveTo(Position position);
    bool beginValue(Tag tag);
    bool makeRoom(std::uint32_t length);
    void clearTo(std::uint32_t end);
    bool putBytes(std::uint64_t value, std::uint32_t size);
    bool putBlob(const void* source, int length);
    void putText(const char* text, std::size_t bytes);
    void putTextRare(const char* text, std::int16_t length);

    void beginRead(Tag tag) const;
    void beginBlob() const;
    std::uint64_t peekBytes(std::uint32_t size) const;
    std::uint64_t takeBytes(std::uint32_t size) const;
    void noteReadError() const;
    void displayData() const;

    mutable std::uint32_t m_putIndex = 0;
    // How far the message once reached, if that is farther than it does now: its own bytes stand up to here.
    std::uint32_t m_keptEnd = 0;
    mutable std::uint32_t m_getIndex = 0;
    // Bytes of the message while both write limits are 0.
    mutable std::uint32_t m_usedSize = 0;
    // While a message is being written straight on, and therefore ends at the put index: one more than the storage.
    mutable Limit m_writeLimit;
    // While the header has been read and the get index lies in the message: one more than the message.
    mutable Limit m_readLimit;
    mutable bool m_debug = false;
    mutable bool m_md5 = false;
    mutable bool m_readError = false;
    static std::int32_t s_packetCount;
};

/// The display of raw memory that `CPackedData::dump` calls for untyped bytes; it produces no output.
SHAREDLIB_API void DumpMemory(const void* data, int length);
