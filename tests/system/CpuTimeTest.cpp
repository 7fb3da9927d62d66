// velmora::cputime: a scope measures its own thread's CPU time, switch or no switch; the arithmetic
// and text forms.
#include <atomic>
#include <gtest/gtest.h>
#include <kestal/CpuTime.h>
#include <sstream>
#include <thread>

using namespace velmora::cputime;

namespace {

// Spins until this thread has used `ms` more milliseconds of CPU, by its own clock.
void BurnCpu(unsigned long long ms) {
    auto used = [] {
        auto const [user, system] = GetCurrentThreadTimeInternal();
        return user + system;
    };
    unsigned long long const until = used() + ms * 1000;
    std::atomic<unsigned long long> sink{0};
    while (used() < until)
        for (int i = 0; i < 10000; ++i)
            sink.fetch_add(i, std::memory_order_relaxed);
}

} // namespace

// Scopes add to their value (each field truncated once), nested ones alike, and the switch only
// says whether trackers look: a scope measures regardless.
TEST(ThreadTimeScope, AddsTheWorkDoneInsideItEvenWithTheSwitchOff) {
    EXPECT_TRUE(SetCpuTrackingEnabled(false)); // returns the old value: on by default
    ThreadTimeValue value(1000, 2000), inner;
    {
        ThreadTimeScope outerScope(value);
        ThreadTimeScope innerScope(inner);
        BurnCpu(40);
    }
    EXPECT_FALSE(SetCpuTrackingEnabled(true));
    EXPECT_TRUE(value.user >= 1000u && value.system >= 2000u);
    EXPECT_GE((value.user - 1000) + (value.system - 2000), 38u);
    EXPECT_GE(inner.user + inner.system, 38u);
}

TEST(ThreadTimeScope, CountsOnlyItsOwnThread) {
    ThreadTimeValue waiter;
    {
        ThreadTimeScope scope(waiter);
        std::thread([] { BurnCpu(200); }).join(); // blocked, not running, while the worker burns
    }
    EXPECT_LT(waiter.user + waiter.system, 100u);
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

    std::ostringstream os;
    os << ThreadTimeValue(3, 4) << ThreadTimeOption::Default << ThreadTimeOption::GetThreadTimes
       << static_cast<ThreadTimeOption>(7);
    EXPECT_EQ(os.str(), "3 4\nDefault\nGetThreadTimes\nUnrecognized\n");
}
