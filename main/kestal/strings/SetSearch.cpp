// Search for any member of a set of characters, or for the first character outside one. A set of
// ASCII units is answered from a table on the stack, by units; any other set is compared by code
// points, and a lone surrogate on either side stands as U+FFFD.
#include <algorithm>
#include <kestal/CodePoint.h>
#include <kestal/TStringCore.h>
#include <vector>

using Iterator = TConstCodePointIterator<TStringCore>;

namespace {

// The code point at `p` and the units it takes, a lone surrogate read as U+FFFD.
char32_t readCodePoint(char16_t const* p, int& units) noexcept {
    char32_t c = 0;
    int written = 0;
    units = CodePoint::TCodeUnitToUtf32(p, &c, written, 1);
    return c;
}

// ASCII sets: one table read per unit; text units of 0x80 and above never match.
int findOneOfAscii(char16_t const* text, int size, char16_t const* set, int from) noexcept {
    bool member[128] = {};
    for (char16_t const* s = set; *s; ++s)
        member[*s] = true;
    for (int i = from; i < size; ++i)
        if (text[i] < 0x80 && member[text[i]]) return i;
    return -1;
}

// Other sets: expanded once to code points, then the text is walked by code points.
int findOneOfWide(char16_t const* text, int size, char16_t const* set, int setSize, int from) {
    std::vector<char32_t> members;
    members.reserve(static_cast<std::size_t>(std::max(setSize, 0)));
    for (int i = 0, units = 0; i < setSize; i += units)
        members.push_back(readCodePoint(set + i, units));
    for (int i = from, units = 0; i < size; i += units)
        if (std::find(members.begin(), members.end(), readCodePoint(text + i, units)) != members.end())
            return i;
    return -1;
}

// The set search. Which engine runs depends on the units up to the set's first zero; the wide
// engine then takes setSize units of it.
int findOneOf(char16_t const* text, int size, char16_t const* set, int setSize, int from) {
    if (!text || !set || from < 0 || set[0] == 0) return -1;
    char16_t all = 0;
    for (char16_t const* s = set; *s; ++s)
        all |= *s;
    return all < 0x80 ? findOneOfAscii(text, size, set, from) : findOneOfWide(text, size, set, setSize, from);
}

bool inSet(char32_t c, char16_t const* set, int setSize) noexcept {
    for (int j = 0, units = 0; j < setSize; j += units)
        if (CodePoint::GetCodePoint(set + j, &units) == c) return true;
    return false;
}

// First code point from `from` not in the set, by a plain walk of the set for each one. A negative
// size means zero-terminated text.
int findOneNotOf(char16_t const* text, int size, char16_t const* set, int setSize, int from) noexcept {
    if (!text || from < 0) return -1;
    auto atEnd = [&](int i) { return size < 0 ? text[i] == 0 : i >= size; };
    if (!set || setSize < 1) return atEnd(from) ? -1 : from;
    for (int i = from, units = 0; !atEnd(i); i += units)
        if (!inSet(CodePoint::GetCodePoint(text + i, &units), set, setSize)) return i;
    return -1;
}

} // namespace

int TStringCore::findOneOf(char16_t const* set, int from) const {
    return ::findOneOf(constData(), size(), set, length(set), from);
}

int TStringCore::findOneOf(TStringCore const& set, int from) const {
    return findOneOf(set.constData(), from);
}

Iterator TStringCore::findOneOf(char16_t const* set, Iterator from) const {
    return Iterator::createFromIndex(*this,
                                     ::findOneOf(constData(), size(), set, length(set), from.position()));
}

Iterator TStringCore::findOneOf(TStringCore const& set, Iterator from) const {
    return Iterator::createFromIndex(
        *this, ::findOneOf(constData(), size(), set.constData(), set.size(), from.position()));
}

int TStringCore::findOneOf(char16_t const* text, char16_t const* set, int from) {
    return ::findOneOf(text, length(text), set, length(set), from);
}

int TStringCore::findChar(char16_t const* text, char16_t unit, int from) {
    const char16_t set[2] = {unit, 0};
    return ::findOneOf(text, length(text), set, 1, from);
}

int TStringCore::findOneNotOf(char16_t const* set, int from) const {
    return ::findOneNotOf(constData(), size(), set, length(set), from);
}

int TStringCore::findOneNotOf(TStringCore const& set, int from) const {
    return ::findOneNotOf(constData(), size(), set.constData(), set.size(), from);
}

int TStringCore::findOneNotOf(char16_t const* text, char16_t const* set, int from) {
    if (!text || from < 0 || text[from] == 0) return -1;
    if (!set || set[0] == 0) return from;
    const int setSize = length(set);
    if (std::any_of(set, set + setSize, [](char16_t u) { return u >= 0x80; }))
        return ::findOneNotOf(text, -1, set, setSize, from);
    int i = from;
    if (setSize == 1) {
        // One unit: the terminator differs from it, so the answer is never -1 here.
        while (text[i] == set[0])
            ++i;
        return i;
    }
    // Several units: reaching the terminator finds nothing.
    for (; text[i]; ++i)
        if (std::find(set, set + setSize, text[i]) == set + setSize) return i;
    return -1;
}

int TStringCore::findOneNotOf(char16_t const* text, char16_t unit) noexcept {
    if (!text) text = u"";
    if (unit == 0) return text[0] ? 0 : -1;
    int i = 0;
    while (text[i] == unit)
        ++i;
    return i;
}
