// Cancel events: a manual-reset event that is also a node of a tree. Signalling a node signals its
// whole subtree, parent before children, so a request to cancel reaches everything started under
// it. Nodes are shared through RefCntPtr; a parent holds a reference to each child, never the
// reverse, and the tree must stay a tree.
#pragma once

#include <kestal/KestalExport.h>
#include <kestal/ReferenceCount.h>
#include <kestal/TEvent.h>
#include <memory>

class KESTAL_API TCancelEvent : public RefCntObject, public IEvent {
public:
    class Impl;

    /// Not set, no children.
    TCancelEvent();
    ~TCancelEvent() override;
    TCancelEvent(TCancelEvent const&) = delete;
    TCancelEvent& operator=(TCancelEvent const&) = delete;

    /// Sets this node (its callbacks run and its waiters wake first), then signals each child in
    /// ascending address order, depth first, with the child lock held. An exception from a
    /// callback or a null child leaves the walk at once; later children stay unsignalled.
    void Signal() const override;
    /// This node's own flag.
    bool IsSet() const override;
    /// Clears this node's flag only: children stay as they are.
    void Reset() const override;
    bool Wait() const override;
    /// Raises LogicException (code 0x2CF31F82) for a negative timeout.
    bool Wait(std::chrono::milliseconds timeout) const override;
    void AddOnSignalCallback(void* key, std::function<void()> callback) const override;
    void RemoveOnSignalCallback(void* key) const override;

    /// Adopts `child`, and signals it at once if this node is set; a concurrent Signal never
    /// misses it. A child already present raises LogicException (code 0x8DB0B7A4) and is kept
    /// once. A null child is taken too, and makes every later Signal raise the null-pointer
    /// assertion before reaching any child.
    void Add(RefCntPtr<TCancelEvent, RefCntObject> child) const;
    /// Drops `child` (destroying it if that was the last reference). A child not present raises
    /// LogicException (code 0xE1DDA3CC).
    void Remove(RefCntPtr<TCancelEvent, RefCntObject> child) const;

private:
    std::unique_ptr<Impl> m_impl;
};
