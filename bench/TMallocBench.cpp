// The allocation entry points beside malloc + free: counting off, counting in mode 2 inside a
// MemoryScope (peers: malloc, and our own pair with counting off), and with block sizes too. Then
// one MemoryScope on its own, and InitOnce on a filled slot beside a function-local static.
#include <benchmark/benchmark.h>
#include <cstdlib>
#include <kestal/InitOnce.h>
#include <kestal/MemoryCounter.h>

namespace {

using namespace velmora::memory;

enum class Counting { Off, Events, Sizes };

// Counting as asked for the length of one benchmark, in a scope when it is on.
class Setup {
public:
    explicit Setup(Counting counting)
        : m_oldMode(SetMemoryTrackingMode(
              counting == Counting::Off ? MemoryTrackingMode::Off : MemoryTrackingMode::AllocationsAndFrees))
        , m_oldSizes(SetBlockSizeAccounting(counting == Counting::Sizes)) {
        if (counting != Counting::Off) m_scope = new MemoryScope(m_counter);
    }
    ~Setup() {
        delete m_scope;
        SetBlockSizeAccounting(m_oldSizes);
        SetMemoryTrackingMode(m_oldMode);
    }

private:
    MemoryCounter m_counter;
    MemoryScope* m_scope = nullptr;
    MemoryTrackingMode m_oldMode;
    bool m_oldSizes;
};

void Kestal(benchmark::State& state, Counting counting) {
    const auto size = static_cast<std::size_t>(state.range(0));
    Setup setup(counting);
    for (auto _ : state) {
        void* block = TMalloc(size);
        benchmark::DoNotOptimize(block);
        TFree(block);
    }
}

void Malloc(benchmark::State& state, Counting counting) {
    const auto size = static_cast<std::size_t>(state.range(0));
    Setup setup(counting); // the same setting, though malloc ignores it
    for (auto _ : state) {
        void* block = std::malloc(size);
        benchmark::DoNotOptimize(block);
        std::free(block);
    }
}

void Scope(benchmark::State& state) {
    Setup setup(Counting::Events);
    MemoryCounter counter;
    for (auto _ : state) {
        MemoryScope scope(counter);
        benchmark::DoNotOptimize(&scope);
    }
}

void* s_slot = nullptr;

void FilledSlot(benchmark::State& state) {
    const auto factory = [](void*) { return new boost::any(42); };
    const auto extract = [](boost::any* object) -> void* { return boost::any_cast<int>(object); };
    InitOnce(&s_slot, factory, nullptr, extract);
    for (auto _ : state) {
        InitOnce(&s_slot, factory, nullptr, extract);
        benchmark::DoNotOptimize(s_slot);
    }
}

void LocalStatic(benchmark::State& state) {
    for (auto _ : state) {
        static int* const value = new int(42);
        benchmark::DoNotOptimize(value);
    }
}

const int s_registered = [] {
    for (const long size : {64L, 4096L}) {
        benchmark::RegisterBenchmark("Pair/kestal", Kestal, Counting::Off)->Arg(size);
        benchmark::RegisterBenchmark("Pair/malloc", Malloc, Counting::Off)->Arg(size);
        benchmark::RegisterBenchmark("PairCounted/kestal", Kestal, Counting::Events)->Arg(size);
        benchmark::RegisterBenchmark("PairCounted/malloc", Malloc, Counting::Events)->Arg(size);
        benchmark::RegisterBenchmark("PairCounted/uncounted", Kestal, Counting::Off)->Arg(size);
        benchmark::RegisterBenchmark("PairSized/kestal", Kestal, Counting::Sizes)->Arg(size);
        benchmark::RegisterBenchmark("PairSized/malloc", Malloc, Counting::Sizes)->Arg(size);
    }
    benchmark::RegisterBenchmark("Scope/kestal", Scope);
    benchmark::RegisterBenchmark("InitOnceFilled/kestal", FilledSlot);
    benchmark::RegisterBenchmark("InitOnceFilled/local_static", LocalStatic);
    return 0;
}();

} // namespace
