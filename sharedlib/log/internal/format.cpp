// sharedlib/log/internal/format.cpp: printf formatting that gives the same text on every system and in every locale.
#include "sharedlib/log/internal/format.h"
#include "sharedlib/log/internal/format_number.h"
#include <algorithm>
#include <bit>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <cwchar>

namespace log_format {
namespace {

// A place in an argument list.
struct ArgumentCursor {
    va_list list;
};

// The arguments of a format, taken one after the other from a cursor that outlives this.
class Arguments {
public:
    explicit Arguments(ArgumentCursor& cursor) : m_cursor(&cursor) {}

    int takeInt() { return va_arg(m_cursor->list, int); }
    unsigned int takeUnsigned() { return va_arg(m_cursor->list, unsigned int); }
    char const* takeText() { return va_arg(m_cursor->list, char const*); }
    wchar_t const* takeWideText() { return va_arg(m_cursor->list, wchar_t const*); }
    void* takePointer() { return va_arg(m_cursor->list, void*); }

    double takeDouble(ArgumentSize size) {
        return size == ArgumentSize::LongDouble ? static_cast<double>(va_arg(m_cursor->list, long double))
                                                : va_arg(m_cursor->list, double);
    }

    std::int64_t takeSigned(ArgumentSize size) {
        switch (size) {
        case ArgumentSize::Char:
            return static_cast<signed char>(takeInt());
        case ArgumentSize::Short:
            return static_cast<short>(takeInt());
        case ArgumentSize::Long:
            return va_arg(m_cursor->list, long);
        case ArgumentSize::LongLong:
            return va_arg(m_cursor->list, long long);
        case ArgumentSize::Pointer:
            return va_arg(m_cursor->list, std::ptrdiff_t);
        default:
            return takeInt();
        }
    }

    std::uint64_t takeUnsigned(ArgumentSize size) {
        switch (size) {
        case ArgumentSize::Char:
            return static_cast<unsigned char>(takeInt());
        case ArgumentSize::Short:
            return static_cast<unsigned short>(takeInt());
        case ArgumentSize::Long:
            return va_arg(m_cursor->list, unsigned long);
        case ArgumentSize::LongLong:
            return va_arg(m_cursor->list, unsigned long long);
        case ArgumentSize::Pointer:
            return va_arg(m_cursor->list, std::size_t);
        default:
            return takeUnsigned();
        }
    }

private:
    ArgumentCursor* m_cursor;
};

char narrowed(wchar_t letter) {
    return letter >= 0 && letter <= 0xFF ? static_cast<char>(static_cast<unsigned char>(letter)) : '?';
}

// A capital letter means a wide text, unless its size says otherwise.
bool isWide(Conversion const& conversion) {
    bool const isCapital = conversion.kind == 'S' || conversion.kind == 'C';
    return conversion.size == ArgumentSize::Long || conversion.size == ArgumentSize::Wide ||
           (isCapital && conversion.size != ArgumentSize::Short);
}

constexpr std::ptrdiff_t kWordSize = sizeof(std::uint64_t);
static_assert(std::endian::native == std::endian::little, "the first of eight characters is the lowest byte of a word");

// Marks the first '%' among eight characters: the lowest bit that is set stands in its byte. Only a byte that is zero,
// or one above it, borrows from its highest bit.
std::uint64_t percentMarks(std::uint64_t word) {
    std::uint64_t const difference = word ^ 0x2525252525252525U;
    return (difference - 0x0101010101010101U) & ~difference & 0x8080808080808080U;
}

// Copies eight characters and returns how many of them stand in front of the first '%'.
std::size_t copyWord(char* to, char const* from) {
    std::uint64_t word = 0;
    std::memcpy(&word, from, sizeof(word));
    std::memcpy(to, &word, sizeof(word));
    std::uint64_t const marks = percentMarks(word);
    return marks == 0 ? sizeof(word) : static_cast<std::size_t>(std::countr_zero(marks)) / 8;
}

// Fills the text in from left to right and drops what does not fit.
class Formatter {
public:
    Formatter(std::span<char> text, ArgumentCursor& arguments)
        : m_begin(text.data()), m_next(text.data()), m_end(text.data() + text.size() - 1), m_arguments(arguments) {}

    std::size_t run(std::string_view format) {
        char const* at = format.data();
        char const* const end = at + format.size();
        while (at != end) {
            at = putLiteral(at, end);
            if (at != end) {
                at = convert(at + 1, end);
            }
        }
        *m_next = '\0';
        return static_cast<std::size_t>(m_next - m_begin);
    }

private:
    [[nodiscard]] std::size_t room() const { return static_cast<std::size_t>(m_end - m_next); }

    // Copies what stands in front of the next '%' and returns where that is, or `end` when nothing more can be seen.
    char const* putLiteral(char const* at, char const* end) {
        char* next = m_next;
        char const* const stop = at + std::min(static_cast<std::size_t>(end - at), room());
        while (stop - at >= kWordSize) {
            std::size_t const count = copyWord(next, at);
            next += count;
            at += count;
            if (count < kWordSize) {
                m_next = next;
                return at;
            }
        }
        while (at != stop && *at != '%') {
            *next++ = *at++;
        }
        m_next = next;
        return at == stop ? end : at;
    }

    void put(std::string_view piece) { m_next += piece.copy(m_next, room()); }

    void fill(char filler, std::size_t count) {
        std::size_t const fitting = std::min(count, room());
        std::memset(m_next, filler, fitting);
        m_next += fitting;
    }

    // Nearly every conversion in use is a single letter, so these are answered first.
    char const* convert(char const* at, char const* end) {
        switch (at == end ? '\0' : *at) {
        case 'd':
            putDecimal(m_arguments.takeInt());
            return at + 1;
        case 'u':
            putDecimal(m_arguments.takeUnsigned());
            return at + 1;
        case 's':
            putWholeText(m_arguments.takeText());
            return at + 1;
        default:
            return convertFully(at, end);
        }
    }

    template <typename Integer>
    void putDecimal(Integer value) {
        std::to_chars_result const written = std::to_chars(m_next, m_end, value);
        if (written.ec == std::errc{}) {
            m_next = written.ptr;
            return;
        }
        std::array<char, 24> digits;
        char* const end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
        put({digits.data(), static_cast<std::size_t>(end - digits.data())});
    }

    void putWholeText(char const* text) { put(text == nullptr ? std::string_view("(null)") : std::string_view(text)); }

    char const* convertFully(char const* at, char const* end) {
        Conversion conversion;
        char const* const behind = readConversion(at, end, conversion);
        if (conversion.kind == '\0') {
            return end;
        }
        takeStars(conversion);
        if (!putConverted(conversion)) {
            put({at - 1, static_cast<std::size_t>(behind - at) + 1});
        }
        return behind;
    }

    void takeStars(Conversion& conversion) {
        if (conversion.widthIsArgument) {
            std::int64_t const width = m_arguments.takeInt();
            conversion.leftAligned = conversion.leftAligned || width < 0;
            conversion.width = static_cast<std::size_t>(width < 0 ? -width : width);
        }
        if (conversion.precisionIsArgument) {
            int const precision = m_arguments.takeInt();
            conversion.precision = precision < 0 ? kNoPrecision : static_cast<std::size_t>(precision);
        }
    }

    // Whether there is such a conversion.
    bool putConverted(Conversion& conversion) {
        switch (conversion.kind) {
        case 'd':
        case 'i':
            putSigned(conversion, m_arguments.takeSigned(conversion.size));
            return true;
        case 'u':
        case 'o':
        case 'x':
        case 'X':
            putInteger(conversion, m_arguments.takeUnsigned(conversion.size), false);
            return true;
        case 'p':
            conversion.precision = 2 * sizeof(void*);
            putInteger(conversion, reinterpret_cast<std::uintptr_t>(m_arguments.takePointer()), false);
            return true;
        case 'e':
        case 'E':
        case 'f':
        case 'F':
        case 'g':
        case 'G':
        case 'a':
        case 'A':
            putDouble(conversion, m_arguments.takeDouble(conversion.size));
            return true;
        default:
            return putLetters(conversion);
        }
    }

    bool putLetters(Conversion const& conversion) {
        switch (conversion.kind) {
        case 'c':
        case 'C':
            putCharacter(conversion, m_arguments.takeInt());
            return true;
        case 's':
        case 'S':
            if (isWide(conversion)) {
                putWideText(conversion, m_arguments.takeWideText());
            } else {
                putText(conversion, m_arguments.takeText());
            }
            return true;
        case 'n':
            m_arguments.takePointer();
            return true;
        case '%':
            put("%");
            return true;
        default:
            return false;
        }
    }

    void putSigned(Conversion const& conversion, std::int64_t value) {
        auto const bits = static_cast<std::uint64_t>(value);
        putInteger(conversion, value < 0 ? 0 - bits : bits, value < 0);
    }

    void putInteger(Conversion const& conversion, std::uint64_t magnitude, bool negative) {
        NumberText number;
        describeInteger(number, conversion, magnitude, negative);
        putNumber(conversion, number);
    }

    void putDouble(Conversion const& conversion, double value) {
        NumberText number;
        describeDouble(number, conversion, value);
        putNumber(conversion, number);
    }

    void putNumber(Conversion const& conversion, NumberText const& number) {
        std::size_t const length = number.sign.size() + number.mark.size() + number.leadingZeros +
                                   number.digits.size() + number.trailingZeros + number.exponent.size();
        std::size_t const filling = conversion.width - std::min(conversion.width, length);
        bool const fillsWithZeros = conversion.zeroFill && number.allowsZeroFill && !conversion.leftAligned;
        fill(' ', conversion.leftAligned || fillsWithZeros ? 0 : filling);
        put(number.sign);
        put(number.mark);
        fill('0', number.leadingZeros + (fillsWithZeros ? filling : 0));
        put(number.digits);
        fill('0', number.trailingZeros);
        put(number.exponent);
        fill(' ', conversion.leftAligned ? filling : 0);
    }

    void putCharacter(Conversion const& conversion, int letter) {
        char const byte = isWide(conversion) ? narrowed(static_cast<wchar_t>(letter)) : static_cast<char>(letter);
        std::size_t const filling = conversion.width - std::min<std::size_t>(conversion.width, 1);
        fill(' ', conversion.leftAligned ? 0 : filling);
        if (byte == '\0') {
            // Nobody sees what follows a zero byte.
            m_end = m_next;
        }
        put({&byte, 1});
        fill(' ', conversion.leftAligned ? filling : 0);
    }

    void putText(Conversion const& conversion, char const* text) {
        char const* const from = text == nullptr ? "(null)" : text;
        // A text need not have an end where nothing of it can be seen.
        std::size_t const limit = std::min(conversion.precision, std::max(conversion.width, room()));
        auto const* const end = static_cast<char const*>(std::memchr(from, '\0', limit));
        putAligned(conversion, {from, end == nullptr ? limit : static_cast<std::size_t>(end - from)});
    }

    void putWideText(Conversion const& conversion, wchar_t const* text) {
        std::array<char, 4096> narrow;
        wchar_t const* const from = text == nullptr ? L"(null)" : text;
        std::size_t const limit = std::min(conversion.precision, narrow.size());
        std::size_t length = 0;
        for (; length < limit && from[length] != L'\0'; ++length) {
            narrow[length] = narrowed(from[length]);
        }
        putAligned(conversion, {narrow.data(), length});
    }

    void putAligned(Conversion const& conversion, std::string_view text) {
        std::size_t const filling = conversion.width - std::min(conversion.width, text.size());
        fill(' ', conversion.leftAligned ? 0 : filling);
        put(text);
        fill(' ', conversion.leftAligned ? filling : 0);
    }

    char* m_begin;
    char* m_next;
    char* m_end;
    Arguments m_arguments;
};

} // namespace

std::size_t formatText(std::span<char> text, std::string_view format, NativeArgumentList args) {
    ArgumentCursor cursor;
    va_copy(cursor.list, args);
    std::size_t const length = Formatter(text, cursor).run(format);
    va_end(cursor.list);
    return length;
}

} // namespace log_format
