// One code point at a time: measures, walks and conversions among UTF-8, UTF-16 and UTF-32.
#include "kestal/strings/UtfSteps.h"

#include <kestal/CodePoint.h>

using namespace kestal::strings;

namespace {

// Writes one code point as UTF-8 if it fits. A replacement asks for one place more than it
// writes; callers depend on that margin, so it is kept.
bool putUtf8(char32_t c, bool replaced, char* destination, int& index, int capacity) noexcept {
    if (replaced) {
        if (capacity - index < 4) return false;
        c = kReplacement;
    } else {
        const int length = utf8Length(c);
        if (length > 1 && length - 1 >= capacity - index) return false; // index + 3 could wrap
    }
    index += encodeUtf8(c, destination + index);
    return true;
}

// Writes one code point as UTF-16; only a pair is checked for room.
bool putUtf16(char32_t c, char16_t* destination, int& index, int capacity) noexcept {
    if (c < 0x10000) {
        destination[index++] = static_cast<char16_t>(c);
        return true;
    }
    if (capacity - index <= 1) return false; // index + 1 wraps at INT_MAX
    destination[index++] = static_cast<char16_t>(0xD7C0 + (c >> 10));
    destination[index++] = static_cast<char16_t>(0xDC00 | (c & 0x3FF));
    return true;
}

Utf8Step decodeAt(char const* source) noexcept {
    return decodeUtf8(reinterpret_cast<unsigned char const*>(source));
}

} // namespace

namespace CodePoint {

int CountCodeUnits(char16_t const* p) noexcept {
    if (!p) return 0;
    if (!isSurrogate(*p)) return 1;
    return isHighSurrogate(*p) ? 2 : 0;
}

char32_t GetCodePoint(char16_t const* p, int* units) noexcept {
    if (!p) {
        if (units) *units = 0;
        return 0;
    }
    const Utf16Step step = readUtf16(p);
    if (units) *units = step.units;
    return step.value;
}

char16_t const* GetLastCodePointPointer(char16_t const* text, int length, int* units) noexcept {
    if (!text || length < 1) return nullptr;
    char16_t const* p = text + length - 1;
    while (isLowSurrogate(*p)) {
        if (p == text) {
            if (units) *units = 0;
            return nullptr;
        }
        --p;
    }
    if (units) *units = static_cast<int>(text + length - p);
    return p;
}

char16_t const* GetPreviousCodePointPointer(char16_t const* begin, char16_t const* p, int* units) noexcept {
    if (units) *units = 0;
    if (!p || p <= begin) return nullptr;
    char16_t const* q = p - 1;
    while (isLowSurrogate(*q)) {
        if (q == begin) return nullptr;
        --q;
    }
    if (units) *units = static_cast<int>(p - q);
    return q;
}

char16_t const* GetNextCodePointPointer(char16_t const* begin, char16_t const* p, int length,
                                        int* units) noexcept {
    if (units) *units = 0;
    if (!p || p < begin || p - begin >= length) return nullptr;
    // A high surrogate steps over its partner unseen; a low one cannot start a code point.
    const int step = CountCodeUnits(p);
    if (step == 0) return nullptr;
    char16_t const* next = p + step;
    if (next - begin >= length) return nullptr;
    if (units) *units = CountCodeUnits(next);
    return next;
}

char16_t* GetNextCodePointPointer(char16_t* begin, char16_t* p, int length, int* units) noexcept {
    return const_cast<char16_t*>(GetNextCodePointPointer(static_cast<char16_t const*>(begin),
                                                         static_cast<char16_t const*>(p), length, units));
}

int CopyCodePoint(char16_t const* source, char16_t* destination, int& destinationIndex,
                  int destinationCapacity) noexcept {
    const Utf16Step step = readUtf16(source);
    return putUtf16(step.value, destination, destinationIndex, destinationCapacity) ? step.units : 0;
}

int Utf16ToUtf32(char16_t const* source, char32_t* destination, int& destinationIndex, int) noexcept {
    const Utf16Step step = readUtf16(source);
    destination[destinationIndex++] = step.value;
    return step.units;
}

int Utf32ToUtf16(char32_t const* source, char16_t* destination, int& destinationIndex,
                 int destinationCapacity) noexcept {
    const char32_t c = *source > 0x10FFFF ? kReplacement : *source;
    return putUtf16(c, destination, destinationIndex, destinationCapacity) ? 1 : 0;
}

int Utf16ToUtf8(char16_t const* source, char* destination, int& destinationIndex,
                int destinationCapacity) noexcept {
    const Utf16Step step = readUtf16(source);
    return putUtf8(step.value, step.lone, destination, destinationIndex, destinationCapacity) ? step.units
                                                                                              : 0;
}

int Utf32ToUtf8(char32_t const* source, char* destination, int& destinationIndex,
                int destinationCapacity) noexcept {
    return putUtf8(*source, *source > 0x10FFFF, destination, destinationIndex, destinationCapacity) ? 1 : 0;
}

int Utf8ToUtf8(char const* source, char* destination, int& destinationIndex,
               int destinationCapacity) noexcept {
    const Utf8Step step = decodeAt(source);
    if (!step.complete)
        return putUtf8(kReplacement, true, destination, destinationIndex, destinationCapacity) ? step.length
                                                                                               : 0;
    // Copied as it stands, overlong forms and surrogates included.
    if (step.length > 1 && step.length > destinationCapacity - destinationIndex) return 0;
    for (int i = 0; i < step.length; ++i)
        destination[destinationIndex++] = source[i];
    return step.length;
}

int Utf8ToUtf16(char const* source, char16_t* destination, int& destinationIndex,
                int destinationCapacity) noexcept {
    const Utf8Step step = decodeAt(source);
    const char32_t c = step.value >= 0x110000 ? kReplacement : step.value;
    return putUtf16(c, destination, destinationIndex, destinationCapacity) ? step.length : 0;
}

int Utf8ToUtf32(char const* source, char32_t* destination, int& destinationIndex, int) noexcept {
    const Utf8Step step = decodeAt(source);
    destination[destinationIndex++] = step.value >= 0x110000 ? kReplacement : step.value;
    return step.length;
}

} // namespace CodePoint
