// Counting rules of the allocation entry points.
#include "MemoryTestSupport.h"

#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <kestal/TMalloc.h>
#include <limits>
#include <thread>

// A failing malloc must return null under the sanitizers too, not abort the run.
extern "C" const char* __asan_default_options();
extern "C" const char* __tsan_default_options();
extern "C" const char* __asan_default_options() {
    return "allocator_may_return_null=1";
}
extern "C" const char* __tsan_default_options() {
    return "allocator_may_return_null=1";
}

namespace {

using velmora::memory::MemoryTrackingMode;
using velmora::memory::SetMemoryTrackingMode;
using Events = std::pair<std::uint32_t, std::uint32_t>; // (allocations, releases)

constexpr auto kAllocations = MemoryTrackingMode::Allocations;
constexpr auto kAllocationsAndFrees = MemoryTrackingMode::AllocationsAndFrees;

// Each test starts with counting off, a fresh record installed on this thread and the
// calls-trackers flag clear; everything is put back afterwards.
class AllocationEntryPoints : public ::testing::Test {
protected:
    ~AllocationEntryPoints() override { SetMallocCallsTrackers(false); }

    Events events() const { return m_counting.events(); }
    velmora::memory::ThreadMemoryCounters& record() { return m_counting.record(); }

    // One malloc, one grow, one free: the round trip every rule below is checked on.
    static void roundTrip() {
        void* block = TMalloc(8);
        block = TRealloc(block, 64);
        TFree(block);
    }
    // The same round trip through the track functions alone.
    static void trackRoundTrip() {
        static int block = 0;
        TTrackMalloc(&block, 4);
        TTrackPreRealloc(&block);
        TTrackPostRealloc(&block, 8);
        TTrackFree(&block);
    }

    kestal::testing::ScopedCounting m_counting{MemoryTrackingMode::Off};
};

TEST_F(AllocationEntryPoints, NothingIsCountedWithModeOffWithoutARecordOrForANullBlock) {
    roundTrip();
    TFree(TCalloc(2, 2));
    EXPECT_EQ(events(), Events(0, 0));

    SetMemoryTrackingMode(kAllocationsAndFrees);
    auto* mine = velmora::memory::SwapPushMemoryCounters(nullptr);
    roundTrip();
    TTrackMalloc(nullptr, 0);
    TTrackFree(&mine);
    velmora::memory::SwapPushMemoryCounters(mine);
    EXPECT_EQ(events(), Events(0, 0));

    TFree(nullptr); // a null block is never a release
    TTrackFree(nullptr);
    TTrackPreRealloc(nullptr);
    EXPECT_EQ(events(), Events(0, 0));
}

TEST_F(AllocationEntryPoints, ReallocReleasesInAnyModeWhileFreeNeedsModeTwo) {
    SetMemoryTrackingMode(kAllocations);
    void* block = TRealloc(nullptr, 16); // a null block is an allocation only
    EXPECT_EQ(events(), Events(1, 0));
    block = TRealloc(block, 32);
    EXPECT_EQ(events(), Events(2, 1));
    TFree(block);
    EXPECT_EQ(events(), Events(2, 1));
    trackRoundTrip(); // the track functions keep the same asymmetry
    EXPECT_EQ(events(), Events(4, 2));

    // Any mode but 0 counts a reallocation; only exactly 2 counts a free.
    SetMemoryTrackingMode(static_cast<MemoryTrackingMode>(3));
    roundTrip();
    EXPECT_EQ(events(), Events(6, 3));

    SetMemoryTrackingMode(kAllocationsAndFrees);
    roundTrip();
    trackRoundTrip();
    EXPECT_EQ(events(), Events(10, 7));
}

TEST_F(AllocationEntryPoints, FailedAllocationsAreCountedAllTheSame) {
    SetMemoryTrackingMode(kAllocationsAndFrees);
    EXPECT_EQ(TMalloc(std::numeric_limits<std::size_t>::max()), nullptr);
    EXPECT_EQ(events(), Events(1, 0));

    void* block = TMalloc(16);
    {
        kestal::testing::ScopedRealloc failing;
        EXPECT_EQ(TRealloc(block, 1024), nullptr);
        EXPECT_EQ(kestal::testing::FailingRealloc::lastFailedSize, 1024u);
    }
    // The release step ran before realloc failed, and the result counts as an allocation.
    EXPECT_EQ(events(), Events(3, 1));
    TFree(block); // still valid: a failed realloc leaves the block alone

    // Calloc allocates the whole product with one event; AddressSanitizer checks the bound.
    auto* product = static_cast<unsigned char*>(TCalloc(4, 8));
    ASSERT_NE(product, nullptr);
    std::memset(product, 0xAB, 32);
    TFree(product);
    EXPECT_EQ(events(), Events(4, 3));
}

TEST_F(AllocationEntryPoints, CallsTrackersSilenceTheEntryPointsButNotTheTrackFunctions) {
    SetMemoryTrackingMode(kAllocationsAndFrees);
    SetMallocCallsTrackers(true);
    roundTrip();
    TFree(TCalloc(3, 3));
    EXPECT_EQ(events(), Events(0, 0));
    trackRoundTrip();
    EXPECT_EQ(events(), Events(2, 2));
    SetMallocCallsTrackers(false);
    roundTrip();
    EXPECT_EQ(events(), Events(4, 4));
}

TEST_F(AllocationEntryPoints, OnlyTheReleaseStepClampsANegativeUsed) {
    SetMemoryTrackingMode(kAllocationsAndFrees);
    record().used = -5;
    void* block = TMalloc(8);
    EXPECT_EQ(record().used, -5);
    // The peak compares as unsigned, so a negative `used` reads as a huge one.
    EXPECT_EQ(record().peakUsed, static_cast<std::uint64_t>(-5));
    TFree(block);
    EXPECT_EQ(record().used, 0);

    record().peakUsed = 40;
    for (std::int64_t used : {100, 10}) {
        record().used = used;
        TFree(TMalloc(8));
        EXPECT_EQ(record().peakUsed, 100u);
    }
}

TEST_F(AllocationEntryPoints, ByteTotalsAndTheCallersWordAreNeverTouched) {
    SetMemoryTrackingMode(kAllocationsAndFrees);
    record().userData = 0x1234;
    record().orderingId = 77;
    roundTrip();
    EXPECT_EQ(record().allocated, 0u);
    EXPECT_EQ(record().deallocated, 0u);
    EXPECT_EQ(record().used, 0);
    EXPECT_EQ(record().userData, 0x1234u);
    EXPECT_EQ(record().orderingId, 77u);
}

TEST_F(AllocationEntryPoints, EachThreadCountsIntoItsOwnRecord) {
    SetMemoryTrackingMode(kAllocationsAndFrees);
    Events other{};
    std::thread worker([&] {
        roundTrip(); // no record on this thread yet: not counted anywhere
        kestal::testing::ScopedCounting own(kAllocationsAndFrees);
        roundTrip();
        other = own.events();
    });
    worker.join();
    EXPECT_EQ(other, Events(2, 2));
    EXPECT_EQ(events(), Events(0, 0));
}

} // namespace
