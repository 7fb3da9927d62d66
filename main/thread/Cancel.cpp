// Cancellation on the calling thread. Through Cancel::Set the thread's record holds one reference
// to its event; everything else here goes through Set, so that count stays right.
#include "TaskRecord.h"
#include "kestal/errors/LogicAssertSites.h"
#include "kestal/errors/Raise.h"

#include <kestal/Cancel.h>
#include <kestal/SharedState.h>

using kestal::detail::RaiseLogicAssert;
namespace LogicAsserts = kestal::detail::LogicAsserts;

namespace AsyncTask {

CancelException::CancelException(TError::ErrorInfo const& info)
    : VelmoraException(TStringCore(u"Canceled"), info) {}

// Kept on purpose: the bool is accepted and ignored; the flag is set only by SetIsOrphanQuery.
CancelException::CancelException(TStringCore const& message, TError::ErrorInfo const& info, bool)
    : VelmoraException(message, info) {}

CancelException::CancelException(std::list<TStringCore> const& messages, TError::ErrorInfo const& info)
    : VelmoraException(messages, info) {}

CancelException::CancelException(CancelException const& other) = default;
CancelException& CancelException::operator=(CancelException const& other) = default;
CancelException::~CancelException() = default;

CancelException* CancelException::Clone() const {
    return new CancelException(*this);
}

void CancelException::Throw() const {
    throw *this;
}

namespace {

TCancelEvent* CurrentEvent() noexcept {
    // The thread's pointer is const only so that TLS can't change the event; its holders may.
    return const_cast<TCancelEvent*>(TLS().GetCancelEvent());
}

} // namespace

void Cancel::Create() {
    if (TLS::Get().GetCancelEvent() != nullptr) RaiseLogicAssert(LogicAsserts::CancelCreateOverExisting);
    Set(RefCntPtr<TCancelEvent, RefCntObject>(new TCancelEvent));
}

void Cancel::Set(RefCntPtr<TCancelEvent, RefCntObject> newEvent) {
    TLS tls;
    TCancelEvent const* old = tls.GetCancelEvent();
    if (newEvent) newEvent->AddReference();
    tls.SetCancelEvent(newEvent.get());
    if (old) {
        // Kept on purpose: the new event stays installed and the old reference is not released.
        if (newEvent) RaiseLogicAssert(LogicAsserts::CancelSetOverExisting);
        old->RemoveReference();
    }
}

RefCntPtr<TCancelEvent, RefCntObject> Cancel::Get() {
    return RefCntPtr<TCancelEvent, RefCntObject>(CurrentEvent());
}

TCancelEvent const& Cancel::GetNonNull() {
    TCancelEvent const* ptr = TLS().GetCancelEvent();
    if (nullptr == ptr) RaiseLogicAssert(LogicAsserts::CancelGetNonNullWithoutEvent);
    return *ptr;
}

void Cancel::ThrowIfCancelled() {
    // No reference taken: the thread's own reference keeps the event alive for this call.
    TCancelEvent const* event = kestal::detail::t_taskRecord.cancelEvent;
    if (!event) kestal::detail::ReportNullRefCntPtr();
    if (!event->IsSet()) return;
    throw CancelException(DefaultCancelReason());
}

TError::ErrorInfo DefaultCancelReason() {
    // One record for a cancel without a reason, seen alike from inside the task and from its
    // future.
    return kestal::detail::AutoGenErrorInfo(0x94A93C32, TError::Client, grpc::StatusCode::UNKNOWN);
}

Cancel::CancelEventSetter::CancelEventSetter(RefCntPtr<TCancelEvent, RefCntObject> newEvent)
    : m_saved(Get()) {
    Set(nullptr);
    Set(std::move(newEvent));
}

Cancel::CancelEventSetter::~CancelEventSetter() {
    Set(nullptr);
    Set(m_saved);
}

Cancel::SuppressParentCancel::SuppressParentCancel()
    : CancelEventSetter(RefCntPtr<TCancelEvent, RefCntObject>(new TCancelEvent)) {}

Cancel::SuppressParentCancel::~SuppressParentCancel() {
    // The scope's tree joins the parent's for good, so a signal that came during the scope
    // reaches whatever still runs under it. No parent ends the process (reported in a destructor).
    RefCntPtr<TCancelEvent, RefCntObject> own = Get();
    m_saved->Add(std::move(own));
}

void Cancel::SuppressParentCancel::ClearPendingCancel() {
    if (m_saved) m_saved->Reset();
}

ScopedCancelImpersonation::ScopedCancelImpersonation(bool restore,
                                                     RefCntPtr<TCancelEvent, RefCntObject> event,
                                                     std::shared_ptr<SharedStateBase> const& state)
    : m_event(std::move(event))
    , m_restore(restore) {
    if (m_restore) Cancel::Set(nullptr);
    Cancel::Create();
    if (!m_event) return;
    m_event->AddOnSignalCallback(this, [state] { state->OnCancelRequested(); });
    // Set before the callback went in: delivered here. A signal between the two calls reaches the
    // state twice, which its idempotent OnCancelRequested absorbs.
    if (m_event->IsSet()) state->OnCancelRequested();
}

ScopedCancelImpersonation::~ScopedCancelImpersonation() {
    // Removal waits for a running callback (same lock), so none reaches the state after this.
    if (m_event) m_event->RemoveOnSignalCallback(this);
    Cancel::Set(nullptr);
    if (m_restore) Cancel::Set(m_event);
}

} // namespace AsyncTask
