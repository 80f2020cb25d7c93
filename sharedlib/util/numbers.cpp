// sharedlib/util/numbers.cpp: numbers to text and back, the same in every locale.
#include "sharedlib/util/numbers.h"
#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string_view>

namespace {

constexpr std::size_t kWholeParseCharacters = 15;
constexpr std::size_t kLowPartCharacters = 10;
constexpr std::uint64_t kLowPartScale = 10'000'000'000;
constexpr int kSignificantDigits = 118;

std::string_view bounded(char const* text, int length) {
    if (length < 0) {
        return text;
    }
    auto const limit = static_cast<std::size_t>(length);
    void const* const end = std::memchr(text, '\0', limit);
    return {text, end == nullptr ? limit : static_cast<std::size_t>(static_cast<char const*>(end) - text)};
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

bool isHexDigit(char c) {
    return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

std::string_view withoutLeadingSpace(std::string_view text) {
    std::size_t const start = text.find_first_not_of(" \t\n\v\f\r");
    return start == std::string_view::npos ? std::string_view() : text.substr(start);
}

// Takes the sign off the front of `text` and tells whether it was a minus.
bool takeSign(std::string_view& text) {
    bool const negative = text.starts_with('-');
    if (negative || text.starts_with('+')) {
        text.remove_prefix(1);
    }
    return negative;
}

std::int64_t parseSigned(std::string_view text) {
    text = withoutLeadingSpace(text);
    bool const negative = takeSign(text);
    std::uint64_t const limit =
        static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()) + (negative ? 1U : 0U);
    std::uint64_t magnitude = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), magnitude);
    if (error == std::errc::result_out_of_range || magnitude > limit) {
        magnitude = limit;
    }
    return static_cast<std::int64_t>(negative ? 0 - magnitude : magnitude);
}

std::uint64_t parseWide(std::string_view text) {
    if (text.size() <= kWholeParseCharacters) {
        return static_cast<std::uint64_t>(parseSigned(text));
    }
    std::size_t const split = text.size() - kLowPartCharacters;
    return static_cast<std::uint64_t>(parseSigned(text.substr(0, split))) * kLowPartScale +
           static_cast<std::uint64_t>(parseSigned(text.substr(split)));
}

// Whether `number`, which fits no double, is too large rather than too small. It is decimal, or hexadecimal without
// "0x".
bool isHuge(std::string_view number, bool hexadecimal) {
    std::size_t const end = number.find_first_not_of(hexadecimal ? "0123456789abcdefABCDEF." : "0123456789.");
    std::string_view const mantissa = number.substr(0, end);
    std::size_t const point = std::min(mantissa.find('.'), mantissa.size());
    std::size_t const firstDigit = mantissa.find_first_not_of("0.");
    std::int64_t const place = static_cast<std::int64_t>(point) - static_cast<std::int64_t>(firstDigit);
    std::int64_t const exponent = end == std::string_view::npos ? 0 : parseSigned(number.substr(end + 1));
    // Numbers out of range are far from 1, so the sign of the joint exponent decides.
    return exponent > -(hexadecimal ? 4 : 1) * place;
}

bool isHexadecimal(std::string_view text) {
    bool const prefixed = text.starts_with("0x") || text.starts_with("0X");
    return prefixed &&
           ((text.size() > 2 && isHexDigit(text[2])) || (text.size() > 3 && text[2] == '.' && isHexDigit(text[3])));
}

double parseFloat(std::string_view text) {
    text = withoutLeadingSpace(text);
    bool const negative = takeSign(text);
    // from_chars would take a second sign.
    if (text.starts_with('-')) {
        return 0.0;
    }
    bool const hexadecimal = isHexadecimal(text);
    if (hexadecimal) {
        text.remove_prefix(2);
    }
    double value = 0.0;
    auto const format = hexadecimal ? std::chars_format::hex : std::chars_format::general;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, format);
    if (error == std::errc::invalid_argument) {
        return 0.0;
    }
    if (error == std::errc::result_out_of_range) {
        auto const length = static_cast<std::size_t>(end - text.data());
        value = isHuge(text.substr(0, length), hexadecimal) ? std::numeric_limits<double>::infinity() : 0.0;
    }
    return negative ? -value : value;
}

// The digits of a finite number that is not negative, as 0.DIGITS times 10 to the power of `pointPlace`.
struct Decimal {
    std::string digits;
    int pointPlace = 0;
};

Decimal toDecimal(double value) {
    // One digit, the point, the other digits, and an exponent of up to five characters.
    std::array<char, kSignificantDigits + 6> buffer{};
    auto const [end, error] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
                                            std::chars_format::scientific, kSignificantDigits - 1);
    std::string_view const text(buffer.data(), static_cast<std::size_t>(end - buffer.data()));
    std::size_t const exponentMark = text.find('e');
    Decimal result{std::string(text.substr(0, 1)).append(text.substr(2, exponentMark - 2)),
                   static_cast<int>(parseSigned(text.substr(exponentMark + 1))) + 1};
    result.digits.erase(result.digits.find_last_not_of('0') + 1);
    return result;
}

std::string exponentForm(Decimal const& number) {
    int const exponent = number.pointPlace - 1;
    std::string const exponentDigits = std::to_string(std::abs(exponent));
    return number.digits.substr(0, 1) + '.' + number.digits.substr(1) + (exponent < 0 ? "e-" : "e+") +
           (exponentDigits.size() < 2 ? "0" : "") + exponentDigits;
}

std::string plainForm(Decimal number) {
    if (number.pointPlace <= 0) {
        return "0." + std::string(static_cast<std::size_t>(-number.pointPlace), '0') + number.digits;
    }
    auto const point = static_cast<std::size_t>(number.pointPlace);
    number.digits.resize(std::max(number.digits.size(), point), '0');
    return number.digits.insert(point, 1, '.');
}

std::string finiteToString(double value) {
    if (value == 0.0) {
        return "0.";
    }
    Decimal const number = toDecimal(value);
    int const digitsAfterPoint = static_cast<int>(number.digits.size()) - number.pointPlace;
    bool const fits = number.pointPlace <= kSignificantDigits && digitsAfterPoint <= kSignificantDigits;
    return fits ? plainForm(number) : exponentForm(number);
}

} // namespace

std::int8_t stringToInt8(char const* text) {
    return static_cast<std::int8_t>(parseSigned(text));
}

std::int8_t stringToInt8(char const* text, int length) {
    return static_cast<std::int8_t>(parseSigned(bounded(text, length)));
}

std::int16_t stringToInt16(char const* text) {
    return static_cast<std::int16_t>(parseSigned(text));
}

std::int16_t stringToInt16(char const* text, int length) {
    return static_cast<std::int16_t>(parseSigned(bounded(text, length)));
}

std::int32_t stringToInt32(char const* text) {
    return static_cast<std::int32_t>(parseSigned(text));
}

std::int32_t stringToInt32(char const* text, int length) {
    return static_cast<std::int32_t>(parseSigned(bounded(text, length)));
}

std::int64_t stringToInt64(char const* text) {
    return parseSigned(text);
}

std::int64_t stringToInt64(char const* text, int length) {
    return parseSigned(bounded(text, length));
}

std::uint8_t stringToUint8(char const* text) {
    return static_cast<std::uint8_t>(parseWide(text));
}

std::uint8_t stringToUint8(char const* text, int length) {
    return static_cast<std::uint8_t>(parseWide(bounded(text, length)));
}

std::uint16_t stringToUint16(char const* text) {
    return static_cast<std::uint16_t>(parseWide(text));
}

std::uint16_t stringToUint16(char const* text, int length) {
    return static_cast<std::uint16_t>(parseWide(bounded(text, length)));
}

std::uint32_t stringToUint32(char const* text) {
    return static_cast<std::uint32_t>(parseWide(text));
}

std::uint32_t stringToUint32(char const* text, int length) {
    return static_cast<std::uint32_t>(parseWide(bounded(text, length)));
}

std::uint64_t stringToUint64(char const* text) {
    return parseWide(text);
}

std::uint64_t stringToUint64(char const* text, int length) {
    return parseWide(bounded(text, length));
}

double stringToFloat(char const* text) {
    return parseFloat(text);
}

double stringToFloat(char const* text, int length) {
    return parseFloat(bounded(text, length));
}

std::string int64ToString(std::int64_t value) {
    return std::to_string(value);
}

std::string uint64ToString(std::uint64_t value) {
    return std::to_string(value);
}

std::string floatToString(double value) {
    if (std::isnan(value)) {
        return "nan";
    }
    std::string const magnitude = std::isinf(value) ? "inf" : finiteToString(std::abs(value));
    return std::signbit(value) ? '-' + magnitude : magnitude;
}

char const* boolToString(bool value) {
    return value ? "true" : "false";
}
