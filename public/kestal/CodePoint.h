// CodePoint: reading, measuring and converting exactly one code point at a pointer, among UTF-8,
// UTF-16 and UTF-32. These are the building blocks of the string layer's code point walks: they
// allocate nothing and raise nothing. Bad input is replaced by U+FFFD, never reported; a conversion
// that lacks room returns 0 and changes nothing.
//
// The converters share one shape: f(source, destination, destinationIndex, destinationCapacity)
// reads one code point at `source`, writes it at destination[destinationIndex], advances the index
// and returns the source units consumed. Capacity is checked only where more than one output unit
// is needed; a single unit is written unchecked, so callers keep room for one.
#pragma once

#include <cstdint>
#include <kestal/KestalExport.h>

namespace CodePoint {

/// The UTF-8 lead table: sequence length by the lead byte shifted right by 3. 1 for ASCII, 0 for a
/// continuation byte or 0xF8-0xFF, 2 to 4 for a lead; 0xF5-0xF7 count as leads of 4.
struct CountUtf8CodeUnits {
    static constexpr std::int8_t _utf8CodeUnits[32] = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,
                                                       0, 0, 0, 0, 0, 0, 0, 0, 2, 2, 2, 2, 3, 3, 4, 0};
    /// Length of the sequence that `byte` starts: 1 to 4, or 0 when it cannot start one.
    static constexpr int ForLead(char byte) noexcept {
        return _utf8CodeUnits[static_cast<unsigned char>(byte) >> 3];
    }
};

/// True for a unit below 0x80.
constexpr bool IsASCII(char16_t unit) noexcept {
    return unit < 0x80;
}
/// True unless `unit` is a low surrogate.
constexpr bool IsFirstCodeUnit(char16_t unit) noexcept {
    return unit < 0xDC00 || unit > 0xDFFF;
}
constexpr bool IsFirstUtf16CodeUnit(char16_t unit) noexcept {
    return IsFirstCodeUnit(unit);
}
/// Always true: every UTF-32 value starts a code point.
constexpr bool IsFirstUtf32CodeUnit(char32_t) noexcept {
    return true;
}
/// Always true, surrogates included.
constexpr bool IsSingleCodeUnit(char16_t) noexcept {
    return true;
}

/// UTF-16 units that `codePoint` takes: 1 below 0x10000, else 2.
constexpr int CountCodeUnits(char32_t codePoint) noexcept {
    return codePoint < 0x10000 ? 1 : 2;
}
/// Units of the code point at `p`, judged by that unit alone: 0 for null or a low surrogate, 2 for
/// a high surrogate, else 1.
KESTAL_API int CountCodeUnits(char16_t const* p) noexcept;

/// The code point at `p`; `units`, if given, receives the units taken. Null gives 0 (units 0); a
/// low surrogate or a high one without its low gives 0xFFFD (units 1).
KESTAL_API char32_t GetCodePoint(char16_t const* p, int* units = nullptr) noexcept;
/// The start of the last code point of `text` (walking back over low surrogates); `units` gets the
/// units from there to the end. Null for a null text or a length below 1 (units untouched) and for
/// a text of low surrogates only (units 0).
KESTAL_API char16_t const* GetLastCodePointPointer(char16_t const* text, int length,
                                                   int* units = nullptr) noexcept;
/// One unit back from `p`, then on over low surrogates; `units` gets the units stepped. Null (units
/// 0) at or before `begin`, or when the walk reaches `begin` on a low surrogate.
KESTAL_API char16_t const* GetPreviousCodePointPointer(char16_t const* begin, char16_t const* p,
                                                       int* units = nullptr) noexcept;
/// The code point after the one at `p` within `length` units from `begin`; `units` gets the length
/// of the code point found there. Null (units 0) when `p` is out of range or a low surrogate, and
/// when the step reaches `length`: a null result also means the last code point was reached.
KESTAL_API char16_t const* GetNextCodePointPointer(char16_t const* begin, char16_t const* p, int length,
                                                   int* units = nullptr) noexcept;
KESTAL_API char16_t* GetNextCodePointPointer(char16_t* begin, char16_t* p, int length,
                                             int* units = nullptr) noexcept;

/// UTF-16 to UTF-16. A pair needs index + 1 below capacity; a lone surrogate becomes 0xFFFD.
KESTAL_API int CopyCodePoint(char16_t const* source, char16_t* destination, int& destinationIndex,
                             int destinationCapacity) noexcept;
inline int Utf16ToUtf16(char16_t const* source, char16_t* destination, int& destinationIndex,
                        int destinationCapacity) noexcept {
    return CopyCodePoint(source, destination, destinationIndex, destinationCapacity);
}
inline int TCodeUnitToUtf16(char16_t const* source, char16_t* destination, int& destinationIndex,
                            int destinationCapacity) noexcept {
    return CopyCodePoint(source, destination, destinationIndex, destinationCapacity);
}
inline int Utf16ToTCodeUnit(char16_t const* source, char16_t* destination, int& destinationIndex,
                            int destinationCapacity) noexcept {
    return CopyCodePoint(source, destination, destinationIndex, destinationCapacity);
}

/// UTF-16 to UTF-32, unchecked; a lone surrogate becomes 0xFFFD.
KESTAL_API int Utf16ToUtf32(char16_t const* source, char32_t* destination, int& destinationIndex,
                            int destinationCapacity) noexcept;
inline int TCodeUnitToUtf32(char16_t const* source, char32_t* destination, int& destinationIndex,
                            int destinationCapacity) noexcept {
    return Utf16ToUtf32(source, destination, destinationIndex, destinationCapacity);
}

/// UTF-32 to UTF-16: a pair needs index + 1 below capacity; above 0x10FFFF becomes 0xFFFD;
/// surrogate values pass unchanged. Returns 1, or 0 when the pair does not fit.
KESTAL_API int Utf32ToUtf16(char32_t const* source, char16_t* destination, int& destinationIndex,
                            int destinationCapacity) noexcept;
inline int Utf32ToTCodeUnit(char32_t const* source, char16_t* destination, int& destinationIndex,
                            int destinationCapacity) noexcept {
    return Utf32ToUtf16(source, destination, destinationIndex, destinationCapacity);
}

/// UTF-16 to UTF-8. A sequence of n bytes needs index + n - 1 below capacity; a lone surrogate
/// writes EF BF BD and needs 4 places left.
KESTAL_API int Utf16ToUtf8(char16_t const* source, char* destination, int& destinationIndex,
                           int destinationCapacity) noexcept;
/// UTF-32 to UTF-8, room as Utf16ToUtf8; above 0x10FFFF is replaced as a lone surrogate is there;
/// surrogate values are encoded in 3 bytes. Returns 1, or 0 when it does not fit.
KESTAL_API int Utf32ToUtf8(char32_t const* source, char* destination, int& destinationIndex,
                           int destinationCapacity) noexcept;

// UTF-8 decoding of the three below: an invalid lead is replaced and consumes 1 byte; a bad
// continuation byte is replaced and not consumed; a complete sequence is taken without tests for
// overlong forms or surrogates.

/// UTF-8 to UTF-8: a complete sequence is copied if it fits in the places left; a replacement
/// writes EF BF BD and needs 4 places left.
KESTAL_API int Utf8ToUtf8(char const* source, char* destination, int& destinationIndex,
                          int destinationCapacity) noexcept;
/// UTF-8 to UTF-16: values of 0x110000 or more become 0xFFFD; a pair needs index + 1 below capacity.
KESTAL_API int Utf8ToUtf16(char const* source, char16_t* destination, int& destinationIndex,
                           int destinationCapacity) noexcept;
/// UTF-8 to UTF-32, unchecked; values of 0x110000 or more become 0xFFFD.
KESTAL_API int Utf8ToUtf32(char const* source, char32_t* destination, int& destinationIndex,
                           int destinationCapacity) noexcept;

} // namespace CodePoint
