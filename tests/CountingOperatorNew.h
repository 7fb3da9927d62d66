// Test support: replaces the global operator new with one that counts this thread's calls, so that
// a std container inside the library shows up as well as its own blocks. It defines the
// replacement, so include it in exactly one source file of a test binary.
#pragma once

#include <cstdlib>
#include <new>

namespace kestal::testing {
/// This thread's calls of the global operator new so far.
inline thread_local int t_newCalls = 0;
} // namespace kestal::testing

// Kept out of line: inlined, the compiler would pair a visible new with the free below and warn.
__attribute__((noinline)) void* operator new(std::size_t size) {
    ++kestal::testing::t_newCalls;
    if (void* p = std::malloc(size ? size : 1)) return p;
    throw std::bad_alloc();
}
__attribute__((noinline)) void operator delete(void* p) noexcept {
    std::free(p);
}
__attribute__((noinline)) void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}
