// Search by unit and by substring, forwards and backwards, and the tests of a string's ends.
// One engine per idea: the SSE2 unit scans, the case-sensitive filter, and KMP for folding.
// Every overload measures its arguments and forwards.
#include "kestal/strings/Kmp.h"
#include "kestal/strings/UnitFold.h"
#include "kestal/strings/UnitScan.h"
#include "kestal/strings/UtfSteps.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <kestal/CodePoint.h>
#include <kestal/TStringCore.h>

using Iterator = TConstCodePointIterator<TStringCore>;

namespace {

// ---- Unit scans --------------------------------------------------------------------------------

using kestal::strings::broadcast;
using kestal::strings::countUnit;
using kestal::strings::equalBits;

// First index in [begin, end) whose unit equals `unit` (Equal) or differs from it; -1 if none.
template <bool Equal>
int scanForward(char16_t const* text, int begin, int end, char16_t unit) noexcept {
    const __m128i wanted = broadcast(unit);
    int i = begin;
    for (; end - i >= 8; i += 8) {
        const unsigned bits = equalBits(text + i, wanted) ^ (Equal ? 0u : 0xFFFFu);
        if (bits) return i + std::countr_zero(bits) / 2;
    }
    for (; i < end; ++i)
        if ((text[i] == unit) == Equal) return i;
    return -1;
}

// Last index in [0, start] holding `unit`; -1 if none.
int scanBackward(char16_t const* text, int start, char16_t unit) noexcept {
    const __m128i wanted = broadcast(unit);
    int end = start + 1;
    for (; end >= 8; end -= 8) {
        const unsigned bits = equalBits(text + end - 8, wanted);
        if (bits) return end - 8 + (31 - std::countl_zero(bits)) / 2;
    }
    while (end-- > 0)
        if (text[end] == unit) return end;
    return -1;
}

// ---- Case-sensitive substring ------------------------------------------------------------------

// How far a false candidate may move: to the previous occurrence of the last unit in the pattern,
// since no shift short of that lines the text's unit up with an equal pattern unit.
int skipAfterFalseCandidate(char16_t const* pattern, int patternSize) noexcept {
    const char16_t last = pattern[patternSize - 1];
    for (int j = patternSize - 2; j >= 0; --j)
        if (pattern[j] == last) return patternSize - 1 - j;
    return patternSize;
}

// Patterns of one unit or more, start + patternSize within size: `found(index)` is called for each
// match at or after `start`, left to right and never overlapping, until it returns false. A
// candidate is a position whose last unit matches; eight are filtered at once by first and last
// unit, the rest one by one by the last. The skip is computed at the first false candidate and
// reused. Allocates nothing.
template <class Found>
void findUnitsEach(char16_t const* text, int size, char16_t const* pattern, int patternSize, int start,
                   Found found) {
    const int lastFit = size - patternSize;
    const int lastOffset = patternSize - 1;
    int skip = 0;
    int next = start; // first position not yet ruled out
    auto same = [&](int candidate) {
        // A short pattern is compared here; the library call costs more than the few units.
        if (patternSize > 8)
            return std::memcmp(text + candidate, pattern, static_cast<std::size_t>(patternSize) * 2) == 0;
        for (int i = 0; i < patternSize; ++i)
            if (text[candidate + i] != pattern[i]) return false;
        return true;
    };
    // True when the search is over.
    auto stopsAt = [&](int candidate) {
        if (same(candidate)) {
            next = candidate + patternSize;
            return !found(candidate);
        }
        if (skip == 0) skip = skipAfterFalseCandidate(pattern, patternSize);
        next = candidate + skip;
        return false;
    };

    const __m128i first = broadcast(pattern[0]);
    const __m128i last = broadcast(pattern[lastOffset]);
    for (int block = start; lastFit - block >= 7; block += 8) {
        unsigned bits = equalBits(text + block, first) & equalBits(text + block + lastOffset, last) & 0x5555u;
        for (; bits; bits &= bits - 1) {
            const int candidate = block + std::countr_zero(bits) / 2;
            if (candidate >= next && stopsAt(candidate)) return;
        }
        next = std::max(next, block + 8);
    }
    while (next <= lastFit) {
        if (text[next + lastOffset] != pattern[lastOffset])
            ++next;
        else if (stopsAt(next))
            return;
    }
}

int findUnits(char16_t const* text, int size, char16_t const* pattern, int patternSize, int start) noexcept {
    int at = -1;
    findUnitsEach(text, size, pattern, patternSize, start, [&at](int index) {
        at = index;
        return false;
    });
    return at;
}

// ---- Folding ----------------------------------------------------------------------------------

struct AsIs {
    char16_t operator()(char16_t unit) const noexcept { return unit; }
};
struct Folded {
    char16_t operator()(char16_t unit) const noexcept { return kestal::strings::foldUnit(unit); }
};

// The KMP step shared by the table and the match: extends border `k` (the index of its last unit)
// by `unit`, falling back along the table until it can.
template <class Fold>
int extendBorder(int k, char16_t unit, char16_t const* pattern, int const* prefix, Fold fold) noexcept {
    while (k >= 0 && fold(pattern[k + 1]) != unit)
        k = prefix[k];
    return fold(pattern[k + 1]) == unit ? k + 1 : k;
}

template <class Fold>
void computePrefix(char16_t const* pattern, int size, int* prefix, Fold fold) noexcept {
    prefix[0] = -1;
    for (int i = 1; i < size; ++i)
        prefix[i] = extendBorder(prefix[i - 1], fold(pattern[i]), pattern, prefix, fold);
}

// Outside a partial match the automaton waits for the pattern's first unit; these find the next
// unit that could be it. Unfolded, that is the unit itself.
int nextCandidate(char16_t const* text, int i, int size, char16_t first, AsIs) noexcept {
    return scanForward<true>(text, i, size, first);
}

// Folded: an ASCII unit folds within ASCII, so below 0x80 only the folded first unit and its
// capital qualify; every unit from 0x80 up is left to the fold itself (U+212A folds to k).
int nextCandidate(char16_t const* text, int i, int size, char16_t first, Folded fold) noexcept {
    const char16_t lower = fold(first);
    const char16_t upper = lower >= u'a' && lower <= u'z' ? static_cast<char16_t>(lower - 0x20) : lower;
    const __m128i lowers = broadcast(lower), uppers = broadcast(upper), nonAscii = broadcast(0xFF80);
    for (; size - i >= 8; i += 8) {
        const __m128i units = _mm_loadu_si128(reinterpret_cast<__m128i const*>(text + i));
        const unsigned ascii = static_cast<unsigned>(
            _mm_movemask_epi8(_mm_cmpeq_epi16(_mm_and_si128(units, nonAscii), _mm_setzero_si128())));
        const unsigned bits = equalBits(text + i, lowers) | equalBits(text + i, uppers) | (~ascii & 0xFFFFu);
        if (bits) return i + std::countr_zero(bits) / 2;
    }
    for (; i < size; ++i)
        if (text[i] == lower || text[i] == upper || text[i] >= 0x80) return i;
    return -1;
}

template <class Fold>
int match(char16_t const* text, int size, char16_t const* pattern, int patternSize, int const* prefix,
          Fold fold) noexcept {
    int k = -1;
    for (int i = 0; i < size; ++i) {
        if (k < 0 && (i = nextCandidate(text, i, size, pattern[0], fold)) < 0) return -1;
        k = extendBorder(k, fold(text[i]), pattern, prefix, fold);
        if (k + 1 == patternSize) return i + 1 - patternSize;
    }
    return -1;
}

bool sameCodePoint(char32_t a, char32_t b, bool caseSensitive) noexcept {
    return a == b ||
           (!caseSensitive && kestal::strings::foldCodePoint(a) == kestal::strings::foldCodePoint(b));
}

// ---- Backward search by code points ------------------------------------------------------------

// Whether the pattern's code points, read on from `p`, match before the pattern runs out.
bool codePointsMatchAt(char16_t const* text, int size, char16_t const* p, char16_t const* pattern, int length,
                       bool caseSensitive) noexcept {
    for (char16_t const* q = pattern;;) {
        if (!sameCodePoint(CodePoint::GetCodePoint(p), CodePoint::GetCodePoint(q), caseSensitive))
            return false;
        if (!(q = CodePoint::GetNextCodePointPointer(pattern, q, length))) return true;
        if (!(p = CodePoint::GetNextCodePointPointer(text, p, size))) return false;
    }
}

int lastIndexOfPattern(char16_t const* text, int size, char16_t const* pattern, int from,
                       TStringCore::CaseSensitivity cs) {
    const int length = TStringCore::length(pattern);
    if (size == 0 || length == 0 || size < length) return -1;
    int start = from == -1 ? size : from < -1 ? size + from : from;
    if (start < 0) return -1;
    start = std::min(start, size - length);
    while (kestal::strings::isLowSurrogate(text[start]))
        if (--start < 0) return -1;
    for (char16_t const* p = text + start; p; p = CodePoint::GetPreviousCodePointPointer(text, p))
        if (codePointsMatchAt(text, size, p, pattern, length, cs == TStringCore::CaseSensitive))
            return static_cast<int>(p - text);
    return -1;
}

int countPattern(char16_t const* text, char16_t const* pattern, TStringCore::CaseSensitivity cs) {
    const int length = TStringCore::length(text);
    const int patternLength = TStringCore::length(pattern);
    if (patternLength == 0) return 0;
    // Overlapping matches count: the walk steps on by the pattern's first code point only.
    char16_t const* second = CodePoint::GetNextCodePointPointer(pattern, pattern, patternLength);
    const int stride = second ? static_cast<int>(second - pattern) : patternLength;
    int found = 0;
    for (int pos = 0; pos <= length - patternLength;) {
        const int at = TStringCore::findStr(text, length, pattern, patternLength, pos, cs);
        if (at < 0) break;
        ++found;
        pos = at + stride;
    }
    return found;
}

} // namespace

// ---- KMP ----------------------------------------------------------------------------------------

namespace kestal::strings {

void kmpComputePrefix(char16_t const* pattern, int size, std::vector<int>& prefix,
                      TStringCore::CaseSensitivity cs) {
    if (!pattern || size < 1) return;
    prefix.resize(static_cast<std::size_t>(size));
    if (cs == TStringCore::CaseSensitive)
        computePrefix(pattern, size, prefix.data(), AsIs{});
    else
        computePrefix(pattern, size, prefix.data(), Folded{});
}

int kmpMatch(char16_t const* text, int size, char16_t const* pattern, int patternSize,
             std::vector<int> const& prefix, TStringCore::CaseSensitivity cs) {
    if (!text || !pattern || patternSize < 1 || size < patternSize) return -1;
    if (cs == TStringCore::CaseSensitive)
        return match(text, size, pattern, patternSize, prefix.data(), AsIs{});
    return match(text, size, pattern, patternSize, prefix.data(), Folded{});
}

void findAllUnits(char16_t const* text, int size, char16_t const* pattern, int patternSize,
                  std::vector<int>& hits) {
    if (patternSize < 1 || patternSize > size) return;
    findUnitsEach(text, size, pattern, patternSize, 0, [&hits](int index) {
        hits.push_back(index);
        return true;
    });
}

} // namespace kestal::strings

// ---- Substring ----------------------------------------------------------------------------------

int TStringCore::findStr(char16_t const* text, int size, char16_t const* pattern, int patternSize, int from,
                         CaseSensitivity cs) {
    // In 64 bits: with a negative size (which finds nothing) a negative from would wrap.
    const std::int64_t first = from < 0 ? static_cast<std::int64_t>(size) + from : from;
    if (first < 0 || first >= size) return -1;
    const int start = static_cast<int>(first);
    if (!pattern || pattern[0] == 0) return start;
    if (!text) return -1;
    // Longer than the rest of the text: neither engine can match, so no table is built for it.
    if (patternSize > size - start) return -1;
    if (cs != CaseSensitive) {
        // Every folding search is KMP, whatever the sizes; the table is its one allocation.
        std::vector<int> prefix;
        kestal::strings::kmpComputePrefix(pattern, patternSize, prefix, cs);
        const int at =
            kestal::strings::kmpMatch(text + start, size - start, pattern, patternSize, prefix, cs);
        return at < 0 ? -1 : start + at;
    }
    if (patternSize < 0) return -1;
    if (patternSize == 0) return start;
    if (patternSize == 1) return scanForward<true>(text, start, size, pattern[0]);
    return findUnits(text, size, pattern, patternSize, start);
}

int TStringCore::findStr(char16_t const* text, int size, char16_t const* pattern, int from,
                         CaseSensitivity cs) {
    return findStr(text, size, pattern, length(pattern), from, cs);
}

int TStringCore::findStr(char16_t const* text, char16_t const* pattern, int from, CaseSensitivity cs) {
    return findStr(text, length(text), pattern, length(pattern), from, cs);
}

int TStringCore::indexOf(char16_t const* pattern, int from, CaseSensitivity cs) const {
    return findStr(constData(), size(), pattern, from, cs);
}

int TStringCore::indexOf(TStringCore const& pattern, int from, CaseSensitivity cs) const {
    return findStr(constData(), size(), pattern.constData(), from, cs);
}

bool TStringCore::contains(char16_t const* pattern, CaseSensitivity cs) const {
    return findStr(constData(), pattern, 0, cs) >= 0;
}

bool TStringCore::contains(TStringCore const& pattern, CaseSensitivity cs) const {
    return findStr(constData(), size(), pattern.constData(), pattern.size(), 0, cs) >= 0;
}

Iterator TStringCore::find(char16_t const* pattern, CaseSensitivity cs) const {
    return Iterator::createFromIndex(*this, indexOf(pattern, 0, cs));
}

Iterator TStringCore::find(char16_t const* pattern, Iterator const& from, CaseSensitivity cs) const {
    return Iterator::createFromIndex(*this, indexOf(pattern, from.position(), cs));
}

int TStringCore::lastIndexOf(char16_t const* pattern, int from, CaseSensitivity cs) const {
    return lastIndexOfPattern(constData(), size(), pattern, from, cs);
}

int TStringCore::lastIndexOf(TStringCore const& pattern, int from, CaseSensitivity cs) const {
    return lastIndexOfPattern(constData(), size(), pattern.constData(), from, cs);
}

Iterator TStringCore::findLast(TStringCore const& pattern, CaseSensitivity cs) const {
    return findLast(pattern, codepoint_cend(), cs);
}

Iterator TStringCore::findLast(TStringCore const& pattern, Iterator const& from, CaseSensitivity cs) const {
    if (isEmpty() || pattern.isEmpty()) return codepoint_cend();
    const Iterator begin = codepoint_cbegin();
    if (from == begin) return codepoint_cend();
    const Iterator patternBegin = pattern.codepoint_cbegin();
    const Iterator patternLast = --pattern.codepoint_cend();
    // The anchor is where a match would end; walk back from it and from the pattern's end together.
    for (Iterator anchor = from.isEnd() ? --codepoint_cend() : from;; --anchor) {
        Iterator t = anchor;
        for (Iterator p = patternLast; sameCodePoint(*t, *p, cs == CaseSensitive); --t, --p) {
            if (p == patternBegin) return t;
            if (t == begin) return codepoint_cend();
        }
        if (anchor == begin) return codepoint_cend();
    }
}

int TStringCore::count(char16_t const* pattern, CaseSensitivity cs) const {
    return countPattern(constData(), pattern, cs);
}

int TStringCore::count(TStringCore const& pattern, CaseSensitivity cs) const {
    return countPattern(constData(), pattern.constData(), cs);
}

// ---- Single unit --------------------------------------------------------------------------------

bool TStringCore::contains(char16_t unit) const noexcept {
    return scanForward<true>(constData(), 0, size(), unit) >= 0;
}

int TStringCore::indexOf(char16_t unit, int from) const noexcept {
    const int n = size();
    const int start = from < 0 ? n + from : from;
    if (start < 0 || start >= n) return -1;
    return scanForward<true>(constData(), start, n, unit);
}

int TStringCore::indexOf(char16_t const* text, int size, char16_t unit, int from) {
    if (!text) return -1;
    if (size < 0) size = length(text);
    const int start = from < 0 ? size + from : from;
    if (start < 0 || start >= size) return -1;
    return scanForward<true>(text, start, size, unit);
}

int TStringCore::lastIndexOf(char16_t unit, int from) const noexcept {
    const int n = size();
    const int start = from == -1 ? n : from < -1 ? n + from : from;
    if (start < 0) return -1;
    // The terminator at n may be read; beyond it lies nothing of this string.
    return scanBackward(constData(), std::min(start, n), unit);
}

Iterator TStringCore::find(char16_t unit) const {
    return Iterator::createFromIndex(*this, indexOf(unit, 0));
}

Iterator TStringCore::find(char16_t unit, Iterator const& from) const {
    return Iterator::createFromIndex(*this, indexOf(unit, from.position()));
}

Iterator TStringCore::findLast(char16_t unit) const {
    return findLast(unit, codepoint_cend());
}

Iterator TStringCore::findLast(char16_t unit, Iterator const& from) const {
    // From the first code point nothing is found, not even the unit there.
    if (from == codepoint_cbegin()) return codepoint_cend();
    const int n = size();
    const int position = from.position();
    const int start = position == -1 ? n : position < -1 ? n + position : std::min(position, n);
    if (start < 0) return codepoint_cend();
    return Iterator::createFromIndex(*this, scanBackward(constData(), start, unit));
}

int TStringCore::count(char16_t unit) const noexcept {
    return countUnit(constData(), size(), unit);
}

int TStringCore::findOneNotOf(char16_t unit, int from) const noexcept {
    if (from < 0 || from >= size()) return -1;
    return scanForward<false>(constData(), from, size(), unit);
}

// ---- Ends ---------------------------------------------------------------------------------------

bool TStringCore::startsWith(char16_t unit) const noexcept {
    return !isEmpty() && constData()[0] == unit;
}

bool TStringCore::endsWith(char16_t unit) const noexcept {
    return !isEmpty() && constData()[size() - 1] == unit;
}

bool TStringCore::startsWith(char16_t const* text, CaseSensitivity cs) const {
    const int n = length(text);
    return n > 0 && n <= size() && compareN(constData(), text, n, cs) == 0;
}

bool TStringCore::endsWith(char16_t const* text, CaseSensitivity cs) const {
    const int n = length(text);
    return n > 0 && n <= size() && compareN(constData() + size() - n, text, n, cs) == 0;
}

bool TStringCore::startsWith(TStringCore const& other, CaseSensitivity cs) const noexcept {
    const int n = other.size();
    return n > 0 && n <= size() && compareN(constData(), other.constData(), n, cs) == 0;
}

bool TStringCore::endsWith(TStringCore const& other, CaseSensitivity cs) const noexcept {
    const int n = other.size();
    return n > 0 && n <= size() && compareN(constData() + size() - n, other.constData(), n, cs) == 0;
}
