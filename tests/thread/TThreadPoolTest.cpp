// The pool: items lost or doubled under racing producers, kind 0 racing for the last free threads,
// JoinAll racing producers or timing out, captures released between items, and the process-wide
// pool's life. Threads are held by events, never ordered by sleeps; every wait is bounded.
#include "SyncTestSupport.h"

#include <algorithm>
#include <atomic>
#include <kestal/TThreadPool.h>
#include <memory>
#include <thread>
#include <vector>

namespace {

using namespace kestal::testing;
using std::chrono::milliseconds;
constexpr auto kAlways = TThreadPoolWork::AlwaysQueue;
constexpr auto kIfFree = TThreadPoolWork::RefuseIfBusy;

TEST(TThreadPool, EveryItemRunsExactlyOnce) {
#ifdef __SANITIZE_THREAD__
    constexpr int kPerProducer = 200000;
#else
    constexpr int kPerProducer = 500000;
#endif
    std::vector<std::atomic<unsigned char>> slots(4 * kPerProducer);
    TThreadPool pool(3);
    {
        std::vector<std::jthread> producers;
        for (int p = 0; p < 4; ++p)
            producers.emplace_back([&, p] {
                for (int i = p * kPerProducer; i < (p + 1) * kPerProducer; ++i)
                    pool.AddWork([slot = &slots[i]] { slot->fetch_add(1, std::memory_order_relaxed); },
                                 kAlways);
            });
    }
    ASSERT_TRUE(pool.JoinAll(kBound));
    EXPECT_EQ(pool.GetThreadPoolUseCount(), 0u);
    EXPECT_EQ(std::count_if(slots.begin(), slots.end(), [](auto const& s) { return s.load() != 1; }), 0);
}

// Kind 0 racing on held workers never takes more than there are threads; a refusal gives its count
// back and destroys the item unrun, so sequential calls then take exactly the rest.
TEST(TThreadPool, RefusalRaceTakesNoMoreThanTheThreads) {
    constexpr int kThreads = 3, kProducers = 4, kTries = 2;
    for (int round = 0; round < 20; ++round) {
        TEvent gate;
        std::atomic<int> ran{0}, destroyed{0}, taken{0};
        TThreadPool pool(kThreads);
        auto item = [&] {
            return [&, token = std::shared_ptr<void>(nullptr, [&](void*) { ++destroyed; })] {
                gate.Wait(kBound), ++ran;
            };
        };
        {
            TCountdownEvent ready(kProducers);
            std::vector<std::jthread> producers;
            for (int p = 0; p < kProducers; ++p)
                producers.emplace_back([&] {
                    ready.Signal(), ready.Wait(kBound);
                    for (int i = 0; i < kTries; ++i)
                        taken += pool.AddWork(item(), kIfFree);
                });
        }
        ASSERT_LE(taken.load(), kThreads);
        EXPECT_EQ(destroyed.load(), kProducers * kTries - taken.load());
        int rest = 0;
        while (pool.AddWork(item(), kIfFree))
            ++rest;
        EXPECT_EQ(taken + rest, kThreads);
        EXPECT_FALSE(pool.AddWork(item(), static_cast<TThreadPoolWork>(-1))); // acts as kind 0
        EXPECT_TRUE(pool.AddWork(item(), kAlways));
        EXPECT_EQ(pool.GetThreadPoolUseCount(), kThreads + 1u);
        gate.Signal();
        ASSERT_TRUE(pool.JoinAll(kBound));
        EXPECT_EQ(ran.load(), kThreads + 1);
        EXPECT_EQ(destroyed.load(), kProducers * kTries + rest + 3);
    }
}

TEST(TThreadPool, JoinAllRunsEveryItemTakenBeforeIt) {
    std::atomic<long> ran{0}, accepted{0};
    TThreadPool pool(2);
    TCountdownEvent producing(3);
    long ranAtJoin = 0;
    {
        std::vector<std::jthread> producers;
        for (int p = 0; p < 3; ++p)
            producers.emplace_back([&] {
                // Bounded: readers are preferred, so JoinAll may wait until the producers pause.
                for (int i = 0; i < 20000 && pool.AddWork([&] { ++ran; }, kAlways); ++i)
                    ++accepted, i == 0 ? producing.Signal() : void();
            });
        RequireSignalled(producing, "producers started");
        ASSERT_TRUE(pool.JoinAll(kBound));
        ranAtJoin = ran.load();
    }
    EXPECT_EQ(ranAtJoin, accepted.load());
    EXPECT_FALSE(pool.AddWork({}, kIfFree)); // closed is tested before the empty function
}

// A timed-out JoinAll leaves the pool closed; destroying it doesn't wait, and the late workers
// still drain the queue and run their stop functions on their own copies.
TEST(TThreadPool, WorkersOutliveATimedOutPool) {
    TEvent gate;
    std::atomic<int> ran{0};
    auto stopped = std::make_shared<TCountdownEvent>(2); // the workers outlive the pool
    auto pool = std::make_unique<TThreadPool>(2, nullptr, [stopped] { stopped->Signal(); });
    for (int i = 0; i < 10; ++i)
        pool->AddWork([&] { gate.Wait(kBound), ++ran; }, kAlways);
    EXPECT_FALSE(pool->JoinAll(milliseconds(0)));
    EXPECT_FALSE(pool->JoinAll(kBound)); // only the first joins
    EXPECT_EQ(pool->GetNumberOfThreads(), 2u);
    pool.reset();
    gate.Signal();
    RequireSignalled(*stopped, "late workers stopped");
    EXPECT_EQ(ran.load(), 10);
}

TEST(TThreadPool, ItemCapturesDieBeforeTheWorkerSleeps) {
    TEvent released, inside;
    TThreadPool pool(1, u"abcdefghijklmno");
    EXPECT_EQ(pool.GetThreadNameFormat(), u"abcdefghij-%X");
    std::atomic<bool> onWorker{false};
    std::shared_ptr<int> held(new int, [&](int* p) { delete p, released.Signal(); });
    pool.AddWork([&, held = std::move(held)] { onWorker = pool.IsThreadPoolThread(); }, kAlways);
    RequireSignalled(released, "capture released with no further work");
    EXPECT_TRUE(onWorker.load());
    EXPECT_FALSE(pool.IsThreadPoolThread());
    ExpectSite([&] { pool.AddWork({}, kAlways); }, 0x05F20444, "main/thread/TThreadPool", 134);
    EXPECT_TRUE(pool.JoinAll(kBound)); // the assertion released the read lock

    TThreadPool idle(0); // no worker to say all-done: JoinAll waits out its timeout
    EXPECT_EQ(idle.GetThreadNameFormat(), u"vel-pool-%X");
    EXPECT_FALSE(idle.JoinAll(milliseconds(1)));
}

TEST(TThreadPool, ProcessPoolLife) {
    TThreadPool::Configure(0);
    ExpectSite([] { TThreadPool::Get(); }, 0x425D0794, "main/thread/TThreadPool", 63);
    EXPECT_EQ(TestHooks::SwapThreadPool(nullptr), nullptr);

    std::atomic<int> starts{0}, stops{0};
    std::vector<TStringCore> logged; // under the pool mutex
    auto log = [&](TStringCore line) { logged.push_back(line); };
    TThreadPool::Configure(
        2, [&] { ++starts; }, [&] { ++stops; }, log);
    {
        std::vector<std::jthread> racers; // Get and Shutdown racing: each pool deleted once
        for (int t = 0; t < 4; ++t)
            racers.emplace_back([t] {
                for (int i = 0; i < 20; ++i)
                    t % 2 ? (void)TThreadPool::Get() : (void)TThreadPool::Shutdown(kBound);
            });
    }
    EXPECT_TRUE(TThreadPool::Shutdown(kBound));
    EXPECT_EQ(starts.load(), 2 * static_cast<int>(logged.size()));
    EXPECT_EQ(stops.load(), starts.load());

    TThreadPool::Configure(3, {}, {}, log);
    EXPECT_EQ(TThreadPool::Get().GetNumberOfThreads(), 3u); // the configuration then current
    EXPECT_EQ(logged.back(), u"Started thread pool with: 3 threads");
    EXPECT_TRUE(TThreadPool::Shutdown(kBound));
    EXPECT_EQ(stops.load(), starts.load());
    TThreadPool::Configure(0);
}

} // namespace
