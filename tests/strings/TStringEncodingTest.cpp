// Encodings: Latin conversions exhaustively, their asymmetries as one table, oracles on generated
// input, wchar_t buffers at their limits, the byte order mark with sharing and failed allocation.
#include "MemoryTestSupport.h"
#include "TStringTestSupport.h"

#include <gtest/gtest.h>
#include <kestal/TStringCore.h>
#include <random>
#include <string>
#include <tuple>
#include <vector>

using kestal::testing::text;

// The reference: Latin-9 differs from Latin-1 in these eight bytes only.
const std::string kLatin9Bytes = "\xA4\xA6\xA8\xB4\xB8\xBC\xBD\xBE";
const std::u16string kLatin9Units = u"\u20AC\u0160\u0161\u017D\u017E\u0152\u0153\u0178";

TEST(TStringEncoding, EveryByteAndEveryBmpUnitThroughTheLatinConversions) {
    for (int b = 1; b < 256; ++b) {
        const char c = static_cast<char>(b);
        EXPECT_EQ(text(TStringCore::fromLatin1(&c, 1)), std::u16string(1, char16_t(b)));
        const auto at = kLatin9Bytes.find(c);
        EXPECT_EQ(text(TStringCore::fromLatin9(std::string_view(&c, 1)))[0],
                  at == std::string::npos ? char16_t(b) : kLatin9Units[at]);
    }
    for (char32_t u = 1; u < 0x10000; ++u) {
        const TStringCore s(std::u16string(1, char16_t(u)).c_str());
        const std::string expected(1, u < 256 ? static_cast<char>(u) : '?');
        bool lossy1 = true, lossy9 = false;
        ASSERT_TRUE(s.toLatin1(&lossy1) == expected && s.toLatin9(&lossy9) == expected) << unsigned(u);
        ASSERT_TRUE(lossy1 == (u > 0xFF) && lossy9 == (u > 0xFF)) << unsigned(u);
    }
}

TEST(TStringEncoding, LegacyConversionsKeepTheirAsymmetries) {
    using namespace std::string_literals;
    EXPECT_EQ(text(TStringCore::fromLatin1("a\0b", 3)), u"a\0b"s);
    EXPECT_EQ(text(TStringCore::fromLatin9("a\0b", 3)), u"a");
    EXPECT_TRUE(TStringCore::fromLatin1(nullptr, 5).isEmpty() && TStringCore::fromLatin1("abc", 0).isEmpty());
    EXPECT_EQ(TStringCore::fromLatin9("\xA4").toLatin9(), "?"); // no inverse
    // Text; then Latin-1, Latin-9 and local 8-bit bytes; then whether Latin-1 and Latin-9 lost.
    using Row = std::tuple<std::u16string, std::string, std::string, std::string, bool, bool>;
    // clang-format off
    const Row rows[] = {
        {u"", "", "", "", false, false},
        {u"a\0b"s, "a\0b"s, "a\0\0"s, "a", false, false},                 // Latin-9: the size stays
        {u"a\U0001F600b", "a??b", "a?b", "a\xF0\x9F\x98\x80" "b", true, true}, // a pair: "??" against "?"
        {u"\0\u20AC"s, "\0?"s, "\0\0"s, "", true, false},                // a NUL first: no walk at all
        {u"\u20AC\0x"s, "?\0x"s, "?", "\xE2\x82\xAC", true, true},          // loss: cut at the first NUL
        {u"\xD800z\xDC00"s, "?z?", "?z?", "\xEF\xBF\xBDz\xEF\xBF\xBD", true, true},
    };
    // clang-format on
    for (auto const& [in, latin1, latin9, local8, lost1, lost9] : rows) {
        const TStringCore s(in.data(), static_cast<int>(in.size()));
        bool lossy1 = true, lossy9 = true, lossy8 = true; // preset: each call must clear it first
        EXPECT_EQ(std::tuple(s.toLatin1(&lossy1), s.toLatin9(&lossy9), s.toLocal8Bit(&lossy8)),
                  std::tuple(latin1, latin9, local8))
            << s;
        EXPECT_EQ(std::tuple(lossy1, lossy9, lossy8), std::tuple(lost1, lost9, false)) << s;
    }
}

TEST(TStringEncoding, LocalEightBitMatchesUtf8OnGeneratedText) {
    std::mt19937 rng(10);
    // Whole, cut and ill-formed sequences, NULs and the end-of-file mark.
    const std::string pieces[] = {"a",        "\x1A",         std::string(1, '\0'),
                                  "\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80",
                                  "\xE2\x82", "\xF0\x9F",     "\x80",
                                  "\xC0\xAF", "\xED\xA0\x80", "\xFF"};
    for (int round = 0; round < 5000; ++round) {
        std::string bytes;
        for (int n = static_cast<int>(rng() % 8); n > 0; --n)
            bytes += pieces[rng() % std::size(pieces)];
        std::u16string expected = text(TStringCore::fromUtf8(bytes.data(), static_cast<int>(bytes.size())));
        if (!expected.empty() && expected.back() == 0x1A) expected.pop_back();
        ASSERT_EQ(text(TStringCore::fromLocal8Bit(bytes)), expected) << round;

        std::u16string units;
        for (int n = static_cast<int>(rng() % 8); n > 0; --n)
            units += u"a\0\u00E9\u20AC\xD800\xDC00\U0001F600"[rng() % 8];
        const TStringCore s(units.data(), static_cast<int>(units.size()));
        const std::string utf8 = s.toStdString();
        ASSERT_EQ(s.toLocal8Bit(), utf8.substr(0, utf8.find('\0'))) << round;
    }
}

TEST(TStringEncoding, FromUtf32FillsTwiceItsLengthAndReplacesBadValues) {
    // Supplementary code points only: every length fills the room reserved for it exactly.
    std::u32string in;
    std::u16string expected;
    for (int n = 1; n <= 40; ++n) {
        in += U'\U0001F600';
        expected += u"\U0001F600";
        ASSERT_EQ(text(TStringCore::fromUtf32(in.c_str())), expected) << n;
    }
    // Surrogate values and values past the range, "negative" ones included, become U+FFFD each.
    const std::wstring wide = {L'a',        wchar_t(0xD800), wchar_t(0xDFFF), wchar_t(0x110000),
                               wchar_t(-1), L'\U0010FFFF'};
    EXPECT_EQ(text(TStringCore::fromStdWString(wide)), u"a\uFFFD\uFFFD\uFFFD\uFFFD\U0010FFFF");
    EXPECT_TRUE(TStringCore::fromUtf32(nullptr, 3).isEmpty() && TStringCore::fromWChar(L"x", 0).isEmpty());
    const char32_t one = U'x'; // refused before the text is read
    EXPECT_THROW(TStringCore::fromUtf32(&one, 0x3FFFFFFC), TStringCore::CapacityException);
}

TEST(TStringEncoding, WideBuffersAtTheirLimits) {
    const TStringCore abc(u"abc"), pair(u"\U0001F600");
    // Capacity, result, and what is written before the canary.
    const std::wstring abc0(L"abc\0", 4), zero(1, L'\0');
    const std::tuple<int, int, std::wstring> rows[] = {
        {4, 3, abc0}, {5, 3, abc0}, {3, -1, zero}, {0, -1, L""}, {-1, -1, L""}};
    for (auto const& [capacity, result, written] : rows) {
        std::vector<wchar_t> buffer(8, L'#');
        EXPECT_EQ(abc.toWCharArray(buffer.data(), capacity), result);
        EXPECT_EQ(std::wstring(buffer.data(), written.size() + 1), written + L'#') << capacity;
    }
    EXPECT_EQ(abc.toWCharArray(nullptr, 4), -1);
    wchar_t room[3] = {L'#', L'#', L'#'};
    EXPECT_EQ(pair.toWCharArray(room, 2), -1); // room is counted in units
    EXPECT_EQ(pair.toWCharArray(room, 3), 1);
    EXPECT_EQ(pair.toWCharVector(), (std::vector<wchar_t>{0x1F600, 0, 0}));
    EXPECT_EQ(TStringCore().toWCharVector(), std::vector<wchar_t>{0});
}

TEST(TStringEncoding, ByteOrderMarkKeepsSharingAndSurvivesFailedAllocation) {
    const TStringCore body = kestal::testing::letters(40);
    TStringCore marked = body;
    marked.prependBOM().prependBOM();
    EXPECT_TRUE(marked.hasBOM() && marked.mid(1) == body && !TStringCore().hasBOM());
    TStringCore copy = marked, plain = body;
    EXPECT_TRUE(copy.prependBOM().isShared() && plain.removeBOM().isShared()); // nothing to change
    {
        kestal::testing::ScopedRealloc failing(0);
        EXPECT_THROW(copy.removeBOM(), TStringCore::OutOfMemoryException);
        EXPECT_THROW(plain.prependBOM(), TStringCore::OutOfMemoryException);
    }
    EXPECT_TRUE(copy == marked && copy.isShared() && plain == body && plain.isShared());
    EXPECT_TRUE(copy.removeBOM() == body && marked.hasBOM()); // detached: the other keeps its mark
    marked.prepend(u'\uFEFF');
    EXPECT_EQ(marked.removeBOM().size(), 41); // one mark at a time
    EXPECT_TRUE(TStringCore(u"\uFEFF").removeBOM().isEmpty());
}
