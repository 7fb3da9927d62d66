// Tasks. ParallelForThread over 1M cheap indices (out[i] = 3 * i + 1) on 1 and 2 threads, beside
// oneTBB parallel_for, a plain std::thread split and a oneTBB task_group with one task per index
// (the same shape as ours); the share of indices run by workers is reported. One task's round trip
// (a derived state scheduled on a 2-thread pool, Wait, CheckForException) beside a plain std::thread
// pool answering a std::promise<void>, counting rounds over 16 ms. ThrowIfCancelled on an unset
// event beside std::stop_token::stop_requested, on 1 and 2 threads.
#include "PlainPool.h"

#include <atomic>
#include <benchmark/benchmark.h>
#include <cstdint>
#include <functional>
#include <future>
#include <kestal/AsyncTask.h>
#include <oneapi/tbb/blocked_range.h>
#include <oneapi/tbb/parallel_for.h>
#include <oneapi/tbb/task_arena.h>
#include <oneapi/tbb/task_group.h>
#include <stop_token>
#include <thread>
#include <vector>

namespace {

constexpr std::uint64_t kIndices = 1000000;
using Clock = std::chrono::steady_clock;

std::vector<std::uint64_t>& Out() {
    static std::vector<std::uint64_t> s_out(kIndices);
    return s_out;
}

void ParallelForKestal(benchmark::State& state) {
    const auto threads = static_cast<unsigned>(state.range(0));
    std::uint64_t* out = Out().data();
    for (auto _ : state)
        ParallelForThread(threads, 0, kIndices, [out](unsigned long long i) { out[i] = 3 * i + 1; });
    // Untimed: how many indices the workers took.
    std::atomic<std::uint64_t> byWorkers{0};
    const std::thread::id caller = std::this_thread::get_id();
    ParallelForThread(threads, 0, kIndices, [&](unsigned long long i) {
        out[i] = 3 * i + 1;
        if (std::this_thread::get_id() != caller) byWorkers.fetch_add(1, std::memory_order_relaxed);
    });
    state.counters["worker_share"] = static_cast<double>(byWorkers.load()) / kIndices;
}

void ParallelForTbb(benchmark::State& state) {
    tbb::task_arena arena(static_cast<int>(state.range(0)));
    std::uint64_t* out = Out().data();
    for (auto _ : state)
        arena.execute([&] {
            tbb::parallel_for(tbb::blocked_range<std::uint64_t>(0, kIndices), [out](auto const& r) {
                for (std::uint64_t i = r.begin(); i != r.end(); ++i)
                    out[i] = 3 * i + 1;
            });
        });
}

void ParallelForSplit(benchmark::State& state) {
    const auto threads = static_cast<std::uint64_t>(state.range(0));
    std::uint64_t* out = Out().data();
    for (auto _ : state) {
        std::vector<std::thread> workers;
        for (std::uint64_t t = 0; t < threads; ++t)
            workers.emplace_back([=] {
                for (std::uint64_t i = kIndices * t / threads; i < kIndices * (t + 1) / threads; ++i)
                    out[i] = 3 * i + 1;
            });
        for (std::thread& w : workers)
            w.join();
    }
}

void ParallelForTaskGroup(benchmark::State& state) {
    tbb::task_arena arena(static_cast<int>(state.range(0)));
    std::uint64_t* out = Out().data();
    for (auto _ : state)
        arena.execute([&] {
            tbb::task_group group;
            for (std::uint64_t i = 0; i < kIndices; ++i)
                group.run([out, i] { out[i] = 3 * i + 1; });
            group.wait();
        });
}

struct EmptyState : AsyncTask::SharedStateBase {
    void Execute() override { MarkAsReady(); }
};

void CountSlowRound(benchmark::State& state, Clock::time_point start, std::uint64_t& slow) {
    if (Clock::now() - start > std::chrono::milliseconds(16)) ++slow;
    state.counters["rounds_over_16ms"] = static_cast<double>(slow);
}

void RoundTripKestal(benchmark::State& state) {
    TThreadPool pool(2);
    std::uint64_t slow = 0;
    for (auto _ : state) {
        const Clock::time_point start = Clock::now();
        auto task = std::make_shared<EmptyState>();
        AsyncTask::ScheduleOnThreadPool(
            pool, [task] { task->Execute(); }, AsyncTask::Launch::Queue);
        task->Wait();
        task->CheckForException();
        CountSlowRound(state, start, slow);
    }
}

void RoundTripPromise(benchmark::State& state) {
    PlainPool pool(2);
    std::uint64_t slow = 0;
    for (auto _ : state) {
        const Clock::time_point start = Clock::now();
        auto promise = std::make_shared<std::promise<void>>();
        std::future<void> future = promise->get_future();
        pool.Post([promise] { promise->set_value(); });
        future.get();
        CountSlowRound(state, start, slow);
    }
}

void ThrowIfCancelledKestal(benchmark::State& state) {
    AsyncTask::Cancel::Create();
    for (auto _ : state)
        AsyncTask::Cancel::ThrowIfCancelled();
    AsyncTask::Cancel::Set(nullptr);
}

void StopRequested(benchmark::State& state) {
    static std::stop_source s_source;
    std::stop_token token = s_source.get_token();
    for (auto _ : state)
        benchmark::DoNotOptimize(token.stop_requested());
}

} // namespace

BENCHMARK(ParallelForKestal)
    ->Name("ParallelFor/kestal")
    ->Arg(1)
    ->Arg(2)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(ParallelForTbb)
    ->Name("ParallelFor/tbb_parallel_for")
    ->Arg(1)
    ->Arg(2)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(ParallelForSplit)
    ->Name("ParallelFor/std_thread_split")
    ->Arg(1)
    ->Arg(2)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(ParallelForTaskGroup)
    ->Name("ParallelFor/tbb_task_group")
    ->Arg(1)
    ->Arg(2)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(RoundTripKestal)->Name("RoundTrip/kestal")->UseRealTime();
BENCHMARK(RoundTripPromise)->Name("RoundTrip/std_promise")->UseRealTime();
BENCHMARK(ThrowIfCancelledKestal)->Name("ThrowIfCancelled/kestal")->Threads(1)->Threads(2);
BENCHMARK(StopRequested)->Name("ThrowIfCancelled/stop_token")->Threads(1)->Threads(2);
