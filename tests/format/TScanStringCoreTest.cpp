// String scanner: measures against the string layer on generated text in exact-size buffers, every
// read and skip moving by its measure at every position, the failure records, line endings and
// booleans, measures that stop at their field before an unreadable page, what a scan allocates,
// and reset on a null text.
#include "CountingOperatorNew.h"
#include "MemoryTestSupport.h"
#include "ScanStringOperations.h"
#include "ScopedLogicAssertHook.h"
#include "TStringTestSupport.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <gtest/gtest.h>
#include <kestal/TCType.h>
#include <memory>
#include <new>
#include <random>
#include <sys/mman.h>
#include <tuple>
#include <unistd.h>

namespace {

using kestal::testing::raisedCode;
using kestal::testing::t_newCalls;
using kestal::testing::text;
using Scan = TScanStringCore;
using std::u16string;

// The text in a heap buffer of exactly its units and a terminator, so that ASan sees a read past it.
std::unique_ptr<char16_t[]> exact(u16string const& s) {
    std::unique_ptr<char16_t[]> buffer(new char16_t[s.size() + 1]);
    *std::copy(s.begin(), s.end(), buffer.get()) = 0;
    return buffer;
}

u16string randomText(std::mt19937& random) {
    static const char16_t alphabet[] = u"0123456789+-.exaTtYn \t\r\n\u00A0\u0663\xD83D\xDE00";
    u16string s(random() % (random() % 8 ? 11 : 48), u' '); // now and then past a 32-byte chunk
    for (char16_t& unit : s)
        unit = random() % 64 == 0 ? u'\0' : alphabet[random() % (std::size(alphabet) - 1)];
    return s;
}

TEST(TScanStringCore, MeasuresAgreeWithTheStringLayer) {
    std::mt19937 random(7);
    for (int i = 0; i < 2000; ++i) {
        const u16string s = randomText(random), live = s.substr(0, s.find(u'\0'));
        const auto buffer = exact(s);
        char16_t const* p = buffer.get();
        const int size = static_cast<int>(live.size());
        auto before = [&](auto stop) {
            return int(std::find_if(live.begin(), live.end(), stop) - live.begin());
        };
        for (int base : {0, 2, 8, 10, 16, 36}) {
            int length = 0, measured = 0;
            const unsigned code = raisedCode([&] { length = TStringCore::leftIntegerLength(p, -1, base); });
            ASSERT_EQ(raisedCode([&] { measured = Scan::lengthInt(p, base); }),
                      code || length ? code : 0x3AD2C18B);
            ASSERT_EQ(measured, length) << i;
        }
        int number = 0;
        ASSERT_EQ(raisedCode([&] { number = Scan::lengthFloat(p); }) == 0,
                  TStringCore::leftDoubleLength(p, -1) > 0);
        ASSERT_EQ(number, TStringCore::leftDoubleLength(p, -1));
        ASSERT_EQ(Scan::lengthLine(p), before([](char16_t u) { return u == u'\n'; })) << i;
        ASSERT_EQ(Scan::lengthNonWhitespace(p), before([](char16_t u) { return TCType::isSpace(u); })) << i;
        ASSERT_EQ(Scan::lengthWhitespace(p), before([](char16_t u) { return !TCType::isSpace(u); })) << i;
        for (int count : {-1, 0, 3, INT_MIN}) // the count is unsigned: negative means no limit
            ASSERT_EQ(Scan::lengthString(p, count), count < 0 ? size : std::min(count, size));
        for (char16_t const* set : {u"", u"0123456789", u"\t \r\n", u"\U0001F600\u0663", u"-\xDE00"}) {
            const int notOf = TStringCore::findOneNotOf(p, set, 0), of = TStringCore::findOneOf(p, set, 0);
            ASSERT_EQ(Scan::lengthAnyOf(p, set), notOf < 0 ? size : notOf) << i;
            ASSERT_EQ(Scan::lengthAnyNotOf(p, set), of < 0 ? size : of) << i;
        }
    }
}

TEST(TScanStringCore, ReadsAndSkipsMoveByTheirMeasureAtEveryPosition) {
    std::mt19937 random(8);
    const int params[] = {0, 10, 16, -1}; // bases; counts of readString
    for (int i = 0; i < 300; ++i) {
        const u16string s = randomText(random);
        const auto buffer = exact(s);
        const int size = static_cast<int>(std::min(s.find(u'\0'), s.size()));
        for (int start = 0; start <= size; ++start)
            for (auto const& op : kestal::testing::kScanOps)
                ASSERT_EQ(kestal::testing::checkScanOp(op, buffer.get(), size, start, params[i % 4]), "")
                    << i << ' ' << start << ' ' << (&op - kestal::testing::kScanOps);
    }
}

TEST(TScanStringCore, FailuresCarryTheirRecordAndLeaveTheCursor) {
    using kestal::testing::ScanOps;
    TStringCore out;
    // clang-format off
    const std::tuple<u16string, void (*)(Scan&, TStringCore&, int), unsigned, char16_t const*, int> rows[] = {
        {u"ab", [](Scan& s, TStringCore&, int) { s.end(); }, 0x57D65295, u"TScanStringCore::end(): Expected null character.", 0},
        {u"Ja", ScanOps::read<bool>, 0xE9FB330D, u"TScanStringCore::lengthBool: Boolean value not found.", 0},
        {u"+x", ScanOps::read<long>, 0x3AD2C18B, u"TScanStringCore::lengthInt: Integer value not found.", 0},
        {u"abc", ScanOps::read<double>, 0xE601166D, u"TScanStringCore::lengthFloat: Float value not found.", 0},
        {u"x\n", ScanOps::skipNewline, 0xB44D5F02, u"TScanStringCore::lengthNewLine: No new line found.", 0},
        {u"-", ScanOps::read<double>, 0x930719DA, u"TScanStringCore::readDouble: Float value not found.", 1},
        {u"1e999 ", ScanOps::read<double>, 0x930719DA, u"TScanStringCore::readDouble: Float value not found.", 5},
        {u"1e", ScanOps::read<float>, 0x85FD6267, u"TScanStringCore::readFloat: Float value not found.", 2},
        {u"32768", ScanOps::read<short>, 0x6C2E9B14, u"TScanStringCore::readInt: Integer value out of range.", 5},
        {u"-1", ScanOps::read<unsigned>, 0x6C2E9B14, u"TScanStringCore::readInt: Integer value out of range.", 2},
        {u"aB", [](Scan& s, TStringCore&, int) { s.skip(u"ab"); }, 0x9DAC629F, u"TScanStringCore::skip: String mismatch.", 0},
        {u"a", [](Scan& s, TStringCore&, int) { s.skip(u"ab"); }, 0x9DAC629F, u"TScanStringCore::skip: String mismatch.", 0},
    };
    // clang-format on
    for (auto const& [input, run, code, message, position] : rows) {
        const auto buffer = exact(u"-" + input);
        Scan scan(buffer.get());
        try {
            run(scan.skip(u"-"), out, 10);
            ADD_FAILURE() << code;
        } catch (Scan::Exception const& e) {
            const u16string name =
                u"VelmoraException_AutoGen_0x" + text(TStringCore::number(code, 16, 8, u'0').toUpper());
            EXPECT_EQ(std::tuple(e.GetErrorCode(), text(e.GetErrorName()), text(e.GetConcatenatedMessages())),
                      std::tuple(code, name, message + u16string(u"\n")));
            EXPECT_TRUE(e.GetRedactedMessages().empty() &&
                        e.GetErrorInfo().GetStatusCode() == grpc::StatusCode::UNKNOWN);
            EXPECT_EQ(e.GetErrorSource(), code == 0x57D65295 ? TError::System : TError::Client);
            EXPECT_EQ(scan.position(), 1 + position) << code;
            std::unique_ptr<VelmoraException> clone(e.Clone()); // both keep the scanner's type
            EXPECT_NE(dynamic_cast<Scan::Exception*>(clone.get()), nullptr);
            EXPECT_THROW(clone->Throw(), Scan::Exception);
        }
    }
    double d = 0;
    float f = 0;
    short s = 0;
    unsigned long ul = 0;
    EXPECT_EQ(std::pair(raisedCode([&] { Scan(u"1e999").readFloat(d); }),
                        raisedCode([&] { Scan(u"-40000").readInt(s); })),
              std::pair(0x930719DAu, 0x6C2E9B14u));
    Scan(u"-1").readInt(ul);    // the full width takes a '-' as negation
    Scan(u"1e39").readFloat(f); // beyond float's range: an infinity, not a failure
    EXPECT_EQ(std::tuple(d, s, ul, f),
              std::tuple(HUGE_VAL, SHRT_MIN, ULONG_MAX, HUGE_VALF)); // stored before raising
}

TEST(TScanStringCore, LinesEndAtLineFeedAndBooleansAtTheirSpelling) {
    const std::pair<u16string, std::vector<u16string>> texts[] = {
        {u"", {}},
        {u"a\nb", {u"a", u"b"}},
        {u"a\n\nb\n", {u"a", u"", u"b"}},
        {u"a\r\nb\n\rc\r\rd\re", {u"a\r", u"b", u"c\r\rd\re"}},
        {u"\n\n\r\r\n", {u"", u"", u"\r"}}};
    for (auto const& [input, lines] : texts) {
        const auto buffer = exact(input);
        Scan scan(buffer.get());
        std::vector<u16string> read;
        for (TStringCore line; !scan.atEnd() && read.size() < 10; read.push_back(text(line)))
            scan.readLine(line);
        EXPECT_EQ(read, lines);
    }
    const std::pair<char16_t const*, int> endings[] = {
        {u"", 0}, {u"\r\n", 2}, {u"\n\r", 2}, {u"\r\rx", 1}, {u"\n\n", 1}};
    for (auto [input, units] : endings)
        EXPECT_EQ(Scan(input).skipNewline().position(), units) << units;
    const std::tuple<char16_t const*, int, bool> booleans[] = {{u"YES", 3, true},    {u"No", 2, false},
                                                               {u"10", 1, true},     {u"truest", 4, true},
                                                               {u"FALSE", 5, false}, {u"nobody", 2, false}};
    for (auto [input, units, value] : booleans) {
        bool read = !value;
        EXPECT_EQ(std::pair(Scan(input).readBool(read).position(), read), std::pair(units, value)) << units;
    }
    EXPECT_EQ(Scan::lengthBool(u"ye\u017F"), 3); // folded as compareN folds: long s is s
}

// The text runs on without a NUL into a page that cannot be read: a measure that walked the rest
// of the text before measuring its field would fault. Nothing is allocated either.
TEST(TScanStringCore, MeasuresStopAtTheirFieldAndAllocateNothing) {
    const long page = sysconf(_SC_PAGESIZE);
    auto* base = static_cast<char*>(
        mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    ASSERT_TRUE(base != MAP_FAILED && mprotect(base + page, page, PROT_NONE) == 0);
    auto* units = reinterpret_cast<char16_t*>(base);
    const u16string head = u"12.5e3 true\tx\n";
    std::fill_n(units, page / 2, u'z');
    std::copy(head.begin(), head.end(), units);
    const TStringCore lines(u"a line long enough for a block of its own\nand a second\n");
    TStringCore word, line;
    line.reserve(64);
    kestal::testing::ScopedCounting counting(velmora::memory::MemoryTrackingMode::AllocationsAndFrees);
    const int newCalls = t_newCalls;
    EXPECT_EQ(Scan::lengthInt(units, 10) + Scan::lengthInt(units, 0) + Scan::lengthFloat(units), 2 + 2 + 6);
    EXPECT_EQ(Scan::lengthAnyOf(units, u"12") + Scan::lengthAnyOf(units, u"1\u00E92"), 2 + 2);
    EXPECT_EQ(Scan::lengthAnyNotOf(units, u" ") + Scan::lengthAnyNotOf(units, u"\u00E9 "), 6 + 6);
    EXPECT_EQ(Scan::lengthNonWhitespace(units) + Scan::lengthLine(units) + Scan::lengthString(units, 3),
              6 + 13 + 3);
    bool b = false;
    double d = 0;
    Scan scan(units);
    scan.readFloat(d).skipWhitespace().readBool(b).skipWhitespace().readNonWhitespace(word).skipNewline();
    EXPECT_EQ(std::tuple(t_newCalls - newCalls, counting.events(), scan.position()),
              std::tuple(0, std::pair(0u, 0u), 14));
    EXPECT_EQ(std::tuple(d, b, text(word)), std::tuple(12.5e3, true, u16string(u"x")));
    munmap(base, 2 * page);

    Scan(lines).readLine(line).readLine(line).end(); // the output's block is reused
    EXPECT_EQ(std::pair(text(line), counting.events()),
              std::pair(u16string(u"and a second"), std::pair(0u, 0u)));
}

TEST(TScanStringCore, ResetAssertsOnANullTextAndABadBaseRaisesTheStringError) {
    static_assert(!std::is_constructible_v<Scan, TStringCore> &&
                  std::is_constructible_v<Scan, TStringCore const&>);
    Scan null(static_cast<char16_t const*>(nullptr));
    {
        kestal::testing::ScopedLogicAssertHook hook;
        EXPECT_EQ(raisedCode([&] { null.reset(); }), 0x1D15303Bu);
        EXPECT_EQ(std::pair(hook.LastFile(), hook.LastLine()),
                  std::pair(std::string("main/kestal/TScanStringCore"), 242));
    }
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(raisedCode([&] { null.reset(); }), 0xA2BCBC42u); // no hook: the unhooked code, and a trace
    EXPECT_NE(::testing::internal::GetCapturedStderr(), "");

    const TStringCore embedded(u"ab\0cd", 5); // a NUL ends the scan, also inside a string
    Scan scan(embedded);
    scan.skipString(-1).end();
    scan.reset();
    EXPECT_EQ(scan.position(), 0);
    EXPECT_EQ(raisedCode([] { Scan::lengthInt(u"12", 37); }), 1u);
    EXPECT_EQ(raisedCode([] { Scan(u"7").skipInt(0); }), 1u);         // base 0 needs two units to choose
    EXPECT_EQ(raisedCode([] { Scan(u"").skipInt(1); }), 0x3AD2C18Bu); // an empty text measures 0 first
}

} // namespace
