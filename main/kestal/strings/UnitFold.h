// Per-unit case folding shared by comparison and case-insensitive search.
#pragma once

#include <unicode/uchar.h>

namespace kestal::strings {

/// Simple case fold of one UTF-16 unit: ASCII by arithmetic, the rest by ICU's default folding,
/// truncated to 16 bits. Surrogates fold to themselves, so supplementary letters are not folded.
inline char16_t foldUnit(char16_t unit) noexcept {
    if (unit < 0x80) return (unit >= u'A' && unit <= u'Z') ? static_cast<char16_t>(unit + 0x20) : unit;
    return static_cast<char16_t>(u_foldCase(unit, U_FOLD_CASE_DEFAULT));
}

} // namespace kestal::strings
