// Not part of the API: whether the process has ever started a second thread. Reference counts
// (string blocks, RefCntObject) use plain loads and stores while it has not.
#pragma once

#if __has_include(<sys/single_threaded.h>)
#include <sys/single_threaded.h>
#define KESTAL_HAS_SINGLE_THREADED_FLAG 1
#else
#define KESTAL_HAS_SINGLE_THREADED_FLAG 0
#endif

namespace kestal::detail {

/// True while the process has never started a second thread: no other thread can touch a count,
/// so a plain load and store do. Starting the first thread clears it for good and publishes what
/// came before. Always false where the C library does not say.
inline bool ProcessIsSingleThreaded() noexcept {
#if KESTAL_HAS_SINGLE_THREADED_FLAG
    return __libc_single_threaded;
#else
    return false;
#endif
}

} // namespace kestal::detail
