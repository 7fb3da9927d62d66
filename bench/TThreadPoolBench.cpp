// The pool. 1M items through AddWork (always queued) and a wait for all of them, on 1 and 2
// workers, each iteration starting and stopping its pool: empty items, and tiny ones that capture
// 32 bytes (so that each std::function allocates) and add into 64 padded counters. Peers: a plain
// std::mutex + std::condition_variable pool written here, boost::asio::thread_pool, and a oneTBB
// task_group in a task_arena of the same size (work stealing, for the record). Then one item's
// round trip to a sleeping worker, and a dedicated thread's task run to completion against
// std::thread create and join. Callers wait on std::atomic::wait.
#include <array>
#include <atomic>
#include <benchmark/benchmark.h>
#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <kestal/NonThreadPoolWorkerManager.h>
#include <kestal/TThreadPool.h>
#include <mutex>
#include <oneapi/tbb/task_arena.h>
#include <oneapi/tbb/task_group.h>
#include <thread>
#include <vector>

namespace {

constexpr int kItems = 1000000;

// A first-in first-out queue under one mutex, workers sleeping on one condition variable.
class PlainPool {
public:
    explicit PlainPool(int threads) {
        for (int i = 0; i < threads; ++i)
            m_workers.emplace_back([this] { Run(); });
    }
    ~PlainPool() { Join(); }

    void Post(std::function<void()> work) {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_queue.push_back(std::move(work));
        }
        m_wake.notify_one();
    }
    // Drains the queue, then ends the workers.
    void Join() {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_stopping = true;
        }
        m_wake.notify_all();
        for (std::thread& t : m_workers)
            if (t.joinable()) t.join();
    }

private:
    void Run() {
        for (;;) {
            std::function<void()> work;
            {
                std::unique_lock<std::mutex> lock(m_mutex);
                m_wake.wait(lock, [this] { return m_stopping || !m_queue.empty(); });
                if (m_queue.empty()) return;
                work = std::move(m_queue.front());
                m_queue.pop_front();
            }
            work();
        }
    }

    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::deque<std::function<void()>> m_queue;
    bool m_stopping = false;
    std::vector<std::thread> m_workers;
};

// One interface over the four: start with n workers, post (from inside Enter), wait for all and stop.
struct Runner {
    template <class Body>
    void Enter(Body&& body) {
        body();
    }
};

struct KestalRunner : Runner {
    TThreadPool pool;
    explicit KestalRunner(int n)
        : pool(static_cast<unsigned>(n)) {}
    template <class F>
    void Post(F&& f) {
        pool.AddWork(std::forward<F>(f), TThreadPoolWork::AlwaysQueue);
    }
    void Finish() { pool.JoinAll(std::chrono::milliseconds::max()); }
};

struct PlainRunner : Runner {
    PlainPool pool;
    explicit PlainRunner(int n)
        : pool(n) {}
    template <class F>
    void Post(F&& f) {
        pool.Post(std::forward<F>(f));
    }
    void Finish() { pool.Join(); }
};

struct AsioRunner : Runner {
    boost::asio::thread_pool pool;
    explicit AsioRunner(int n)
        : pool(static_cast<std::size_t>(n)) {}
    template <class F>
    void Post(F&& f) {
        boost::asio::post(pool, std::forward<F>(f));
    }
    void Finish() { pool.join(); }
};

struct TbbRunner {
    tbb::task_arena arena;
    tbb::task_group group;
    explicit TbbRunner(int n)
        : arena(n) {}
    template <class Body>
    void Enter(Body&& body) {
        arena.execute(body);
    }
    template <class F>
    void Post(F&& f) {
        group.run(std::forward<F>(f));
    }
    void Finish() {
        arena.execute([&] { group.wait(); });
    }
};

struct alignas(64) Counter {
    std::atomic<std::uint64_t> value{0};
};

template <class Impl>
void EmptyItems(benchmark::State& state) {
    for (auto _ : state) {
        Impl runner(static_cast<int>(state.range(0)));
        runner.Enter([&] {
            for (int i = 0; i < kItems; ++i)
                runner.Post([] {});
        });
        runner.Finish();
    }
    state.SetItemsProcessed(state.iterations() * kItems);
}

template <class Impl>
void TinyItems(benchmark::State& state) {
    std::array<Counter, 64> counters;
    for (auto _ : state) {
        for (Counter& c : counters)
            c.value.store(0, std::memory_order_relaxed);
        Impl runner(static_cast<int>(state.range(0)));
        runner.Enter([&] {
            for (int i = 0; i < kItems; ++i) {
                // 32 bytes of captures: beyond std::function's inline buffer.
                runner.Post([target = &counters[static_cast<std::size_t>(i) % 64],
                             a = static_cast<std::uint64_t>(i), b = std::uint64_t{1}, c = std::uint64_t{2}] {
                    target->value.fetch_add(a + b + c - 3, std::memory_order_relaxed);
                });
            }
        });
        runner.Finish();
        std::uint64_t sum = 0;
        for (Counter const& c : counters)
            sum += c.value.load(std::memory_order_relaxed);
        if (sum != std::uint64_t{kItems} * (kItems - 1) / 2) state.SkipWithError("wrong sum");
    }
    state.SetItemsProcessed(state.iterations() * kItems);
}

// One item to a worker that sleeps on an empty queue, and the caller woken when it ran.
template <class Impl>
void RoundTrip(benchmark::State& state) {
    Impl runner(1);
    std::atomic<int> done{0};
    for (auto _ : state) {
        done.store(0, std::memory_order_relaxed);
        runner.Post([&done] {
            done.store(1, std::memory_order_release);
            done.notify_one();
        });
        done.wait(0, std::memory_order_acquire);
    }
    runner.Finish();
}

void DedicatedKestal(benchmark::State& state) {
    NonThreadPoolWorkerManager manager;
    std::atomic<int> done{0};
    for (auto _ : state) {
        done.store(0, std::memory_order_relaxed);
        manager.RunTask([&done] {
            done.store(1, std::memory_order_release);
            done.notify_one();
        });
        done.wait(0, std::memory_order_acquire);
    }
}

void DedicatedStdThread(benchmark::State& state) {
    std::atomic<int> done{0};
    for (auto _ : state) {
        std::thread([&done] { done.store(1, std::memory_order_release); }).join();
    }
    benchmark::DoNotOptimize(done.load());
}

#define KESTAL_POOL_BENCH(Op, Impl, impl)                                                                    \
    BENCHMARK(Op<Impl>)->Name(#Op "/" impl)->Arg(1)->Arg(2)->UseRealTime()->Unit(benchmark::kMillisecond)

KESTAL_POOL_BENCH(EmptyItems, KestalRunner, "kestal");
KESTAL_POOL_BENCH(EmptyItems, PlainRunner, "plain_pool");
KESTAL_POOL_BENCH(EmptyItems, AsioRunner, "asio_thread_pool");
KESTAL_POOL_BENCH(EmptyItems, TbbRunner, "tbb_task_group");
KESTAL_POOL_BENCH(TinyItems, KestalRunner, "kestal");
KESTAL_POOL_BENCH(TinyItems, PlainRunner, "plain_pool");
KESTAL_POOL_BENCH(TinyItems, AsioRunner, "asio_thread_pool");
KESTAL_POOL_BENCH(TinyItems, TbbRunner, "tbb_task_group");
BENCHMARK(RoundTrip<KestalRunner>)->Name("RoundTrip/kestal")->UseRealTime();
BENCHMARK(RoundTrip<PlainRunner>)->Name("RoundTrip/plain_pool")->UseRealTime();
BENCHMARK(RoundTrip<AsioRunner>)->Name("RoundTrip/asio_thread_pool")->UseRealTime();
BENCHMARK(DedicatedKestal)->Name("DedicatedTask/kestal")->UseRealTime();
BENCHMARK(DedicatedStdThread)->Name("DedicatedTask/std_thread")->UseRealTime();

} // namespace
