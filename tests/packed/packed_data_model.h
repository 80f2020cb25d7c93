// tests/packed/packed_data_model.h: the packed buffer's plain rules, written for clarity alone.
#pragma once
#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

/// An owning packed buffer as its rules describe it, step by step. Tests compare `CPackedData` with it.
class PackedDataModel {
public:
    explicit PackedDataModel(std::size_t capacity) : m_bytes(capacity) {}

    void put(std::uint64_t value, std::size_t size, std::uint8_t tag) {
        begin(tag);
        raw(value, size);
    }
    void putString(const std::string& text) {
        begin(0x69);
        const std::size_t length = text.size() % 65536;
        const bool present = length < 32768;
        testPutGrowth(present ? length + 2 : 2);
        raw(length, 2);
        if (present) {
            bytes(text.substr(0, length));
        }
    }
    void putData(const std::string& data) {
        begin(0x68);
        if (m_debug) {
            raw(data.size(), 4);
        }
        if (!data.empty()) {
            testPutGrowth(data.size());
            bytes(data);
        }
    }
    void putSizeAtOffset(std::uint32_t offset) {
        const std::uint64_t used = m_used;
        const std::uint64_t end = m_put;
        setPutIndex(offset);
        put(static_cast<std::uint32_t>(end - offset - 4 - (m_debug ? 1 : 0)), 4, 0x65);
        m_put = std::max(end, m_put);
        m_used = std::max(used, m_used);
    }
    void setPutIndex(std::uint64_t index) { m_put = index; }
    void testPutGrowth(std::size_t length) {
        grow(length, std::max<std::size_t>(length, 1024));
        m_used = m_put + length;
    }
    void empty() {
        m_put = m_get = m_used = 0;
        m_debug = m_md5 = m_readError = false;
        std::ranges::fill(m_bytes, '\0');
    }
    /// What a copy constructor makes of it.
    [[nodiscard]] PackedDataModel copied() const {
        PackedDataModel copy(m_used);
        std::copy_n(m_bytes.begin(), m_used, copy.m_bytes.begin());
        copy.m_used = m_used;
        return copy;
    }

    std::uint64_t get(std::size_t size, std::uint8_t tag) {
        beginRead(tag);
        return take(size);
    }
    std::string getString() {
        beginRead(0x69);
        const auto length = static_cast<std::int16_t>(take(2));
        if (length <= 0 || m_get + static_cast<std::uint64_t>(length) > m_used) {
            return {};
        }
        const std::string text(m_bytes.begin() + m_get, m_bytes.begin() + m_get + length);
        m_get += static_cast<std::uint64_t>(length);
        return text.substr(0, text.find('\0'));
    }
    void skipData(std::size_t length) {
        beginRead(0x68);
        m_get += m_debug ? 4 : 0;
        m_get += m_get + length <= m_used ? length : 0;
    }

    [[nodiscard]] std::string message() const { return {m_bytes.begin(), m_bytes.begin() + m_used}; }

    std::vector<char> m_bytes;
    std::uint64_t m_put = 0;
    std::uint64_t m_get = 0;
    std::uint64_t m_used = 0;
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
        std::copy(text.begin(), text.end(), m_bytes.begin() + m_put);
        m_put += text.size();
        m_used = m_put;
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
        if (m_get == 0) {
            const std::uint64_t header = take(1);
            if (header > 3) {
                m_readError = true;
            } else {
                m_debug = (header & 1) != 0;
                m_md5 = (header & 2) != 0;
            }
        }
        if (m_debug) {
            const bool present = m_get < m_used;
            if (take(1) != tag || !present) {
                m_readError = true;
            }
        }
    }
};
