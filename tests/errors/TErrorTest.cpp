// The error record: the marshalling round trip over every source and status, the parser's
// rejections, equality, the call-stack hook's once-per-construction rule and a deep source text
// on a small stack.
#include "TStringTestSupport.h"

#include <gtest/gtest.h>
#include <kestal/TError.h>
#include <kestal/TStackWalker.h>
#include <kestal/VelmoraException.h>
#include <pthread.h>
#include <sstream>

namespace {

using kestal::testing::text;
using TError::ErrorInfo;

// Installs a hook that counts its calls and records the last code; removes it on exit.
struct CountingHook {
    static inline int calls = 0;
    static inline unsigned int lastCode = 0;
    CountingHook() {
        calls = 0;
        InjectGenerateErrorCallstackHook([](unsigned int code) {
            ++calls;
            lastCode = code;
            return std::list<std::string>{"frame " + std::to_string(code)};
        });
    }
    ~CountingHook() { InjectGenerateErrorCallstackHook(nullptr); }
};

ErrorInfo parse(std::u16string const& code, std::u16string const& source, std::u16string const& status) {
    auto s = [](std::u16string const& t) { return TStringCore(t.data(), static_cast<int>(t.size())); };
    return ErrorInfo::FromStringifiedMembers(s(code), s(source), s(status));
}

bool isInvalid(ErrorInfo const& e) {
    return e == ErrorInfo::InvalidErrorInfo() &&
           e.GetVelmoraError().GetCodeName() == u"KestalInvalidErrorInfo_0xBADBEEF5";
}

template <class T>
concept Comparable = requires(T a) {
    a == a;
};
static_assert(!Comparable<VelmoraError>, "a VelmoraError has no equality");
static_assert(!std::is_convertible_v<VelmoraError, ErrorInfo>, "a record is never made by accident");

TEST(ErrorInfo, EverySourceAndStatusRoundTripsOrIsRefused) {
    const int named[] = {1, 2, 4, 6, 7, 8};
    for (int source = -1; source <= 9; ++source) {
        for (int status : {-1, 0, 1, 2, 13, 15, 16, 17, 31}) {
            const ErrorInfo sent(VelmoraError(0xA2BCBC42u, u"Sender_0xA2BCBC42"), TError::ErrorSource(source),
                                 grpc::StatusCode(status));
            TStringCore code, sourceText, statusText;
            sent.GetMembersAsStrings(code, sourceText, statusText);
            EXPECT_EQ(text(code), u"0xA2BCBC42");
            EXPECT_EQ(statusText.toInt(), status);
            const ErrorInfo back = ErrorInfo::FromStringifiedMembers(code, sourceText, statusText);
            const bool sourceNamed = std::find(std::begin(named), std::end(named), source) != std::end(named);
            if (status < 0 || status > 16) {
                EXPECT_TRUE(isInvalid(back)) << source << " " << status;
                EXPECT_EQ(text(TError::GetStatusCodeAsString(grpc::StatusCode(status))), u"DO_NOT_USE");
                continue;
            }
            EXPECT_EQ(back == sent, sourceNamed) << source << " " << status; // unnamed ones come back as 4
            EXPECT_EQ(back.GetErrorSource(), sourceNamed ? source : 4);
            EXPECT_EQ(text(back.GetVelmoraError().GetCodeName()), u"AutoGen_0xA2BCBC42");
            EXPECT_EQ(TError::GetStatusCodeFromString(
                          TError::GetStatusCodeAsString(grpc::StatusCode(status)).toLower()),
                      status);
        }
    }
    for (ErrorInfo const& factory :
         {ErrorInfo::NoError(), ErrorInfo::TestError(), ErrorInfo::InvalidErrorInfo()}) {
        TStringCore c, s, t;
        factory.GetMembersAsStrings(c, s, t);
        EXPECT_EQ(ErrorInfo::FromStringifiedMembers(c, s, t), factory);
    }
}

TEST(ErrorInfo, ParserAcceptsOnlyTheStrictForm) {
    struct Row {
        std::u16string code, source, status;
        int expectSource; // 0: refused
        int expectStatus;
    };
    const Row rows[] = {
        {u"0x0000000A", u"Client", u"07", 1, 7},
        {u"0xabcdef01", u"client", u"16", 1, 16},
        {u"0x00000000", u"needsclassification", u"0", 4, 0},
        {u"0x00000000", u"NEEDSCLASSIFICATION", u"2", 4, 2},
        {u"0x0000000A", u"DATASOURCE", u"2", 7, 2},
        {u"0x0000000A", u"Client", u"17", 0, 0},
        {u"0x0000000A", u"Client", u"99", 0, 0},
        {u"0x0000000A", u"Client", u"-1", 0, 0},
        {u"0x0000000A", u"Client", u"100", 0, 0},
        {u"0x0000000A", u"Client", u" 1", 0, 0},
        {u"0x0000000A", u"Client", std::u16string(u"1\0", 2), 0, 0},
        {u"0x0000000A", u"Client", u"", 0, 0},
        {u"0x0000000A", u"Bogus", u"1", 0, 0},
        {u"0x0000000A", u"Data Source", u"1", 0, 0},
        {u"0x0000000A", u"", u"1", 0, 0},
        {u"0x0000000A", u"Cliënt", u"1", 0, 0},
        {u"0X0000000A", u"Client", u"1", 0, 0},
        {u"0xABC", u"Client", u"1", 0, 0},
        {u"0x0000000AB", u"Client", u"1", 0, 0},
        {u"0x0000000G", u"Client", u"1", 0, 0},
    };
    for (Row const& row : rows) {
        const ErrorInfo e = parse(row.code, row.source, row.status);
        if (row.expectSource == 0) {
            EXPECT_TRUE(isInvalid(e)) << "row " << (&row - rows);
            continue;
        }
        EXPECT_EQ(e.GetErrorSource(), row.expectSource);
        EXPECT_EQ(e.GetStatusCode(), row.expectStatus);
        EXPECT_EQ(text(e.GetVelmoraError().GetCodeName()), u"AutoGen_" + row.code); // digits as given
        EXPECT_EQ(e.GetVelmoraError().GetCode(),
                  std::stoul(std::string(row.code.begin(), row.code.end()), nullptr, 16));
    }
    EXPECT_EQ(TError::GetStatusCodeFromString(u"do_not_use"), -1);
    EXPECT_EQ(TError::GetErrorSourceFromString(u""), TError::NeedsClassification);
}

TEST(ErrorInfo, EqualityIgnoresNameAttributesAndCallstack) {
    ErrorInfo a(VelmoraError(7, u"A"), TError::Client, grpc::StatusCode::NOT_FOUND);
    ErrorInfo b(VelmoraError(7, u"B"), TError::ErrorSource::Client, grpc::StatusCode::NOT_FOUND);
    b.SetAuxDatum(u"key", u"value");
    EXPECT_TRUE(a == b);
    EXPECT_FALSE(a != b);
    EXPECT_NE(a, ErrorInfo(VelmoraError(8, u"A"), TError::Client, grpc::StatusCode::NOT_FOUND));
    EXPECT_NE(a, ErrorInfo(VelmoraError(7, u"A"), TError::System, grpc::StatusCode::NOT_FOUND));
    EXPECT_NE(a, ErrorInfo(VelmoraError(7, u"A"), TError::Client, grpc::StatusCode::UNKNOWN));

    EXPECT_EQ(text(b.GetAuxDatum(u"absent")), u"");
    EXPECT_EQ(b.GetAuxAttrs().size(), 1u); // the lookup inserted nothing
    b.SetAuxAttrs(b.GetAuxAttrs());
    b.SetAuxDatum(u"key", u"other");
    EXPECT_EQ(text(b.GetAuxDatum(u"key")), u"other");

    std::ostringstream out;
    out << ErrorInfo(VelmoraError(0x0E2B86FB, u"x"), TError::Client);
    EXPECT_EQ(out.str(), "0x0E2B86FB Client UNKNOWN");
}

TEST(ErrorInfo, HookRunsOncePerConstructionAndNeverOnCopies) {
    CountingHook hook;
    ErrorInfo a(VelmoraError(42, u"x"), TError::Client);
    EXPECT_EQ(CountingHook::calls, 1);
    EXPECT_EQ(a.GetCallstack(), std::list<std::string>{"frame 42"});
    ErrorInfo b = a;
    b = ErrorInfo::TestError();
    EXPECT_EQ(CountingHook::calls, 2);
    EXPECT_EQ(b.GetCallstack(), std::list<std::string>{"frame 0"});
    parse(u"0x00000005", u"Client", u"1");
    parse(u"0x00000005", u"Nobody", u"1");
    EXPECT_EQ(CountingHook::calls, 4);
    EXPECT_EQ(CountingHook::lastCode, 0xBADBEEF5u);

    // An exception builds its record once; copies, clones and assignment share it.
    VelmoraException e;
    VelmoraException copy(e);
    copy = VelmoraException(u"text", a);
    std::unique_ptr<VelmoraException>(copy.Clone());
    EXPECT_EQ(CountingHook::calls, 5);
}

TEST(ErrorInfo, ThrowingHookLeavesEveryConstructor) {
    InjectGenerateErrorCallstackHook([](unsigned int) -> std::list<std::string> { throw 7; });
    EXPECT_THROW(ErrorInfo(VelmoraError(1, u"x"), TError::Client), int);
    EXPECT_THROW(parse(u"0x00000001", u"Client", u"1"), int); // the catch-all's own record throws too
    EXPECT_THROW(VelmoraException(), int);
    InjectGenerateErrorCallstackHook(nullptr);
}

TEST(ErrorInfo, LongSourceTextIsRefusedOnASmallStack) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, 256 * 1024);
    static bool refused = false;
    pthread_t thread;
    ASSERT_EQ(pthread_create(
                  &thread, &attributes,
                  [](void*) -> void* {
                      refused = isInvalid(parse(u"0x00000001", std::u16string(100000, u'a'), u"1"));
                      return nullptr;
                  },
                  nullptr),
              0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
    EXPECT_TRUE(refused);
}

} // namespace
