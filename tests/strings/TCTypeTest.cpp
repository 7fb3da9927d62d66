// Character classes: every member against its Unicode property over all code units and, for the
// 32-bit members, all code points (the oracle spelled through categories and binary properties).
#include <gtest/gtest.h>
#include <kestal/TCType.h>
#include <unicode/uchar.h>

namespace {

template <UProperty property>
bool has(UChar32 c) {
    return u_hasBinaryProperty(c, property);
}

} // namespace

TEST(TCType, EveryUnitAndCodePointFollowsItsProperty) {
    const struct {
        char const* name;
        bool (*member)(char16_t) noexcept;
        bool (*member32)(char32_t) noexcept; // null where there is no 32-bit form
        bool (*oracle)(UChar32);
    } classes[] = {
        {"isAlnum", TCType::isAlnum, nullptr, has<UCHAR_POSIX_ALNUM>},
        {"isAlpha", TCType::isAlpha, TCType::isAlpha32, has<UCHAR_ALPHABETIC>},
        {"isBlank", TCType::isBlank, nullptr, [](UChar32 c) -> bool { return u_isblank(c); }},
        {"isCntrl", TCType::isCntrl, nullptr, [](UChar32 c) { return u_charType(c) == U_CONTROL_CHAR; }},
        {"isDigit", TCType::isDigit, TCType::isDigit32,
         [](UChar32 c) { return u_charType(c) == U_DECIMAL_DIGIT_NUMBER; }},
        {"isGraph", TCType::isGraph, nullptr, has<UCHAR_POSIX_GRAPH>},
        {"isLower", TCType::isLower, nullptr, has<UCHAR_LOWERCASE>},
        {"isPrint", TCType::isPrint, nullptr, has<UCHAR_POSIX_PRINT>},
        {"isPunct", TCType::isPunct, nullptr,
         [](UChar32 c) -> bool { return U_GET_GC_MASK(c) & U_GC_P_MASK; }},
        {"isSpace", TCType::isSpace, TCType::isSpace32, has<UCHAR_WHITE_SPACE>},
        {"isUpper", TCType::isUpper, nullptr, has<UCHAR_UPPERCASE>},
        {"isXDigit", TCType::isXDigit, nullptr, [](UChar32 c) -> bool { return u_isxdigit(c); }},
    };
    for (auto const& k : classes) {
        for (UChar32 c = 0; c <= 0xFFFF; ++c)
            ASSERT_EQ(k.member(char16_t(c)), k.oracle(c)) << k.name << ' ' << c;
        for (UChar32 c = 0; k.member32 && c <= 0x10FFFF; ++c)
            ASSERT_EQ(k.member32(char32_t(c)), k.oracle(c)) << k.name << ' ' << c;
    }
    for (UChar32 c = 0; c <= 0xFFFF; ++c) {
        const char16_t unit[2] = {static_cast<char16_t>(c), 0};
        ASSERT_EQ(TCType::ToLower(unit[0]), static_cast<char16_t>(u_tolower(c))) << c;
        ASSERT_EQ(TCType::ToUpper(unit[0]), static_cast<char16_t>(u_toupper(c))) << c;
        // The pointer form reads a lone surrogate as U+FFFD, which is no space.
        ASSERT_EQ(TCType::isSpace(unit), !U_IS_SURROGATE(c) && TCType::isSpace(unit[0])) << c;
    }
    EXPECT_FALSE(TCType::isSpace(static_cast<char16_t const*>(nullptr)));
}
