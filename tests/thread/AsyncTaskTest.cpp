// Scheduling and loops: launch policies on a full pool, the hooks and their pass-through,
// ParallelForThread running each index once over edge ranges and gathering worker exceptions, and
// the road of one task from Configure to Shutdown (failing, cancelled, on a dedicated thread).
#include "SyncTestSupport.h"
#include "TaskTestSupport.h"

#include <atomic>
#include <climits>
#include <kestal/NonThreadPoolWorkerManager.h>
#include <vector>

namespace {

using namespace kestal::testing;
using namespace AsyncTask;

TEST(AsyncTask, PoliciesOnAFullPool) {
    TThreadPool pool(1);
    TEvent gate, holding;
    ASSERT_TRUE(ScheduleOnThreadPool(
        pool, [&] { holding.Signal(), gate.Wait(kBound); }, Launch::TryPool));
    RequireSignalled(holding, "pool held");
    std::atomic<int> ran{0}, destroyed{0};
    for (std::uint32_t policy : {0u, 1u, 6u, 0xFFFFFFFFu, 4u, 5u}) {
        auto token = std::shared_ptr<void>(nullptr, [&](void*) { ++destroyed; });
        std::function<void()> work = [&ran, token] { ++ran; };
        token.reset();
        EXPECT_EQ(ScheduleOnThreadPool(pool, std::move(work), Launch(policy)), policy == 4 || policy == 5)
            << policy;
        EXPECT_FALSE(work); // consumed either way
    }
    EXPECT_EQ(destroyed.load(), 4); // the refused ones, unrun
    gate.Signal();
    ASSERT_TRUE(pool.JoinAll(kBound));
    EXPECT_EQ(ran.load(), 2);
}

TEST(AsyncTask, HooksPassThroughWhenUnsetAndTranslateWhenSet) {
    void (*target)() = [] {};
    EXPECT_EQ(*_ApplyExecutionHook(target, false).target<void (*)()>(), target);
    std::exception_ptr original = std::make_exception_ptr(1);
    EXPECT_EQ(_ApplyExceptionHook(original), original);
    _ApplyOnSharedStateCreatedHook({});
    SetExceptionHook([](std::exception_ptr) { return std::make_exception_ptr(2); });
    FunctionState s;
    s.SetException(original);
    for (int check = 0; check < 2; ++check) {
        try {
            s.CheckForException();
        } catch (int translated) {
            EXPECT_EQ(translated, 2);
        }
    }
    SetExceptionHook({});
    EXPECT_EQ(_ApplyExceptionHook(original), original);
}

TEST(ParallelForThread, EachIndexOnceOverEdgeRanges) {
    struct Range {
        unsigned long long begin, end;
    };
    for (unsigned int threads : {1u, 2u, 8u})
        for (Range r : {Range{5, 5}, Range{10, 3}, Range{0, 100000}, Range{ULLONG_MAX - 1000, ULLONG_MAX}}) {
            std::vector<std::atomic<int>> runs(r.begin < r.end ? r.end - r.begin : 0);
            ParallelForThread(threads, r.begin, r.end, [&](unsigned long long i) { ++runs[i - r.begin]; });
            for (std::size_t i = 0; i < runs.size(); ++i)
                ASSERT_EQ(runs[i].load(), 1) << threads << " " << i;
        }
}

// Counts its live copies, so a leaked exception shows.
struct Failure {
    static inline std::atomic<int> s_live{0};
    unsigned long long index;
    explicit Failure(unsigned long long i)
        : index(i) {
        ++s_live;
    }
    Failure(Failure const& other)
        : Failure(other.index) {}
    ~Failure() { --s_live; }
};

TEST(ParallelForThread, WorkerExceptionsGatheredCallerExceptionLeavesAtOnce) {
    const std::thread::id caller = std::this_thread::get_id();
    std::atomic<int> ran{0};
    try {
        ParallelForThread(2, 0, 1000, [&](unsigned long long i) {
            ++ran;
            if (std::this_thread::get_id() != caller) throw Failure(i);
        });
        ADD_FAILURE() << "no exception";
    } catch (Failure const& f) {
        EXPECT_LT(f.index, 1000u);
    }
    EXPECT_EQ(ran.load(), 1000);
    EXPECT_EQ(Failure::s_live.load(), 0);

    // Index 0 holds the one worker, so index 1 runs on the caller and throws: index 2 never starts.
    TEvent gate;
    ran = 0;
    EXPECT_THROW(ParallelForThread(1, 0, 1000,
                                   [&](unsigned long long) {
                                       ++ran;
                                       if (std::this_thread::get_id() != caller)
                                           return void(gate.Wait(kBound));
                                       gate.Signal();
                                       throw Failure(1);
                                   }),
                 Failure);
    EXPECT_EQ(ran.load(), 2);
}

// The road of one task: a derived state with its cancel event and the three hooks, scheduled on the
// process-wide pool (or a dedicated thread), failing or cancelled by the waiter, and the failure
// carried back to the waiter through the exception hook.
TEST(AsyncTask, RoadOfOneTask) {
    TThreadPool::Configure(2);
    int hooks = 0;
    std::weak_ptr<SharedStateBase> created;
    SetOnSharedStateCreatedHook([&](std::weak_ptr<SharedStateBase> s) { created = std::move(s); });
    SetExecutionHook([&](std::function<void()> work, bool) { return ++hooks, work; });
    SetExceptionHook([&](std::exception_ptr e) { return ++hooks, e; });

    TAutoResetEvent started, readyCallback; // outlive the roads: a worker may still be inside Signal
    enum Road { Failing, Cancelled, Dedicated };
    for (Road road : {Failing, Cancelled, Dedicated}) {
        started.Reset();
        auto state = std::make_shared<FunctionState>();
        state->SetCancelEvent(new TCancelEvent);
        _ApplyOnSharedStateCreatedHook(state);
        EXPECT_EQ(created.lock(), state);
        std::atomic<bool> readyOnPool{false};
        state->AddOnReadyCallback(&readyOnPool, [&] {
            readyOnPool = TThreadPool::Get().IsThreadPoolThread(), readyCallback.Signal();
        });
        state->work = [&, s = state.get()] {
            Cancel::CancelEventSetter underTask(s->CancelEvent());
            started.Signal();
            for (auto until = std::chrono::steady_clock::now() + kBound;
                 road == Cancelled && std::chrono::steady_clock::now() < until;)
                Cancel::ThrowIfCancelled();
            throw VelmoraException(
                TFormatStringCore(u"step %1 of %2 failed").arg(5).arg(7),
                TError::ErrorInfo(VelmoraError(0x0BADF00D, u"VelmoraException_AutoGen_0x0BADF00D"),
                                  TError::Client, grpc::StatusCode::UNKNOWN));
        };
        std::function<void()> job = _ApplyExecutionHook([state] { state->Execute(); }, false);
        if (road == Dedicated)
            RunOnDedicatedThread(std::move(job));
        else
            ASSERT_TRUE(ScheduleOnThreadPool(TThreadPool::Get(), std::move(job), Launch::Queue));
        if (road == Cancelled) RequireSignalled(started, "task started"), state->Cancel();
        state->Wait();
        RequireSignalled(readyCallback, "ready callback");
        EXPECT_EQ(readyOnPool.load(), road != Dedicated);
        try {
            try {
                state->CheckForException();
            } catch (VelmoraException const&) {
                StackExceptionAndRethrow(u"while waiting");
            }
            ADD_FAILURE() << "no exception";
        } catch (VelmoraException const& e) {
            const bool cancelled = dynamic_cast<CancelException const*>(&e) != nullptr;
            EXPECT_EQ(cancelled, road == Cancelled);
            EXPECT_EQ(e.CollateMessagesForLog(),
                      cancelled ? u"Canceled\nwhile waiting\n" : u"step 5 of 7 failed\nwhile waiting\n");
        }
    }
    EXPECT_EQ(hooks, 6); // three wrapped, three rethrown
    EXPECT_TRUE(TThreadPool::Shutdown(kBound));
    EXPECT_TRUE(NonThreadPoolWorkerManager::Shutdown(kBound));
    SetExecutionHook({}), SetExceptionHook({}), SetOnSharedStateCreatedHook({});
}

} // namespace
