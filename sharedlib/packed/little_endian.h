// sharedlib/packed/little_endian.h: numbers as little-endian bytes at any address.
#pragma once
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace little_endian {

/// The number with its bytes in the opposite order on a big-endian machine, unchanged on a little-endian one.
template <class T>
constexpr T swapped(T value) {
    static_assert(std::is_unsigned_v<T>);
    if constexpr (std::endian::native == std::endian::little) {
        return value;
    } else {
        T result = 0;
        for (std::size_t i = 0; i < sizeof(T); ++i) {
            result = static_cast<T>(result << 8 | ((value >> (8 * i)) & 0xFF));
        }
        return result;
    }
}

/// Writes the `sizeof(T)` bytes of an unsigned number at `to`, lowest byte first; `to` needs no alignment.
template <class T>
void store(void* to, T value) {
    const T bytes = swapped(value);
    std::memcpy(to, &bytes, sizeof(T));
}

/// The unsigned number whose `sizeof(T)` bytes, lowest first, stand at `from`; `from` needs no alignment.
template <class T>
T load(const void* from) {
    T bytes;
    std::memcpy(&bytes, from, sizeof(T));
    return swapped(bytes);
}

/// Writes the `size` (1, 2, 4 or 8) low bytes of `value` at `to`, lowest first.
inline void storeLow(void* to, std::uint64_t value, std::size_t size) {
    switch (size) {
    case 1:
        return store(to, static_cast<std::uint8_t>(value));
    case 2:
        return store(to, static_cast<std::uint16_t>(value));
    case 4:
        return store(to, static_cast<std::uint32_t>(value));
    default:
        return store(to, value);
    }
}

/// The number whose `size` (1, 2, 4 or 8) bytes, lowest first, stand at `from`.
inline std::uint64_t loadLow(const void* from, std::size_t size) {
    switch (size) {
    case 1:
        return load<std::uint8_t>(from);
    case 2:
        return load<std::uint16_t>(from);
    case 4:
        return load<std::uint32_t>(from);
    default:
        return load<std::uint64_t>(from);
    }
}

} // namespace little_endian
