// UTF-16 unit helpers shared by every string source file.
#pragma once

#include <cstddef>
#include <cstring>
#include <kestal/TCType.h>

namespace kestal::strings {

constexpr bool isSurrogate(char32_t u) noexcept {
    return u >= 0xD800 && u <= 0xDFFF;
}
constexpr bool isHighSurrogate(char32_t u) noexcept {
    return u >= 0xD800 && u <= 0xDBFF;
}
constexpr bool isLowSurrogate(char32_t u) noexcept {
    return u >= 0xDC00 && u <= 0xDFFF;
}

/// TCType::isSpace of an ASCII unit (tab to carriage return, space), as bits 0-4 and 23 of a mask
/// indexed from tab. ICU's White_Space holds for exactly these below 0x80.
constexpr bool isAsciiSpace(char16_t unit) noexcept {
    return static_cast<unsigned>(unit - 9) < 24 && (0x80001Fu >> (unit - 9)) & 1;
}

/// TCType::isSpace(char16_t) with the ASCII answer inline: the loops that ask once per unit would
/// otherwise call into the library and, for ASCII units that are no space, on into ICU.
inline bool isSpaceUnit(char16_t unit) noexcept {
    return unit < 0x80 ? isAsciiSpace(unit) : TCType::isSpace(unit);
}

/// TCType::isDigit(char16_t) (decimal digits of any script) with the ASCII answer inline.
inline bool isDigitUnit(char16_t unit) noexcept {
    return unit < 0x80 ? unit >= u'0' && unit <= u'9' : TCType::isDigit(unit);
}

/// Copies `count` units between ranges that do not overlap.
inline void copyUnits(char16_t* to, char16_t const* from, int count) noexcept {
    std::memcpy(to, from, static_cast<std::size_t>(count) * sizeof(char16_t));
}

/// Copies `count` units between ranges that may overlap: texts that point into the string being edited.
inline void moveUnits(char16_t* to, char16_t const* from, int count) noexcept {
    std::memmove(to, from, static_cast<std::size_t>(count) * sizeof(char16_t));
}

/// copyUnits for short texts, up to 16 units inline: two overlapping copies of a fixed size where
/// the library call would cost more than the copy.
inline void copyFewUnits(char16_t* to, char16_t const* from, int count) noexcept {
    if (count >= 8 && count <= 16) {
        std::memcpy(to, from, 16);
        std::memcpy(to + count - 8, from + count - 8, 16);
    } else if (count >= 4 && count < 8) {
        std::memcpy(to, from, 8);
        std::memcpy(to + count - 4, from + count - 4, 8);
    } else if (count < 4) {
        for (int i = 0; i < count; ++i)
            to[i] = from[i];
    } else {
        copyUnits(to, from, count);
    }
}

} // namespace kestal::strings
