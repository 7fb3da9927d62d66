// Logic assertions: how each constructor splits the public text from the details, the message
// lookup and its id, the trace and code without a hook, what a hook receives, every row of the
// site table, and threads asserting at once while the hook is swapped.
#include "ScopedLogicAssertHook.h"
#include "TStringTestSupport.h"
#include "kestal/errors/LogicAssertSites.h"

#include <algorithm>
#include <atomic>
#include <functional>
#include <gtest/gtest.h>
#include <kestal/TStackWalker.h>
#include <latch>
#include <set>
#include <thread>
#include <vector>

namespace {

using kestal::detail::LogicAssertSite;
using kestal::testing::ScopedLogicAssertHook;
using kestal::testing::text;
using Texts = std::vector<std::u16string>;

constexpr unsigned int kUnhookedCode = 0xA2BCBC42;

Texts texts(std::list<TStringCore> const& list) {
    Texts out;
    for (TStringCore const& s : list)
        out.push_back(text(s));
    return out;
}

// Puts the default lookup back however the test ends.
struct LookupGuard {
    explicit LookupGuard(std::function<TStringCore(unsigned int)> lookup) {
        InjectLookupTStr(std::move(lookup));
    }
    ~LookupGuard() { InjectLookupTStr({}); }
};

// Runs `action`, which must raise LogicException; returns a copy.
template <class F>
LogicException raised(F&& action) {
    try {
        action();
    } catch (LogicException const& e) {
        return e;
    }
    ADD_FAILURE() << "no LogicException";
    return LogicException(u"", VelmoraError::NoError());
}

std::string unhookedTrace(char const* file, int line, char const* message) {
    return std::string("LogicAssert failed (but no hook has been set) at ") + file + " line " +
           std::to_string(line) + ": " + message;
}

TEST(LogicException, ConstructorsSplitPublicTextFromDetails) {
    const TError::ErrorInfo info(VelmoraError(9, u"T_0x00000009"), TError::System);
    const struct Row {
        std::function<LogicException()> make;
        Texts messages;
        std::u16string internal;
        unsigned int code;
        TError::ErrorSource source;
    } rows[] = {
        {[&] { return LogicException(u"a\nb\r\n\n", info); },
         {u"Internal error."},
         u"a\nb\r",
         9,
         TError::System},
        {[&] { return LogicException(u"\n\n", info); },
         {u"Internal error."},
         u"No details given",
         9,
         TError::System},
        {[] { return LogicException(u"", VelmoraError(7, u"x")); },
         {u"Internal error."},
         u"No details given",
         7,
         TError::NeedsClassification},
        {[&] { return LogicException(TFormatStringCore(u"n=%1\n").arg(5), info); },
         {u"Internal error."},
         u"n=5",
         9,
         TError::System},
        {[] {
             return LogicException({u"m", TStringCore()}, u"\n");
         },
         {u"Internal error.", u"m", u""},
         u"",
         0,
         TError::NeedsClassification},
    };
    for (Row const& row : rows) {
        const LogicException e = row.make();
        const auto at = ::testing::Message() << "row " << &row - rows;
        EXPECT_EQ(texts(e.GetMessages()), row.messages) << at;
        EXPECT_TRUE(e.GetRedactedMessages().empty()) << at;
        EXPECT_EQ(text(e.GetInternalMessage()), row.internal) << at;
        EXPECT_EQ(e.GetErrorCode(), row.code) << at;
        EXPECT_EQ(e.GetErrorSource(), row.source) << at;
    }
}

TEST(LogicException, LookupSuppliesThePublicText) {
    {
        LookupGuard empty([](unsigned int) { return TStringCore(); });
        EXPECT_TRUE(LogicException(u"d", VelmoraError::NoError()).GetMessages().empty());
        EXPECT_EQ(texts(LogicException({u"m"}, u"d").GetMessages()), Texts{u"m"});
        EXPECT_EQ(text(LogicException(u"d%1", VelmoraError::NoError()).CollateMessagesForLog()),
                  u"\nLogicException details: d%1\n");
    }
    {
        LookupGuard throwing([](unsigned int) -> TStringCore { throw std::runtime_error("lookup"); });
        EXPECT_THROW(LogicException(u"d", VelmoraError::NoError()), std::runtime_error);
    }
    EXPECT_EQ(text(InjectedLookupTStr(12345)), u"Internal error.");
}

TEST(LogicException, BadFormatStringRaisesBeforeTheRecordIsBuilt) {
    // Each record runs the error-callstack hook once with its code; the format string's own
    // exception builds one too, with a code of its own.
    static std::vector<unsigned int> s_records;
    s_records.clear();
    InjectGenerateErrorCallstackHook([](unsigned int code) {
        s_records.push_back(code);
        return std::list<std::string>();
    });
    EXPECT_THROW(LogicException(TFormatStringCore(u"%2").arg(1), VelmoraError(77, u"x")), VelmoraException);
    EXPECT_EQ(std::count(s_records.begin(), s_records.end(), 77u), 0);
    LogicException(TFormatStringCore(u"%1").arg(1), VelmoraError(77, u"x"));
    EXPECT_EQ(std::count(s_records.begin(), s_records.end(), 77u), 1);
    InjectGenerateErrorCallstackHook({});
}

TEST(LogicException, CopiesClonesAndThrowKeepTypeAndDetails) {
    const LogicException source(u"why", VelmoraError(3, u"n"));
    std::unique_ptr<VelmoraException> clone(source.Clone());
    auto const* typed = dynamic_cast<LogicException const*>(clone.get());
    ASSERT_NE(typed, nullptr);
    EXPECT_EQ(text(typed->GetInternalMessage()), u"why");
    EXPECT_EQ(&typed->GetErrorInfo(), &source.GetErrorInfo());

    LogicException target({}, u"other");
    target = source;
    EXPECT_EQ(text(target.GetInternalMessage()), u"why");
    EXPECT_EQ(text(target.CollateMessagesForLog()), u"Internal error.\n\nLogicException details: why\n");

    const VelmoraException& root = source;
    EXPECT_EQ(text(raised([&] { root.Throw(); }).GetInternalMessage()), u"why");
}

TEST(ThrowLogicException, WithoutHookTracesAndThrowsTheFixedCode) {
    ASSERT_EQ(AssertHooks::GetLogicAssertHook(), nullptr);
    const std::function<void()> forms[] = {
        [] { ThrowLogicException("main/x", 1234567, "a > b"); },
        [] { ThrowLogicException("main/x", 1234567, "a > b", VelmoraError(5, u"dropped")); },
    };
    for (auto const& form : forms) {
        ::testing::internal::CaptureStderr();
        const LogicException e = raised(form);
        const std::string trace = ::testing::internal::GetCapturedStderr();
        EXPECT_EQ(trace, unhookedTrace("main/x", 1234567, "a > b"));
        EXPECT_EQ(e.GetErrorCode(), kUnhookedCode);
        EXPECT_EQ(text(e.GetErrorName()), u"VelmoraException_AutoGen_0xA2BCBC42");
        EXPECT_EQ(e.GetErrorSource(), TError::Client);
        EXPECT_EQ(e.GetErrorInfo().GetStatusCode(), grpc::StatusCode::UNKNOWN);
        EXPECT_EQ(text(e.GetMessagesFront()), u"Internal error.");
        EXPECT_EQ(e.GetInternalMessage().toStdString(), trace);
    }
    ::testing::internal::CaptureStderr();
    const LogicException e =
        raised([] { ThrowLogicException(nullptr, -1, "gr\xC3\xBC\xC3\x9F", VelmoraError::NoError()); });
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "LogicAssert failed (but no hook has been set) at  line -1: grüß");
    EXPECT_EQ(text(e.GetInternalMessage()),
              u"LogicAssert failed (but no hook has been set) at  line -1: grüß");
}

struct Seen {
    std::string file, message, name;
    int line = 0;
    unsigned int code = 0;
    int calls = 0;
};
Seen g_seen;

void recordingHook(char const* file, int line, char const* message, VelmoraError const& error) {
    g_seen = {file, message, error.GetCodeName().toStdString(), line, error.GetCode(), g_seen.calls + 1};
}

TEST(ThrowLogicException, WithHookHandsOverAndWritesNothing) {
    AssertHooks::SetLogicAssertHook(&recordingHook);
    ::testing::internal::CaptureStderr();
    ThrowLogicException("f", 7, "m"); // returns because the hook does
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(g_seen.calls, 1);
    EXPECT_EQ(g_seen.code, 0x6EA18A9Eu);
    EXPECT_EQ(g_seen.name, "LogicException_0x6EA18A9E");
    EXPECT_EQ(g_seen.file + ":" + std::to_string(g_seen.line) + ":" + g_seen.message, "f:7:m");
    // The four-argument form has no way back: a returning hook ends the process.
    EXPECT_DEATH(ThrowLogicException("f", 8, "m", VelmoraError(1, u"e")), "");
    AssertHooks::SetLogicAssertHook(nullptr);
}

TEST(LogicAssertSites, EveryRowRaisesItsOwnCodeNameAndPlace) {
    std::set<unsigned int> codes;
    for (LogicAssertSite const* site : kestal::detail::LogicAsserts::All) {
        const auto at = ::testing::Message() << site->message;
        EXPECT_TRUE(codes.insert(site->code).second) << at;
        // Names follow the code, but for the one row that keeps a name without "0x".
        TStringCore name(u"LogicException_LogicAssert_");
        if (site->code != 0xFCC690FC) name.append(u"0x");
        name.append(TStringCore::number(site->code, 16, 8, u'0').toUpper());
        EXPECT_EQ(text(TStringCore(site->name)), text(name)) << at;
        {
            ScopedLogicAssertHook hook;
            const LogicException e = raised([&] { kestal::detail::RaiseLogicAssert(*site); });
            EXPECT_EQ(e.GetErrorCode(), site->code) << at;
            EXPECT_EQ(text(e.GetErrorName()), text(name)) << at;
            EXPECT_EQ(e.GetInternalMessage().toStdString(), site->message) << at;
            EXPECT_EQ(ScopedLogicAssertHook::LastFile(), site->file) << at;
            EXPECT_EQ(ScopedLogicAssertHook::LastLine(), site->line) << at;
        }
        ::testing::internal::CaptureStderr();
        const LogicException e = raised([&] { kestal::detail::RaiseLogicAssert(*site); });
        EXPECT_EQ(::testing::internal::GetCapturedStderr(),
                  unhookedTrace(site->file, site->line, site->message));
        EXPECT_EQ(e.GetErrorCode(), kUnhookedCode) << at;
    }
    EXPECT_EQ(AssertHooks::GetLogicAssertHook(), nullptr);
}

// The id is process-wide and one-way, so a child spends it; the exit code says whether all held.
int setTheIdTwice() {
    std::vector<unsigned int> asked;
    InjectLookupTStr([&](unsigned int id) {
        asked.push_back(id);
        return TStringCore(u"public");
    });
    LogicException::SetLogicExceptionMessageId(0); // leaves it settable
    LogicException::SetLogicExceptionMessageId(42);
    bool ok = text(LogicException(u"d", VelmoraError::NoError()).GetMessagesFront()) == u"public";
    for (unsigned int again : {42u, 0u, 7u}) {
        const LogicException e = raised([&] { LogicException::SetLogicExceptionMessageId(again); });
        ok = ok && text(e.GetInternalMessage()) == u"Cannot set the logic exception message id twice." &&
             e.GetErrorCode() == 0;
    }
    return ok && asked == std::vector<unsigned int>(4, 42) ? 0 : 1;
}

TEST(LogicException, MessageIdIsSetAtMostOnce) {
    EXPECT_EXIT(std::exit(setTheIdTwice()), ::testing::ExitedWithCode(0), "");
}

void otherThrowingHook(char const* file, int line, char const* message, VelmoraError const& error) {
    ScopedLogicAssertHook::Throw(file, line, message, error);
}

TEST(LogicAssertSites, ThreadsAssertAtOnceWhileTheHookIsSwapped) {
    ScopedLogicAssertHook hook;
    constexpr int kThreads = 8, kRounds = 200;
    std::latch start(kThreads + 1);
    std::atomic<int> finished{0}, wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, site = kestal::detail::LogicAsserts::All[t]] {
            start.arrive_and_wait();
            for (int i = 0; i < kRounds; ++i) {
                try {
                    kestal::detail::RaiseLogicAssert(*site);
                } catch (LogicException const& e) {
                    if (e.GetErrorCode() != site->code || ScopedLogicAssertHook::LastLine() != site->line)
                        ++wrong;
                }
            }
            ++finished;
        });
    start.arrive_and_wait();
    for (int i = 0; finished.load() < kThreads; ++i)
        AssertHooks::SetLogicAssertHook(i % 2 ? &ScopedLogicAssertHook::Throw : &otherThrowingHook);
    for (auto& t : threads)
        t.join();
    EXPECT_EQ(wrong.load(), 0);
}

} // namespace
