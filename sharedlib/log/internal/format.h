// sharedlib/log/internal/format.h: printf formatting that gives the same text on every system and in every locale.
#pragma once
#include "sharedlib/native_types.h"
#include <cstddef>
#include <span>
#include <string_view>

namespace log_format {

/// Writes `format`, filled in with `args`, and a zero byte into `text`, which must not be empty. What does not fit is
/// cut off. Returns the length without the zero byte. Allocates nothing. Any thread.
///
/// Conversions are those of printf (flags, width and precision, also `*`), with these rules:
/// - sizes are hh, h, l, ll, j, z, t, L and also I64, I32, I (the size of a pointer) and w (a wide text);
/// - a null text is "(null)", cut by the precision like any other; wide characters above 255 become '?';
/// - a pointer is written with all its digits in upper case, without "0x";
/// - `%n` takes its argument and writes nothing, anywhere;
/// - a conversion that the end of the format cuts off is dropped, and an unknown one is written as it stands;
/// - a zero byte from `%c` ends the text.
std::size_t formatText(std::span<char> text, std::string_view format, NativeArgumentList args);

} // namespace log_format
