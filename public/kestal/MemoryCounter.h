// Memory accounting: what a stretch of code allocates, summed over threads. A MemoryScope installs
// a fresh ThreadMemoryCounters record on its thread, the allocation entry points count into it,
// and at the end of the scope the record is folded into a shared counter. Scopes nest and may end
// out of order; each counts only the stretch during which its own record was the current one.
#pragma once

#include <atomic>
#include <cassert>
#include <cstdint>
#include <kestal/KestalExport.h>
#include <kestal/TMalloc.h>

namespace velmora::memory {

/// Receives finished records. Implementations may be shared between threads.
class KESTAL_API IMemoryCounter {
public:
    /// Folds one finished record in; `base` is what the enclosing scope had in use when the record
    /// was installed, so a nested peak can be reported on top of it. Must not throw.
    virtual void Accumulate(ThreadMemoryCounters const& counters, unsigned long base) noexcept = 0;
    virtual ~IMemoryCounter();
};

/// Atomic totals over any number of records and threads. Not copyable.
class KESTAL_API MemoryCounter : public IMemoryCounter {
public:
    MemoryCounter() = default;
    MemoryCounter(MemoryCounter const&) = delete;
    MemoryCounter& operator=(MemoryCounter const&) = delete;
    ~MemoryCounter() override;

    /// Reads the tracking mode once and does nothing unless it is exactly 1 or 2. Both add the
    /// allocated bytes and count; mode 2 also adds the deallocated ones and raises the peak to
    /// `counters.peakUsed + base` (never lowers it). Relaxed atomics, lock-free.
    void Accumulate(ThreadMemoryCounters const& counters, unsigned long base) noexcept override;

    /// Zeroes the five totals (release stores, one at a time: not atomic as a whole).
    void Reset() noexcept;

    /// Writes the totals to standard output: a blank line, "===", then two lines of
    /// eight-digit, zero-padded fields.
    void PrintToConsole() const;

    std::uint64_t Allocated() const noexcept { return m_allocated.load(std::memory_order_acquire); }
    std::uint64_t Deallocated() const noexcept { return m_deallocated.load(std::memory_order_acquire); }
    std::uint64_t AllocatedPeakUsed() const noexcept {
        return m_allocatedPeakUsed.load(std::memory_order_acquire);
    }
    std::uint32_t AllocatedCount() const noexcept { return m_allocatedCount.load(std::memory_order_acquire); }
    std::uint32_t DeallocatedCount() const noexcept {
        return m_deallocatedCount.load(std::memory_order_acquire);
    }

private:
    std::atomic<std::uint64_t> m_allocated{0};
    std::atomic<std::uint64_t> m_deallocated{0};
    std::atomic<std::uint64_t> m_allocatedPeakUsed{0};
    std::atomic<std::uint32_t> m_allocatedCount{0};
    std::atomic<std::uint32_t> m_deallocatedCount{0};
};

/// The ready-made scope: counts this thread's allocations from construction to destruction into
/// its own record and hands that record to `counter` at the end. The tracking mode is the
/// caller's to set. Must end on the thread that made it (checked in debug builds); may end
/// before a scope nested in it. Not copyable or movable.
class MemoryScope {
public:
    explicit MemoryScope(IMemoryCounter& counter) noexcept
        : m_counter(counter)
        , m_threadId(GetCurrentThreadId()) {
        m_record.orderingId = GetNextOrderingId();
        m_record.next = SwapPushMemoryCounters(&m_record);
        if (m_record.next && m_record.next->used > 0)
            m_base = static_cast<unsigned long>(m_record.next->used);
    }

    ~MemoryScope() {
        assert(GetCurrentThreadId() == m_threadId && "a MemoryScope must end on the thread that made it");
        // The record's own `next` now, not the one seen at the start: an outer scope that ended
        // first has already been unlinked and may be gone.
        SwapPopMemoryCounters(m_record.next);
        m_counter.Accumulate(m_record, m_base);
    }

    MemoryScope(MemoryScope const&) = delete;
    MemoryScope& operator=(MemoryScope const&) = delete;

    /// This scope's record, as counted so far.
    ThreadMemoryCounters const& Counters() const noexcept { return m_record; }

    /// The kernel's id of the calling thread.
    KESTAL_API std::uint64_t GetCurrentThreadId() const noexcept;

private:
    IMemoryCounter& m_counter;
    ThreadMemoryCounters m_record;
    unsigned long m_base = 0;
    std::uint64_t m_threadId;
};

} // namespace velmora::memory
