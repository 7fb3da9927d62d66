// Events and the waits on several of them: the flag rules of each kind, timeouts that never end
// early, callbacks that edit their own table mid-signal or race their removal, auto-reset signals
// lost or taken twice, and WaitForAll/WaitForAny against a signalling thread.
#include "SyncTestSupport.h"

#include <barrier>
#include <kestal/TCancelEvent.h>
#include <memory>
#include <thread>

namespace {

using namespace kestal::testing;
using namespace std::chrono_literals;

constexpr char kFile[] = "main/synchronize/TEventBase_posix";

std::vector<std::shared_ptr<IEvent>> oneOfEachKind() { // the auto-reset one second
    return {std::make_shared<TEvent>(), std::make_shared<TAutoResetEvent>(),
            std::make_shared<TCountdownEvent>(1), std::shared_ptr<IEvent>(new TCancelEvent)};
}

// A timed wait that finds nothing returns false, and never before its timeout.
template <class F>
void expectTimesOut(F&& wait) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(wait());
    EXPECT_GE(std::chrono::steady_clock::now() - start, 20ms);
}

TEST(Events, FlagRulesOfEachKind) {
    EXPECT_TRUE(TEvent(true).Wait(0ms));
    const auto events = oneOfEachKind();
    for (std::size_t k = 0; k < events.size(); ++k) {
        IEvent const& e = *events[k];
        const bool manual = k != 1;
        expectTimesOut([&] { return e.Wait(20ms); });
        for (auto timeout : {0ms, 0xFFFFFFFEms, 0xFFFFFFFFms, -1ms}) { // 0xFFFFFFFF: no limit; -1: untimed
            e.Signal();
            EXPECT_TRUE(e.IsSet() && e.IsSet()) << k; // looking doesn't consume
            // A negative timeout raises before touching the flag.
            ExpectSite([&] { e.Wait(-1ms); }, manual ? 0x2CF31F82 : 0x9F1CA6C4, kFile, manual ? 104 : 154);
            EXPECT_TRUE(timeout < 0ms ? e.Wait() : e.Wait(timeout)) << k;
            EXPECT_EQ(e.IsSet(), manual) << k;
            e.Reset();
            EXPECT_FALSE(e.IsSet()) << k;
        }
    }
    TCountdownEvent two(2), zero(0);
    two.Signal();
    EXPECT_FALSE(two.IsSet());
    two.Signal(), two.Signal(); // the third wraps and changes nothing
    EXPECT_TRUE(two.IsSet());
    two.Reset(), two.Signal(); // back to 2
    EXPECT_FALSE(two.IsSet());
    for (int i = 0; i < 1000; ++i)
        zero.Signal();
    EXPECT_FALSE(zero.IsSet());
}

// Adding never runs a callback; every Signal does, even of a set event. Entries that remove
// themselves or another, replace themselves, add enough to rehash, or signal again in mid-walk.
// No order among callbacks is promised, so the checks don't use one.
TEST(EventCallbacks, EditsDuringTheWalkTakeEffectAtOnceOrNextTime) {
    TEvent e;
    int keys[8 + 64], self = 0, old = 0, replacement = 0, victim = 0, adder = 0, added = 0, nested = 0,
                      counted = 0;
    e.Signal();
    e.AddOnSignalCallback(&keys[0], [&] { ++self, e.RemoveOnSignalCallback(&keys[0]); });
    e.AddOnSignalCallback(&keys[1], [&] { ++old, e.AddOnSignalCallback(&keys[1], [&] { ++replacement; }); });
    e.AddOnSignalCallback(&keys[2], [&] { ++victim; });
    e.AddOnSignalCallback(&keys[3], [&] {
        if (adder++ != 0) return;
        e.RemoveOnSignalCallback(&keys[2]);
        e.RemoveOnSignalCallback(&adder); // unknown: nothing
        for (int i = 8; i < 8 + 64; ++i)
            e.AddOnSignalCallback(&keys[i], [&] { ++added; });
    });
    EXPECT_EQ(self + old + adder, 0);
    e.Signal();
    EXPECT_EQ(std::vector<int>({self, old, replacement, adder, added}), std::vector<int>({1, 1, 0, 1, 0}));
    const int victimRuns = victim; // 0 or 1, as the order falls
    e.Signal();
    EXPECT_EQ(std::vector<int>({self, old, replacement, adder, added, victim}),
              std::vector<int>({1, 1, 1, 2, 64, victimRuns}));

    // Signalling again from a callback that has just removed itself: the inner walk skips it.
    TEvent g;
    g.AddOnSignalCallback(&g, [&] { ++nested, g.RemoveOnSignalCallback(&g), g.Signal(); });
    g.AddOnSignalCallback(&nested, [&] { ++counted; });
    g.Signal();
    EXPECT_EQ(nested, 1);
    EXPECT_EQ(counted, 2);

    TAutoResetEvent f;
    f.AddOnSignalCallback(&f, {});
    EXPECT_THROW(f.Signal(), std::bad_function_call);
    EXPECT_TRUE(f.IsSet());
    std::thread([&] { f.RemoveOnSignalCallback(&f); }).join(); // the lock was released
}

// The callback goes on after its removal has begun and touches memory freed as soon as the
// removal returns: a removal that didn't wait shows directly, and to ASan and TSan.
TEST(EventCallbacks, RemovalReturnsOnlyAfterTheRunningCallback) {
    TEvent e;
    TAutoResetEvent go;
    std::atomic<bool> stop{false};
    std::thread signaller([&] {
        while (RequireSignalled(go, "go"), !stop)
            e.Signal();
    });
    for (int i = 0; i < 500; ++i) {
        auto* step = new std::atomic<int>(0);
        e.AddOnSignalCallback(step, [step] {
            for (*step = 1; *step != 2;)
                std::this_thread::yield();
            for (int k = 0; k < 20; ++k) // time for the removal to reach the lock
                std::this_thread::yield();
            *step = 3;
        });
        go.Signal();
        while (*step != 1)
            std::this_thread::yield();
        *step = 2;
        e.RemoveOnSignalCallback(step);
        EXPECT_EQ(*step, 3);
        delete step;
    }
    stop = true, go.Signal();
    signaller.join();
}

// Plain waiters and WaitForAny callers compete for one auto-reset event, and each signal is
// acknowledged through another before the next: a ping-pong in which each signal must be taken
// exactly once, and a lost wake-up stalls a timed auto-reset wait to its deadline.
TEST(TAutoResetEvent, CompetingWaitersTakeEachSignalOnce) {
    TAutoResetEvent work, ack;
    TEvent stop;
    TCountdownEvent exited(2);
    std::atomic<int> taken{0};
    constexpr int kSignals = 2000;
    auto plain = [&] {
        while (!stop.IsSet())
            if (work.Wait(kBound) && !stop.IsSet()) ++taken, ack.Signal();
        exited.Signal();
    };
    auto any = [&] {
        for (unsigned int index = 0; WaitForAny({&work, &stop}, kBound, index) && index == 0;)
            ++taken, ack.Signal();
    };
    std::thread threads[] = {std::thread(any), std::thread(any), std::thread(plain), std::thread(plain)};
    for (int i = 0; i < kSignals; ++i)
        work.Signal(), RequireSignalled(ack, "acknowledgement");
    stop.Signal();
    threads[0].join(), threads[1].join();
    do // the WaitForAny callers are gone: these signals only wake the plain waiters
        work.Signal();
    while (!exited.Wait(20ms));
    threads[2].join(), threads[3].join();
    EXPECT_EQ(taken.load(), kSignals);
}

TEST(WaitForSome, SetEventsCountAtOnce) {
    TEvent manual, unset;
    TAutoResetEvent a1, a2;
    manual.Signal(), a1.Signal(), a2.Signal();
    unsigned int index = 99;
    EXPECT_TRUE(WaitForAny({&a1, &manual, &unset, &a2, &unset}, 0ms, index));
    EXPECT_EQ(index, 3u); // the last set position; every set auto-reset event consumed
    EXPECT_FALSE(a1.IsSet() || a2.IsSet());
    expectTimesOut([&] { return WaitForAny({&unset}, 20ms, index) || WaitForAny({}, 20ms); });
    EXPECT_EQ(index, 3u);
    EXPECT_TRUE(WaitForAll({}, 0ms));
    expectTimesOut([&] { return WaitForAll({&manual, &unset}, 20ms); });
    EXPECT_TRUE(WaitForAll({&manual, &manual}, 0ms)); // two entries, each counted
    a1.Signal();
    EXPECT_FALSE(WaitForAll({&a1, &a1}, 0ms)); // one signal: one entry takes it
    // Raised by the countdown's wait; the callbacks stay on `unset`, which drops them unrun.
    ExpectSite([&] { WaitForAll({&unset}, -1ms); }, 0x2CF31F82, kFile, 104);
}

// Each round a thread signals one event, which WaitForAny must name, then all of them, and
// WaitForAll must not return before the last signal began.
TEST(WaitForSome, AgainstASignallingThread) {
    const auto owned = oneOfEachKind();
    std::vector<IEvent*> events;
    for (auto const& e : owned)
        events.push_back(e.get());
    const unsigned int n = static_cast<unsigned int>(events.size());
    constexpr unsigned int kRounds = 500;
    std::barrier gate(2);
    std::atomic<unsigned int> begun{0};
    std::thread signaller([&] {
        for (unsigned int r = 0; r < kRounds; ++r) {
            gate.arrive_and_wait();
            events[r % n]->Signal();
            gate.arrive_and_wait();
            for (unsigned int i = 0; i < n; ++i)
                ++begun, events[(r + i) % n]->Signal();
        }
    });
    for (unsigned int r = 0; r < kRounds; ++r) {
        unsigned int index = n;
        gate.arrive_and_wait();
        EXPECT_TRUE(WaitForAny(events, kBound, index));
        EXPECT_EQ(index, r % n);
        for (IEvent* e : events)
            e->Reset();
        begun = 0;
        gate.arrive_and_wait();
        EXPECT_TRUE(WaitForAll(events, kBound));
        EXPECT_EQ(begun.load(), n);
        EXPECT_FALSE(events[1]->IsSet()); // the auto-reset signal was consumed
        for (IEvent* e : events)
            e->Reset();
    }
    signaller.join();
}

} // namespace
