// Counting semaphores shared through RefCntPtr, and a scope that holds one unit for its lifetime.
// Construct makes the one implementation, on a POSIX semaphore whose name is gone as soon as it
// exists, so no other process can open it.
#pragma once

#include <kestal/KestalExport.h>
#include <kestal/ReferenceCount.h>

/// A counting semaphore, safe to use from any thread. A failed call raises VelmoraException and
/// leaves the count as it was.
class KESTAL_API TSemaphore : public RefCntObject {
public:
    TSemaphore(TSemaphore const&) = delete;
    TSemaphore& operator=(TSemaphore const&) = delete;
    ~TSemaphore() override;

    /// Takes a free unit; if there is none, sleeps once for the whole `timeout` (milliseconds) and
    /// tries again. A unit freed during the sleep is taken only when it ends. 0 never sleeps.
    virtual bool TryAcquire(unsigned int timeout) = 0;
    /// Takes a free unit, without blocking.
    virtual bool TryAcquire() = 0;
    /// Blocks until it takes a unit. A signal handler that interrupts the wait makes it raise
    /// VelmoraException (code 0x18E19F4F, "TSemaphore::Acquire: error=4"): it is not restarted.
    virtual void Acquire() = 0;
    /// Gives a unit back; beyond the initial count too. At the platform's largest count
    /// (SEM_VALUE_MAX) raises VelmoraException (code 0xB6046C37, "TSemaphore::Release: error=75").
    virtual void Release() = 0;

    /// A new semaphore with `count` free units, holding one reference. A count above
    /// SEM_VALUE_MAX, or any other platform failure, raises VelmoraException (code 0xE36AE9A6,
    /// "TSemaphore::Construct: error=" and errno, 22 for the count).
    static RefCntPtr<TSemaphore, RefCntObject> Construct(unsigned int count);

protected:
    TSemaphore() = default;
};

/// Holds one unit of a semaphore from construction to Reset or destruction. One thread at a time.
/// Not copyable: a copy would give its unit back twice.
class KESTAL_API TSemaphoreScope : public RefCntObject {
public:
    /// Takes `semaphore` and blocks in Acquire; an exception from it leaves the constructor. A
    /// null pointer raises LogicException (code 0x00BF554A).
    explicit TSemaphoreScope(RefCntPtr<TSemaphore, RefCntObject> semaphore);
    /// Calls TryAcquire(timeout) and keeps `semaphore` only if it succeeded. A null pointer raises
    /// LogicException (code 0x00BF554A).
    TSemaphoreScope(RefCntPtr<TSemaphore, RefCntObject> semaphore, unsigned int timeout);
    /// As Reset; an exception from Release ends the process.
    ~TSemaphoreScope() override;
    TSemaphoreScope(TSemaphoreScope const&) = delete;
    TSemaphoreScope& operator=(TSemaphoreScope const&) = delete;

    /// Whether a unit is held (the semaphore pointer is kept exactly then).
    bool IsAcquired() const noexcept { return static_cast<bool>(m_semaphore); }
    /// Releases the unit held, then drops the semaphore; nothing if none is held. If Release
    /// raises, the scope still holds its unit.
    void Reset();

private:
    RefCntPtr<TSemaphore, RefCntObject> m_semaphore;
};
