// Task state: its assertion sites, first exception wins under racing writers, one owner per
// deferred state, and exactly-once delivery of ready functions and on-cancel functions.
#include "SyncTestSupport.h"
#include "TaskTestSupport.h"

#include <atomic>
#include <thread>
#include <vector>

namespace {

using namespace kestal::testing;
using std::chrono::milliseconds;

TEST(SharedState, LifecycleAndSites) {
    FunctionState s, fresh;
    EXPECT_FALSE(s.IsReady() || s.HasException() || s.IsCancelled() || s.IsDeferred() ||
                 s.WaitFor(milliseconds(0)));
    EXPECT_FALSE(s.TryTakingDeferredOwnership()); // never deferred
    s.SetDeferred();
    EXPECT_TRUE(s.IsDeferred() && s.TryTakingDeferredOwnership());
    EXPECT_FALSE(s.IsDeferred() || s.TryTakingDeferredOwnership());
    s.SignalCancelEventIfSet(); // no event: nothing
    s.CheckForException();      // no exception: nothing
    ExpectSite([&] { s.AssertIsReady(); }, 0xFCC690FC, "main/thread/SharedState", 125);
    ExpectSite([&] { s.RemoveCancelOnSignalCallback(); }, 0x00BF554A, "public/kestal/ReferenceCount", 342);
    s.SetOnCancelFunction(std::make_unique<std::function<void()>>([] {}));
    ExpectSite([&] { s.SetCancelEvent(nullptr); }, 0x00BF554A, "public/kestal/ReferenceCount", 342);
    fresh.SetCancelEvent(new TCancelEvent);
    ExpectSite([&] { fresh.SetCancelEvent(new TCancelEvent); }, 0xAE2A193B, "main/thread/SharedState", 56);
    s.MarkAsReady();
    s.AssertIsReady();
    EXPECT_TRUE(s.WaitFor(milliseconds(0)));
}

TEST(SharedState, FirstExceptionWinsAndEveryCheckThrowsIt) {
    for (int round = 0; round < 200; ++round) {
        FunctionState s;
        TCountdownEvent start(8);
        std::vector<std::jthread> writers;
        for (int t = 0; t < 8; ++t)
            writers.emplace_back(
                [&, t] { start.Signal(), start.Wait(kBound), s.SetException(std::make_exception_ptr(t)); });
        writers.clear();
        auto thrown = [&] {
            try {
                s.CheckForException();
            } catch (int t) {
                return t;
            }
            return -1;
        };
        const int first = thrown();
        ASSERT_TRUE(first >= 0 && thrown() == first);
    }
}

TEST(SharedState, OneOwnerPerDeferredState) {
    constexpr int kStates = 10000, kThreads = 4;
    std::vector<FunctionState> states(kStates);
    std::vector<std::atomic<int>> wins(kStates);
    for (FunctionState& s : states)
        s.SetDeferred();
    TCountdownEvent start(kThreads);
    std::vector<std::jthread> takers;
    for (int t = 0; t < kThreads; ++t)
        takers.emplace_back([&, t] {
            start.Signal(), start.Wait(kBound);
            for (int i = 0; i < kStates; ++i) {
                const int index = (i + t * kStates / kThreads) % kStates; // start apart, then collide
                if (states[index].TryTakingDeferredOwnership()) ++wins[index];
            }
        });
    takers.clear();
    for (int i = 0; i < kStates; ++i)
        ASSERT_EQ(wins[i].load(), 1) << i;
}

// RunWhenReady races MarkAsReady and a derived cancel races SetCancelEvent: each function runs once.
TEST(SharedState, RacesDeliverExactlyOnce) {
    for (int round = 0; round < 2000; ++round) {
        FunctionState s;
        std::atomic<int> ran{0}, cancelled{0};
        s.SetOnCancelFunction(std::make_unique<std::function<void()>>([&] { ++cancelled; }));
        TCountdownEvent start(2);
        std::jthread other([&] { start.Signal(), start.Wait(kBound), s.MarkAsReady(), s.Cancel(); });
        start.Signal(), start.Wait(kBound);
        s.RunWhenReady([&] { ++ran; });
        s.SetCancelEvent(new TCancelEvent);
        other.join();
        s.RunWhenReady([&] { ++ran; }); // ready: at once
        ASSERT_EQ(ran.load(), 2);
        ASSERT_EQ(cancelled.load(), 1);
    }
}

} // namespace
