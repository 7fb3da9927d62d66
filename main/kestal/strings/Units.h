// UTF-16 unit helpers shared by every string source file.
#pragma once

#include <cstddef>
#include <cstring>

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
