// Dedicated threads for work that must not occupy a pool thread, because it may block for long or
// must not wait for a free slot. Each task gets a detached thread of its own; a barrier shared with
// every running thread counts them, so that the process can close it and wait for all to end.
// One manager serves the process, made on first use from TThreadPool::Configure's start and stop.
//
// Nothing here catches: an exception from a task, `start` or `stop` ends the process.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <kestal/KestalExport.h>
#include <memory>

class KESTAL_API NonThreadPoolWorkerManager {
public:
    /// The thread count, the closed flag, their lock and the all-done event.
    class WorkBarrier;

    /// An open barrier; each thread runs `start` before its task and `stop` after it.
    explicit NonThreadPoolWorkerManager(std::function<void()> start = {}, std::function<void()> stop = {});
    /// Closes the barrier and waits without limit for the running threads. Never returns when
    /// called from one of this manager's tasks.
    ~NonThreadPoolWorkerManager();
    NonThreadPoolWorkerManager(NonThreadPoolWorkerManager const&) = delete;
    NonThreadPoolWorkerManager& operator=(NonThreadPoolWorkerManager const&) = delete;

    /// The process-wide manager, made under the manager mutex with the start and stop functions
    /// that TThreadPool::Configure holds at that moment.
    static NonThreadPoolWorkerManager& Get();
    /// Close(timeout) on the process-wide manager, then deletes it, which waits without limit:
    /// false only after every thread ended. True if there was none. Never returns from a task.
    static bool Shutdown(std::chrono::milliseconds timeout);

    /// Runs `task` on a new detached thread. After Close the task is dropped unrun, silently.
    /// Rethrows std::system_error if the thread can't start, the count given back. An empty task
    /// throws std::bad_function_call on its own thread, which ends the process.
    void RunTask(std::function<void()> task);
    /// Threads counted and not yet ended, read under the barrier lock.
    std::uint32_t GetThreadCount() const;
    /// Closes the barrier for good and waits up to `timeout` for the running threads: true at
    /// once when none runs (even for 0 ms), else whether the last one ended in time. From a task
    /// it waits for itself. A negative timeout raises LogicException when a thread runs.
    bool Close(std::chrono::milliseconds timeout);
    /// The body of one thread: `start`, `task`, `stop`, then the count falls.
    static void RunOnThread(std::shared_ptr<WorkBarrier> barrier, std::function<void()> task,
                            std::function<void()> start, std::function<void()> stop);

private:
    std::shared_ptr<WorkBarrier> m_barrier;
    std::function<void()> m_start;
    std::function<void()> m_stop;
};

namespace TestHooks {
/// Stores `manager` as the process-wide manager and returns the old one: no lock, nothing closed.
KESTAL_API NonThreadPoolWorkerManager* SwapNonThreadPoolManager(NonThreadPoolWorkerManager* manager);
} // namespace TestHooks
