// sharedlib/packed/packed_data_dump.cpp: the display of a message in the log.
#include "sharedlib/log/gate.h"
#include "sharedlib/packed/packed_data.h"

void DumpMemory(const void* /*data*/, int /*length*/) {
}

void CPackedData::dump() const {
    // Every line of a dump stands behind this gate, so that a peer's broken messages cost nothing while it is shut.
    if (log_gate::openLogger(LogSev_Info, Log::Generic) == nullptr) {
        return;
    }
    SHAREDLIB_LOG(LogSev_Info, Log::Generic, "CPackedData - %d bytes avail; %d bytes used; GetFrom %d; PutTo %d",
                  static_cast<int>(Buffer::size()), size(), GetGetIndex(), GetPutIndex());
    if (!m_debug) {
        DumpMemory(readData(), size());
        return;
    }
    const std::uint32_t start = m_getIndex;
    setGetIndex(1);
    while (remains(1)) {
        GetAndDisplayType(GetType());
    }
    setGetIndex(start);
}

void CPackedData::GetAndDisplayType(int type) const {
    // The value is taken first, because the line shows the get index behind it.
    switch (type) {
    case kBool: {
        const bool value = GetBoolNoDebug();
        SHAREDLIB_LOG(LogSev_Info, Log::Generic, "%5d (bool): %s", GetGetIndex(), value ? "true" : "false");
        break;
    }
    case kUint8: {
        const int value = GetUint8NoDebug();
        SHAREDLIB_LOG(LogSev_Info, Log::Generic, "%5d (byte): %d", GetGetIndex(), value);
        break;
    }
    case kInt8: {
        const int value = GetType();
        SHAREDLIB_LOG(LogSev_Info, Log::Generic, "%5d (char): %d (%c)", GetGetIndex(), value, value);
        break;
    }
    case kInt16: {
        const int value = GetInt16NoDebug();
        SHAREDLIB_LOG(LogSev_Info, Log::Generic, "%5d (word): %d", GetGetIndex(), value);
        break;
    }
    case kInt32: {
        const std::int32_t value = GetInt32NoDebug();
        SHAREDLIB_LOG(LogSev_Info, Log::Generic, "%5d (long): %d", GetGetIndex(), value);
        break;
    }
    case kFloat: {
        const double value = static_cast<double>(GetFloatNoDebug());
        SHAREDLIB_LOG(LogSev_Info, Log::Generic, "%5d (float): %f", GetGetIndex(), value);
        break;
    }
    case kData:
        displayData();
        break;
    case kString: {
        const std::string value = GetStringNoDebug();
        SHAREDLIB_LOG(LogSev_Info, Log::Generic, "%5d (string): %s", GetGetIndex(), value.c_str());
        break;
    }
    case kMagic: {
        const int value = GetInt16NoDebug();
        SHAREDLIB_LOG(LogSev_Info, Log::Generic, "%5d (magic): %x (%x expected)", GetGetIndex(),
                      static_cast<unsigned int>(value), static_cast<unsigned int>(kMagicNumber));
        break;
    }
    default:
        SHAREDLIB_LOG(LogSev_Info, Log::Generic, "%5d (Unknown: %d): CPackedData is probably corrupt", GetGetIndex(),
                      type);
        break;
    }
}

void CPackedData::displayData() const {
    const std::uint32_t length = GetUint32NoDebug();
    // A length field that is itself cut off reads as 0 and is not larger than the nothing that remains.
    if (length != 0 && !remains(length)) {
        SHAREDLIB_LOG(LogSev_Info, Log::Generic, "%5d (data): %d too large. CPackedData is probably corrupt",
                      GetGetIndex(), static_cast<int>(length));
        return;
    }
    SHAREDLIB_LOG(LogSev_Info, Log::Generic, "%5d (data): %d bytes", GetGetIndex(), static_cast<int>(length));
    DumpMemory(readData() + m_getIndex, static_cast<int>(length));
    advance(length);
}
