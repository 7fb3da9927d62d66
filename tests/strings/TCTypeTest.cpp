// Character classes: every member against its Unicode property over all code units and, for the
// 32-bit members, all code points (the oracle spelled through categories and binary properties).
#include <gtest/gtest.h>
#include <kestal/TCType.h>
#include <unicode/uchar.h>

TEST(TCType, EveryUnitAndCodePointFollowsItsProperty) {
    const struct {
        char const* name;
        bool (*member)(char16_t) noexcept;
        bool (*oracle)(UChar32);
    } classes[] = {
        {"isAlnum", TCType::isAlnum,
         [](UChar32 c) -> bool { return u_hasBinaryProperty(c, UCHAR_POSIX_ALNUM); }},
        {"isAlpha", TCType::isAlpha,
         [](UChar32 c) -> bool { return u_hasBinaryProperty(c, UCHAR_ALPHABETIC); }},
        {"isBlank", TCType::isBlank, [](UChar32 c) -> bool { return u_isblank(c); }},
        {"isCntrl", TCType::isCntrl, [](UChar32 c) -> bool { return u_charType(c) == U_CONTROL_CHAR; }},
        {"isDigit", TCType::isDigit,
         [](UChar32 c) -> bool { return u_charType(c) == U_DECIMAL_DIGIT_NUMBER; }},
        {"isGraph", TCType::isGraph,
         [](UChar32 c) -> bool { return u_hasBinaryProperty(c, UCHAR_POSIX_GRAPH); }},
        {"isLower", TCType::isLower,
         [](UChar32 c) -> bool { return u_hasBinaryProperty(c, UCHAR_LOWERCASE); }},
        {"isPrint", TCType::isPrint,
         [](UChar32 c) -> bool { return u_hasBinaryProperty(c, UCHAR_POSIX_PRINT); }},
        {"isPunct", TCType::isPunct, [](UChar32 c) -> bool { return U_GET_GC_MASK(c) & U_GC_P_MASK; }},
        {"isSpace", TCType::isSpace,
         [](UChar32 c) -> bool { return u_hasBinaryProperty(c, UCHAR_WHITE_SPACE); }},
        {"isUpper", TCType::isUpper,
         [](UChar32 c) -> bool { return u_hasBinaryProperty(c, UCHAR_UPPERCASE); }},
        {"isXDigit", TCType::isXDigit, [](UChar32 c) -> bool { return u_isxdigit(c); }},
    };
    for (auto const& k : classes)
        for (UChar32 c = 0; c <= 0xFFFF; ++c)
            ASSERT_EQ(k.member(static_cast<char16_t>(c)), k.oracle(c)) << k.name << " U+" << std::hex << c;
    for (UChar32 c = 0; c <= 0xFFFF; ++c) {
        const char16_t unit[2] = {static_cast<char16_t>(c), 0};
        ASSERT_EQ(TCType::ToLower(unit[0]), static_cast<char16_t>(u_tolower(c))) << c;
        ASSERT_EQ(TCType::ToUpper(unit[0]), static_cast<char16_t>(u_toupper(c))) << c;
        // The pointer form reads a lone surrogate as U+FFFD, which is no space.
        ASSERT_EQ(TCType::isSpace(unit), U_IS_SURROGATE(c) ? false : TCType::isSpace(unit[0])) << c;
    }
    EXPECT_FALSE(TCType::isSpace(static_cast<char16_t const*>(nullptr)));
    for (UChar32 c = 0; c <= 0x10FFFF; ++c) {
        const auto cp = static_cast<char32_t>(c);
        ASSERT_EQ(TCType::isAlpha32(cp), u_hasBinaryProperty(c, UCHAR_ALPHABETIC) != 0) << c;
        ASSERT_EQ(TCType::isDigit32(cp), u_charType(c) == U_DECIMAL_DIGIT_NUMBER) << c;
        ASSERT_EQ(TCType::isSpace32(cp), u_hasBinaryProperty(c, UCHAR_WHITE_SPACE) != 0) << c;
    }
}
