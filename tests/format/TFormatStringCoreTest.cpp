// Format strings: the scan and the splice against a reference on generated templates, the
// parameter forms, parameters kept across new texts, a failed assignment, the failure record, the
// single allocation of result() and its 64-bit length sum.
#include "FormatStringReference.h"
#include "MemoryTestSupport.h"
#include "TStringTestSupport.h"

#include <climits>
#include <functional>
#include <gtest/gtest.h>
#include <kestal/TFormatStringCore.h>
#include <random>
#include <utility>

namespace {

using kestal::testing::referenceFormat;
using kestal::testing::text;

TStringCore str(std::u16string const& s) {
    return TStringCore(s.data(), static_cast<int>(s.size()));
}

// The outcome of construction and result(), as the reference reports it.
kestal::testing::FormatOutcome run(std::u16string const& pattern, std::vector<std::u16string> const& parms) {
    try {
        TFormatStringCore f(str(pattern));
        for (std::u16string const& p : parms)
            f.arg(str(p));
        return {0, text(f.result())};
    } catch (TFormatStringCore::Exception const& e) { // messages only, Client, UNKNOWN, the code in the name
        EXPECT_TRUE(e.GetRedactedMessages().empty() && e.GetErrorSource() == TError::Client &&
                    e.GetErrorInfo().GetStatusCode() == grpc::StatusCode::UNKNOWN);
        EXPECT_EQ(e.GetErrorName(), u"VelmoraException_AutoGen_0x" +
                                        TStringCore::number(e.GetErrorCode(), 16, 8, u'0').toUpper());
        return {e.GetErrorCode(), text(e.GetMessagesFront())};
    }
}

TEST(TFormatStringCore, GeneratedTemplatesMatchTheReferenceSplice) {
    const char16_t alphabet[] = {u'%', u'%', u'1', u'2', u'9', u'0', u'a', u'\0', u'\u0661'};
    const std::u16string pool[] = {u"", u"x", u"%1", u"a parameter beyond inline",
                                   std::u16string(u"n\0l", 3)};
    std::mt19937 random(11);
    for (int i = 0; i < 20000; ++i) {
        std::u16string pattern(random() % 12, u' ');
        for (char16_t& unit : pattern)
            unit = alphabet[random() % std::size(alphabet)];
        std::vector<std::u16string> parms(random() % 5);
        for (std::u16string& p : parms)
            p = pool[random() % std::size(pool)];
        const auto expected = referenceFormat(pattern, parms);
        const auto actual = run(pattern, parms);
        ASSERT_EQ(actual.code, expected.code) << i;
        ASSERT_EQ(actual.text, expected.text) << i;
    }
}

TEST(TFormatStringCore, ParameterFormsFormatThenJustify) {
    const std::pair<std::function<void(TFormatStringCore&)>, std::u16string> rows[] = {
        {[](auto& f) { f.arg(u"abc", -5, u'.'); }, u"abc.."},
        {[](auto& f) { f.arg(u"abcdef", 3); }, u"abcdef"},
        {[](auto& f) { f.arg(u'x', 3, u'*'); }, u"**x"},
        {[](auto& f) { f.arg(-12, 5, 10, u'0'); }, u"00-12"},
        {[](auto& f) { f.arg(static_cast<unsigned short>(65535), -7, 10, u'_'); }, u"65535__"},
        {[](auto& f) { f.arg(1.0 / 3); }, u"0.333333"},
        {[](auto& f) { f.arg(2.5, 6, 'f', 2, u'0'); }, u"002.50"},
        {[](auto& f) { f.arg(3.0, 0, 'g', -1, u' ', true); }, u"3.0"},
        {[](auto& f) {
             f.arg(std::vector<TStringCore>{u"old"}).arg(u"new").arg(std::vector<TStringCore>{u"v"});
         },
         u"v"},
    };
    for (auto const& row : rows) {
        TFormatStringCore f(u"%1");
        row.first(f);
        EXPECT_EQ(text(f.result()), row.second) << "row " << &row - rows;
    }
    TFormatStringCore f(u"%1");
    EXPECT_THROW(f.arg(5, 0, 1), TStringCore::Exception); // a bad base adds nothing
    EXPECT_THROW(f.arg(u"x", INT_MIN), TStringCore::CapacityException);
    EXPECT_THROW(f.arg(7, INT_MIN), TStringCore::CapacityException);
    EXPECT_THROW(f.result(), TFormatStringCore::Exception);

    // The forms with 2 to 10 strings, chained: 54 parameters in order.
    std::u16string pattern, expected;
    for (int i = 1; i <= 54; ++i)
        pattern += u"%" + text(TStringCore::number(i));
    const TStringCore p[] = {u"a", u"b", u"c", u"d", u"e", u"f", u"g", u"h", u"i", u"j"};
    TFormatStringCore many(str(pattern));
    many.arg(p[0], p[1]).arg(p[0], p[1], p[2]).arg(p[0], p[1], p[2], p[3]).arg(p[0], p[1], p[2], p[3], p[4]);
    many.arg(p[0], p[1], p[2], p[3], p[4], p[5]).arg(p[0], p[1], p[2], p[3], p[4], p[5], p[6]);
    many.arg(p[0], p[1], p[2], p[3], p[4], p[5], p[6], p[7])
        .arg(p[0], p[1], p[2], p[3], p[4], p[5], p[6], p[7], p[8]);
    many.arg(p[0], p[1], p[2], p[3], p[4], p[5], p[6], p[7], p[8], p[9]);
    for (int n = 2; n <= 10; ++n)
        expected += std::u16string(u"abcdefghij", n);
    EXPECT_EQ(text(many.result()), expected);
}

TEST(TFormatStringCore, ParametersOutliveNewTextsAndFailedAssignments) {
    TFormatStringCore f(u"%1");
    f.arg(u"a");
    f = u"<%1>";
    EXPECT_EQ(text(f.result()), u"<a>");
    f = TFormatStringCore(u"[%1]").arg(u"b");
    f = f.formatString();
    EXPECT_EQ(text(f.result()), u"[b]");
    EXPECT_THROW(f = u"x%1y%", TFormatStringCore::Exception);
    EXPECT_EQ(text(f.formatString()), u"x%1y%");
    EXPECT_EQ(text(f.result()), u"xby%"); // markers up to the fault, text intact
    EXPECT_THROW(f = TStringCore(u"%1%100"), TFormatStringCore::Exception);
    EXPECT_EQ(text(f.result()), u"b%100");
    f.clearParms();
    f = u"%%";
    EXPECT_EQ(text(f.result() + f.result()), u"%%"); // repeatable
}

TEST(TFormatStringCore, ResultAllocatesOnceAndSumsLengthsInSixtyFourBits) {
    TFormatStringCore f(u"%1 and %2, %% %1");
    f.arg(kestal::testing::letters(40), TStringCore(u"short"));
    {
        kestal::testing::ScopedCounting counting(velmora::memory::MemoryTrackingMode::AllocationsAndFrees);
        EXPECT_EQ(f.result().size(), 40 + 5 + 40 + 9);
        EXPECT_EQ(counting.allocations(), 1u);
    }
    // 4096 copies of 2^20 units: 2^32, which a 32-bit sum would wrap to nothing.
    TFormatStringCore huge(TStringCore(u"%1").repeated(4096));
    huge.arg(kestal::testing::letters(1 << 20));
    EXPECT_THROW(huge.result(), TStringCore::CapacityException);
}

} // namespace
