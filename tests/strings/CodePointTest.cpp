// CodePoint: the lead table, the room each conversion asks for, replacement of bad input, and the
// pointer walks at their ends.
#include <climits>
#include <gtest/gtest.h>
#include <kestal/CodePoint.h>
#include <string>

using namespace CodePoint;

namespace {

// Runs one conversion into a buffer larger than `capacity`, to show what it writes and what it
// refuses; the unit type of the output follows the function.
template <class Out, class In, class F>
std::pair<int, std::basic_string<Out>> convertOne(F f, In const* source, int capacity, int index = 0) {
    Out buffer[8] = {};
    int at = index;
    const int taken = f(source, buffer, at, capacity);
    return {taken, std::basic_string<Out>(buffer + index, buffer + at)};
}

} // namespace

TEST(CodePoint, LeadTableClassifiesEveryByte) {
    for (int b = 0; b < 256; ++b) {
        const int expected = b < 0x80 ? 1 : b < 0xC0 ? 0 : b < 0xE0 ? 2 : b < 0xF0 ? 3 : b < 0xF8 ? 4 : 0;
        EXPECT_EQ(CountUtf8CodeUnits::ForLead(static_cast<char>(b)), expected) << b;
    }
}

// Each conversion into a given room: units taken and what it wrote, or 0 when it refuses.
TEST(CodePoint, ConversionsReplaceBadInputAndRefuseWhatDoesNotFit) {
    using P16 = std::pair<int, std::u16string>;
    using P32 = std::pair<int, std::u32string>;
    using P8 = std::pair<int, std::string>;
    const char32_t surrogate[] = {0xDABC}, tooLarge[] = {0x110000}, last[] = {0x10FFFF}, huge[] = {0x200000};
    const std::pair<P16, P16> utf16[] = {
        {convertOne<char16_t>(CopyCodePoint, u"\xD800x", 8), {1, u"\xFFFD"}},
        {convertOne<char16_t>(CopyCodePoint, u"\xDC00", 8), {1, u"\xFFFD"}},
        {convertOne<char16_t>(CopyCodePoint, u"\U0001F600", 3, 2), {0, u""}}, // a pair is refused whole
        {convertOne<char16_t>(CopyCodePoint, u"a", 0), {1, u"a"}},            // one unit ignores the capacity
        {convertOne<char16_t>(Utf32ToUtf16, surrogate, 1), {1, u"\xDABC"}},
        {convertOne<char16_t>(Utf32ToUtf16, tooLarge, 1), {1, u"\xFFFD"}},
        {convertOne<char16_t>(Utf32ToUtf16, last, 1), {0, u""}},
        {convertOne<char16_t>(Utf32ToUtf16, last, 2), {1, u"\U0010FFFF"}},
        // Overlong and surrogate forms pass; the range is tested only for UTF-16 and UTF-32 output.
        {convertOne<char16_t>(Utf8ToUtf16, "\xC0\x80", 1), {2, std::u16string(1, u'\0')}},
        {convertOne<char16_t>(Utf8ToUtf16, "\xED\xA0\x80", 1), {3, u"\xD800"}},
        {convertOne<char16_t>(Utf8ToUtf16, "\xF4\x90\x80\x80", 1), {4, u"\xFFFD"}},
        {convertOne<char16_t>(Utf8ToUtf16, "\xF0\x9F\x98\x80", 1), {0, u""}},
    };
    for (auto const& [actual, expected] : utf16)
        EXPECT_EQ(actual, expected) << (&actual - &utf16[0].first) / 2;
    // Invalid leads take one byte; a bad continuation byte, or the terminator, is left for the next step.
    const std::pair<P32, P32> utf32[] = {
        {convertOne<char32_t>(Utf16ToUtf32, u"\xDBFF\xDFFF", 0), {2, U"\U0010FFFF"}},
        {convertOne<char32_t>(Utf8ToUtf32, "\xF7\xBF\xBF\xBF", 0), {4, U"\xFFFD"}},
        {convertOne<char32_t>(Utf8ToUtf32, "\x80", 1), {1, U"\xFFFD"}},
        {convertOne<char32_t>(Utf8ToUtf32, "\xBF", 1), {1, U"\xFFFD"}},
        {convertOne<char32_t>(Utf8ToUtf32, "\xF8", 1), {1, U"\xFFFD"}},
        {convertOne<char32_t>(Utf8ToUtf32, "\xFF", 1), {1, U"\xFFFD"}},
        {convertOne<char32_t>(Utf8ToUtf32, "\xE2\x41", 1), {1, U"\xFFFD"}},
        {convertOne<char32_t>(Utf8ToUtf32, "\xF0\x9F\x98", 1), {3, U"\xFFFD"}},
    };
    for (auto const& [actual, expected] : utf32)
        EXPECT_EQ(actual, expected) << (&actual - &utf32[0].first) / 2;
    // U+FFFD in the input is a plain 3-byte sequence; the same bytes as a replacement need 4 places.
    const std::pair<P8, P8> utf8[] = {
        {convertOne<char>(Utf16ToUtf8, u"\u00E9", 1), {0, ""}},
        {convertOne<char>(Utf16ToUtf8, u"\u00E9", 2), {1, "\xC3\xA9"}},
        {convertOne<char>(Utf16ToUtf8, u"\u20AC", 2), {0, ""}},
        {convertOne<char>(Utf16ToUtf8, u"\uFFFD", 3), {1, "\xEF\xBF\xBD"}},
        {convertOne<char>(Utf16ToUtf8, u"\U0001F600", 3), {0, ""}},
        {convertOne<char>(Utf16ToUtf8, u"\U0001F600", 4), {2, "\xF0\x9F\x98\x80"}},
        {convertOne<char>(Utf16ToUtf8, u"\xDC00", 3), {0, ""}},
        {convertOne<char>(Utf16ToUtf8, u"\xDC00", 4), {1, "\xEF\xBF\xBD"}},
        {convertOne<char>(Utf32ToUtf8, surrogate, 3), {1, "\xED\xAA\xBC"}},
        {convertOne<char>(Utf32ToUtf8, huge, 3), {0, ""}},
        {convertOne<char>(Utf32ToUtf8, huge, 4), {1, "\xEF\xBF\xBD"}},
        {convertOne<char>(Utf8ToUtf8, "\xF4\x90\x80\x80", 4), {4, "\xF4\x90\x80\x80"}},
        {convertOne<char>(Utf8ToUtf8, "\xE2\x82\x41", 3), {0, ""}},
        {convertOne<char>(Utf8ToUtf8, "\xE2\x82\x41", 4), {2, "\xEF\xBF\xBD"}},
        {convertOne<char>(Utf8ToUtf8, "\xE2\x82\xAC", 3), {3, "\xE2\x82\xAC"}},
    };
    for (auto const& [actual, expected] : utf8)
        EXPECT_EQ(actual, expected) << (&actual - &utf8[0].first) / 2;
    int index = INT_MAX; // room is a difference: an index at the end of int does not wrap into "fits"
    EXPECT_EQ(Utf32ToUtf16(last, nullptr, index, INT_MAX), 0);
    index = INT_MAX - 1;
    EXPECT_EQ(Utf32ToUtf8(last, nullptr, index, INT_MAX), 0);
}

TEST(CodePoint, ReadingAndMeasuringAtOnePointer) {
    auto read = [](char16_t const* p) {
        int units = -1;
        const char32_t c = GetCodePoint(p, &units);
        return std::pair(c, units);
    };
    EXPECT_EQ(read(nullptr), std::pair(U'\0', 0));
    EXPECT_EQ(read(u"\xDC00"), std::pair(U'\xFFFD', 1));
    EXPECT_EQ(read(u"\xD800\x0041"), std::pair(U'\xFFFD', 1));
    EXPECT_EQ(read(u"\U00010000"), std::pair(U'\U00010000', 2));
    // The unit alone decides: a high surrogate counts 2 whatever follows.
    EXPECT_EQ(CountCodeUnits(static_cast<char16_t const*>(nullptr)), 0);
    EXPECT_EQ(CountCodeUnits(u"\xDC00"), 0);
    EXPECT_EQ(CountCodeUnits(u"\xD800"), 2);
    EXPECT_EQ(CountCodeUnits(U'\U00010000'), 2);
}

// Each walk as (pointer offset or -1 for null, units reported).
TEST(CodePoint, WalksStopAtTheirEndsAndOnLowSurrogates) {
    const std::u16string text = u"a\U0001F600b";
    char16_t const* begin = text.data();
    const int n = static_cast<int>(text.size());
    auto at = [begin](char16_t const* p, int units) { return std::pair(p ? int(p - begin) : -1, units); };
    auto next = [&](int from) {
        int units = -1;
        char16_t const* q = GetNextCodePointPointer(begin, begin + from, n, &units);
        return at(q, units);
    };
    auto previous = [&](char16_t const* from, char16_t const* p) {
        int units = -1;
        char16_t const* q = GetPreviousCodePointPointer(from, p, &units);
        return at(q ? begin + (q - from) : nullptr, units);
    };
    auto last = [&](char16_t const* from, int length) {
        int units = 7;
        char16_t const* q = GetLastCodePointPointer(from, length, &units);
        return at(q ? begin + (q - from) : nullptr, units);
    };
    EXPECT_EQ(next(0), std::pair(1, 2));
    EXPECT_EQ(next(1), std::pair(3, 1));
    EXPECT_EQ(next(3), std::pair(-1, 0)); // the last code point
    EXPECT_EQ(next(2), std::pair(-1, 0)); // inside the pair
    EXPECT_EQ(next(-1), std::pair(-1, 0));

    const char16_t lows[] = u"\xDC00\xDC01";
    EXPECT_EQ(previous(begin, begin + 3), std::pair(1, 2));
    EXPECT_EQ(previous(begin, begin), std::pair(-1, 0));
    EXPECT_EQ(previous(lows, lows + 2), std::pair(-1, 0));
    EXPECT_EQ(last(begin, 3), std::pair(1, 2));
    EXPECT_EQ(last(begin, 0), std::pair(-1, 7)); // untouched for an empty text
    EXPECT_EQ(last(lows, 2), std::pair(-1, 0));
}
