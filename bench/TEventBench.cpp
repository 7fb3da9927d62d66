// Events. A Signal+Wait round trip between two threads, for TAutoResetEvent and for TEvent with
// Reset, against a flag under std::mutex with std::condition_variable and against
// std::binary_semaphore. Then one Signal of a cancel root with 1,000 children against the same
// tree built plainly: per node a std::mutex, a flag, a std::condition_variable and a mutex-guarded
// std::set of children.
#include <benchmark/benchmark.h>
#include <condition_variable>
#include <kestal/TCancelEvent.h>
#include <kestal/TEvent.h>
#include <memory>
#include <mutex>
#include <semaphore>
#include <set>
#include <thread>
#include <vector>

namespace {

// Auto-reset under a plain mutex and condition variable.
class CvFlag {
public:
    void Signal() {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_set = true;
        }
        m_cv.notify_one();
    }
    void Wait() {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_cv.wait(lock, [this] { return m_set; });
        m_set = false;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_cv;
    bool m_set = false;
};

class Semaphore {
public:
    void Signal() { m_semaphore.release(); }
    void Wait() { m_semaphore.acquire(); }

private:
    std::binary_semaphore m_semaphore{0};
};

class AutoEvent {
public:
    void Signal() { m_event.Signal(); }
    void Wait() { m_event.Wait(); }

private:
    TAutoResetEvent m_event;
};

class ManualEvent {
public:
    void Signal() { m_event.Signal(); }
    void Wait() {
        m_event.Wait();
        m_event.Reset();
    }

private:
    TEvent m_event;
};

// The benchmark thread signals `ping` and waits for `pong`; a partner thread answers each ping.
template <class Flag>
void RoundTrip(benchmark::State& state) {
    Flag ping, pong;
    bool stop = false; // written before the last ping, read after it
    std::thread partner([&] {
        for (;;) {
            ping.Wait();
            if (stop) return;
            pong.Signal();
        }
    });
    for (auto _ : state) {
        ping.Signal();
        pong.Wait();
    }
    stop = true;
    ping.Signal();
    partner.join();
}

class PlainNode {
public:
    void Signal() {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_set = true;
        }
        m_cv.notify_all();
        std::lock_guard<std::mutex> lock(m_mutex);
        for (PlainNode* child : m_children)
            child->Signal();
    }
    void Add(PlainNode* child) {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_children.insert(child);
    }

private:
    std::mutex m_mutex;
    bool m_set = false;
    std::condition_variable m_cv;
    std::set<PlainNode*> m_children;
};

constexpr int kChildren = 1000;

void CancelTreeKestal(benchmark::State& state) {
    const RefCntPtr<TCancelEvent> root = MakeRefCnt<TCancelEvent>();
    for (int i = 0; i < kChildren; ++i)
        root->Add(MakeRefCnt<TCancelEvent>());
    for (auto _ : state)
        root->Signal();
}

void CancelTreePlain(benchmark::State& state) {
    PlainNode root;
    std::vector<std::unique_ptr<PlainNode>> children;
    for (int i = 0; i < kChildren; ++i) {
        children.push_back(std::make_unique<PlainNode>());
        root.Add(children.back().get());
    }
    for (auto _ : state)
        root.Signal();
}

} // namespace

BENCHMARK(RoundTrip<AutoEvent>)->Name("AutoResetRoundTrip/kestal")->UseRealTime();
BENCHMARK(RoundTrip<CvFlag>)->Name("AutoResetRoundTrip/std_condition_variable")->UseRealTime();
BENCHMARK(RoundTrip<Semaphore>)->Name("AutoResetRoundTrip/std_binary_semaphore")->UseRealTime();
BENCHMARK(RoundTrip<ManualEvent>)->Name("ManualResetRoundTrip/kestal")->UseRealTime();
BENCHMARK(RoundTrip<CvFlag>)->Name("ManualResetRoundTrip/std_condition_variable")->UseRealTime();
BENCHMARK(RoundTrip<Semaphore>)->Name("ManualResetRoundTrip/std_binary_semaphore")->UseRealTime();
BENCHMARK(CancelTreeKestal)->Name("CancelTreeSignal/kestal");
BENCHMARK(CancelTreePlain)->Name("CancelTreeSignal/plain_tree");
