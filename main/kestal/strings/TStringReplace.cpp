// Removing and replacing by unit, by pattern and by set. Each search runs on the shared text first,
// so that an edit that finds nothing leaves a shared string shared. The edits then work in place,
// moving each kept run down as one block; only a replacement of another length builds a second
// string, and that is moved in at the end.
#include "kestal/strings/Kmp.h"
#include "kestal/strings/SetSearch.h"
#include "kestal/strings/UnitScan.h"
#include "kestal/strings/Units.h"

#include <algorithm>
#include <cstdint>
#include <kestal/TStringCore.h>
#include <string>
#include <utility>
#include <vector>

using kestal::strings::readCodePoint;

namespace {

// Patterns up to this many units are searched by the vectorised filter, whose cost per position
// grows with the pattern; longer ones by KMP.
constexpr int kShortPattern = 32;

// Moves the kept run [from, to) down to `out`; returns the new end of the kept text.
int keepRun(char16_t* text, int out, int from, int to) noexcept {
    if (to <= from) return out;
    if (out != from) std::copy(text + from, text + to, text + out);
    return out + (to - from);
}

// Drops the units in [start, end) for which `drop` holds; returns the kept length.
template <class Drop>
int compactUnits(char16_t* text, int end, int start, Drop drop) {
    int out = start, run = start;
    for (int i = start; i < end; ++i) {
        if (!drop(text[i])) continue;
        out = keepRun(text, out, run, i);
        run = i + 1;
    }
    return keepRun(text, out, run, end);
}

// Walks the code points from `start` to the first zero unit. Each one that `isMember` accepts is
// dropped, or replaced by `replacement` when there is one; the result is zero-terminated and its
// length returned.
template <class IsMember>
int rewriteCodePoints(char16_t* text, int start, IsMember isMember, char16_t const* replacement) {
    int out = start, run = start, i = start;
    for (int units = 0; text[i]; i += units) {
        if (!isMember(readCodePoint(text + i, units))) continue;
        out = keepRun(text, out, run, i);
        if (replacement) text[out++] = *replacement;
        run = i + units;
    }
    out = keepRun(text, out, run, i);
    text[out] = 0;
    return out;
}

auto memberOf(std::vector<char32_t> const& members) {
    return [&members](char32_t c) { return std::find(members.begin(), members.end(), c) != members.end(); };
}

bool holdsPair(char16_t const* set, int setSize) noexcept {
    for (int i = 0; i + 1 < setSize; ++i)
        if (kestal::strings::isHighSurrogate(set[i]) && kestal::strings::isLowSurrogate(set[i + 1]))
            return true;
    return false;
}

// removeAnyOf on `length` units of a zero-terminated buffer; returns the new length.
int removeAnyOfUnits(char16_t* text, int length, char16_t const* set, int start) {
    if (!text || !set || start < 0 || set[0] == 0 || start >= length) return length;
    const int setSize = TStringCore::length(set);
    if (holdsPair(set, setSize))
        return rewriteCodePoints(text, start, memberOf(kestal::strings::codePointsOf(set, setSize)), nullptr);
    int kept = 0;
    char16_t end = 0;
    if (setSize == 1) {
        kept = compactUnits(text, length, start, [unit = set[0]](char16_t u) { return u == unit; });
    } else if (std::any_of(set, set + setSize, [](char16_t u) { return u >= 0x80; })) {
        kept = compactUnits(text, length, start, [set, setSize](char16_t u) {
            return std::find(set, set + setSize, u) != set + setSize;
        });
        end = u'0'; // kept as it is: this method has always marked the new end so, not with a zero
    } else {
        const kestal::strings::AsciiSet members(set);
        kept = compactUnits(text, length, start, [&members](char16_t u) { return members.contains(u); });
    }
    if (kept < length) text[kept] = end;
    return kept;
}

// replaceAnyOf on `length` units of a zero-terminated buffer; returns the new length.
int replaceAnyOfUnits(char16_t* text, int length, char16_t const* set, char16_t replacement, int start) {
    if (!text || !set || start < 0 || start >= length || set[0] == 0) return length;
    char16_t const* rest = set;
    if (replacement < 0x80) {
        // The set's leading ASCII units are overwritten in place, over the whole length.
        while (*rest && *rest < 0x80)
            ++rest;
        const kestal::strings::AsciiSet leading(set, static_cast<int>(rest - set));
        for (int i = start; i < length; ++i)
            if (leading.contains(text[i])) text[i] = replacement;
        if (*rest == 0) return length;
    }
    // The rest by code points, up to the text's first zero unit: a pair becomes one unit.
    const std::vector<char32_t> members = kestal::strings::codePointsOf(rest, TStringCore::length(rest));
    return rewriteCodePoints(text, start, memberOf(members), &replacement);
}

} // namespace

// ---- Removing ----------------------------------------------------------------------------------

TStringCore& TStringCore::removeAll(char16_t unit) {
    const int first = indexOf(unit, 0);
    if (first < 0) return *this;
    char16_t* text = str();
    // Kept as it is: the compaction ends at the first zero unit behind the hit and cuts there.
    int end = first + 1;
    while (text[end] != 0)
        ++end;
    TStringManager::resize(compactUnits(text, end, first, [unit](char16_t u) { return u == unit; }));
    return *this;
}

TStringCore& TStringCore::removeAll(char16_t const* text, int length, CaseSensitivity cs) {
    if (!text || length == 0) return *this;
    if (length < 0 && (length = TStringCore::length(text)) == 0) return *this;
    const int n = size();
    int hit = findStr(constData(), n, text, length, 0, cs);
    if (hit < 0) return *this;
    // The search goes on behind each removed match, so text that a removal brings together is not
    // looked at again; the units from there on are still the original ones.
    char16_t* units = str();
    int out = 0, run = 0;
    for (; hit >= 0; hit = findStr(units, n, text, length, run, cs)) {
        out = keepRun(units, out, run, hit);
        run = std::min(hit + length, n);
    }
    TStringManager::resize(keepRun(units, out, run, n));
    return *this;
}

TStringCore& TStringCore::removeAll(TStringCore const& text, CaseSensitivity cs) {
    return removeAll(text.constData(), text.size(), cs);
}

TStringCore& TStringCore::removeAnyOf(char16_t const* set, int start) {
    if (isShared() && (start = findOneOf(set, start)) < 0) return *this;
    const int n = size();
    const int kept = removeAnyOfUnits(str(), n, set, start);
    if (kept < n) TStringManager::resize(std::max(kept, 0));
    return *this;
}

TStringCore& TStringCore::removeAnyOf(TStringCore const& set, int start) {
    const TStringCore held(set); // the set stays intact when it is this very string
    return removeAnyOf(held.constData(), start);
}

int TStringCore::removeAnyOf(char16_t* text, char16_t const* set, int start) {
    return removeAnyOfUnits(text, length(text), set, start);
}

// ---- Replacing ---------------------------------------------------------------------------------

TStringCore& TStringCore::replace(char16_t before, char16_t after) {
    const int first = indexOf(before, 0);
    if (first < 0) return *this;
    char16_t* text = str();
    std::replace(text + first, text + size(), before, after);
    return *this;
}

TStringCore& TStringCore::replace(char16_t before, TStringCore const& after) {
    replaceCount(&before, 1, after.constData(), after.size(), CaseSensitive);
    return *this;
}

TStringCore& TStringCore::replace(char16_t const* before, int beforeLength, char16_t const* after,
                                  int afterLength, CaseSensitivity cs) {
    replaceCount(before, beforeLength, after, afterLength, cs);
    return *this;
}

TStringCore& TStringCore::replace(TStringCore const& before, TStringCore const& after, CaseSensitivity cs) {
    replaceCount(before.constData(), before.size(), after.constData(), after.size(), cs);
    return *this;
}

int TStringCore::replaceCount(char16_t const* before, int beforeLength, char16_t const* after,
                              int afterLength, CaseSensitivity cs) {
    const int n = size();
    // Longer than the string: nothing can match, and no table is built for it.
    if (beforeLength < 1 || beforeLength > n) return 0;
    // Matches never overlap: each search starts behind the last match. KMP keeps the search linear
    // for long or folded patterns; a short exact one goes to the vectorised filter, which finds the
    // same matches in one pass and is linear for it too. A null pattern goes to KMP, which matches
    // it nowhere.
    std::vector<int> hits;
    if (cs == CaseSensitive && beforeLength <= kShortPattern && before) {
        kestal::strings::findAllUnits(constData(), n, before, beforeLength, hits);
    } else {
        std::vector<int> prefix;
        kestal::strings::kmpComputePrefix(before, beforeLength, prefix, cs);
        for (int from = 0; from < n;) {
            const int at =
                kestal::strings::kmpMatch(constData() + from, n - from, before, beforeLength, prefix, cs);
            if (at < 0) break;
            hits.push_back(from + at);
            from += at + beforeLength;
        }
    }
    if (hits.empty()) return 0;
    if (afterLength == beforeLength) {
        // In place; a null replacement only counts, and then nothing is detached.
        if (after) {
            char16_t* text = str();
            for (int at : hits)
                std::char_traits<char16_t>::move(text + at, after, static_cast<std::size_t>(afterLength));
        }
        return static_cast<int>(hits.size());
    }
    if (!after)
        afterLength = 0; // appending a null text adds nothing
    else if (afterLength < 0)
        afterLength = length(after);

    // The result is built in one piece, at the capacity it would reach if it were reserved at the
    // present size (ToSize) and then appended to, text since the last match and replacement in
    // turn: each append that reaches the capacity moves it to the quantum of the new size.
    int reached = std::max(n + 1, static_cast<int>(InlineCapacity));
    std::int64_t total = 0;
    auto appended = [&](int count) {
        if (count < 1) return;
        total += count;
        if (total >= MaxCapacity) throw CapacityException();
        if (reached <= total) reached = calculateCapacity(static_cast<int>(total));
    };
    int done = 0;
    for (int at : hits) {
        appended(at - done);
        appended(afterLength);
        done = at + beforeLength;
    }
    appended(n - done);

    TStringCore result;
    result.reserve(reached - 1);
    char16_t const* text = constData();
    char16_t* out = result.resize(static_cast<int>(total));
    done = 0;
    auto put = [&out](char16_t const* from, int count) {
        if (count < 1) return;
        // Kept as the appends were: `after` may lie inside this string, which stays as it is.
        kestal::strings::copyFewUnits(out, from, count);
        out += count;
    };
    for (int at : hits) {
        put(text + done, at - done);
        put(after, afterLength);
        done = at + beforeLength;
    }
    put(text + done, n - done);
    *this = std::move(result);
    return static_cast<int>(hits.size());
}

TStringCore& TStringCore::replaceAnyOf(char16_t const* set, char16_t replacement, int start) {
    const int n = size();
    TStringManager::resize(std::max(replaceAnyOfUnits(str(), n, set, replacement, start), 0));
    return *this;
}

TStringCore& TStringCore::replaceAnyOf(TStringCore const& set, char16_t replacement, int start) {
    const TStringCore held(set);
    return replaceAnyOf(held.constData(), replacement, start);
}

int TStringCore::replaceAnyOf(char16_t* text, char16_t const* set, char16_t replacement, int start) {
    return replaceAnyOfUnits(text, length(text), set, replacement, start);
}
