// What a waiting thread sleeps on. A waiter takes a ticket before it tests its condition and sleeps
// only while the ticket is still current, so a wake-up that comes between the test and the sleep
// is not lost. Waking never takes a lock, and costs a system call only when someone is asleep.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>

namespace kestal::detail {

class WakeChannel {
public:
    using Clock = std::chrono::steady_clock;

    /// Take it before testing the condition the sleep is for.
    std::uint32_t Ticket() const noexcept { return m_ticket.load(std::memory_order_acquire); }

    /// Returns once a wake-up has come since `ticket` was taken, or at `until`, or earlier for no
    /// reason. Spins briefly before it goes to sleep.
    void Sleep(std::uint32_t ticket, Clock::time_point until) const noexcept;

    void WakeOne() const noexcept { Wake(1); }
    void WakeAll() const noexcept { Wake(kAll); }

private:
    static constexpr int kAll = 0x7FFFFFFF;

    void Wake(int count) const noexcept {
        // Both sequentially consistent: either the sleeper counted itself before this load, or its
        // sleep sees the new ticket and returns at once.
        m_ticket.fetch_add(1, std::memory_order_seq_cst);
        if (m_sleepers.load(std::memory_order_seq_cst) != 0) WakeSleepers(count);
    }
    void WakeSleepers(int count) const noexcept;

    mutable std::atomic<std::uint32_t> m_ticket{0};
    mutable std::atomic<std::uint32_t> m_sleepers{0};
};

} // namespace kestal::detail
