// Unicode: whole-buffer conversion among UTF-8, UTF-16 and UTF-32, measures of the converted
// length, code point counts over UTF-16 text, and line-ending normalisation.
//
// Some conversions run through ICU and some through the library's own decoder and encoder; they
// are not interchangeable on bad input. ICU replaces each maximal ill-formed part and rejects
// overlong forms, surrogates and values above 0x10FFFF; the own decoder replaces per lead byte and
// passes whatever a complete sequence decodes to. Valid text converts identically either way. The
// one substitution character is U+FFFD; no conversion stops at bad input.
//
// Counts are output units with the terminator not counted. A destination must have room for the
// terminator too: a conversion that fills it exactly raises.
#pragma once

#include <cstddef>
#include <kestal/KestalExport.h>
#include <kestal/TStringCore.h>
#include <string>

namespace Unicode {

// ---- Conversions --------------------------------------------------------------------------------
// Each raises TStringCore::Exception for a null source, then for a negative length, then for a
// failure of the conversion itself (ICU errors and warnings, or too small a destination). A null
// destination returns the size the conversion needs instead.

/// UTF-8 to UTF-16 through ICU. A null destination gives MeasureUtf8ToUtf16, which follows the
/// own decoder and may differ from what ICU writes for ill-formed input.
KESTAL_API int Utf8ToUtf16(char const* source, int length, char16_t* destination, int capacity);
/// UTF-8 to UTF-32 with the own decoder: decoded values are stored unchecked. Raises when the
/// source does not fit in capacity - 1 values.
KESTAL_API int Utf8ToUtf32(char const* source, int length, char32_t* destination, int capacity);
/// UTF-16 to UTF-8 through ICU. A null destination preflights through ICU, which raises for an
/// empty source.
KESTAL_API int Utf16ToUtf8(char16_t const* source, int length, char* destination, int capacity);
/// UTF-16 to UTF-32 through ICU; a null destination as Utf16ToUtf8.
KESTAL_API int Utf16ToUtf32(char16_t const* source, int length, char32_t* destination, int capacity);
/// UTF-32 to UTF-8 with the own encoder: surrogate values are encoded, values above 0x10FFFF are
/// replaced. Raises when the output does not fit in capacity - 1 bytes.
KESTAL_API int Utf32ToUtf8(char32_t const* source, int length, char* destination, int capacity);
/// UTF-32 to UTF-16 through ICU: surrogate values and values above 0x10FFFF are replaced.
KESTAL_API int Utf32ToUtf16(char32_t const* source, int length, char16_t* destination, int capacity);

// The same for zero-terminated sources.
KESTAL_API int Utf8ToUtf16(char const* source, char16_t* destination, int capacity);
KESTAL_API int Utf8ToUtf32(char const* source, char32_t* destination, int capacity);
KESTAL_API int Utf16ToUtf8(char16_t const* source, char* destination, int capacity);
KESTAL_API int Utf16ToUtf32(char16_t const* source, char32_t* destination, int capacity);
KESTAL_API int Utf32ToUtf8(char32_t const* source, char* destination, int capacity);
KESTAL_API int Utf32ToUtf16(char32_t const* source, char16_t* destination, int capacity);

// ---- Measures -----------------------------------------------------------------------------------
// Output units the conversion of `length` units (or of zero-terminated text) needs, terminator
// not counted. Raise TStringCore::Exception for a null source or a negative length, except
// MeasureUtf8ToUtf8.

/// By ICU's preflight; an empty source gives 0.
KESTAL_API int MeasureUtf16ToUtf8(char16_t const* source, int length);
KESTAL_API int MeasureUtf16ToUtf8(char16_t const* source);
/// By ICU's preflight; an empty source gives 0.
KESTAL_API int MeasureUtf16ToUtf32(char16_t const* source, int length);
KESTAL_API int MeasureUtf16ToUtf32(char16_t const* source);
/// By the own decoder's reading: one unit per step, two for a complete four-byte sequence.
KESTAL_API int MeasureUtf8ToUtf16(char const* source, int length);
KESTAL_API int MeasureUtf8ToUtf16(char const* source);
/// Exactly what Utf8ToUtf32 writes.
KESTAL_API int MeasureUtf8ToUtf32(char const* source, int length);
KESTAL_API int MeasureUtf8ToUtf32(char const* source);
/// Bytes that CodePoint::Utf8ToUtf8 writes walking the text: 3 per replacement. A sequence may run
/// past `length` up to the zero terminator. Null or a length below 1 gives 0; never raises.
KESTAL_API int MeasureUtf8ToUtf8(char const* source, int length) noexcept;
KESTAL_API int MeasureUtf8ToUtf8(char const* source) noexcept;
/// Exactly what Utf32ToUtf8 writes.
KESTAL_API int MeasureUtf32ToUtf8(char32_t const* source, int length);
KESTAL_API int MeasureUtf32ToUtf8(char32_t const* source);
/// Exactly what Utf32ToUtf16 writes.
KESTAL_API int MeasureUtf32ToUtf16(char32_t const* source, int length);
KESTAL_API int MeasureUtf32ToUtf16(char32_t const* source);

// ---- Code points in UTF-16 ----------------------------------------------------------------------

/// Code points in units [start, end). A negative end counts up to the first zero unit, a lone
/// surrogate counting as one. A negative start, end 0 or end not above start gives 0. Raises
/// TStringCore::Exception if ICU fails.
KESTAL_API int LengthInCodePoints(char16_t const* text, int start, int end = -1);
/// Units that `codePoints` code points take from `start` within `length` units; a pair is taken
/// whole even past `length`. Negative codePoints: the zero-terminated length from `start`.
KESTAL_API int SubStringSizeInCodeUnits(char16_t const* text, int length, int start, int codePoints) noexcept;
/// Copies `length` units (negative: zero-terminated) with lone surrogates replaced by 0xFFFD,
/// zero-terminated, never cutting a pair. Returns the units written; a null destination returns
/// the length, a destination equal to the source 0.
KESTAL_API int StringValidateCopy(char16_t const* source, int length, char16_t* destination,
                                  int capacity) noexcept;

// ---- Line endings -------------------------------------------------------------------------------

/// Turns every line ending (CR LF, LF CR, runs of CR) into one LF in place, writes a terminator
/// and returns the new length. The forms with a length pass zero units through and write the
/// terminator at the new length, so the buffer needs length + 1 units.
KESTAL_API std::size_t normalizeLineEndings(char* text) noexcept;
KESTAL_API std::size_t normalizeLineEndings(char* text, std::size_t length) noexcept;
KESTAL_API std::size_t normalizeLineEndings(char16_t* text) noexcept;
KESTAL_API std::size_t normalizeLineEndings(char16_t* text, std::size_t length) noexcept;
/// A copy with each line ending, as normalizeLineEndings reads them, written CR LF. Raises
/// TStringCore::CapacityException or OutOfMemoryException when the result cannot be held.
KESTAL_API TStringCore unixToDos(char16_t const* text, std::size_t length);

// ---- Standard strings ---------------------------------------------------------------------------
// Each gives the empty string for a zero length or a zero first unit, whatever follows.

/// UTF-8 through ICU, lone surrogates replaced. Raises TStringCore::Exception as the conversions.
KESTAL_API std::string toStdString(char16_t const* text, std::size_t length);
/// The units copied as they are.
KESTAL_API std::u16string toStdU16String(char16_t const* text, std::size_t length);
/// UTF-32 through ICU, lone surrogates replaced. Raises TStringCore::Exception as the conversions.
KESTAL_API std::wstring toStdWString(char16_t const* text, std::size_t length);
/// UTF-32 through ICU into `destination`; returns the values written plus 1 for the terminator.
/// Converts nothing (returning 0) when length is not below capacity. Raises TStringCore::Exception
/// as Utf16ToUtf32.
KESTAL_API std::size_t toWCharArray(char16_t const* text, std::size_t length, wchar_t* destination,
                                    std::size_t capacity);

} // namespace Unicode
