// Logic assertions: how each constructor splits the public text from the details, the message
// lookup and its one-way id, the trace and fixed code without a hook, what a hook receives, every
// row of the site table, and threads asserting at once while the hook is swapped.
#include "ScopedLogicAssertHook.h"
#include "TStringTestSupport.h"
#include "kestal/errors/LogicAssertSites.h"

#include <gtest/gtest.h>
#include <latch>
#include <set>
#include <thread>

namespace {

using kestal::testing::ScopedLogicAssertHook;
using kestal::testing::text;
using kestal::testing::texts;
using Texts = std::vector<std::u16string>;
namespace Sites = kestal::detail::LogicAsserts;

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

TEST(LogicException, ConstructorsSplitPublicTextFromDetails) {
    const TError::ErrorInfo info(VelmoraError(9, u"T_0x00000009"), TError::System);
    const struct Row {
        std::u16string internal;
        TError::ErrorSource source;
        std::function<LogicException()> make;
    } rows[] = {
        {u"a\nb\r", TError::System, [&] { return LogicException(u"a\nb\r\n\n", info); }},
        {u"No details given", TError::System, [&] { return LogicException(u"\n\n", info); }},
        {u"No details given", TError::NeedsClassification,
         [] { return LogicException(u"", VelmoraError(9, u"")); }},
        {u"5", TError::System, [&] { return LogicException(TFormatStringCore(u"%1\n").arg(5), info); }},
    };
    for (Row const& row : rows) {
        const LogicException e = row.make();
        EXPECT_EQ(texts(e.GetMessages()), Texts{u"Internal error."}) << &row - rows;
        EXPECT_TRUE(e.GetRedactedMessages().empty()) << &row - rows;
        EXPECT_EQ(text(e.GetInternalMessage()), row.internal) << &row - rows;
        EXPECT_EQ(e.GetErrorInfo(), TError::ErrorInfo(VelmoraError(9, u""), row.source)) << &row - rows;
        std::unique_ptr<VelmoraException> clone(e.Clone());
        EXPECT_EQ(text(raised([&] { clone->Throw(); }).GetInternalMessage()), row.internal);
    }
    // Rebuilding from messages: the public text goes in front, no record, no fallback details.
    const LogicException rebuilt({u"m", u""}, u"\n");
    EXPECT_EQ(texts(rebuilt.GetMessages()), (Texts{u"Internal error.", u"m", u""}));
    EXPECT_EQ(text(rebuilt.GetInternalMessage()), u"");
    EXPECT_EQ(rebuilt.GetErrorInfo(), TError::ErrorInfo::NoError());
}

TEST(LogicException, LookupGivesThePublicTextAndMayThrow) {
    InjectLookupTStr([](unsigned int) { return TStringCore(); });
    EXPECT_TRUE(LogicException(u"d", VelmoraError::NoError()).GetMessages().empty());
    EXPECT_EQ(texts(LogicException({u"m"}, u"d").GetMessages()), Texts{u"m"});
    EXPECT_EQ(text(LogicException(u"%1", VelmoraError::NoError()).CollateMessagesForLog()),
              u"\nLogicException details: %1\n");
    InjectLookupTStr([](unsigned int) -> TStringCore { throw std::runtime_error("lookup"); });
    EXPECT_THROW(LogicException(u"d", VelmoraError::NoError()), std::runtime_error);
    InjectLookupTStr({});
    EXPECT_EQ(text(LogicException(u"d", VelmoraError::NoError()).CollateMessagesForLog()),
              u"Internal error.\n\nLogicException details: d\n");
}

// Without a hook both forms trace the same line and throw the fixed code; the caller's is dropped.
TEST(ThrowLogicException, UnhookedTracesAndThrowsTheFixedCode) {
    const std::function<void()> forms[] = {
        [] { ThrowLogicException("main/x", 1234567, "a > b"); },
        [] { ThrowLogicException("main/x", 1234567, "a > b", VelmoraError(5, u"dropped")); },
        [] { ThrowLogicException(nullptr, -1, "gr\xC3\xBC\xC3\x9F", VelmoraError(5, u"dropped")); },
    };
    const std::string traces[] = {"at main/x line 1234567: a > b", "at main/x line 1234567: a > b",
                                  "at  line -1: gr\xC3\xBC\xC3\x9F"};
    for (int i = 0; i < 3; ++i) {
        ::testing::internal::CaptureStderr();
        const LogicException e = raised(forms[i]);
        const std::string trace = ::testing::internal::GetCapturedStderr();
        EXPECT_EQ(trace, "LogicAssert failed (but no hook has been set) " + traces[i]);
        EXPECT_EQ(e.GetInternalMessage(), TStringCore::fromUtf8(trace.c_str()));
        EXPECT_EQ(text(e.GetMessagesFront()), u"Internal error.");
        EXPECT_EQ(e.GetErrorInfo(), TError::ErrorInfo(VelmoraError(0xA2BCBC42, u""), TError::Client));
        EXPECT_EQ(text(e.GetErrorName()), u"VelmoraException_AutoGen_0xA2BCBC42");
    }
}

TEST(ThrowLogicException, HookedHandsOverAndWritesNothing) {
    static std::string s_seen;
    AssertHooks::SetLogicAssertHook(
        [](char const* file, int line, char const* message, VelmoraError const& e) {
            s_seen = std::string(file) + ":" + std::to_string(line) + ":" + message + ":" +
                     e.GetCodeName().toStdString();
        });
    ::testing::internal::CaptureStderr();
    ThrowLogicException("f", 7, "m"); // returns because the hook does
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(s_seen, "f:7:m:LogicException_0x6EA18A9E");
    // The four-argument form has no way back: a returning hook ends the process.
    EXPECT_DEATH(ThrowLogicException("f", 8, "m", VelmoraError(1, u"e")), "");
    AssertHooks::SetLogicAssertHook(nullptr);
}

TEST(LogicAssertSites, EveryRowRaisesItsOwnCodeNameAndPlace) {
    ScopedLogicAssertHook hook;
    std::set<unsigned int> codes;
    for (kestal::detail::LogicAssertSite const* site : Sites::All) {
        EXPECT_TRUE(codes.insert(site->code).second) << site->message;
        // Names follow the code, but for the one row whose name has no "0x".
        const TStringCore name = u"LogicException_LogicAssert_" +
                                 TStringCore(site->code == 0xFCC690FC ? u"" : u"0x") +
                                 TStringCore::number(site->code, 16, 8, u'0').toUpper();
        const LogicException e = raised([&] { kestal::detail::RaiseLogicAssert(*site); });
        EXPECT_EQ(e.GetErrorCode(), site->code) << site->message;
        EXPECT_EQ(text(e.GetErrorName()), text(name)) << site->message;
        EXPECT_EQ(e.GetInternalMessage().toStdString(), site->message);
        EXPECT_EQ(ScopedLogicAssertHook::LastFile() + ":" + std::to_string(ScopedLogicAssertHook::LastLine()),
                  site->file + (":" + std::to_string(site->line)));
    }
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
             e.GetErrorInfo() == TError::ErrorInfo::NoError();
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
    constexpr int kThreads = 8;
    std::latch start(kThreads + 1);
    std::atomic<int> finished{0}, wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, site = Sites::All[t]] {
            start.arrive_and_wait();
            for (int i = 0; i < 200; ++i)
                if (raised([&] { kestal::detail::RaiseLogicAssert(*site); }).GetErrorCode() != site->code ||
                    ScopedLogicAssertHook::LastLine() != site->line)
                    ++wrong;
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
