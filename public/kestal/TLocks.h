// Locks: the library's two mutual-exclusion types and their scope guards. TRecursiveMutex wraps the
// platform's recursive mutex. TReadWriteLock lets many readers or one (recursive) writer in; it
// gives writers no preference, so a steady stream of readers can hold a writer off. Both also
// carry the std names (lock, unlock, ...) so std::lock_guard, std::unique_lock and
// std::shared_lock work with them. No lock is copyable or movable: its address is its identity.
#pragma once

#include <kestal/KestalExport.h>
#include <memory>

/// A recursive mutex. Safe from any thread; the owning thread may lock it again and must unlock
/// it as often.
class KESTAL_API TRecursiveMutex {
public:
    class Impl;

    TRecursiveMutex();
    /// The argument is ignored.
    explicit TRecursiveMutex(unsigned int);
    ~TRecursiveMutex();
    TRecursiveMutex(TRecursiveMutex const&) = delete;
    TRecursiveMutex& operator=(TRecursiveMutex const&) = delete;

    /// Blocks until the calling thread holds the mutex.
    void Lock();
    void Unlock();
    /// One attempt, never blocks: true if the lock was taken (always so for the holding thread).
    bool TryLock();
    /// Lock and Unlock under the reader names, so ScopedReadLock works here: the read lock is
    /// exclusive.
    void LockRead();
    void UnlockRead();

    void lock() { Lock(); }
    void unlock() { Unlock(); }
    bool try_lock() { return TryLock(); }

private:
    std::unique_ptr<Impl> m_impl;
};

/// Many readers or one writer. The writer may lock again and take read locks inside its write
/// lock; a reader that asks for the write lock blocks for ever. 65535 holds of one kind is the
/// limit: one more raises LogicException and leaves the inner mutex locked. A release without a
/// matching take is not detected (the count wraps).
class KESTAL_API TReadWriteLock {
public:
    class Impl;

    TReadWriteLock();
    /// The argument is ignored. Raises LogicException if the condition variable can't be made.
    explicit TReadWriteLock(unsigned int);
    ~TReadWriteLock();
    TReadWriteLock(TReadWriteLock const&) = delete;
    TReadWriteLock& operator=(TReadWriteLock const&) = delete;

    /// Takes the write lock: blocks until no reader is inside and no other writer holds it.
    void Lock();
    void Unlock();
    /// Takes a read lock: blocks only while another thread holds the write lock.
    void LockRead();
    void UnlockRead();

    void lock() { Lock(); }
    void unlock() { Unlock(); }
    void lock_shared() { LockRead(); }
    void unlock_shared() { UnlockRead(); }

private:
    std::unique_ptr<Impl> m_impl;
};

/// Holds T's lock (Lock/Unlock) for its scope; a null pointer holds nothing.
template <class T>
class ScopedLock {
public:
    explicit ScopedLock(T* lock)
        : m_lock(lock) {
        if (m_lock) m_lock->Lock();
    }
    explicit ScopedLock(T& lock)
        : ScopedLock(&lock) {}
    /// An exception from Unlock ends the process.
    ~ScopedLock() {
        if (m_lock) m_lock->Unlock();
    }
    ScopedLock(ScopedLock const&) = delete;
    ScopedLock& operator=(ScopedLock const&) = delete;

private:
    T* m_lock;
};

/// Holds T's read lock (LockRead/UnlockRead) for its scope; a null pointer holds nothing.
template <class T>
class ScopedReadLock {
public:
    explicit ScopedReadLock(T* lock)
        : m_lock(lock) {
        if (m_lock) m_lock->LockRead();
    }
    explicit ScopedReadLock(T& lock)
        : ScopedReadLock(&lock) {}
    /// An exception from UnlockRead ends the process.
    ~ScopedReadLock() {
        if (m_lock) m_lock->UnlockRead();
    }
    ScopedReadLock(ScopedReadLock const&) = delete;
    ScopedReadLock& operator=(ScopedReadLock const&) = delete;

private:
    T* m_lock;
};
