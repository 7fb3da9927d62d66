// Comparison of TStringCore and zero-terminated UTF-16 text: code-unit order, stopping at the
// first zero unit, with optional per-unit case folding.
#include "kestal/strings/UnitFold.h"

#include <cstdint>
#include <kestal/TStringCore.h>

namespace {

// The one comparison engine. Walks until a difference or a common zero unit, over at most
// `limit` units (negative: no limit). Folding runs only where the raw units differ, and a
// difference is ordered by the folded values.
int compareUnits(char16_t const* a, char16_t const* b, std::int64_t limit, bool caseSensitive) noexcept {
    for (std::int64_t i = 0; limit < 0 || i < limit; ++i) {
        char16_t x = a[i];
        char16_t y = b[i];
        if (x != y) {
            if (!caseSensitive) {
                x = kestal::strings::foldUnit(x);
                y = kestal::strings::foldUnit(y);
                if (x == y) continue;
            }
            return x < y ? -1 : 1;
        }
        if (x == 0) return 0;
    }
    return 0;
}

bool identicalUpTo(char16_t const* a, char16_t const* b, int units) noexcept {
    return std::memcmp(a, b, static_cast<std::size_t>(units) * sizeof(char16_t)) == 0;
}

} // namespace

bool TStringCore::operator==(TStringCore const& other) const noexcept {
    const int n = size();
    if (n != other.size()) return false;
    char16_t const* a = constData();
    char16_t const* b = other.constData();
    if (a == b || identicalUpTo(a, b, n)) return true;
    // Different somewhere; still equal when a common zero unit comes first.
    return compareUnits(a, b, n, true) == 0;
}

int TStringCore::compare(TStringCore const& other, CaseSensitivity cs) const noexcept {
    char16_t const* a = constData();
    char16_t const* b = other.constData();
    if (a == b) return 0;
    // Both texts are zero-terminated: identical units through the shorter one's terminator mean
    // the walk would stop there with no difference.
    const int shorter = size() < other.size() ? size() : other.size();
    if (identicalUpTo(a, b, shorter + 1)) return 0;
    return compareUnits(a, b, -1, cs == CaseSensitive);
}

int TStringCore::compare(char16_t const* text, CaseSensitivity cs) const noexcept {
    return compare(constData(), text, cs);
}

int TStringCore::compare(char16_t const* a, char16_t const* b, CaseSensitivity cs) noexcept {
    if (!a) a = u"";
    if (!b) b = u"";
    if (a == b) return 0;
    return compareUnits(a, b, -1, cs == CaseSensitive);
}

int TStringCore::compareN(char16_t const* a, char16_t const* b, int n, CaseSensitivity cs) noexcept {
    if (a == b || n == 0) return 0;
    if (!a) return (b && *b) ? -1 : 0;
    if (!b) return *a ? 1 : 0;
    return compareUnits(a, b, n < 0 ? -1 : n, cs == CaseSensitive);
}

bool operator==(char16_t const* text, TStringCore const& s) noexcept {
    return TStringCore::compare(text, s.constData()) == 0;
}
bool operator!=(char16_t const* text, TStringCore const& s) noexcept {
    return TStringCore::compare(text, s.constData()) != 0;
}
bool operator<(char16_t const* text, TStringCore const& s) noexcept {
    return TStringCore::compare(text, s.constData()) < 0;
}
bool operator<=(char16_t const* text, TStringCore const& s) noexcept {
    return TStringCore::compare(text, s.constData()) <= 0;
}
bool operator>(char16_t const* text, TStringCore const& s) noexcept {
    return TStringCore::compare(text, s.constData()) > 0;
}
bool operator>=(char16_t const* text, TStringCore const& s) noexcept {
    return TStringCore::compare(text, s.constData()) >= 0;
}
