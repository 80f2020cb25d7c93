// sharedlib/log/internal/format_number.cpp: the digits of a number as a printf conversion asks for them.
#include "sharedlib/log/internal/format_number.h"
#include <algorithm>
#include <charconv>
#include <cmath>

namespace log_format {
namespace {

// No double has a digit other than zero further behind the point, or further behind its first digit.
constexpr std::size_t kExactPrecision = 1100;

constexpr bool isCapital(char letter) {
    return letter >= 'A' && letter <= 'Z';
}

void capitalise(char* from, char const* end) {
    for (; from != end; ++from) {
        *from = *from >= 'a' && *from <= 'z' ? static_cast<char>(*from - 'a' + 'A') : *from;
    }
}

std::string_view signOf(Conversion const& conversion, bool negative) {
    if (negative) {
        return "-";
    }
    if (conversion.plusSign) {
        return "+";
    }
    return conversion.blankSign ? " " : "";
}

int baseOf(char kind) {
    switch (kind) {
    case 'x':
    case 'X':
    case 'p':
        return 16;
    case 'o':
        return 8;
    default:
        return 10;
    }
}

std::string_view baseMark(Conversion const& conversion, std::uint64_t magnitude) {
    if (!conversion.alternate || magnitude == 0) {
        return {};
    }
    return conversion.kind == 'x' ? "0x" : conversion.kind == 'X' ? "0X" : "";
}

// The decimal exponent that the value has once it is rounded to `digits` digits.
int roundedExponent(double magnitude, std::size_t digits) {
    std::array<char, kExactPrecision + 10> text;
    auto const end = std::to_chars(text.data(), text.data() + text.size(), magnitude, std::chars_format::scientific,
                                   static_cast<int>(digits - 1))
                         .ptr;
    char const* const letter = std::find(text.data(), end, 'e');
    int exponent = 0;
    std::from_chars(letter + (letter[1] == '+' ? 2 : 1), end, exponent);
    return exponent;
}

// How the value is to be written: the plain kind, and digits behind the point.
struct DoubleStyle {
    std::chars_format format;
    std::size_t precision;
    bool dropsZeros;
};

DoubleStyle styleOf(Conversion const& conversion, double magnitude) {
    std::size_t const precision = conversion.precision == kNoPrecision ? 6 : conversion.precision;
    switch (conversion.kind) {
    case 'e':
    case 'E':
        return {std::chars_format::scientific, precision, false};
    case 'f':
    case 'F':
        return {std::chars_format::fixed, precision, false};
    case 'a':
    case 'A':
        return {std::chars_format::hex, conversion.precision, false};
    default:
        break;
    }
    std::size_t const digits = std::max<std::size_t>(precision, 1);
    int const exponent = roundedExponent(magnitude, std::min(digits, kExactPrecision));
    if (exponent < -4 || (exponent >= 0 && static_cast<std::size_t>(exponent) >= digits)) {
        return {std::chars_format::scientific, digits - 1, !conversion.alternate};
    }
    // At least -4, so the sum stays above zero.
    return {std::chars_format::fixed, digits - 1 - static_cast<std::size_t>(static_cast<std::ptrdiff_t>(exponent)),
            !conversion.alternate};
}

char* writeDigits(NumberText& number, DoubleStyle const& style, double magnitude) {
    char* const from = number.storage.data();
    char* const end = from + number.storage.size();
    if (style.precision == kNoPrecision) {
        return std::to_chars(from, end, magnitude, style.format).ptr;
    }
    std::size_t const exact = std::min(style.precision, kExactPrecision);
    number.trailingZeros = style.precision - exact;
    return std::to_chars(from, end, magnitude, style.format, static_cast<int>(exact)).ptr;
}

// Splits what stands in the storage into digits and exponent.
void splitAtExponent(NumberText& number, DoubleStyle const& style, char const* end) {
    char const* const from = number.storage.data();
    char const* const letter = std::find(from, end, style.format == std::chars_format::hex ? 'p' : 'e');
    number.digits = {from, letter};
    number.exponent = {letter, end};
}

void dropTrailingZeros(NumberText& number) {
    number.trailingZeros = 0;
    if (number.digits.find('.') == std::string_view::npos) {
        return;
    }
    number.digits = number.digits.substr(0, number.digits.find_last_not_of('0') + 1);
    if (number.digits.ends_with('.')) {
        number.digits.remove_suffix(1);
    }
}

// The flag '#' asks for a point also where no digit follows it.
char* insertPoint(char* from, char* end, DoubleStyle const& style) {
    char* const letter = std::find(from, end, style.format == std::chars_format::hex ? 'p' : 'e');
    if (std::find(from, letter, '.') != letter) {
        return end;
    }
    std::copy_backward(letter, end, end + 1);
    *letter = '.';
    return end + 1;
}

void describeFinite(NumberText& number, Conversion const& conversion, double magnitude) {
    DoubleStyle const style = styleOf(conversion, magnitude);
    char* end = writeDigits(number, style, magnitude);
    if (conversion.alternate) {
        end = insertPoint(number.storage.data(), end, style);
    }
    splitAtExponent(number, style, end);
    if (style.dropsZeros) {
        dropTrailingZeros(number);
    }
    bool const isCapitalKind = isCapital(conversion.kind);
    if (style.format == std::chars_format::hex) {
        number.mark = isCapitalKind ? "0X" : "0x";
    }
    if (isCapitalKind) {
        capitalise(number.storage.data(), end);
    }
}

void describeNonFinite(NumberText& number, Conversion const& conversion, bool isInfinite) {
    bool const isCapitalKind = isCapital(conversion.kind);
    if (isInfinite) {
        number.digits = isCapitalKind ? "INF" : "inf";
    } else {
        number.digits = isCapitalKind ? "NAN" : "nan";
    }
    number.allowsZeroFill = false;
}

} // namespace

void describeInteger(NumberText& number, Conversion const& conversion, std::uint64_t magnitude, bool negative) {
    if (conversion.kind == 'd' || conversion.kind == 'i') {
        number.sign = signOf(conversion, negative);
    }
    number.mark = baseMark(conversion, magnitude);
    char* const from = number.storage.data();
    char* const end = std::to_chars(from, from + number.storage.size(), magnitude, baseOf(conversion.kind)).ptr;
    if (isCapital(conversion.kind) || conversion.kind == 'p') {
        capitalise(from, end);
    }
    bool const isNothing = magnitude == 0 && conversion.precision == 0;
    number.digits = isNothing ? std::string_view{} : std::string_view{from, end};
    if (conversion.precision != kNoPrecision) {
        number.allowsZeroFill = false;
        number.leadingZeros = conversion.precision - std::min(conversion.precision, number.digits.size());
    }
    if (conversion.kind == 'o' && conversion.alternate && number.leadingZeros == 0 && !number.digits.starts_with('0')) {
        number.leadingZeros = 1;
    }
}

void describeDouble(NumberText& number, Conversion const& conversion, double value) {
    number.sign = signOf(conversion, std::signbit(value));
    double const magnitude = std::fabs(value);
    if (!std::isfinite(magnitude)) {
        describeNonFinite(number, conversion, std::isinf(magnitude));
    } else {
        describeFinite(number, conversion, magnitude);
    }
}

} // namespace log_format
