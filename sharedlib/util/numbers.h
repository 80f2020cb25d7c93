// sharedlib/util/numbers.h: numbers to text and back, the same in every locale.
#pragma once
#include "sharedlib/export.h"
#include <cstdint>
#include <string>

/// The parsers read decimal text: leading white space, an optional sign, then digits up to the first other character.
/// Text without a number is 0; nothing fails. `text` is zero-terminated and never null; the forms with a length read
/// its first `length` characters, fewer when the text ends before, all of it when `length` is negative. Any thread.

/// The value, held within the limits of 64 bits, of which the low 8, 16, 32 or 64 bits are returned: "300" is 44 as 8
/// bits.
SHAREDLIB_API std::int8_t stringToInt8(char const* text);
SHAREDLIB_API std::int8_t stringToInt8(char const* text, int length);
SHAREDLIB_API std::int16_t stringToInt16(char const* text);
SHAREDLIB_API std::int16_t stringToInt16(char const* text, int length);
SHAREDLIB_API std::int32_t stringToInt32(char const* text);
SHAREDLIB_API std::int32_t stringToInt32(char const* text, int length);
SHAREDLIB_API std::int64_t stringToInt64(char const* text);
SHAREDLIB_API std::int64_t stringToInt64(char const* text, int length);

/// Up to 15 characters parse as above. Of longer text the last 10 characters and those before them are parsed each for
/// itself and joined as first * 10000000000 + last in unsigned 64-bit arithmetic, so every number of 20 digits comes
/// out right, but a sign or blank among the last 10 characters ends their part early. The low bits are returned.
SHAREDLIB_API std::uint8_t stringToUint8(char const* text);
SHAREDLIB_API std::uint8_t stringToUint8(char const* text, int length);
SHAREDLIB_API std::uint16_t stringToUint16(char const* text);
SHAREDLIB_API std::uint16_t stringToUint16(char const* text, int length);
SHAREDLIB_API std::uint32_t stringToUint32(char const* text);
SHAREDLIB_API std::uint32_t stringToUint32(char const* text, int length);
SHAREDLIB_API std::uint64_t stringToUint64(char const* text);
SHAREDLIB_API std::uint64_t stringToUint64(char const* text, int length);

/// The nearest double to a number with an optional fraction and exponent; also "inf", "nan" and hexadecimal numbers, as
/// C reads them. Too large a number is infinite, too small a one 0, both with its sign.
SHAREDLIB_API double stringToFloat(char const* text);
SHAREDLIB_API double stringToFloat(char const* text, int length);

/// `value` in decimal, a minus sign in front when it is negative. Any thread.
SHAREDLIB_API std::string int64ToString(std::int64_t value);
/// `value` in decimal. Any thread.
SHAREDLIB_API std::string uint64ToString(std::uint64_t value);

/// `value` with up to 118 significant digits, correctly rounded, without trailing zeros but always with a point: 1.0
/// gives "1.", 0.1 gives "0.1000000000000000055511151231257827021181583404541015625", minus zero "-0.".
/// When the digits before the point, or those after it of a number below 1, are more than 118, the form is that of
/// "1.25e+200", with at least two digits of exponent. Infinities are "inf" and "-inf", what is not a number "nan". Any
/// thread.
SHAREDLIB_API std::string floatToString(double value);

/// "true" or "false", a static string. Any thread.
SHAREDLIB_API char const* boolToString(bool value);
