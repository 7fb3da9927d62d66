// Allocation entry points. The library routes its own raw blocks (long-string storage among
// them) through TMalloc, TRealloc, TCalloc and TFree, which sit on the C allocator and count
// allocation events into the calling thread's current velmora::memory::ThreadMemoryCounters
// record, when counting is on. The TTrack... functions do the counting alone, for an allocator
// outside the library that reports its own calls. Nothing here throws or takes a lock.
#pragma once

#include <cstddef>
#include <cstdint>
#include <kestal/KestalExport.h>

namespace velmora::memory {

/// What the entry points count. Any other value is legal: "not 0" counts as on, and only
/// exactly AllocationsAndFrees counts frees in TFree and TTrackFree.
enum class MemoryTrackingMode : std::uint32_t {
    Off = 0,                 ///< no counting; the state at process start
    Allocations = 1,         ///< allocation events are counted
    AllocationsAndFrees = 2, ///< allocation and free events are counted, and the peak is kept
};

/// A thread's counting record, owned by the caller and installed with SwapPushMemoryCounters.
/// The entry points touch only used, peakUsed, allocatedCount and deallocatedCount, and
/// allocated and deallocated while block sizes are accounted (SetBlockSizeAccounting).
struct ThreadMemoryCounters {
    ThreadMemoryCounters* next = nullptr; ///< the older record of this thread, linked by the caller
    std::uint64_t userData = 0;           ///< the caller's word; never read or written by the library
    std::uint64_t allocated = 0;          ///< bytes allocated
    std::uint64_t deallocated = 0;        ///< bytes freed
    std::int64_t used = 0;                ///< bytes in use
    std::uint64_t peakUsed = 0;           ///< largest `used` seen
    std::uint32_t allocatedCount = 0;     ///< allocation events
    std::uint32_t deallocatedCount = 0;   ///< free events
    std::uint64_t orderingId = 0;         ///< GetNextOrderingId() when made; newer records have larger ids
};

/// Size of the block behind a pointer as the allocator reports it: malloc_usable_size while block
/// sizes are accounted (0 for null), otherwise 0 for every pointer.
KESTAL_API std::size_t GetPointerSize(void* block) noexcept;

/// Turns block-size accounting on or off for the whole process and returns the old setting; off at
/// start. On, TMalloc, TRealloc, TCalloc and TFree also move the byte fields of the record
/// (allocated, deallocated, used) by each block's usable size; the TTrack... functions stay
/// count-only, since their blocks belong to another allocator. Off, no byte field ever moves.
KESTAL_API bool SetBlockSizeAccounting(bool enabled) noexcept;

/// Sets the process-wide tracking mode (atomic exchange, sequentially consistent) and returns the old one.
KESTAL_API MemoryTrackingMode SetMemoryTrackingMode(MemoryTrackingMode mode) noexcept;

/// The process-wide tracking mode (acquire load). Off in a fresh process.
KESTAL_API MemoryTrackingMode GetMemoryTrackingMode() noexcept;

/// Makes `counters` (may be null) the calling thread's current record and returns the previous
/// one. The chain's `next` links are the caller's to set.
KESTAL_API ThreadMemoryCounters* SwapPushMemoryCounters(ThreadMemoryCounters* counters) noexcept;

/// Ends a scope: unlinks one record from the calling thread's chain and returns it. `restore` is
/// the record older than the one ending (its `next`, read at the end, not at the start), matched
/// by orderingId, never by address. With the current record newest, `restore` becomes current;
/// an older scope ending first is unlinked in place and the current record stays. Null `restore`
/// unlinks the oldest record. With one record or none, `restore` just becomes current.
/// Never pass a `restore` newer than the current record's `next`: the chain would become a loop.
KESTAL_API ThreadMemoryCounters* SwapPopMemoryCounters(ThreadMemoryCounters* restore) noexcept;

/// Next value of the calling thread's ordering counter: 1, 2, 3, ... on each thread.
KESTAL_API std::uint64_t GetNextOrderingId() noexcept;

} // namespace velmora::memory

/// Allocates `size` bytes with malloc; counts one allocation event when counting applies,
/// even when the allocation failed. Returns the block or null.
KESTAL_EXTERN_C KESTAL_API void* TMalloc(std::size_t size) noexcept;

/// Resizes `block` (null allocates) with realloc. When counting applies, a non-null block counts
/// a release event first and the result an allocation event, in mode 1 as well as mode 2.
KESTAL_EXTERN_C KESTAL_API void* TRealloc(void* block, std::size_t size) noexcept;

/// Allocates count * size bytes (the product is not checked for overflow) and counts as TMalloc.
/// The block is NOT cleared: callers write it before reading it.
KESTAL_EXTERN_C KESTAL_API void* TCalloc(std::size_t count, std::size_t size) noexcept;

/// Frees `block`; counts a release event only in mode AllocationsAndFrees. Null is ignored.
KESTAL_EXTERN_C KESTAL_API void TFree(void* block) noexcept;

/// Tells the library that the allocator reports its own calls through the TTrack... functions,
/// so TMalloc, TRealloc, TCalloc and TFree stop counting (true) or count again (false).
KESTAL_EXTERN_C KESTAL_API void SetMallocCallsTrackers(bool enabled) noexcept;

/// Counts one allocation event, when the mode is not Off and the thread has a record.
KESTAL_EXTERN_C KESTAL_API void TTrackMalloc(void* block, std::size_t size) noexcept;

/// Counts one release event for a non-null block about to be reallocated (mode not Off).
KESTAL_EXTERN_C KESTAL_API void TTrackPreRealloc(void* block) noexcept;

/// Counts one allocation event after a reallocation, as TTrackMalloc.
KESTAL_EXTERN_C KESTAL_API void TTrackPostRealloc(void* block, std::size_t size) noexcept;

/// Counts one release event for a non-null block, only in mode AllocationsAndFrees.
KESTAL_EXTERN_C KESTAL_API void TTrackFree(void* block) noexcept;

/// Kept for callers of an older allocator switch: changes nothing and returns 0.
KESTAL_EXTERN_C KESTAL_API int JemallocEnable() noexcept;
