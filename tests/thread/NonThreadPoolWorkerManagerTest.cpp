// Dedicated threads: the order on a task's thread, Close racing RunTask, managers destroyed while
// their last thread still releases the barrier, and the process-wide manager's Shutdown, which
// waits for running tasks whatever its timeout. Every wait is bounded.
#include "SyncTestSupport.h"

#include <atomic>
#include <kestal/NonThreadPoolWorkerManager.h>
#include <kestal/TThreadPool.h>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace kestal::testing;
using std::chrono::milliseconds;

TEST(NonThreadPoolWorkerManager, StartTaskStopOnOneThreadThenTheCountFalls) {
    EXPECT_TRUE(NonThreadPoolWorkerManager().Close(milliseconds(0))); // nothing runs: no wait
    std::vector<std::string> order; // the task's thread only, read after Close
    std::uint32_t countInStop = 0;
    NonThreadPoolWorkerManager* self = nullptr;
    const std::thread::id caller = std::this_thread::get_id();
    auto step = [&](char const* what) {
        order.push_back(what + std::string(std::this_thread::get_id() == caller ? "@caller" : ""));
    };
    NonThreadPoolWorkerManager manager([&] { step("start"); },
                                       [&] { step("stop"), countInStop = self->GetThreadCount(); });
    self = &manager;
    TEvent gate, running;
    manager.RunTask([&] { step("task"), running.Signal(), gate.Wait(kBound); });
    RequireSignalled(running, "task started");
    EXPECT_EQ(manager.GetThreadCount(), 1u);
    EXPECT_FALSE(manager.Close(milliseconds(0)));
    manager.RunTask([&] { step("dropped"); });
    EXPECT_EQ(manager.GetThreadCount(), 1u);
    gate.Signal();
    EXPECT_TRUE(manager.Close(kBound));
    EXPECT_EQ(manager.GetThreadCount(), 0u);
    EXPECT_EQ(order, (std::vector<std::string>{"start", "task", "stop"}));
    EXPECT_EQ(countInStop, 1u);
}

// Once Close returned true no task runs, and none starts later.
TEST(NonThreadPoolWorkerManager, CloseRacingRunTask) {
    for (int round = 0; round < 20; ++round) {
        std::atomic<int> running{0}, ran{0};
        NonThreadPoolWorkerManager manager;
        TCountdownEvent producing(2);
        int ranAtClose = 0;
        {
            std::vector<std::jthread> producers;
            for (int p = 0; p < 2; ++p)
                producers.emplace_back([&] {
                    for (int i = 0; i < 20; ++i)
                        manager.RunTask([&] { ++running, ++ran, --running; }),
                            i == 0 ? producing.Signal() : void();
                });
            RequireSignalled(producing, "producers started");
            ASSERT_TRUE(manager.Close(kBound));
            EXPECT_EQ(manager.GetThreadCount(), 0u);
            EXPECT_EQ(running.load(), 0);
            ranAtClose = ran.load();
        }
        EXPECT_EQ(ran.load(), ranAtClose);
    }
}

// The destructor may return while the last thread still holds the barrier lock it signalled under.
TEST(NonThreadPoolWorkerManager, DestroyedRightAfterShortTasks) {
    std::atomic<int> ran{0};
    for (int round = 1; round <= 200; ++round) {
        {
            NonThreadPoolWorkerManager manager;
            manager.RunTask([&] { ++ran; });
            manager.RunTask([&] { ++ran; });
        }
        ASSERT_EQ(ran.load(), 2 * round);
    }
}

TEST(NonThreadPoolWorkerManager, ShutdownWaitsForRunningTasks) {
    std::atomic<int> starts{0};
    TThreadPool::Configure(1, [&] { ++starts; });
    {
        std::vector<std::jthread> racers; // Get and Shutdown racing: each manager deleted once
        for (int t = 0; t < 4; ++t)
            racers.emplace_back([t] {
                for (int i = 0; i < 20; ++i)
                    t % 2 ? (void)NonThreadPoolWorkerManager::Get()
                          : (void)NonThreadPoolWorkerManager::Shutdown(kBound);
            });
    }
    NonThreadPoolWorkerManager& manager = NonThreadPoolWorkerManager::Get();
    TEvent gate;
    std::atomic<bool> ended{false};
    manager.RunTask([&] { gate.Wait(kBound), ended = true; });
    // Opens the gate once Shutdown has closed the barrier, seen as a RunTask that counts nothing:
    // its probes wait on the same gate, so until then the count can only grow.
    std::jthread opener([&] {
        for (std::uint32_t before = 0; before != manager.GetThreadCount();) {
            before = manager.GetThreadCount();
            manager.RunTask([&] { gate.Wait(kBound); });
        }
        gate.Signal();
    });
    EXPECT_FALSE(NonThreadPoolWorkerManager::Shutdown(milliseconds(0)));
    EXPECT_TRUE(ended.load());   // returned only after the task ended
    EXPECT_GE(starts.load(), 1); // the configured start ran

    TThreadPool::Configure(1, {});
    const int started = starts.load();
    NonThreadPoolWorkerManager::Get().RunTask([] {});
    EXPECT_TRUE(NonThreadPoolWorkerManager::Shutdown(kBound));
    EXPECT_EQ(starts.load(), started); // a new manager, on the configuration then current
    TThreadPool::Configure(0);
}

} // namespace
