// The pool and its workers. A worker touches only its shared_ptr to the state and its own copies
// of the start and stop functions, never the pool object, which may be gone while it still runs.
#include "ThreadConfiguration.h"
#include "kestal/errors/LogicAssertSites.h"

#include <atomic>
#include <kestal/OnScopeExit.h>
#include <kestal/TEvent.h>
#include <kestal/TThreadPool.h>
#include <oneapi/tbb/cache_aligned_allocator.h>
#include <oneapi/tbb/concurrent_queue.h>

using kestal::detail::RaiseLogicAssert;
namespace LogicAsserts = kestal::detail::LogicAsserts;

class TThreadPool::ThreadPoolState {
public:
    // Default capacity: a push never waits.
    tbb::concurrent_bounded_queue<std::function<void()>, tbb::cache_aligned_allocator<std::function<void()>>>
        queue;
    std::atomic<std::uint64_t> useCount{0};
    std::atomic<std::uint64_t> threadCount{0};
    TEvent allDone;
};

namespace {

unsigned int g_numThreads = 0;
TThreadPool* g_threadPool = nullptr;

TRecursiveMutex& PoolMutex() {
    static TRecursiveMutex s_mutex;
    return s_mutex;
}

} // namespace

kestal::detail::ThreadConfiguration& kestal::detail::ConfiguredThreadFunctions() {
    static ThreadConfiguration s_configuration;
    return s_configuration;
}

void TThreadPool::Configure(unsigned int threads, std::function<void()> start, std::function<void()> stop,
                            std::function<void(TStringCore)> log) {
    g_numThreads = threads;
    kestal::detail::ThreadConfiguration& configured = kestal::detail::ConfiguredThreadFunctions();
    configured.start = std::move(start);
    configured.stop = std::move(stop);
    configured.log = std::move(log);
}

void kestal::detail::EnsureThreadCount(unsigned int threads) {
    ScopedLock<TRecursiveMutex> lock(PoolMutex());
    if (g_numThreads == 0) g_numThreads = threads;
}

TThreadPool& TThreadPool::Get() {
    ScopedLock<TRecursiveMutex> lock(PoolMutex());
    if (!g_threadPool) {
        if (g_numThreads == 0) RaiseLogicAssert(LogicAsserts::ThreadPoolNoThreadCount);
        kestal::detail::ThreadConfiguration const& configured = kestal::detail::ConfiguredThreadFunctions();
        g_threadPool = new TThreadPool(g_numThreads, configured.start, configured.stop, u"ndxworker");
        if (configured.log)
            configured.log(u"Started thread pool with: " + TStringCore::number(g_numThreads) + u" threads");
    }
    return *g_threadPool;
}

bool TThreadPool::Shutdown(std::chrono::milliseconds timeout) {
    ScopedLock<TRecursiveMutex> lock(PoolMutex());
    if (!g_threadPool) return true;
    const bool joined = g_threadPool->JoinAll(timeout);
    // Deleted even after a timeout: its destructor then returns at once and late workers
    // finish on their shared state.
    delete g_threadPool;
    g_threadPool = nullptr;
    return joined;
}

TThreadPool* TestHooks::SwapThreadPool(TThreadPool* pool) {
    TThreadPool* old = g_threadPool;
    g_threadPool = pool;
    return old;
}

TThreadPool::TThreadPool(unsigned int threads, std::function<void()> start, std::function<void()> stop,
                         TStringCore const& name)
    : m_state(std::make_shared<ThreadPoolState>())
    , m_start(std::move(start))
    , m_stop(std::move(stop))
    , m_closed(false)
    , m_threadNameFormat(name.left(10) + u"-%X") {
    try {
        for (unsigned int i = 0; i < threads; ++i)
            AddThread();
    } catch (...) {
        // No destructor runs for a half-made pool: send off the workers already started, one
        // empty function each, so that none sleeps on the queue for ever.
        const std::uint64_t started = m_state->threadCount.load();
        for (std::uint64_t i = 0; i < started; ++i)
            m_state->queue.push({});
        throw;
    }
}

TThreadPool::TThreadPool(unsigned int threads, std::function<void()> start, std::function<void()> stop)
    : TThreadPool(threads, std::move(start), std::move(stop), u"vel-pool") {}

TThreadPool::TThreadPool(unsigned int threads, TStringCore const& name)
    : TThreadPool(threads, {}, {}, name) {}

TThreadPool::TThreadPool(unsigned int threads)
    : TThreadPool(threads, {}, {}, u"vel-pool") {}

TThreadPool::~TThreadPool() {
    JoinAll(std::chrono::milliseconds::max());
}

void TThreadPool::AddThread() {
    std::thread worker(&TThreadPool::RunOnThreadPool, m_state, m_start, m_stop);
    m_threadIds.insert(worker.get_id());
    m_state->threadCount.fetch_add(1);
    worker.detach();
}

bool TThreadPool::AddWork(std::function<void()> work, TThreadPoolWork kind) {
    ScopedReadLock<TReadWriteLock> lock(m_workLock);
    // Kept on purpose: a closed pool refuses even an empty function without asserting.
    if (m_closed) return false;
    if (!work) RaiseLogicAssert(LogicAsserts::ThreadPoolEmptyWork);
    // The old value comes from the increment itself: a load followed by an increment would let
    // two callers take the last free thread.
    const std::uint64_t busy = m_state->useCount.fetch_add(1);
    if (kind == TThreadPoolWork::AlwaysQueue || busy < m_state->threadCount.load()) {
        m_state->queue.push(std::move(work));
        return true;
    }
    m_state->useCount.fetch_sub(1);
    return false;
}

bool TThreadPool::JoinAll(std::chrono::milliseconds timeout) {
    // Held for the whole wait: AddWork blocks until JoinAll is over.
    ScopedLock<TReadWriteLock> lock(m_workLock);
    if (m_closed) return false;
    m_closed = true;
    // Behind the queued work, which is drained, not dropped; each worker takes one and leaves.
    const std::uint64_t workers = m_state->threadCount.load();
    for (std::uint64_t i = 0; i < workers; ++i)
        m_state->queue.push({});
    return m_state->allDone.Wait(timeout);
}

void TThreadPool::RunOnThreadPool(std::shared_ptr<ThreadPoolState> state, std::function<void()> start,
                                  std::function<void()> stop) {
    if (start) start();
    OnScopeExit<std::function<void()>> leave([&state, &stop] {
        if (stop) stop();
        if (state->threadCount.fetch_sub(1) == 1) state->allDone.Signal();
    });
    for (;;) {
        // Scoped to one turn: the item and what it captured are destroyed before the next pop,
        // so nothing it holds lives on while the worker sleeps.
        std::function<void()> work;
        state->queue.pop(work);
        if (!work) return;
        work();
        state->useCount.fetch_sub(1);
    }
}

std::uint64_t TThreadPool::GetThreadPoolUseCount() const {
    return m_state->useCount.load();
}

std::uint32_t TThreadPool::GetNumberOfThreads() const {
    return static_cast<std::uint32_t>(m_threadIds.size());
}

bool TThreadPool::IsThreadPoolThread() const {
    return m_threadIds.count(std::this_thread::get_id()) != 0;
}

TStringCore const& TThreadPool::GetThreadNameFormat() const {
    return m_threadNameFormat;
}
