// The wake-up channel on Linux: a futex on the ticket word.
#include "WakeChannel.h"

#include <ctime>
#include <linux/futex.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace kestal::detail {

namespace {

// Before sleeping: a few pauses catch a signal from a thread running on another core, and a couple
// of yields let a signaller that shares this core run first. Longer spins only cost: on a busy
// machine the signaller is usually not running while we spin.
constexpr int kSpins = 16;
constexpr int kYields = 2;

inline void CpuRelax() noexcept {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__aarch64__)
    asm volatile("yield" ::: "memory");
#endif
}

} // namespace

void WakeChannel::Sleep(std::uint32_t ticket, Clock::time_point until) const noexcept {
    for (int i = 0; i < kSpins; ++i) {
        if (m_ticket.load(std::memory_order_relaxed) != ticket) return;
        CpuRelax();
    }
    for (int i = 0; i < kYields; ++i) {
        if (m_ticket.load(std::memory_order_relaxed) != ticket) return;
        sched_yield();
    }
    // The steady clock is CLOCK_MONOTONIC, which is what FUTEX_WAIT_BITSET measures an absolute
    // timeout against.
    const auto since = std::chrono::duration_cast<std::chrono::nanoseconds>(until.time_since_epoch()).count();
    if (since <= 0) return;
    timespec at{};
    at.tv_sec = static_cast<time_t>(since / 1000000000);
    at.tv_nsec = static_cast<long>(since % 1000000000);
    m_sleepers.fetch_add(1, std::memory_order_seq_cst);
    // EAGAIN (the ticket moved), ETIMEDOUT and EINTR all just return: the caller looks again.
    syscall(SYS_futex, reinterpret_cast<std::uint32_t*>(&m_ticket), FUTEX_WAIT_BITSET_PRIVATE, ticket, &at,
            nullptr, FUTEX_BITSET_MATCH_ANY);
    m_sleepers.fetch_sub(1, std::memory_order_relaxed);
}

void WakeChannel::WakeSleepers(int count) const noexcept {
    syscall(SYS_futex, reinterpret_cast<std::uint32_t*>(&m_ticket), FUTEX_WAKE_PRIVATE, count, nullptr,
            nullptr, 0);
}

} // namespace kestal::detail
