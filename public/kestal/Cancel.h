// Running code under a cancel event. Each thread has a current event (AsyncTask::TLS); code asks
// Cancel::ThrowIfCancelled at points of its choosing and gets a CancelException once that event,
// or an ancestor of it, was signalled. Cancellation is co-operative: nothing interrupts a thread.
// The guards install, swap and bridge events for a scope and restore what they found; they nest
// like any stack. Their destructors raise nothing: an exception in them ends the process.
//
// A thread's event is replaced only by way of null: Cancel::Set(nullptr), then the new one.
#pragma once

#include <kestal/AsyncTaskTls.h>
#include <kestal/KestalExport.h>
#include <kestal/ReferenceCount.h>
#include <kestal/TCancelEvent.h>
#include <kestal/VelmoraException.h>
#include <list>
#include <memory>

namespace AsyncTask {

class SharedStateBase;

/// Raised by Cancel::ThrowIfCancelled. Keeps its type and the orphan-query flag through Clone,
/// Throw and copies.
class KESTAL_API CancelException : public VelmoraException {
public:
    /// Message "Canceled".
    explicit CancelException(TError::ErrorInfo const& info);
    /// `message` as the message; the bool is ignored and IsOrphanQuery stays false.
    CancelException(TStringCore const& message, TError::ErrorInfo const& info, bool);
    CancelException(std::list<TStringCore> const& messages, TError::ErrorInfo const& info);
    CancelException(CancelException const& other);
    CancelException& operator=(CancelException const& other);
    ~CancelException() override;

    CancelException* Clone() const override;
    [[noreturn]] void Throw() const override;

    /// False at construction; the task layer decides where it is set.
    bool IsOrphanQuery() const noexcept { return m_isOrphanQuery; }
    void SetIsOrphanQuery(bool orphan) noexcept { m_isOrphanQuery = orphan; }

private:
    bool m_isOrphanQuery = false;
};

/// The library's own cancel record: code 0x94A93C32 (name "VelmoraException_AutoGen_0x94A93C32"),
/// source Client, status UNKNOWN. Cancel::ThrowIfCancelled raises with it, and a future cancelled
/// without a reason carries it.
KESTAL_API TError::ErrorInfo DefaultCancelReason();

namespace Cancel {

/// Installs a new event for the calling thread. A thread that has one raises LogicException
/// (code 0xCC8BF328).
KESTAL_API void Create();
/// Installs `newEvent` (null or not), the thread taking a reference to it, and releases the
/// thread's reference to the old one. Replacing an event by a non-null one raises LogicException
/// (code 0x77EEF7F7) with the new event installed and the old reference not released.
KESTAL_API void Set(RefCntPtr<TCancelEvent, RefCntObject> newEvent);
/// The current event with a reference of its own; null if none.
KESTAL_API RefCntPtr<TCancelEvent, RefCntObject> Get();
/// The current event, still owned by the thread. None raises LogicException (code 0x5E7B883F).
KESTAL_API TCancelEvent const& GetNonNull();
/// Raises CancelException (code 0x94A93C32, message "Canceled") if the current event is set.
/// Only for a thread that has an event: none raises the null-pointer assertion (code 0x00BF554A).
KESTAL_API void ThrowIfCancelled();

/// Runs its scope under `newEvent` (null allowed); the destructor puts back the event found on
/// entry.
class KESTAL_API CancelEventSetter {
public:
    explicit CancelEventSetter(RefCntPtr<TCancelEvent, RefCntObject> newEvent);
    virtual ~CancelEventSetter();
    CancelEventSetter(CancelEventSetter const&) = delete;
    CancelEventSetter& operator=(CancelEventSetter const&) = delete;

protected:
    RefCntPtr<TCancelEvent, RefCntObject> m_saved;
};

/// Runs its scope under a fresh event, so a signal to the parent (the event found on entry) is
/// not seen inside. On exit the fresh event becomes a child of the parent for good: a signal that
/// came during the scope reaches it (and what was started under it) then. The thread must have an
/// event on entry: without one, the destructor ends the process.
class KESTAL_API SuppressParentCancel : public CancelEventSetter {
public:
    SuppressParentCancel();
    ~SuppressParentCancel() override;

    /// Resets the parent, not the scope's event: a signal that came during the scope is forgotten.
    /// Nothing happens when there is no parent.
    void ClearPendingCancel();
};

} // namespace Cancel

/// For a thread that runs a task on behalf of another: the thread gets a fresh event of its own,
/// and while the guard lives, a signal of `event` calls state->OnCancelRequested() (at once if
/// `event` is already set). With `restore` the thread's own event is dropped on entry and `event`
/// is the thread's event after the guard; without it, the thread must have no event on entry
/// (else LogicException, code 0xCC8BF328). A non-null `event` needs a non-null `state`.
class KESTAL_API ScopedCancelImpersonation {
public:
    ScopedCancelImpersonation(bool restore, RefCntPtr<TCancelEvent, RefCntObject> event,
                              std::shared_ptr<SharedStateBase> const& state);
    /// After the callback is removed, a signal of `event` no longer reaches the state.
    ~ScopedCancelImpersonation();
    ScopedCancelImpersonation(ScopedCancelImpersonation const&) = delete;
    ScopedCancelImpersonation& operator=(ScopedCancelImpersonation const&) = delete;

private:
    RefCntPtr<TCancelEvent, RefCntObject> m_event;
    bool m_restore;
};

} // namespace AsyncTask
