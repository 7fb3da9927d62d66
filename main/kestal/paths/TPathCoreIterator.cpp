// TPathCore's element walk, the element lists built on it, and TPathCore::Exception. Each step
// recomputes the root from the text (a short scan), so the iterator holds only the path and one
// element. Positions run over every unit of the text; element texts come from mid, so one that
// runs to the end stops at a zero unit.
#include "../errors/Raise.h"
#include "PathRoot.h"

#include <bit>
#include <cstdint>
#include <cstring>
#include <kestal/TPathCore.h>
#include <kestal/TStackWalker.h>
#include <utility>

namespace {

// The walk's failures: each its own code, all as System / UNKNOWN.
enum : unsigned int {
    kElementStart = 0x9E82DC54,
    kElementEnd = 0x38CA4808,
    kNextElement = 0xA22179A7,
    kBeyondEnd = 0x24209A38,
    kBeyondBeginning = 0x6C884971,
    kOutOfSync = 0x2BC6B9CE,
    kAssignment = 0x4E3E0D3F,
};

[[noreturn]] void raise(unsigned int code, char16_t const* message) {
    kestal::detail::Raise<TPathCore::Exception>(code, TError::System, grpc::StatusCode::UNKNOWN,
                                                TStringCore(message));
}

// The engine of the walk. Its pieces are forced inline: a step is a handful of short scans, and
// calls between them cost as much as the scans.

// The first `unit` in [from, n), or -1. Eight units per step, as two words in which each lane
// equal to the unit gets its high bit set, exactly (no carry crosses lanes). The last units are
// read as the eight that end the text, their lanes before `from` masked off, so a text of eight
// units or more never takes the unit loop. Most names end within one step, so the one branch of
// a step is well predicted where a unit loop's exit is not.
[[gnu::always_inline]] inline int firstUnit(char16_t const* units, int from, int n, char16_t unit) noexcept {
    constexpr std::uint64_t low15 = 0x7FFF7FFF7FFF7FFFu;
    const std::uint64_t pattern = 0x0001000100010001u * unit;
    auto matches = [&](int at) {
        std::uint64_t word;
        std::memcpy(&word, units + at, sizeof word);
        word ^= pattern;
        return ~(((word & low15) + low15) | word | low15);
    };
    auto first = [](int at, std::uint64_t low, std::uint64_t high) {
        return at + (low ? std::countr_zero(low) : 64 + std::countr_zero(high)) / 16;
    };
    int i = from;
    if constexpr (std::endian::native == std::endian::little) {
        if (n >= 8) {
            for (; i + 8 <= n; i += 8) {
                const std::uint64_t low = matches(i), high = matches(i + 4);
                if (low | high) return first(i, low, high);
            }
            if (i >= n) return -1;
            const int at = n - 8, skip = i - at; // 1..7 lanes already looked at
            std::uint64_t low = matches(at), high = matches(at + 4);
            if (skip >= 4)
                low = 0, high &= ~std::uint64_t(0) << (16 * (skip - 4));
            else
                low &= ~std::uint64_t(0) << (16 * skip);
            return low | high ? first(at, low, high) : -1;
        }
    }
    for (; i < n; ++i)
        if (units[i] == unit) return i;
    return -1;
}

[[gnu::always_inline]] inline int rootLength(TStringCore const& text) noexcept {
    return kestal::paths::rootNameLength(kestal::paths::textOf(text));
}

// locateElementEnd with r known.
[[gnu::always_inline]] inline int elementEnd(TStringCore const& text, int r, int position) {
    if (position == 0 && r > 0) return r; // the root name
    if (position != 0 && (position < 0 || position >= text.size()))
        raise(kElementStart,
              u"TPathCore::iterator::locateElementEnd element starting position is out of range.");
    if (position == r && kestal::paths::rootDirectoryPosition(kestal::paths::textOf(text)) == r)
        return r + 1; // the root directory
    return firstUnit(text.constData(), position, text.size(), u'/');
}

// locateNextElement with r known.
[[gnu::always_inline]] inline int nextStart(TStringCore const& text, int r, int start, int end) {
    if (end < 0) return end;
    const int n = text.size();
    if (end >= n)
        raise(kElementEnd, u"TPathCore::iterator::locateNextElement element end position is out of range.");
    // After the root name or the root directory, and after a relative path's first name (r is 0
    // there), the next element starts at this one's end: no special case for the relative path.
    if (start == r || end == r) return end;
    char16_t const* units = text.constData();
    for (int i = end + 1; i < n; ++i)
        if (units[i] != u'/') return i;
    return -1;
}

// The text of the element [position, end) into `out`, as mid gives it: an end at or before the
// position (a "/" after a relative path's first name, or none) takes the rest, up to a zero unit.
// Written in place, so a walk reuses the iterator's own storage.
[[gnu::always_inline]] inline void elementText(TStringCore const& text, int position, int end,
                                               TStringCore& out) {
    char16_t const* units = text.constData() + position;
    int length = end - position;
    if (end <= position) {
        const int zero = firstUnit(text.constData(), position, text.size(), 0);
        length = (zero < 0 ? text.size() : zero) - position;
    }
    // A short text goes back to the inline form: a block kept from a longer element would make
    // every copy of the element a shared one.
    if (length < TStringManager::InlineCapacity && out.capacity() > TStringManager::InlineCapacity)
        out.clear();
    char16_t* to = out.resize(length);
    constexpr int kInline = TStringManager::InlineCapacity - 1;
    if (length <= kInline && position + kInline <= text.size()) {
        // A fixed-size copy into the inline form, which has room for it; the terminator that the
        // copy overwrote is put back.
        std::memcpy(to, units, kInline * sizeof(char16_t));
        to[length] = 0;
    } else {
        std::memcpy(to, units, static_cast<std::size_t>(length) * sizeof(char16_t));
    }
}

} // namespace

// ---- TPathCore::Exception ----------------------------------------------------------------------

TPathCore::Exception::Exception(TStringCore const& message, TError::ErrorInfo const& info)
    : VelmoraException(message, info) {
    // The call stack follows the message, one line per message, when the walker is active.
    TStackWalker walker;
    if (walker.GenerateCallstack())
        for (std::string const& line : walker.GetCollected())
            StackMessage(TStringCore::fromStdString(line));
}

TPathCore::Exception::Exception(Exception const& other) = default;
// A move copies: the base has no move, and a moved-from exception would lose its stacks.
TPathCore::Exception::Exception(Exception&& other)
    : VelmoraException(other) {}
TPathCore::Exception::~Exception() = default;

TPathCore::Exception* TPathCore::Exception::Clone() const {
    return new Exception(*this);
}

void TPathCore::Exception::Throw() const {
    throw Exception(*this);
}

// ---- The walk on TPathCore ---------------------------------------------------------------------

TPathCore::iterator TPathCore::begin() const {
    return iterator(*this, 0);
}

TPathCore::iterator TPathCore::end() const {
    return iterator(*this, -1);
}

int TPathCore::size() const {
    // The iterator's walk by positions alone: the texts play no part in the count or its failure.
    if (IsEmpty()) return 0;
    const int r = rootLength(m_path);
    int count = 1;
    for (int start = 0, end = elementEnd(m_path, r, 0); (start = nextStart(m_path, r, start, end)) >= 0;
         ++count)
        end = elementEnd(m_path, r, start);
    return count;
}

TStringCore TPathCore::front() const {
    return *iterator(*this, 0);
}

TStringCore TPathCore::back() const {
    // Kept on purpose as written: prev() from the end iterator fails at once, so this always
    // raises the decrement-beyond-beginning failure.
    iterator it = end();
    it = it.prev();
    return *it;
}

std::vector<TStringCore> TPathCore::toVector() const {
    std::vector<TStringCore> elements;
    for (iterator it = begin(), last = end(); it != last; ++it)
        elements.push_back(*it);
    return elements;
}

TPathCore TPathCore::fromVector(std::vector<TStringCore> const& elements) {
    TPathCore result;
    for (TStringCore const& text : elements)
        result.Append(TPathCore(text));
    return result;
}

// ---- TPathCore::iterator -----------------------------------------------------------------------
// The public element functions and the steps forward to the engine above, which takes the root
// name length once per step.

TPathCore::iterator::iterator(TPathCore const& path, int position)
    : m_path(&path)
    , m_element{position, position, TStringCore()} {
    if (path.IsEmpty()) {
        m_element.start = m_element.end = -1; // whatever the position
        return;
    }
    if (position < 0) return;
    m_element.end = elementEnd(path.m_path, rootLength(path.m_path), position);
    elementText(path.m_path, position, m_element.end, m_element.text);
}

TPathCore::iterator& TPathCore::iterator::operator=(iterator const& other) {
    // Pointers, not texts: two path objects with one text still refuse.
    if (m_path != other.m_path)
        raise(kAssignment,
              u"Invalid TPathCore::iterator asignment of from one TPathCore to different TPathCore.");
    m_element.start = other.m_element.start;
    m_element.end = other.m_element.end;
    if (this != &other) m_element.text = other.m_element.text;
    return *this;
}

// The step of next(), in place.
TPathCore::iterator& TPathCore::iterator::operator++() {
    TStringCore const& text = m_path->m_path;
    const int start = m_element.start;
    // This test also covers the one of getNextElement.
    if (start < 0 || start >= text.size())
        raise(kBeyondEnd, u"TPathCore::iterator trying to increment beyond end.");
    const int r = rootLength(text);
    const int position = nextStart(text, r, start, m_element.end);
    // Nothing changes until every test has passed, so a failed step leaves the iterator as it was.
    const int end = position < 0 ? position : elementEnd(text, r, position);
    if (position < 0)
        m_element.text.clear();
    else
        elementText(text, position, end, m_element.text);
    m_element.start = position;
    m_element.end = end;
    return *this;
}

TPathCore::iterator TPathCore::iterator::operator++(int) {
    iterator before(*this);
    ++*this;
    return before;
}

TPathCore::iterator& TPathCore::iterator::operator--() {
    return *this = prev();
}

TPathCore::iterator TPathCore::iterator::operator--(int) {
    iterator before(*this);
    --*this;
    return before;
}

TPathCore::iterator TPathCore::iterator::next() {
    ++*this;
    return *this;
}

TPathCore::iterator TPathCore::iterator::prev() {
    if (m_element.start <= 0)
        raise(kBeyondBeginning, u"TPathCore::iterator trying to decrement beyond beginning.");
    // Kept on purpose as written: the first candidate starts at 0, so the test below fails at once
    // and no step back ever succeeds.
    Element candidate = getElement(0);
    while (true) {
        if (candidate.start < 1) raise(kOutOfSync, u"TPathCore::iterator out of sync in prev.");
        Element following = getNextElement(candidate);
        if (following.start == m_element.start) {
            m_element = std::move(candidate);
            return *this;
        }
        candidate = std::move(following);
    }
}

TPathCore::iterator::Element TPathCore::iterator::getElement(int position) const {
    Element element{position, position, TStringCore()};
    if (position < 0) return element;
    element.end = locateElementEnd(position);
    elementText(m_path->m_path, position, element.end, element.text);
    return element;
}

TPathCore::iterator::Element TPathCore::iterator::getNextElement(Element const& element) const {
    if (element.start < 0 || element.start >= m_path->m_path.size())
        raise(kNextElement, u"Invalid position in TPathCore::iterator::nextElement.");
    return getElement(locateNextElement(element));
}

int TPathCore::iterator::locateElementEnd(int position) const {
    return elementEnd(m_path->m_path, rootLength(m_path->m_path), position);
}

int TPathCore::iterator::locateNextElement(Element const& element) const {
    return nextStart(m_path->m_path, rootLength(m_path->m_path), element.start, element.end);
}
