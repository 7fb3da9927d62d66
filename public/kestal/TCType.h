// TCType: the character classes of one UTF-16 code unit (or, for the members ending in 32, one
// code point), answered by ICU's Unicode properties and never by the locale. A surrogate unit is
// judged as the unpaired code point it is; only isSpace(char16_t const*) and the *32 members see
// the supplementary planes. Every member is free of state and allocation and raises nothing.
#pragma once

#include <kestal/KestalExport.h>

namespace TCType {

/// Letter or digit: ICU's POSIX alnum property.
KESTAL_API bool isAlnum(char16_t unit) noexcept;
/// Unicode Alphabetic; false for a lone surrogate.
KESTAL_API bool isAlpha(char16_t unit) noexcept;
/// Unicode Alphabetic of a whole code point.
KESTAL_API bool isAlpha32(char32_t codePoint) noexcept;
/// Horizontal white space (tab, space, Zs).
KESTAL_API bool isBlank(char16_t unit) noexcept;
/// General category Cc only; format characters such as U+00AD are not control characters.
KESTAL_API bool isCntrl(char16_t unit) noexcept;
/// General category Nd: decimal digits of every script.
KESTAL_API bool isDigit(char16_t unit) noexcept;
KESTAL_API bool isDigit32(char32_t codePoint) noexcept;
/// ICU's POSIX graph property.
KESTAL_API bool isGraph(char16_t unit) noexcept;
/// Unicode Lowercase.
KESTAL_API bool isLower(char16_t unit) noexcept;
/// ICU's POSIX print property.
KESTAL_API bool isPrint(char16_t unit) noexcept;
/// General category P*.
KESTAL_API bool isPunct(char16_t unit) noexcept;
/// Unicode White_Space, with the six ASCII spaces (tab to carriage return, space) answered
/// without a call into ICU.
KESTAL_API bool isSpace(char16_t unit) noexcept;
/// Unicode White_Space of the code point at `p`: a pair is read whole, a lone surrogate counts as
/// U+FFFD. False for a null pointer.
KESTAL_API bool isSpace(char16_t const* p) noexcept;
/// Unicode White_Space of a whole code point.
KESTAL_API bool isSpace32(char32_t codePoint) noexcept;
/// Unicode Uppercase.
KESTAL_API bool isUpper(char16_t unit) noexcept;
/// Hexadecimal digit, the full-width forms of 0-9, A-F and a-f included.
KESTAL_API bool isXDigit(char16_t unit) noexcept;
/// Simple (one to one) lower-case mapping; a mapping beyond 16 bits is cut to its low 16 bits.
KESTAL_API char16_t ToLower(char16_t unit) noexcept;
/// Simple (one to one) upper-case mapping, cut to 16 bits as ToLower.
KESTAL_API char16_t ToUpper(char16_t unit) noexcept;

} // namespace TCType
