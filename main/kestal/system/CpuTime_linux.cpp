// Linux source of thread CPU time: getrusage for the calling thread.
#include <kestal/CpuTime.h>
#include <sys/resource.h>

namespace velmora::cputime {

namespace {

unsigned long long Microseconds(timeval const& tv) noexcept {
    return static_cast<unsigned long long>(tv.tv_sec) * 1000000ull +
           static_cast<unsigned long long>(tv.tv_usec);
}

} // namespace

std::tuple<unsigned long long, unsigned long long> GetCurrentThreadTimeInternal() noexcept {
    rusage usage{};
    // A failure (never expected for RUSAGE_THREAD) reads as no time used.
    if (getrusage(RUSAGE_THREAD, &usage) != 0) return {0, 0};
    return {Microseconds(usage.ru_utime), Microseconds(usage.ru_stime)};
}

} // namespace velmora::cputime
