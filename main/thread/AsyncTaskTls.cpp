// The per-thread task context: one zeroed record per thread, trivially destructible so that no
// thread-exit destructor is registered. An event left installed when a thread ends is leaked.
#include "kestal/errors/LogicAssertSites.h"

#include <kestal/AsyncTaskTls.h>
#include <type_traits>

namespace AsyncTask {

struct TLS::Record {
    std::uint64_t depth;
    ThreadCleanupFunc cleanup;
    TCancelEvent const* cancelEvent;
    IWaitHandler const* waitHandler;
};

namespace {

static_assert(std::is_trivially_destructible_v<TLS::Record>);
// Initial-exec: Cancel::ThrowIfCancelled reads it on every poll.
[[gnu::tls_model("initial-exec")]] thread_local TLS::Record t_record{};

} // namespace

IWaitHandler::~IWaitHandler() = default;

TLS::TLS() noexcept
    : m_record(&t_record) {}

std::uint64_t TLS::GetDepth() const noexcept {
    return m_record->depth;
}
void TLS::SetDepth(std::uint64_t depth) noexcept {
    m_record->depth = depth;
}
void TLS::IncrementDepth() noexcept {
    ++m_record->depth;
}
void TLS::DecrementDepth() {
    if (m_record->depth == 0)
        kestal::detail::RaiseLogicAssert(kestal::detail::LogicAsserts::TaskDepthUnderflow);
    --m_record->depth;
}

TLS::ThreadCleanupFunc TLS::GetThreadCleanupFunc() const noexcept {
    return m_record->cleanup;
}
void TLS::SetThreadCleanupFunc(ThreadCleanupFunc func) noexcept {
    m_record->cleanup = func;
}

TCancelEvent const* TLS::GetCancelEvent() const noexcept {
    return m_record->cancelEvent;
}
void TLS::SetCancelEvent(TCancelEvent const* event) noexcept {
    m_record->cancelEvent = event;
}

IWaitHandler const* TLS::GetWaitHandler() const noexcept {
    return m_record->waitHandler;
}
void TLS::SetWaitHandler(IWaitHandler const* handler) noexcept {
    m_record->waitHandler = handler;
}

WaitHandlerScopeGuard::WaitHandlerScopeGuard(IWaitHandler* handler) noexcept
    : m_saved(TLS().GetWaitHandler()) {
    TLS().SetWaitHandler(handler);
}

WaitHandlerScopeGuard::~WaitHandlerScopeGuard() {
    TLS().SetWaitHandler(m_saved);
}

OwningWaitHandlerScopeGuard::OwningWaitHandlerScopeGuard(std::unique_ptr<IWaitHandler> handler) noexcept
    : m_owned(std::move(handler))
    , m_guard(m_owned.get()) {}

OwningWaitHandlerScopeGuard::~OwningWaitHandlerScopeGuard() = default;

} // namespace AsyncTask
