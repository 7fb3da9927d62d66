// The compiled half of the typed futures: the library's own cancel record and the pool that
// tasks run on when the caller names none.
#include "ThreadConfiguration.h"
#include "kestal/errors/Raise.h"

#include <kestal/Future.h>
#include <thread>

namespace AsyncTask {

TError::ErrorInfo DefaultCancelReason() {
    // The record Cancel::ThrowIfCancelled raises with, so a cancel without a reason reads the same
    // from inside the task and from its future.
    return kestal::detail::AutoGenErrorInfo(0x94A93C32, TError::Client, grpc::StatusCode::UNKNOWN);
}

TThreadPool& DefaultTaskPool() {
    unsigned int const cores = std::thread::hardware_concurrency();
    kestal::detail::EnsureThreadCount(cores == 0 ? 2 : cores);
    return TThreadPool::Get();
}

} // namespace AsyncTask
