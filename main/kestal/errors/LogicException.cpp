// Logic assertions: LogicException, the assertion hook, the message lookup and the trace written
// when no hook is installed.
#include "kestal/errors/Raise.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <kestal/LogicException.h>
#include <kestal/TFormatStringCore.h>
#include <locale>
#include <sstream>
#include <string>
#include <utility>

namespace {

constexpr unsigned int kUnhookedCode = 0xA2BCBC42;
constexpr unsigned int kReturningFormCode = 0x6EA18A9E;

// Atomic so that a hook may be swapped while other threads assert; acquire/release is a plain
// load and store on the platforms we build for.
std::atomic<AssertHooks::LogicAssertHook> s_logicAssertHook{nullptr};

unsigned int g_logicExceptionStringId = 0;

TStringCore DefaultLookupTStr(unsigned int) {
    return TStringCore(u"Internal error.");
}

// A function-local static, so that static initialisers of other files may raise assertions or
// inject a lookup in any order.
std::function<TStringCore(unsigned int)>& lookupSlot() {
    static std::function<TStringCore(unsigned int)> g_lookupTStr(DefaultLookupTStr);
    return g_lookupTStr;
}

[[noreturn]] void AssertTrace(char const* label, char const* file, int line, char const* message) {
    std::ostringstream trace;
    trace.imbue(std::locale::classic()); // the line in plain digits whatever the global locale
    trace << label << " failed (but no hook has been set) at " << (file ? file : "") << " line " << line
          << ": " << (message ? message : "");
    const std::string text = trace.str();
    std::fputs(text.c_str(), stderr);
    std::fflush(stderr);
    throw LogicException(
        TStringCore::fromUtf8(text.data(), static_cast<int>(text.size())),
        kestal::detail::AutoGenErrorInfo(kUnhookedCode, TError::Client, grpc::StatusCode::UNKNOWN));
}

} // namespace

// ---- LogicException ----------------------------------------------------------------------------

LogicException::LogicException(TStringCore const& details, TError::ErrorInfo const& info)
    : VelmoraException(InjectedLookupTStr(g_logicExceptionStringId), info)
    , m_internalMessage(details) {
    m_internalMessage.trimRight(u'\n');
    if (m_internalMessage.isEmpty()) m_internalMessage = u"No details given";
}

LogicException::LogicException(TStringCore const& details, VelmoraError const& error)
    : LogicException(details, TError::ErrorInfo(error)) {}

LogicException::LogicException(TFormatStringCore const& details, TError::ErrorInfo const& info)
    : LogicException(details.result(), info) {}

// The text is finished before the (TStringCore, VelmoraError) form builds the record, so a bad
// format string never runs the error-callstack hook.
LogicException::LogicException(TFormatStringCore const& details, VelmoraError const& error)
    : LogicException(details.result(), error) {}

LogicException::LogicException(std::list<TStringCore> const& messages, TStringCore const& details)
    : VelmoraException(messages)
    , m_internalMessage(details) {
    StackMessageFront(InjectedLookupTStr(g_logicExceptionStringId));
    // Kept on purpose: no fallback text here, unlike the primary constructor.
    m_internalMessage.trimRight(u'\n');
}

LogicException::LogicException(LogicException const& other) = default;

LogicException& LogicException::operator=(LogicException const& other) {
    VelmoraException::operator=(other);
    m_internalMessage = other.m_internalMessage;
    return *this;
}

LogicException::~LogicException() = default;

LogicException* LogicException::Clone() const {
    return new LogicException(*this);
}

void LogicException::Throw() const {
    throw *this;
}

TStringCore LogicException::CollateMessagesForLog() const {
    return TFormatStringCore(u"%1\nLogicException details: %2\n")
        .arg(GetConcatenatedMessages(), m_internalMessage)
        .result();
}

void LogicException::SetLogicExceptionMessageId(unsigned int id) {
    if (g_logicExceptionStringId != 0)
        throw LogicException(TStringCore(u"Cannot set the logic exception message id twice."),
                             TError::ErrorInfo::NoError());
    g_logicExceptionStringId = id;
}

// ---- Hook and entry points ---------------------------------------------------------------------

void AssertHooks::SetLogicAssertHook(LogicAssertHook hook) noexcept {
    s_logicAssertHook.store(hook, std::memory_order_release);
}

AssertHooks::LogicAssertHook AssertHooks::GetLogicAssertHook() noexcept {
    return s_logicAssertHook.load(std::memory_order_acquire);
}

void ThrowLogicException(char const* file, int line, char const* message) {
    const AssertHooks::LogicAssertHook hook = AssertHooks::GetLogicAssertHook();
    if (!hook) AssertTrace("LogicAssert", file, line, message);
    hook(file, line, message,
         VelmoraError(kReturningFormCode,
                      TStringCore(u"LogicException_") + kestal::detail::ErrorCodeText(kReturningFormCode)));
}

void ThrowLogicException(char const* file, int line, char const* message, VelmoraError const& error) {
    const AssertHooks::LogicAssertHook hook = AssertHooks::GetLogicAssertHook();
    if (!hook) AssertTrace("LogicAssert", file, line, message); // the caller's error is dropped
    hook(file, line, message, error);
    // Sites have no code behind this call: a hook that returns leaves nowhere sane to go.
    std::abort();
}

// ---- Message lookup ----------------------------------------------------------------------------

void InjectLookupTStr(std::function<TStringCore(unsigned int)> lookup) {
    if (lookup)
        lookupSlot() = std::move(lookup);
    else
        lookupSlot() = DefaultLookupTStr;
}

TStringCore InjectedLookupTStr(unsigned int id) {
    return lookupSlot()(id);
}
