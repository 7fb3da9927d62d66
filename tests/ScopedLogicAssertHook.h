// Test support: while alive, failed logic assertions throw LogicException(message, error), so a
// test sees the site's own code and name; the hook in place before is restored on destruction.
// The file and line of the calling thread's last assertion are kept for tests that check them.
#pragma once

#include <kestal/LogicException.h>
#include <string>

namespace kestal::testing {

class ScopedLogicAssertHook {
public:
    ScopedLogicAssertHook()
        : m_old(AssertHooks::GetLogicAssertHook()) {
        AssertHooks::SetLogicAssertHook(&Throw);
    }
    ~ScopedLogicAssertHook() { AssertHooks::SetLogicAssertHook(m_old); }
    ScopedLogicAssertHook(ScopedLogicAssertHook const&) = delete;
    ScopedLogicAssertHook& operator=(ScopedLogicAssertHook const&) = delete;

    /// Where the calling thread's last assertion under this hook came from.
    static std::string const& LastFile() { return last().file; }
    static int LastLine() { return last().line; }

    [[noreturn]] static void Throw(char const* file, int line, char const* message,
                                   VelmoraError const& error) {
        last() = {file ? file : "", line};
        throw LogicException(TStringCore::fromUtf8(message ? message : ""), error);
    }

private:
    struct Site {
        std::string file;
        int line = 0;
    };
    static Site& last() {
        thread_local Site s_last;
        return s_last;
    }

    AssertHooks::LogicAssertHook m_old;
};

} // namespace kestal::testing
