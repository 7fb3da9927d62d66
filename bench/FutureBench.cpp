// Typed futures, every kestal row on TThreadPool::Get() configured with kThreads threads, every peer
// pool with as many. One Async + Get round trip beside std::async (a thread per call) and beside a
// plain mutex + condition_variable pool answering a std::promise; Get runs a task no thread has
// started on the waiting thread, so "RoundTripStarted" makes the task start first (the waiter waits
// for a flag the task sets) and shows the round trip no waiter can help. 10,000 tiny tasks joined
// by WhenAll beside a oneTBB task_group in an arena of kThreads. A 1,000-link Then chain beside the
// same chain of std::promise hand-offs on the plain pool, each link waiting for the one before.
#include "PlainPool.h"

#include <algorithm>
#include <atomic>
#include <benchmark/benchmark.h>
#include <cstdint>
#include <functional>
#include <future>
#include <kestal/Future.h>
#include <memory>
#include <oneapi/tbb/task_arena.h>
#include <oneapi/tbb/task_group.h>
#include <thread>
#include <vector>

namespace {

unsigned int const kThreads = std::max(2u, std::thread::hardware_concurrency());
constexpr int kFanOut = 10000;
constexpr int kLinks = 1000;

TThreadPool& KestalPool() {
    static TThreadPool& s_pool = []() -> TThreadPool& {
        TThreadPool::Configure(kThreads);
        return TThreadPool::Get();
    }();
    return s_pool;
}

PlainPool& Plain() {
    static PlainPool s_pool(kThreads);
    return s_pool;
}

void RoundTripKestal(benchmark::State& state) {
    TThreadPool& pool = KestalPool();
    for (auto _ : state)
        benchmark::DoNotOptimize(AsyncTask::Async(pool, [] { return 1; }).Get());
}

void RoundTripStdAsync(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(std::async(std::launch::async, [] { return 1; }).get());
}

void RoundTripPlain(benchmark::State& state) {
    PlainPool& pool = Plain();
    for (auto _ : state) {
        auto promise = std::make_shared<std::promise<int>>();
        std::future<int> future = promise->get_future();
        pool.Post([promise] { promise->set_value(1); });
        benchmark::DoNotOptimize(future.get());
    }
}

// The waiter spins until the task has started, so Get can only wait.
void WaitStarted(std::atomic<bool> const& started) {
    while (!started.load(std::memory_order_acquire))
        std::this_thread::yield();
}

void RoundTripStartedKestal(benchmark::State& state) {
    TThreadPool& pool = KestalPool();
    for (auto _ : state) {
        std::atomic<bool> started{false};
        auto future = AsyncTask::Async(pool, [&started] {
            started.store(true, std::memory_order_release);
            return 1;
        });
        WaitStarted(started);
        benchmark::DoNotOptimize(future.Get());
    }
}

void RoundTripStartedPlain(benchmark::State& state) {
    PlainPool& pool = Plain();
    for (auto _ : state) {
        std::atomic<bool> started{false};
        auto promise = std::make_shared<std::promise<int>>();
        std::future<int> future = promise->get_future();
        pool.Post([promise, &started] {
            started.store(true, std::memory_order_release);
            promise->set_value(1);
        });
        WaitStarted(started);
        benchmark::DoNotOptimize(future.get());
    }
}

void FanOutKestal(benchmark::State& state) {
    TThreadPool& pool = KestalPool();
    for (auto _ : state) {
        std::vector<AsyncTask::Future<int>> futures;
        futures.reserve(kFanOut);
        for (int i = 0; i < kFanOut; ++i)
            futures.push_back(AsyncTask::Async(pool, [i] { return 3 * i + 1; }));
        benchmark::DoNotOptimize(AsyncTask::WhenAll(std::move(futures)).Get());
    }
}

void FanOutTaskGroup(benchmark::State& state) {
    tbb::task_arena arena(static_cast<int>(kThreads));
    std::vector<int> out(kFanOut);
    for (auto _ : state) {
        arena.execute([&] {
            tbb::task_group group;
            for (int i = 0; i < kFanOut; ++i)
                group.run([&out, i] { out[static_cast<std::size_t>(i)] = 3 * i + 1; });
            group.wait();
        });
        benchmark::DoNotOptimize(out.data());
    }
}

void ThenChainKestal(benchmark::State& state) {
    TThreadPool& pool = KestalPool();
    for (auto _ : state) {
        AsyncTask::Future<int> link = AsyncTask::Async(pool, [] { return 0; });
        for (int i = 0; i < kLinks; ++i)
            link = link.Then(pool, [](int v) { return v + 1; });
        benchmark::DoNotOptimize(link.Get());
    }
}

// One promise per link and its future; link i waits on future i and fulfils promise i + 1.
struct PromiseChain {
    std::vector<std::promise<int>> promises = std::vector<std::promise<int>>(kLinks + 1);
    std::vector<std::future<int>> futures;
    PromiseChain() {
        for (std::promise<int>& p : promises)
            futures.push_back(p.get_future());
    }
};

void ThenChainPromise(benchmark::State& state) {
    PlainPool& pool = Plain();
    for (auto _ : state) {
        auto chain = std::make_shared<PromiseChain>();
        pool.Post([chain] { chain->promises.front().set_value(0); });
        for (std::size_t i = 0; i < kLinks; ++i)
            pool.Post([chain, i] { chain->promises[i + 1].set_value(chain->futures[i].get() + 1); });
        benchmark::DoNotOptimize(chain->futures.back().get());
    }
}

} // namespace

BENCHMARK(RoundTripKestal)->Name("RoundTrip/kestal")->UseRealTime();
BENCHMARK(RoundTripStdAsync)->Name("RoundTrip/std_async")->UseRealTime();
BENCHMARK(RoundTripPlain)->Name("RoundTrip/plain_pool_promise")->UseRealTime();
BENCHMARK(RoundTripStartedKestal)->Name("RoundTripStarted/kestal")->UseRealTime();
BENCHMARK(RoundTripStartedPlain)->Name("RoundTripStarted/plain_pool_promise")->UseRealTime();
BENCHMARK(FanOutKestal)->Name("FanOut/kestal")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(FanOutTaskGroup)->Name("FanOut/tbb_task_group")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(ThenChainKestal)->Name("ThenChain/kestal")->UseRealTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(ThenChainPromise)->Name("ThenChain/promise_handoff")->UseRealTime()->Unit(benchmark::kMicrosecond);
