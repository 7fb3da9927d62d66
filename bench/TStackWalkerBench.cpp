// Call-stack capture 20 frames deep beside backtrace and backtrace_symbols gathered into a list by
// hand. "raw" is the default mode (lines as the C library gives them); "cleaned" switches system
// memory addresses off, which runs both regular expressions on every line, against the same peer.
#include <benchmark/benchmark.h>
#include <cstdlib>
#include <execinfo.h>
#include <kestal/TStackWalker.h>
#include <list>
#include <string>

namespace {

std::size_t byHand() {
    void* frames[200];
    const int count = backtrace(frames, 200);
    char** symbols = backtrace_symbols(frames, count);
    std::list<std::string> lines;
    for (int i = 0; i < count; ++i)
        lines.emplace_back(symbols[i]);
    std::free(symbols);
    return lines.size();
}

std::size_t byWalker() {
    TStackWalker walker;
    walker.GenerateCallstack();
    return walker.GetCollected().size();
}

template <class F>
__attribute__((noinline)) std::size_t deep(int depth, F capture) {
    const std::size_t result = depth == 0 ? capture() : deep(depth - 1, capture);
    benchmark::DoNotOptimize(result); // keeps each frame: no tail call
    return result;
}

template <class F>
void run(benchmark::State& state, bool raw, F capture) {
    TStackWalker::InitSym(true);
    TStackWalker::IncludeSystemMemoryAddresses(raw);
    for (auto _ : state)
        benchmark::DoNotOptimize(deep(20, capture));
    TStackWalker::IncludeSystemMemoryAddresses(true);
}

void WalkerRaw(benchmark::State& state) {
    run(state, true, byWalker);
}
void WalkerCleaned(benchmark::State& state) {
    run(state, false, byWalker);
}
void BacktraceByHand(benchmark::State& state) {
    run(state, true, byHand);
}

} // namespace

BENCHMARK(WalkerRaw)->Name("GenerateCallstack/kestal/20deep/raw");
BENCHMARK(BacktraceByHand)->Name("GenerateCallstack/backtrace/20deep/raw");
BENCHMARK(WalkerCleaned)->Name("GenerateCallstack/kestal/20deep/cleaned");
BENCHMARK(BacktraceByHand)->Name("GenerateCallstack/backtrace/20deep/cleaned");
