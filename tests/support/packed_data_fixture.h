// tests/support/packed_data_fixture.h: what the tests of packed data and digests share.
#pragma once
#include "sharedlib/packed/md5.h"
#include "sharedlib/packed/packed_data.h"
#include "tests/support/log_capture.h"
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

using Lines = std::vector<LogLineSeen>;

inline std::string bytesOf(const CPackedData& data) {
    return {data.readData(), static_cast<std::size_t>(data.size())};
}

inline std::string hex(const std::string& bytes) {
    static const char* const digits = "0123456789abcdef";
    std::string text;
    for (const char byte : bytes) {
        text += digits[static_cast<unsigned char>(byte) >> 4];
        text += digits[byte & 15];
    }
    return text;
}

inline void append(md5_state_s& state, const std::string& bytes) {
    md5_append(&state, reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<int>(bytes.size()));
}

inline std::string finished(md5_state_s& state) {
    std::string digest(16, '\0');
    md5_finish(&state, reinterpret_cast<unsigned char*>(digest.data()));
    return digest;
}

/// The 16 bytes of the digest of `bytes`.
inline std::string digestOf(const std::string& bytes) {
    md5_state_s state;
    md5_init(&state);
    append(state, bytes);
    return finished(state);
}

/// Collects what packed data logs.
class PackedDataLog : public testing::Test {
protected:
    /// The lines since the last call.
    Lines lines() {
        Lines result = m_log.lines();
        m_log.clear();
        return result;
    }
    LogCapture m_log;
};
