// Events: flags that threads wait on and that run callbacks when signalled. IEvent is the interface
// of every event; TEvent stays set until Reset, TAutoResetEvent lets one waiter through per signal,
// TCountdownEvent becomes set on its n-th signal. WaitForAll and WaitForAny wait on several events
// of any kind at once, through their callbacks.
//
// Callbacks run on the signalling thread, in no promised order, with the event's callback lock
// held: once RemoveOnSignalCallback returns on another thread, the callback is not running and
// never runs again, so it may refer to its owner's stack. A callback may add, remove or replace
// entries of its own event (itself included) and signal it again: a removed entry never runs after
// its removal, and an added or replaced one first runs at the next Signal.
//
// Waiters sleep in slices of 16 ms and look at the flag at each slice's end, so a timed wait may
// return up to 16 ms after its deadline, never before. A timeout of 0xFFFFFFFF ms or more means no
// limit; a negative one raises LogicException. No event is copyable or movable.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <kestal/KestalExport.h>
#include <kestal/TLocks.h>
#include <memory>
#include <vector>

namespace kestal::detail {
class ManualReset;
class AutoReset;
} // namespace kestal::detail

/// The interface of all events. Every operation is const (an event's state is mutable) and may
/// be called from any thread; none is noexcept, since a callback may throw through Signal.
class KESTAL_API IEvent {
public:
    IEvent();
    IEvent(IEvent const&);
    /// Does nothing.
    IEvent& operator=(IEvent const&);
    virtual ~IEvent();

    /// Sets the event, runs every callback, then wakes waiters. Signalling a set event runs the
    /// callbacks again. An exception from a callback (std::bad_function_call for an empty one)
    /// leaves at once: the event stays set, later callbacks don't run and nobody is woken.
    virtual void Signal() const = 0;
    /// Whether the event is set (acquire); never consumes a signal.
    virtual bool IsSet() const = 0;
    /// Blocks until the event is seen set; returns true.
    virtual bool Wait() const = 0;
    /// Clears the flag; wakes nobody.
    virtual void Reset() const = 0;
    /// Blocks until the event is seen set (true) or the timeout has passed (false).
    virtual bool Wait(std::chrono::milliseconds timeout) const = 0;
    /// Adds `callback` under `key`, replacing an entry with the same key. Never runs it, even if
    /// the event is set: test IsSet afterwards not to miss an earlier signal.
    virtual void AddOnSignalCallback(void* key, std::function<void()> callback) const = 0;
    /// Erases the entry of `key`, if any. On return the callback isn't running on another thread.
    virtual void RemoveOnSignalCallback(void* key) const = 0;
};

/// A manual-reset event: once signalled it stays set until Reset.
class KESTAL_API TEvent : public IEvent {
public:
    class Impl;

    /// Not set.
    TEvent();
    /// Set from the start if `signalled` (through one Signal).
    explicit TEvent(bool signalled);
    ~TEvent() override;
    TEvent(TEvent const&) = delete;
    TEvent& operator=(TEvent const&) = delete;

    /// Wakes every waiter.
    void Signal() const override;
    bool IsSet() const override;
    bool Wait() const override;
    void Reset() const override;
    /// Raises LogicException (code 0x2CF31F82) for a negative timeout.
    bool Wait(std::chrono::milliseconds timeout) const override;
    void AddOnSignalCallback(void* key, std::function<void()> callback) const override;
    void RemoveOnSignalCallback(void* key) const override;

private:
    std::unique_ptr<Impl> m_impl;
};

/// An auto-reset event: a wait that sees it set clears it, so each signal lets one waiter
/// through. Signals that nobody has consumed yet do not add up.
class KESTAL_API TAutoResetEvent : public IEvent {
public:
    /// Not set.
    TAutoResetEvent();
    ~TAutoResetEvent() override;
    TAutoResetEvent(TAutoResetEvent const&) = delete;
    TAutoResetEvent& operator=(TAutoResetEvent const&) = delete;

    /// Wakes one waiter.
    void Signal() const override;
    bool IsSet() const override;
    /// Clears the flag it sees set. In a narrow gap at the end of a 16 ms slice it may return
    /// true and leave the flag set.
    bool Wait() const override;
    void Reset() const override;
    /// Sleeps to the deadline in one piece (a signal wakes it) and clears the flag it sees set,
    /// so Wait(0) consumes a pending signal. At the deadline it returns the flag as it then is,
    /// without clearing it. Raises LogicException (code 0x9F1CA6C4) for a negative timeout.
    bool Wait(std::chrono::milliseconds timeout) const override;
    void AddOnSignalCallback(void* key, std::function<void()> callback) const override;
    void RemoveOnSignalCallback(void* key) const override;

private:
    std::unique_ptr<kestal::detail::AutoReset> m_impl;
};

/// Becomes set on the signal that takes its count from 1 to 0; further signals wrap the count
/// and change nothing. Waits are those of TEvent.
class KESTAL_API TCountdownEvent : public IEvent {
public:
    class Impl;

    /// Not set, even for a count of 0 (whose first signal wraps the count).
    explicit TCountdownEvent(unsigned int count);
    ~TCountdownEvent() override;
    TCountdownEvent(TCountdownEvent const&) = delete;
    TCountdownEvent& operator=(TCountdownEvent const&) = delete;

    /// Counts one signal; the last one signals the event, with the count lock held.
    void Signal() const override;
    bool IsSet() const override;
    bool Wait() const override;
    /// Restores the initial count and clears the flag, both under the count lock.
    void Reset() const override;
    /// Raises LogicException (code 0x2CF31F82) for a negative timeout.
    bool Wait(std::chrono::milliseconds timeout) const override;
    void AddOnSignalCallback(void* key, std::function<void()> callback) const override;
    void RemoveOnSignalCallback(void* key) const override;

private:
    std::unique_ptr<Impl> m_impl;
};

/// Waits until every listed event has been signalled (or was set), or the timeout has passed.
/// A listed TAutoResetEvent's signal is consumed; other events stay set. An empty list is true at
/// once. A negative timeout raises LogicException (code 0x2CF31F82) and leaves this wait's
/// callbacks on the events, referring to a dead stack frame: never pass one while the events
/// can be signalled.
KESTAL_API bool WaitForAll(std::vector<IEvent*> const& events, std::chrono::milliseconds timeout);

/// Waits until one listed event has been signalled (or was set); `index` gets the position of the
/// event counted last. Every TAutoResetEvent found set at the start is consumed and the last set
/// position is reported. On a timeout `index` is unchanged, unless some event was counted all the
/// same: then it holds that position. An empty list waits out the timeout. A negative timeout is
/// as in WaitForAll.
KESTAL_API bool WaitForAny(std::vector<IEvent*> const& events, std::chrono::milliseconds timeout,
                           unsigned int& index);
/// As above, without reporting the position.
KESTAL_API bool WaitForAny(std::vector<IEvent*> const& events, std::chrono::milliseconds timeout);
