// The library's logic-assertion sites as data: each broken invariant has a row with its own code,
// code name, source path, line and condition text, and a site raises its row with
// RaiseLogicAssert after testing the condition inline:
//
//     if (!func) kestal::detail::RaiseLogicAssert(kestal::detail::LogicAsserts::ThreadPoolEmptyWork);
//
// The path and line are what the hook receives; they name the site, not this build's file layout.
#pragma once

#include <iterator>
#include <kestal/LogicException.h>
#include <kestal/TStringCore.h>
#include <kestal/VelmoraError.h>

namespace kestal::detail {

struct LogicAssertSite {
    unsigned int code;
    char16_t const* name;
    char const* file;
    int line;
    char const* message;
};

/// Calls ThrowLogicException with the row: the installed hook gets the row's values; with no
/// hook the exception carries the unhooked code 0xA2BCBC42 instead.
[[noreturn]] inline void RaiseLogicAssert(LogicAssertSite const& site) {
    ThrowLogicException(site.file, site.line, site.message, VelmoraError(site.code, TStringCore(site.name)));
}

namespace LogicAsserts {

// The code once, as hexadecimal digits; the name is "LogicException_LogicAssert_0x" and those digits.
// clang-format off
#define KESTAL_LOGIC_ASSERT_SITE(hex, file, line, message) \
    LogicAssertSite{0x##hex, u"LogicException_LogicAssert_0x" #hex, file, line, message}
// clang-format on

inline constexpr LogicAssertSite ManualResetWaitNegativeTimeout =
    KESTAL_LOGIC_ASSERT_SITE(2CF31F82, "main/synchronize/TEventBase_posix", 104, "timeout.count() >= 0");
inline constexpr LogicAssertSite AutoResetWaitNegativeTimeout =
    KESTAL_LOGIC_ASSERT_SITE(9F1CA6C4, "main/synchronize/TEventBase_posix", 154, "timeout.count() >= 0");
inline constexpr LogicAssertSite EventAddDuplicateChild =
    KESTAL_LOGIC_ASSERT_SITE(8DB0B7A4, "main/synchronize/TEvent", 95, "Attempted to insert duplicate event.");
inline constexpr LogicAssertSite EventRemoveUnknownChild =
    KESTAL_LOGIC_ASSERT_SITE(E1DDA3CC, "main/synchronize/TEvent", 108, "it != m_childEvents.end()");
inline constexpr LogicAssertSite ConditionInit = KESTAL_LOGIC_ASSERT_SITE(
    121FF640, "main/synchronize/TLocks", 174, "0 == pthread_cond_init(&m_cv, nullptr)");
inline constexpr LogicAssertSite ConditionDestroy =
    KESTAL_LOGIC_ASSERT_SITE(99C02197, "main/synchronize/TLocks", 181, "0 == pthread_cond_destroy(&m_cv)");
inline constexpr LogicAssertSite ConditionWait = KESTAL_LOGIC_ASSERT_SITE(
    2038B406, "main/synchronize/TLocks", 188, "0 == pthread_cond_wait(&m_cv, mutex.native_handle())");
inline constexpr LogicAssertSite ConditionSignal =
    KESTAL_LOGIC_ASSERT_SITE(AAEC66DE, "main/synchronize/TLocks", 195, "0 == pthread_cond_signal(&m_cv)");
inline constexpr LogicAssertSite WriterCountFull =
    KESTAL_LOGIC_ASSERT_SITE(A44EBAAD, "main/synchronize/TLocks", 235,
                             "m_writerCount < std::numeric_limits<decltype(m_writerCount)>::max()");
inline constexpr LogicAssertSite ReaderCountFull =
    KESTAL_LOGIC_ASSERT_SITE(88DFEC71, "main/synchronize/TLocks", 259,
                             "m_readerCount < std::numeric_limits<decltype(m_readerCount)>::max()");
inline constexpr LogicAssertSite RefCntPtrNullDereference =
    KESTAL_LOGIC_ASSERT_SITE(00BF554A, "public/kestal/ReferenceCount", 342, "Null pointer dereferenced");
inline constexpr LogicAssertSite ScanStringNullInput =
    KESTAL_LOGIC_ASSERT_SITE(1D15303B, "main/kestal/TScanStringCore", 242, "m_input");
inline constexpr LogicAssertSite TaskDepthUnderflow =
    KESTAL_LOGIC_ASSERT_SITE(0C2FD434, "main/thread/AsyncTaskTls", 86, "depth > 0");
inline constexpr LogicAssertSite CancelCreateOverExisting =
    KESTAL_LOGIC_ASSERT_SITE(CC8BF328, "main/thread/Cancel", 53, "TLS::Get().GetCancelEvent() == nullptr");
inline constexpr LogicAssertSite CancelSetOverExisting =
    KESTAL_LOGIC_ASSERT_SITE(77EEF7F7, "main/thread/Cancel", 76, "!newCancelEvent");
inline constexpr LogicAssertSite CancelGetNonNullWithoutEvent =
    KESTAL_LOGIC_ASSERT_SITE(5E7B883F, "main/thread/Cancel", 91, "nullptr != ptr");
inline constexpr LogicAssertSite SharedStateCancelEventTwice =
    KESTAL_LOGIC_ASSERT_SITE(AE2A193B, "main/thread/SharedState", 56, "!m_cancel");
// Kept on purpose: this one name has no "0x"; callers match it as it is.
inline constexpr LogicAssertSite SharedStateNotReady{0xFCC690FC, u"LogicException_LogicAssert_FCC690FC",
                                                     "main/thread/SharedState", 125, "m_ready->IsSet()"};
inline constexpr LogicAssertSite ThreadPoolNoThreadCount =
    KESTAL_LOGIC_ASSERT_SITE(425D0794, "main/thread/TThreadPool", 63, "g_numThreads > 0");
inline constexpr LogicAssertSite ThreadPoolEmptyWork =
    KESTAL_LOGIC_ASSERT_SITE(05F20444, "main/thread/TThreadPool", 134, "func");

#undef KESTAL_LOGIC_ASSERT_SITE

/// Every row, for tests and tools.
inline constexpr LogicAssertSite const* All[] = {
    &ManualResetWaitNegativeTimeout,
    &AutoResetWaitNegativeTimeout,
    &EventAddDuplicateChild,
    &EventRemoveUnknownChild,
    &ConditionInit,
    &ConditionDestroy,
    &ConditionWait,
    &ConditionSignal,
    &WriterCountFull,
    &ReaderCountFull,
    &RefCntPtrNullDereference,
    &ScanStringNullInput,
    &TaskDepthUnderflow,
    &CancelCreateOverExisting,
    &CancelSetOverExisting,
    &CancelGetNonNullWithoutEvent,
    &SharedStateCancelEventTwice,
    &SharedStateNotReady,
    &ThreadPoolNoThreadCount,
    &ThreadPoolEmptyWork,
};
static_assert(std::size(All) == 20);

} // namespace LogicAsserts

} // namespace kestal::detail
