// Semaphores: counts at the edges, timed and failed scopes, failures that change nothing, and the
// races: units lost or duplicated, wake-ups lost, an interrupted wait, semaphores left open.
#include "SyncTestSupport.h"

#include <atomic>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <kestal/TSemaphore.h>
#include <kestal/VelmoraException.h>
#include <semaphore.h>
#include <thread>
#include <unistd.h>

namespace {

using namespace kestal::testing;
using Semaphore = RefCntPtr<TSemaphore, RefCntObject>;

int FreeUnits(Semaphore const& s) {
    int n = 0;
    while (s->TryAcquire())
        ++n;
    for (int i = 0; i < n; ++i)
        s->Release();
    return n;
}

TEST(TSemaphore, CountsAndScopes) {
    const Semaphore s = TSemaphore::Construct(0);
    EXPECT_FALSE(s->TryAcquire() || s->TryAcquire(0));
    s->Release(), s->Release(); // beyond the initial count
    {
        TSemaphoreScope a(s), b(s, 0), c(s, 0);
        EXPECT_TRUE(a.IsAcquired() && b.IsAcquired() && !c.IsAcquired());
        EXPECT_EQ(s->GetReferenceCount(), 3); // the failed scope kept no pointer
        b.Reset(), b.Reset();
        EXPECT_FALSE(b.IsAcquired());
        EXPECT_EQ(FreeUnits(s), 1);
    }
    EXPECT_EQ(FreeUnits(s), 2); // the failed scope released nothing
    s->TryAcquire(), s->TryAcquire();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(TSemaphoreScope(s, 20).IsAcquired());
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(20));
    ExpectSite([] { TSemaphoreScope(nullptr); }, 0x00BF554A, "public/kestal/ReferenceCount", 342);
    ExpectSite([] { TSemaphoreScope(nullptr, 0); }, 0x00BF554A, "public/kestal/ReferenceCount", 342);
}

void ExpectRaise(std::function<void()> const& call, unsigned int code, TError::ErrorSource source,
                 char16_t const* message) {
    char name[64];
    std::snprintf(name, sizeof name, "VelmoraException_AutoGen_0x%08X", code);
    try {
        call();
        ADD_FAILURE() << "nothing raised: " << TStringCore(message);
    } catch (VelmoraException const& e) {
        EXPECT_TRUE(e.GetErrorCode() == code && e.GetErrorName() == TStringCore::fromUtf8(name) &&
                    e.GetErrorSource() == source &&
                    e.GetErrorInfo().GetStatusCode() == grpc::StatusCode::UNKNOWN);
        EXPECT_TRUE(e.GetMessages() == std::list<TStringCore>{message} &&
                    e.GetRedactedMessages() == e.GetMessages());
    }
}

TEST(TSemaphore, FailuresRaiseAndChangeNothing) {
    ExpectRaise([] { TSemaphore::Construct(SEM_VALUE_MAX + 1u); }, 0xE36AE9A6, TError::Configuration,
                u"TSemaphore::Construct: error=22");
    const Semaphore full = TSemaphore::Construct(SEM_VALUE_MAX);
    TSemaphoreScope scope(full);
    full->Release();
    for (auto release :
         {std::function<void()>([&] { full->Release(); }), std::function<void()>([&] { scope.Reset(); })})
        ExpectRaise(release, 0xB6046C37, TError::System, u"TSemaphore::Release: error=75");
    EXPECT_TRUE(scope.IsAcquired() && full->TryAcquire()); // still held, and the count still at the top
    scope.Reset();
    EXPECT_FALSE(scope.IsAcquired());
}

TEST(TSemaphore, InterruptedAcquireRaisesInsteadOfRetrying) {
    struct sigaction action = {}, old = {};
    action.sa_handler = [](int) {}; // no SA_RESTART
    ASSERT_EQ(sigaction(SIGUSR1, &action, &old), 0);
    const Semaphore s = TSemaphore::Construct(0);
    TEvent done;
    std::thread waiter([&] {
        ExpectRaise([&] { s->Acquire(); }, 0x18E19F4F, TError::System, u"TSemaphore::Acquire: error=4");
        done.Signal();
    });
    // A signal that lands before the wait begins is spent on the handler: send until it reports.
    const auto deadline = std::chrono::steady_clock::now() + kBound;
    while (!done.Wait(std::chrono::milliseconds(5)) && std::chrono::steady_clock::now() < deadline)
        pthread_kill(waiter.native_handle(), SIGUSR1);
    if (!done.IsSet()) s->Release(); // never interrupted: let it finish, and fail below
    waiter.join();
    sigaction(SIGUSR1, &old, nullptr);
}

TEST(TSemaphore, ContendedScopesNeverLoseOrDuplicateAUnit) {
    const Semaphore s = TSemaphore::Construct(3);
    std::atomic<int> holders{0}, most{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < 20000; ++i) // blocking and timed scopes, alternately
                if (TSemaphoreScope scope = (i + t) % 2 ? TSemaphoreScope(s) : TSemaphoreScope(s, 0);
                    scope.IsAcquired()) {
                    int now = ++holders, seen = most.load();
                    while (now > seen && !most.compare_exchange_weak(seen, now))
                        continue;
                    --holders;
                }
        });
    for (auto& t : threads)
        t.join();
    EXPECT_LE(most.load(), 3);
    EXPECT_EQ(FreeUnits(s), 3);
    EXPECT_EQ(s->GetReferenceCount(), 1);
}

TEST(TSemaphore, ProducersWakeEveryConsumer) {
    constexpr int kUnits = 100000;
    const Semaphore s = TSemaphore::Construct(0);
    TCountdownEvent consumed(4);
    std::vector<std::thread> threads;
    for (int c = 0; c < 4; ++c)
        threads.emplace_back([&] {
            for (int i = 0; i < kUnits / 4; ++i)
                s->Acquire();
            consumed.Signal();
        });
    for (int p = 0; p < 2; ++p)
        threads.emplace_back([&] {
            for (int i = 0; i < kUnits / 2; ++i)
                s->Release();
        });
    const bool finished = consumed.Wait(kBound);
    for (int i = 0; !finished && i < kUnits; ++i)
        s->Release(); // free a stuck consumer: fail, not hang
    for (auto& t : threads)
        t.join();
    ASSERT_TRUE(finished);
    EXPECT_FALSE(s->TryAcquire()); // no unit counted twice
}

// A semaphore left open keeps its mapping: 100k of them exhaust the usual 65530 long before the end.
TEST(TSemaphore, ShortLivedSemaphoresLeaveNoNameOrMapping) {
    for (int i = 0; i < 100000; ++i)
        TSemaphore::Construct(1);
    const Semaphore alive = TSemaphore::Construct(0);
    const std::string name = "sem.velmora_" + std::to_string(getpid()) + "_";
    for (auto const& entry : std::filesystem::directory_iterator("/dev/shm"))
        EXPECT_NE(entry.path().filename().string().rfind(name, 0), 0u) << entry.path();
    int mapped = 0; // under the temporary name the platform creates it with
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);)
        mapped += line.find("/dev/shm/sem.") != std::string::npos;
    EXPECT_EQ(mapped, 1); // only the live one
}

} // namespace
