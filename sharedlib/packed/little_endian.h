// sharedlib/packed/little_endian.h: numbers as little-endian bytes at any address.
#pragma once
#include <bit>
#include <cstddef>
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

} // namespace little_endian
