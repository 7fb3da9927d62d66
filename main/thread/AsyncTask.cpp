// Scheduling entry points, the three task hooks, and ParallelForThread.
#include <kestal/AsyncTask.h>
#include <kestal/NonThreadPoolWorkerManager.h>
#include <oneapi/tbb/cache_aligned_allocator.h>
#include <oneapi/tbb/concurrent_vector.h>

namespace AsyncTask {

namespace {

// Function-local statics: a hook set from another library's static initialiser is kept whatever
// the order of initialisation. Plain stores, no lock: hooks go in before tasks run.
struct Hooks {
    ExecutionHook execution;
    ExceptionHook exception;
    OnSharedStateCreatedHook stateCreated;
};

Hooks& TheHooks() {
    static Hooks s_hooks;
    return s_hooks;
}

} // namespace

bool ScheduleOnThreadPool(TThreadPool& pool, std::function<void()>&& work, Launch policy) {
    // Consumed whatever AddWork answers: refused work dies in AddWork's parameter.
    std::function<void()> local = std::move(work);
    const bool queue = (static_cast<std::uint32_t>(policy) & ~1u) == 4;
    return pool.AddWork(std::move(local),
                        queue ? TThreadPoolWork::AlwaysQueue : TThreadPoolWork::RefuseIfBusy);
}

void RunOnDedicatedThread(std::function<void()>&& work) {
    NonThreadPoolWorkerManager::Get().RunTask(std::move(work));
}

void SetExecutionHook(ExecutionHook hook) {
    TheHooks().execution = std::move(hook);
}

void SetExceptionHook(ExceptionHook hook) {
    TheHooks().exception = std::move(hook);
}

void SetOnSharedStateCreatedHook(OnSharedStateCreatedHook hook) {
    TheHooks().stateCreated = std::move(hook);
}

std::function<void()> _ApplyExecutionHook(std::function<void()> work, bool flag) {
    ExecutionHook const& hook = TheHooks().execution;
    if (hook) return hook(work, flag);
    return work;
}

std::exception_ptr _ApplyExceptionHook(std::exception_ptr e) {
    ExceptionHook const& hook = TheHooks().exception;
    if (hook) return hook(e);
    return e;
}

void _ApplyOnSharedStateCreatedHook(std::weak_ptr<SharedStateBase> state) {
    OnSharedStateCreatedHook const& hook = TheHooks().stateCreated;
    if (hook) hook(std::move(state));
}

} // namespace AsyncTask

namespace {

// Never changed: the loop always offers its indices to the pool first.
bool s_asyncEnabled = true;

} // namespace

void ParallelForThread(unsigned int threads, unsigned long long begin, unsigned long long end,
                       std::function<void(unsigned long long)> const& body) {
    using Errors =
        tbb::concurrent_vector<std::exception_ptr, tbb::cache_aligned_allocator<std::exception_ptr>>;
    Errors errors;
    // Declared after `errors`: on an exception from the caller's own index the pool's destructor
    // still waits for the queued items, which may append to it.
    TThreadPool pool(threads, std::function<void()>(), std::function<void()>());
    for (unsigned long long index = begin; index < end; ++index) {
        bool taken = false;
        if (s_asyncEnabled) {
            // Each worker item has its own copy of body. `...`, not std::exception: the library's
            // exceptions have no such base.
            taken = pool.AddWork(
                [index, body, errorsPtr = &errors] {
                    try {
                        body(index);
                    } catch (...) {
                        errorsPtr->push_back(std::current_exception());
                    }
                },
                TThreadPoolWork::RefuseIfBusy);
        }
        // No thread free: the caller takes this index itself and offers the next one again.
        if (!taken) body(index);
    }
    pool.JoinAll(std::chrono::milliseconds::max());
    for (std::exception_ptr const& e : errors) {
        if (e) std::rethrow_exception(e);
    }
}
