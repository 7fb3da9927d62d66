// Allocation entry points and the per-thread counting record they feed.
#include <atomic>
#include <cstdlib>
#include <kestal/TMalloc.h>
#include <kestal/detail/TMallocTesting.h>
#include <malloc.h>

using velmora::memory::MemoryTrackingMode;
using velmora::memory::ThreadMemoryCounters;

namespace {

// Plain byte, read and written without ordering: it is set once, before the allocator reports.
bool s_callsTrackers = false;
std::atomic<std::uint32_t> s_trackingMode{0};
// Read only after the mode and the record allowed counting, so counting off never loads it.
std::atomic<bool> s_blockSizes{false};
// Initial-exec keeps the access one instruction; the pointer is read only after the mode allowed it.
thread_local ThreadMemoryCounters* s_memory_counters __attribute__((tls_model("initial-exec"))) = nullptr;
thread_local std::uint64_t s_ordering_id = 0;
std::atomic<kestal::detail::ReallocFunction> s_realloc{&std::realloc};

constexpr std::uint32_t kAllocationsAndFrees =
    static_cast<std::uint32_t>(MemoryTrackingMode::AllocationsAndFrees);

// The counting below is forced inline: as calls, it cost more than the bookkeeping itself.
#define KESTAL_HOT [[gnu::always_inline]] inline

KESTAL_HOT std::uint32_t mode() noexcept {
    return s_trackingMode.load(std::memory_order_acquire);
}

// Our own blocks only (`ours`): a TTrack... block belongs to another allocator and is never measured.
KESTAL_HOT std::size_t accountedSize(void* block, bool ours) noexcept {
    return ours && block && s_blockSizes.load(std::memory_order_relaxed) ? malloc_usable_size(block) : 0;
}

// The steps ask for the size only after the mode and the record allowed counting, and move no
// byte field at all while sizes are off.
KESTAL_HOT void allocationStep(ThreadMemoryCounters& c, void* block, bool ours) noexcept {
    if (const std::size_t size = accountedSize(block, ours)) {
        c.allocated += size;
        c.used += static_cast<std::int64_t>(size);
    }
    ++c.allocatedCount;
    if (static_cast<std::uint64_t>(c.used) > c.peakUsed) c.peakUsed = static_cast<std::uint64_t>(c.used);
}

KESTAL_HOT void releaseStep(ThreadMemoryCounters& c, void* block, bool ours) noexcept {
    if (const std::size_t size = accountedSize(block, ours)) {
        c.deallocated += size;
        c.used -= static_cast<std::int64_t>(size);
    }
    // A block made before the record was installed can take `used` below 0; the clamp hides it.
    if (c.used < 0) c.used = 0;
    ++c.deallocatedCount;
}

// The record to count into, or null when the mode (or, for frees, the exact mode) says no.
KESTAL_HOT ThreadMemoryCounters* recordIfMode(bool needsExactlyFrees) noexcept {
    const std::uint32_t m = mode();
    if (m == 0 || (needsExactlyFrees && m != kAllocationsAndFrees)) return nullptr;
    return s_memory_counters;
}

KESTAL_HOT void countAllocation(void* block, bool ours) noexcept {
    if (ThreadMemoryCounters* c = recordIfMode(false)) allocationStep(*c, block, ours);
}

// Callers run this before the block is freed or reallocated, while its size can still be asked.
KESTAL_HOT void countRelease(void* block, bool ours, bool needsExactlyFrees) noexcept {
    if (ThreadMemoryCounters* c = recordIfMode(needsExactlyFrees)) releaseStep(*c, block, ours);
}

#undef KESTAL_HOT

} // namespace

namespace velmora::memory {

std::size_t GetPointerSize(void* block) noexcept {
    return accountedSize(block, true);
}

bool SetBlockSizeAccounting(bool enabled) noexcept {
    return s_blockSizes.exchange(enabled);
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

ThreadMemoryCounters* SwapPopMemoryCounters(ThreadMemoryCounters* restore) noexcept {
    ThreadMemoryCounters* const cur = s_memory_counters;
    if (!cur || !cur->next) {
        s_memory_counters = restore;
        return cur;
    }
    // Records are matched by id: a record's address may be reused by a newer scope.
    ThreadMemoryCounters* victim = nullptr;
    if (!restore) {
        victim = cur->next;
        while (victim->next)
            victim = victim->next;
    } else if (restore->orderingId == cur->next->orderingId) {
        s_memory_counters = restore; // scopes ending in order
        return cur;
    } else if (restore->orderingId > cur->next->orderingId) {
        victim = cur; // the documented misuse: the relink below closes a loop, kept as it is
    } else {
        // An older scope ends first: it is the oldest record still newer than `restore`.
        victim = cur->next;
        while (victim->next && restore->orderingId < victim->next->orderingId)
            victim = victim->next;
    }
    ThreadMemoryCounters* const successor = victim == cur ? cur->next : victim->next;
    ThreadMemoryCounters* link = cur;
    while (link->next && link->next->orderingId != victim->orderingId)
        link = link->next;
    link->next = successor; // inner scopes are still live, so the current record stays
    return victim;
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
    if (!s_callsTrackers) countAllocation(block, true);
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
    // A new block while nothing counts is malloc alone, as a tail call without a frame: every long
    // string starts here. Reading the mode before the call rather than after it is one of the
    // orders a change of mode on another thread could have had anyway.
    if (!block && reallocate == &std::realloc && mode() == 0) return std::malloc(size);
    if (s_callsTrackers) return reallocateOrAllocate(reallocate, block, size);
    // A reallocation releases in mode 1 as well, unlike TFree; callers rely on that asymmetry.
    if (block) countRelease(block, true, false);
    void* result = reallocateOrAllocate(reallocate, block, size);
    countAllocation(result, true); // mode and record are read afresh
    return result;
}

void TFree(void* block) noexcept {
    if (block && !s_callsTrackers) countRelease(block, true, true);
    std::free(block);
}

void SetMallocCallsTrackers(bool enabled) noexcept {
    s_callsTrackers = enabled;
}

void TTrackMalloc(void* block, std::size_t) noexcept {
    countAllocation(block, false);
}

void TTrackPreRealloc(void* block) noexcept {
    if (block) countRelease(block, false, false);
}

void TTrackPostRealloc(void* block, std::size_t) noexcept {
    countAllocation(block, false);
}

void TTrackFree(void* block) noexcept {
    if (block) countRelease(block, false, true);
}

int JemallocEnable() noexcept {
    return 0;
}
