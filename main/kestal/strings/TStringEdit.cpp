// Editing of a whole string: trimming, justifying, repeating, reversing and line endings. Trims
// that find nothing to remove leave a shared string shared; a cut at the end keeps the capacity.
#include "kestal/strings/SetSearch.h"
#include "kestal/strings/Units.h"
#include "kestal/strings/UtfSteps.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <emmintrin.h>
#include <kestal/CodePoint.h>
#include <kestal/TCType.h>
#include <kestal/TStringCore.h>
#include <kestal/Unicode.h>
#include <string_view>
#include <utility>

namespace {

bool isAsciiSet(char16_t const* set, int setSize) noexcept {
    return std::all_of(set, set + setSize, [](char16_t unit) { return unit < 0x80; });
}

// The length kept when characters are dropped from the end while `drop(character, units)` holds.
// The walk goes back by units and gathers low surrogates into the character they end, so a pair is
// judged by its high surrogate, and a lone low surrogate goes with the character in front of it.
template <class Drop>
int keptByRightWalk(char16_t const* text, int size, Drop drop) {
    int units = 0;
    for (int i = size - 1; i >= 0; --i) {
        ++units;
        if (!CodePoint::IsFirstCodeUnit(text[i])) continue;
        if (!drop(text + i, units)) return i + units;
        units = 0;
    }
    return 0;
}

// Two bits per unit, set where the eight units at `p` are ASCII blanks (tab to carriage return,
// space). x86-64 always has SSE2.
unsigned asciiBlankBits(char16_t const* p) noexcept {
    const __m128i units = _mm_loadu_si128(reinterpret_cast<__m128i const*>(p));
    const __m128i space = _mm_cmpeq_epi16(units, _mm_set1_epi16(u' '));
    // Tab to carriage return are 9 to 13: less 9 they are at most 4, and anything below 9 wraps.
    const __m128i controls = _mm_cmpeq_epi16(
        _mm_subs_epu16(_mm_sub_epi16(units, _mm_set1_epi16(9)), _mm_set1_epi16(4)), _mm_setzero_si128());
    return static_cast<unsigned>(_mm_movemask_epi8(_mm_or_si128(space, controls)));
}

// The units of white space at the start of `size` units, by code points.
int leadingSpace(char16_t const* text, int size) noexcept {
    int i = 0;
    // ASCII blanks eight at a time; the walk below takes over at the first unit that is none.
    for (unsigned bits; size - i >= 8; i += 8)
        if ((bits = asciiBlankBits(text + i)) != 0xFFFF) {
            i += std::countr_one(bits) / 2;
            break;
        }
    while (i < size) {
        if (text[i] < 0x80) {
            if (!kestal::strings::isAsciiSpace(text[i])) break;
            ++i;
        } else {
            if (!TCType::isSpace(text + i)) break;
            i += kestal::strings::readUtf16(text + i).units;
        }
    }
    return i;
}

// The length left when white space is dropped from the end. A high surrogate is no space, so a pair
// is never dropped.
int keptBeforeTrailingSpace(char16_t const* text, int size) noexcept {
    // ASCII blanks go here, eight at a time; the walk, which starts afresh behind them, takes the rest.
    for (unsigned bits; size >= 8; size -= 8)
        if ((bits = asciiBlankBits(text + size - 8)) != 0xFFFF) {
            size -= std::countl_one(bits << 16) / 2;
            break;
        }
    while (size > 0 && text[size - 1] < 0x80) {
        if (!kestal::strings::isAsciiSpace(text[size - 1])) return size;
        --size;
    }
    return keptByRightWalk(text, size,
                           [](char16_t const* p, int) { return kestal::strings::isSpaceUnit(*p); });
}

// Whether the character of `units` units at `p` equals a member of the set; a member is as long as
// CountCodeUnits says of its first unit, within the set.
bool isSetMember(char16_t const* p, int units, char16_t const* set, int setSize) noexcept {
    for (int j = 0, length = 0; j < setSize; j += length) {
        length = std::clamp(CodePoint::CountCodeUnits(set + j), 1, setSize - j);
        if (length == units && std::equal(p, p + units, set + j)) return true;
    }
    return false;
}

// Removes `prefix` units from the start; a negative prefix empties the string and gives up its
// storage.
void dropHead(TStringCore& s, int prefix) {
    if (prefix < 0)
        s.clear();
    else if (prefix > 0)
        s.removeAt(0, prefix);
}

void cutTo(TStringCore& s, int kept) {
    if (kept < s.size()) s.resize(kept);
}

TStringCore justified(TStringCore const& s, int width, char16_t fill, bool truncate, bool fillFirst) {
    width = std::max(width, 0);
    const int n = s.size();
    if (width < n) return truncate ? s.left(width) : s; // the head is kept, also when right-justifying
    if (width == n) return s;
    TStringCore result;
    char16_t* out = result.resize(width);
    char16_t* text = fillFirst ? out + width - n : out;
    std::fill_n(fillFirst ? out : out + n, width - n, fill);
    std::copy_n(s.constData(), n, text);
    return result;
}

} // namespace

// ---- Trimming ----------------------------------------------------------------------------------

TStringCore& TStringCore::trim() {
    return trimRight().trimLeft();
}

TStringCore& TStringCore::trimLeft() {
    const int n = size();
    const int prefix = leadingSpace(constData(), n);
    dropHead(*this, prefix == n ? -1 : prefix);
    return *this;
}

TStringCore& TStringCore::trimRight() {
    cutTo(*this, keptBeforeTrailingSpace(constData(), size()));
    return *this;
}

TStringCore& TStringCore::trim(char16_t unit) {
    return trimRight(unit).trimLeft(unit);
}

TStringCore& TStringCore::trimLeft(char16_t unit) {
    if (unit == 0) {
        // Kept as it is: a leading zero unit empties the whole string, whatever follows it.
        if (constData()[0] == 0) clear();
        return *this;
    }
    const int kept = findOneNotOf(unit, 0);
    dropHead(*this, kept < 0 ? size() : kept);
    return *this;
}

TStringCore& TStringCore::trimRight(char16_t unit) {
    char16_t const* text = constData();
    int kept = size();
    while (kept > 0 && text[kept - 1] == unit)
        --kept;
    cutTo(*this, kept);
    return *this;
}

TStringCore& TStringCore::trim(char16_t const* set) {
    return trimRight(set).trimLeft(set);
}

TStringCore& TStringCore::trimLeft(char16_t const* set) {
    char16_t const* text = constData();
    if (text[0] == 0) {
        clear();
        return *this;
    }
    if (!set || set[0] == 0) return *this;
    // The first zero unit ends the text here; an all-member text up to it empties the string.
    const int setSize = length(set);
    int prefix = 0;
    if (isAsciiSet(set, setSize)) {
        const kestal::strings::AsciiSet members(set);
        while (text[prefix] && members.contains(text[prefix]))
            ++prefix;
        if (text[prefix] == 0) prefix = -1;
    } else {
        prefix = kestal::strings::findOneNotOf(text, -1, set, setSize, 0);
    }
    dropHead(*this, prefix);
    return *this;
}

TStringCore& TStringCore::trimRight(char16_t const* set) {
    if (!set || set[0] == 0) return *this;
    const int setSize = length(set);
    if (setSize == 1) return trimRight(set[0]);
    char16_t const* text = constData();
    if (isAsciiSet(set, setSize)) {
        const kestal::strings::AsciiSet members(set);
        cutTo(*this, keptByRightWalk(text, size(), [&](char16_t const* p, int units) {
            return units == 1 && members.contains(*p);
        }));
    } else {
        cutTo(*this, keptByRightWalk(text, size(), [&](char16_t const* p, int units) {
            return isSetMember(p, units, set, setSize);
        }));
    }
    return *this;
}

TStringCore& TStringCore::trim(TStringCore const& set) {
    const TStringCore held(set); // the set stays intact when it is this very string
    return trimRight(held).trimLeft(held);
}

TStringCore& TStringCore::trimLeft(TStringCore const& set) {
    // By the size, unlike the pointer form: a zero unit in the text is an ordinary character.
    char16_t const* members = set.constData();
    dropHead(*this, kestal::strings::findOneNotOf(constData(), size(), members, length(members), 0));
    return *this;
}

TStringCore& TStringCore::trimRight(TStringCore const& set) {
    return trimRight(set.constData());
}

TStringCore TStringCore::trimmed() const {
    // What trim() would leave in a copy, at the capacity its detach would give, but with the kept
    // units copied once instead of detached and then moved down.
    char16_t const* text = constData();
    const int end = keptBeforeTrailingSpace(text, size());
    const int begin = leadingSpace(text, end);
    if (begin == end) return {};
    if (begin == 0 && end == size()) return *this;
    TStringCore result;
    result.reserve(capacity() - 1);
    kestal::strings::copyUnits(result.resize(end - begin), text + begin, end - begin);
    return result;
}

// ---- Justifying, repeating, reversing ----------------------------------------------------------

TStringCore TStringCore::leftJustified(int width, char16_t fill, bool truncate) const {
    return justified(*this, width, fill, truncate, false);
}

TStringCore TStringCore::rightJustified(int width, char16_t fill, bool truncate) const {
    return justified(*this, width, fill, truncate, true);
}

TStringCore TStringCore::repeated(int times) const {
    if (times < 1 || isEmpty()) return {};
    if (times == 1) return *this;
    // The product wraps in 32 bits as the reservation has always taken it; a negative one raises.
    TStringCore result;
    result.reserve(static_cast<int>(static_cast<std::uint32_t>(size()) * static_cast<std::uint32_t>(times)));
    for (int i = 0; i < times; ++i)
        result.append(*this);
    return result;
}

void TStringCore::reverse() {
    const int n = size();
    if (n < 2) return;
    char16_t* text = str();
    std::reverse(text, text + n);
    // Put each pair back in order. The masks are loose on purpose: they also take U+F800 to U+FFFF,
    // so two such neighbouring units come back to their former order too.
    for (int i = 0; i + 1 < n; ++i) {
        if ((text[i] & 0xDC00) == 0xDC00 && (text[i + 1] & 0xDC00) == 0xD800) {
            std::swap(text[i], text[i + 1]);
            ++i;
        }
    }
}

TStringCore TStringCore::reversed() const {
    TStringCore copy(*this);
    copy.reverse();
    return copy;
}

// ---- Line endings ------------------------------------------------------------------------------

TStringCore& TStringCore::dosToUnix() {
    if (!contains(u'\r')) return *this;
    const int n = size();
    TStringManager::resize(
        static_cast<int>(Unicode::normalizeLineEndings(str(), static_cast<std::size_t>(n))));
    return *this;
}

int TStringCore::dosToUnix(char16_t* text) {
    return static_cast<int>(Unicode::normalizeLineEndings(text));
}

TStringCore& TStringCore::unixToDos() {
    TStringCore converted = Unicode::unixToDos(constData(), static_cast<std::size_t>(size()));
    // A shared string whose text comes out the same keeps its block.
    if (isShared() && std::u16string_view(converted) == std::u16string_view(*this)) return *this;
    *this = std::move(converted);
    return *this;
}
