// Locks: recursion and TryLock across threads, exclusion under contention (TSan sees any breach
// as a race), a second writer woken by the first, and the 16-bit limits.
#include "SyncTestSupport.h"

#include <barrier>
#include <kestal/TLocks.h>
#include <mutex>
#include <shared_mutex>
#include <thread>

namespace {

using namespace kestal::testing;

TEST(TRecursiveMutex, RecursesForItsOwnerOnly) {
    TRecursiveMutex m(0xFFFFFFFFu); // the argument means nothing
    auto takenElsewhere = [&, taken = false]() mutable {
        std::thread([&] { (taken = m.TryLock()) ? m.Unlock() : void(); }).join();
        return taken;
    };
    {
        std::lock_guard<TRecursiveMutex> outer(m);
        ScopedReadLock<TRecursiveMutex> inner(m); // the read lock is the exclusive one
        ScopedLock<TRecursiveMutex> none(nullptr);
        EXPECT_TRUE(m.TryLock());
        m.Unlock();
        EXPECT_FALSE(takenElsewhere());
    }
    EXPECT_TRUE(takenElsewhere());
}

// Writers recurse and read inside their write lock; readers must never see a half update.
TEST(TReadWriteLock, WritersExcludeEveryoneReadersShare) {
    TReadWriteLock lock;
    long a = 0, b = 0;
    std::atomic<long> torn{0};
    constexpr int kRounds = 3000;
    auto writer = [&] {
        for (int i = 0; i < kRounds; ++i) {
            ScopedLock<TReadWriteLock> outer(lock);
            ++a;
            std::unique_lock<TReadWriteLock> again(lock);
            ScopedReadLock<TReadWriteLock> read(lock);
            ++b;
        }
    };
    auto reader = [&] {
        for (int i = 0; i < kRounds; ++i) {
            std::shared_lock<TReadWriteLock> read(lock);
            torn += a != b;
        }
    };
    std::thread threads[] = {std::thread(writer), std::thread(writer), std::thread(reader),
                             std::thread(reader)};
    for (auto& t : threads)
        t.join();
    EXPECT_EQ(a + b, 4 * kRounds);
    EXPECT_EQ(torn, 0);
}

// Two writers queue behind a reader, whose release wakes one; only the first writer's Unlock can
// wake the second. Many rounds, so that both often sleep on the condition.
TEST(TReadWriteLock, SecondWaitingWriterIsWokenByTheFirst) {
    TReadWriteLock lock;
    constexpr int kRounds = 1000;
    std::barrier gate(3);
    TCountdownEvent done(2);
    auto writer = [&] {
        for (int i = 0; i < kRounds; ++i) {
            gate.arrive_and_wait(); // a reader is in
            std::lock_guard<TReadWriteLock> write(lock);
            done.Signal();
        }
    };
    std::thread w1(writer), w2(writer);
    for (int i = 0; i < kRounds; ++i) {
        done.Reset();
        lock.LockRead();
        gate.arrive_and_wait();
        lock.UnlockRead();
        RequireSignalled(done, "both writers");
    }
    w1.join();
    w2.join();
}

// The 65536th hold raises and keeps the inner mutex, which only a stray Unlock (wrapping the
// writer count unchecked) releases: TSan reports the unlock of a free mutex otherwise.
TEST(TReadWriteLock, SixteenBitLimitsRaiseWithTheMutexHeld) {
    TReadWriteLock writes, reads;
    for (int i = 0; i < 65535; ++i)
        writes.Lock(), reads.LockRead();
    ExpectSite([&] { writes.Lock(); }, 0xA44EBAAD, "main/synchronize/TLocks", 235);
    ExpectSite([&] { reads.LockRead(); }, 0x88DFEC71, "main/synchronize/TLocks", 259);
    for (int i = 0; i < 65536; ++i)
        writes.Unlock();
    reads.Unlock();
}

} // namespace
