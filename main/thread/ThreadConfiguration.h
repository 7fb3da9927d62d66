// What TThreadPool::Configure stored, shared with the worker manager, whose threads run the same
// start and stop functions. Function-local statics: a Configure from another library's static
// initialiser is kept whatever the order of initialisation.
#pragma once

#include <functional>
#include <kestal/TStringCore.h>

namespace kestal::detail {

struct ThreadConfiguration {
    std::function<void()> start;
    std::function<void()> stop;
    std::function<void(TStringCore)> log;
};

/// Plain fields without a lock, like Configure itself.
ThreadConfiguration& ConfiguredThreadFunctions();

/// Gives the process-wide pool `threads` threads unless Configure gave it a count; under the pool
/// mutex, so concurrent first users agree.
void EnsureThreadCount(unsigned int threads);

} // namespace kestal::detail
