// The calling thread's task record, shared by the task sources: Cancel::ThrowIfCancelled reads it
// directly, without a call into the TLS handle, since work polls it in tight loops.
#pragma once

#include <cstdint>
#include <kestal/AsyncTaskTls.h>

struct AsyncTask::TLS::Record {
    std::uint64_t depth;
    ThreadCleanupFunc cleanup;
    TCancelEvent const* cancelEvent;
    IWaitHandler const* waitHandler;
};

namespace kestal::detail {

// Zeroed for each thread and trivially destructible: no thread-exit destructor is registered, and
// an event left installed when a thread ends is leaked. Initial-exec: read on every poll.
[[gnu::tls_model("initial-exec")]] extern constinit thread_local AsyncTask::TLS::Record t_taskRecord;

} // namespace kestal::detail
