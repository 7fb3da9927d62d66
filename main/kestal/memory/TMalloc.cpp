// Allocation entry points and the per-thread counting record they feed.
#include <atomic>
#include <cstdlib>
#include <kestal/TMalloc.h>
#include <kestal/detail/TMallocTesting.h>

using velmora::memory::MemoryTrackingMode;
using velmora::memory::ThreadMemoryCounters;

namespace {

// Plain byte, read and written without ordering: it is set once, before the allocator reports.
bool s_callsTrackers = false;
std::atomic<std::uint32_t> s_trackingMode{0};
// Initial-exec keeps the access one instruction; the pointer is read only after the mode allowed it.
thread_local ThreadMemoryCounters* s_memory_counters __attribute__((tls_model("initial-exec"))) = nullptr;
thread_local std::uint64_t s_ordering_id = 0;
std::atomic<kestal::detail::ReallocFunction> s_realloc{&std::realloc};

constexpr std::uint32_t kAllocationsAndFrees =
    static_cast<std::uint32_t>(MemoryTrackingMode::AllocationsAndFrees);

std::uint32_t mode() noexcept {
    return s_trackingMode.load(std::memory_order_acquire);
}

void allocationStep(ThreadMemoryCounters& c) noexcept {
    ++c.allocatedCount;
    if (static_cast<std::uint64_t>(c.used) > c.peakUsed) c.peakUsed = static_cast<std::uint64_t>(c.used);
}

void releaseStep(ThreadMemoryCounters& c) noexcept {
    if (c.used < 0) c.used = 0;
    ++c.deallocatedCount;
}

// The record to count into, or null when the mode (or, for frees, the exact mode) says no.
ThreadMemoryCounters* recordIfMode(bool needsExactlyFrees) noexcept {
    const std::uint32_t m = mode();
    if (m == 0 || (needsExactlyFrees && m != kAllocationsAndFrees)) return nullptr;
    return s_memory_counters;
}

void countAllocation() noexcept {
    if (ThreadMemoryCounters* c = recordIfMode(false)) allocationStep(*c);
}

void countRelease(bool needsExactlyFrees) noexcept {
    if (ThreadMemoryCounters* c = recordIfMode(needsExactlyFrees)) releaseStep(*c);
}

} // namespace

namespace velmora::memory {

std::size_t GetPointerSize(void*) noexcept {
    return 0;
}

MemoryTrackingMode SetMemoryTrackingMode(MemoryTrackingMode m) noexcept {
    return static_cast<MemoryTrackingMode>(s_trackingMode.exchange(static_cast<std::uint32_t>(m)));
}

MemoryTrackingMode GetMemoryTrackingMode() noexcept {
    return static_cast<MemoryTrackingMode>(mode());
}

ThreadMemoryCounters* SwapPushMemoryCounters(ThreadMemoryCounters* counters) noexcept {
    ThreadMemoryCounters* old = s_memory_counters;
    s_memory_counters = counters;
    return old;
}

std::uint64_t GetNextOrderingId() noexcept {
    return ++s_ordering_id;
}

} // namespace velmora::memory

namespace kestal::detail {

ReallocFunction SetReallocFunctionForTesting(ReallocFunction function) noexcept {
    return s_realloc.exchange(function ? function : &std::realloc);
}

} // namespace kestal::detail

void* TMalloc(std::size_t size) noexcept {
    void* block = std::malloc(size);
    // A failed allocation is counted too: the step does not look at the block.
    if (!s_callsTrackers) countAllocation();
    return block;
}

void* TCalloc(std::size_t count, std::size_t size) noexcept {
    // Deliberately neither cleared nor overflow-checked; the callers write the block first.
    return TMalloc(count * size);
}

namespace {
// realloc of null is malloc; asked for directly, the C library skips realloc's own dispatch. A
// function put in by the testing seam is always called.
void* reallocateOrAllocate(kestal::detail::ReallocFunction reallocate, void* block,
                           std::size_t size) noexcept {
    return !block && reallocate == &std::realloc ? std::malloc(size) : reallocate(block, size);
}
} // namespace

void* TRealloc(void* block, std::size_t size) noexcept {
    const kestal::detail::ReallocFunction reallocate = s_realloc.load(std::memory_order_relaxed);
    if (s_callsTrackers) return reallocateOrAllocate(reallocate, block, size);
    // A reallocation releases in mode 1 as well, unlike TFree; callers rely on that asymmetry.
    if (block) countRelease(false);
    void* result = reallocateOrAllocate(reallocate, block, size);
    countAllocation(); // mode and record are read afresh
    return result;
}

void TFree(void* block) noexcept {
    if (block && !s_callsTrackers) countRelease(true);
    std::free(block);
}

void SetMallocCallsTrackers(bool enabled) noexcept {
    s_callsTrackers = enabled;
}

void TTrackMalloc(void*, std::size_t) noexcept {
    countAllocation();
}

void TTrackPreRealloc(void* block) noexcept {
    if (block) countRelease(false);
}

void TTrackPostRealloc(void*, std::size_t) noexcept {
    countAllocation();
}

void TTrackFree(void* block) noexcept {
    if (block) countRelease(true);
}

int JemallocEnable() noexcept {
    return 0;
}
