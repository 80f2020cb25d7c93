// sharedlib/log/internal/format_conversion.h: what a format says between a '%' and the letter that ends the conversion.
#pragma once
#include <cstddef>

namespace log_format {

/// The precision of a conversion that names none.
inline constexpr std::size_t kNoPrecision = ~std::size_t{0};

/// What the letters in front of a conversion's last one say about its argument.
enum class ArgumentSize { Int, Char, Short, Long, LongLong, Pointer, LongDouble, Wide };

/// One conversion of a format.
struct Conversion {
    bool leftAligned = false;
    bool plusSign = false;
    bool blankSign = false;
    bool alternate = false;
    bool zeroFill = false;
    /// The width, or the precision, is an argument of its own ('*').
    bool widthIsArgument = false;
    bool precisionIsArgument = false;
    std::size_t width = 0;
    std::size_t precision = kNoPrecision;
    ArgumentSize size = ArgumentSize::Int;
    /// The letter that ends the conversion, such as 'd'; zero when the format ends before it.
    char kind = '\0';
};

/// Reads the conversion that begins at `at`, behind its '%', in a format that ends at `end`, and returns where the
/// format goes on.
char const* readConversion(char const* at, char const* end, Conversion& conversion);

} // namespace log_format
