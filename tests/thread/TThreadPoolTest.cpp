// The pool: accounting of kind 0 under races, draining and late workers after JoinAll, captured
// state released between items, and the process-wide pool's life. Threads are held by gates and
// ordered by events; every wait is bounded.
#include "SyncTestSupport.h"

#include <atomic>
#include <kestal/TThreadPool.h>
#include <memory>
#include <thread>
#include <vector>

#if defined(__SANITIZE_THREAD__)
#define KESTAL_TSAN 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define KESTAL_TSAN 1
#endif
#endif

namespace {

using namespace kestal::testing;
using std::chrono::milliseconds;
constexpr auto kAlways = TThreadPoolWork::AlwaysQueue;
constexpr auto kIfFree = TThreadPoolWork::RefuseIfBusy;

// Counts its destruction: tells a refused or finished item's captures from a lost one.
struct Token {
    std::atomic<int>* destroyed;
    ~Token() { destroyed->fetch_add(1); }
};

TEST(TThreadPool, EveryItemRunsExactlyOnce) {
#ifdef KESTAL_TSAN
    constexpr int kPerProducer = 200000;
#else
    constexpr int kPerProducer = 500000;
#endif
    constexpr int kProducers = 4;
    std::vector<std::atomic<unsigned char>> slots(kProducers * kPerProducer);
    TThreadPool pool(3);
    std::vector<std::thread> producers;
    for (int p = 0; p < kProducers; ++p)
        producers.emplace_back([&, p] {
            for (int i = p * kPerProducer; i < (p + 1) * kPerProducer; ++i)
                pool.AddWork([slot = &slots[i]] { slot->fetch_add(1, std::memory_order_relaxed); }, kAlways);
        });
    for (std::thread& t : producers)
        t.join();
    ASSERT_TRUE(pool.JoinAll(kBound));
    EXPECT_EQ(pool.GetThreadPoolUseCount(), 0u);
    std::size_t wrong = 0;
    for (auto const& slot : slots)
        wrong += slot.load() != 1;
    EXPECT_EQ(wrong, 0u);
}

// Kind 0 racing on held workers never takes more than there are threads, and a refusal gives its
// count back: whatever the race took, sequential calls take exactly the rest.
TEST(TThreadPool, RefusalRaceTakesNoMoreThanTheThreads) {
    constexpr unsigned kThreads = 3;
    constexpr int kRounds = 20, kProducers = 4, kTries = 2;
    for (int round = 0; round < kRounds; ++round) {
        TEvent gate;
        std::atomic<int> ran{0}, destroyed{0}, taken{0};
        TThreadPool pool(kThreads);
        auto item = [&] {
            return [&, token = std::shared_ptr<Token>(new Token{&destroyed})] { gate.Wait(kBound), ++ran; };
        };
        TCountdownEvent ready(kProducers);
        std::vector<std::thread> producers;
        for (int p = 0; p < kProducers; ++p)
            producers.emplace_back([&] {
                ready.Signal(), ready.Wait(kBound);
                for (int i = 0; i < kTries; ++i)
                    taken += pool.AddWork(item(), kIfFree);
            });
        for (std::thread& t : producers)
            t.join();
        ASSERT_LE(taken.load(), static_cast<int>(kThreads));
        EXPECT_EQ(destroyed.load(), kProducers * kTries - taken.load()); // refused: gone, unrun
        int rest = 0;
        while (pool.AddWork(item(), kIfFree))
            ++rest;
        EXPECT_EQ(taken + rest, static_cast<int>(kThreads));
        EXPECT_TRUE(pool.AddWork(item(), kAlways));
        EXPECT_EQ(pool.GetThreadPoolUseCount(), kThreads + 1);
        gate.Signal();
        ASSERT_TRUE(pool.JoinAll(kBound));
        EXPECT_EQ(ran.load(), static_cast<int>(kThreads) + 1);
        EXPECT_EQ(destroyed.load(), kProducers * kTries + rest + 2);
    }
}

TEST(TThreadPool, JoinAllRunsEveryItemTakenBeforeIt) {
    std::atomic<long> ran{0}, accepted{0};
    TThreadPool pool(2);
    TCountdownEvent producing(3);
    std::vector<std::thread> producers;
    for (int p = 0; p < 3; ++p)
        producers.emplace_back([&] {
            // Bounded: readers are preferred, so JoinAll may wait until the producers pause.
            for (int i = 0; i < 20000 && pool.AddWork([&] { ++ran; }, kAlways); ++i) {
                ++accepted;
                if (i == 0) producing.Signal();
            }
        });
    RequireSignalled(producing, "producers started");
    ASSERT_TRUE(pool.JoinAll(kBound));
    const long ranAtJoin = ran.load();
    for (std::thread& t : producers)
        t.join();
    EXPECT_EQ(ranAtJoin, accepted.load());
    EXPECT_FALSE(pool.AddWork({}, kIfFree)); // closed is tested before the empty function
}

// A timed-out JoinAll leaves the pool closed; destroying it doesn't wait, and the late workers
// still drain the queue and run their stop functions on their own copies.
TEST(TThreadPool, WorkersOutliveATimedOutPool) {
    TEvent gate;
    std::atomic<int> ran{0};
    auto stopped = std::make_shared<TCountdownEvent>(2); // the workers outlive this frame's events
    auto pool = std::make_unique<TThreadPool>(2, nullptr, [stopped] { stopped->Signal(); });
    for (int i = 0; i < 10; ++i)
        pool->AddWork([&] { gate.Wait(kBound), ++ran; }, kAlways);
    EXPECT_FALSE(pool->JoinAll(milliseconds(0)));
    EXPECT_FALSE(pool->JoinAll(kBound)); // only the first joins
    EXPECT_FALSE(pool->AddWork([] {}, kAlways));
    EXPECT_EQ(pool->GetNumberOfThreads(), 2u);
    pool.reset();
    gate.Signal();
    RequireSignalled(*stopped, "late workers stopped");
    EXPECT_EQ(ran.load(), 10);
}

TEST(TThreadPool, ItemCapturesDieBeforeTheWorkerSleeps) {
    TEvent released;
    TThreadPool pool(1);
    std::shared_ptr<int> held(new int, [&](int* p) { delete p, released.Signal(); });
    std::weak_ptr<int> watch = held;
    pool.AddWork([held = std::move(held)] {}, kAlways);
    RequireSignalled(released, "capture released with no further work");
    EXPECT_TRUE(watch.expired());
}

TEST(TThreadPool, KindsIdentityAndNames) {
    TEvent gate, inside;
    std::atomic<bool> onWorker{false};
    TThreadPool pool(2, u"abcdefghijklmno");
    EXPECT_TRUE(pool.AddWork(
        [&] { onWorker = pool.IsThreadPoolThread(), inside.Signal(), gate.Wait(kBound); }, kIfFree));
    EXPECT_TRUE(pool.AddWork([&] { gate.Wait(kBound); }, kIfFree));
    EXPECT_FALSE(pool.AddWork([] {}, static_cast<TThreadPoolWork>(-1))); // acts as kind 0
    ExpectSite([&] { pool.AddWork({}, kAlways); }, 0x05F20444, "main/thread/TThreadPool", 134);
    EXPECT_EQ(pool.GetThreadPoolUseCount(), 2u);
    RequireSignalled(inside, "first item running");
    EXPECT_TRUE(onWorker.load());
    EXPECT_FALSE(pool.IsThreadPoolThread());
    gate.Signal();
    EXPECT_TRUE(pool.JoinAll(kBound)); // the assertion released the read lock

    for (auto [name, format] : {std::pair{u"abcdefghijklmno", u"abcdefghij-%X"},
                                {u"abcdefghij", u"abcdefghij-%X"},
                                {u"", u"-%X"},
                                {nullptr, u"vel-pool-%X"}}) {
        TThreadPool empty = name ? TThreadPool(0, name) : TThreadPool(0); // no worker to say all-done
        EXPECT_EQ(empty.GetThreadNameFormat(), format);
        EXPECT_FALSE(empty.JoinAll(milliseconds(1))); // else its destructor would never return
    }
}

TEST(TThreadPool, ProcessPoolLife) {
    TThreadPool::Configure(0);
    ExpectSite([] { TThreadPool::Get(); }, 0x425D0794, "main/thread/TThreadPool", 63);
    EXPECT_EQ(TestHooks::SwapThreadPool(nullptr), nullptr);
    EXPECT_TRUE(TThreadPool::Shutdown(milliseconds(0)));

    std::atomic<int> starts{0}, stops{0};
    std::vector<TStringCore> logged; // under the pool mutex
    TThreadPool::Configure(
        2, [&] { ++starts; }, [&] { ++stops; }, [&](TStringCore line) { logged.push_back(line); });
    TThreadPool::Get();
    std::vector<std::thread> racers;
    for (int t = 0; t < 4; ++t)
        racers.emplace_back([t] {
            for (int i = 0; i < 20; ++i)
                t % 2 ? (void)TThreadPool::Get()
                      : (void)TThreadPool::Shutdown(kBound); // the pool may go at once
        });
    for (std::thread& t : racers)
        t.join();
    EXPECT_TRUE(TThreadPool::Shutdown(kBound));
    EXPECT_EQ(starts.load(), 2 * static_cast<int>(logged.size())); // each pool joined, deleted once
    EXPECT_EQ(stops.load(), starts.load());

    TThreadPool::Configure(3, {}, {}, [&](TStringCore line) { logged.push_back(line); });
    EXPECT_EQ(TThreadPool::Get().GetNumberOfThreads(), 3u);
    EXPECT_EQ(logged.back(), u"Started thread pool with: 3 threads");
    const int started = starts.load();
    EXPECT_TRUE(TThreadPool::Shutdown(kBound));
    EXPECT_EQ(starts.load(), started); // the new pool took the new, empty, functions
    TThreadPool::Configure(0);
}

} // namespace
