// sharedlib/packed/packed_data_checksum.cpp: the digest at the end of a message.
#include "sharedlib/log/gate.h"
#include "sharedlib/packed/md5.h"
#include "sharedlib/packed/packed_data.h"

#include <array>
#include <cstring>

namespace {

constexpr int kDigestSize = 16;
using Digest = std::array<unsigned char, kDigestSize>;

Digest digestOf(const char* data, int length) {
    md5_state_s state;
    md5_init(&state);
    md5_append(&state, reinterpret_cast<const unsigned char*>(data), length);
    Digest digest;
    md5_finish(&state, digest.data());
    return digest;
}

} // namespace

bool CPackedData::GenerateMD5Checksum() {
    if (!m_md5) {
        SHAREDLIB_LOG(LogSev_Assert, Log::Generic, "Called GenerateMD5Checksum() when hasMD5Checksum() = false");
        return false;
    }
    if (!canWrite()) {
        logReadWriteMismatch();
        return false;
    }
    const Digest digest = digestOf(readData(), size());
    return putBlob(digest.data(), kDigestSize);
}

bool CPackedData::ValidateMD5Checksum() const {
    if (!m_md5) {
        SHAREDLIB_LOG(LogSev_Assert, Log::Generic, "Called ValidateMD5Checksum() when hasMD5Checksum() = false");
        return false;
    }
    const int length = size() - kDigestSize;
    if (length < 1) {
        SHAREDLIB_LOG(LogSev_Assert, Log::Generic,
                      "Called ValidateMD5Checksum() packet is too small (%d bytes) to contain a checksum", size());
        return false;
    }
    const Digest digest = digestOf(readData(), length);
    return std::memcmp(digest.data(), readData() + length, kDigestSize) == 0;
}

bool CPackedData::GetPacketChecksum(const void* data, int length, char* const digest) {
    std::memset(digest, 0, kDigestSize);
    if (data == nullptr || length <= 0) {
        SHAREDLIB_LOG(LogSev_Info, Log::Network, "GetPacketChecksum() - Empty packet");
        return false;
    }
    const CPackedData packet(data, length);
    packet.ReadHeader();
    if (!packet.hasMD5Checksum()) {
        SHAREDLIB_LOG(LogSev_Info, Log::Network, "GetPacketChecksum() - Packet has no checksum");
        return false;
    }
    if (length <= kDigestSize) {
        SHAREDLIB_LOG(LogSev_Assert, Log::Network,
                      "GetPacketChecksum() - packet is too small (%d bytes) to contain a checksum", length);
        return false;
    }
    std::memcpy(digest, packet.readData() + length - kDigestSize, kDigestSize);
    return true;
}
