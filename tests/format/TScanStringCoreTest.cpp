// String scanner: measures against the string layer's own on generated text in exact-size buffers,
// every read and skip moving by its measure at every position, the failure records, line endings,
// spellings of booleans, measures that stop at their field before an unreadable page, what a scan
// allocates, and reset on a null text.
#include "MemoryTestSupport.h"
#include "ScanStringOperations.h"
#include "ScopedLogicAssertHook.h"
#include "TStringTestSupport.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <gtest/gtest.h>
#include <kestal/LogicException.h>
#include <kestal/TCType.h>
#include <kestal/TScanStringCore.h>
#include <limits>
#include <memory>
#include <new>
#include <random>
#include <sys/mman.h>
#include <tuple>
#include <type_traits>
#include <unistd.h>
#include <vector>

// Counts this thread's calls of the global operator new, the library's std containers included.
namespace {
thread_local int t_newCalls = 0;
}
void* operator new(std::size_t size) {
    ++t_newCalls;
    if (void* p = std::malloc(size ? size : 1)) return p;
    throw std::bad_alloc();
}
void operator delete(void* p) noexcept {
    std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}

namespace {

using kestal::testing::text;
using Scan = TScanStringCore;
using std::u16string;

// The text in a heap buffer of exactly its units and a terminator, so that ASan sees a read past it.
std::unique_ptr<char16_t[]> exact(u16string const& s) {
    std::unique_ptr<char16_t[]> buffer(new char16_t[s.size() + 1]);
    std::copy(s.begin(), s.end(), buffer.get());
    buffer[s.size()] = 0;
    return buffer;
}

using kestal::testing::raisedCode;

u16string randomText(std::mt19937& random) {
    static const char16_t alphabet[] = u"0123456789+-.exaTtYn \t\r\n\u00A0\u0663\xD83D\xDE00";
    u16string s(random() % 11, u' ');
    for (char16_t& unit : s)
        unit = random() % 64 == 0 ? u'\0' : alphabet[random() % (std::size(alphabet) - 1)];
    return s;
}

TEST(TScanStringCore, MeasuresAgreeWithTheStringLayer) {
    std::mt19937 random(7);
    for (int i = 0; i < 3000; ++i) {
        const u16string s = randomText(random);
        const auto buffer = exact(s);
        char16_t const* p = buffer.get();
        const u16string live = s.substr(0, s.find(u'\0'));
        const int size = static_cast<int>(live.size());
        const auto before = [&](auto stop) {
            return static_cast<int>(std::find_if(live.begin(), live.end(), stop) - live.begin());
        };
        for (int base : {0, 2, 8, 10, 16, 36}) {
            int length = 0, measured = 0;
            const unsigned expected =
                raisedCode([&] { length = TStringCore::leftIntegerLength(p, -1, base); });
            ASSERT_EQ(raisedCode([&] { measured = Scan::lengthInt(p, base); }),
                      expected || length ? expected : 0x3AD2C18B);
            ASSERT_EQ(measured, length) << i;
        }
        const int number = TStringCore::leftDoubleLength(p, -1);
        int measured = 0;
        ASSERT_EQ(raisedCode([&] { measured = Scan::lengthFloat(p); }), number ? 0 : 0xE601166D) << i;
        ASSERT_EQ(measured, number);
        ASSERT_EQ(Scan::lengthLine(p), before([](char16_t u) { return u == u'\n'; })) << i;
        ASSERT_EQ(Scan::lengthNonWhitespace(p), before([](char16_t u) { return TCType::isSpace(u); })) << i;
        ASSERT_EQ(Scan::lengthWhitespace(p), before([](char16_t u) { return !TCType::isSpace(u); })) << i;
        for (int count : {-1, 0, 3, INT_MIN})
            ASSERT_EQ(Scan::lengthString(p, count), count < 0 ? size : std::min(count, size));
        for (char16_t const* set : {u"", u"0123456789", u"\t \r\n", u"\U0001F600\u0663", u"-\xDE00"}) {
            const int notOf = TStringCore::findOneNotOf(p, set, 0), of = TStringCore::findOneOf(p, set, 0);
            ASSERT_EQ(Scan::lengthAnyOf(p, set), notOf < 0 ? size : notOf) << i;
            ASSERT_EQ(Scan::lengthAnyNotOf(p, set), of < 0 ? size : of) << i;
        }
    }
}

// Each operation, at every position of generated texts: it moves by its measure and stores what it
// moved over; a measure that raises moves nothing; only the conversions raise after moving.
TEST(TScanStringCore, ReadsAndSkipsMoveByTheirMeasure) {
    std::mt19937 random(8);
    const int params[] = {0, 10, 16, -1}; // bases; counts of readString
    for (int i = 0; i < 500; ++i) {
        const u16string s = randomText(random);
        const auto buffer = exact(s);
        const int size = static_cast<int>(std::min(s.find(u'\0'), s.size()));
        for (int start = 0; start <= size; ++start)
            for (auto const& op : kestal::testing::kScanOps)
                ASSERT_EQ(kestal::testing::checkScanOp(op, buffer.get(), size, start, params[i % 4]), "")
                    << i << ' ' << start << ' ' << (&op - kestal::testing::kScanOps);
    }
}

struct Failure {
    u16string input;
    void (*run)(Scan&);
    unsigned int code;
    char16_t const* message;
    int position; // of the cursor after the raise
};

TEST(TScanStringCore, FailuresCarryTheirRecordAndLeaveTheCursor) {
    const Failure rows[] = {
        {u"ab", [](Scan& s) { s.end(); }, 0x57D65295, u"TScanStringCore::end(): Expected null character.", 0},
        {u"Ja", [](Scan& s) { s.skipBool(); }, 0xE9FB330D,
         u"TScanStringCore::lengthBool: Boolean value not found.", 0},
        {u"+x",
         [](Scan& s) {
             long v;
             s.readInt(v);
         },
         0x3AD2C18B, u"TScanStringCore::lengthInt: Integer value not found.", 0},
        {u"-5", [](Scan& s) { s.skipInt(16); }, 0x3AD2C18B,
         u"TScanStringCore::lengthInt: Integer value not found.", 0},
        {u"abc",
         [](Scan& s) {
             double d;
             s.readFloat(d);
         },
         0xE601166D, u"TScanStringCore::lengthFloat: Float value not found.", 0},
        {u"x\n", [](Scan& s) { s.skipNewline(); }, 0xB44D5F02,
         u"TScanStringCore::lengthNewLine: No new line found.", 0},
        {u"-",
         [](Scan& s) {
             double d;
             s.readFloat(d);
         },
         0x930719DA, u"TScanStringCore::readDouble: Float value not found.", 1},
        {u"1e999 ",
         [](Scan& s) {
             double d;
             s.readFloat(d);
         },
         0x930719DA, u"TScanStringCore::readDouble: Float value not found.", 5},
        {u"1e",
         [](Scan& s) {
             float f;
             s.readFloat(f);
         },
         0x85FD6267, u"TScanStringCore::readFloat: Float value not found.", 2},
        {u"32768",
         [](Scan& s) {
             short v;
             s.readInt(v);
         },
         0x6C2E9B14, u"TScanStringCore::readInt: Integer value out of range.", 5},
        {u"-1",
         [](Scan& s) {
             unsigned v;
             s.readInt(v);
         },
         0x6C2E9B14, u"TScanStringCore::readInt: Integer value out of range.", 2},
        {u"aB", [](Scan& s) { s.skip(u"ab"); }, 0x9DAC629F, u"TScanStringCore::skip: String mismatch.", 0},
        {u"a", [](Scan& s) { s.skip(u"ab"); }, 0x9DAC629F, u"TScanStringCore::skip: String mismatch.", 0},
    };
    for (Failure const& row : rows) {
        const auto buffer = exact(u"-" + row.input);
        Scan scan(buffer.get());
        scan.skip(u"-");
        try {
            row.run(scan);
            ADD_FAILURE() << row.code;
        } catch (Scan::Exception const& e) {
            EXPECT_EQ(std::pair(e.GetErrorCode(), text(e.GetErrorName())),
                      std::pair(row.code, u"VelmoraException_AutoGen_0x" +
                                              text(TStringCore::number(row.code, 16, 8, u'0').toUpper())));
            EXPECT_EQ(text(e.GetMessagesFront()), row.message);
            EXPECT_TRUE(e.GetMessages().size() == 1 && e.GetRedactedMessages().empty());
            EXPECT_EQ(e.GetErrorSource(), row.code == 0x57D65295 ? TError::System : TError::Client);
            EXPECT_EQ(e.GetErrorInfo().GetStatusCode(), grpc::StatusCode::UNKNOWN);
            EXPECT_EQ(scan.position(), 1 + row.position) << row.code;
            std::unique_ptr<VelmoraException> clone(e.Clone());
            EXPECT_NE(dynamic_cast<Scan::Exception*>(clone.get()), nullptr);
            EXPECT_EQ(raisedCode([&] {
                          try {
                              clone->Throw();
                          } catch (Scan::Exception const& thrown) {
                              throw thrown;
                          } catch (...) {
                          }
                      }),
                      row.code);
        }
    }
}

TEST(TScanStringCore, ConversionsStoreTheirValueBeforeRaising) {
    double d = 0;
    float f = 7;
    short s = 0;
    unsigned u = 0;
    unsigned long ul = 0;
    EXPECT_NE(raisedCode([&] { Scan(u"1e999").readFloat(d); }), 0u);
    EXPECT_NE(raisedCode([&] { Scan(u"-40000").readInt(s); }), 0u);
    EXPECT_NE(raisedCode([&] { Scan(u"-1").readInt(u); }), 0u);
    EXPECT_EQ(raisedCode([&] { Scan(u"-1").readInt(ul).readFloat(f); }),
              0xE601166Du); // full width takes "-1"
    EXPECT_EQ(std::tuple(d, s, u, ul, f), std::tuple(HUGE_VAL, SHRT_MIN, UINT_MAX, ULONG_MAX, 7.0f));
    Scan(u"1e39").readFloat(f); // beyond float: an infinity, not a failure
    EXPECT_EQ(f, HUGE_VALF);
    EXPECT_EQ(Scan(u"0x1Fg").readInt(u, 0).position(), 4);
    EXPECT_EQ(u, 31u);
}

TEST(TScanStringCore, LinesEndAtLineFeedOnly) {
    const std::pair<u16string, std::vector<u16string>> rows[] = {
        {u"", {}},
        {u"a\nb", {u"a", u"b"}},
        {u"a\n\nb\n", {u"a", u"", u"b"}},
        {u"a\r\nb\n\rc\r\rd\re", {u"a\r", u"b", u"c\r\rd\re"}},
        {u"\n\n\r\r\n", {u"", u"", u"\r"}},
    };
    for (auto const& [input, lines] : rows) {
        const auto buffer = exact(input);
        Scan scan(buffer.get());
        std::vector<u16string> read;
        for (TStringCore line; !scan.atEnd() && read.size() < 10; read.push_back(text(line)))
            scan.readLine(line);
        EXPECT_EQ(read, lines);
        scan.end();
    }
    const std::pair<char16_t const*, int> endings[] = {{u"", 0},     {u"\n", 1},    {u"\r", 1},  {u"\r\n", 2},
                                                       {u"\n\r", 2}, {u"\r\rx", 1}, {u"\n\n", 1}};
    for (auto [input, units] : endings)
        EXPECT_EQ(Scan(input).skipNewline().position(), units) << units;
}

TEST(TScanStringCore, BooleansByFirstMatchingSpellingWithoutWordEnd) {
    const std::tuple<char16_t const*, int, bool> rows[] = {
        {u"YES", 3, true},    {u"No", 2, false},    {u"10", 1, true},     {u"0", 1, false},
        {u"truest", 4, true}, {u"FALSE", 5, false}, {u"nobody", 2, false}};
    for (auto [input, units, value] : rows) {
        bool read = !value;
        EXPECT_EQ(Scan(input).readBool(read).position(), units) << units;
        EXPECT_EQ(read, value) << units;
    }
    EXPECT_EQ(Scan::lengthBool(u"ye\u017F"), 3); // case folding as compareN folds: long s is s
}

// The measures stop at the end of their field: here the text runs on without a NUL into a page
// that cannot be read, so a measure that walked the rest of the text first would fault.
TEST(TScanStringCore, MeasuresReadNoFurtherThanTheirField) {
    const long page = sysconf(_SC_PAGESIZE);
    auto* base = static_cast<char*>(
        mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    ASSERT_NE(base, MAP_FAILED);
    ASSERT_EQ(mprotect(base + page, page, PROT_NONE), 0);
    auto* units = reinterpret_cast<char16_t*>(base);
    const int count = static_cast<int>(page / 2);
    std::fill(units, units + count, u'z');
    const u16string head = u"12.5e3 true\tx\n";
    std::copy(head.begin(), head.end(), units);
    EXPECT_EQ(Scan::lengthInt(units, 10) + Scan::lengthInt(units, 0) + Scan::lengthFloat(units), 2 + 2 + 6);
    EXPECT_EQ(Scan::lengthAnyOf(units, u"12") + Scan::lengthAnyOf(units, u"1\u00E92"), 2 + 2);
    EXPECT_EQ(Scan::lengthAnyNotOf(units, u" ") + Scan::lengthAnyNotOf(units, u"\u00E9 "), 6 + 6);
    EXPECT_EQ(Scan::lengthNonWhitespace(units) + Scan::lengthLine(units) + Scan::lengthString(units, 3),
              6 + 13 + 3);
    Scan scan(units);
    bool b = false;
    scan.skipFloat().skipWhitespace().readBool(b).skipWhitespace().skip(u"x").skipNewline();
    EXPECT_EQ(std::pair(scan.position(), b), std::pair(14, true));
    munmap(base, 2 * page);
}

TEST(TScanStringCore, MeasuresAllocateNothingAndReadsOnlyTheirText) {
    const TStringCore input(
        u"key_017 -12345 3.14159 true\r\nsecond line of the record, long enough for a block\n");
    TStringCore word, line;
    line.reserve(64);
    kestal::testing::ScopedCounting counting(velmora::memory::MemoryTrackingMode::AllocationsAndFrees);
    const int before = t_newCalls;
    char16_t const* p = input.constData();
    int sink = Scan::lengthNonWhitespace(p) + Scan::lengthWhitespace(p + 7) + Scan::lengthInt(p + 8, 10);
    sink += Scan::lengthFloat(p + 15) + Scan::lengthBool(p + 23) + Scan::lengthLine(p) +
            Scan::lengthNewline(p + 28);
    sink += Scan::lengthString(p, 40) + Scan::lengthAnyOf(p, u"kye_\u00E9") +
            Scan::lengthAnyNotOf(p, u"\U0001F600\n");
    int i = 0;
    double d = 0;
    bool b = false;
    Scan(input)
        .readNonWhitespace(word)
        .skipWhitespace()
        .readInt(i)
        .skipWhitespace()
        .readFloat(d)
        .skipWhitespace()
        .readBool(b)
        .readLine(line)
        .readLine(line)
        .end();
    EXPECT_EQ(std::pair(t_newCalls - before, counting.events()), std::pair(0, std::pair(0u, 0u)));
    EXPECT_EQ(std::tuple(sink, text(word), i, d, b),
              std::tuple(126, u16string(u"key_017"), -12345, 3.14159, true));
    EXPECT_EQ(text(line), u"second line of the record, long enough for a block");
}

TEST(TScanStringCore, NullTextAndBadBase) {
    static_assert(!std::is_constructible_v<Scan, TStringCore> &&
                  std::is_constructible_v<Scan, TStringCore const&>);
    Scan null(static_cast<char16_t const*>(nullptr));
    {
        kestal::testing::ScopedLogicAssertHook hook;
        try {
            null.reset();
            ADD_FAILURE();
        } catch (LogicException const& e) {
            EXPECT_EQ(std::pair(e.GetErrorCode(), text(e.GetErrorName())),
                      std::pair(0x1D15303Bu, u16string(u"LogicException_LogicAssert_0x1D15303B")));
            EXPECT_EQ(std::pair(hook.LastFile(), hook.LastLine()),
                      std::pair(std::string("main/kestal/TScanStringCore"), 242));
        }
    }
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(raisedCode([&] { null.reset(); }), 0xA2BCBC42u);
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
