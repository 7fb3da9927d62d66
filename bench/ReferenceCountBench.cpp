// RefCntPtr against std::shared_ptr: copy and drop, two moves, and making a new object, first while
// the process has one thread, then after a thread has run (atomic counts from then on), then four
// threads copying and dropping one pointer. Keep the registration order: the single-threaded rows
// must run before any thread starts, and they refuse to run otherwise.
#include <benchmark/benchmark.h>
#include <kestal/ReferenceCount.h>
#include <memory>
#include <thread>

namespace {

struct Counted : RefCntObject {
    int value = 0;
};
struct Plain {
    int value = 0;
};

enum Mode { SingleThreaded, AfterThread };

bool ready(benchmark::State& state, Mode mode) {
    if (mode == AfterThread) {
        std::thread([] {}).join();
        return true;
    }
    if (kestal::detail::ProcessIsSingleThreaded()) return true;
    state.SkipWithError("a thread has already run");
    return false;
}

template <class Ptr>
void CopyDrop(benchmark::State& state, Ptr p, Mode mode) {
    if (!ready(state, mode)) return;
    for (auto _ : state) {
        Ptr copy(p);
        benchmark::DoNotOptimize(copy);
    }
}

template <class Ptr>
void Move(benchmark::State& state, Ptr p, Mode mode) {
    if (!ready(state, mode)) return;
    for (auto _ : state) {
        Ptr moved(std::move(p));
        benchmark::DoNotOptimize(moved);
        p = std::move(moved);
        benchmark::DoNotOptimize(p);
    }
}

template <class Make>
void MakeDrop(benchmark::State& state, Make make, Mode mode) {
    if (!ready(state, mode)) return;
    for (auto _ : state) {
        auto p = make();
        benchmark::DoNotOptimize(p);
    }
}

const auto makeKestal = [] { return MakeRefCnt<Counted>(); };
const auto makeShared = [] { return std::make_shared<Plain>(); };

void registerRows(char const* suffix, Mode mode) {
    auto name = [suffix](char const* op, char const* impl) { return std::string(op) + suffix + "/" + impl; };
    benchmark::RegisterBenchmark(name("CopyDrop", "kestal").c_str(), CopyDrop<RefCntPtr<Counted>>,
                                 makeKestal(), mode);
    benchmark::RegisterBenchmark(name("CopyDrop", "shared_ptr").c_str(), CopyDrop<std::shared_ptr<Plain>>,
                                 makeShared(), mode);
    benchmark::RegisterBenchmark(name("Move", "kestal").c_str(), Move<RefCntPtr<Counted>>, makeKestal(),
                                 mode);
    benchmark::RegisterBenchmark(name("Move", "shared_ptr").c_str(), Move<std::shared_ptr<Plain>>,
                                 makeShared(), mode);
    benchmark::RegisterBenchmark(name("Make", "kestal").c_str(), MakeDrop<decltype(makeKestal)>, makeKestal,
                                 mode);
    benchmark::RegisterBenchmark(name("Make", "shared_ptr").c_str(), MakeDrop<decltype(makeShared)>,
                                 makeShared, mode);
}

// Four threads copy and drop copies of one pointer: the count's cache line moves between cores.
RefCntPtr<Counted> g_kestal = makeKestal();
std::shared_ptr<Plain> g_shared = makeShared();

template <class Ptr>
void ContendedCopyDrop(benchmark::State& state, Ptr const* p) {
    for (auto _ : state) {
        Ptr copy(*p);
        benchmark::DoNotOptimize(copy);
    }
}

const int s_registered = [] {
    registerRows("", SingleThreaded);
    registerRows("AfterThread", AfterThread);
    benchmark::RegisterBenchmark("CopyDrop4Threads/kestal", ContendedCopyDrop<RefCntPtr<Counted>>, &g_kestal)
        ->Threads(4)
        ->UseRealTime();
    benchmark::RegisterBenchmark("CopyDrop4Threads/shared_ptr", ContendedCopyDrop<std::shared_ptr<Plain>>,
                                 &g_shared)
        ->Threads(4)
        ->UseRealTime();
    return 0;
}();

} // namespace
