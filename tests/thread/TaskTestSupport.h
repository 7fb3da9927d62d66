// Test support for tasks: a shared state whose work is a function, with the cancel a typed layer
// would write (lock, flag, signal).
#pragma once

#include <functional>
#include <kestal/AsyncTask.h>

namespace kestal::testing {

struct FunctionState : AsyncTask::SharedStateBase {
    std::function<void()> work, onCancelRequested = [] {};

    void Execute() override {
        try {
            work();
        } catch (...) {
            SetException(std::current_exception());
        }
        MarkAsReady();
    }
    void OnCancelRequested() override { onCancelRequested(); }
    RefCntPtr<TCancelEvent, RefCntObject> CancelEvent() const { return m_cancel; }
    void Cancel() {
        ScopedLock<TRecursiveMutex> lock(m_cancelLock);
        m_cancelled.store(true, std::memory_order_release);
        SignalCancelEventIfSet();
    }
};

} // namespace kestal::testing
