// The flag, the callbacks and the sliced waits shared by every event.
#include "EventBase.h"
#include "kestal/errors/LogicAssertSites.h"

#include <utility>

namespace kestal::detail {

namespace {

using Clock = std::chrono::steady_clock;

// Signal never takes the wait mutex, so a waiter's own clock is what guarantees its progress: it
// looks at the flag at least this often.
constexpr std::chrono::milliseconds kSlice(16);
// This long or longer means no limit.
constexpr std::chrono::milliseconds kNoLimit(0xFFFFFFFFLL);

} // namespace

// ---- callbacks ----

struct CallbackTable::Entry {
    std::function<void()> callback;
    std::uint64_t serial;
    Entry* previous = nullptr;
    Entry* next = nullptr;
    unsigned int walks = 0; // walks now inside this entry's callback
    bool retired = false;
};

// Keeps an entry alive while its callback runs; frees it afterwards if it was retired meanwhile.
class CallbackTable::Pin {
public:
    Pin(CallbackTable& table, Entry* entry) noexcept
        : m_table(table)
        , m_entry(entry) {
        ++m_entry->walks;
    }
    ~Pin() {
        if (--m_entry->walks == 0 && m_entry->retired) m_table.Unlink(m_entry);
    }
    Pin(Pin const&) = delete;
    Pin& operator=(Pin const&) = delete;

private:
    CallbackTable& m_table;
    Entry* m_entry;
};

CallbackTable::~CallbackTable() {
    for (Entry* entry = m_first; entry;)
        delete std::exchange(entry, entry->next);
}

void CallbackTable::Set(void* key, std::function<void()> callback) {
    if (!m_byKey) {
        m_byKey = std::make_unique<std::unordered_map<void*, Entry*>>();
        m_byKey->max_load_factor(1.0f);
    }
    auto* entry = new Entry{std::move(callback), m_lastSerial + 1};
    Entry* replaced = nullptr;
    try {
        auto [it, inserted] = m_byKey->try_emplace(key, entry);
        if (!inserted) replaced = std::exchange(it->second, entry);
    } catch (...) {
        delete entry;
        throw;
    }
    ++m_lastSerial;
    entry->previous = m_last;
    (m_last ? m_last->next : m_first) = entry;
    m_last = entry;
    // A replaced callback may be the one running now: it becomes a removed entry, not a new value.
    if (replaced) Retire(replaced);
}

void CallbackTable::Erase(void* key) noexcept {
    if (!m_byKey) return;
    const auto it = m_byKey->find(key);
    if (it == m_byKey->end()) return;
    Entry* entry = it->second;
    m_byKey->erase(it);
    Retire(entry);
}

void CallbackTable::RunEntries() {
    // Entries are in serial order; those added by the callbacks below come after `last`.
    const std::uint64_t last = m_lastSerial;
    for (Entry* entry = m_first; entry && entry->serial <= last;) {
        Entry* next;
        if (entry->retired) {
            next = entry->next; // an outer walk of the same thread is inside it
        } else {
            Pin pin(*this, entry);
            entry->callback();
            next = entry->next; // read before the pin may free the entry
        }
        entry = next;
    }
}

void CallbackTable::Retire(Entry* entry) noexcept {
    entry->retired = true;
    if (entry->walks == 0) Unlink(entry);
}

void CallbackTable::Unlink(Entry* entry) noexcept {
    (entry->previous ? entry->previous->next : m_first) = entry->next;
    (entry->next ? entry->next->previous : m_last) = entry->previous;
    delete entry;
}

// ---- EventBase ----

EventBase::~EventBase() {
    m_wakeUp.WakeAll();
}

void EventBase::AddOnSignalCallback(void* key, std::function<void()> callback) const {
    ScopedLock<TRecursiveMutex> lock(m_callbackLock);
    m_callbacks.Set(key, std::move(callback));
}

void EventBase::RemoveOnSignalCallback(void* key) const {
    ScopedLock<TRecursiveMutex> lock(m_callbackLock);
    m_callbacks.Erase(key);
}

// Nothing tests the old flag: signalling a set event runs the callbacks again. A throwing callback
// leaves with the flag set and nobody woken; sleepers see the flag at their next slice.
void EventBase::SetAndRunCallbacks() const {
    ScopedLock<TRecursiveMutex> lock(m_callbackLock);
    m_signalled.store(1, std::memory_order_release);
    m_callbacks.RunAll();
}

void EventBase::SleepUnlocked(WaitLock& lock, std::uint32_t ticket, Clock::time_point until) const {
    lock.unlock();
    m_wakeUp.Sleep(ticket, until);
    lock.lock();
}

bool EventBase::SeenWithinSlice(WaitLock& lock, Clock::time_point sliceEnd) const {
    for (;;) {
        const std::uint32_t ticket = m_wakeUp.Ticket();
        if (IsSet()) return true;
        SleepUnlocked(lock, ticket, sliceEnd);
        if (Clock::now() >= sliceEnd) return false;
    }
}

// ---- ManualReset ----

void ManualReset::Signal() const {
    SetAndRunCallbacks();
    m_wakeUp.WakeAll();
}

bool ManualReset::Wait() const {
    WaitLock lock(m_waitMutex);
    for (;;) {
        if (SeenWithinSlice(lock, Clock::now() + kSlice) || IsSet()) return true;
    }
}

// A slice is not cut short at the deadline: the wait may return up to one slice late, never early.
bool ManualReset::Wait(std::chrono::milliseconds timeout) const {
    if (timeout.count() < 0) RaiseLogicAssert(LogicAsserts::ManualResetWaitNegativeTimeout);
    if (timeout >= kNoLimit) return Wait();
    Clock::time_point last = Clock::now();
    const bool seen = IsSet();
    WaitLock lock(m_waitMutex);
    if (seen) return true;
    const Clock::time_point deadline = last + timeout;
    while (last < deadline) {
        if (SeenWithinSlice(lock, Clock::now() + kSlice) || IsSet()) return true;
        last = Clock::now();
        if (IsSet()) return true;
    }
    return false;
}

// ---- AutoReset ----

void AutoReset::Signal() const {
    SetAndRunCallbacks();
    m_wakeUp.WakeOne();
}

bool AutoReset::Wait() const {
    WaitLock lock(m_waitMutex);
    for (;;) {
        if (SeenWithinSlice(lock, Clock::now() + kSlice) || IsSet()) {
            Consume();
            return true;
        }
        // Kept on purpose: a flag that turns up just now is returned without being cleared.
        if (IsSet()) return true;
    }
}

// No early look at the flag and no slices: each sleep runs to the deadline, a signal ending it.
bool AutoReset::Wait(std::chrono::milliseconds timeout) const {
    if (timeout.count() < 0) RaiseLogicAssert(LogicAsserts::AutoResetWaitNegativeTimeout);
    if (timeout >= kNoLimit) return Wait();
    Clock::time_point last = Clock::now();
    WaitLock lock(m_waitMutex);
    const Clock::time_point deadline = last + timeout;
    for (;;) {
        const std::uint32_t ticket = m_wakeUp.Ticket();
        if (IsSet()) {
            Consume();
            return true;
        }
        // Kept on purpose: at the deadline the flag is returned as it is, not cleared.
        if (last >= deadline) return IsSet();
        SleepUnlocked(lock, ticket, Clock::now() + (deadline - last));
        last = Clock::now();
    }
}

} // namespace kestal::detail
