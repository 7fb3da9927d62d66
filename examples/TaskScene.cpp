// Scene: tasks. ParallelForThread counts the words of each line, one index per line, on a private
// pool of two. Then a task on the process-wide pool polls its cancel event until the main thread
// cancels it, and the waiter reports how the task ended.
#include "TourScenes.h"

#include <chrono>
#include <iostream>
#include <numeric>

namespace tour {

namespace {

// The shared state a typed task layer would derive: its work, and a cancel that cannot be lost
// against SetCancelEvent.
struct PollingTask : AsyncTask::SharedStateBase {
    TEvent started;

    void Execute() override {
        try {
            AsyncTask::Cancel::CancelEventSetter underTask(m_cancel);
            started.Signal();
            for (auto until = std::chrono::steady_clock::now() + std::chrono::seconds(5);
                 std::chrono::steady_clock::now() < until;)
                AsyncTask::Cancel::ThrowIfCancelled();
        } catch (...) {
            SetException(std::current_exception());
        }
        MarkAsReady();
    }
    void Cancel() {
        ScopedLock<TRecursiveMutex> lock(m_cancelLock);
        m_cancelled.store(true, std::memory_order_release);
        SignalCancelEventIfSet();
    }
};

} // namespace

void taskScene(std::string const& utf8) {
    using std::chrono::milliseconds;
    const std::vector<TStringCore> lines = TStringCore::fromStdString(utf8).split(u"\n");
    std::vector<long> perLine(lines.size());
    ParallelForThread(2, 0, lines.size(), [&](unsigned long long i) {
        perLine[i] = static_cast<long>(lines[i].splitOnAny(u" \t.,;!?\u2014", TStringCore::SkipEmpty).size());
    });
    std::cout << "tasks: " << std::accumulate(perLine.begin(), perLine.end(), 0L) << " words in "
              << lines.size() << " lines, one loop index per line\n";

    TThreadPool::Configure(2);
    auto task = std::make_shared<PollingTask>();
    task->SetCancelEvent(new TCancelEvent);
    AsyncTask::ScheduleOnThreadPool(
        TThreadPool::Get(), [task] { task->Execute(); }, AsyncTask::Launch::Queue);
    task->started.Wait(milliseconds(5000));
    task->Cancel();
    task->WaitFor(milliseconds(5000));
    try {
        task->CheckForException();
        std::cout << "tasks: the task ran out of time before its cancel arrived\n";
    } catch (AsyncTask::CancelException const& e) {
        std::cout << "tasks: cancelled by the main thread: " << utf8Of(e.GetMessagesFront()) << " ("
                  << utf8Of(e.GetErrorName()) << ")\n";
    }
    TThreadPool::Shutdown(milliseconds(5000));
}

} // namespace tour
