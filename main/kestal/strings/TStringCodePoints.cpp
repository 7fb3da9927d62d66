// TStringCore in code points and UTF-8: input from UTF-8, code point measures, editing at a code
// point iterator, replacement by code points, and stream output.
#include <cstring>
#include <kestal/CodePoint.h>
#include <kestal/TStringCore.h>
#include <kestal/Unicode.h>
#include <ostream>

namespace {

using Iterator = TConstCodePointIterator<TStringCore>;

// Code points that begin in `units` units from `text`: a high surrogate steps two units unseen, so
// a pair that `units` cuts counts whole. Returns the number of steps; the units covered may exceed
// `units` by one.
int countSteps(char16_t const* text, int units) noexcept {
    int steps = 0;
    for (int i = 0; i < units; ++steps)
        i += CodePoint::CountCodeUnits(text + i) == 2 ? 2 : 1;
    return steps;
}

} // namespace

// ---- UTF-8 input -------------------------------------------------------------------------------

TStringCore& TStringCore::appendUtf8(char const* text, std::size_t length) {
    if (length >= 0x80000000u) throw Exception(u"Appended string is too long");
    if (length == 0) return *this;
    const int oldSize = size();
    const int n = static_cast<int>(length);
    // One unit a byte is the most UTF-8 can need; what is left over is cut again below.
    char16_t* units = grow(n);
    const int converted = Unicode::Utf8ToUtf16(text, n, units + oldSize, capacity() - oldSize);
    TStringManager::resize(oldSize + converted);
    return *this;
}

TStringCore& TStringCore::append(char const* text, int length) {
    if (!text) return *this;
    return appendUtf8(text, length < 0 ? std::strlen(text) : static_cast<std::size_t>(length));
}

TStringCore& TStringCore::assign(char const* text, int length) {
    TStringManager::resize(0);
    return append(text, length);
}

TStringCore TStringCore::fromUtf8(char const* text, int length) {
    TStringCore result;
    result.append(text, length);
    return result;
}

TStringCore TStringCore::fromStdString(std::string const& text) {
    TStringCore result;
    result.appendUtf8(text.data(), text.size());
    return result;
}

// ---- Code point measures and iterators ---------------------------------------------------------

int TStringCore::lengthInCodePoints() const {
    return Unicode::LengthInCodePoints(constData(), 0, -1);
}

int TStringCore::lengthInCodePoints(char16_t const* text) {
    return Unicode::LengthInCodePoints(text, 0, -1);
}

int TStringCore::subStringSizeInCodePoints(int start, int count) const noexcept {
    const int n = size();
    if (start < 0 || start >= n) return 0;
    if (count < 0 || count > n - start) count = n - start;
    return countSteps(constData() + start, count);
}

int TStringCore::subStringSizeInCodeUnits(int start, int count) const noexcept {
    if (start < 0 || start >= size()) return 0;
    return Unicode::SubStringSizeInCodeUnits(constData(), size(), start, count);
}

Iterator TStringCore::codepoint_cbegin() const {
    return Iterator(*this, isEmpty() ? -1 : 0);
}

Iterator TStringCore::codepoint_cend() const {
    return Iterator(*this, -1);
}

// ---- Editing at an iterator --------------------------------------------------------------------

int TStringCore::getInsertCodeUnitIndex(Iterator const& at) const {
    at.throwIfNotSameString(constData(), "operator==");
    return at.isEnd() ? size() : at.position();
}

TStringCore& TStringCore::insert(Iterator const& at, char16_t const* text, int length) {
    return insert(getInsertCodeUnitIndex(at), text, length);
}

TStringCore& TStringCore::insert(Iterator const& at, TStringCore const& other) {
    return insert(getInsertCodeUnitIndex(at), other);
}

TStringCore& TStringCore::removeAt(Iterator const& at, int count) {
    at.throwIfNotSameString(constData(), "operator==");
    return at.isEnd() ? *this : removeAt(at.position(), count);
}

TStringCore& TStringCore::truncate(Iterator const& at) {
    at.throwIfNotSameString(constData(), "operator==");
    return at.isEnd() ? *this : truncate(at.position());
}

TStringCore& TStringCore::replace(int pos, int count, char16_t unit) {
    const int n = size();
    if (pos < 0 || count < 1 || pos >= n) return *this;
    if (count > n - pos) count = n - pos;
    const int steps = countSteps(constData() + pos, count);
    char16_t* units = str();
    for (int i = 0; i < steps; ++i)
        units[pos + i] = unit;
    if (steps < count) {
        std::memmove(units + pos + steps, units + pos + count, static_cast<std::size_t>(n - pos - count) * 2);
        TStringManager::resize(n - (count - steps));
    }
    return *this;
}

// The end iterator's position of -1 is a bad position, so it changes nothing.
TStringCore& TStringCore::replace(Iterator const& at, int count, char16_t unit) {
    return replace(at.position(), count, unit);
}

TStringCore& TStringCore::replace(Iterator const& at, int count, TStringCore const& other) {
    return replace(at.position(), count, other);
}

TStringCore& TStringCore::fill(char16_t unit, int count) {
    if (count < 0) count = lengthInCodePoints();
    char16_t* units = TStringManager::resize(count);
    for (int i = 0; i < count; ++i)
        units[i] = unit;
    return *this;
}

// ---- Substrings by code points -----------------------------------------------------------------

TStringCore TStringCore::mid(Iterator const& first, int count) const {
    const int pos = first.position();
    if (pos < 0 || count < -1 || count == 0 || pos > size()) return {};
    return TStringCore(constData() + pos, Unicode::SubStringSizeInCodeUnits(constData(), size(), pos, count));
}

TStringCore TStringCore::mid(Iterator const& first, Iterator const& last) const {
    const int pos = first.position();
    if (pos < 0 || pos >= size()) return {};
    if (last.isEnd()) return TStringCore(constData() + pos, size() - pos);
    // Clamped so that an iterator of a longer string reads nothing beyond this one.
    const int end = last.position() < size() ? last.position() : size();
    if (end > pos) return TStringCore(constData() + pos, end - pos);
    return {};
}

// ---- Stream output -----------------------------------------------------------------------------

std::ostream& operator<<(std::ostream& out, TStringCore const& s) {
    return out << '"' << Unicode::toStdString(s.constData(), static_cast<std::size_t>(s.size())) << '"';
}

std::ostream& operator<<(std::ostream& out, char16_t unit) {
    return out << Unicode::toStdString(&unit, 1);
}
