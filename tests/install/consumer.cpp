// Builds against the installed headers and library only.
#include <cstdio>
#include <kestal/kestal.h>

namespace {

// A throw inside the library must meet this program's handlers: the exception classes' type
// information is exported, not duplicated per module.
bool catchesLibraryThrows() {
    bool formatCaught = false, rethrownCaught = false;
    try {
        TFormatStringCore bad(u"100%");
    } catch (TFormatStringCore::Exception const& e) {
        formatCaught = e.GetErrorCode() == 0xA33EDF83u && e.GetErrorSource() == TError::Client;
    }
    try {
        try {
            throw VelmoraUserErrorException(
                u"inner", TError::ErrorInfo(VelmoraError(1, u"Consumer_0x00000001"), TError::Client));
        } catch (...) {
            StackExceptionAndRethrow(TFormatStringCore(u"while %1").arg(u"testing"));
        }
    } catch (VelmoraUserErrorException const& e) {
        rethrownCaught = e.GetMessages().size() == 2 && e.GetRedactedMessages().size() == 1;
    }
    return formatCaught && rethrownCaught;
}

// The pool's queue comes from a private dependency: the consumer links without naming it.
bool poolRuns() {
    TCountdownEvent done(2);
    TThreadPool pool(2);
    for (int i = 0; i < 2; ++i)
        pool.AddWork([&] { done.Signal(); }, TThreadPoolWork::AlwaysQueue);
    return done.Wait(std::chrono::seconds(10)) && pool.JoinAll(std::chrono::seconds(10));
}

// The futures are templates compiled here over the library's exported half; a cancel reason
// crosses from this program through the library's cancel event and back.
bool futuresRun() {
    auto f = AsyncTask::Async([] { return 20; });
    auto g = f.Then([](int n) { return n + 1; });
    auto spinning = AsyncTask::Async([] {
        for (;;)
            AsyncTask::Cancel::ThrowIfCancelled();
    });
    spinning.Cancel(TError::ErrorInfo(VelmoraError(7, u"Consumer_0x00000007"), TError::Client));
    bool cancelled = false;
    try {
        spinning.Get();
    } catch (AsyncTask::CancelException const& e) {
        cancelled = e.GetErrorCode() == 7;
    }
    const bool ok = g.Get() == 21 && cancelled;
    return TThreadPool::Shutdown(std::chrono::seconds(10)) && ok;
}

// The repository's interface carries boost::any, so the package brings Boost's headers along.
bool buildsOnce() {
    static void* slot = nullptr;
    const auto factory = [](void*) { return new boost::any(41); };
    const auto extract = [](boost::any* object) -> void* { return boost::any_cast<int>(object); };
    InitOnce(&slot, factory, nullptr, extract);
    void* const first = slot;
    InitOnce(&slot, factory, nullptr, extract);
    return first && slot == first && *static_cast<int*>(slot) == 41;
}

} // namespace

int main() {
    TStringCore a(u"installed package");
    TStringCore b = a + u" works";
    const bool ok = b.size() == 23 && b.left(9) == u"installed" && JemallocEnable() == 0 &&
                    catchesLibraryThrows() && poolRuns() && futuresRun() && buildsOnce();
    std::puts(ok ? "consumer: ok" : "consumer: FAILED");
    return ok ? 0 : 1;
}
