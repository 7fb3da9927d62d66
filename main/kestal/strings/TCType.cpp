// Character classes: each member is one ICU property query. isSpace alone answers the ASCII
// spaces itself, since it runs in every trim and split.
#include "kestal/strings/Units.h"

#include <kestal/CodePoint.h>
#include <kestal/TCType.h>
#include <unicode/uchar.h>

using kestal::strings::isAsciiSpace;

namespace TCType {

bool isAlnum(char16_t unit) noexcept {
    return u_hasBinaryProperty(unit, UCHAR_POSIX_ALNUM);
}
bool isAlpha(char16_t unit) noexcept {
    return u_isUAlphabetic(unit);
}
bool isAlpha32(char32_t codePoint) noexcept {
    return u_isUAlphabetic(static_cast<UChar32>(codePoint));
}
bool isBlank(char16_t unit) noexcept {
    return u_isblank(unit);
}
bool isCntrl(char16_t unit) noexcept {
    return u_charType(unit) == U_CONTROL_CHAR;
}
bool isDigit(char16_t unit) noexcept {
    return u_isdigit(unit);
}
bool isDigit32(char32_t codePoint) noexcept {
    return u_isdigit(static_cast<UChar32>(codePoint));
}
bool isGraph(char16_t unit) noexcept {
    return u_hasBinaryProperty(unit, UCHAR_POSIX_GRAPH);
}
bool isLower(char16_t unit) noexcept {
    return u_isULowercase(unit);
}
bool isPrint(char16_t unit) noexcept {
    return u_hasBinaryProperty(unit, UCHAR_POSIX_PRINT);
}
bool isPunct(char16_t unit) noexcept {
    return u_ispunct(unit);
}

bool isSpace(char16_t unit) noexcept {
    return isAsciiSpace(unit) || u_isUWhiteSpace(unit);
}

bool isSpace(char16_t const* p) noexcept {
    if (!p) return false;
    if (isAsciiSpace(*p)) return true;
    if (*p < 0x80) return false;
    return u_isUWhiteSpace(static_cast<UChar32>(CodePoint::GetCodePoint(p)));
}

bool isSpace32(char32_t codePoint) noexcept {
    return u_isUWhiteSpace(static_cast<UChar32>(codePoint));
}
bool isUpper(char16_t unit) noexcept {
    return u_isUUppercase(unit);
}
bool isXDigit(char16_t unit) noexcept {
    return u_isxdigit(unit);
}
char16_t ToLower(char16_t unit) noexcept {
    return static_cast<char16_t>(u_tolower(unit));
}
char16_t ToUpper(char16_t unit) noexcept {
    return static_cast<char16_t>(u_toupper(unit));
}

} // namespace TCType
