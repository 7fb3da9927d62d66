// Search for any member of a set of characters, or for the first character outside one. A set of
// ASCII units is answered from a table on the stack, by units; any other set is compared by code
// points, and a lone surrogate on either side stands as U+FFFD.
#include "kestal/strings/SetSearch.h"

#include <algorithm>
#include <kestal/CodePoint.h>
#include <kestal/TStringCore.h>

using Iterator = TConstCodePointIterator<TStringCore>;

namespace {

// The end test of both engines: `size` units, or up to the first zero unit when it is negative.
bool atTextEnd(char16_t const* text, int size, int i) noexcept {
    return size < 0 ? text[i] == 0 : i >= size;
}

// ASCII sets: one table read per unit; text units of 0x80 and above never match, nor does a zero
// unit, so a zero-terminated walk needs no test of its own.
int findOneOfAscii(char16_t const* text, int size, char16_t const* set, int from) noexcept {
    const kestal::strings::AsciiSet members(set);
    if (size < 0) {
        for (int i = from; text[i]; ++i)
            if (members.contains(text[i])) return i;
        return -1;
    }
    for (int i = from; i < size; ++i)
        if (members.contains(text[i])) return i;
    return -1;
}

bool inSet(char32_t c, char16_t const* set, int setSize) noexcept {
    for (int j = 0, units = 0; j < setSize; j += units)
        if (CodePoint::GetCodePoint(set + j, &units) == c) return true;
    return false;
}

// Other sets: the set's code points are read again for each code point of the text, so that no
// search allocates.
int findOneOfWide(char16_t const* text, int size, char16_t const* set, int setSize, int from) noexcept {
    for (int i = from, units = 0; !atTextEnd(text, size, i); i += units)
        if (inSet(kestal::strings::readCodePoint(text + i, units), set, setSize)) return i;
    return -1;
}

} // namespace

namespace kestal::strings {

char32_t readCodePoint(char16_t const* p, int& units) noexcept {
    char32_t c = 0;
    int written = 0;
    units = CodePoint::TCodeUnitToUtf32(p, &c, written, 1);
    return c;
}

std::vector<char32_t> codePointsOf(char16_t const* set, int setSize) {
    std::vector<char32_t> members;
    members.reserve(static_cast<std::size_t>(std::max(setSize, 0)));
    for (int i = 0, units = 0; i < setSize; i += units)
        members.push_back(readCodePoint(set + i, units));
    return members;
}

// Which engine runs depends on the units up to the set's first zero; the wide engine then takes
// setSize units of it.
int findOneOf(char16_t const* text, int size, char16_t const* set, int setSize, int from) noexcept {
    if (!text || !set || from < 0 || set[0] == 0) return -1;
    char16_t all = 0;
    for (char16_t const* s = set; *s; ++s)
        all |= *s;
    return all < 0x80 ? findOneOfAscii(text, size, set, from) : findOneOfWide(text, size, set, setSize, from);
}

// A plain walk of the set for each code point of the text.
int findOneNotOf(char16_t const* text, int size, char16_t const* set, int setSize, int from) noexcept {
    if (!text || from < 0) return -1;
    if (!set || setSize < 1) return atTextEnd(text, size, from) ? -1 : from;
    for (int i = from, units = 0; !atTextEnd(text, size, i); i += units)
        if (!inSet(CodePoint::GetCodePoint(text + i, &units), set, setSize)) return i;
    return -1;
}

} // namespace kestal::strings

int TStringCore::findOneOf(char16_t const* set, int from) const {
    return kestal::strings::findOneOf(constData(), size(), set, length(set), from);
}

int TStringCore::findOneOf(TStringCore const& set, int from) const {
    return findOneOf(set.constData(), from);
}

Iterator TStringCore::findOneOf(char16_t const* set, Iterator from) const {
    return Iterator::createFromIndex(
        *this, kestal::strings::findOneOf(constData(), size(), set, length(set), from.position()));
}

Iterator TStringCore::findOneOf(TStringCore const& set, Iterator from) const {
    return Iterator::createFromIndex(
        *this, kestal::strings::findOneOf(constData(), size(), set.constData(), set.size(), from.position()));
}

int TStringCore::findOneOf(char16_t const* text, char16_t const* set, int from) {
    return kestal::strings::findOneOf(text, length(text), set, length(set), from);
}

int TStringCore::findChar(char16_t const* text, char16_t unit, int from) {
    const char16_t set[2] = {unit, 0};
    return kestal::strings::findOneOf(text, length(text), set, 1, from);
}

int TStringCore::findOneNotOf(char16_t const* set, int from) const {
    return kestal::strings::findOneNotOf(constData(), size(), set, length(set), from);
}

int TStringCore::findOneNotOf(TStringCore const& set, int from) const {
    return kestal::strings::findOneNotOf(constData(), size(), set.constData(), set.size(), from);
}

int TStringCore::findOneNotOf(char16_t const* text, char16_t const* set, int from) {
    if (!text || from < 0 || text[from] == 0) return -1;
    if (!set || set[0] == 0) return from;
    const int setSize = length(set);
    if (std::any_of(set, set + setSize, [](char16_t u) { return u >= 0x80; }))
        return kestal::strings::findOneNotOf(text, -1, set, setSize, from);
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
