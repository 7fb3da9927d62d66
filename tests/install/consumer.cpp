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

} // namespace

int main() {
    TStringCore a(u"installed package");
    TStringCore b = a + u" works";
    const bool ok = b.size() == 23 && b.left(9) == u"installed" && JemallocEnable() == 0 &&
                    catchesLibraryThrows() && poolRuns();
    std::puts(ok ? "consumer: ok" : "consumer: FAILED");
    return ok ? 0 : 1;
}
