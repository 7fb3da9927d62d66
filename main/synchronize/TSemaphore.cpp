// The platform-neutral half of semaphores: the interface's destructor and the scope.
#include <kestal/TSemaphore.h>
#include <utility>

TSemaphore::~TSemaphore() = default;

TSemaphoreScope::TSemaphoreScope(RefCntPtr<TSemaphore, RefCntObject> semaphore)
    : m_semaphore(std::move(semaphore)) {
    m_semaphore->Acquire();
}

TSemaphoreScope::TSemaphoreScope(RefCntPtr<TSemaphore, RefCntObject> semaphore, unsigned int timeout)
    : m_semaphore(std::move(semaphore)) {
    if (!m_semaphore->TryAcquire(timeout)) m_semaphore = nullptr;
}

TSemaphoreScope::~TSemaphoreScope() {
    Reset();
}

void TSemaphoreScope::Reset() {
    if (!m_semaphore) return;
    m_semaphore->Release(); // a throw leaves the unit held, and the pointer with it
    m_semaphore = nullptr;
}
