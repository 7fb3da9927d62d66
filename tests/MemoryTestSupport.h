// Test helpers for the allocation entry points: a scope that counts this thread's allocation
// events into a fresh record, and a scope that swaps the function TRealloc calls.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <kestal/TMalloc.h>
#include <kestal/detail/TMallocTesting.h>
#include <utility>

namespace kestal::testing {

/// Installs `mode` and a fresh record on this thread; restores the old mode and record on exit.
/// Tests share the process, so every test that counts runs inside one of these.
class ScopedCounting {
public:
    explicit ScopedCounting(velmora::memory::MemoryTrackingMode mode) {
        m_oldMode = velmora::memory::SetMemoryTrackingMode(mode);
        m_oldRecord = velmora::memory::SwapPushMemoryCounters(&m_record);
    }
    ~ScopedCounting() {
        velmora::memory::SwapPushMemoryCounters(m_oldRecord);
        velmora::memory::SetMemoryTrackingMode(m_oldMode);
    }
    ScopedCounting(ScopedCounting const&) = delete;
    ScopedCounting& operator=(ScopedCounting const&) = delete;

    velmora::memory::ThreadMemoryCounters& record() { return m_record; }
    /// (allocation events, release events) so far.
    std::pair<std::uint32_t, std::uint32_t> events() const {
        return {m_record.allocatedCount, m_record.deallocatedCount};
    }
    std::uint32_t allocations() const { return m_record.allocatedCount; }

private:
    velmora::memory::ThreadMemoryCounters m_record;
    velmora::memory::ThreadMemoryCounters* m_oldRecord = nullptr;
    velmora::memory::MemoryTrackingMode m_oldMode{};
};

/// A realloc that fails requests of `failFrom` bytes or more, remembering the last of them,
/// and serves smaller ones (an exception's own message, say) with realloc.
struct FailingRealloc {
    static inline std::size_t failFrom = 0;
    static inline std::size_t lastFailedSize = 0;
    static inline int failures = 0;
    static void* call(void* block, std::size_t size) noexcept {
        if (size < failFrom) return std::realloc(block, size);
        lastFailedSize = size;
        ++failures;
        return nullptr;
    }
};

/// Makes TRealloc fail from `failFrom` bytes on for the lifetime of the scope.
class ScopedRealloc {
public:
    explicit ScopedRealloc(std::size_t failFrom = 0) {
        FailingRealloc::failFrom = failFrom;
        FailingRealloc::lastFailedSize = 0;
        FailingRealloc::failures = 0;
        m_old = kestal::detail::SetReallocFunctionForTesting(&FailingRealloc::call);
    }
    ~ScopedRealloc() { kestal::detail::SetReallocFunctionForTesting(m_old); }
    ScopedRealloc(ScopedRealloc const&) = delete;
    ScopedRealloc& operator=(ScopedRealloc const&) = delete;

private:
    kestal::detail::ReallocFunction m_old = nullptr;
};

/// Failing from here on leaves every ordinary string alone and refuses the huge blocks.
constexpr std::size_t kHugeBlock = std::size_t{1} << 30;

} // namespace kestal::testing
