// The out-of-line half of the code point iterator: construction by walking, creation from a code
// unit position, stepping back, and the same-string test.
#include <kestal/TConstCodePointIterator.h>
#include <kestal/TStringCore.h>
#include <stdexcept>
#include <string>

template <class TString>
TConstCodePointIterator<TString>::TConstCodePointIterator(TString const& string, int index)
    : TConstCodePointIterator(string, 0, 0) {
    if (index < -1)
        throw std::runtime_error("CodePointIterator<>::operator++: m_position[" + std::to_string(m_position) +
                                 "] is out of range.");
    if (index == -1) {
        m_index = m_position = -1;
        return;
    }
    // Walking past the last code point leaves the end iterator, whose index of -1 ends the loop.
    while (m_index >= 0 && m_index < index)
        ++*this;
}

template <class TString>
TConstCodePointIterator<TString> TConstCodePointIterator<TString>::createFromIndex(TString const& string,
                                                                                   int codeUnitIndex,
                                                                                   int codePointIndex) {
    const int size = string.size();
    if (codeUnitIndex == -1 || codeUnitIndex == size) return TConstCodePointIterator(string, -1, -1);
    if (codeUnitIndex < 0) codeUnitIndex += size;
    if (codeUnitIndex < 0 || codeUnitIndex >= size)
        throw std::runtime_error("TStringCore::createFromIndex codeUnitIndex is out of range.");
    if (!CodePoint::IsFirstCodeUnit(string.constData()[codeUnitIndex]))
        throw std::runtime_error(
            "TStringCore::createFromIndex codeUnitIndex does not reference the begining of a code point.");
    return TConstCodePointIterator(string, codeUnitIndex == 0 ? 0 : codePointIndex, codeUnitIndex);
}

template <class TString>
TConstCodePointIterator<TString>& TConstCodePointIterator<TString>::operator--() {
    if (m_position < 0) {
        m_position = m_string->size();
        m_index = -1;
    }
    if (m_position <= 0)
        throw std::runtime_error("CodePointIterator<>::operator--: attempted to decrement iterator past the "
                                 "begining of the string.");
    char16_t const* text = m_string->constData();
    char16_t const* previous = CodePoint::GetPreviousCodePointPointer(text, text + m_position);
    if (previous > text) {
        m_position = static_cast<int>(previous - text);
        if (m_index >= 0) --m_index;
    } else {
        // At the start (or stuck on low surrogates before it): the number is known again.
        m_position = m_index = 0;
    }
    return *this;
}

template <class TString>
void TConstCodePointIterator<TString>::throwIfNotSameString(char16_t const* text,
                                                            char const* operation) const {
    if (text != m_string->constData())
        throw std::runtime_error(std::string(operation) +
                                 " iterators do not reference the same underlying string.");
}

template <class TString>
void TConstCodePointIterator<TString>::throwIncrementPastEnd() {
    throw std::runtime_error(
        "CodePointIterator<>::operator++: attempted to increment the iterator past the end of the string.");
}

template class TConstCodePointIterator<TStringCore>;
