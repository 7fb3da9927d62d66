// TConstCodePointIterator: a read-only walk over a string by code points that keeps its place in
// code units. It holds the string by pointer and checks on comparison that both iterators still
// see the same text block: a string that has since detached or reallocated no longer matches.
// Misuse raises std::runtime_error. The end iterator has index and position -1.
#pragma once

#include <iterator>
#include <kestal/CodePoint.h>
#include <kestal/KestalExport.h>

class TStringCore;

template <class TString>
class KESTAL_API TConstCodePointIterator {
public:
    using iterator_category = std::bidirectional_iterator_tag;
    using value_type = char32_t;
    using difference_type = int;
    using pointer = void;
    using reference = char32_t;

    /// On code point `index`, found by a walk from the start: -1, or an index past the last code
    /// point, gives the end iterator; 0 stays at 0 even for an empty string. Raises
    /// std::runtime_error for an index below -1.
    TConstCodePointIterator(TString const& string, int index);

    /// At code unit `codeUnitIndex` (negative: counted from the end; -1 or the size: the end
    /// iterator), taking `codePointIndex` as its number (0 at position 0). Raises std::runtime_error
    /// when the position is out of range or holds a low surrogate.
    static TConstCodePointIterator createFromIndex(TString const& string, int codeUnitIndex,
                                                   int codePointIndex = -1);

    /// Number of the code point, or -1 when unknown or at the end.
    int index() const noexcept { return m_index; }
    /// Code unit position, or -1 at the end.
    int position() const noexcept { return m_position; }
    /// True for the end iterator.
    bool isEnd() const noexcept { return m_position < 0; }
    /// The string iterated.
    TString const& string() const noexcept { return *m_string; }

    /// The code point here (0xFFFD for a lone surrogate); 0 at the end.
    char32_t operator*() const noexcept {
        return m_position < 0 ? 0 : CodePoint::GetCodePoint(m_string->constData() + m_position);
    }

    /// One code point on; past the last one gives the end iterator. Raises std::runtime_error at
    /// the end. A lone low surrogate ends the walk.
    TConstCodePointIterator& operator++() {
        if (m_position < 0) throwIncrementPastEnd();
        char16_t const* text = m_string->constData();
        char16_t const* next = CodePoint::GetNextCodePointPointer(text, text + m_position, m_string->size());
        if (!next) {
            m_index = m_position = -1;
            return *this;
        }
        m_position = static_cast<int>(next - text);
        if (m_index >= 0) ++m_index;
        return *this;
    }
    TConstCodePointIterator operator++(int) {
        TConstCodePointIterator before = *this;
        ++*this;
        return before;
    }

    /// One code point back; from the end iterator to the last code point with an unknown index.
    /// Reaching position 0 makes the index known again. Raises std::runtime_error at position 0.
    TConstCodePointIterator& operator--();
    TConstCodePointIterator operator--(int) {
        TConstCodePointIterator before = *this;
        --*this;
        return before;
    }

    /// Compare positions; raise std::runtime_error when the two do not see the same text.
    bool operator==(TConstCodePointIterator const& other) const {
        throwIfNotSameString(other.m_string->constData(), "operator==");
        return m_position == other.m_position;
    }
    bool operator!=(TConstCodePointIterator const& other) const {
        throwIfNotSameString(other.m_string->constData(), "operator!=");
        return m_position != other.m_position;
    }

    /// Raises std::runtime_error, naming `operation`, unless `text` is the iterated string's text
    /// pointer. Copies that share a block pass.
    void throwIfNotSameString(char16_t const* text, char const* operation) const;

private:
    TConstCodePointIterator(TString const& string, int index, int position) noexcept
        : m_index(index)
        , m_position(position)
        , m_string(&string) {}
    [[noreturn]] static void throwIncrementPastEnd();

    int m_index;    // code point number; -1 unknown or at the end
    int m_position; // code unit index; -1 at the end
    TString const* m_string;
};

// The string it walks, for callers that include this header alone.
#include <kestal/TStringCore.h>
