// Case folding shared by comparison and case-insensitive search.
#pragma once

#include <unicode/uchar.h>

namespace kestal::strings {

/// Simple case fold of one code point: ASCII by arithmetic, the rest by ICU's default folding.
inline char32_t foldCodePoint(char32_t c) noexcept {
    if (c < 0x80) return (c >= U'A' && c <= U'Z') ? c + 0x20 : c;
    return static_cast<char32_t>(u_foldCase(static_cast<UChar32>(c), U_FOLD_CASE_DEFAULT));
}

/// Simple case fold of one UTF-16 unit, truncated to 16 bits. Surrogates fold to themselves, so
/// supplementary letters are not folded.
inline char16_t foldUnit(char16_t unit) noexcept {
    return static_cast<char16_t>(foldCodePoint(unit));
}

} // namespace kestal::strings
