// CodePoint: the lead table, the room each conversion asks for, replacement of bad input, and the
// pointer walks at their ends.
#include <climits>
#include <gtest/gtest.h>
#include <kestal/CodePoint.h>
#include <string_view>

using namespace CodePoint;
using namespace std::literals;

namespace {

// One conversion of `source` at `index`, with 0 to 5 places left: below `room` it must take and
// write nothing; from there on it takes `taken` units and writes `written`.
template <class Out, class In, class F>
void expectRoom(F convert, In const* source, int room, int taken, std::basic_string_view<Out> written,
                int index = 0) {
    for (int left = 0; left <= 5; ++left) {
        Out buffer[16] = {};
        int at = index;
        const int n = convert(source, buffer, at, index + left);
        const auto expected =
            left < room ? std::pair(0, std::basic_string_view<Out>()) : std::pair(taken, written);
        EXPECT_EQ(std::pair(n, std::basic_string_view<Out>(buffer + index, buffer + at)), expected)
            << "room " << left << ", source unit " << std::hex << unsigned(source[0]);
    }
}

} // namespace

TEST(CodePoint, LeadTableClassifiesEveryByte) {
    for (int b = 0; b < 256; ++b) {
        const int expected = b < 0x80 ? 1 : b < 0xC0 ? 0 : b < 0xE0 ? 2 : b < 0xF0 ? 3 : b < 0xF8 ? 4 : 0;
        EXPECT_EQ(CountUtf8CodeUnits::ForLead(static_cast<char>(b)), expected) << b;
    }
}

TEST(CodePoint, ConversionsReplaceBadInputAndRefuseWhatDoesNotFit) {
    // One UTF-16 unit is written whatever the room; a pair needs two places.
    expectRoom(CopyCodePoint, u"\xD800x", 0, 1, u"\xFFFD"sv);
    expectRoom(CopyCodePoint, u"\xDC00", 0, 1, u"\xFFFD"sv);
    expectRoom(CopyCodePoint, u"\U0001F600", 2, 2, u"\U0001F600"sv, 2);
    expectRoom(Utf32ToUtf16, U"\xDABC", 0, 1, u"\xDABC"sv);
    expectRoom(Utf32ToUtf16, U"\x110000", 0, 1, u"\xFFFD"sv);
    expectRoom(Utf32ToUtf16, U"\U0010FFFF", 2, 1, u"\U0010FFFF"sv);
    // Overlong and surrogate forms pass; the range is tested only for UTF-16 and UTF-32 output.
    expectRoom(Utf8ToUtf16, "\xC0\x80", 0, 2, u"\0"sv);
    expectRoom(Utf8ToUtf16, "\xED\xA0\x80", 0, 3, u"\xD800"sv);
    expectRoom(Utf8ToUtf16, "\xF4\x90\x80\x80", 0, 4, u"\xFFFD"sv);
    expectRoom(Utf8ToUtf16, "\xF0\x9F\x98\x80", 2, 4, u"\U0001F600"sv);
    // UTF-32 output is unchecked. Invalid leads take one byte; a bad continuation byte, or the
    // terminator, is left for the next step.
    expectRoom(Utf16ToUtf32, u"\xDBFF\xDFFF", 0, 2, U"\U0010FFFF"sv);
    expectRoom(Utf8ToUtf32, "\xF7\xBF\xBF\xBF", 0, 4, U"\xFFFD"sv);
    expectRoom(Utf8ToUtf32, "\x80", 0, 1, U"\xFFFD"sv);
    expectRoom(Utf8ToUtf32, "\xF8", 0, 1, U"\xFFFD"sv);
    expectRoom(Utf8ToUtf32, "\xE2\x41", 0, 1, U"\xFFFD"sv);
    expectRoom(Utf8ToUtf32, "\xF0\x9F\x98", 0, 3, U"\xFFFD"sv);
    // UTF-8 output needs its length; a replacement needs 4 places, U+FFFD in the input 3.
    expectRoom(Utf16ToUtf8, u"\u00E9", 2, 1, "\xC3\xA9"sv);
    expectRoom(Utf16ToUtf8, u"\u20AC", 3, 1, "\xE2\x82\xAC"sv);
    expectRoom(Utf16ToUtf8, u"\uFFFD", 3, 1, "\xEF\xBF\xBD"sv);
    expectRoom(Utf16ToUtf8, u"\U0001F600", 4, 2, "\xF0\x9F\x98\x80"sv);
    expectRoom(Utf16ToUtf8, u"\xDC00", 4, 1, "\xEF\xBF\xBD"sv);
    expectRoom(Utf32ToUtf8, U"\xDABC", 3, 1, "\xED\xAA\xBC"sv);
    expectRoom(Utf32ToUtf8, U"\x200000", 4, 1, "\xEF\xBF\xBD"sv);
    expectRoom(Utf8ToUtf8, "\xF4\x90\x80\x80", 4, 4, "\xF4\x90\x80\x80"sv);
    expectRoom(Utf8ToUtf8, "\xE2\x82\x41", 4, 2, "\xEF\xBF\xBD"sv);
    expectRoom(Utf8ToUtf8, "\xE2\x82\xAC", 3, 3, "\xE2\x82\xAC"sv);

    const char32_t last[] = {0x10FFFF};
    int index = INT_MAX; // room is a difference: an index at the end of int does not wrap into "fits"
    EXPECT_EQ(Utf32ToUtf16(last, nullptr, index, INT_MAX), 0);
    index = INT_MAX - 1;
    EXPECT_EQ(Utf32ToUtf8(last, nullptr, index, INT_MAX), 0);
}

// Each read or walk as (offset of the pointer returned, or -1 for null; units reported).
TEST(CodePoint, ReadsAndWalksStopAtTheirEndsAndOnLowSurrogates) {
    // t has a unit before it, so a position before the text is still a pointer into an array.
    const char16_t padded[] = u"-a\U0001F600b", lows[] = u"\xDC00\xDC01";
    char16_t const* const t = padded + 1;
    auto walk = [](char16_t const* text, int units, auto step) {
        char16_t const* p = step(&units);
        return std::pair(p ? static_cast<int>(p - text) : -1, units);
    };
    auto next = [&](int from) {
        return walk(t, -1, [&](int* units) { return GetNextCodePointPointer(t, t + from, 4, units); });
    };
    auto read = [](char16_t const* p) {
        int units = -1;
        return std::pair(GetCodePoint(p, &units), units);
    };
    EXPECT_EQ(read(nullptr), std::pair(U'\0', 0));
    EXPECT_EQ(read(u"\xDC00"), std::pair(U'\xFFFD', 1));
    EXPECT_EQ(read(u"\xD800\x0041"), std::pair(U'\xFFFD', 1));
    EXPECT_EQ(read(t + 1), std::pair(U'\U0001F600', 2));
    // The unit alone decides: a high surrogate counts 2 whatever follows.
    EXPECT_EQ(CountCodeUnits(static_cast<char16_t const*>(nullptr)), 0);
    EXPECT_EQ(CountCodeUnits(u"\xDC00"), 0);
    EXPECT_EQ(CountCodeUnits(u"\xD800"), 2);
    EXPECT_EQ(CountCodeUnits(U'\U00010000'), 2);

    EXPECT_EQ(next(0), std::pair(1, 2));
    EXPECT_EQ(next(1), std::pair(3, 1));
    EXPECT_EQ(next(3), std::pair(-1, 0)); // the last code point
    EXPECT_EQ(next(2), std::pair(-1, 0)); // inside the pair
    EXPECT_EQ(next(-1), std::pair(-1, 0));
    EXPECT_EQ(walk(t, -1, [&](int* units) { return GetPreviousCodePointPointer(t, t + 3, units); }),
              std::pair(1, 2));
    EXPECT_EQ(walk(t, -1, [&](int* units) { return GetPreviousCodePointPointer(t, t, units); }),
              std::pair(-1, 0));
    EXPECT_EQ(walk(lows, -1, [&](int* units) { return GetPreviousCodePointPointer(lows, lows + 2, units); }),
              std::pair(-1, 0));
    EXPECT_EQ(walk(t, 7, [&](int* units) { return GetLastCodePointPointer(t, 3, units); }), std::pair(1, 2));
    EXPECT_EQ(walk(t, 7, [&](int* units) { return GetLastCodePointPointer(t, 0, units); }),
              std::pair(-1, 7)); // untouched for an empty text
    EXPECT_EQ(walk(lows, 7, [&](int* units) { return GetLastCodePointPointer(lows, 2, units); }),
              std::pair(-1, 0));
}
