// tests/packed/packed_data_model.h: the packed buffer's plain rules, written for clarity alone.
#pragma once
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>

/// An owning packed buffer as its rules describe it, step by step. Tests compare `CPackedData` with it.
struct PackedDataModel {
    explicit PackedDataModel(std::size_t capacity) : m_bytes(capacity, '\0') {}

    void put(std::uint64_t value, std::size_t size, std::uint8_t tag) {
        begin(tag);
        raw(value, size);
    }
    void PutString(const std::string& text) {
        const auto length = static_cast<std::int16_t>(std::strlen(text.c_str()));
        begin(0x69);
        testPutGrowth(std::max<int>(length, 0) + 2);
        raw(static_cast<std::uint16_t>(length), 2);
        bytes(text.substr(0, static_cast<std::size_t>(std::max<int>(length, 0))));
    }
    void PutData(const char* data, int length) {
        begin(0x68);
        if (m_debug) {
            raw(static_cast<std::uint32_t>(length), 4);
        }
        if (length > 0) {
            testPutGrowth(length);
            bytes({data, static_cast<std::size_t>(length)});
        }
    }
    void putSizeAtOffset(std::size_t offset) {
        const std::size_t used = m_used;
        const std::size_t end = m_put;
        m_put = offset;
        put(end - offset - 4 - (m_debug ? 1 : 0), 4, 0x65);
        m_put = std::max(end, m_put);
        m_used = std::max(used, m_used);
    }
    void testPutGrowth(int length) {
        const auto needed = static_cast<std::size_t>(std::max(length, 0));
        grow(needed, std::max<std::size_t>(needed, 1024));
        m_used = static_cast<std::size_t>(std::max<std::int64_t>(static_cast<std::int64_t>(m_put) + length, 0));
    }
    void setPutIndex(std::size_t index) { m_put = index; }
    void setGetIndex(std::size_t index) { m_get = index; }
    void setDebug(bool debug) { m_debug = debug; }
    void useMD5Checksum(bool use) { m_md5 = use; }
    void checkSize(unsigned int size) { m_bytes.resize(std::max<std::size_t>(m_bytes.size(), size)); }
    void empty() { *this = PackedDataModel(m_bytes.size()); }
    void becomeCopy() {
        PackedDataModel copy(m_used);
        copy.m_bytes = message();
        copy.m_used = m_used;
        *this = copy;
    }

    std::uint64_t get(std::size_t size, std::uint8_t tag) {
        beginRead(tag);
        return take(size);
    }
    std::string GetString() {
        beginRead(0x69);
        const auto length = static_cast<std::int16_t>(take(2));
        if (length <= 0 || !checkBounds(length)) {
            return {};
        }
        const std::string text = m_bytes.substr(m_get, static_cast<std::size_t>(length));
        m_get += text.size();
        return text.c_str();
    }
    void SkipData(int length) {
        beginRead(0x68);
        m_get += m_debug ? 4 : 0;
        m_get += checkBounds(length) ? static_cast<std::size_t>(length) : 0;
    }
    bool checkBounds(int length) const { return length >= 0 && m_get + static_cast<std::size_t>(length) <= m_used; }
    std::string message() const { return m_bytes.substr(0, m_used); }

    std::string m_bytes;
    std::size_t m_put = 0;
    std::size_t m_get = 0;
    std::size_t m_used = 0;
    bool m_debug = false;
    bool m_md5 = false;
    bool m_readError = false;

private:
    void begin(std::uint8_t tag) {
        if (m_put == 0) {
            raw((m_md5 ? 2 : 0) + (m_debug ? 1 : 0), 1);
        }
        if (m_debug) {
            raw(tag, 1);
        }
    }
    void raw(std::uint64_t value, std::size_t size) {
        std::string text;
        for (std::size_t i = 0; i < size; ++i) {
            text += static_cast<char>(value >> (8 * i));
        }
        bytes(text);
    }
    void bytes(const std::string& text) {
        grow(text.size(), 1024);
        m_bytes.replace(m_put, text.size(), text);
        m_used = m_put += text.size();
    }
    void grow(std::size_t length, std::size_t step) {
        if (m_put + length > m_bytes.size()) {
            m_bytes.resize(std::max(m_put + length, m_bytes.size() + step));
        }
    }
    std::uint64_t take(std::size_t size) {
        std::uint64_t value = 0;
        for (std::size_t i = 0; m_get + size <= m_used && i < size; ++i) {
            value |= std::uint64_t{static_cast<std::uint8_t>(m_bytes[m_get + i])} << (8 * i);
        }
        m_get += size;
        return value;
    }
    void beginRead(std::uint8_t tag) {
        const std::uint64_t header = m_get == 0 ? take(1) : (m_md5 ? 2 : 0) + (m_debug ? 1 : 0);
        m_readError = m_readError || header > 3;
        m_debug = header > 3 ? m_debug : (header & 1) != 0;
        m_md5 = header > 3 ? m_md5 : (header & 2) != 0;
        // A missing tag reads as 0, which is none.
        m_readError = (m_debug && take(1) != tag) || m_readError;
    }
};
