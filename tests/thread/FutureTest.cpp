// Typed futures: results and exceptions across threads, chains and joins at scale, cancellation
// with its reason against completion, waiters that help, hooks, and misuse.
#include <atomic>
#include <gtest/gtest.h>
#include <kestal/Future.h>
#include <numeric>
#include <thread>

using namespace AsyncTask;

namespace {

constexpr std::chrono::milliseconds kBound{20000};

TError::ErrorInfo Reason(unsigned int code) {
    return TError::ErrorInfo(VelmoraError(code, u"Test_0x" + TStringCore::number(code, 16)), TError::Content);
}

template <class F>
unsigned int CodeOf(F&& f) {
    try {
        f();
    } catch (VelmoraException const& e) {
        return e.GetErrorCode();
    }
    return 0;
}

} // namespace

TEST(Future, ResultsAndExceptionsCrossThreadsIntact) {
    TThreadPool pool(3);
    Future<std::vector<int>> values = Async(pool, [] { return std::vector<int>(1000, 7); });
    Future<void> done = Async(pool, [] {});
    Future<int> failed = Async(pool, []() -> int {
        VelmoraException e(u"first", Reason(0x51));
        e.StackMessage(u"second");
        throw e;
    });
    EXPECT_EQ(values.Get(), std::vector<int>(1000, 7));
    EXPECT_FALSE(values.Valid());
    done.Get();
    try {
        failed.Get();
        ADD_FAILURE() << "no exception";
    } catch (VelmoraException const& e) {
        EXPECT_EQ(e.GetErrorInfo(), Reason(0x51));
        EXPECT_EQ(e.GetMessagesVector(), (std::vector<TStringCore>{u"first", u"second"}));
    }
    EXPECT_EQ(CodeOf([&] { failed.Get(); }), 0x1F7E0001u); // consumed even by an exception

    // A reference, a shared future read twice, and a continuation that sees the exception.
    int target = 1;
    Promise<int&> ref;
    Future<int&> refFuture = ref.GetFuture();
    std::thread([&] { ref.SetValue(target); }).join();
    refFuture.Get() = 5;
    EXPECT_EQ(target, 5);
    SharedFuture<int> shared = Async(pool, [] { return 3; }).Share();
    EXPECT_EQ(shared.Get() + shared.Get(), 6);
    Future<int> seen =
        MakeExceptionalFuture<int>(VelmoraException(Reason(0x52))).Then(pool, [](Future<int> f) {
            return f.HasException() ? 1 : 0;
        });
    EXPECT_EQ(seen.Get(), 1);
}

TEST(Future, MisuseRaisesAndChangesNothing) {
    Future<int> empty;
    EXPECT_FALSE(empty.IsReady());
    EXPECT_FALSE(empty.HasException());
    EXPECT_EQ(CodeOf([&] { empty.Get(); }), 0x1F7E0001u);
    EXPECT_EQ(CodeOf([&] { empty.Wait(); }), 0x1F7E0001u);
    EXPECT_EQ(CodeOf([&] { empty.Cancel(); }), 0x1F7E0001u);
    EXPECT_EQ(CodeOf([&] { (void)empty.Then([](int) {}); }), 0x1F7E0001u);
    Future<int> ready = MakeReadyFuture(4);
    Future<int> moved = std::move(ready);
    EXPECT_EQ(CodeOf([&] { ready.Get(); }), 0x1F7E0001u);

    Promise<int> promise;
    Future<int> future = promise.GetFuture();
    EXPECT_EQ(CodeOf([&] { promise.GetFuture(); }), 0x1F7E0003u);
    promise.SetValue(8);
    EXPECT_EQ(CodeOf([&] { promise.SetValue(9); }), 0x1F7E0004u);
    EXPECT_EQ(CodeOf([&] { promise.SetException(std::make_exception_ptr(1)); }), 0x1F7E0004u);
    EXPECT_EQ(future.Get(), 8);

    std::vector<Future<int>> inputs;
    inputs.push_back(MakeReadyFuture(1));
    inputs.emplace_back();
    EXPECT_EQ(CodeOf([&] { WhenAll(std::move(inputs)); }), 0x1F7E0001u);
    EXPECT_EQ(inputs.size(), 2u);
    EXPECT_TRUE(inputs[0].Valid());

    Future<int> broken = Promise<int>().GetFuture();
    try {
        broken.Get();
        ADD_FAILURE() << "no exception";
    } catch (InvalidFutureException const& e) {
        EXPECT_EQ(e.GetErrorName(), u"InvalidFuture_0x1F7E0002");
        EXPECT_EQ(e.GetMessagesVector().back(),
                  u"broken promise: the promise was destroyed before it was set");
    }
}

TEST(Future, WaitersRunWorkQueuedBehindThem) {
    // Each task waits on ten tasks queued on its own, only, thread: they run inline.
    TThreadPool one(1);
    Future<int> outer = Async(one, [&one] {
        std::vector<Future<int>> inner;
        for (int i = 0; i < 10; ++i)
            inner.push_back(Async(one, [i] { return i; }));
        int sum = 0;
        for (auto& f : inner)
            sum += Async(one, [&f] { return f.Get(); }).Get();
        return sum;
    });
    ASSERT_TRUE(outer.WaitFor(kBound));
    EXPECT_EQ(outer.Get(), 45);

    // The same through a continuation chain and a join: the waiter runs what they wait for.
    Future<int> joined = Async(one, [&one] {
        Future<int> chain = Async(one, [] { return 1; });
        for (int i = 0; i < 100; ++i)
            chain = chain.Then(one, [](int n) { return n + 1; });
        std::vector<Future<int>> parts;
        for (int i = 0; i < 10; ++i)
            parts.push_back(Async(one, [i] { return i; }).Then(one, [](int n) { return n; }));
        std::vector<int> values = WhenAll(std::move(parts)).Get();
        return chain.Get() + std::accumulate(values.begin(), values.end(), 0);
    });
    ASSERT_TRUE(joined.WaitFor(kBound));
    EXPECT_EQ(joined.Get(), 101 + 45);

    // Loop bodies wait on futures of a one-thread pool whose thread is the loop's caller.
    Future<long long> loop = Async(one, [&one] {
        std::atomic<long long> total{0};
        ParallelForThread(3, 0, 64, [&](unsigned long long i) {
            total += Async(one, [i] { return static_cast<long long>(i); }).Get();
        });
        return total.load();
    });
    ASSERT_TRUE(loop.WaitFor(kBound));
    EXPECT_EQ(loop.Get(), 64 * 63 / 2);
}

TEST(Future, LongChainsAndWideJoins) {
    TThreadPool pool(2);
    Promise<int> start;
    Future<int> chain = start.GetFuture();
    for (int i = 0; i < 10000; ++i)
        chain = chain.Then(pool, [](int n) { return n + 1; });
    start.SetValue(0);
    ASSERT_TRUE(chain.WaitFor(kBound));
    EXPECT_EQ(chain.Get(), 10000);

    // A cancelled root: every link passes the same reason down, without recursion.
    Promise<int> root;
    Future<int> cancelledChain = root.GetFuture();
    SharedFuture<int> first = cancelledChain.Then(pool, [](int n) { return n; }).Share();
    cancelledChain = first.Then(pool, [](int const& n) { return n; });
    for (int i = 0; i < 10000; ++i)
        cancelledChain = cancelledChain.Then(pool, [](int n) { return n; });
    first.Cancel(Reason(0x77)); // the first link, not yet started
    ASSERT_TRUE(cancelledChain.WaitFor(kBound));
    try {
        cancelledChain.Get();
        ADD_FAILURE() << "no exception";
    } catch (CancelException const& e) {
        EXPECT_EQ(e.GetErrorInfo(), Reason(0x77));
    }

    std::vector<Future<int>> many;
    for (int i = 0; i < 100000; ++i)
        many.push_back(i % 2 ? Async(pool, [i] { return i; }) : MakeReadyFuture(i));
    std::atomic<int> settled{0};
    Future<std::vector<int>> all = WhenAll(std::move(many));
    Future<long long> sum = all.Then(pool, [&settled](std::vector<int> v) {
        ++settled;
        return std::accumulate(v.begin(), v.end(), 0LL);
    });
    EXPECT_EQ(sum.Get(), 100000LL * 99999 / 2);
    EXPECT_EQ(settled.load(), 1);
}

TEST(Future, CombinatorsKeepOrderAndFirstException) {
    TThreadPool pool(2);
    Promise<int> late;
    std::vector<Future<int>> inputs;
    inputs.push_back(late.GetFuture());
    inputs.push_back(MakeExceptionalFuture<int>(VelmoraException(Reason(0x21))));
    inputs.push_back(Async(pool, []() -> int { throw VelmoraException(Reason(0x22)); }));
    Future<std::vector<int>> all = WhenAll(std::move(inputs));
    ASSERT_FALSE(all.WaitFor(std::chrono::milliseconds(0))); // waits for every input
    late.SetValue(1);
    unsigned int code = CodeOf([&] { all.Get(); });
    EXPECT_EQ(code, 0x21u); // ready before the join was made, so its callback ran first

    auto tuple =
        WhenAll(MakeReadyFuture(1), MakeReadyFuture(), Async(pool, [] { return TStringCore(u"x"); })).Get();
    EXPECT_EQ(std::get<0>(tuple), 1);
    EXPECT_EQ(std::get<2>(tuple), u"x");

    Promise<int> never;
    std::vector<Future<int>> race;
    race.push_back(never.GetFuture());
    race.push_back(Async(pool, [] { return 9; }));
    WhenAnyResult<Future<int>> any = WhenAny(std::move(race)).Get();
    EXPECT_EQ(any.index, 1u);
    EXPECT_EQ(any.futures[1].Get(), 9);
    EXPECT_FALSE(any.futures[0].IsReady());
    EXPECT_EQ(WhenAny(std::vector<Future<int>>()).Get().index, 0u);
}

TEST(Future, CancelCarriesItsReason) {
    TThreadPool pool(2);
    std::atomic<bool> started{false};
    Future<int> spinning = Async(pool, [&] {
        started = true;
        for (;;)
            Cancel::ThrowIfCancelled();
        return 0;
    });
    while (!started)
        std::this_thread::yield();
    spinning.Cancel(Reason(0x31));
    EXPECT_EQ(CodeOf([&] { spinning.Get(); }), 0x31u);

    // Without a reason: the library's own record, the one ThrowIfCancelled raises with.
    Future<void> plain = Async(pool, [] {
        for (;;)
            Cancel::ThrowIfCancelled();
    });
    plain.Cancel();
    EXPECT_EQ(CodeOf([&] { plain.Get(); }), 0x94A93C32u);

    // A task made inside a task is cancelled with it (the parent's Get returns only then).
    std::atomic<bool> childStarted{false};
    Future<int> parent = Async(pool, [&] {
        Future<int> child = Async(pool, [&] {
            childStarted = true;
            for (;;)
                Cancel::ThrowIfCancelled();
            return 0;
        });
        return child.Get();
    });
    while (!childStarted)
        std::this_thread::yield();
    parent.Cancel(Reason(0x32));
    ASSERT_TRUE(parent.WaitFor(kBound));
    EXPECT_EQ(CodeOf([&] { parent.Get(); }), 0x32u);

    // A promise's future is ready at once; the producer sees the cancel.
    Promise<int> promise;
    Future<int> promised = promise.GetFuture();
    promised.Cancel(Reason(0x33));
    EXPECT_TRUE(promise.IsCancelled());
    promise.SetValue(1); // dropped: the consumer is gone
    EXPECT_EQ(CodeOf([&] { promised.Get(); }), 0x33u);

    // Through the untyped face: a join cancels its inputs with the same reason.
    std::vector<Future<int>> inputs;
    for (int i = 0; i < 4; ++i)
        inputs.push_back(Async(pool, [] {
            for (;;)
                Cancel::ThrowIfCancelled();
            return 0;
        }));
    Future<std::vector<int>> all = WhenAll(std::move(inputs));
    IWrappedFuture& untyped = all;
    untyped.Cancel(Reason(0x34));
    ASSERT_TRUE(untyped.WaitFor(kBound));
    EXPECT_TRUE(untyped.HasException());
    EXPECT_EQ(CodeOf([&] { all.Get(); }), 0x34u);
}

TEST(Future, CancelRacingCompletionGivesOneOutcome) {
    TThreadPool pool(2);
    int values = 0, cancels = 0;
    for (int i = 0; i < 2000; ++i) {
        SharedFuture<int> f = Async(pool, [i] {
                                  if (i % 3 == 0) Cancel::ThrowIfCancelled();
                                  return i;
                              }).Share();
        std::thread canceller([f]() mutable { f.Cancel(Reason(0x41)); });
        try {
            EXPECT_EQ(f.Get(), i);
            ++values;
        } catch (CancelException const& e) {
            EXPECT_EQ(e.GetErrorCode(), 0x41u);
            ++cancels;
        }
        canceller.join();
    }
    EXPECT_EQ(values + cancels, 2000);
}

TEST(Future, HooksSeeEveryStateAndNoStateOutlivesItsOwners) {
    std::vector<std::weak_ptr<SharedStateBase>> states;
    std::atomic<int> wrapped{0}, translated{0};
    SetOnSharedStateCreatedHook([&](std::weak_ptr<SharedStateBase> s) { states.push_back(std::move(s)); });
    SetExecutionHook([&](std::function<void()> work, bool) {
        return [&wrapped, work] {
            ++wrapped;
            work();
        };
    });
    SetExceptionHook([&](std::exception_ptr e) {
        ++translated;
        return e;
    });
    {
        TThreadPool pool(2);
        Promise<int> p;
        Future<int> f = p.GetFuture().Then(pool, [](int n) { return n * 2; });
        std::vector<Future<int>> two;
        two.push_back(std::move(f));
        two.push_back(AsyncOnDedicatedThread([] { return 1; }));
        Future<std::vector<int>> all = WhenAll(std::move(two));
        p.SetValue(4);
        EXPECT_EQ(all.Get(), (std::vector<int>{8, 1}));
        EXPECT_EQ(CodeOf([&] { MakeExceptionalFuture<int>(VelmoraException(Reason(5))).Get(); }), 5u);
        SetExecutionHook([](std::function<void()>, bool) { return std::function<void()>([] {}); });
        EXPECT_EQ(CodeOf([&] { Async(pool, [] { return 1; }).Get(); }), 0x1F7E0005u);
    }
    ASSERT_TRUE(NonThreadPoolWorkerManager::Shutdown(kBound));
    SetOnSharedStateCreatedHook({});
    SetExecutionHook({});
    SetExceptionHook({});
    EXPECT_EQ(states.size(), 6u); // promise, then, dedicated, join, exceptional, dropped task
    EXPECT_EQ(wrapped.load(), 2);
    EXPECT_EQ(translated.load(), 2);
    for (auto const& s : states)
        EXPECT_TRUE(s.expired());
}

TEST(Future, WaitForConsultsTheThreadsWaitHandler) {
    struct Handler : IWaitHandler {
        mutable int calls = 0;
        bool WaitFor(SharedStateBase& state, std::chrono::milliseconds const& timeout) const override {
            ++calls;
            return state.WaitFor(timeout);
        }
    } handler;
    Promise<int> p;
    Future<int> f = p.GetFuture();
    {
        WaitHandlerScopeGuard guard(&handler);
        EXPECT_FALSE(f.WaitFor(std::chrono::milliseconds(1)));
        p.SetValue(2);
        EXPECT_EQ(f.Get(), 2);
    }
    EXPECT_EQ(handler.calls, 1); // Get found it ready
    EXPECT_EQ(TLS::Get().GetDepth(), 0u);
}
