// sharedlib/enums/internal/enum_lookup.h: the lookups that every enumeration shares, and how its tables end.
#pragma once
#include <cstdint>

namespace enum_lookup {

/// The two entries of each table that follow the last value.
inline constexpr const char* kMaxName = "Max";
inline constexpr const char* kMaxDescription = "One higher than the last enum value";
inline constexpr const char* kTableEnd = "";

/// What the value lookups answer for a value that no entry stands for.
inline constexpr const char* kOutOfRange = "Error";

/// `letter` in lower case when it is an ASCII letter, unchanged otherwise; no locale takes part.
constexpr char lowerAscii(char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

/// Whether two texts are the same apart from the case of ASCII letters.
constexpr bool sameIgnoringCase(const char* left, const char* right) {
    while (*left != '\0' && lowerAscii(*left) == lowerAscii(*right)) {
        ++left;
        ++right;
    }
    return lowerAscii(*left) == lowerAscii(*right);
}

/// The value below `Enum::Max` whose name is `name`, or -1. `names` is a table of `Enum::Max` + 2 entries.
template <typename Enum>
Enum valueOfName(const char* const* names, const char* name) {
    for (std::int32_t value = 0; value < Enum::Max; ++value) {
        if (sameIgnoringCase(names[value], name)) {
            return static_cast<Enum>(value);
        }
    }
    return static_cast<Enum>(-1);
}

/// The entry of `table` for `value`, or "Error" when `value` lies outside 0 .. `Enum::Max` - 1.
template <typename Enum>
const char* entryOfValue(const char* const* table, Enum value) {
    // A negative value turns into a large one, so one comparison covers both ends.
    const auto index = static_cast<std::uint32_t>(value);
    return index < static_cast<std::uint32_t>(Enum::Max) ? table[index] : kOutOfRange;
}

} // namespace enum_lookup
