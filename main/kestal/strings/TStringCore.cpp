// TStringCore in code units: construction, element access and editing by position.
#include "kestal/strings/Units.h"

#include <climits>
#include <cstdint>
#include <kestal/TStringCore.h>

using kestal::strings::copyUnits;
using kestal::strings::moveUnits;

// ---- Construction and measurement --------------------------------------------------------------

TStringCore::TStringCore(char16_t const* text, int length) {
    if (!text) return;
    if (length < 0) length = TStringCore::length(text);
    if (length == 0) return;
    if (length < InlineCapacity)
        kestal::strings::copyFewUnits(resize(length), text, length);
    else
        startLong(text, length);
}

int TStringCore::length(char16_t const* text) {
    if (!text) return 0;
    char16_t const* end = text;
    while (*end)
        ++end;
    if (end - text >= MaxCapacity) throw CapacityException();
    return static_cast<int>(end - text);
}

int TStringCore::lengthInBytes(char16_t const* text) {
    const int units = length(text);
    if (units > INT_MAX / 2) throw CapacityException();
    return 2 * units;
}

char16_t* TStringCore::grow(int count) {
    const std::int64_t newSize = static_cast<std::int64_t>(size()) + count;
    if (newSize >= MaxCapacity) throw CapacityException();
    return TStringManager::resize(static_cast<int>(newSize));
}

// ---- Element access ----------------------------------------------------------------------------

char16_t& TStringCore::operator[](int index) {
    if (index < 0 || index > size()) throw Exception(u"TStringCore::operator[int] argument out of range.");
    return data()[index];
}

char16_t TStringCore::operator[](int index) const {
    if (index < 0 || index > size())
        throw Exception(u"TStringCore::operator[int] const argument out of range.");
    return constData()[index];
}

char16_t& TStringCore::operator[](unsigned long index) {
    if (index > static_cast<unsigned long>(size()))
        throw Exception(u"TStringCore::operator[size_type] argument out of range.");
    return data()[index];
}

char16_t TStringCore::operator[](unsigned long index) const {
    if (index > static_cast<unsigned long>(size()))
        throw Exception(u"TStringCore::operator[size_type] const argument out of range.");
    return constData()[index];
}

char16_t TStringCore::at(int index) const {
    if (index < 0 || index > size()) throw Exception(u"TStringCore::at(int): argument out of range.");
    return constData()[index];
}

char16_t* TStringCore::data() noexcept {
    return str(); // a failed detach here ends the process: the accessor is noexcept
}

// ---- Appending, prepending, assigning ----------------------------------------------------------

void TStringCore::appendUnitSlow(char16_t unit) {
    const int n = size();
    grow(1)[n] = unit;
}

TStringCore& TStringCore::append(TStringCore const& other) {
    const int n = size();
    if (&other == this) {
        if (n == 0) return *this;
        char16_t* text = grow(n);
        copyUnits(text + n, text, n);
        return *this;
    }
    // Grows even for an empty argument, so a shared string is detached either way.
    const int m = other.size();
    char16_t* text = grow(m);
    if (m > 0) copyUnits(text + n, other.constData(), m);
    return *this;
}

TStringCore& TStringCore::appendHandleSelf(char16_t const* text, int length) {
    const int n = size();
    char16_t const* own = constData();
    if (text >= own && text <= own + n) {
        // Only the offset survives the reallocation that growing may cause.
        const int offset = static_cast<int>(text - own);
        // Compared as a difference: offset + length passes INT_MAX for a length near it.
        const int count = (length >= 0 && length <= n - offset) ? length : n - offset;
        if (count < 1) return *this;
        char16_t* units = grow(count);
        copyUnits(units + n, units + offset, count);
        return *this;
    }
    if (!text) return *this;
    if (length < 0) length = TStringCore::length(text);
    if (length == 0) return *this;
    // Outside the text need not mean outside the block: the tail that replace has just cut off
    // still lies behind the terminator, where the new units go, so the copy is a move.
    char16_t* units = grow(length);
    moveUnits(units + n, text, length);
    return *this;
}

TStringCore& TStringCore::appendFromSelf(int pos, int count) {
    const int n = size();
    if (pos < 0 || pos > n) return *this;
    if (count < 0 || count > n - pos) count = n - pos;
    if (count < 1) return *this;
    char16_t* units = grow(count);
    copyUnits(units + n, units + pos, count);
    return *this;
}

TStringCore& TStringCore::prepend(char16_t unit) {
    const int n = size();
    char16_t* units = grow(1);
    moveUnits(units + 1, units, n);
    units[0] = unit;
    return *this;
}

void TStringCore::assign(char16_t unit, int count) {
    if (count < 0) return;
    char16_t* units = TStringManager::resize(count);
    for (int i = 0; i < count; ++i)
        units[i] = unit;
}

void TStringCore::assignHandleSelf(char16_t const* text, int length) {
    const int n = size();
    char16_t const* own = constData();
    if (text == own) {
        if (length >= 0 && length < n) TStringManager::resize(length);
        return;
    }
    if (!(text > own && text <= own + n)) {
        TStringManager::resize(0);
        appendHandleSelf(text, length);
        return;
    }
    const int offset = static_cast<int>(text - own);
    if (length < 0)
        length = TStringCore::length(text);
    else if (length > n - offset) // not offset + length > n, which wraps for a length near INT_MAX
        length = n - offset;
    // Read from the same offset of the block that detach may have replaced.
    detach();
    char16_t* units = mutableData();
    moveUnits(units, units + offset, length);
    TStringManager::resize(length);
}

// ---- Inserting, removing, replacing ------------------------------------------------------------

TStringCore& TStringCore::insert(int pos, char16_t unit) {
    const int n = size();
    if (pos < 0 || pos > n) return *this;
    char16_t* units = grow(1);
    moveUnits(units + pos + 1, units + pos, n - pos);
    units[pos] = unit;
    return *this;
}

TStringCore& TStringCore::insert(int pos, char16_t const* text, int length) {
    const int n = size();
    if (pos < 0 || pos > n || !text || length == 0) return *this;
    char16_t const* own = constData();
    // Never inside a surrogate pair; at pos == n this reads the terminator, which passes.
    if (kestal::strings::isLowSurrogate(own[pos])) return *this;
    if (length < 0) length = TStringCore::length(text);
    if (length == 0) return *this;
    const bool inside = text >= own && text <= own + n;
    const std::ptrdiff_t offset = text - own;
    char16_t* units = grow(length);
    char16_t const* source = inside ? units + offset : text;
    // Kept as it is: a source inside the string at or behind pos is read after the shift.
    moveUnits(units + pos + length, units + pos, n - pos);
    moveUnits(units + pos, source, length);
    return *this;
}

TStringCore& TStringCore::removeAt(int pos, int count) {
    const int n = size();
    if (n <= pos) return *this;
    if (static_cast<std::int64_t>(pos) + count >= n) {
        TStringManager::resize(pos < 0 ? 0 : pos);
        return *this;
    }
    if (pos < 0) {
        // A negative pos eats into the count; summed in 64 bits, as count may be near INT_MIN.
        const std::int64_t remaining = static_cast<std::int64_t>(count) + pos;
        if (remaining < 1) return *this;
        count = static_cast<int>(remaining); // below n: pos + count did not reach it
        pos = 0;
    }
    if (count < 1) return *this;
    char16_t* units = str();
    moveUnits(units + pos, units + pos + count, n - pos - count + 1);
    TStringManager::resize(n - count);
    return *this;
}

void TStringCore::chop(int n) {
    if (n < 1) return;
    TStringManager::resize(n >= size() ? 0 : size() - n);
}

TStringCore& TStringCore::truncate(int n) {
    if (n < 0) n = 0;
    if (size() > n) TStringManager::resize(n);
    return *this;
}

TStringCore& TStringCore::truncateAtFirstNull() {
    char16_t const* units = constData();
    const int n = size();
    for (int i = 0; i < n; ++i) {
        if (units[i] == 0) {
            TStringManager::resize(i);
            break;
        }
    }
    return *this;
}

TStringCore& TStringCore::replace(int pos, int count, char16_t const* text, int length) {
    const int n = size();
    if (pos < 0 || count < 0 || pos > n) return *this;
    if (length == 0) text = nullptr;
    if (!text && length != 0) return *this;
    if (pos == 0 && count >= n) {
        assignHandleSelf(text, length);
        return *this;
    }
    if (static_cast<std::int64_t>(pos) + count >= n) {
        if (pos < n) TStringManager::resize(pos);
        return appendHandleSelf(text, length);
    }
    if (count == 0) return insert(pos, text, length);
    if (!text) return removeAt(pos, count);
    if (length < 0) length = TStringCore::length(text);
    const int delta = length - count;
    char16_t const* own = constData();
    const bool inside = text >= own && text <= own + n;
    const std::ptrdiff_t offset = text - own;
    char16_t* units = delta > 0 ? grow(delta) : str();
    // A text inside this string is not corrected for the shift below, as in insert; only its
    // offset is carried across a reallocation so that nothing freed is read.
    char16_t const* source = inside ? units + offset : text;
    if (delta != 0) moveUnits(units + pos + length, units + pos + count, n - pos - count);
    moveUnits(units + pos, source, length);
    if (delta < 0) TStringManager::resize(n + delta);
    return *this;
}

void TStringCore::swap(TStringCore& other) noexcept {
    if (this == &other) return;
    TStringCore held(other);
    other = *this;
    *this = std::move(held);
}

// ---- Substrings --------------------------------------------------------------------------------

TStringCore TStringCore::left(int n) const {
    if (n < 1) return {};
    if (n < size()) return TStringCore(constData(), n);
    return *this;
}

TStringCore TStringCore::right(int n) const {
    if (n < 1) return {};
    if (n < size()) return TStringCore(constData() + size() - n, n);
    return *this;
}

TStringCore TStringCore::mid(int pos, int n) const {
    const int total = size();
    if (pos < 0 || n == 0 || pos > total) return {};
    const int take = n >= 0 ? (n < total - pos ? n : total - pos) : length(constData() + pos);
    if (pos == 0 && take >= total) return *this;
    if (take == 0) return {};
    return TStringCore(constData() + pos, take);
}

// ---- Concatenation -----------------------------------------------------------------------------

TStringCore operator+(TStringCore const& a, TStringCore const& b) {
    TStringCore result(a);
    result.append(b);
    return result;
}

TStringCore operator+(TStringCore const& a, char16_t b) {
    TStringCore result(a);
    result.append(b);
    return result;
}

TStringCore operator+(TStringCore const& a, char16_t const* b) {
    TStringCore result(a);
    result.append(b, -1);
    return result;
}

TStringCore operator+(char16_t a, TStringCore const& b) {
    TStringCore result(&a, 1);
    result.append(b);
    return result;
}

TStringCore operator+(char16_t const* a, TStringCore const& b) {
    TStringCore result(a, -1);
    result.append(b);
    return result;
}
