// Intrusive reference counting for objects shared between threads and held across the library's
// interfaces (cancel events, semaphores). RefCntObject carries the count inside the object, so a
// raw pointer can always be turned back into a holder; RefCntPtr moves the count; RefCntPtrHash
// (and std::hash) hash a holder by the identity of the object it holds.
//
// An object is born with count 0: the first RefCntPtr brings it to 1, and the holder that takes it
// from 1 to 0 destroys it through the virtual destructor, on its own thread. Counts change by
// acquire/release read-modify-writes (plain loads and stores while the process has only ever had
// one thread), so the destroying thread sees every holder's writes. One RefCntPtr must not be
// changed by two threads at once; threads copy it instead.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <kestal/KestalExport.h>
#include <kestal/detail/SingleThreaded.h>
#include <type_traits>
#include <utility>

namespace kestal::detail {

/// Raises the logic assertion of a null RefCntPtr dereference (code 0x00BF554A).
[[noreturn]] KESTAL_API void ReportNullRefCntPtr();

} // namespace kestal::detail

class RefCntObject;
template <class T, class Base = RefCntObject>
class RefCntPtr;

/// The count without virtual functions: a 32-bit atomic count, then a marker word. `Derived` is the
/// class that adds the virtual destructor, through which the last reference deletes the object.
template <class Derived>
class RefCntObjectNonVirtualBase {
public:
    /// Written by every constructor; nothing reads it.
    static constexpr std::uint32_t Marker = 0xC466E877;
    /// An add that finds this count aborts: the count never reaches the largest 32-bit value.
    static constexpr std::int32_t LastCountBeforeAdd = 0x7FFFFFFE;

    /// Count 0.
    RefCntObjectNonVirtualBase() noexcept = default;
    /// A copy starts with a fresh count of 0: it takes nothing from its source.
    RefCntObjectNonVirtualBase(RefCntObjectNonVirtualBase const&) noexcept {}
    /// Leaves the count alone.
    RefCntObjectNonVirtualBase& operator=(RefCntObjectNonVirtualBase const&) noexcept { return *this; }

    /// Takes one reference; what every RefCntPtr copy does. Aborts the process when the count is
    /// already 0x7FFFFFFE.
    void AddReference() const noexcept {
        std::int32_t old;
        if (kestal::detail::ProcessIsSingleThreaded()) {
            old = m_refCount.load(std::memory_order_relaxed);
            if (old == LastCountBeforeAdd) std::abort();
            m_refCount.store(old + 1, std::memory_order_relaxed);
            return;
        }
        old = m_refCount.fetch_add(1, std::memory_order_acq_rel);
        if (old == LastCountBeforeAdd) std::abort();
    }

    /// The current count; a snapshot when other threads hold the object too.
    std::int32_t GetReferenceCount() const noexcept { return m_refCount.load(std::memory_order_acquire); }

protected:
    ~RefCntObjectNonVirtualBase() {
        static_assert(std::atomic<std::int32_t>::is_always_lock_free && sizeof(m_refCount) == 4);
        static_assert(std::is_standard_layout_v<RefCntObjectNonVirtualBase> &&
                          offsetof(RefCntObjectNonVirtualBase, m_refCount) == 0 &&
                          offsetof(RefCntObjectNonVirtualBase, m_marker) == 4 &&
                          sizeof(RefCntObjectNonVirtualBase) == 8,
                      "the count, then the marker: two 32-bit words");
    }

    /// Takes one reference away and gives the new count; at 0 deletes the object through
    /// Derived's virtual destructor. Never skips the atomic step at count 1: a raw pointer may take
    /// a new reference at any time. RefCntPtr calls it inline; RemoveReference forwards to it.
    std::int32_t DropReference() const noexcept {
        std::int32_t count;
        if (kestal::detail::ProcessIsSingleThreaded()) {
            count = m_refCount.load(std::memory_order_relaxed) - 1;
            m_refCount.store(count, std::memory_order_relaxed);
        } else {
            count = m_refCount.fetch_sub(1, std::memory_order_acq_rel) - 1;
        }
        if (count == 0) delete static_cast<Derived const*>(this);
        return count;
    }

private:
    // Holders drop their reference inline.
    template <class, class>
    friend class RefCntPtr;

    mutable std::atomic<std::int32_t> m_refCount{0};
    std::uint32_t m_marker = Marker;
};

/// Base class of reference-counted objects: the count plus a virtual destructor.
class KESTAL_API RefCntObject : public RefCntObjectNonVirtualBase<RefCntObject> {
public:
    RefCntObject() noexcept = default;
    /// Count 0, whatever the source's count.
    RefCntObject(RefCntObject const&) noexcept = default;
    /// Changes nothing: the target keeps its count.
    RefCntObject& operator=(RefCntObject const&) noexcept = default;
    virtual ~RefCntObject();

    /// Takes one reference away and gives the new count; at 0 the object is deleted. Not for an
    /// object that no RefCntPtr ever held.
    int RemoveReference() const noexcept;
};

/// A holder of one reference to a T, or null. Copies take a reference, moves take the holder's,
/// dropping gives it back. Implicit from T* (the count lives in the object) and from nullptr.
/// `Base` is the class that holds the count (AddReference, and DropReference as RemoveReference).
template <class T, class Base>
class RefCntPtr {
public:
    using element_type = T;

    RefCntPtr() noexcept = default;
    RefCntPtr(std::nullptr_t) noexcept {}
    /// Takes a reference to `p` unless it is null.
    RefCntPtr(T* p) noexcept
        : m_ptr(p) {
        if (p) static_cast<Base const*>(p)->AddReference();
    }
    RefCntPtr(RefCntPtr const& other) noexcept
        : RefCntPtr(other.m_ptr) {}
    /// Leaves `other` null; no count changes.
    RefCntPtr(RefCntPtr&& other) noexcept
        : m_ptr(std::exchange(other.m_ptr, nullptr)) {}
    /// From a holder of a derived class.
    template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    RefCntPtr(RefCntPtr<U, Base> const& other) noexcept
        : RefCntPtr(static_cast<T*>(other.get())) {}
    template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    RefCntPtr(RefCntPtr<U, Base>&& other) noexcept
        : m_ptr(std::exchange(other.m_ptr, nullptr)) {}
    ~RefCntPtr() { reset(); }

    RefCntPtr& operator=(RefCntPtr const& other) noexcept {
        RefCntPtr(other).swap(*this);
        return *this;
    }
    RefCntPtr& operator=(RefCntPtr&& other) noexcept {
        RefCntPtr(std::move(other)).swap(*this);
        return *this;
    }
    RefCntPtr& operator=(std::nullptr_t) noexcept {
        reset();
        return *this;
    }

    /// Becomes null first, then gives the old reference back, so a destructor it runs sees this
    /// holder already null.
    void reset() noexcept {
        if (T* old = std::exchange(m_ptr, nullptr)) static_cast<Base const*>(old)->DropReference();
    }
    /// Holds `p` (a reference taken) and gives the old reference back.
    void reset(T* p) noexcept { RefCntPtr(p).swap(*this); }
    void swap(RefCntPtr& other) noexcept { std::swap(m_ptr, other.m_ptr); }

    T* get() const noexcept { return m_ptr; }
    /// Null raises the logic assertion 0x00BF554A (reportNullPtr) without touching memory.
    T& operator*() const {
        if (!m_ptr) reportNullPtr();
        return *m_ptr;
    }
    T* operator->() const {
        if (!m_ptr) reportNullPtr();
        return m_ptr;
    }
    explicit operator bool() const noexcept { return m_ptr != nullptr; }

    /// Raises the logic assertion of a null dereference: code 0x00BF554A, the same for every T.
    [[noreturn]] void reportNullPtr() const { kestal::detail::ReportNullRefCntPtr(); }

    /// Identity of the held objects. Templates, so a raw pointer is never wrapped (and its object
    /// possibly deleted) just to be compared.
    template <class U>
    bool operator==(RefCntPtr<U, Base> const& other) const noexcept {
        return m_ptr == other.get();
    }
    bool operator==(std::nullptr_t) const noexcept { return m_ptr == nullptr; }
    /// A total order of the held addresses, for ordered containers.
    template <class U>
    bool operator<(RefCntPtr<U, Base> const& other) const noexcept {
        using Common = std::common_type_t<T*, U*>;
        return std::less<Common>()(m_ptr, other.get());
    }

private:
    template <class, class>
    friend class RefCntPtr;

    T* m_ptr = nullptr;
};

template <class T, class Base>
void swap(RefCntPtr<T, Base>& a, RefCntPtr<T, Base>& b) noexcept {
    a.swap(b);
}

/// A new T held by a new RefCntPtr.
template <class T, class... Args>
RefCntPtr<T> MakeRefCnt(Args&&... args) {
    return RefCntPtr<T>(new T(std::forward<Args>(args)...));
}

template <class T, class Base>
struct std::hash<RefCntPtr<T, Base>> {
    std::size_t operator()(RefCntPtr<T, Base> const& p) const noexcept { return std::hash<T*>()(p.get()); }
};

/// Hashes a RefCntPtr by the identity of the object it holds, as std::hash does.
class KESTAL_API RefCntPtrHash {
public:
    RefCntPtrHash();
    RefCntPtrHash(RefCntPtrHash const&);
    RefCntPtrHash& operator=(RefCntPtrHash const&);
    ~RefCntPtrHash();

    template <class T, class Base>
    std::size_t operator()(RefCntPtr<T, Base> const& p) const noexcept {
        return std::hash<RefCntPtr<T, Base>>()(p);
    }
};
