// velmora::cputime: a scope measures its own thread's CPU time; the arithmetic, switches and text forms.
#include <atomic>
#include <gtest/gtest.h>
#include <kestal/CpuTime.h>
#include <sstream>
#include <thread>

using namespace velmora::cputime;

namespace {

unsigned long long ThreadCpuMicroseconds() {
    auto const [user, system] = GetCurrentThreadTimeInternal();
    return user + system;
}

// Spins until this thread has used `ms` more milliseconds of CPU, by its own clock.
void BurnCpu(unsigned long long ms) {
    unsigned long long const until = ThreadCpuMicroseconds() + ms * 1000;
    std::atomic<unsigned long long> sink{0};
    while (ThreadCpuMicroseconds() < until) {
        for (int i = 0; i < 10000; ++i)
            sink.fetch_add(i, std::memory_order_relaxed);
    }
}

} // namespace

TEST(ThreadTimeScope, MeasuresWorkDoneInsideIt) {
    ThreadTimeValue value(1000, 2000);
    {
        ThreadTimeScope scope(value);
        BurnCpu(60);
    }
    // The scope encloses the loop, so it saw at least the loop's 60 ms; each field is truncated once.
    EXPECT_GE((value.user - 1000) + (value.system - 2000), 58u);
    EXPECT_GE(value.user, 1000u);
    EXPECT_GE(value.system, 2000u);

    ThreadTimeValue nested;
    {
        ThreadTimeScope outer(nested);
        {
            ThreadTimeScope inner(nested);
            BurnCpu(30);
        }
    }
    EXPECT_GE(nested.user + nested.system, 2u * 29u); // both scopes added the same work
}

TEST(ThreadTimeScope, CountsOnlyItsOwnThread) {
    ThreadTimeValue waiter;
    std::atomic<bool> started{false};
    {
        ThreadTimeScope scope(waiter);
        std::thread worker([&] {
            started = true;
            BurnCpu(200);
        });
        worker.join(); // blocked, not running, while the worker burns
    }
    ASSERT_TRUE(started);
    EXPECT_LT(waiter.user + waiter.system, 100u);
}

TEST(ThreadTimeScope, MeasuresEvenWithTheSwitchOff) {
    EXPECT_TRUE(SetCpuTrackingEnabled(false)); // returns the old value: on by default
    ThreadTimeValue v;
    {
        ThreadTimeScope scope(v);
        BurnCpu(20);
    }
    EXPECT_GE(v.user + v.system, 18u);
    EXPECT_FALSE(SetCpuTrackingEnabled(true));
}

TEST(ThreadTimeValue, DifferencesAreWholeMillisecondsAndSumsWrap) {
    ThreadTimeValue const d = ComputeThreadTimeValue({5999, 1000000}, {1000, 999000});
    EXPECT_EQ(std::pair(d.user, d.system), std::pair(4u, 1u));
    EXPECT_EQ(ComputeThreadTimeValue({999, 0}, {0, 0}).user, 0u);
    // A clock that went backwards gives 0, not a huge value.
    ThreadTimeValue const backwards = ComputeThreadTimeValue({1000, 5000}, {9000, 2000});
    EXPECT_EQ(std::pair(backwards.user, backwards.system), std::pair(0u, 3u));

    ThreadTimeValue v(0xFFFFFFFFu, 1);
    v += ThreadTimeValue(1, 1);
    EXPECT_EQ(std::pair(v.user, v.system), std::pair(0u, 2u));
}

TEST(CpuTime, TextForms) {
    std::ostringstream os;
    os << ThreadTimeValue(3, 4) << ThreadTimeOption::Default << ThreadTimeOption::GetThreadTimes
       << static_cast<ThreadTimeOption>(7);
    EXPECT_EQ(os.str(), "3 4\nDefault\nGetThreadTimes\nUnrecognized\n");
}
