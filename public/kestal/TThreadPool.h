// The thread pool: a fixed set of detached workers sharing one first-in first-out queue of
// std::function<void()> items. Any pool is an ordinary object; one process-wide pool is made by
// Get from the values given to Configure and ended only by Shutdown. The running state lives in a
// shared record that every worker holds, so workers finish safely after their pool object is gone.
//
// The pool catches nothing: an exception that leaves a work item, or the start or stop function,
// ends the process. Workers keep the names the platform gives them.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <kestal/KestalExport.h>
#include <kestal/TLocks.h>
#include <kestal/TStringCore.h>
#include <memory>
#include <set>
#include <thread>

/// How AddWork treats an item when no thread is free for it. Every value is legal; all but
/// AlwaysQueue act as RefuseIfBusy.
enum class TThreadPoolWork : int {
    /// Taken only while accepted, unfinished items are fewer than the live threads.
    RefuseIfBusy = 0,
    /// Always queued.
    AlwaysQueue = 1
};

class KESTAL_API TThreadPool {
public:
    /// The queue, the use and thread counts and the all-done event, shared with every worker.
    class ThreadPoolState;

    /// Sets the thread count and the start, stop and log functions of the process-wide pool. No
    /// lock: call it at start-up, before other threads run. A pool Get already made is untouched.
    static void Configure(unsigned int threads, std::function<void()> start = {},
                          std::function<void()> stop = {}, std::function<void(TStringCore)> log = {});
    /// The process-wide pool, made on first use (named "ndxworker"), under the pool mutex; the
    /// log function then gets "Started thread pool with: N threads". Raises LogicException
    /// (0x425D0794) and makes nothing before Configure gave a thread count. Blocks for ever when
    /// called from a work item of that pool while Shutdown waits without limit.
    static TThreadPool& Get();
    /// JoinAll(timeout) on the process-wide pool, then deletes it whatever the result: workers
    /// that did not leave in time finish on their own. True if there was none. A later Get makes
    /// a new pool from the configuration as it then stands.
    static bool Shutdown(std::chrono::milliseconds timeout);

    /// Starts `threads` workers (0 makes none). Each runs `start` before its first item and
    /// `stop` as it leaves; either may be empty. Rethrows std::system_error if a thread can't
    /// start, after sending off the workers already started.
    TThreadPool(unsigned int threads, std::function<void()> start, std::function<void()> stop,
                TStringCore const& name);
    /// Named "vel-pool".
    TThreadPool(unsigned int threads, std::function<void()> start, std::function<void()> stop);
    /// Empty start and stop functions.
    TThreadPool(unsigned int threads, TStringCore const& name);
    /// Addition: empty start and stop functions, named "vel-pool".
    explicit TThreadPool(unsigned int threads);
    /// JoinAll without limit, result ignored. Returns at once after an earlier JoinAll (even one
    /// that timed out); a 0-thread pool's destructor never returns unless JoinAll came first.
    ~TThreadPool();
    TThreadPool(TThreadPool const&) = delete;
    TThreadPool& operator=(TThreadPool const&) = delete;

    /// Starts one more worker. Takes no lock: not at the same time as another AddThread or
    /// IsThreadPoolThread.
    void AddThread();
    /// Queues `work` (moved, not copied) and returns true; false on a closed pool, or for
    /// RefuseIfBusy when no thread is free, the work then destroyed unrun. Raises LogicException
    /// (0x05F20444) for an empty function on an open pool. Blocks while JoinAll runs: from a work
    /// item of this pool during JoinAll that wait ends only with JoinAll's timeout, or never.
    bool AddWork(std::function<void()> work, TThreadPoolWork kind);
    /// Closes the pool for good, lets every queued item run, sends each worker off and waits
    /// for all to leave: true if they did within `timeout` (milliseconds::max() waits without
    /// limit). Only the first call joins; later ones return false at once. A pool of 0 threads
    /// waits out the whole timeout. A negative timeout raises LogicException after closing.
    bool JoinAll(std::chrono::milliseconds timeout);
    /// The body of one worker: start, then items until an empty one, then stop.
    static void RunOnThreadPool(std::shared_ptr<ThreadPoolState> state, std::function<void()> start,
                                std::function<void()> stop);

    /// Items accepted and not yet finished, queued and running alike.
    std::uint64_t GetThreadPoolUseCount() const;
    /// Workers ever started by this pool: still N after they left.
    std::uint32_t GetNumberOfThreads() const;
    /// True on a worker of this pool. No lock (see AddThread).
    bool IsThreadPoolThread() const;
    /// Addition: the name's first 10 code units and "-%X". Kept, never applied to a thread.
    TStringCore const& GetThreadNameFormat() const;

private:
    std::shared_ptr<ThreadPoolState> m_state;
    std::function<void()> m_start;
    std::function<void()> m_stop;
    std::set<std::thread::id> m_threadIds;
    TReadWriteLock m_workLock;
    bool m_closed;
    TStringCore m_threadNameFormat;
};

namespace TestHooks {
/// Stores `pool` as the process-wide pool and returns the old one: no lock, nothing shut down.
KESTAL_API TThreadPool* SwapThreadPool(TThreadPool* pool);
} // namespace TestHooks
