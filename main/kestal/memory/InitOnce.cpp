// The static repository: a registry of built objects in the order their builds started, behind a
// pointer that the repository mutex guards. Lock order: the repository mutex, then the registry lock.
#include <atomic>
#include <forward_list>
#include <functional>
#include <kestal/InitOnce.h>
#include <kestal/TLocks.h>
#include <memory>
#include <mutex>
#include <new>
#include <unordered_map>

namespace {

// Recursive, so that a factory may call InitOnce for another slot.
using RegistryLock = TRecursiveMutex;
using RepositoryMutex = TRecursiveMutex;

std::atomic_ref<void*> slotRef(void** slot) noexcept {
    return std::atomic_ref<void*>(*slot);
}

class OrderedAnyRegistry {
public:
    OrderedAnyRegistry() { m_entries.max_load_factor(1.0f); }
    // An exception from an object's destructor ends the process here.
    ~OrderedAnyRegistry() { Purge(); }
    OrderedAnyRegistry(OrderedAnyRegistry const&) = delete;
    OrderedAnyRegistry& operator=(OrderedAnyRegistry const&) = delete;

    // The kept object, or null if the slot was already known.
    boost::any* TryAdd(void** slot, std::function<boost::any()> const& build) {
        std::lock_guard guard(m_lock);
        if (m_entries.contains(slot)) return nullptr;
        // Kept on purpose: the slot is ordered when its build starts, so a slot built from inside
        // this factory is destroyed first, although this object may use it. A failed build leaves
        // its place; Purge finds no entry there and only clears the slot.
        m_order.push_front(slot);
        auto kept = std::make_unique<boost::any>(build()); // empty: std::bad_function_call
        return m_entries.emplace(slot, std::move(kept)).first->second.get();
    }

    boost::any* Find(void** slot) {
        std::lock_guard guard(m_lock);
        const auto found = m_entries.find(slot);
        return found == m_entries.end() ? nullptr : found->second.get();
    }

    // Newest started first; every slot in the order is nulled, entry or not.
    void Purge() {
        std::lock_guard guard(m_lock);
        for (void** slot : m_order) {
            m_entries.erase(slot);
            slotRef(slot).store(nullptr, std::memory_order_release);
        }
        m_order.clear();
        m_entries.clear();
    }

private:
    std::unordered_map<void**, std::unique_ptr<boost::any>> m_entries;
    std::forward_list<void**> m_order;
    RegistryLock m_lock;
};

std::atomic<bool> s_deinitialised{false};
std::atomic<OrderedAnyRegistry*> s_registry{nullptr};

// Never destroyed, so DeinitializeStaticRepository may run from a static destructor or an atexit
// handler after this file's statics are gone.
RepositoryMutex& repositoryMutex() {
    alignas(RepositoryMutex) static unsigned char storage[sizeof(RepositoryMutex)];
    static RepositoryMutex* const mutex = new (storage) RepositoryMutex;
    return *mutex;
}
// Made at load, before any thread can race for it.
[[maybe_unused]] RepositoryMutex& s_repositoryMutexAtLoad = repositoryMutex();

} // namespace

void InitializeStaticRepository() {
    // Unlocked first test: a factory calling InitOnce never reaches the repository mutex, so the
    // registry lock it holds is never taken before it.
    if (s_registry.load(std::memory_order_acquire)) return;
    std::lock_guard guard(repositoryMutex());
    if (s_registry.load(std::memory_order_relaxed)) return;
    s_registry.store(new OrderedAnyRegistry, std::memory_order_release);
    s_deinitialised.store(false, std::memory_order_relaxed);
}

void DeinitializeStaticRepository() {
    if (!s_registry.load(std::memory_order_acquire)) return;
    std::lock_guard guard(repositoryMutex());
    delete s_registry.load(std::memory_order_relaxed);
    // The flag before the pointer: whoever sees the pointer null sees the flag set.
    s_deinitialised.store(true, std::memory_order_relaxed);
    s_registry.store(nullptr, std::memory_order_release);
}

void InitOnce(void** slot, boost::any* (*factory)(void*), void* context, void* (*extract)(boost::any*)) {
    if (!slot || slotRef(slot).load(std::memory_order_acquire)) return;
    OrderedAnyRegistry* registry = s_registry.load(std::memory_order_acquire);
    if (!registry) {
        if (s_deinitialised.load(std::memory_order_relaxed)) return;
        InitializeStaticRepository();
        if (!(registry = s_registry.load(std::memory_order_acquire))) return;
    }
    std::function<boost::any()> build;
    if (factory)
        build = [factory, context] {
            const std::unique_ptr<boost::any> made(factory(context));
            return std::move(*made);
        };
    boost::any* object = registry->TryAdd(slot, build);
    if (!object) object = registry->Find(slot); // another thread built it first
    // Not under a lock: racing threads store the same value.
    slotRef(slot).store(extract(object), std::memory_order_release);
}
