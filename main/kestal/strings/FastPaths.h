// The switch between the string layer's fast paths and the general paths they stand in for (only
// tests turn it off: kestal/detail/TStringFastPathsTesting.h), and the test that lets
// std::to_chars and std::from_chars stand in for snprintf and strtod.
#pragma once

#include <atomic>
#include <cfenv>
#include <langinfo.h>

namespace kestal::strings {

extern std::atomic<bool> g_fastPathsEnabled;

inline bool fastPathsEnabled() noexcept {
    return g_fastPathsEnabled.load(std::memory_order_relaxed);
}

/// True when snprintf and strtod use "." as the decimal point (the thread's locale) and round to
/// nearest. glibc follows the rounding mode, which it reads from the x87 control word; the fast
/// paths round in SSE arithmetic or not at all (std::to_chars, std::from_chars), and know only
/// ".". With both units rounding to nearest they give the C library's bytes and values.
inline bool charConvMatchesCLibrary() noexcept {
    char const* point = nl_langinfo(RADIXCHAR);
    if (point[0] != '.' || point[1] != 0) return false;
#if defined(__x86_64__) && defined(__GNUC__)
    unsigned short control;
    __asm__("fnstcw %0" : "=m"(control));
    // The SSE mode by a probe, which costs a fraction of reading MXCSR: 1 + 3/4 ulp rounds up and
    // -1 - 3/4 ulp rounds down under round to nearest alone.
    double up = 1.0, down = -1.0, step = 0x1.8p-53;
    __asm__("" : "+x"(up), "+x"(down), "+x"(step));
    return (control & 0xC00) == 0 && up + step == 1.0 + 0x1p-52 && down - step == -1.0 - 0x1p-52;
#else
    return std::fegetround() == FE_TONEAREST;
#endif
}

} // namespace kestal::strings
