// The shared half of a task. The exception is written under its lock and read without it: readers
// come after Wait, and the ready event orders them.
#include "kestal/errors/LogicAssertSites.h"

#include <kestal/AsyncTask.h>
#include <kestal/SharedState.h>

using kestal::detail::RaiseLogicAssert;
namespace LogicAsserts = kestal::detail::LogicAsserts;

namespace AsyncTask {

SharedStateBase::SharedStateBase()
    : m_ready(std::make_unique<TEvent>()) {}

SharedStateBase::~SharedStateBase() = default;

void SharedStateBase::OnCancelRequested() {}

bool SharedStateBase::IsReady() const {
    return m_ready->IsSet();
}

void SharedStateBase::Wait() const {
    m_ready->Wait();
}

bool SharedStateBase::WaitFor(std::chrono::milliseconds const& timeout) const {
    return m_ready->Wait(timeout);
}

void SharedStateBase::MarkAsReady() {
    m_ready->Signal();
}

void SharedStateBase::AssertIsReady() const {
    if (!m_ready->IsSet()) RaiseLogicAssert(LogicAsserts::SharedStateNotReady);
}

void SharedStateBase::AddOnReadyCallback(void* key, std::function<void()> callback) {
    m_ready->AddOnSignalCallback(key, std::move(callback));
}

void SharedStateBase::RemoveOnReadyCallback(void* key) {
    m_ready->RemoveOnSignalCallback(key);
}

void SharedStateBase::RunWhenReady(std::function<void()> function) {
    // One claim for both paths: a callback added while MarkAsReady runs may find the event set
    // and be run by its walk too. The function goes after its run, so one that holds this state
    // doesn't keep it alive from inside the ready event.
    struct Pending {
        std::atomic<bool> claimed{false};
        std::function<void()> function;
        void Run() {
            if (claimed.exchange(true, std::memory_order_acq_rel)) return;
            std::function<void()> once = std::move(function);
            once();
        }
    };
    auto pending = std::make_shared<Pending>();
    pending->function = std::move(function);
    m_ready->AddOnSignalCallback(pending.get(), [pending] { pending->Run(); });
    if (m_ready->IsSet()) pending->Run();
}

void SharedStateBase::SetException(std::exception_ptr e) {
    ScopedLock<TRecursiveMutex> lock(m_exceptionLock);
    if (!m_exception) m_exception = std::move(e);
}

void SharedStateBase::CheckForException() const {
    if (!m_exception) return;
    std::rethrow_exception(_ApplyExceptionHook(m_exception));
}

void SharedStateBase::SetCancelEvent(RefCntPtr<TCancelEvent, RefCntObject> event) {
    // The lock is held across Signal: a derived cancel that stores the flag under it either comes
    // first (and is delivered here) or finds the event in place.
    ScopedLock<TRecursiveMutex> lock(m_cancelLock);
    if (m_cancel) RaiseLogicAssert(LogicAsserts::SharedStateCancelEventTwice);
    m_cancel = std::move(event);
    if (m_onCancel) m_cancel->AddOnSignalCallback(this, *m_onCancel);
    if (m_cancelled.load(std::memory_order_acquire)) m_cancel->Signal();
}

void SharedStateBase::SignalCancelEventIfSet() {
    if (m_cancel) m_cancel->Signal();
}

void SharedStateBase::RemoveCancelOnSignalCallback() {
    m_cancel->RemoveOnSignalCallback(this);
}

void SharedStateBase::SetOnCancelFunction(std::unique_ptr<std::function<void()>> function) {
    m_onCancel = std::move(function);
}

bool SharedStateBase::TryTakingDeferredOwnership() noexcept {
    bool expected = false;
    return m_owned.compare_exchange_strong(expected, true);
}

IWrappedFuture::IWrappedFuture() = default;
IWrappedFuture::IWrappedFuture(IWrappedFuture const&) = default;
IWrappedFuture::~IWrappedFuture() = default;

InvalidFutureException::InvalidFutureException(TError::ErrorInfo const& info)
    : VelmoraException(TStringCore(u"InvalidFuture"), info) {}

InvalidFutureException::~InvalidFutureException() = default;

} // namespace AsyncTask
