// Dedicated threads and their barrier. A thread owns its shared_ptr to the barrier it unlocks: it
// signals the all-done event with the lock held, and the manager's destructor may return at that
// moment, so the barrier must outlive the unlock.
#include "ThreadConfiguration.h"

#include <kestal/NonThreadPoolWorkerManager.h>
#include <kestal/OnScopeExit.h>
#include <kestal/TEvent.h>
#include <kestal/TLocks.h>
#include <thread>

class NonThreadPoolWorkerManager::WorkBarrier {
public:
    std::uint32_t count = 0;
    bool closed = false;
    TRecursiveMutex lock;
    TEvent allDone;

    // Sets closed; the threads still counted.
    std::uint32_t Close() {
        ScopedLock<TRecursiveMutex> guard(lock);
        closed = true;
        return count;
    }

    // One thread has ended (or never started).
    void Leave() {
        ScopedLock<TRecursiveMutex> guard(lock);
        if (--count == 0 && closed) allDone.Signal();
    }
};

namespace {

NonThreadPoolWorkerManager* g_workerManager = nullptr;

TRecursiveMutex& ManagerMutex() {
    static TRecursiveMutex s_mutex;
    return s_mutex;
}

} // namespace

NonThreadPoolWorkerManager::NonThreadPoolWorkerManager(std::function<void()> start,
                                                       std::function<void()> stop)
    : m_barrier(std::make_shared<WorkBarrier>())
    , m_start(std::move(start))
    , m_stop(std::move(stop)) {}

NonThreadPoolWorkerManager::~NonThreadPoolWorkerManager() {
    if (m_barrier->Close() != 0) m_barrier->allDone.Wait(std::chrono::milliseconds::max());
}

NonThreadPoolWorkerManager& NonThreadPoolWorkerManager::Get() {
    ScopedLock<TRecursiveMutex> lock(ManagerMutex());
    if (!g_workerManager) {
        kestal::detail::ThreadConfiguration const& configured = kestal::detail::ConfiguredThreadFunctions();
        g_workerManager = new NonThreadPoolWorkerManager(configured.start, configured.stop);
    }
    return *g_workerManager;
}

bool NonThreadPoolWorkerManager::Shutdown(std::chrono::milliseconds timeout) {
    ScopedLock<TRecursiveMutex> lock(ManagerMutex());
    if (!g_workerManager) return true;
    const bool closed = g_workerManager->Close(timeout);
    // Kept on purpose: the destructor waits without limit, whatever Close returned.
    delete g_workerManager;
    g_workerManager = nullptr;
    return closed;
}

NonThreadPoolWorkerManager* TestHooks::SwapNonThreadPoolManager(NonThreadPoolWorkerManager* manager) {
    NonThreadPoolWorkerManager* old = g_workerManager;
    g_workerManager = manager;
    return old;
}

void NonThreadPoolWorkerManager::RunTask(std::function<void()> task) {
    {
        ScopedLock<TRecursiveMutex> lock(m_barrier->lock);
        if (m_barrier->closed) return; // dropped unrun, the caller not told
        ++m_barrier->count;
    }
    try {
        std::thread(&NonThreadPoolWorkerManager::RunOnThread, m_barrier, std::move(task), m_start, m_stop)
            .detach();
    } catch (...) {
        m_barrier->Leave(); // no thread will: give the count back
        throw;
    }
}

std::uint32_t NonThreadPoolWorkerManager::GetThreadCount() const {
    ScopedLock<TRecursiveMutex> lock(m_barrier->lock);
    return m_barrier->count;
}

bool NonThreadPoolWorkerManager::Close(std::chrono::milliseconds timeout) {
    if (m_barrier->Close() == 0) return true;
    return m_barrier->allDone.Wait(timeout);
}

void NonThreadPoolWorkerManager::RunOnThread(std::shared_ptr<WorkBarrier> barrier, std::function<void()> task,
                                             std::function<void()> start, std::function<void()> stop) {
    OnScopeExit<std::function<void()>> leave([&barrier] { barrier->Leave(); });
    if (start) start();
    OnScopeExit<std::function<void()>> finish([&stop] {
        if (stop) stop();
    });
    task();
}
