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

} // namespace kestal::strings
