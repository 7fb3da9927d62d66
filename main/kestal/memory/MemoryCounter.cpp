// Shared totals of finished counting records, and the scope's thread id.
#include <cstdio>
#include <kestal/MemoryCounter.h>
#include <kestal/TSystem.h>

namespace velmora::memory {

IMemoryCounter::~IMemoryCounter() = default;
MemoryCounter::~MemoryCounter() = default;

namespace {

// Adding 0 changes nothing, but a locked add still costs its cycles; byte fields are 0 whenever
// block sizes are off.
template <class T>
void add(std::atomic<T>& total, T value) noexcept {
    if (value != 0) total.fetch_add(value, std::memory_order_relaxed);
}

} // namespace

void MemoryCounter::Accumulate(ThreadMemoryCounters const& counters, unsigned long base) noexcept {
    // Only exactly 1 or 2, although the entry points count in any mode but 0: a record counted in
    // another mode is dropped here on purpose.
    const auto mode = static_cast<std::uint32_t>(GetMemoryTrackingMode());
    if (mode != 1 && mode != 2) return;
    if (mode == 2) {
        add(m_deallocated, counters.deallocated);
        add(m_deallocatedCount, counters.deallocatedCount);
        const std::uint64_t peak = counters.peakUsed + base;
        std::uint64_t seen = m_allocatedPeakUsed.load(std::memory_order_relaxed);
        while (peak > seen &&
               !m_allocatedPeakUsed.compare_exchange_weak(seen, peak, std::memory_order_relaxed)) {
        }
    }
    add(m_allocated, counters.allocated);
    add(m_allocatedCount, counters.allocatedCount);
}

void MemoryCounter::Reset() noexcept {
    m_allocated.store(0, std::memory_order_release);
    m_allocatedCount.store(0, std::memory_order_release);
    m_allocatedPeakUsed.store(0, std::memory_order_release);
    m_deallocated.store(0, std::memory_order_release);
    m_deallocatedCount.store(0, std::memory_order_release);
}

void MemoryCounter::PrintToConsole() const {
    // %zu wants a size_t: the 32-bit counts are widened rather than passed as they are.
    std::puts("\n===");
    std::printf("  allocated=%08zu,   allocatedCount=%08zu,  allocatedPeakUsed=%08zu\n",
                static_cast<std::size_t>(Allocated()), static_cast<std::size_t>(AllocatedCount()),
                static_cast<std::size_t>(AllocatedPeakUsed()));
    std::printf("deallocated=%08zu, deallocatedCount=%08zu\n", static_cast<std::size_t>(Deallocated()),
                static_cast<std::size_t>(DeallocatedCount()));
}

std::uint64_t MemoryScope::GetCurrentThreadId() const noexcept {
    return TSystem::ThreadID();
}

} // namespace velmora::memory
