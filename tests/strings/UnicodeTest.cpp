// Unicode: every conversion and measure against ICU on generated text in all planes, the own
// decoder against a reference on ill-formed bytes, lone surrogates, the argument tests and their
// messages, line endings and the standard-string helpers. Buffers are sized exactly (result plus
// terminator), so the sanitizer build catches a write or read outside them.
#include "TStringTestSupport.h"

#include <functional>
#include <gtest/gtest.h>
#include <kestal/CodePoint.h>
#include <kestal/Unicode.h>
#include <kestal/detail/TStringFastPathsTesting.h>
#include <random>
#include <string>
#include <unicode/unistr.h>
#include <vector>

using kestal::testing::expectStringException;
using namespace Unicode;

namespace {

constexpr char32_t kSub = 0xFFFD;

int len(std::size_t n) {
    return static_cast<int>(n);
}

// ICU as the oracle, each ill-formed part replaced by U+FFFD.
std::u16string icu16From8(std::string const& s) {
    const icu::UnicodeString u = icu::UnicodeString::fromUTF8(s);
    return std::u16string(u.getBuffer(), static_cast<std::size_t>(u.length()));
}
std::string icu8From16(std::u16string const& s) {
    std::string out;
    return icu::UnicodeString(false, s.data(), len(s.size())).toUTF8String(out);
}

// Code points from every plane, weighted so that each UTF-8 length is common; no surrogates, and
// no zero, where some measures stop.
std::u32string randomText(std::mt19937& rng, int n) {
    std::u32string text;
    for (int i = 0; i < n; ++i) {
        static constexpr char32_t first[] = {1, 0x80, 0x800, 0x10000},
                                  count[] = {0x7F, 0x780, 0xF000, 0x100000};
        const std::uint32_t kind = rng() % 4;
        const char32_t c = first[kind] + rng() % count[kind];
        text += kind == 2 && c >= 0xD800 ? c + 0x800 : c;
    }
    return text;
}

// Runs `convert` over all of `s` into a buffer of exactly `size` + 1 units.
template <class Out, class In>
std::basic_string<Out> into(int (*convert)(In const*, int, Out*, int), std::basic_string<In> const& s,
                            int size) {
    std::vector<Out> buffer(static_cast<std::size_t>(size) + 1, Out(0x55));
    const int n = convert(s.data(), len(s.size()), buffer.data(), size + 1);
    EXPECT_EQ(n, size);
    EXPECT_EQ(buffer[static_cast<std::size_t>(n)], Out(0));
    return std::basic_string<Out>(buffer.data(), static_cast<std::size_t>(n));
}

// The own decoder's rules, by byte ranges rather than the table: a lead's sequence must fit in
// the text or the rest becomes one U+FFFD; a bad continuation byte is replaced and read again.
// `pairs` counts the complete four-byte forms, which the UTF-16 measure counts twice.
std::u32string referenceDecode(std::string const& s, int& pairs) {
    pairs = 0;
    std::u32string out;
    const std::size_t n = s.size();
    for (std::size_t i = 0; i < n;) {
        const auto b = static_cast<unsigned char>(s[i]);
        const std::size_t k = b >= 0xC0 && b < 0xE0   ? 1
                              : b >= 0xE0 && b < 0xF0 ? 2
                              : b >= 0xF0 && b < 0xF8 ? 3
                                                      : 0;
        if (b < 0x80 || k == 0) {
            out += b < 0x80 ? char32_t(b) : kSub;
            ++i;
            continue;
        }
        if (i + k >= n) return out + kSub;
        char32_t value = b & (0x3F >> k);
        std::size_t good = 0;
        while (good < k && (static_cast<unsigned char>(s[i + 1 + good]) >> 6) == 2)
            value = value << 6 | (s[i + 1 + good++] & 0x3F);
        out += good == k ? value : kSub;
        pairs += good == 3;
        i += 1 + good;
    }
    return out;
}

// What a conversion leaves: the whole destination buffer, and the count or the message it raised.
template <class Out>
std::pair<std::basic_string<Out>, std::u16string> outcome(int (*convert)(char const*, int, Out*, int),
                                                          std::string const& bytes, int capacity) {
    std::basic_string<Out> buffer(static_cast<std::size_t>(capacity) + 4, Out(0x55));
    try {
        const int n = convert(bytes.data(), len(bytes.size()), buffer.data(), capacity);
        return {buffer, std::u16string(1, static_cast<char16_t>(n))};
    } catch (TStringCore::Exception const& e) {
        return {buffer, kestal::testing::text(e.GetConcatenatedMessages())};
    }
}

} // namespace

// The vectorised ASCII run ahead of ICU and the own decoder's block walk against the plain paths:
// long ASCII runs broken by every kind of sequence, good and bad, cut at every capacity around the
// result, so that a run meets the end of the destination and of the text at every offset.
TEST(Unicode, FastPathsMatchTheGeneralPaths) {
    std::mt19937 rng(11);
    static char const* const pieces[] = {
        "\xC3\xA9", "\xE6\x9D\xB1", "\xF0\x9F\x98\x80", "\xC3",         "\xE6\x9D",
        "\x80",     "\xF8",         "\xC0\x80",         "\xED\xA0\x80", "\0"};
    for (int round = 0; round < 400; ++round) {
        std::string bytes;
        while (bytes.size() < rng() % 120) {
            bytes.append(rng() % 40, static_cast<char>('a' + rng() % 26));
            bytes += pieces[rng() % std::size(pieces)];
        }
        const int n16 = MeasureUtf8ToUtf16(bytes.data(), len(bytes.size()));
        const int n32 = MeasureUtf8ToUtf32(bytes.data(), len(bytes.size()));
        for (int capacity :
             {n16 + 1, n16, n16 - 1, n32 + 1, n32, static_cast<int>(rng() % (n16 + 2)), 1, 0}) {
            kestal::detail::SetStringFastPathsEnabledForTesting(false);
            const auto slow16 = outcome(Utf8ToUtf16, bytes, capacity);
            const auto slow32 = outcome(Utf8ToUtf32, bytes, capacity);
            kestal::detail::SetStringFastPathsEnabledForTesting(true);
            EXPECT_EQ(outcome(Utf8ToUtf16, bytes, capacity), slow16) << bytes.size() << ' ' << capacity;
            EXPECT_EQ(outcome(Utf8ToUtf32, bytes, capacity), slow32) << bytes.size() << ' ' << capacity;
        }
    }
}

TEST(Unicode, ValidTextInAllPlanesMatchesIcuEveryWay) {
    std::mt19937 rng(20240611);
    for (int round = 0; round < 300; ++round) {
        const std::u32string u32 = randomText(rng, static_cast<int>(rng() % 40));
        const int n32 = len(u32.size());
        const auto oracle = icu::UnicodeString::fromUTF32(reinterpret_cast<UChar32 const*>(u32.data()), n32);
        const std::u16string u16(oracle.getBuffer(), static_cast<std::size_t>(oracle.length()));
        const std::string u8 = icu8From16(u16);
        const int n8 = len(u8.size()), n16 = len(u16.size());

        EXPECT_EQ(MeasureUtf8ToUtf16(u8.data(), n8), n16);
        EXPECT_EQ(MeasureUtf8ToUtf32(u8.data(), n8), n32);
        EXPECT_EQ(MeasureUtf8ToUtf8(u8.c_str(), n8), n8);
        EXPECT_EQ(MeasureUtf16ToUtf8(u16.data(), n16), n8);
        EXPECT_EQ(MeasureUtf16ToUtf32(u16.data(), n16), n32);
        EXPECT_EQ(MeasureUtf32ToUtf8(u32.data(), n32), n8);
        EXPECT_EQ(MeasureUtf32ToUtf16(u32.data(), n32), n16);
        EXPECT_EQ(LengthInCodePoints(u16.c_str(), 0, -1), n32);
        EXPECT_EQ(into(Utf8ToUtf16, u8, n16), u16);
        EXPECT_EQ(into(Utf8ToUtf32, u8, n32), u32);
        EXPECT_EQ(into(Utf16ToUtf8, u16, n8), u8);
        EXPECT_EQ(into(Utf16ToUtf32, u16, n32), u32);
        EXPECT_EQ(into(Utf32ToUtf8, u32, n8), u8);
        EXPECT_EQ(into(Utf32ToUtf16, u32, n16), u16);

        // The per-code-point functions, walked over the same text into buffers of the exact size.
        std::u16string walked16(u16.size(), u'\0');
        std::u32string walked32(u32.size(), U'\0');
        for (int i = 0, at16 = 0, at32 = 0; i < n8;) {
            char16_t const* const read = walked16.data() + at16;
            i += CodePoint::Utf8ToUtf16(u8.c_str() + i, walked16.data(), at16, n16);
            CodePoint::Utf16ToUtf32(read, walked32.data(), at32, n32);
        }
        EXPECT_EQ(std::pair(walked16, walked32), std::pair(u16, u32));
    }
}

TEST(Unicode, IllFormedUtf8FollowsTheOwnDecoderOrIcu) {
    std::mt19937 rng(7);
    static constexpr unsigned char alphabet[] = {0x41, 0x7F, 0x80, 0x9F, 0xBF, 0xC0, 0xC3, 0xDF, 0xE0,
                                                 0xE2, 0xED, 0xEF, 0xF0, 0xF4, 0xF5, 0xF7, 0xF8, 0xFF};
    for (int round = 0; round < 2000; ++round) {
        std::string bytes(rng() % 12, '\0');
        for (char& b : bytes)
            b = static_cast<char>(alphabet[rng() % sizeof alphabet]);
        // The engines differ on purpose: the own decoder reads C0 80 as one overlong character and
        // F4 90 80 80 as 0x110000, where ICU sees bad bytes.
        int pairs = 0;
        const std::u32string expected = referenceDecode(bytes, pairs);
        const int n32 = MeasureUtf8ToUtf32(bytes.data(), len(bytes.size()));
        EXPECT_EQ(n32, len(expected.size()));
        EXPECT_EQ(MeasureUtf8ToUtf16(bytes.data(), len(bytes.size())), n32 + pairs);
        EXPECT_EQ(into(Utf8ToUtf32, bytes, n32), expected);
        // ICU does UTF-16: each maximal ill-formed part once, and never more units than bytes.
        const std::u16string viaIcu = icu16From8(bytes);
        EXPECT_LE(viaIcu.size(), bytes.size());
        EXPECT_EQ(into(Utf8ToUtf16, bytes, len(viaIcu.size())), viaIcu);
    }
}

TEST(Unicode, LoneSurrogatesAreReplacedOnceEach) {
    std::mt19937 rng(99);
    static constexpr char16_t alphabet[] = {u'a', 0xE9, 0xD800, 0xDBFF, 0xDC00, 0xDFFF, 0xFFFD, 0x4E2D};
    for (int round = 0; round < 1000; ++round) {
        std::u16string units(rng() % 10 + 1, u'\0');
        for (char16_t& u : units)
            u = alphabet[rng() % std::size(alphabet)];
        const int n = len(units.size());
        const std::string u8 = icu8From16(units);
        EXPECT_EQ(MeasureUtf16ToUtf8(units.data(), n), len(u8.size()));
        EXPECT_EQ(into(Utf16ToUtf8, units, len(u8.size())), u8);
        EXPECT_EQ(into(StringValidateCopy, units, n), icu16From8(u8));

        // The per-code-point conversion replaces exactly as ICU does for UTF-16 input; a replacement
        // asks for one place more than it writes.
        std::string walked(u8.size() + 1, '\0');
        for (int i = 0, at = 0; i < n;)
            i += CodePoint::Utf16ToUtf8(units.c_str() + i, walked.data(), at, len(walked.size()));
        EXPECT_EQ(walked, u8 + '\0');
    }
}

TEST(Unicode, Utf32OwnEncoderEncodesSurrogatesAndReplacesBeyondRange) {
    const std::u32string values = {U'a', 0xD800, 0x10FFFF, 0x110000, 0xFFFFFFFF};
    EXPECT_EQ(into(Utf32ToUtf8, values, MeasureUtf32ToUtf8(values.data(), 5)),
              "a\xED\xA0\x80\xF4\x8F\xBF\xBF\xEF\xBF\xBD\xEF\xBF\xBD");
    EXPECT_EQ(into(Utf32ToUtf16, values, MeasureUtf32ToUtf16(values.data(), 5)),
              u"a\xFFFD\U0010FFFF\xFFFD\xFFFD");
}

TEST(Unicode, ArgumentAndCapacityFailuresRaiseWithTheirMessages) {
    char16_t out16[8];
    char out8[8];
    char32_t out32[8];
    const std::pair<std::function<void()>, char16_t const*> failures[] = {
        {[&] { Utf16ToUtf32(static_cast<char16_t const*>(nullptr), out32, 8); },
         u"String source is nullptr, encountered in Utf16ToUtf32"},
        {[&] { Utf32ToUtf8(U"x", -3, out8, 8); }, u"Nonsense string length: -3 encountered in Utf32ToUtf8"},
        // ICU: a destination with no room for the terminator is a warning, and warnings raise; so
        // does a preflight of nothing, which does not overflow.
        {[&] { Utf16ToUtf8(u"abc", 3, out8, 3); },
         u"ICU error -124 encountered while Utf16ToUtf8 was trying to use u_strToUTF8WithSub"},
        {[&] { Utf16ToUtf32(u"", 0, nullptr, 0); },
         u"ICU error -124 encountered while Utf16ToUtf32 was trying to use u_strToUTF32WithSub"},
        {[&] { Utf8ToUtf16("abcd", 4, out16, 3); },
         u"ICU error 15 encountered while Utf8ToUtf16 was trying to use u_strFromUTF8WithSub"},
        // The own converters: room for every unit plus the terminator, checked before writing.
        {[&] { Utf8ToUtf32("abc", 3, out32, 3); },
         u"Error unable to process the entire source string in function Utf8ToUtf32"},
        {[&] { Utf32ToUtf8(U"a\u00E9", 2, out8, 3); },
         u"Error insufficient destinationCapacity (3) was passed into Utf32ToUtf8."}};
    for (auto const& [action, message] : failures)
        expectStringException<TStringCore::Exception>(action, message);
    EXPECT_EQ(MeasureUtf16ToUtf32(u"", 0), 0);
    EXPECT_EQ(Utf16ToUtf8(u"\U0001F600", 2, nullptr, 0), 4);
    EXPECT_EQ(Utf32ToUtf8(U"a\u00E9", 2, out8, 4), 3);
    out32[0] = 9;
    EXPECT_EQ(Utf8ToUtf32("", 0, out32, 0), 0);
    EXPECT_EQ(out32[0], 0u);
    EXPECT_EQ(MeasureUtf8ToUtf8(nullptr, 5), 0);
}

TEST(Unicode, CodePointCountsAndPrefixSizes) {
    const char16_t text[] = u"a\U0001F600\xDC00"
                            u"b\0c";
    EXPECT_EQ(LengthInCodePoints(text, 0, -1), 4); // stops at the zero; the lone low counts
    EXPECT_EQ(LengthInCodePoints(text, 1, 3), 1);  // an end position, not a count
    EXPECT_EQ(LengthInCodePoints(text, 3, 3), 0);
    EXPECT_EQ(LengthInCodePoints(text, -1, 3), 0);
    EXPECT_EQ(SubStringSizeInCodeUnits(text, 7, 0, 2), 3);
    EXPECT_EQ(SubStringSizeInCodeUnits(text, 2, 1, 5), 2); // the pair is taken whole past the length
    EXPECT_EQ(SubStringSizeInCodeUnits(text, 7, 2, -1), 3);
    EXPECT_EQ(SubStringSizeInCodeUnits(text, 7, 7, 1), 0);

    char16_t out[4] = {u'x', u'x', u'x', u'x'};
    // The pair would take the terminator's place.
    EXPECT_EQ(StringValidateCopy(u"ab\U0001F600", -1, out, 4), 2);
    EXPECT_EQ(std::u16string(out), u"ab");
    EXPECT_EQ(StringValidateCopy(u"abc", -1, nullptr, 0), 3);
    EXPECT_EQ(StringValidateCopy(out, 1, out, 4), 0);
    EXPECT_EQ(StringValidateCopy(u"abc", 3, out, 1), 0);
    EXPECT_EQ(out[0], 0);
}

TEST(Unicode, LineEndingsNormaliseInPlaceAndBack) {
    // Before the machine starts an LF does not swallow the CR after it; once it runs, it does.
    const std::pair<std::string, std::string> cases[] = {
        {"\r\r\rx", "\nx"}, {"\r\n\n", "\n\n"},     {"a\rb\rc", "a\nb\nc"}, {"no breaks", "no breaks"},
        {"\n\rx", "\n\nx"}, {"\r\n\n\rx", "\n\nx"}, {"\r\n\r\n", "\n\n"},   {"x\r", "x\n"},
    };
    for (auto const& [in, out] : cases) {
        std::string narrow = in;
        EXPECT_EQ(normalizeLineEndings(narrow.data()), out.size()) << in;
        EXPECT_EQ(narrow.c_str(), out);
        std::u16string wide(in.begin(), in.end());
        const std::size_t n = normalizeLineEndings(wide.data(), wide.size());
        EXPECT_EQ(std::u16string(wide.data(), n), std::u16string(out.begin(), out.end()));
    }
    // The length forms pass zero units through and terminate at the new length.
    char16_t withZero[] = u"a\r\n\0\r\r\nb";
    EXPECT_EQ(normalizeLineEndings(withZero, 8), 5u);
    EXPECT_EQ(std::u16string(withZero, 6), std::u16string(u"a\n\0\nb\0", 6));

    using kestal::testing::text;
    EXPECT_EQ(text(unixToDos(u"\n\n", 2)), u"\r\n\r\n");
    EXPECT_EQ(text(unixToDos(u"\r\n", 2)), u"\r\n");
    EXPECT_EQ(text(unixToDos(u"a\rb\n\0c", 6)), std::u16string(u"a\r\nb\r\n\0c", 8));
    EXPECT_TRUE(unixToDos(u"abc", 0).isEmpty());
}

TEST(Unicode, StandardStringsAndWideArrays) {
    EXPECT_EQ(toStdString(u"\0abcd", 5), "");
    EXPECT_EQ(toStdString(u"a\xD800\U0001F600", 4), "a\xEF\xBF\xBD\xF0\x9F\x98\x80");
    EXPECT_EQ(toStdWString(u"a\U0001F600", 3), L"a\U0001F600");
    EXPECT_EQ(toStdU16String(u"\xDC00x", 2), u"\xDC00x");

    wchar_t wide[4] = {L'x', L'x', L'x', L'x'};
    EXPECT_EQ(toWCharArray(u"abc", 3, wide, 3), 0u);
    EXPECT_EQ(wide[0], L'\0');
    EXPECT_EQ(toWCharArray(u"a\U0001F600", 3, wide, 4), 3u); // the count includes the terminator
    EXPECT_EQ(std::wstring(wide), L"a\U0001F600");
    EXPECT_EQ(toWCharArray(u"abc", 3, nullptr, 9), 0u);
}
