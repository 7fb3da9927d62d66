// The shared half of a task: the record that a running task and the code waiting for it both hold
// (through std::shared_ptr). It knows whether the task is ready, keeps the first exception the task
// raised, holds the task's cancel event and on-cancel function, and decides who runs a deferred
// task. The typed futures of kestal/Future.h derive their states from SharedStateBase and add the
// value; IWrappedFuture is how untyped code sees any of those futures.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <exception>
#include <functional>
#include <kestal/KestalExport.h>
#include <kestal/ReferenceCount.h>
#include <kestal/TCancelEvent.h>
#include <kestal/TEvent.h>
#include <kestal/TLocks.h>
#include <kestal/VelmoraException.h>
#include <memory>

namespace AsyncTask {

/// The task layer's policy for a cancelled task. Stored, never read here: every value is legal and
/// the meaning belongs to the layer that sets it.
enum class WhenCanceled : std::uint32_t {};

/// The non-template half of a future's shared state. Any thread may call any operation; the
/// policy stores and SetOnCancelFunction are meant for the time before the task starts.
class KESTAL_API SharedStateBase {
public:
    /// Not ready, no exception, not cancelled, owned (not deferred), no cancel event.
    SharedStateBase();
    /// Does not remove the on-cancel callback from the cancel event: a state whose on-cancel
    /// function refers to itself calls RemoveCancelOnSignalCallback before it dies.
    virtual ~SharedStateBase();
    SharedStateBase(SharedStateBase const&) = delete;
    SharedStateBase& operator=(SharedStateBase const&) = delete;

    /// Runs the task on the calling thread: stores its value or first exception, calls MarkAsReady
    /// and lets nothing escape. Called by a pool item or by the winner of
    /// TryTakingDeferredOwnership; the library itself never calls it.
    virtual void Execute() = 0;
    /// How a cancellation reaches the task from outside (ScopedCancelImpersonation calls it).
    /// Empty here. Overrides must be idempotent: it may be called twice for one cancellation.
    virtual void OnCancelRequested();
    /// Whether the ready event is set.
    virtual bool IsReady() const;

    /// Acquire load of the cancelled flag.
    bool IsCancelled() const noexcept { return m_cancelled.load(std::memory_order_acquire); }
    /// Blocks until the task is ready.
    void Wait() const;
    /// Blocks up to `timeout` (0xFFFFFFFF ms or more: no limit); true if ready. A negative timeout
    /// raises LogicException (code 0x2CF31F82).
    bool WaitFor(std::chrono::milliseconds const& timeout) const;
    /// Sets the ready event; its callbacks run on this thread. There is no way back.
    void MarkAsReady();
    /// The ready event, still owned by the state.
    IEvent* GetRawReadyEvent() const noexcept { return m_ready.get(); }
    /// Raises LogicException (code 0xFCC690FC) unless the task is ready.
    void AssertIsReady() const;
    /// A callback run by MarkAsReady on its thread; one added after that point doesn't run by
    /// itself, so a late caller tests IsReady afterwards (or uses RunWhenReady).
    void AddOnReadyCallback(void* key, std::function<void()> callback);
    void RemoveOnReadyCallback(void* key);
    /// Addition of this library: runs `function` exactly once, on the thread of MarkAsReady, or
    /// at once on this thread if the task is already ready. The function is destroyed after it ran.
    void RunWhenReady(std::function<void()> function);

    /// Whether an exception is stored; no lock (meant for after Wait).
    bool HasException() const noexcept { return static_cast<bool>(m_exception); }
    /// Stores `e` unless an exception is already stored: the first one wins.
    void SetException(std::exception_ptr e);
    /// With an exception stored, rethrows what _ApplyExceptionHook gives for it; the stored one
    /// stays, so every call throws again (and runs the hook again). Else returns.
    void CheckForException() const;

    /// Gives the state its cancel event, once: a second call raises LogicException (code
    /// 0xAE2A193B). Registers a copy of the on-cancel function on the event (keyed by this
    /// state's address) and, if the state was cancelled already, signals the event at once, with
    /// the cancel lock held. A null event with an on-cancel function raises the null-pointer
    /// assertion (code 0x00BF554A).
    void SetCancelEvent(RefCntPtr<TCancelEvent, RefCntObject> event);
    /// Signals the cancel event if there is one; no lock.
    void SignalCancelEventIfSet();
    /// Removes the on-cancel callback from the cancel event; no event raises the null-pointer
    /// assertion (code 0x00BF554A).
    void RemoveCancelOnSignalCallback();
    /// Replaces the on-cancel function; no lock, and an event already given keeps the old copy.
    void SetOnCancelFunction(std::unique_ptr<std::function<void()>> function);

    /// Marks the task deferred: nobody owns it until TryTakingDeferredOwnership.
    void SetDeferred() noexcept { m_owned.store(false); }
    bool IsDeferred() const noexcept { return !m_owned.load(); }
    /// True for exactly one caller after SetDeferred; false on a state never deferred.
    bool TryTakingDeferredOwnership() noexcept;

    void SetWhenCanceled(WhenCanceled policy) noexcept { m_whenCanceled = policy; }
    void SetIgnoreCancelBeforeStart(bool ignore) noexcept { m_ignoreCancelBeforeStart = ignore; }

protected:
    // For the typed layer, in this order. A derived cancel locks m_cancelLock, stores true in
    // m_cancelled (release), then calls SignalCancelEventIfSet, so it cannot lose its signal
    // against SetCancelEvent.
    TRecursiveMutex m_exceptionLock;
    std::exception_ptr m_exception;
    RefCntPtr<TCancelEvent, RefCntObject> m_cancel;
    TRecursiveMutex m_cancelLock;
    std::atomic<bool> m_cancelled{false};
    WhenCanceled m_whenCanceled{};
    bool m_ignoreCancelBeforeStart = false;
    std::unique_ptr<std::function<void()>> m_onCancel;
    std::atomic<bool> m_owned{true};
    std::unique_ptr<IEvent> m_ready;
};

/// Any typed future seen without its type (kestal/Future.h implements it): untyped code can
/// wait on, cancel and test it.
class KESTAL_API IWrappedFuture {
public:
    IWrappedFuture();
    IWrappedFuture(IWrappedFuture const& other);
    IWrappedFuture& operator=(IWrappedFuture const&) = default;

    /// Whether the future has a state.
    virtual bool Valid() const noexcept = 0;
    /// Whether the result (value or exception) is there; false without a state.
    virtual bool IsReady() const = 0;
    /// Blocks until ready. Without a state raises InvalidFutureException.
    virtual void Wait() const = 0;
    /// Blocks up to `timeout`; true if ready. Without a state raises InvalidFutureException.
    virtual bool WaitFor(std::chrono::milliseconds const& timeout) const = 0;
    /// Asks the task to stop with the library's own cancel record.
    virtual void Cancel() = 0;
    /// Asks the task to stop with `reason`, which its CancelException then carries.
    virtual void Cancel(TError::ErrorInfo const& reason) = 0;
    /// Whether the ready result is an exception; false while not ready.
    virtual bool HasException() const = 0;
    /// The shared state; null without one.
    virtual std::shared_ptr<SharedStateBase> GetSharedState() const = 0;
    /// Pure, with a body.
    virtual ~IWrappedFuture() = 0;
};

/// A future or promise used wrongly (see AsyncTask::FutureError in kestal/Future.h). Message
/// "InvalidFuture"; keeps the root's Clone and Throw, so a clone is a plain VelmoraException.
/// Raised only by the typed futures, never by the compiled library.
class KESTAL_API InvalidFutureException : public VelmoraException {
public:
    explicit InvalidFutureException(TError::ErrorInfo const& info);
    ~InvalidFutureException() override;
};

} // namespace AsyncTask
