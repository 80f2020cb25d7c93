// sharedlib/util/version.h: version numbers of four parts.
#pragma once
#include "sharedlib/export.h"

class CPackedData;

/// A version of four parts of 16 bits, such as 2.17.9.0; 0.0.0.0 means that there is none. A plain value.
class SHAREDLIB_API Version {
public:
    /// 0.0.0.0.
    constexpr Version() = default;
    constexpr Version(unsigned short major, unsigned short minor, unsigned short minor2, unsigned short build)
        : m_major(major), m_minor(minor), m_minor2(minor2), m_build(build) {}

    void set(unsigned short major, unsigned short minor, unsigned short minor2, unsigned short build) {
        *this = Version(major, minor, minor2, build);
    }
    unsigned short getMajor() const { return m_major; }
    unsigned short getMinor() const { return m_minor; }
    unsigned short getMinor2() const { return m_minor2; }
    unsigned short getBuild() const { return m_build; }

    /// \name Order
    /// The first part that differs decides, the major part first.
    /// @{
    bool operator==(Version other) const { return compare(other) == 0; }
    bool operator!=(Version other) const { return compare(other) != 0; }
    bool operator<(Version other) const { return compare(other) < 0; }
    bool operator<=(Version other) const { return compare(other) <= 0; }
    bool operator>(Version other) const { return compare(other) > 0; }
    bool operator>=(Version other) const { return compare(other) >= 0; }
    /// @}

    /// False for 0.0.0.0 only.
    bool isValid() const { return *this != Version(); }
    /// The four parts as the bytes of one number, major highest. Only the lowest 8 bits of a part count, as a signed
    /// byte: parts of up to 127 keep the order, 128 to 255 borrow from the part to their left.
    int toInt();

    /// Appends the four parts to `data` as unsigned 16-bit values, major first.
    void pack(CPackedData& data);
    /// Takes the four parts off `data`, whatever a read error makes of them.
    void unpack(CPackedData& data);

    /// The version of this library.
    static Version const& current() { return s_current; }
    /// The machine that built this library, and the user; fixed texts, "unknown" in a reproducible build.
    static char const* currentMachine();
    static char const* currentUser();
    /// "".
    static char const* getDebug() { return ""; }

    /// The file version in the resources of the Windows program or library `fileName`, a path of the library; null
    /// fails like "". When it cannot be had, also because memory is exhausted, that is logged at severity Error on
    /// channel Generic and the result is 0.0.0.0. The file may hold anything. Any thread.
    static Version find(char const* fileName);

protected:
    /// The difference of the first parts that differ, -65535 to 65535; 0 for equal versions.
    int compare(Version other) const;

private:
    unsigned short m_major = 0;
    unsigned short m_minor = 0;
    unsigned short m_minor2 = 0;
    unsigned short m_build = 0;
    static Version const s_current;
};
