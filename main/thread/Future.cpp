// The compiled half of the typed futures: the pool that tasks run on when the caller names none.
#include "ThreadConfiguration.h"

#include <kestal/Future.h>
#include <thread>

namespace AsyncTask {

TThreadPool& DefaultTaskPool() {
    unsigned int const cores = std::thread::hardware_concurrency();
    kestal::detail::EnsureThreadCount(cores == 0 ? 2 : cores);
    return TThreadPool::Get();
}

} // namespace AsyncTask
