// The per-thread task context: a handle to the calling thread's record, and the wait-handler guards.
#include "TaskRecord.h"
#include "kestal/errors/LogicAssertSites.h"

#include <kestal/AsyncTaskTls.h>
#include <type_traits>

constinit thread_local AsyncTask::TLS::Record kestal::detail::t_taskRecord{};

namespace AsyncTask {

static_assert(std::is_trivially_destructible_v<TLS::Record>);

IWaitHandler::~IWaitHandler() = default;

TLS::TLS() noexcept
    : m_record(&kestal::detail::t_taskRecord) {}

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
