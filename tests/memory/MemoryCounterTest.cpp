// Scopes, their chain, block sizes and the shared totals records fold into.
#include <algorithm>
#include <array>
#include <gtest/gtest.h>
#include <kestal/MemoryCounter.h>
#include <malloc.h>
#include <numeric>
#include <optional>
#include <thread>
#include <vector>

namespace {

using namespace velmora::memory;
constexpr auto kFrees = MemoryTrackingMode::AllocationsAndFrees;

// Mode and block-size accounting for the test's duration, put back afterwards.
struct ScopedAccounting {
    explicit ScopedAccounting(MemoryTrackingMode mode, bool sizes = false)
        : oldMode(SetMemoryTrackingMode(mode))
        , oldSizes(SetBlockSizeAccounting(sizes)) {}
    ~ScopedAccounting() { SetBlockSizeAccounting(oldSizes), SetMemoryTrackingMode(oldMode); }
    MemoryTrackingMode oldMode;
    bool oldSizes;
};

ThreadMemoryCounters* current() {
    ThreadMemoryCounters* cur = SwapPushMemoryCounters(nullptr);
    return SwapPushMemoryCounters(cur), cur;
}

using Totals = std::array<std::uint64_t, 5>;
Totals totals(MemoryCounter const& c) {
    return {c.Allocated(), c.Deallocated(), c.AllocatedPeakUsed(), c.AllocatedCount(), c.DeallocatedCount()};
}

TEST(MemoryScope, EveryEndOrderOfFourNestedScopesKeepsTheChainOfLiveRecords) {
    ScopedAccounting accounting(kFrees);
    ThreadMemoryCounters outer;
    // Below the scopes: nothing (the oldest scope then restores null), or a record of the caller's.
    for (ThreadMemoryCounters* below : {static_cast<ThreadMemoryCounters*>(nullptr), &outer}) {
        ThreadMemoryCounters* const saved = SwapPushMemoryCounters(below);
        std::array<int, 4> order{0, 1, 2, 3};
        do {
            MemoryCounter counter;
            std::array<std::optional<MemoryScope>, 4> scopes;
            for (auto& scope : scopes)
                scope.emplace(counter), TFree(TMalloc(8));
            for (int n = 0; n < 4; ++n) {
                scopes[order[n]].reset();
                std::vector<ThreadMemoryCounters const*> chain, live;
                for (int i = 3; i >= 0; --i)
                    if (scopes[i]) live.push_back(&scopes[i]->Counters());
                if (below) live.push_back(below);
                for (ThreadMemoryCounters* r = current(); r && chain.size() < 6; r = r->next)
                    chain.push_back(r);
                ASSERT_EQ(chain, live)
                    << "order " << order[0] << order[1] << order[2] << order[3] << ", end " << n;
                if (n < 3) TFree(TMalloc(8)); // into the newest live scope
            }
            EXPECT_EQ(totals(counter), (Totals{0, 0, 0, 7, 7})); // every event in exactly one scope
        } while (std::next_permutation(order.begin(), order.end()));
        EXPECT_EQ(SwapPushMemoryCounters(saved), below);
    }
    EXPECT_EQ(outer.allocatedCount, 0u);
}

TEST(MemoryScope, BlockSizesGiveBytesAndANestedPeakOnTopOfTheEnclosingUse) {
    ScopedAccounting accounting(kFrees, true);
    void* early = TMalloc(700); // not counted: freeing it in a scope would take `used` below 0
    const std::uint64_t e = malloc_usable_size(early);
    EXPECT_EQ(GetPointerSize(early), e);
    MemoryCounter counter;
    std::uint64_t a = 0, b = 0, c = 0;
    {
        MemoryScope outer(counter);
        void* blockA = TMalloc(300);
        a = malloc_usable_size(blockA);
        {
            MemoryScope inner(counter);
            void* blockB = TCalloc(50, 100);
            b = malloc_usable_size(blockB);
            void* blockC = TRealloc(blockB, 20);
            c = malloc_usable_size(blockC);
            TFree(blockC);
            TFree(early);
            EXPECT_EQ(inner.Counters().used, 0); // clamped, never negative
            TTrackMalloc(&counter, 64);          // another allocator's block: counted, never measured
        }
        TFree(blockA);
    }
    EXPECT_EQ(totals(counter), (Totals{a + b + c, a + b + c + e, a + b, 4, 4}));
    SetBlockSizeAccounting(false);
    EXPECT_EQ(GetPointerSize(&counter), 0u);
}

TEST(MemoryCounter, AccumulateFollowsTheModeAndOnlyRaisesThePeak) {
    ThreadMemoryCounters record;
    record.allocated = 100, record.deallocated = 40, record.peakUsed = 70;
    record.allocatedCount = 5, record.deallocatedCount = 3;
    for (auto [mode, expected] : {std::pair{0u, Totals{}},
                                  {1u, Totals{200, 0, 0, 10, 0}},
                                  {2u, Totals{200, 80, 100, 10, 6}},
                                  {3u, Totals{}}}) {
        ScopedAccounting accounting(static_cast<MemoryTrackingMode>(mode));
        MemoryCounter counter;
        counter.Accumulate(record, 30); // the second, lower peak must not lower the first
        counter.Accumulate(record, 0);
        EXPECT_EQ(totals(counter), expected) << mode;
        counter.Reset();
        EXPECT_EQ(totals(counter), Totals{});
    }
}

TEST(MemoryCounter, PrintsTheTotalsInTheirFixedLayout) {
    ScopedAccounting accounting(kFrees);
    MemoryCounter counter;
    ThreadMemoryCounters record;
    record.allocated = 123456789012, record.deallocated = 7, record.peakUsed = 4000000000;
    record.allocatedCount = 4294967295u, record.deallocatedCount = 12;
    for (char const* expected :
         {"\n===\n  allocated=00000000,   allocatedCount=00000000,  allocatedPeakUsed=00000000\n"
          "deallocated=00000000, deallocatedCount=00000000\n",
          "\n===\n  allocated=123456789012,   allocatedCount=4294967295,  allocatedPeakUsed=4000000001\n"
          "deallocated=00000007, deallocatedCount=00000012\n"}) {
        ::testing::internal::CaptureStdout();
        counter.PrintToConsole();
        EXPECT_EQ(::testing::internal::GetCapturedStdout(), expected);
        counter.Accumulate(record, 1);
    }
}

TEST(MemoryCounter, ScopesOnEightThreadsLoseNoUpdate) {
    ScopedAccounting accounting(kFrees, true);
    constexpr int kThreads = 8, kScopes = 100000;
    MemoryCounter counter;
    std::array<std::uint64_t, kThreads> bytes{}, peaks{};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < kScopes; ++i) {
                MemoryScope scope(counter);
                void* block = TMalloc(static_cast<std::size_t>(16 * ((i * 7 + t) % 64) + t));
                bytes[t] += malloc_usable_size(block);
                peaks[t] = std::max<std::uint64_t>(peaks[t], malloc_usable_size(block));
                TFree(block);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    const std::uint64_t sum = std::accumulate(bytes.begin(), bytes.end(), std::uint64_t{0});
    EXPECT_EQ(totals(counter), (Totals{sum, sum, *std::max_element(peaks.begin(), peaks.end()),
                                       kThreads * kScopes, kThreads * kScopes}));
}

} // namespace
