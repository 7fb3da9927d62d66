// Test support for locks and events: bounded waits that fail loudly instead of hanging, and a
// check that a call raises one logic-assertion site.
#pragma once

#include "ScopedLogicAssertHook.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <kestal/TEvent.h>

namespace kestal::testing {

// Reached only by a failure, even on a loaded machine under a sanitizer.
inline constexpr std::chrono::milliseconds kBound{10000};

// A thread stuck behind a lost wake-up can't be joined: a miss ends the process, loudly.
inline void RequireSignalled(IEvent const& event, char const* what) {
    if (event.Wait(kBound)) return;
    std::fprintf(stderr, "not signalled within %lld ms: %s\n", static_cast<long long>(kBound.count()), what);
    std::abort();
}

// Runs `call` under a throwing hook and checks the site it raised.
template <class F>
void ExpectSite(F&& call, unsigned int code, char const* file, int line) {
    ScopedLogicAssertHook hook;
    try {
        call();
        ADD_FAILURE() << "no assertion, expected code " << std::hex << code;
    } catch (LogicException const& e) {
        EXPECT_EQ(e.GetErrorCode(), code);
        EXPECT_EQ(ScopedLogicAssertHook::LastFile(), file);
        EXPECT_EQ(ScopedLogicAssertHook::LastLine(), line);
    }
}

} // namespace kestal::testing
