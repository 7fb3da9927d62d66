// The public events over EventBase: TEvent, TAutoResetEvent, TCountdownEvent, the cancel tree, and
// the waits on several events, which are built from callbacks and one countdown on the stack.
#include "EventBase.h"
#include "kestal/errors/LogicAssertSites.h"

#include <atomic>
#include <kestal/TCancelEvent.h>
#include <kestal/TEvent.h>
#include <set>

using kestal::detail::RaiseLogicAssert;
namespace LogicAsserts = kestal::detail::LogicAsserts;

// ---- IEvent ----

IEvent::IEvent() = default;
IEvent::IEvent(IEvent const&) = default;
IEvent& IEvent::operator=(IEvent const&) {
    return *this;
}
IEvent::~IEvent() = default;

// ---- TEvent ----

class TEvent::Impl final : public kestal::detail::ManualReset {};

TEvent::TEvent()
    : TEvent(false) {}
TEvent::TEvent(bool signalled)
    : m_impl(std::make_unique<Impl>()) {
    if (signalled) Signal();
}
TEvent::~TEvent() {
    m_impl.reset();
}

void TEvent::Signal() const {
    m_impl->Signal();
}
bool TEvent::IsSet() const {
    return m_impl->IsSet();
}
bool TEvent::Wait() const {
    return m_impl->Wait();
}
void TEvent::Reset() const {
    m_impl->Reset();
}
bool TEvent::Wait(std::chrono::milliseconds timeout) const {
    return m_impl->Wait(timeout);
}
void TEvent::AddOnSignalCallback(void* key, std::function<void()> callback) const {
    m_impl->AddOnSignalCallback(key, std::move(callback));
}
void TEvent::RemoveOnSignalCallback(void* key) const {
    m_impl->RemoveOnSignalCallback(key);
}

// ---- TAutoResetEvent ----

TAutoResetEvent::TAutoResetEvent()
    : m_impl(std::make_unique<kestal::detail::AutoReset>()) {}
TAutoResetEvent::~TAutoResetEvent() {
    m_impl.reset();
}

void TAutoResetEvent::Signal() const {
    m_impl->Signal();
}
bool TAutoResetEvent::IsSet() const {
    return m_impl->IsSet();
}
bool TAutoResetEvent::Wait() const {
    return m_impl->Wait();
}
void TAutoResetEvent::Reset() const {
    m_impl->Reset();
}
bool TAutoResetEvent::Wait(std::chrono::milliseconds timeout) const {
    return m_impl->Wait(timeout);
}
void TAutoResetEvent::AddOnSignalCallback(void* key, std::function<void()> callback) const {
    m_impl->AddOnSignalCallback(key, std::move(callback));
}
void TAutoResetEvent::RemoveOnSignalCallback(void* key) const {
    m_impl->RemoveOnSignalCallback(key);
}

// ---- TCountdownEvent ----

class TCountdownEvent::Impl {
public:
    explicit Impl(unsigned int count)
        : remaining(count)
        , initial(count) {}

    TEvent event;
    std::uint64_t remaining;
    std::uint64_t initial;
    TRecursiveMutex countLock; // taken before the event's callback lock
};

TCountdownEvent::TCountdownEvent(unsigned int count)
    : m_impl(std::make_unique<Impl>(count)) {}
TCountdownEvent::~TCountdownEvent() {
    m_impl.reset();
}

// Only the step from 1 to 0 signals; a count of 0 wraps and never gets there again in practice.
void TCountdownEvent::Signal() const {
    ScopedLock<TRecursiveMutex> lock(m_impl->countLock);
    if (m_impl->remaining-- == 1) m_impl->event.Signal();
}
bool TCountdownEvent::IsSet() const {
    return m_impl->event.IsSet();
}
bool TCountdownEvent::Wait() const {
    return m_impl->event.Wait();
}
void TCountdownEvent::Reset() const {
    ScopedLock<TRecursiveMutex> lock(m_impl->countLock);
    m_impl->remaining = m_impl->initial;
    m_impl->event.Reset();
}
bool TCountdownEvent::Wait(std::chrono::milliseconds timeout) const {
    return m_impl->event.Wait(timeout);
}
void TCountdownEvent::AddOnSignalCallback(void* key, std::function<void()> callback) const {
    m_impl->event.AddOnSignalCallback(key, std::move(callback));
}
void TCountdownEvent::RemoveOnSignalCallback(void* key) const {
    m_impl->event.RemoveOnSignalCallback(key);
}

// ---- TCancelEvent ----

// The node's own event, its children in address order, and the child lock. Members go in reverse:
// the child lock, then the children (released), then the own event.
class TCancelEvent::Impl final : public TEvent {
public:
    ~Impl() override = default;

    // The own callbacks and waiters are served, and the callback lock released, before the child
    // lock is taken: locks go top-down through the tree.
    void Signal() const override {
        TEvent::Signal();
        ScopedLock<TRecursiveMutex> lock(m_childLock);
        for (RefCntPtr<TCancelEvent, RefCntObject> const& child : m_childEvents)
            child->Signal();
    }

    // Inserting and testing the flag under the child lock is what keeps a concurrent Signal from
    // missing the child: either its walk finds the child, or this test finds the flag set.
    void Add(RefCntPtr<TCancelEvent, RefCntObject> child) const {
        ScopedLock<TRecursiveMutex> lock(m_childLock);
        const auto [it, inserted] = m_childEvents.insert(std::move(child));
        if (!inserted) RaiseLogicAssert(LogicAsserts::EventAddDuplicateChild);
        if (IsSet()) (*it)->Signal();
    }

    void Remove(RefCntPtr<TCancelEvent, RefCntObject> child) const {
        ScopedLock<TRecursiveMutex> lock(m_childLock);
        const auto it = m_childEvents.find(child);
        if (it == m_childEvents.end()) RaiseLogicAssert(LogicAsserts::EventRemoveUnknownChild);
        // The argument's reference goes first, so that the set's, if the last, destroys the child
        // here, under the lock.
        child.reset();
        m_childEvents.erase(it);
    }

private:
    mutable std::set<RefCntPtr<TCancelEvent, RefCntObject>> m_childEvents;
    mutable TRecursiveMutex m_childLock;
};

TCancelEvent::TCancelEvent()
    : m_impl(std::make_unique<Impl>()) {}
TCancelEvent::~TCancelEvent() {
    m_impl.reset();
}

void TCancelEvent::Signal() const {
    m_impl->Signal();
}
bool TCancelEvent::IsSet() const {
    return m_impl->IsSet();
}
void TCancelEvent::Reset() const {
    m_impl->Reset();
}
bool TCancelEvent::Wait() const {
    return m_impl->Wait();
}
bool TCancelEvent::Wait(std::chrono::milliseconds timeout) const {
    return m_impl->Wait(timeout);
}
void TCancelEvent::AddOnSignalCallback(void* key, std::function<void()> callback) const {
    m_impl->AddOnSignalCallback(key, std::move(callback));
}
void TCancelEvent::RemoveOnSignalCallback(void* key) const {
    m_impl->RemoveOnSignalCallback(key);
}
void TCancelEvent::Add(RefCntPtr<TCancelEvent, RefCntObject> child) const {
    m_impl->Add(std::move(child));
}
void TCancelEvent::Remove(RefCntPtr<TCancelEvent, RefCntObject> child) const {
    m_impl->Remove(std::move(child));
}

// ---- waiting on several events ----

namespace {

// Counts `count` of the events through their callbacks and one countdown on this stack frame.
// Kept on purpose: a negative timeout raises from the countdown's wait with the callbacks still
// added, and nothing removes them.
bool WaitForSome(std::vector<IEvent*> const& events, std::chrono::milliseconds timeout, unsigned int count,
                 unsigned int& index) {
    if (count == 0) return true;
    TCountdownEvent countdown(count);
    // Sized once: each element's address is the key of its event's entry.
    std::vector<std::function<void()>> callbacks(events.size());
    std::vector<std::atomic<long>> fired(events.size());

    for (std::size_t i = 0; i < events.size(); ++i) {
        IEvent* const event = events[i];
        callbacks[i] = [event, position = static_cast<std::uint32_t>(i), fired = &fired,
                        countdown = &countdown, index = &index] {
            // Must see a TAutoResetEvent made in any binary: its type information is exported.
            auto const* autoReset = dynamic_cast<TAutoResetEvent const*>(event);
            if ((*fired)[position].exchange(1, std::memory_order_seq_cst) != 0) return;
            // Another waiter took the signal; this event takes no further part in this wait.
            if (autoReset && !autoReset->Wait(std::chrono::milliseconds(0))) return;
            // Signalling threads may store at once.
            std::atomic_ref<unsigned int>(*index).store(position, std::memory_order_relaxed);
            countdown->Signal();
        };
        event->AddOnSignalCallback(&callbacks[i], callbacks[i]);
        // Closes the gap between an earlier signal and the adding.
        if (event->IsSet()) callbacks[i]();
    }

    const bool counted = countdown.Wait(timeout);
    // After this no callback is running or will run, so the frame can go.
    for (std::size_t i = 0; i < events.size(); ++i)
        events[i]->RemoveOnSignalCallback(&callbacks[i]);
    return counted;
}

} // namespace

bool WaitForAll(std::vector<IEvent*> const& events, std::chrono::milliseconds timeout) {
    unsigned int index = 0;
    return WaitForSome(events, timeout, static_cast<unsigned int>(events.size()), index);
}

bool WaitForAny(std::vector<IEvent*> const& events, std::chrono::milliseconds timeout, unsigned int& index) {
    return WaitForSome(events, timeout, 1, index);
}

bool WaitForAny(std::vector<IEvent*> const& events, std::chrono::milliseconds timeout) {
    unsigned int index = 0;
    return WaitForSome(events, timeout, 1, index);
}
