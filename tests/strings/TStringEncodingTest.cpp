// Encodings: every byte and every BMP unit through the Latin conversions, the deliberate
// asymmetries as one table, the local 8-bit conversions against their UTF-8 oracle and fromUtf32
// against a reference on generated input, wchar_t buffers at their limits, and the byte order mark
// with sharing and failed allocations.
#include "MemoryTestSupport.h"
#include "TStringTestSupport.h"

#include <gtest/gtest.h>
#include <kestal/TStringCore.h>
#include <random>
#include <string>
#include <vector>

using kestal::testing::text;

namespace {

// The reference: Latin-9 differs from Latin-1 in these bytes only.
char16_t latin9Unit(unsigned char b) {
    switch (b) {
    case 0xA4:
        return 0x20AC;
    case 0xA6:
        return 0x0160;
    case 0xA8:
        return 0x0161;
    case 0xB4:
        return 0x017D;
    case 0xB8:
        return 0x017E;
    case 0xBC:
        return 0x0152;
    case 0xBD:
        return 0x0153;
    case 0xBE:
        return 0x0178;
    default:
        return b;
    }
}

} // namespace

TEST(TStringEncoding, EveryByteAndEveryBmpUnitThroughTheLatinConversions) {
    for (int b = 1; b < 256; ++b) {
        const char c = static_cast<char>(b);
        EXPECT_EQ(text(TStringCore::fromLatin1(&c, 1)), std::u16string(1, char16_t(b)));
        EXPECT_EQ(text(TStringCore::fromLatin9(std::string_view(&c, 1))), std::u16string(1, latin9Unit(b)));
    }
    for (char32_t u = 1; u < 0x10000; ++u) {
        const TStringCore s(std::u16string(1, char16_t(u)).c_str());
        const std::string expected(1, u < 256 ? static_cast<char>(u) : '?');
        bool lossy1 = true, lossy9 = false;
        ASSERT_EQ(s.toLatin1(&lossy1), expected);
        ASSERT_EQ(s.toLatin9(&lossy9), expected);
        ASSERT_EQ(lossy1, u > 0xFF);
        ASSERT_EQ(lossy9, u > 0xFF);
    }
}

TEST(TStringEncoding, LegacyConversionsKeepTheirAsymmetries) {
    using namespace std::string_literals;
    EXPECT_EQ(text(TStringCore::fromLatin1("a\0b", 3)), u"a\0b"s);
    EXPECT_EQ(text(TStringCore::fromLatin9("a\0b", 3)), u"a");
    EXPECT_EQ(text(TStringCore::fromLatin9("\xA4\xE9")), u"\u20AC\u00E9");
    EXPECT_TRUE(TStringCore::fromLatin1(nullptr, 5).isEmpty() && TStringCore::fromLatin1("abc", 0).isEmpty());
    EXPECT_EQ(TStringCore::fromLatin9("\xA4").toLatin9(), "?"); // no inverse
    struct Row {
        std::u16string in;
        std::string latin1;
        bool lost1;
        std::string latin9;
        bool lost9;
        std::string local8;
    };
    const Row rows[] = {
        {u"", "", false, "", false, ""},
        {u"a\0b"s, "a\0b"s, false, "a\0\0"s, false, "a"}, // the size stays without loss
        {u"a\U0001F600b", "a??b", true, "a?b", true,
         "a\xF0\x9F\x98\x80"
         "b"},                                                     // pair: two "?" against one
        {u"\0\u20AC"s, "\0?"s, true, "\0\0"s, false, ""},          // a NUL first stops the walk at once
        {u"\u20AC\0x"s, "?\0x"s, true, "?", true, "\xE2\x82\xAC"}, // loss: cut at the first NUL
        {u"\xD800z\xDC00"s, "?z?", true, "?z?", true, "\xEF\xBF\xBDz\xEF\xBF\xBD"},
    };
    for (Row const& row : rows) {
        const TStringCore s(row.in.data(), static_cast<int>(row.in.size()));
        bool lossy1 = true, lossy9 = true, lossy8 = true; // preset: each call must clear it first
        EXPECT_EQ(s.toLatin1(&lossy1), row.latin1);
        EXPECT_EQ(s.toLatin9(&lossy9), row.latin9);
        EXPECT_EQ(s.toLocal8Bit(&lossy8), row.local8);
        EXPECT_EQ(std::pair(lossy1, lossy9), std::pair(row.lost1, row.lost9)) << s;
        EXPECT_FALSE(lossy8);
    }
}

TEST(TStringEncoding, LocalEightBitMatchesUtf8OnGeneratedText) {
    std::mt19937 rng(10);
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

TEST(TStringEncoding, FromUtf32ReplacesSurrogatesAndValuesOutOfRange) {
    std::mt19937 rng(32);
    for (int round = 0; round < 2000; ++round) {
        std::u32string in;
        std::u16string expected;
        // All supplementary on some rounds: the result then fills twice the length.
        const bool wide = round % 4 == 0;
        for (int n = 1 + static_cast<int>(rng() % 20); n > 0; --n) {
            const std::uint32_t r = rng(), kind = r % 4;
            const char32_t c = wide        ? 0x10000 + r % 0x100000
                               : kind == 0 ? 0xD800 + r % 0x800
                               : kind == 1 ? 1 + r % 0x120000
                                           : r | 1; // any 32-bit value, "negative" ones included
            in += c;
            if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF))
                expected += u'\uFFFD';
            else if (c >= 0x10000)
                expected += {char16_t(0xD7C0 + (c >> 10)), char16_t(0xDC00 | (c & 0x3FF))};
            else
                expected += char16_t(c);
        }
        ASSERT_EQ(text(TStringCore::fromUtf32(in.c_str())), expected);
        const std::wstring w(in.begin(), in.end());
        ASSERT_EQ(text(TStringCore::fromStdWString(w)), expected);
    }
    EXPECT_TRUE(TStringCore::fromUtf32(nullptr, 3).isEmpty() && TStringCore::fromWChar(L"x", 0).isEmpty());
    const char32_t one = U'x'; // refused before the text is read
    EXPECT_THROW(TStringCore::fromUtf32(&one, 0x3FFFFFFC), TStringCore::CapacityException);
}

TEST(TStringEncoding, WideBuffersAtTheirLimits) {
    const TStringCore abc(u"abc"), pair(u"\U0001F600");
    struct Row {
        int capacity;
        bool null;
        int result;
        std::wstring written; // then the canary
    };
    const Row rows[] = {{4, false, 3, std::wstring(L"abc\0", 4)},
                        {5, false, 3, std::wstring(L"abc\0", 4)},
                        {3, false, -1, std::wstring(1, L'\0')},
                        {0, false, -1, L""},
                        {-1, false, -1, L""},
                        {4, true, -1, L""}};
    for (Row const& row : rows) {
        std::vector<wchar_t> buffer(8, L'#');
        EXPECT_EQ(abc.toWCharArray(row.null ? nullptr : buffer.data(), row.capacity), row.result);
        EXPECT_EQ(std::wstring(buffer.data(), row.written.size() + 1), row.written + L'#') << row.capacity;
    }
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
    EXPECT_EQ(copy.removeBOM(), body); // detached: the other owner keeps its mark
    EXPECT_TRUE(marked.hasBOM());
    marked.prepend(u'\uFEFF');
    EXPECT_EQ(marked.removeBOM().size(), 41); // one mark at a time
    EXPECT_TRUE(TStringCore(u"\uFEFF").removeBOM().isEmpty());
}
