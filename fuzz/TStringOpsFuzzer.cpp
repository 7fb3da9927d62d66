// Sequences of string operations against a plain std::u16string model written from the rules of each
// operation. Numbers come from a table of the values where arithmetic goes wrong (0, -1, the size and
// its neighbours, INT_MIN, INT_MAX, the capacity limit), and texts are often pointers into the
// string's own storage: its start, its middle, its terminator. Copies of earlier states are kept and
// must never change, and every step must raise exactly what the model raises.
//
// Input: a stream of records, an operation byte and its argument bytes; a missing byte reads 0.
#include "FuzzCheck.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <deque>
#include <kestal/TConstCodePointIterator.h>
#include <kestal/TStringCore.h>
#include <stdexcept>
#include <string>
#include <unicode/uchar.h>
#include <utility>
#include <vector>

namespace {

using u16 = std::u16string;
using Iterator = TConstCodePointIterator<TStringCore>;
using Parts = std::vector<TStringCore>;
constexpr int kMaxCapacity = TStringCore::MaxCapacity;

// ---- Input -------------------------------------------------------------------------------------

class Input {
public:
    Input(std::uint8_t const* data, std::size_t size)
        : m_data(data)
        , m_left(size) {}
    bool empty() const { return m_left == 0; }
    std::uint8_t byte() {
        if (m_left == 0) return 0;
        --m_left;
        return *m_data++;
    }

private:
    std::uint8_t const* m_data;
    std::size_t m_left;
};

// Letters, some that fold onto each other (k, K, KELVIN SIGN), spaces of both kinds, separators, zero units
// and every sort of surrogate.
constexpr char16_t kAlphabet[] = {u'a',      u'b',    u'c',    u'd',      u'e',      u'f',      u'g',
                                  u'h',      u'k',    u'K',    u'\x212A', u' ',      u'\t',     u'\xA0',
                                  u'\x2003', u',',    u';',    u'\0',     u'\xD83D', u'\xDE00', u'\xDC00',
                                  u'\xD800', u'\xE9', u'\xC9', u'\r',     u'\n',     u'\xFFFD'};

char16_t unitOf(Input& in) {
    return kAlphabet[in.byte() % std::size(kAlphabet)];
}

// A position, length or count around `base`: the string's size or a text's units.
int number(Input& in, int base) {
    switch (in.byte() % 16) {
    case 0:
        return 0;
    case 1:
        return -1;
    case 2:
        return base;
    case 3:
        return base + 1;
    case 4:
        return base - 1;
    case 5:
        return INT_MIN;
    case 6:
        return INT_MAX;
    case 7:
        return 1;
    case 8:
        return base / 2;
    case 9:
        return -2;
    case 10:
        return -base;
    case 11:
        return INT_MIN + 1;
    case 12:
        return INT_MAX - 1;
    case 13:
        return kMaxCapacity; // the first size that cannot be
    default:
        return in.byte() % 32 - 8;
    }
}

// ---- Model helpers -----------------------------------------------------------------------------

enum class Raised { Nothing, Capacity, Iterator };

// Thrown by the model where the rules raise; the model's text stays as the steps left it.
struct ModelRaise {
    Raised kind;
};

template <class F>
Raised raisedBy(F&& steps) {
    try {
        steps();
    } catch (ModelRaise const& r) {
        return r.kind;
    }
    return Raised::Nothing;
}

void needRoom(std::int64_t size) {
    if (size >= kMaxCapacity) throw ModelRaise{Raised::Capacity};
}

int sizeOf(u16 const& t) {
    return static_cast<int>(t.size());
}

u16 sub(u16 const& t, int pos, int count = INT_MAX) {
    return t.substr(static_cast<std::size_t>(pos), static_cast<std::size_t>(std::max(count, 0)));
}

// The unit at i; the terminator at the end.
char16_t at(u16 const& t, int i) {
    return i < sizeOf(t) ? t[static_cast<std::size_t>(i)] : u'\0';
}

bool isHigh(char32_t u) {
    return u >= 0xD800 && u <= 0xDBFF;
}
bool isLow(char32_t u) {
    return u >= 0xDC00 && u <= 0xDFFF;
}

// Units from `from` to the first zero unit or the end.
int measure(u16 const& t, int from) {
    int i = from;
    while (at(t, i))
        ++i;
    return i - from;
}

char32_t fold(char32_t c) {
    if (c < 0x80) return c >= U'A' && c <= U'Z' ? c + 0x20 : c;
    return static_cast<char32_t>(u_foldCase(static_cast<UChar32>(c), U_FOLD_CASE_DEFAULT));
}

bool isSpace(char32_t c) {
    return (c >= 9 && c <= 13) || c == 0x20 || u_isUWhiteSpace(static_cast<UChar32>(c));
}

// The code point at i and its units: a pair, or one unit, a lone surrogate reading U+FFFD.
char32_t pointAt(u16 const& t, int i, int* units = nullptr) {
    const char16_t u = at(t, i);
    const bool pair = isHigh(u) && isLow(at(t, i + 1));
    if (units) *units = pair ? 2 : 1;
    if (pair) return (u - 0xD800u) * 0x400 + (at(t, i + 1) - 0xDC00u) + 0x10000;
    return isHigh(u) || isLow(u) ? 0xFFFD : u;
}

// The next code point within `length`, -1 at its end: a high surrogate steps two without a look,
// a low one starts nothing.
int nextPoint(u16 const& t, int i, int length) {
    if (i < 0 || i >= length || isLow(at(t, i))) return -1;
    const int next = i + (isHigh(at(t, i)) ? 2 : 1);
    return next >= length ? -1 : next;
}

int previousPoint(u16 const& t, int i) {
    if (i <= 0) return -1;
    int q = i - 1;
    while (isLow(at(t, q)))
        if (q-- == 0) return -1;
    return q;
}

// Code points that begin in `count` units from `start`; a pair cut at the end counts whole.
int steps(u16 const& t, int start, int count) {
    int taken = 0;
    for (int i = 0; i < count; ++taken)
        i += isHigh(at(t, start + i)) ? 2 : 1;
    return taken;
}

int lengthInCodePoints(u16 const& t) {
    int count = 0;
    for (int i = 0, units = 0; at(t, i); i += units, ++count)
        pointAt(t, i, &units);
    return count;
}

// Units that `codePoints` code points take from `start`, a negative count meaning to the first zero.
int subStringUnits(u16 const& t, int start, int codePoints) {
    if (start < 0 || start >= sizeOf(t)) return 0;
    if (codePoints < 0) return measure(t, start);
    int units = 0;
    for (int i = start, step = 0; codePoints > 0 && i < sizeOf(t); --codePoints, i += step, units += step)
        pointAt(t, i, &step);
    return units;
}

// ---- Model: search -----------------------------------------------------------------------------

int findStr(u16 const& text, int size, u16 const& pattern, int from, bool sensitive) {
    const std::int64_t start = from < 0 ? static_cast<std::int64_t>(size) + from : from;
    if (start < 0 || start >= size) return -1;
    const int length = sizeOf(pattern);
    for (int i = static_cast<int>(start); i <= size - length; ++i) {
        int j = 0;
        while (j < length && (sensitive ? text[i + j] == pattern[j] : fold(text[i + j]) == fold(pattern[j])))
            ++j;
        if (j == length) return i;
    }
    return -1;
}

int lastIndexOf(u16 const& text, u16 const& pattern, int from, bool sensitive) {
    const int size = sizeOf(text), length = sizeOf(pattern);
    if (size == 0 || length == 0 || size < length) return -1;
    const std::int64_t start = from == -1 ? size : from < -1 ? static_cast<std::int64_t>(size) + from : from;
    if (start < 0) return -1;
    int p = static_cast<int>(std::min<std::int64_t>(start, size - length));
    while (isLow(text[p]))
        if (--p < 0) return -1;
    auto same = [&](char32_t a, char32_t b) { return a == b || (!sensitive && fold(a) == fold(b)); };
    for (; p >= 0; p = previousPoint(text, p))
        for (int t = p, q = 0; same(pointAt(text, t), pointAt(pattern, q));) {
            if ((q = nextPoint(pattern, q, length)) < 0) return p;
            if ((t = nextPoint(text, t, size)) < 0) break;
        }
    return -1;
}

// Matches overlap: the walk steps on by the pattern's first code point.
int countPattern(u16 const& text, u16 const& pattern, bool sensitive) {
    const int length = measure(text, 0), patternLength = sizeOf(pattern);
    if (patternLength == 0) return 0;
    const int second = nextPoint(pattern, 0, patternLength);
    int found = 0;
    for (int pos = 0, hit = 0; pos <= length - patternLength;
         ++found, pos = hit + (second < 0 ? patternLength : second))
        if ((hit = findStr(text, length, pattern, pos, sensitive)) < 0) break;
    return found;
}

// Space dropped from the end by units (a low surrogate going with the unit before it), then from
// the start by code points.
u16 trimmed(u16 const& t) {
    int kept = 0;
    for (int i = sizeOf(t) - 1, units = 1; i >= 0; --i, ++units) {
        if (isLow(t[i])) continue;
        if (!isSpace(t[i])) {
            kept = i + units;
            break;
        }
        units = 0;
    }
    int begin = 0;
    for (int units = 0; begin < kept && isSpace(pointAt(t, begin, &units));)
        begin += units;
    return begin >= kept ? u16() : sub(t, begin, kept - begin);
}

// ---- Model: splitting --------------------------------------------------------------------------

// The pieces between the hits of `next(pos)`; the last ends at `end`, which is negative for
// zero-terminated text: its count is then negative and reads to the first zero unit.
template <class Next>
std::vector<u16> pieces(u16 const& t, int end, int separatorLength, bool keepEmpty, Next next) {
    std::vector<u16> parts;
    for (int pos = 0;;) {
        const int hit = next(pos);
        const std::int64_t count = static_cast<std::int64_t>(hit < 0 ? end : hit) - pos;
        if (keepEmpty || count > 0)
            parts.push_back(sub(t, pos, count < 0 ? measure(t, pos) : static_cast<int>(count)));
        if (hit < 0) return parts;
        pos = hit + separatorLength;
    }
}

int unitHit(u16 const& t, int size, char16_t separator, int pos) {
    for (int i = pos; i < size; ++i)
        if (t[i] == separator) return i;
    return -1;
}

u16 section(u16 const& t, u16 const& separator, int first, int last, int flags) {
    const int n = sizeOf(t), length = sizeOf(separator);
    if (at(t, 0) == 0 || length == 0) return {};
    std::vector<std::pair<int, int>> fields; // start, count
    for (int pos = 0;;) {
        const int hit = findStr(t, n, separator, pos, !(flags & 8));
        const int count = (hit < 0 ? n : hit) - pos;
        if (!(flags & 1) || count > 0) fields.emplace_back(pos, count);
        if (hit < 0) break;
        pos = hit + length;
    }
    const std::int64_t fieldCount = static_cast<std::int64_t>(fields.size());
    const std::int64_t f = first < 0 ? first + fieldCount : first, l = last < 0 ? last + fieldCount : last;
    if (f < 0 || f >= fieldCount || l < 0 || l >= fieldCount) return {};
    int begin = fields[static_cast<std::size_t>(f)].first;
    int end = fields[static_cast<std::size_t>(l)].first + fields[static_cast<std::size_t>(l)].second;
    if ((flags & 2) && begin >= length) begin -= length;
    if ((flags & 4) && end + length <= n) end += length;
    return sub(t, begin, end < begin ? measure(t, begin) : end - begin);
}

// ---- Texts and the session ---------------------------------------------------------------------

// A text argument as the call sees it, a pointer, and as the model does: inside the string at an
// offset, or outside with its units up to its terminator (none for null).
struct Text {
    char16_t const* pointer = nullptr;
    bool own = false;
    int offset = 0;
    u16 units;
    int available = 0; // units before the terminator: what a length may cover
};

struct Kept {
    TStringCore string;
    u16 model;
};

u16 textOf(TStringCore const& s) {
    return u16(static_cast<std::u16string_view>(s));
}

std::vector<u16> texts(Parts const& parts) {
    std::vector<u16> out;
    for (TStringCore const& part : parts)
        out.push_back(textOf(part));
    return out;
}

class Session {
public:
    explicit Session(Input& in)
        : m_in(in) {}
    void step();
    void check() const;
    void bound() {
        if (n() <= 512) return;
        m_string.truncate(64);
        m_model.resize(64);
    }

private:
    int n() const { return sizeOf(m_model); }
    Text text();
    u16 measured(Text const& t) const;
    int lengthFor(Text const& t, bool cuts);
    Iterator iterator(int& position);
    void expect(Raised expected, auto&& real);
    void edit();
    void query();

    void append(u16& m, Text const& t, int length) const;
    void assign(Text const& t, int length);
    void insert(int pos, Text const& t, int length);
    void removeAt(int pos, int count);
    void replace(int pos, int count, Text t, int length, bool shared);
    void replaceUnits(int pos, int count, char16_t unit);
    int replaceCount(Text const& before, int beforeLength, Text const& after, int afterLength,
                     bool sensitive);

    Input& m_in;
    TStringCore m_string;
    u16 m_model;
    std::vector<Kept> m_kept;
    std::deque<u16> m_outside; // the outside texts of one step
};

Text Session::text() {
    Text t;
    const int n = this->n();
    int offset = -1;
    switch (m_in.byte() % 8) {
    case 0:
        return t; // null
    case 1:
    case 2: {
        u16& units = m_outside.emplace_back(m_in.byte() % 20, u'a');
        for (char16_t& u : units)
            u = unitOf(m_in);
        t.pointer = units.c_str();
        t.units = units;
        break;
    }
    case 3:
        offset = 0;
        break;
    case 4:
        offset = n / 2;
        break;
    case 5: // the terminator
        offset = n;
        break;
    case 6:
        offset = m_in.byte() % (n + 1);
        break;
    default: {
        if (m_kept.empty()) return text();
        Kept const& kept = m_kept[m_in.byte() % m_kept.size()];
        t.pointer = kept.string.constData();
        t.units = kept.model;
        if (t.pointer == m_string.constData()) offset = 0; // a copy sharing this string's block
    }
    }
    if (offset >= 0) {
        t = {m_string.constData() + offset, true, offset, {}, 0};
        t.available = n - offset;
    } else {
        t.available = sizeOf(t.units);
    }
    return t;
}

u16 Session::measured(Text const& t) const {
    return t.own ? sub(m_model, t.offset, measure(m_model, t.offset)) : sub(t.units, 0, measure(t.units, 0));
}

// A length for `t`. Only the calls that cut a length to the text (`cuts`) may get one that runs
// past it; for the others it would read beyond the text, so it becomes the text's own, unless it is
// so large that the call raises before reading anything. Null reads nothing, whatever the length.
int Session::lengthFor(Text const& t, bool cuts) {
    const int length = number(m_in, t.available);
    return cuts || !t.pointer || length <= t.available || length >= kMaxCapacity ? length : t.available;
}

// An iterator by code point number, as the constructor walks; `position` gets its place, -1 for the
// end and -2 for a number that the constructor refuses.
Iterator Session::iterator(int& position) {
    const int index = number(m_in, n());
    position = index < -1 ? -2 : index == -1 ? -1 : 0;
    for (int k = 0; k < index && position >= 0; ++k)
        position = nextPoint(m_model, position, n());
    return Iterator(m_string, index);
}

// Runs the real call of an edit whose model has already run, and compares what they raised.
void Session::expect(Raised expected, auto&& real) {
    Raised raised = Raised::Nothing;
    try {
        real();
    } catch (TStringCore::CapacityException const&) {
        raised = Raised::Capacity;
    }
    FUZZ_CHECK(raised == expected);
}

// ---- Model: editing ----------------------------------------------------------------------------

void Session::append(u16& m, Text const& t, int length) const {
    const int n = sizeOf(m);
    if (t.own) { // cut to the text, a negative length included
        m += sub(m, t.offset, length >= 0 && length <= n - t.offset ? length : n - t.offset);
        return;
    }
    if (!t.pointer) return;
    if (length < 0) length = measure(t.units, 0);
    if (length == 0) return;
    needRoom(static_cast<std::int64_t>(n) + length);
    m += sub(t.units, 0, length);
}

void Session::assign(Text const& t, int length) {
    const int n = this->n();
    if (t.own && t.offset == 0) {
        if (length >= 0 && length < n) m_model.resize(static_cast<std::size_t>(length));
    } else if (!t.own) {
        m_model.clear();
        append(m_model, t, length);
    } else {
        m_model =
            sub(m_model, t.offset, length < 0 ? measure(m_model, t.offset) : std::min(length, n - t.offset));
    }
}

void Session::insert(int pos, Text const& t, int length) {
    const int n = this->n();
    if (pos < 0 || pos > n || !t.pointer || length == 0 || isLow(at(m_model, pos))) return;
    if (length < 0 && (length = sizeOf(measured(t))) == 0) return;
    needRoom(static_cast<std::int64_t>(n) + length);
    if (!t.own) {
        m_model.insert(static_cast<std::size_t>(pos), sub(t.units, 0, length));
        return;
    }
    // The tail moves up first; a text of this string is then read where it lies after the move.
    u16 buffer = m_model + u16(static_cast<std::size_t>(length), u'?');
    std::memmove(&buffer[pos] + length, &buffer[pos], static_cast<std::size_t>(n - pos) * 2);
    std::memmove(&buffer[pos], &buffer[t.offset], static_cast<std::size_t>(length) * 2);
    m_model = buffer;
}

void Session::removeAt(int pos, int count) {
    const int n = this->n();
    if (n <= pos) return;
    if (static_cast<std::int64_t>(pos) + count >= n) {
        m_model.resize(static_cast<std::size_t>(std::max(pos, 0)));
        return;
    }
    const std::int64_t removed = pos < 0 ? static_cast<std::int64_t>(count) + pos : count;
    if (removed >= 1)
        m_model.erase(static_cast<std::size_t>(std::max(pos, 0)), static_cast<std::size_t>(removed));
}

void Session::replace(int pos, int count, Text t, int length, bool shared) {
    const int n = this->n();
    if (pos < 0 || count < 0 || pos > n) return;
    if (length == 0) t = Text{};
    if (!t.pointer && length != 0) return;
    if (pos == 0 && count >= n) return assign(t, length);
    if (static_cast<std::int64_t>(pos) + count >= n) {
        // The tail: cut, then append. A text of this string stays inside only when it lies before
        // the cut in an unshared block. Otherwise it is read where it was: in the old block that the
        // detach left to the other owners, or behind the new terminator, where growing writes the
        // terminator of the new size over one of its units.
        if (pos < n && t.own && (shared || t.offset > pos)) {
            const u16 old = m_model;
            m_model.resize(static_cast<std::size_t>(pos));
            if (length < 0 && (length = measure(old, t.offset)) == 0) return;
            needRoom(static_cast<std::int64_t>(pos) + length);
            u16 piece = sub(old, t.offset, length);
            const int terminator = pos + length - t.offset;
            if (!shared && terminator >= 0) piece[static_cast<std::size_t>(terminator)] = u'\0';
            m_model += piece;
            return;
        }
        if (pos < n) m_model.resize(static_cast<std::size_t>(pos));
        return append(m_model, t, length);
    }
    if (count == 0) return insert(pos, t, length);
    if (!t.pointer) return removeAt(pos, count);
    if (length < 0) length = sizeOf(measured(t));
    // The middle: the tail moves, then the text is copied, a text of this string read where it lies
    // after the move.
    const int delta = length - count;
    if (delta > 0) needRoom(static_cast<std::int64_t>(n) + delta);
    u16 buffer = m_model + u16(static_cast<std::size_t>(std::max(delta, 0)), u'?');
    std::memmove(&buffer[pos] + length, &buffer[pos] + count, static_cast<std::size_t>(n - pos - count) * 2);
    std::memmove(&buffer[pos], t.own ? &buffer[t.offset] : t.units.data(),
                 static_cast<std::size_t>(length) * 2);
    m_model = sub(buffer, 0, n + delta);
}

// Each code point from pos in count units becomes one unit; a pair cut at the end goes whole.
void Session::replaceUnits(int pos, int count, char16_t unit) {
    const int n = this->n();
    if (pos < 0 || count < 1 || pos >= n) return;
    count = std::min(count, n - pos);
    m_model = sub(m_model, 0, pos) + u16(static_cast<std::size_t>(steps(m_model, pos, count)), unit) +
              sub(m_model, pos + count);
}

int Session::replaceCount(Text const& before, int beforeLength, Text const& after, int afterLength,
                          bool sensitive) {
    const int n = this->n();
    if (!before.pointer || beforeLength < 1 || beforeLength > n) return 0;
    const u16 pattern = sub(before.units, 0, beforeLength);
    std::vector<int> hits; // left to right, never overlapping
    for (int hit = findStr(m_model, n, pattern, 0, sensitive); hit >= 0;
         hit = findStr(m_model, n, pattern, hit + beforeLength, sensitive))
        hits.push_back(hit);
    if (afterLength == beforeLength) {
        for (int hit : hits)
            if (after.pointer)
                std::copy_n(after.units.data(), afterLength, &m_model[static_cast<std::size_t>(hit)]);
        return static_cast<int>(hits.size());
    }
    u16 result;
    int done = 0;
    for (int hit : hits) {
        result += sub(m_model, done, hit - done);
        append(result, after, afterLength);
        done = hit + beforeLength;
    }
    if (!hits.empty()) m_model = result + sub(m_model, done);
    return static_cast<int>(hits.size());
}

// ---- Steps -------------------------------------------------------------------------------------

void Session::step() {
    m_outside.clear();
    const std::uint8_t op = m_in.byte();
    if (op < 160) return edit();
    if (op < 224) return query();
    if (op < 240) { // keep a copy: it shares a long block, which later edits must leave alone
        if (m_kept.size() < 4)
            m_kept.push_back({m_string, m_model});
        else
            m_kept[op % 4] = {m_string, m_model};
        return;
    }
    if (op < 248) { // back to a kept copy, or swap with one
        if (m_kept.empty()) return;
        Kept& kept = m_kept[op % m_kept.size()];
        if (op & 4) {
            m_string.swap(kept.string);
            std::swap(m_model, kept.model);
        } else {
            m_string = kept.string;
            m_model = kept.model;
        }
        return;
    }
    if (op < 250) return m_string.squeeze(); // storage changes that keep the text
    if (op < 252) return m_string.detach();
    m_string.reserve(n() + m_in.byte() % 40);
}

void Session::edit() {
    const int n = this->n();
    const bool shared = m_string.isShared();
    const std::uint8_t op = m_in.byte() % 16;
    if (op == 0) { // from a pointer, own texts cut to the text
        const Text t = text();
        const int length = lengthFor(t, t.own);
        if (m_in.byte() & 1)
            return expect(raisedBy([&] { append(m_model, t, length); }),
                          [&] { m_string.append(t.pointer, length); });
        return expect(raisedBy([&] { assign(t, length); }), [&] { m_string.assign(t.pointer, length); });
    }
    if (op == 1) {
        const int pos = number(m_in, n);
        const Text t = text();
        const int length = lengthFor(t, false);
        return expect(raisedBy([&] { insert(pos, t, length); }),
                      [&] { m_string.insert(pos, t.pointer, length); });
    }
    if (op <= 4) {
        const int pos = number(m_in, n), count = number(m_in, n);
        if (op == 2)
            return expect(raisedBy([&] { removeAt(pos, count); }), [&] { m_string.removeAt(pos, count); });
        const Text t = text();
        const int length = lengthFor(t, false);
        return expect(raisedBy([&] { replace(pos, count, t, length, shared); }),
                      [&] { m_string.replace(pos, count, t.pointer, length); });
    }
    const int k = number(m_in, n);
    const char16_t unit = unitOf(m_in);
    switch (op) {
    case 5: // no surrogate test for one unit
        if (k >= 0 && k <= n) m_model.insert(static_cast<std::size_t>(k), 1, unit);
        return expect(Raised::Nothing, [&] { m_string.insert(k, unit); });
    case 6: {
        const int count = number(m_in, n);
        if (k >= 0 && k <= n) m_model += sub(m_model, k, count < 0 || count > n - k ? n - k : count);
        return expect(Raised::Nothing, [&] { m_string.appendFromSelf(k, count); });
    }
    case 7:
        if (k > 0) m_model.resize(static_cast<std::size_t>(k >= n ? 0 : n - k));
        return expect(Raised::Nothing, [&] { m_string.chop(k); });
    case 8:
        if (n > std::max(k, 0)) m_model.resize(static_cast<std::size_t>(std::max(k, 0)));
        return expect(Raised::Nothing, [&] { m_string.truncate(k); });
    case 9: {
        const Raised r = raisedBy([&] { needRoom(k); });
        if (r == Raised::Nothing) m_model.resize(static_cast<std::size_t>(std::max(k, 0)), unit);
        return expect(r, [&] {
            char16_t* units = m_string.resize(k); // new units are left to the caller
            std::fill(units + std::min(n, std::max(k, 0)), units + std::max(k, 0), unit);
        });
    }
    case 10: {
        const Raised r = k < 0 ? Raised::Nothing : raisedBy([&] { needRoom(k); });
        if (k >= 0 && r == Raised::Nothing) m_model.assign(static_cast<std::size_t>(k), unit);
        return expect(r, [&] { m_string.assign(unit, k); });
    }
    case 11: { // a negative count fills as many units as there are code points
        const int count = k < 0 ? lengthInCodePoints(m_model) : k;
        const Raised r = raisedBy([&] { needRoom(count); });
        if (r == Raised::Nothing) m_model.assign(static_cast<std::size_t>(count), unit);
        return expect(r, [&] { m_string.fill(unit, k); });
    }
    case 12: {
        const int count = number(m_in, n);
        replaceUnits(k, count, unit);
        return expect(Raised::Nothing, [&] { m_string.replace(k, count, unit); });
    }
    case 13: { // at a code point iterator; the end iterator means the size, or no change
        const Text t = text();
        const int length = lengthFor(t, false);
        int position = 0;
        const std::uint8_t form = m_in.byte() % 4;
        try {
            const Iterator it = iterator(position);
            FUZZ_CHECK(position >= -1);
            if (form == 0)
                return expect(raisedBy([&] { insert(position < 0 ? n : position, t, length); }),
                              [&] { m_string.insert(it, t.pointer, length); });
            if (form == 1 && position >= 0) removeAt(position, k);
            if (form == 2 && position >= 0 && n > position)
                m_model.resize(static_cast<std::size_t>(position));
            if (form == 3) replaceUnits(position, k, unit);
            return expect(Raised::Nothing, [&] {
                if (form == 1) m_string.removeAt(it, k);
                if (form == 2) m_string.truncate(it);
                if (form == 3) m_string.replace(it, k, unit);
            });
        } catch (std::runtime_error const&) {
            FUZZ_CHECK(position == -2); // only a number below -1 is refused
        }
        return;
    }
    case 14: { // whole strings: itself, or a kept copy
        const std::size_t which = m_kept.empty() ? 0 : k % m_kept.size();
        const bool self = m_kept.empty() || unit & 1;
        TStringCore const& other = self ? m_string : m_kept[which].string;
        Text t{other.constData(), other.constData() == m_string.constData(), 0,
               self ? m_model : m_kept[which].model, 0};
        if (m_in.byte() & 1) {
            append(m_model, t, sizeOf(t.units));
            return expect(Raised::Nothing, [&] { m_string.append(other); });
        }
        const int pos = number(m_in, n);
        return expect(raisedBy([&] { insert(pos, t, sizeOf(t.units)); }),
                      [&] { m_string.insert(pos, other); });
    }
    default: { // replaceCount with outside texts, which the edit cannot touch
        const Text before = text(), after = text();
        const int beforeLength = lengthFor(before, false), afterLength = lengthFor(after, false);
        if (before.own || after.own) return;
        const std::uint8_t c = m_in.byte() % 3;
        int expected = 0, got = -1;
        const Raised r =
            raisedBy([&] { expected = replaceCount(before, beforeLength, after, afterLength, c == 1); });
        expect(r, [&] {
            got = m_string.replaceCount(before.pointer, beforeLength, after.pointer, afterLength,
                                        static_cast<TStringCore::CaseSensitivity>(c == 2 ? 7 : c));
        });
        FUZZ_CHECK(r != Raised::Nothing || got == expected);
    }
    }
}

void Session::query() {
    const int n = this->n();
    const std::uint8_t op = m_in.byte() % 8;
    const int a = number(m_in, n), b = number(m_in, n);
    const std::uint8_t form = m_in.byte();
    const bool sensitive = form % 3 == 1;
    const auto cs = static_cast<TStringCore::CaseSensitivity>(form % 3 == 2 ? 7 : form % 3);
    switch (op) {
    case 0: { // substrings, which may then replace the string
        u16 expected;
        TStringCore got;
        if (form & 1) {
            got = m_string.left(b);
            expected = sub(m_model, 0, std::min(b, n));
        } else if (form & 2) {
            got = m_string.right(b);
            expected = b < 1 ? u16() : sub(m_model, n - std::min(b, n));
        } else {
            got = m_string.mid(a, b);
            if (a >= 0 && b != 0 && a <= n)
                expected = sub(m_model, a, b >= 0 ? std::min(b, n - a) : measure(m_model, a));
        }
        FUZZ_CHECK(textOf(got) == expected);
        if (form & 0x80) {
            m_string = got;
            m_model = expected;
        }
        return;
    }
    case 1: { // substrings and measures by code points
        int first = 0, last = 0;
        try {
            const Iterator from = iterator(first), to = iterator(last);
            FUZZ_CHECK(first >= -1 && last >= -1);
            const bool taken = first >= 0 && b >= -1 && b != 0;
            FUZZ_CHECK(textOf(m_string.mid(from, b)) ==
                       (taken ? sub(m_model, first, subStringUnits(m_model, first, b)) : u16()));
            const bool inside = first >= 0 && first < n;
            FUZZ_CHECK(textOf(m_string.mid(from, to)) == (inside && last < 0 ? sub(m_model, first)
                                                          : inside && last > first
                                                              ? sub(m_model, first, last - first)
                                                              : u16()));
        } catch (std::runtime_error const&) {
            FUZZ_CHECK(first == -2 || last == -2);
        }
        const bool inside = a >= 0 && a < n;
        FUZZ_CHECK(m_string.subStringSizeInCodePoints(a, b) ==
                   (inside ? steps(m_model, a, b < 0 || b > n - a ? n - a : b) : 0));
        FUZZ_CHECK(m_string.subStringSizeInCodeUnits(a, b) == subStringUnits(m_model, a, b));
        FUZZ_CHECK(m_string.lengthInCodePoints() == lengthInCodePoints(m_model));
        return;
    }
    case 2: { // by pattern, forwards, backwards and counting
        const Text t = text();
        const u16 pattern = measured(t);
        FUZZ_CHECK(m_string.indexOf(t.pointer, a, cs) == findStr(m_model, n, pattern, a, sensitive));
        FUZZ_CHECK(m_string.lastIndexOf(t.pointer, a, cs) == lastIndexOf(m_model, pattern, a, sensitive));
        FUZZ_CHECK(m_string.count(t.pointer, cs) == countPattern(m_model, pattern, sensitive));
        return;
    }
    case 3: { // by unit; a backward search starts no further than the terminator
        const char16_t unit = unitOf(m_in);
        FUZZ_CHECK(m_string.indexOf(unit, a) == findStr(m_model, n, u16(1, unit), a, true));
        int expected = -1;
        for (std::int64_t i = a == -1  ? n
                              : a < -1 ? static_cast<std::int64_t>(n) + a
                                       : std::min(a, n);
             i >= 0 && expected < 0; --i)
            if (at(m_model, static_cast<int>(i)) == unit) expected = static_cast<int>(i);
        FUZZ_CHECK(m_string.lastIndexOf(unit, a) == expected);
        FUZZ_CHECK(m_string.count(unit) ==
                   static_cast<int>(std::count(m_model.begin(), m_model.end(), unit)));
        return;
    }
    case 4: { // split by a unit, then join by it again: the inverse of split under KeepEmpty
        const char16_t unit = unitOf(m_in);
        const bool keep = form % 3 == 0;
        const auto behavior = static_cast<TStringCore::SplitBehavior>(form % 3);
        const Parts parts = m_string.split(unit, behavior);
        FUZZ_CHECK(texts(parts) ==
                   pieces(m_model, n, 1, keep, [&](int pos) { return unitHit(m_model, n, unit, pos); }));
        const u16 joined = textOf(TStringCore::join(parts, unit));
        if (keep) FUZZ_CHECK(joined == m_model);
        if (b <= n) { // the static form over this text, negative lengths included
            const int size = b < 0 ? measure(m_model, 0) : b;
            FUZZ_CHECK(texts(TStringCore::split(m_string.constData(), b, unit, behavior)) ==
                       pieces(m_model, b < 0 ? -1 : b, 1, keep,
                              [&](int pos) { return unitHit(m_model, size, unit, pos); }));
        }
        return;
    }
    case 5: { // split by a text, then join by it
        const Text t = text();
        const u16 separator = measured(t);
        const int length = sizeOf(separator);
        const bool keep = form % 4 == 0;
        const auto behavior = static_cast<TStringCore::SplitBehavior>(form % 4);
        const Parts parts = m_string.split(t.pointer, behavior, cs);
        const auto hit = [&](int pos) { return findStr(m_model, n, separator, pos, sensitive); };
        FUZZ_CHECK(texts(parts) ==
                   (length == 0 ? std::vector<u16>() : pieces(m_model, n, length, keep, hit)));
        u16 joined;
        for (std::size_t i = 0; i < parts.size(); ++i)
            joined += (i ? separator : u16()) + textOf(parts[i]);
        FUZZ_CHECK(textOf(TStringCore::join(parts, TStringCore(separator.c_str()))) == joined);
        return;
    }
    case 6: { // section by a unit or a text
        const auto flags = static_cast<TStringCore::SectionFlags>(form % 16);
        if (form & 0x10) {
            const char16_t unit = unitOf(m_in);
            FUZZ_CHECK(textOf(m_string.section(unit, a, b, flags)) ==
                       section(m_model, u16(unit ? 1 : 0, unit), a, b, flags));
            return;
        }
        const Text t = text();
        FUZZ_CHECK(textOf(m_string.section(t.pointer, a, b, flags)) ==
                   section(m_model, measured(t), a, b, flags));
        return;
    }
    default:
        FUZZ_CHECK(textOf(m_string.trimmed()) == trimmed(m_model));
    }
}

void Session::check() const {
    FUZZ_CHECK(textOf(m_string) == m_model);
    FUZZ_CHECK(m_string.constData()[m_string.size()] == 0 && m_string.capacity() > m_string.size());
    for (Kept const& kept : m_kept)
        FUZZ_CHECK(textOf(kept.string) == kept.model);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Input in(data, std::min<std::size_t>(size, 4096));
    Session session(in);
    while (!in.empty()) {
        session.step();
        session.check();
        session.bound();
    }
    return 0;
}
