// The set search engines, shared by the search members and by the editing and splitting
// operations that work by set. Not part of the API.
#pragma once

#include <vector>

namespace kestal::strings {

/// Membership of an ASCII set, one flag per unit below 0x80, read from the set's units up to its
/// first zero or `count` units (negative: no limit). Units of 0x80 and above are never members.
class AsciiSet {
public:
    explicit AsciiSet(char16_t const* set, int count = -1) noexcept {
        for (char16_t const* s = set; *s && count--; ++s)
            if (*s < 0x80) m_member[*s] = true;
    }
    bool contains(char16_t unit) const noexcept { return unit < 0x80 && m_member[unit]; }

private:
    bool m_member[128] = {};
};

/// The code point at `p` and the units it takes, a lone surrogate read as U+FFFD.
char32_t readCodePoint(char16_t const* p, int& units) noexcept;

/// The code points of `setSize` units of `set`, lone surrogates as U+FFFD; empty below 1 unit.
std::vector<char32_t> codePointsOf(char16_t const* set, int setSize);

/// First index at or after `from` of a member of `set` in `size` units of `text` (negative:
/// zero-terminated, walked only as far as the search goes). The units up to the set's first zero
/// decide the engine: all ASCII, a table by units; else `setSize` units of the set as code points,
/// the text walked by code points. -1 for a null argument, a negative `from` or an empty set.
/// Allocates nothing.
int findOneOf(char16_t const* text, int size, char16_t const* set, int setSize, int from) noexcept;

/// First code point at or after `from` whose value is not among the code points of `setSize` units
/// of `set`. A negative size means zero-terminated text. An empty set answers `from` when it lies
/// inside the text.
int findOneNotOf(char16_t const* text, int size, char16_t const* set, int setSize, int from) noexcept;

} // namespace kestal::strings
