// The per-call costs of TSystem that callers put on hot paths: ThreadID (cached per thread) beside
// the gettid system call it caches and std::this_thread::get_id, and AppUpTime beside a read of
// std::chrono::steady_clock.
#include <benchmark/benchmark.h>
#include <chrono>
#include <kestal/TSystem.h>
#include <thread>
#include <unistd.h>

namespace {

void ThreadIdKestal(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(TSystem::ThreadID());
}
void ThreadIdGettid(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(gettid());
}
void ThreadIdStd(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(std::this_thread::get_id());
}

void UpTimeKestal(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(TSystem::AppUpTime());
}
void UpTimeSteadyClock(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(std::chrono::steady_clock::now());
}

} // namespace

BENCHMARK(ThreadIdKestal)->Name("ThreadID/kestal");
BENCHMARK(ThreadIdGettid)->Name("ThreadID/gettid");
BENCHMARK(ThreadIdStd)->Name("ThreadID/std_this_thread_get_id");
BENCHMARK(UpTimeKestal)->Name("AppUpTime/kestal");
BENCHMARK(UpTimeSteadyClock)->Name("AppUpTime/steady_clock_now");
