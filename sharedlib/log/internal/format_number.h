// sharedlib/log/internal/format_number.h: the digits of a number as a printf conversion asks for them.
#pragma once
#include "sharedlib/log/internal/format_conversion.h"
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace log_format {

/// A number in pieces, from left to right. The views point into `storage` or to literals.
struct NumberText {
    NumberText() = default;
    NumberText(NumberText const&) = delete;
    NumberText& operator=(NumberText const&) = delete;

    std::string_view sign;
    /// The mark of a base, such as "0x".
    std::string_view mark;
    /// Zeros in front of the digits.
    std::size_t leadingZeros = 0;
    /// Digits, and the decimal point.
    std::string_view digits;
    /// Zeros behind the digits.
    std::size_t trailingZeros = 0;
    /// The exponent with its letter.
    std::string_view exponent;
    /// Whether the flag 0 fills up the width.
    bool allowsZeroFill = true;

    /// Room for the longest: 309 digits in front of the point, and as many behind it as can differ from zero.
    std::array<char, 1500> storage;
};

/// Writes an integer of kind d, i, u, o, x, X or p. `negative` tells the sign of the value, whose size is `magnitude`.
void describeInteger(NumberText& number, Conversion const& conversion, std::uint64_t magnitude, bool negative);

/// Writes `value` as kind e, f, g or a, or their capital letters. No locale takes part.
void describeDouble(NumberText& number, Conversion const& conversion, double value);

} // namespace log_format
