// TRecursiveMutex and TReadWriteLock. The read-write lock is a recursive mutex that a writer keeps
// for its whole hold, two 16-bit counters it guards, and a condition variable on which a writer
// waits for the readers to go.
#include "kestal/errors/LogicAssertSites.h"

#include <cstdint>
#include <kestal/TLocks.h>
#include <limits>
#include <mutex>
#include <pthread.h>

using kestal::detail::RaiseLogicAssert;
namespace LogicAsserts = kestal::detail::LogicAsserts;

// Exported forwarders: defined out of line, which exports them; the calls below still inline them.
class KESTAL_API TRecursiveMutex::Impl {
public:
    void Lock();
    void Unlock();
    bool TryLock() { return m_mutex.try_lock(); }

private:
    std::recursive_mutex m_mutex;
};

void TRecursiveMutex::Impl::Lock() {
    m_mutex.lock();
}
void TRecursiveMutex::Impl::Unlock() {
    m_mutex.unlock();
}

TRecursiveMutex::TRecursiveMutex()
    : TRecursiveMutex(0) {}
TRecursiveMutex::TRecursiveMutex(unsigned int)
    : m_impl(std::make_unique<Impl>()) {}
TRecursiveMutex::~TRecursiveMutex() {
    m_impl.reset();
}

void TRecursiveMutex::Lock() {
    m_impl->Lock();
}
void TRecursiveMutex::Unlock() {
    m_impl->Unlock();
}
bool TRecursiveMutex::TryLock() {
    return m_impl->TryLock();
}
void TRecursiveMutex::LockRead() {
    m_impl->Lock();
}
void TRecursiveMutex::UnlockRead() {
    m_impl->Unlock();
}

namespace {

// A bare pthread condition variable over Mutex's native handle; each call is expected to succeed.
template <class Mutex>
class TConditionVariable {
public:
    TConditionVariable() {
        if (pthread_cond_init(&m_cv, nullptr) != 0) RaiseLogicAssert(LogicAsserts::ConditionInit);
    }
    // A failure here has nowhere to go but std::terminate.
    ~TConditionVariable() {
        if (pthread_cond_destroy(&m_cv) != 0) RaiseLogicAssert(LogicAsserts::ConditionDestroy);
    }
    TConditionVariable(TConditionVariable const&) = delete;
    TConditionVariable& operator=(TConditionVariable const&) = delete;

    void wait(Mutex& mutex) {
        if (pthread_cond_wait(&m_cv, mutex.native_handle()) != 0)
            RaiseLogicAssert(LogicAsserts::ConditionWait);
    }
    void signal() {
        if (pthread_cond_signal(&m_cv) != 0) RaiseLogicAssert(LogicAsserts::ConditionSignal);
    }

private:
    pthread_cond_t m_cv;
};

} // namespace

class TReadWriteLock::Impl {
public:
    // The write lock is `mutex` itself, kept from here to Unlock.
    void Lock() {
        mutex.lock();
        // Kept on purpose: the assertion leaves `mutex` locked.
        if (m_writerCount == std::numeric_limits<decltype(m_writerCount)>::max())
            RaiseLogicAssert(LogicAsserts::WriterCountFull);
        ++m_writerCount;
        while (m_readerCount != 0)
            m_cv.wait(mutex);
    }

    // Signals while writers remain: a second writer waiting on m_cv has no one else to wake it.
    void Unlock() {
        const std::uint16_t remaining = --m_writerCount;
        mutex.unlock();
        if (remaining != 0) m_cv.signal();
    }

    // Never looks at the writers: a waiting writer has released `mutex`, so readers pass it.
    void LockRead() {
        mutex.lock();
        if (m_readerCount == std::numeric_limits<decltype(m_readerCount)>::max())
            RaiseLogicAssert(LogicAsserts::ReaderCountFull);
        ++m_readerCount;
        mutex.unlock();
    }

    void UnlockRead() {
        mutex.lock();
        if (--m_readerCount != 0) {
            mutex.unlock();
            return;
        }
        const std::uint16_t writers = m_writerCount;
        mutex.unlock();
        if (writers != 0) m_cv.signal();
    }

private:
    TConditionVariable<std::recursive_mutex> m_cv;
    std::recursive_mutex mutex;
    std::uint16_t m_readerCount = 0;
    std::uint16_t m_writerCount = 0;
};

TReadWriteLock::TReadWriteLock()
    : TReadWriteLock(0) {}
TReadWriteLock::TReadWriteLock(unsigned int)
    : m_impl(std::make_unique<Impl>()) {}
TReadWriteLock::~TReadWriteLock() {
    m_impl.reset();
}

void TReadWriteLock::Lock() {
    m_impl->Lock();
}
void TReadWriteLock::Unlock() {
    m_impl->Unlock();
}
void TReadWriteLock::LockRead() {
    m_impl->LockRead();
}
void TReadWriteLock::UnlockRead() {
    m_impl->UnlockRead();
}
