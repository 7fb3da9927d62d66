// Dedicated threads: the order on a task's thread, Close racing RunTask, managers destroyed while
// their last thread still releases the barrier, and the process-wide manager's Shutdown, which
// waits for running tasks whatever its timeout. Every wait is bounded.
#include "SyncTestSupport.h"

#include <atomic>
#include <kestal/NonThreadPoolWorkerManager.h>
#include <kestal/TThreadPool.h>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace kestal::testing;
using std::chrono::milliseconds;

TEST(NonThreadPoolWorkerManager, StartTaskStopOnOneThreadThenTheCountFalls) {
    for (milliseconds timeout : {milliseconds(0), milliseconds(-1)}) // no wait when nothing runs
        EXPECT_TRUE(NonThreadPoolWorkerManager().Close(timeout));

    std::vector<std::string> order; // the task's thread only, read after Close
    std::vector<std::thread::id> threads;
    std::uint32_t countInStop = 0;
    NonThreadPoolWorkerManager* self = nullptr;
    auto step = [&](char const* what) {
        order.push_back(what), threads.push_back(std::this_thread::get_id());
    };
    NonThreadPoolWorkerManager manager([&] { step("start"); },
                                       [&] { step("stop"), countInStop = self->GetThreadCount(); });
    self = &manager;
    TEvent gate, running;
    EXPECT_EQ(manager.GetThreadCount(), 0u);
    manager.RunTask([&] { step("task"), running.Signal(), gate.Wait(kBound); });
    RequireSignalled(running, "task started");
    EXPECT_EQ(manager.GetThreadCount(), 1u);
    ExpectSite([&] { manager.Close(milliseconds(-1)); }, 0x2CF31F82, "main/synchronize/TEventBase_posix",
               104);
    EXPECT_FALSE(manager.Close(milliseconds(0)));
    manager.RunTask([&] { step("dropped"); });
    EXPECT_EQ(manager.GetThreadCount(), 1u);
    gate.Signal();
    EXPECT_TRUE(manager.Close(kBound));
    EXPECT_EQ(manager.GetThreadCount(), 0u);
    EXPECT_EQ(order, (std::vector<std::string>{"start", "task", "stop"}));
    EXPECT_EQ(countInStop, 1u);
    ASSERT_EQ(threads.size(), 3u);
    EXPECT_TRUE(threads[0] == threads[1] && threads[1] == threads[2] &&
                threads[0] != std::this_thread::get_id());
}

// Once Close returned true no task runs, and none starts later.
TEST(NonThreadPoolWorkerManager, CloseRacingRunTask) {
    for (int round = 0; round < 20; ++round) {
        std::atomic<int> running{0}, ran{0};
        NonThreadPoolWorkerManager manager;
        TCountdownEvent producing(2);
        std::vector<std::thread> producers;
        for (int p = 0; p < 2; ++p)
            producers.emplace_back([&] {
                for (int i = 0; i < 20; ++i) {
                    manager.RunTask([&] { ++running, ++ran, --running; });
                    if (i == 0) producing.Signal();
                }
            });
        RequireSignalled(producing, "producers started");
        ASSERT_TRUE(manager.Close(kBound));
        EXPECT_EQ(manager.GetThreadCount(), 0u);
        EXPECT_EQ(running.load(), 0);
        const int ranAtClose = ran.load();
        for (std::thread& t : producers)
            t.join();
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
    EXPECT_TRUE(NonThreadPoolWorkerManager::Shutdown(milliseconds(0)));
    std::atomic<int> starts{0};
    TThreadPool::Configure(1, [&] { ++starts; });
    std::vector<std::thread> racers; // one deletion per manager, whatever the interleaving
    for (int t = 0; t < 4; ++t)
        racers.emplace_back([t] {
            for (int i = 0; i < 20; ++i)
                t % 2 ? (void)NonThreadPoolWorkerManager::Get()
                      : (void)NonThreadPoolWorkerManager::Shutdown(kBound);
        });
    for (std::thread& t : racers)
        t.join();

    NonThreadPoolWorkerManager& manager = NonThreadPoolWorkerManager::Get();
    TEvent gate;
    std::atomic<bool> ended{false};
    manager.RunTask([&] { gate.Wait(kBound), ended = true; });
    // Opens the gate once Shutdown has closed the barrier, seen as a RunTask that counts nothing:
    // its probes wait on the same gate, so until then the count can only grow.
    std::thread opener([&] {
        for (std::uint32_t before = 0; before != manager.GetThreadCount();) {
            before = manager.GetThreadCount();
            manager.RunTask([&] { gate.Wait(kBound); });
        }
        gate.Signal();
    });
    EXPECT_FALSE(NonThreadPoolWorkerManager::Shutdown(milliseconds(0)));
    EXPECT_TRUE(ended.load()); // returned only after the task ended
    opener.join();
    EXPECT_GE(starts.load(), 1); // the configured start ran

    TThreadPool::Configure(1, {});
    const int started = starts.load();
    NonThreadPoolWorkerManager::Get().RunTask([] {});
    EXPECT_TRUE(NonThreadPoolWorkerManager::Shutdown(kBound));
    EXPECT_EQ(starts.load(), started); // a new manager, on the configuration as it then stood
}

} // namespace
