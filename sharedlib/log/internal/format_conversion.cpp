// sharedlib/log/internal/format_conversion.cpp: what a format says between a '%' and the letter that ends the
// conversion.
#include "sharedlib/log/internal/format_conversion.h"
#include <algorithm>
#include <limits>
#include <string_view>

namespace log_format {
namespace {

struct SizeSpelling {
    std::string_view text;
    ArgumentSize size;
};

// Longer ones first where one begins with another.
constexpr SizeSpelling kSizeSpellings[] = {
    {"ll", ArgumentSize::LongLong}, {"l", ArgumentSize::Long},       {"hh", ArgumentSize::Char},
    {"h", ArgumentSize::Short},     {"I64", ArgumentSize::LongLong}, {"I32", ArgumentSize::Int},
    {"I", ArgumentSize::Pointer},   {"z", ArgumentSize::Pointer},    {"t", ArgumentSize::Pointer},
    {"j", ArgumentSize::LongLong},  {"L", ArgumentSize::LongDouble}, {"w", ArgumentSize::Wide},
};

class Reader {
public:
    Reader(char const* at, char const* end) : m_at(at), m_end(end) {}

    [[nodiscard]] char const* position() const { return m_at; }

    char takeLetter() { return m_at == m_end ? '\0' : *m_at++; }

    bool take(std::string_view wanted) {
        bool const taken = std::string_view(m_at, static_cast<std::size_t>(m_end - m_at)).starts_with(wanted);
        m_at += taken ? wanted.size() : 0;
        return taken;
    }

    std::size_t takeNumber() {
        constexpr std::size_t kLargest = std::numeric_limits<int>::max();
        std::size_t number = 0;
        for (; m_at != m_end && *m_at >= '0' && *m_at <= '9'; ++m_at) {
            number = std::min(number * 10 + static_cast<std::size_t>(*m_at - '0'), kLargest);
        }
        return number;
    }

    ArgumentSize takeSize() {
        std::string_view const rest(m_at, static_cast<std::size_t>(m_end - m_at));
        if (rest == "I6" || rest == "I3") {
            // Cut within its size, the conversion has no letter of its own left.
            m_at = m_end;
        }
        for (SizeSpelling const& spelling : kSizeSpellings) {
            if (take(spelling.text)) {
                return spelling.size;
            }
        }
        return ArgumentSize::Int;
    }

private:
    char const* m_at;
    char const* m_end;
};

bool takeFlag(Reader& reader, Conversion& conversion) {
    bool const left = reader.take("-");
    bool const plus = reader.take("+");
    bool const blank = reader.take(" ");
    bool const alternate = reader.take("#");
    bool const zero = reader.take("0");
    conversion.leftAligned |= left;
    conversion.plusSign |= plus;
    conversion.blankSign |= blank;
    conversion.alternate |= alternate;
    conversion.zeroFill |= zero;
    return left || plus || blank || alternate || zero;
}

} // namespace

char const* readConversion(char const* at, char const* end, Conversion& conversion) {
    Reader reader(at, end);
    while (takeFlag(reader, conversion)) {
    }
    conversion.widthIsArgument = reader.take("*");
    if (!conversion.widthIsArgument) {
        conversion.width = reader.takeNumber();
    }
    if (reader.take(".")) {
        conversion.precisionIsArgument = reader.take("*");
        conversion.precision = conversion.precisionIsArgument ? kNoPrecision : reader.takeNumber();
    }
    conversion.size = reader.takeSize();
    conversion.kind = reader.takeLetter();
    return reader.position();
}

} // namespace log_format
