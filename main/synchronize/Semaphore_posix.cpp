// The POSIX implementation of TSemaphore: a named semaphore, unlinked as soon as it is open, so
// the name exists only for the instant of creation and the semaphore is private to this object.
#include "kestal/errors/Raise.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <kestal/TFormatStringCore.h>
#include <kestal/TSemaphore.h>
#include <kestal/TSystem.h>
#include <memory>
#include <semaphore.h>
#include <string>
#include <unistd.h>

namespace {

enum : unsigned int {
    kConstructFailed = 0xE36AE9A6,
    kAcquireFailed = 0x18E19F4F,
    kReleaseFailed = 0xB6046C37,
};

// `what` names the call in the message; errno is read here, before anything can change it.
[[noreturn]] void raiseErrno(unsigned int code, TError::ErrorSource source, char16_t const* what) {
    const int error = errno;
    kestal::detail::Raise<VelmoraException>(code, source, grpc::StatusCode::UNKNOWN,
                                            TFormatStringCore(what).arg(error));
}

class Semaphore_posix final : public TSemaphore {
public:
    ~Semaphore_posix() override {
        if (m_semaphore) sem_close(m_semaphore);
        m_semaphore = nullptr;
    }

    bool TryAcquire(unsigned int timeout) override {
        // Kept on purpose: two attempts around one sleep of the whole timeout, no timed wait.
        if (TryAcquire()) return true;
        TSystem::Sleep(timeout);
        return TryAcquire();
    }
    bool TryAcquire() override { return sem_trywait(m_semaphore) == 0; }
    void Acquire() override {
        // No retry after EINTR: the caller's signal handler decides what an interruption means.
        if (sem_wait(m_semaphore) != 0)
            raiseErrno(kAcquireFailed, TError::System, u"TSemaphore::Acquire: error=%1");
    }
    void Release() override {
        if (sem_post(m_semaphore) != 0)
            raiseErrno(kReleaseFailed, TError::System, u"TSemaphore::Release: error=%1");
    }

private:
    friend RefCntPtr<TSemaphore, RefCntObject> TSemaphore::Construct(unsigned int);

    std::string m_name;
    sem_t* m_semaphore = nullptr;
};

} // namespace

RefCntPtr<TSemaphore, RefCntObject> TSemaphore::Construct(unsigned int count) {
    auto semaphore = std::make_unique<Semaphore_posix>(); // deleted by the raise below, if any
    // The object's address makes the name unique within the process while it is open.
    char name[255];
    std::snprintf(name, sizeof name, "velmora_%d_%p", static_cast<int>(getpid()),
                  static_cast<void*>(semaphore.get()));
    semaphore->m_name = name;
    sem_t* const opened = sem_open(name, O_CREAT, 0777, count);
    // A count above SEM_VALUE_MAX fails here with EINVAL.
    if (opened == SEM_FAILED)
        raiseErrno(kConstructFailed, TError::Configuration, u"TSemaphore::Construct: error=%1");
    sem_unlink(name);
    semaphore->m_semaphore = opened;
    return semaphore.release();
}
