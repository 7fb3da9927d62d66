// The root of a path's text: the root name (a drive or a UNC name) and the root directory, shared
// by the path queries and the element walk so that both read one grammar. Not part of the API.
#pragma once

#include <kestal/TCType.h>
#include <kestal/TStringCore.h>
#include <stdexcept>

namespace kestal::paths {

constexpr char16_t kSeparator = u'/';

// The stored units, zero-terminated at n.
struct Text {
    char16_t const* units;
    int n;
};

inline Text textOf(TStringCore const& s) noexcept {
    return {s.constData(), s.size()};
}

inline bool isUNC(Text t) noexcept {
    if (t.n < 3 || t.units[0] != kSeparator || t.units[1] != kSeparator) return false;
    if (t.units[2] != u'?') return true;
    return t.n >= 8 && TStringCore::compareN(t.units + 3, u"/UNC/", 5, TStringCore::CaseInsensitive) == 0;
}

inline int rootNameLength(Text t) noexcept {
    // The drive test comes first, with Unicode letters: "é:" is a drive. ASCII letters are
    // answered here, the rest by the character classes.
    if (t.n >= 2 && t.units[1] == u':') {
        const char16_t c = t.units[0];
        if (c < 0x80 ? (c | 0x20) >= u'a' && (c | 0x20) <= u'z' : TCType::isAlpha(c)) return 2;
    }
    if (!isUNC(t)) return 0;
    for (int i = 2; i < t.n; ++i)
        if (t.units[i] == kSeparator) return i;
    return t.n;
}

// The one place that finds the root directory. A std::runtime_error while reading the root name
// would count as no root directory; none is raised today, so the guard costs nothing. Kept on
// purpose, so that every query that needs the root directory agrees.
inline int rootDirectoryPosition(Text t) noexcept {
    int r = 0;
    try {
        r = rootNameLength(t);
    } catch (std::runtime_error const&) {
        return -1;
    }
    // At r == n the unit read is the terminator, so a bare root name has no root directory.
    return t.units[r] == kSeparator ? r : -1;
}

} // namespace kestal::paths
