// Cutting a string into parts and putting parts together. split and section share one walk over the
// pieces between separators; split builds every part, section records positions only and builds its
// result alone.
#include "kestal/strings/SetSearch.h"
#include "kestal/strings/UnitScan.h"
#include "kestal/strings/Units.h"

#include <algorithm>
#include <cstdint>
#include <kestal/TStringCore.h>
#include <utility>
#include <vector>

using Parts = std::vector<TStringCore>;

namespace {

// Calls `piece(pos, count)` for each piece between separators: `next(pos)` is the next hit at or
// after pos (-1: none), each hit `separatorLength` long. The last piece ends at `length`, which is
// negative for zero-terminated text, so its count is then negative too.
template <class Next, class Piece>
void forEachPiece(int length, int separatorLength, Next next, Piece piece) {
    for (int pos = 0;;) {
        const int hit = next(pos);
        piece(pos, (hit < 0 ? length : hit) - pos);
        if (hit < 0) return;
        pos = hit + separatorLength;
    }
}

// A split part. The empty rule tests the count, and a negative count builds the text up to its first
// zero unit: so zero-terminated text loses its last part under SkipEmpty.
auto collectInto(Parts& parts, char16_t const* text, TStringCore::SplitBehavior behavior) {
    return [&parts, text, keep = behavior == TStringCore::KeepEmpty](int pos, int count) {
        if (keep || count > 0) parts.emplace_back(text ? text + pos : text, count);
    };
}

TStringCore headUpTo(TStringCore const& s, int end) {
    return end < 0 ? s : s.left(end);
}

} // namespace

// ---- Splitting ---------------------------------------------------------------------------------

Parts TStringCore::split(char16_t separator, SplitBehavior behavior) const {
    return split(constData(), size(), separator, behavior);
}

Parts TStringCore::split(char16_t const* text, int length, char16_t separator, SplitBehavior behavior) {
    const int measured = length < 0 ? TStringCore::length(text) : length;
    Parts parts;
    // Counted first, the parts are reserved once and none is moved by the vector's growth.
    if (text)
        parts.reserve(static_cast<std::size_t>(kestal::strings::countUnit(text, measured, separator)) + 1);
    // Any negative length gives the last piece a negative count; -1 keeps length - pos from
    // wrapping when the caller passed one near INT_MIN.
    forEachPiece(
        length < 0 ? -1 : length, 1, [&](int pos) { return indexOf(text, measured, separator, pos); },
        collectInto(parts, text, behavior));
    return parts;
}

Parts TStringCore::split(char16_t const* separator, SplitBehavior behavior, CaseSensitivity cs) const {
    return split(constData(), size(), separator, behavior, cs);
}

Parts TStringCore::split(TStringCore const& separator, SplitBehavior behavior, CaseSensitivity cs) const {
    return split(separator.constData(), behavior, cs);
}

Parts TStringCore::split(char16_t const* text, int length, char16_t const* separator, SplitBehavior behavior,
                         CaseSensitivity cs) {
    const int separatorLength = TStringCore::length(separator);
    if (separatorLength == 0) return {}; // no parts at all, not the whole text as one
    Parts parts;
    forEachPiece(
        length, separatorLength,
        [&](int pos) { return findStr(text, length, separator, separatorLength, pos, cs); },
        collectInto(parts, text, behavior));
    return parts;
}

Parts TStringCore::splitOnAny(char16_t const* set, SplitBehavior behavior) const {
    if (!set) set = u""; // tokenize would never move on from a null set
    Parts parts;
    for (int position = 0; position >= 0;) {
        TStringCore token = tokenize(set, position, behavior);
        if (behavior != SkipEmpty || !token.isEmpty()) parts.push_back(std::move(token));
    }
    return parts;
}

Parts TStringCore::splitOnAny(TStringCore const& set, SplitBehavior behavior) const {
    return splitOnAny(set.constData(), behavior);
}

TStringCore TStringCore::tokenize(char16_t const* set, int& position, SplitBehavior behavior) const {
    if (!set || position < 0) return {};
    const int setSize = length(set);
    int start = position;
    if (behavior == SkipEmpty &&
        (start = kestal::strings::findOneNotOf(constData(), size(), set, setSize, position)) < 0) {
        position = -1;
        return {};
    }
    const int hit = kestal::strings::findOneOf(constData(), size(), set, setSize, start);
    if (hit < 0) {
        position = -1;
        return mid(start, -1);
    }
    // One unit on, also behind a delimiter that is a pair: the next call starts on its low half.
    position = hit + 1;
    return mid(start, hit - start);
}

TStringCore TStringCore::tokenize(TStringCore const& set, int& position, SplitBehavior behavior) const {
    return tokenize(set.constData(), position, behavior);
}

// ---- Sections and spans ------------------------------------------------------------------------

TStringCore TStringCore::section(char16_t separator, int first, int last, SectionFlags flags) const {
    const char16_t text[2] = {separator, 0};
    return section(constData(), size(), text, first, last, flags);
}

TStringCore TStringCore::section(char16_t const* separator, int first, int last, SectionFlags flags) const {
    return section(constData(), size(), separator, first, last, flags);
}

TStringCore TStringCore::section(char16_t const* text, int length, char16_t const* separator, int first,
                                 int last, SectionFlags flags) {
    if (!text || !separator || text[0] == 0 || separator[0] == 0) return {};
    if (length < 0) length = TStringCore::length(text);
    const int separatorLength = TStringCore::length(separator);
    const CaseSensitivity cs = flags & CaseInsensitiveSeparators ? CaseInsensitive : CaseSensitive;
    struct Field {
        int start, count;
    };
    std::vector<Field> fields;
    forEachPiece(
        length, separatorLength,
        [&](int pos) { return findStr(text, length, separator, separatorLength, pos, cs); },
        [&](int pos, int count) {
            if (!(flags & SkipEmptySections) || count > 0) fields.push_back({pos, count});
        });
    const int n = static_cast<int>(fields.size());
    if (first < 0) first += n;
    if (last < 0) last += n;
    if (first < 0 || first >= n || last < 0 || last >= n) return {};
    int begin = fields[first].start;
    int end = fields[last].start + fields[last].count;
    // Only positions are tested: with SkipEmptySections the units in front need not be a separator.
    if ((flags & IncludeLeadingSeparator) && begin >= separatorLength) begin -= separatorLength;
    if ((flags & IncludeTrailingSeparator) && separatorLength <= length - end) end += separatorLength;
    // first above last gives a negative count, which reads on to the first zero unit.
    return TStringCore(text + begin, end - begin);
}

TStringCore TStringCore::spanIncluding(char16_t const* set) const {
    return headUpTo(*this, findOneNotOf(set, 0));
}

TStringCore TStringCore::spanExcluding(char16_t const* set) const {
    return headUpTo(*this, findOneOf(set, 0));
}

// ---- Joining -----------------------------------------------------------------------------------

TStringCore TStringCore::join(Parts const& parts, char16_t separator) {
    return join(parts, TStringCore(&separator, 1));
}

TStringCore TStringCore::join(Parts const& parts, TStringCore const& separator) {
    if (parts.empty()) return {};
    if (parts.size() == 1) return parts.front();
    std::int64_t total =
        static_cast<std::int64_t>(separator.size()) * static_cast<std::int64_t>(parts.size() - 1);
    for (TStringCore const& part : parts)
        total += part.size();
    if (total >= MaxCapacity) throw CapacityException();
    // One exact reservation, then the units are written straight in.
    TStringCore result;
    result.reserve(static_cast<int>(total));
    char16_t* out = result.resize(static_cast<int>(total));
    // Parts and separators are mostly short: copied inline rather than by a library call each.
    char16_t const* const between = separator.constData();
    const int betweenSize = separator.size();
    for (std::size_t i = 0; i < parts.size(); ++i) {
        if (i > 0) {
            kestal::strings::copyFewUnits(out, between, betweenSize);
            out += betweenSize;
        }
        const int size = parts[i].size();
        kestal::strings::copyFewUnits(out, parts[i].constData(), size);
        out += size;
    }
    return result;
}
