// The per-thread task context: nesting depth of task waits, a cleanup function for the task layer,
// the cancel event of the work the thread is doing, and a wait handler. TLS is a handle to the
// calling thread's record; the record is used by its own thread only and has no lock. The guards
// install a wait handler for a scope and put the previous one back.
#pragma once

#include <chrono>
#include <cstdint>
#include <kestal/KestalExport.h>
#include <memory>

class TCancelEvent;

namespace AsyncTask {

class SharedStateBase;

/// How a thread waits for a task, implemented by callers: while a thread has a handler, the typed
/// layer calls it in place of SharedStateBase::WaitFor.
class KESTAL_API IWaitHandler {
public:
    virtual ~IWaitHandler();
    /// Waits up to `timeout` (0xFFFFFFFF ms or more: no limit) for `state`; true if it is ready.
    virtual bool WaitFor(SharedStateBase& state, std::chrono::milliseconds const& timeout) const = 0;
};

/// The calling thread's task context. A new thread starts with depth 0, no cleanup function, no
/// cancel event and no wait handler. The record has no destructor: a thread that ends with a
/// cancel event installed through Cancel::Set leaks that reference, so clear it before leaving.
class KESTAL_API TLS {
public:
    using ThreadCleanupFunc = void (*)();

    /// The calling thread's record.
    TLS() noexcept;
    static TLS Get() noexcept { return TLS(); }

    std::uint64_t GetDepth() const noexcept;
    void SetDepth(std::uint64_t depth) noexcept;
    /// Adds 1, without a limit.
    void IncrementDepth() noexcept;
    /// Subtracts 1; at 0 raises LogicException (code 0x0C2FD434) and leaves the depth at 0.
    void DecrementDepth();

    /// Stored for the task layer; nothing here calls it.
    ThreadCleanupFunc GetThreadCleanupFunc() const noexcept;
    void SetThreadCleanupFunc(ThreadCleanupFunc func) noexcept;

    /// The thread's current cancel event. These two don't touch its count: Cancel::Set does.
    TCancelEvent const* GetCancelEvent() const noexcept;
    void SetCancelEvent(TCancelEvent const* event) noexcept;

    /// The thread's current wait handler, not owned here.
    IWaitHandler const* GetWaitHandler() const noexcept;
    void SetWaitHandler(IWaitHandler const* handler) noexcept;

    /// The thread's record; opaque.
    struct Record;

private:
    Record* m_record;
};

/// Installs a wait handler for a scope; the destructor puts the one found on entry back.
class KESTAL_API WaitHandlerScopeGuard {
public:
    explicit WaitHandlerScopeGuard(IWaitHandler* handler) noexcept;
    ~WaitHandlerScopeGuard();
    WaitHandlerScopeGuard(WaitHandlerScopeGuard const&) = delete;
    WaitHandlerScopeGuard& operator=(WaitHandlerScopeGuard const&) = delete;

private:
    IWaitHandler const* m_saved;
};

/// As WaitHandlerScopeGuard, owning the handler: the destructor first restores the saved handler,
/// then destroys the owned one.
class KESTAL_API OwningWaitHandlerScopeGuard {
public:
    explicit OwningWaitHandlerScopeGuard(std::unique_ptr<IWaitHandler> handler) noexcept;
    ~OwningWaitHandlerScopeGuard();
    OwningWaitHandlerScopeGuard(OwningWaitHandlerScopeGuard const&) = delete;
    OwningWaitHandlerScopeGuard& operator=(OwningWaitHandlerScopeGuard const&) = delete;

private:
    // Destroyed in reverse: the guard restores before the handler goes.
    std::unique_ptr<IWaitHandler> m_owned;
    WaitHandlerScopeGuard m_guard;
};

} // namespace AsyncTask
