// The state and algorithms behind every event: an atomic flag, a wake-up channel and a wait mutex
// for waiters, and the callbacks with the lock that guards them and their running. Signal never
// takes the wait mutex and a waiter never takes the callback lock while it holds the wait mutex,
// so a wake-up may pass a waiter by; waiters therefore sleep in bounded slices and look again.
#pragma once

#include "WakeChannel.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <kestal/TLocks.h>
#include <memory>
#include <mutex>
#include <unordered_map>

namespace kestal::detail {

// The callbacks of one event, run in the order they were added. Every operation runs under the
// event's callback lock, which is recursive: a callback may edit the table while it is walked. A
// removed entry is skipped from then on (and freed once no walk is inside it); an entry added
// during a walk is left for the next one.
class CallbackTable {
public:
    CallbackTable() = default;
    /// Frees the entries without running them.
    ~CallbackTable();
    CallbackTable(CallbackTable const&) = delete;
    CallbackTable& operator=(CallbackTable const&) = delete;

    /// Adds or replaces the entry of `key`; a replacement counts as a new entry.
    void Set(void* key, std::function<void()> callback);
    void Erase(void* key) noexcept;
    /// Runs every entry present at the start that is still present when reached. An exception
    /// from a callback leaves at once.
    void RunAll() {
        if (m_first) RunEntries();
    }

private:
    struct Entry;
    class Pin;

    void RunEntries();
    void Retire(Entry* entry) noexcept;
    void Unlink(Entry* entry) noexcept;

    // The list head first: a Signal with no callbacks reads nothing else.
    Entry* m_first = nullptr; // every entry in order, retired ones still in a walk included
    Entry* m_last = nullptr;
    std::uint64_t m_lastSerial = 0;
    // The live entries; made by the first Set, so that an event without callbacks stays small.
    std::unique_ptr<std::unordered_map<void*, Entry*>> m_byKey;
};

class EventBase {
public:
    EventBase() = default;
    /// Wakes every waiter (they must be gone by the time the members go) and drops the callbacks
    /// unrun.
    ~EventBase();
    EventBase(EventBase const&) = delete;
    EventBase& operator=(EventBase const&) = delete;

    bool IsSet() const noexcept { return (m_signalled.load(std::memory_order_acquire) & 1) != 0; }
    void Reset() const noexcept { m_signalled.store(0, std::memory_order_release); }
    void AddOnSignalCallback(void* key, std::function<void()> callback) const;
    void RemoveOnSignalCallback(void* key) const;

protected:
    using Clock = std::chrono::steady_clock;
    using WaitLock = std::unique_lock<std::recursive_mutex>;

    /// Sets the flag and runs the callbacks under the callback lock; the caller wakes waiters.
    void SetAndRunCallbacks() const;
    /// Tests the flag and sleeps until `sliceEnd`, testing again after every early wake-up: true
    /// as soon as the flag is seen set, false at the slice's end.
    bool SeenWithinSlice(WaitLock& lock, Clock::time_point sliceEnd) const;
    /// Sleeps once with the wait mutex released.
    void SleepUnlocked(WaitLock& lock, std::uint32_t ticket, Clock::time_point until) const;

    mutable std::atomic<std::uint8_t> m_signalled{0};
    WakeChannel m_wakeUp;
    mutable std::recursive_mutex m_waitMutex;
    mutable CallbackTable m_callbacks;
    mutable TRecursiveMutex m_callbackLock;
};

/// Stays set until Reset; Signal wakes every waiter.
class ManualReset : public EventBase {
public:
    void Signal() const;
    bool Wait() const;
    bool Wait(std::chrono::milliseconds timeout) const;
};

/// A wait that sees the flag set clears it; Signal wakes one waiter.
class AutoReset : public EventBase {
public:
    void Signal() const;
    bool Wait() const;
    bool Wait(std::chrono::milliseconds timeout) const;

private:
    void Consume() const noexcept { m_signalled.store(0, std::memory_order_release); }
};

} // namespace kestal::detail
