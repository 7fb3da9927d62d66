// The number measure engine shared by TStringCore and the scanner. Not part of the API.
#pragma once

namespace kestal::strings {

/// Units at the head of `text` that form an integer in `base`, as TStringCore::leftIntegerLength,
/// over `length` units; a negative length means up to the first zero unit, which is walked only as
/// far as the number goes (nothing is measured first). Raises TStringCore::Exception for a bad base.
int integerLength(char16_t const* text, int length, int base);

} // namespace kestal::strings
