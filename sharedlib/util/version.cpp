// sharedlib/util/version.cpp: version numbers of four parts.
#include "sharedlib/util/version.h"
#include "sharedlib/log/gate.h"
#include "sharedlib/packed/packed_data.h"
#include "sharedlib/platform/module_version.h"
#include "sharedlib/util/internal/system_failure.h"
#include "sharedlib/util/paths.h"
#include <cstdint>
#include <new>
#include <string>
#include <vector>

constinit Version const Version::s_current{2, 17, 9, 0};

int Version::toInt() {
    std::uint32_t result = 0;
    for (unsigned short const part : {m_major, m_minor, m_minor2, m_build}) {
        result = result * 256 + static_cast<std::uint32_t>(static_cast<std::int8_t>(part));
    }
    return static_cast<std::int32_t>(result);
}

void Version::pack(CPackedData& data) {
    for (unsigned short const part : {m_major, m_minor, m_minor2, m_build}) {
        data.PutUint16(part);
    }
}

void Version::unpack(CPackedData& data) {
    for (unsigned short* const part : {&m_major, &m_minor, &m_minor2, &m_build}) {
        *part = data.GetUint16();
    }
}

// The build gives both names.
char const* Version::currentMachine() {
    return SHAREDLIB_BUILD_MACHINE;
}

char const* Version::currentUser() {
    return SHAREDLIB_BUILD_USER;
}

Version Version::find(char const* fileName) {
    char const* const name = fileName != nullptr ? fileName : "";
    try {
        std::string const path = NativePath(name);
        platform::VersionInfoPlace place;
        if (isFailure(platform::findVersionInfo(path.c_str(), place), name)) {
            return {};
        }
        std::vector<std::byte> info;
        platform::FileVersion version;
        if (isFailure(platform::readVersionInfo(path.c_str(), place, info), "Failed to get version info") ||
            isFailure(platform::queryFileVersion(info, version), "Failed to get version info")) {
            return {};
        }
        auto const high = [](std::uint32_t word) { return static_cast<unsigned short>(word >> 16); };
        auto const low = [](std::uint32_t word) { return static_cast<unsigned short>(word & 0xFFFF); };
        return {high(version.high), low(version.high), high(version.low), low(version.low)};
    } catch (std::bad_alloc const&) {
        // There may be no room for the system's words either.
        SHAREDLIB_LOG(LogSev_Error, Log::Generic, "%s: Cannot allocate memory\n", name);
        return {};
    }
}

int Version::compare(Version other) const {
    for (auto const part : {&Version::m_major, &Version::m_minor, &Version::m_minor2, &Version::m_build}) {
        if (this->*part != other.*part) {
            return this->*part - other.*part;
        }
    }
    return 0;
}
