// Tasks: the entry points through which the task layer reaches the two kinds of thread (the pool
// and dedicated threads), the three process-wide hooks that let an application wrap task
// execution, translate exceptions and see new shared states, and ParallelForThread, a loop over an
// index range on a private pool. Brings in the task state, the per-thread context and cancellation.
//
// Hooks are plain stores without a lock: install them before tasks run.
#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <kestal/AsyncTaskTls.h>
#include <kestal/Cancel.h>
#include <kestal/KestalExport.h>
#include <kestal/SharedState.h>
#include <kestal/TThreadPool.h>
#include <memory>

namespace AsyncTask {

/// Launch policy of the task layer. Every value is legal; only one rule is read here: a policy
/// whose value with the lowest bit cleared is 4 (Queue, and 5) always queues, every other one may
/// be refused by a busy pool.
enum class Launch : std::uint32_t {
    TryPool = 0,
    Queue = 4,
};

/// Hands `work` to `pool.AddWork`, queued for Queue and 5, else refused when no thread is free.
/// True if the work was taken. The work is consumed either way: refused work is destroyed unrun,
/// and the caller runs it some other way.
KESTAL_API bool ScheduleOnThreadPool(TThreadPool& pool, std::function<void()>&& work, Launch policy);
/// Runs `work` on a thread of its own (NonThreadPoolWorkerManager::Get().RunTask), for work that
/// must not occupy a pool thread.
KESTAL_API void RunOnDedicatedThread(std::function<void()>&& work);

using ExecutionHook = std::function<std::function<void()>(std::function<void()>, bool)>;
using ExceptionHook = std::function<std::exception_ptr(std::exception_ptr)>;
using OnSharedStateCreatedHook = std::function<void(std::weak_ptr<SharedStateBase>)>;

/// Replace a hook; an empty function removes it.
KESTAL_API void SetExecutionHook(ExecutionHook hook);
KESTAL_API void SetExceptionHook(ExceptionHook hook);
KESTAL_API void SetOnSharedStateCreatedHook(OnSharedStateCreatedHook hook);

/// What the execution hook makes of `work` (the flag passed along); without a hook, `work` itself.
KESTAL_API std::function<void()> _ApplyExecutionHook(std::function<void()> work, bool flag);
/// What the exception hook makes of `e`; without a hook, `e`. CheckForException rethrows this.
KESTAL_API std::exception_ptr _ApplyExceptionHook(std::exception_ptr e);
/// Reports a new state to the hook, if there is one.
KESTAL_API void _ApplyOnSharedStateCreatedHook(std::weak_ptr<SharedStateBase> state);

} // namespace AsyncTask

/// Calls `body` once for each index in [begin, end), on a private pool of `threads` workers with
/// one item per index (no chunking); an index that no worker is free to take runs on the calling
/// thread. Returns after every queued index ran. An exception from a worker's index doesn't stop
/// the loop: afterwards one of them is rethrown (whichever came first). An exception on the calling
/// thread leaves at once, after the queued indices ran, and later indices are not started. `body`
/// is called concurrently; each worker has its own copy. A `threads` of 0 never returns.
KESTAL_API void ParallelForThread(unsigned int threads, unsigned long long begin, unsigned long long end,
                                  std::function<void(unsigned long long)> const& body);
