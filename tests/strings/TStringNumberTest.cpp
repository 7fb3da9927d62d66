// Number conversion: integer rendering against std::to_chars in every base, the double writer's
// edits, the integer parser's bounds, wraps and errno, the double reader's spellings, a round trip
// of random doubles, and the two measures.
#include "TStringTestSupport.h"

#include <bit>
#include <cerrno>
#include <cfenv>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <kestal/TStringCore.h>
#include <kestal/detail/TStringFastPathsTesting.h>
#include <limits>
#include <locale.h>
#include <random>
#include <string>
#include <tuple>
#include <vector>

namespace {

using namespace std::literals;
using kestal::testing::expectStringException;
using kestal::testing::text;
using std::u16string;

TStringCore str(u16string const& s) {
    return TStringCore(s.data(), static_cast<int>(s.size()));
}

TEST(TStringNumber, IntegersMatchToCharsInEveryBase) {
    std::mt19937_64 random(20240611);
    for (int i = 0; i < 2000; ++i) {
        // Spread the magnitudes: a random value shifted right by a random amount.
        const std::uint64_t bits = random() >> (random() % 64);
        const auto value = static_cast<long long>(i % 2 ? bits : 0 - bits);
        for (int base = 2; base <= 36; ++base) {
            char buffer[80];
            auto r = std::to_chars(buffer, buffer + sizeof buffer, bits, base);
            EXPECT_EQ(text(TStringCore::number(static_cast<unsigned long long>(bits), base)),
                      u16string(buffer, r.ptr));
            // The signed form shows the two's complement pattern in every base but 10.
            r = base == 10
                    ? std::to_chars(buffer, buffer + sizeof buffer, value)
                    : std::to_chars(buffer, buffer + sizeof buffer, static_cast<std::uint64_t>(value), base);
            EXPECT_EQ(text(TStringCore::number(value, base)), u16string(buffer, r.ptr))
                << value << " base " << base;
        }
    }
}

TEST(TStringNumber, IntegerWidthFillSignAndBase64) {
    const std::pair<TStringCore, u16string> cases[] = {
        {TStringCore::number(-12, 10, 6, u'0'), u"-00012"}, // zeros go behind the sign
        {TStringCore::number(-12, 10, 6, u' '), u"   -12"}, // any other fill in front of it
        {TStringCore::number(-12, 10, -5, u'0'), u"-12"},
        {TStringCore::number(255u, 16, 4, u'*'), u"**ff"},
        {TStringCore::number(std::numeric_limits<long long>::min()), u"-9223372036854775808"},
        {TStringCore::number(short(-1), 16), u"ffffffffffffffff"},
        {TStringCore::number(-1, 2, 70, u'.'), u"......" + u16string(64, u'1')},
        {TStringCore::number(0, 64), u"A"},
        {TStringCore::number(~0ull, 64), u"P//////////"},
        {TStringCore::number(-1, 64, 13, u'0'), u"00P//////////"},
        {TStringCore::pointer(nullptr, true, true), u"0x0000000000000000"},
        {TStringCore::pointer(reinterpret_cast<void const*>(0xBEEFu), true, false), u"0xbeef"}};
    for (auto const& [actual, expected] : cases)
        EXPECT_EQ(text(actual), expected);

    for (int base : {-1, 0, 1, 37, 63, 65}) {
        expectStringException<TStringCore::Exception>([&] { TStringCore::number(5u, base); },
                                                      u"TStringCore::number: base out of range.");
        expectStringException<TStringCore::Exception>([&] { TStringCore::number(-5, base); },
                                                      u"TStringCore::number: base out of range.");
    }
}

TEST(TStringNumber, DoubleWriterEdits) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    const std::tuple<double, char, int, bool, u16string> cases[] = {
        {-nan, 'e', 3, true, u"nan"},
        {-inf, 'g', 3, true, u"-inf"},
        {1.5, 'q', 2, false, u"1.50"},      // unknown format: f
        {1.5, 'f', -3, false, u"1.500000"}, // negative precision: 6
        {1e-5, 'E', 1, false, u"1.0E-05"},
        {1.0, 'g', 6, true, u"1.0"},
        {1000000.0, 'g', 6, true, u"1.0e+06"},
        {2.0, 'f', 6, true, u"2.0"},
        {1000.0, 'e', 6, true, u"1.0e+03"},
        {100.0, 'f', 0, true, u"1"}, // the walk eats the integer's zeros at precision 0
        {0.0, 'f', 0, true, u"0"},
        {-0.0, 'f', 0, true, u""}, // "-0" walks to "-", a sign before nothing, which goes too
        {-100.0, 'f', 0, true, u"-1"},
        {-0.001, 'f', 2, false, u"0.00"},
        {-0.0, 'e', 2, false, u"0.00e+00"},
        {-0.0, 'g', 6, true, u"0.0"},
        {1e100, 'g', 3, false, u"1e+100"}};
    for (auto const& [value, format, precision, compact, expected] : cases)
        EXPECT_EQ(text(TStringCore::number(value, format, precision, compact)), expected)
            << value << ' ' << format << precision;
    const TStringCore huge = TStringCore::number(1e300, 'f', 1000); // cut at 1023 units
    EXPECT_EQ(huge.size(), 1023);
    EXPECT_EQ(text(huge.left(4)), u"1000");
}

// The to... members as one signature: the result as a 64-bit pattern.
using Parse = std::uint64_t (*)(TStringCore const&, bool*, int);
template <class T, T (TStringCore::*member)(bool*, int) const>
std::uint64_t as64(TStringCore const& s, bool* ok, int base) {
    return static_cast<std::uint64_t>(static_cast<std::int64_t>((s.*member)(ok, base)));
}
constexpr Parse toShort = as64<short, &TStringCore::toShort>;
constexpr Parse toUShort = as64<unsigned short, &TStringCore::toUShort>;
constexpr Parse toInt = as64<int, &TStringCore::toInt>;
constexpr Parse toUInt = as64<unsigned, &TStringCore::toUInt>;
constexpr Parse toLong = as64<long, &TStringCore::toLong>;
constexpr Parse toLongLong = as64<long long, &TStringCore::toLongLong>;
constexpr Parse toULong = as64<unsigned long, &TStringCore::toULong>;
constexpr Parse toULongLong = as64<unsigned long long, &TStringCore::toULongLong>;

// Runs `f` once on the fast paths and once on the C library's, restoring the setting.
template <class F>
auto bothPaths(F&& f) {
    kestal::detail::SetStringFastPathsEnabledForTesting(false);
    auto slow = f();
    kestal::detail::SetStringFastPathsEnabledForTesting(true);
    return std::pair(f(), slow);
}

// Random bit patterns, then the values where digits are decided: zeros, subnormals, the edges of
// the range, halves at every rounding position, infinities and NaNs.
std::vector<double> doublesToRender(int randomCount) {
    std::vector<double> values;
    std::mt19937_64 random(99);
    for (int i = 0; i < randomCount; ++i)
        values.push_back(std::bit_cast<double>(random()));
    using L = std::numeric_limits<double>;
    for (double v : {0.0, L::denorm_min(), L::min(), L::max(), L::infinity(), L::quiet_NaN(), 0.5, 1.0, 9.5,
                     0.125, 2.5e-5, 1e15 + 0.5, 999999.5, 9.9999995, 1e22, 5e-324, 123456789012345678.0})
        for (double sign : {1.0, -1.0})
            values.push_back(sign * v);
    // Exact decimal ties: 1 + 2^-k has k digits behind the point, 2^k + 0.5 one.
    for (int k = 1; k < 24; ++k)
        for (double v : {1.0 + std::ldexp(1.0, -k), 3 * std::ldexp(1.0, -k), std::ldexp(1.0, k) + 0.5})
            values.push_back(v);
    return values;
}

// number(double) through std::to_chars and through snprintf agree on every byte, under the locale
// in force: with a decimal comma the fast path must stand aside.
void expectDoubleWriterPathsAgree(int randomCount) {
    static constexpr char kFormats[] = {'e', 'f', 'g', 'E', 'F', 'G'};
    const std::vector<double> values = doublesToRender(randomCount);
    int mismatches = 0;
    for (std::size_t i = 0; i < values.size() && mismatches < 10; ++i) {
        // Random values take one format and precision each; the chosen ones take every pair.
        const bool chosen = i >= static_cast<std::size_t>(randomCount);
        for (int combination = 0; combination < (chosen ? 6 * 19 : 1); ++combination) {
            const int pick = chosen ? combination : static_cast<int>(i % (6 * 19));
            const char format = kFormats[pick % 6];
            const int precision = pick / 6 < 18 ? pick / 6 : 30;
            const bool compact = (i + static_cast<std::size_t>(combination)) % 2;
            const double value = values[i];
            const auto [fast, slow] =
                bothPaths([&] { return text(TStringCore::number(value, format, precision, compact)); });
            if (fast != slow && ++mismatches)
                ADD_FAILURE() << std::hexfloat << value << ' ' << format << precision
                              << (compact ? " compact" : "") << ": " << str(fast) << " != " << str(slow);
        }
    }
}

// Texts for the readers: random runs over an alphabet of what the parsers decide on, and the
// renderings of random doubles at every precision, with the range's edges.
std::vector<u16string> numberTexts(int count) {
    static constexpr char16_t kAlphabet[] = u"0123456789000999.+-eE xX\t\u3000\x11aFinI";
    std::mt19937_64 random(5);
    std::vector<u16string> texts;
    for (int i = 0; i < count; ++i) {
        u16string s;
        if (i % 3 == 0) {
            for (auto n = random() % 26; n > 0; --n)
                s += kAlphabet[random() % (std::size(kAlphabet) - 1)];
        } else if (i % 3 == 1) { // integers of every length about the 64-bit edges
            s = u16string(random() % 2, u' ') + u16string(1, u"+- "[random() % 3]);
            for (auto n = 1 + random() % 21; n > 0; --n)
                s += static_cast<char16_t>(u'0' + random() % 10);
            s += u16string(random() % 2, u'\t');
        } else {
            char buffer[64];
            const auto bits = random();
            const double value =
                i % 2 ? std::bit_cast<double>(bits) : static_cast<double>(bits >> (bits % 64));
            const int n = std::snprintf(buffer, sizeof buffer, i % 4 < 2 ? "%.*g" : "%.*e",
                                        static_cast<int>(bits % 20), value);
            s.assign(buffer, buffer + n);
        }
        texts.push_back(s);
    }
    for (char16_t const* edge :
         {u"2.2250738585072014e-308", u"2.2250738585072011e-308", u"4.4501477170144028e-308",
          u"1.7976931348623157e308", u"1.7976931348623159e308", u"0e999999", u"-0.0",
          u"000000000000000000001", u"9223372036854775807", u"-9223372036854775808", u"9223372036854775808",
          u"  7  ", u"+.5", u"5.", u"1e+", u"-"})
        texts.push_back(edge);
    // Digits at every offset, so that the readers meet the end of the inline text and of a block.
    for (std::size_t pad = 0; pad < 17; ++pad)
        for (std::size_t n = 1; n < 20; ++n)
            texts.push_back(u16string(pad, u' ') + u16string(n % 2, u'-') +
                            u16string(u"9876543210987654321", n));
    return texts;
}

// Every to... member on both paths: value (NaN as NaN), *ok and errno agree.
void expectReaderPathsAgree(int count) {
    static constexpr Parse kParsers[] = {toShort, toUShort,   toInt,   toUInt,
                                         toLong,  toLongLong, toULong, toULongLong};
    int mismatches = 0;
    for (u16string const& input : numberTexts(count)) {
        const TStringCore s = str(input);
        const auto [fastDouble, slowDouble] = bothPaths([&] {
            bool ok = false;
            const double value = s.toDouble(&ok);
            return std::tuple(std::isnan(value) ? 1 : std::bit_cast<std::uint64_t>(value), ok, errno);
        });
        if (fastDouble != slowDouble && mismatches++ < 10) ADD_FAILURE() << "toDouble " << s;
        for (Parse parse : kParsers)
            for (int base : {10, 0, 16}) {
                const auto [fast, slow] = bothPaths([&] {
                    bool ok = false;
                    const std::uint64_t value = parse(s, &ok, base);
                    const int error = errno;
                    const std::uint64_t quiet = parse(s, nullptr, base);
                    return std::tuple(value, ok, error, quiet, errno);
                });
                if (fast != slow && mismatches++ < 10) ADD_FAILURE() << "base " << base << ": " << s;
            }
    }
}

// The fast paths against the C library's: in the default environment, rounding upward (snprintf
// follows the mode, std::to_chars does not) and under a decimal comma ("de_DE"), where they must
// stand aside.
TEST(TStringNumber, FastPathsMatchTheCLibrary) {
    expectDoubleWriterPathsAgree(300000);
    expectReaderPathsAgree(60000);
    std::fesetround(FE_UPWARD);
    EXPECT_EQ(text(TStringCore::number(0.125, 'f', 2)), u"0.13");
    expectDoubleWriterPathsAgree(20000);
    expectReaderPathsAgree(5000);
    std::fesetround(FE_TONEAREST);
    locale_t comma = nullptr;
    for (char const* name : {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8", "de_DE"})
        if (!comma) comma = newlocale(LC_ALL_MASK, name, nullptr);
    if (!comma)
        GTEST_SKIP() << "no locale with a decimal comma is installed (scripts/install-deps.sh adds one)";
    const locale_t previous = uselocale(comma);
    EXPECT_EQ(text(TStringCore::number(1.5, 'f', 1)), u"1,5");
    EXPECT_EQ(TStringCore(u"1.5").toDouble(), 1.0);
    expectDoubleWriterPathsAgree(20000);
    expectReaderPathsAgree(5000);
    uselocale(previous);
    freelocale(comma);
}

TEST(TStringNumber, IntegerParserResultsOkAndErrno) {
    constexpr long long kMax = std::numeric_limits<long long>::max(),
                        kMin = std::numeric_limits<long long>::min();
    // Text, member, base, then the result as a 64-bit pattern, *ok and errno.
    const std::tuple<u16string, Parse, int, long long, bool, int> cases[] = {
        {u"  +42  ", toInt, 10, 42, true, 0},
        {u"\u3000\u00A0-7\u2003", toInt, 10, -7, true, 0},
        {u"0x10", toInt, 16, 16, true, 0},
        {u"0X1f", toInt, 0, 31, true, 0},
        {u"010", toInt, 0, 8, true, 0},
        {u"Zz", toInt, 36, 36 * 35 + 35, true, 0},
        {u"19", toInt, 8, 17, true, 0},        // 0-9 are digits in every base
        {u"\x11\x12", toInt, 10, 12, true, 0}, // 0x10-0x19 read as digits
        {u"12abc", toInt, 10, 12, false, 0},   // the value stands behind junk
        {u"7\0008"s, toShort, 10, 7, true, 0}, // the parser stops at a zero unit
        {u"", toInt, 10, 0, false, EINVAL},
        {u"- 1", toInt, 10, 0, false, EINVAL},
        {u"0x", toInt, 16, 0, false, EINVAL}, // a prefix alone is no number
        {u"2147483647", toInt, 10, 2147483647, true, 0},
        {u"2147483648", toInt, 10, 2147483647, false, ERANGE},
        {u"-2147483649", toInt, 10, -2147483648LL, false, ERANGE},
        {u"32768", toShort, 10, 32767, false, ERANGE},
        {u"65536", toUShort, 10, 65535, false, ERANGE},
        {u"-1", toUShort, 10, 65535, false, ERANGE},
        {u"9223372036854775807", toLongLong, 10, kMax, true, 0},
        {u"9223372036854775808", toLongLong, 10, kMax, false, ERANGE}, // past the signed top
        {u"-9223372036854775808", toLong, 10, kMin, true, 0},
        {u"-9223372036854775809", toLongLong, 10, kMin, false, ERANGE},
        {u"99999999999999999999", toLong, 10, kMax, false, ERANGE},
        {u"-1", toULongLong, 10, -1, true, 0}, // a '-' negates the full-width pattern
        {u"18446744073709551615", toULong, 10, -1, true, 0},
        {u"18446744073709551616", toULongLong, 10, -1, false, ERANGE},
        {u"-99999999999999999999", toULongLong, 10, -1, false, ERANGE},
        {u"23058430092136939520", toULongLong, 10, 1LL << 62, true, 0}, // a wrap the test misses
        {u"23058430092136939520", toLongLong, 10, 1LL << 62, true, 0}};
    for (auto const& [input, parse, base, expected, expectedOk, expectedErrno] : cases) {
        bool ok = !expectedOk;
        errno = 12345;
        const std::uint64_t value = parse(str(input), &ok, base);
        EXPECT_EQ(std::tuple(value, ok, errno),
                  std::tuple(static_cast<std::uint64_t>(expected), expectedOk, expectedErrno))
            << str(input);
    }

    // Without ok, junk behind the number goes unreported; range errors still show in errno.
    errno = EDOM;
    EXPECT_EQ(str(u"12abc").toInt(nullptr), 12);
    EXPECT_EQ(errno, 0);
    EXPECT_EQ(str(u"40000").toShort(nullptr), 32767);
    EXPECT_EQ(errno, ERANGE);

    for (int base : {-1, 1, 37})
        for (char16_t const* input : {u"abc", u"", u" -"})
            expectStringException<TStringCore::Exception>([&] { TStringCore(input).toInt(nullptr, base); },
                                                          u"TStringCore::parseInteger: base out of range.");
}

TEST(TStringNumber, DoubleReaderSpellingsAndErrors) {
    const double inf = std::numeric_limits<double>::infinity(), nan = std::nan("");
    // Text, then the value (NaN: the positive NaN), *ok and errno.
    const std::tuple<u16string, double, bool, int> cases[] = {
        {u"-Infinity", -inf, true, 0},
        {u" +inf.0\t", inf, true, 0},
        {u"inf x", inf, false, 0},
        {u"infx", 0.0, false, ERANGE},
        {u"-NaN_1", nan, true, 0},
        {u"nan(1)", 0.0, false, ERANGE},
        {u"", 0.0, false, 0},
        {u"  -1.5E3 ", -1500.0, true, 0},
        {u"0X1P4", 16.0, true, 0},
        {u"1.5x", 1.5, false, 0},
        {u"1\u20AC", 1.0, false, 0}, // a unit above 0xFF becomes '?'
        {u"1e400", inf, false, ERANGE},
        {u"1e-400", 0.0, false, ERANGE},
        {u16string(70, u' ') + u"2.5", 2.5, true, 0},
        {u"0." + u16string(80, u'0') + u"1", 1e-81, true, 0}};
    for (auto const& [input, expected, expectedOk, expectedErrno] : cases) {
        bool ok = !expectedOk;
        errno = 12345;
        const double value = str(input).toDouble(&ok);
        const bool same =
            std::isnan(expected) ? std::isnan(value) && !std::signbit(value) : value == expected;
        EXPECT_EQ(std::tuple(same, ok, errno), std::tuple(true, expectedOk, expectedErrno)) << str(input);
    }

    // A subnormal result reads as +0.0; *ok follows whether strtod reported the underflow.
    for (char16_t const* input : {u"1e-320", u"-4.9e-324"}) {
        bool ok = true;
        const double value = TStringCore(input).toDouble(&ok);
        EXPECT_EQ(std::bit_cast<std::uint64_t>(value), 0u);
        EXPECT_EQ(ok, errno == 0);
    }

    bool ok = false;
    EXPECT_EQ(TStringCore(u"1e39").toFloat(&ok), std::numeric_limits<float>::infinity());
    EXPECT_TRUE(ok);
    EXPECT_EQ(TStringCore(u"0.1").toFloat(), 0.1f);
}

TEST(TStringNumber, LeftIntegerAndDoubleLengths) {
    // Text, length, base, units measured.
    const std::tuple<u16string, int, int, int> integers[] = {
        {u"-12x", -1, 10, 3}, {u"-12x", -1, 16, 0}, // a sign in decimal alone
        {u"+7", -1, 0, 2},    {u"0x1Fg", -1, 0, 4}, {u"0x1F", -1, 16, 4}, {u"0xg", -1, 16, 0},
        {u"0x", -1, 16, 0},   {u"0179", -1, 0, 3}, // held to the base
        {u"12", -1, 2, 1},    {u"22", -1, 2, 0},    {u" 1", -1, 10, 0},   {u"12345", 3, 10, 3},
        {u"-", -1, 10, 0},    {u"", -1, 0, 0},      {u"zZ!", -1, 36, 2},  {u"1\x12", -1, 10, 2},
    };
    for (auto const& [input, length, base, expected] : integers)
        EXPECT_EQ(TStringCore::leftIntegerLength(input.c_str(), length, base), expected) << str(input);
    EXPECT_EQ(TStringCore::leftIntegerLength(nullptr, -1, 99), 0);
    EXPECT_EQ(str(u"22").toInt(nullptr, 2), 6); // the parser takes what the measure refuses
    const std::pair<char16_t const*, int> badBases[] = {{u"7", 0}, {u"12", 37}, {u"12", 1}};
    for (auto const& bad : badBases)
        expectStringException<TStringCore::Exception>(
            [&] { TStringCore(bad.first).leftIntegerLength(bad.second); },
            u"TStringCore::parseInteger: base out of range.");

    const std::tuple<u16string, int, int> doubles[] = {
        {u".", -1, 1},    {u"-", -1, 1},     {u"1e", -1, 2},     {u"1e+", -1, 3},
        {u".x", -1, 0},   {u"1ex", -1, 1},   {u"1e+x", -1, 1},   {u"-.5e-3z", -1, 6},
        {u"+.e5", -1, 0}, {u"12.e7", -1, 5}, {u"1.5E+10", 5, 5}, {u"\u0661\u0662.3", -1, 4},
        {u"x1", -1, 0},   {u"", -1, 0},
    };
    for (auto const& [input, length, expected] : doubles)
        EXPECT_EQ(TStringCore::leftDoubleLength(input.c_str(), length), expected) << str(input);
    EXPECT_EQ(str(u"3.25e2 apples").leftDoubleLength(), 6);
}

} // namespace
