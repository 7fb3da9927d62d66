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

TEST(CodePoint, Utf16CopyReplacesLoneSurrogatesAndNeverSplitsAPair) {
    EXPECT_EQ(convertOne<char16_t>(CopyCodePoint, u"\xD800x", 8), std::pair(1, std::u16string(u"\xFFFD")));
    EXPECT_EQ(convertOne<char16_t>(CopyCodePoint, u"\xDC00", 8), std::pair(1, std::u16string(u"\xFFFD")));
    EXPECT_EQ(convertOne<char16_t>(CopyCodePoint, u"\U0001F600", 2),
              std::pair(2, std::u16string(u"\U0001F600")));
    // One place left: the pair is refused whole.
    EXPECT_EQ(convertOne<char16_t>(CopyCodePoint, u"\U0001F600", 3, 2), std::pair(0, std::u16string()));
    // A single unit is written without looking at the capacity.
    EXPECT_EQ(convertOne<char16_t>(CopyCodePoint, u"a", 0), std::pair(1, std::u16string(u"a")));
    EXPECT_EQ(convertOne<char32_t>(Utf16ToUtf32, u"\xDBFF\xDFFF", 0),
              std::pair(2, std::u32string(U"\U0010FFFF")));
}

TEST(CodePoint, Utf32ToUtf16PassesSurrogatesAndReplacesBeyondRange) {
    const char32_t surrogate[] = {0xDABC}, tooLarge[] = {0x110000}, last[] = {0x10FFFF};
    EXPECT_EQ(convertOne<char16_t>(Utf32ToUtf16, surrogate, 1), std::pair(1, std::u16string(u"\xDABC")));
    EXPECT_EQ(convertOne<char16_t>(Utf32ToUtf16, tooLarge, 1), std::pair(1, std::u16string(u"\xFFFD")));
    EXPECT_EQ(convertOne<char16_t>(Utf32ToUtf16, last, 1).first, 0);
    EXPECT_EQ(convertOne<char16_t>(Utf32ToUtf16, last, 2), std::pair(1, std::u16string(u"\U0010FFFF")));
    int index = INT_MAX; // room is a difference: an index at the end of int does not wrap into "fits"
    EXPECT_EQ(Utf32ToUtf16(last, nullptr, index, INT_MAX), 0);
    index = INT_MAX - 1;
    EXPECT_EQ(Utf32ToUtf8(last, nullptr, index, INT_MAX), 0);
}

TEST(CodePoint, Utf8OutputNeedsItsLengthAndAReplacementOneMore) {
    struct Case {
        char16_t const* source;
        std::string bytes;
    };
    // U+FFFD in the input is a plain 3-byte sequence; the same bytes as a replacement need 4 places.
    const Case cases[] = {{u"\u00E9", "\xC3\xA9"},
                          {u"\u20AC", "\xE2\x82\xAC"},
                          {u"\uFFFD", "\xEF\xBF\xBD"},
                          {u"\U0001F600", "\xF0\x9F\x98\x80"}};
    for (Case const& c : cases) {
        const int n = static_cast<int>(c.bytes.size());
        EXPECT_EQ(convertOne<char>(Utf16ToUtf8, c.source, n - 1).first, 0) << c.bytes;
        EXPECT_EQ(convertOne<char>(Utf16ToUtf8, c.source, n).second, c.bytes);
    }
    EXPECT_EQ(convertOne<char>(Utf16ToUtf8, u"\xDC00", 3).first, 0);
    EXPECT_EQ(convertOne<char>(Utf16ToUtf8, u"\xDC00", 4), std::pair(1, std::string("\xEF\xBF\xBD")));

    const char32_t surrogate[] = {0xD800}, tooLarge[] = {0x200000};
    EXPECT_EQ(convertOne<char>(Utf32ToUtf8, surrogate, 3), std::pair(1, std::string("\xED\xA0\x80")));
    EXPECT_EQ(convertOne<char>(Utf32ToUtf8, tooLarge, 3).first, 0);
    EXPECT_EQ(convertOne<char>(Utf32ToUtf8, tooLarge, 4), std::pair(1, std::string("\xEF\xBF\xBD")));
}

TEST(CodePoint, Utf8DecodingReplacesPerLeadAndTakesCompleteFormsUnchecked) {
    // Overlong and surrogate forms pass; the range is tested only for UTF-16 and UTF-32 output.
    EXPECT_EQ(convertOne<char16_t>(Utf8ToUtf16, "\xC0\x80", 1), std::pair(2, std::u16string(1, u'\0')));
    EXPECT_EQ(convertOne<char16_t>(Utf8ToUtf16, "\xED\xA0\x80", 1), std::pair(3, std::u16string(u"\xD800")));
    EXPECT_EQ(convertOne<char16_t>(Utf8ToUtf16, "\xF4\x90\x80\x80", 1),
              std::pair(4, std::u16string(u"\xFFFD")));
    EXPECT_EQ(convertOne<char32_t>(Utf8ToUtf32, "\xF7\xBF\xBF\xBF", 0),
              std::pair(4, std::u32string(U"\xFFFD")));
    EXPECT_EQ(convertOne<char>(Utf8ToUtf8, "\xF4\x90\x80\x80", 4),
              std::pair(4, std::string("\xF4\x90\x80\x80")));
    EXPECT_EQ(convertOne<char16_t>(Utf8ToUtf16, "\xF0\x9F\x98\x80", 1).first, 0);

    // Invalid leads take one byte; a bad continuation byte is left for the next step.
    for (char const* bad : {"\x80", "\xBF", "\xF8", "\xFF"})
        EXPECT_EQ(convertOne<char32_t>(Utf8ToUtf32, bad, 1), std::pair(1, std::u32string(U"\xFFFD")));
    EXPECT_EQ(convertOne<char32_t>(Utf8ToUtf32, "\xE2\x41", 1).first, 1);
    EXPECT_EQ(convertOne<char32_t>(Utf8ToUtf32, "\xF0\x9F\x98", 1).first,
              3); // the terminator is no continuation
    EXPECT_EQ(convertOne<char>(Utf8ToUtf8, "\xE2\x82\x41", 3).first, 0);
    EXPECT_EQ(convertOne<char>(Utf8ToUtf8, "\xE2\x82\x41", 4), std::pair(2, std::string("\xEF\xBF\xBD")));
    EXPECT_EQ(convertOne<char>(Utf8ToUtf8, "\xE2\x82\xAC", 3).second, "\xE2\x82\xAC");
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
