// The error record: the marshalling round trip over every source and status, the parser's
// rejections, equality, the call-stack hook's once-per-construction rule and a long source text
// on a small stack.
#include "TStringTestSupport.h"

#include <gtest/gtest.h>
#include <kestal/TStackWalker.h>
#include <kestal/VelmoraException.h>
#include <pthread.h>
#include <sstream>

namespace {

using kestal::testing::text;
using TError::ErrorInfo;

template <class T>
concept Comparable = requires(T a) {
    a == a;
};
static_assert(!Comparable<VelmoraError> && !std::is_convertible_v<VelmoraError, ErrorInfo>);

ErrorInfo parse(std::u16string const& code, std::u16string const& source, std::u16string const& status) {
    auto s = [](std::u16string const& t) { return TStringCore(t.data(), static_cast<int>(t.size())); };
    return ErrorInfo::FromStringifiedMembers(s(code), s(source), s(status));
}

bool isInvalid(ErrorInfo const& e) {
    return e == ErrorInfo::InvalidErrorInfo() &&
           e.GetVelmoraError().GetCodeName() == u"KestalInvalidErrorInfo_0xBADBEEF5";
}

TEST(ErrorInfo, EverySourceAndStatusRoundTripsOrIsRefused) {
    for (int source = -1; source <= 9; ++source) {
        for (int status : {-1, 0, 1, 2, 13, 16, 17, 31}) {
            const ErrorInfo sent(VelmoraError(0xA2BCBC42u, u"Sender"), TError::ErrorSource(source),
                                 grpc::StatusCode(status));
            TStringCore code, sourceText, statusText, same;
            sent.GetMembersAsStrings(code, sourceText, statusText);
            sent.GetMembersAsStrings(same, same, same); // status, source, code: the code is written last
            EXPECT_EQ(text(same), u"0xA2BCBC42");
            EXPECT_EQ(statusText.toInt(), status);
            const ErrorInfo back = ErrorInfo::FromStringifiedMembers(code, sourceText, statusText);
            if (status < 0 || status > 16) {
                EXPECT_TRUE(isInvalid(back)) << source << " " << status;
                EXPECT_EQ(text(TError::GetStatusCodeAsString(grpc::StatusCode(status))), u"DO_NOT_USE");
                continue;
            }
            const bool named = source > 0 && source < 9 && source != 3 && source != 5; // others print as 4
            EXPECT_EQ(back == sent, named) << source << " " << status;
            EXPECT_EQ(back.GetErrorSource(), named ? source : 4);
            EXPECT_EQ(text(back.GetVelmoraError().GetCodeName()), u"AutoGen_0xA2BCBC42");
            auto lower = TError::GetStatusCodeAsString(grpc::StatusCode(status)).toLower();
            EXPECT_EQ(TError::GetStatusCodeFromString(lower), status);
        }
    }
    for (ErrorInfo const& factory :
         {ErrorInfo::NoError(), ErrorInfo::TestError(), ErrorInfo::InvalidErrorInfo()}) {
        TStringCore c, s, t;
        factory.GetMembersAsStrings(c, s, t);
        EXPECT_EQ(ErrorInfo::FromStringifiedMembers(c, s, t), factory);
    }
    EXPECT_EQ(TError::GetStatusCodeFromString(u"do_not_use"), -1);
}

TEST(ErrorInfo, ParserAcceptsOnlyTheStrictForm) {
    struct Row {
        std::u16string code, source, status;
        int source_, status_; // source 0: refused
    } const rows[] = {
        {u"0x0000000A", u"client", u"07", 1, 7},
        {u"0xabcdef01", u"DATASOURCE", u"16", 7, 16},
        {u"0x00000000", u"needsclassification", u"0", 4, 0},
        {u"0x0000000A", u"Client", u"17", 0, 0},
        {u"0x0000000A", u"Client", u"100", 0, 0},
        {u"0x0000000A", u"Client", u" 1", 0, 0},
        {u"0x0000000A", u"Client", {u"1\0", 2}, 0, 0},
        {u"0x0000000A", u"Client", u"", 0, 0},
        {u"0x0000000A", u"Bogus", u"1", 0, 0},
        {u"0x0000000A", u"Data Source", u"1", 0, 0},
        {u"0x0000000A", u"", u"1", 0, 0},
        {u"0x0000000A", u"Cliënt", u"1", 0, 0},
        {u"0X0000000A", u"Client", u"1", 0, 0},
        {u"0xABC", u"Client", u"1", 0, 0},
        {u"0x0000000AB", u"Client", u"1", 0, 0},
    };
    for (Row const& row : rows) {
        const ErrorInfo e = parse(row.code, row.source, row.status);
        if (row.source_ == 0) {
            EXPECT_TRUE(isInvalid(e)) << "row " << &row - rows;
            continue;
        }
        EXPECT_EQ(e.GetErrorSource(), row.source_);
        EXPECT_EQ(e.GetStatusCode(), row.status_);
        EXPECT_EQ(text(e.GetVelmoraError().GetCodeName()), u"AutoGen_" + row.code); // digits as given
    }
    EXPECT_EQ(parse(u"0xabcdef01", u"System", u"1").GetVelmoraError().GetCode(), 0xABCDEF01u);

    // Equality is code, source and status: names, attributes and call stacks take no part.
    ErrorInfo b(VelmoraError(0x0E2B86FB, u"B"), TError::ErrorSource::Client);
    b.SetAuxDatum(u"key", u"value");
    EXPECT_TRUE(ErrorInfo(VelmoraError(0x0E2B86FB, u"A"), TError::Client) == b);
    EXPECT_NE(b, ErrorInfo(VelmoraError(0x0E2B86FB, u"B"), TError::Client, grpc::StatusCode::OK));
    EXPECT_TRUE(b.GetAuxDatum(u"absent").isEmpty() && b.GetAuxAttrs().size() == 1); // nothing inserted
    std::ostringstream out;
    out << b;
    EXPECT_EQ(out.str(), "0x0E2B86FB Client UNKNOWN");
}

TEST(ErrorInfo, HookRunsOncePerConstructionAndNeverOnCopies) {
    static int calls = 0;
    InjectGenerateErrorCallstackHook([](unsigned int code) {
        ++calls;
        return std::list<std::string>{std::to_string(code)};
    });
    ErrorInfo a(VelmoraError(42, u"x"), TError::Client);
    ErrorInfo b = a;
    EXPECT_EQ(b.GetCallstack(), std::list<std::string>{"42"});
    b = ErrorInfo::TestError();
    parse(u"0x00000005", u"Client", u"1");
    EXPECT_EQ(parse(u"0x00000005", u"Nobody", u"1").GetCallstack().front(), std::to_string(0xBADBEEF5u));
    VelmoraException e; // builds NoError() once and shares a copy
    VelmoraException copy(e);
    copy = VelmoraException(u"text", a);
    std::unique_ptr<VelmoraException>(copy.Clone());
    EXPECT_EQ(calls, 5);

    InjectGenerateErrorCallstackHook([](unsigned int) -> std::list<std::string> { throw 7; });
    EXPECT_THROW(ErrorInfo(VelmoraError(1, u"x"), TError::Client), int);
    EXPECT_THROW(parse(u"0x00000001", u"Client", u"1"), int); // the catch-all's own record throws too
    EXPECT_THROW(VelmoraException(), int);
    InjectGenerateErrorCallstackHook(nullptr);
}

TEST(ErrorInfo, LongSourceTextIsRefusedOnASmallStack) {
    static bool refused = false;
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, 256 * 1024);
    auto body = [](void*) -> void* {
        refused = isInvalid(parse(u"0x00000001", std::u16string(100000, u'a'), u"1"));
        return nullptr;
    };
    pthread_t thread;
    ASSERT_EQ(pthread_create(&thread, &attributes, body, nullptr), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
    EXPECT_TRUE(refused);
}

} // namespace
