// sharedlib/platform/posix/module_version.cpp: reads the resources of PE files (Microsoft's "PE Format") from disk.
#include "sharedlib/platform/module_version.h"
#include "sharedlib/platform/file_reading.h"
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <optional>
#include <span>

namespace platform {

namespace {

constexpr std::uint32_t kMaxInfoSize = 1U << 20;

/// Numbers in a block of bytes; 0 where the block ends before.
class Block {
public:
    explicit Block(std::span<const std::byte> bytes) : m_bytes(bytes) {}

    [[nodiscard]] std::uint32_t u16(std::size_t at) const { return number(at, 2); }
    [[nodiscard]] std::uint32_t u32(std::size_t at) const { return number(at, 4); }

private:
    [[nodiscard]] std::uint32_t number(std::size_t at, std::size_t size) const {
        std::uint32_t value = 0;
        for (std::size_t i = size; i-- > 0;) {
            value = value << 8 | (at + i < m_bytes.size() ? std::to_integer<std::uint32_t>(m_bytes[at + i]) : 0);
        }
        return value;
    }

    std::span<const std::byte> m_bytes;
};

/// A block read from a file.
template <std::size_t Size>
struct Record {
    std::array<std::byte, Size> bytes{};
    int error;

    Record(const File& file, std::uint64_t offset) : error(readAt(file, offset, bytes)) {}
    [[nodiscard]] std::uint32_t u16(std::size_t at) const { return Block(bytes).u16(at); }
    [[nodiscard]] std::uint32_t u32(std::size_t at) const { return Block(bytes).u32(at); }
};

/// The part of a PE file that its resources lie in, by addresses as in memory and by offsets in the file.
struct Section {
    std::uint32_t address;
    std::uint32_t size;
    std::uint64_t offset;

    /// Where `length` bytes at an address lie in the file, if the section holds them all.
    [[nodiscard]] std::optional<std::uint64_t> find(std::uint64_t at, std::uint64_t length) const {
        if (at < address || at + length > std::uint64_t{address} + size) {
            return std::nullopt;
        }
        return offset + (at - address);
    }
};

struct Resources {
    Section section{};
    std::uint32_t root = 0;
};

/// Finds the section of the resource directory, which the headers say the place of.
int findResources(const File& file, Resources& resources) {
    constexpr std::uint32_t kProgram = 0x5A4D;
    constexpr std::uint32_t kPortable = 0x4550;
    constexpr std::uint32_t kOptional32 = 0x10B;
    constexpr std::uint32_t kOptional64 = 0x20B;
    constexpr std::size_t kResourceEntry = 2;

    const Record<64> start(file, 0);
    const std::uint64_t header = start.u32(60);
    const Record<24> coff(file, header);
    // The directory of resources is the third that the optional header lists.
    const Record<136> optional(file, header + 24);
    const std::uint32_t kind = optional.u16(0);
    if (start.error != 0 || coff.error != 0 || optional.error != 0 || start.u16(0) != kProgram ||
        coff.u32(0) != kPortable || (kind != kOptional32 && kind != kOptional64)) {
        return ENOEXEC;
    }
    const std::size_t directories = kind == kOptional32 ? 96 : 112;
    resources.root = optional.u32(directories + 8 * kResourceEntry);
    if (optional.u32(directories - 4) <= kResourceEntry || resources.root == 0) {
        return ENODATA;
    }
    const std::uint64_t sections = header + 24 + coff.u16(20);
    for (std::uint32_t i = 0; i < coff.u16(6); ++i) {
        const Record<40> section(file, sections + 40 * std::uint64_t{i});
        if (section.error != 0) {
            return section.error;
        }
        resources.section = {section.u32(12), section.u32(16), section.u32(20)};
        if (resources.section.find(resources.root, 16)) {
            return 0;
        }
    }
    return ENOEXEC;
}

/// The entry of the directory at `offset` (from the root) with this number, or the first for none: where it leads to.
int findEntry(const File& file, const Resources& resources, std::uint32_t offset, std::optional<std::uint32_t> id,
              std::uint32_t& target) {
    const auto header = resources.section.find(std::uint64_t{resources.root} + offset, 16);
    if (!header) {
        return ENOEXEC;
    }
    const Record<16> directory(file, *header);
    // Named entries come first.
    const std::size_t count = directory.u16(12) + directory.u16(14);
    if (directory.error != 0 || !resources.section.find(std::uint64_t{resources.root} + offset + 16, 8 * count)) {
        return ENOEXEC;
    }
    std::vector<std::byte> bytes(8 * count);
    if (const int error = readAt(file, *header + 16, bytes); error != 0) {
        return error;
    }
    const Block entries(bytes);
    for (std::size_t i = 0; i < count; ++i) {
        if (!id || entries.u32(8 * i) == *id) {
            target = entries.u32(8 * i + 4);
            return 0;
        }
    }
    return ENODATA;
}

/// Walks from the type "version" over the resource with number 1 to its first language.
int findVersionResource(const File& file, const Resources& resources, VersionInfoPlace& place) {
    constexpr std::uint32_t kVersionType = 16;
    constexpr std::uint32_t kVersionName = 1;
    constexpr std::uint32_t kSubdirectory = 0x8000'0000;
    constexpr std::array<std::optional<std::uint32_t>, 3> kPath{kVersionType, kVersionName, std::nullopt};

    std::uint32_t target = kSubdirectory;
    for (const auto& id : kPath) {
        if ((target & kSubdirectory) == 0) {
            return ENOEXEC;
        }
        if (const int error = findEntry(file, resources, target & ~kSubdirectory, id, target); error != 0) {
            return error;
        }
    }
    const auto leaf = resources.section.find(std::uint64_t{resources.root} + target, 16);
    if ((target & kSubdirectory) != 0 || !leaf) {
        return ENOEXEC;
    }
    const Record<16> entry(file, *leaf);
    place.size = entry.u32(4);
    const auto offset = resources.section.find(entry.u32(0), place.size);
    if (entry.error != 0 || !offset || place.size == 0 || place.size > kMaxInfoSize) {
        return ENOEXEC;
    }
    place.offset = *offset;
    return 0;
}

} // namespace

int findVersionInfo(const char* path, VersionInfoPlace& place) {
    File file;
    Resources resources;
    int error = openForReading(path, file);
    if (error == 0) {
        error = findResources(file, resources);
    }
    return error == 0 ? findVersionResource(file, resources, place) : error;
}

int readVersionInfo(const char* path, const VersionInfoPlace& place, std::vector<std::byte>& info) {
    File file;
    info.resize(place.size);
    const int error = openForReading(path, file);
    return error == 0 ? readAt(file, place.offset, info) : error;
}

int queryFileVersion(const std::vector<std::byte>& info, FileVersion& version) {
    // Three 16-bit numbers, the key "VS_VERSION_INFO" in 16-bit characters, and the fixed information on a border of 32
    // bits.
    constexpr std::size_t kFixed = 40;
    constexpr std::size_t kFixedSize = 52;
    constexpr std::uint32_t kSignature = 0xFEEF04BD;
    const Block block(info);
    if (info.size() < kFixed + kFixedSize || block.u16(2) < kFixedSize || block.u32(kFixed) != kSignature) {
        return ENODATA;
    }
    version = {block.u32(kFixed + 8), block.u32(kFixed + 12)};
    return 0;
}

} // namespace platform
