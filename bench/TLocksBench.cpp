// Lock and unlock pairs of TRecursiveMutex against std::recursive_mutex, and of TReadWriteLock
// against std::shared_mutex: uncontended on one thread, then two threads on one lock (all writes,
// and read-mostly with one write in eight). Two-thread rows are worth reading as medians of
// several repetitions.
#include <benchmark/benchmark.h>
#include <kestal/TLocks.h>
#include <mutex>
#include <shared_mutex>

namespace {

template <class Mutex>
void Pair(benchmark::State& state) {
    Mutex m;
    for (auto _ : state) {
        m.lock();
        benchmark::ClobberMemory();
        m.unlock();
    }
}

template <class Lock>
void ReadPair(benchmark::State& state) {
    Lock lock;
    for (auto _ : state) {
        lock.lock_shared();
        benchmark::ClobberMemory();
        lock.unlock_shared();
    }
}

// One lock shared by the benchmark's threads; each increments a counter under it.
template <class Lock>
struct Shared {
    static Lock lock;
    static long counter;
};
template <class Lock>
Lock Shared<Lock>::lock;
template <class Lock>
long Shared<Lock>::counter = 0;

template <class Lock>
void ContendedWrite(benchmark::State& state) {
    for (auto _ : state) {
        std::lock_guard<Lock> hold(Shared<Lock>::lock);
        ++Shared<Lock>::counter;
    }
}

template <class Lock>
void ReadMostly(benchmark::State& state) {
    long seen = 0;
    unsigned int i = 0;
    for (auto _ : state) {
        if ((++i & 7) == 0) {
            std::lock_guard<Lock> hold(Shared<Lock>::lock);
            ++Shared<Lock>::counter;
        } else {
            std::shared_lock<Lock> hold(Shared<Lock>::lock);
            seen += Shared<Lock>::counter;
        }
    }
    benchmark::DoNotOptimize(seen);
}

} // namespace

BENCHMARK(Pair<TRecursiveMutex>)->Name("RecursiveMutexPair/kestal");
BENCHMARK(Pair<std::recursive_mutex>)->Name("RecursiveMutexPair/std_recursive_mutex");
BENCHMARK(Pair<TReadWriteLock>)->Name("WritePair/kestal");
BENCHMARK(Pair<std::shared_mutex>)->Name("WritePair/std_shared_mutex");
BENCHMARK(ReadPair<TReadWriteLock>)->Name("ReadPair/kestal");
BENCHMARK(ReadPair<std::shared_mutex>)->Name("ReadPair/std_shared_mutex");
BENCHMARK(ContendedWrite<TRecursiveMutex>)->Name("ContendedMutex/kestal")->Threads(2)->UseRealTime();
BENCHMARK(ContendedWrite<std::recursive_mutex>)
    ->Name("ContendedMutex/std_recursive_mutex")
    ->Threads(2)
    ->UseRealTime();
BENCHMARK(ContendedWrite<TReadWriteLock>)->Name("ContendedWrite/kestal")->Threads(2)->UseRealTime();
BENCHMARK(ContendedWrite<std::shared_mutex>)
    ->Name("ContendedWrite/std_shared_mutex")
    ->Threads(2)
    ->UseRealTime();
BENCHMARK(ReadMostly<TReadWriteLock>)->Name("ReadMostly/kestal")->Threads(2)->UseRealTime();
BENCHMARK(ReadMostly<std::shared_mutex>)->Name("ReadMostly/std_shared_mutex")->Threads(2)->UseRealTime();
