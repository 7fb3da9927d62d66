// An uncontended Acquire and Release of TSemaphore beside sem_wait/sem_post on an unnamed sem_t and
// std::counting_semaphore holding 2 units (holding 1, its release makes a system call every time), and a
// TSemaphoreScope round trip with the pointer moved in or copied, beside the sem_t pair. Either
// scope row adds and drops one reference: the scope gives its pointer up when it releases.
#include <benchmark/benchmark.h>
#include <kestal/TSemaphore.h>
#include <semaphore.h>
#include <semaphore>
#include <utility>

namespace {

using Semaphore = RefCntPtr<TSemaphore, RefCntObject>;

void PairKestal(benchmark::State& state) {
    const Semaphore s = TSemaphore::Construct(1);
    for (auto _ : state) {
        s->Acquire();
        s->Release();
    }
}

void PairSemT(benchmark::State& state) {
    sem_t s;
    sem_init(&s, 0, 1);
    for (auto _ : state) {
        sem_wait(&s);
        sem_post(&s);
    }
    sem_destroy(&s);
}

void PairStd(benchmark::State& state) {
    std::counting_semaphore<2> s(2); // from 1, every release would wake a waiter through a system call
    for (auto _ : state) {
        s.acquire();
        s.release();
    }
}

void ScopeMoved(benchmark::State& state) {
    const Semaphore s = TSemaphore::Construct(1);
    for (auto _ : state) {
        Semaphore mine = s; // the caller's own reference, given to the scope
        TSemaphoreScope scope(std::move(mine));
        benchmark::DoNotOptimize(scope.IsAcquired());
    }
}

void ScopeCopied(benchmark::State& state) {
    const Semaphore s = TSemaphore::Construct(1);
    for (auto _ : state) {
        TSemaphoreScope scope(s);
        benchmark::DoNotOptimize(scope.IsAcquired());
    }
}

} // namespace

BENCHMARK(PairKestal)->Name("AcquireRelease/kestal");
BENCHMARK(PairSemT)->Name("AcquireRelease/sem_t");
BENCHMARK(PairStd)->Name("AcquireRelease/std_counting_semaphore");
BENCHMARK(ScopeMoved)->Name("ScopeMoved/kestal");
BENCHMARK(PairSemT)->Name("ScopeMoved/sem_t");
BENCHMARK(ScopeCopied)->Name("ScopeCopied/kestal");
BENCHMARK(PairSemT)->Name("ScopeCopied/sem_t");
