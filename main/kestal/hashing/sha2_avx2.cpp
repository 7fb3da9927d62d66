// SHA-512 on AVX2 and BMI2. Only this file is compiled for those instruction sets; sha2.cpp calls
// the block function only after Sha512Avx2Supported().
#include "sha2_avx2.h"

#if defined(__x86_64__)

// Everything a header might define out of line is included before the target switch, so no copy
// of a library function built for the extra instructions can be picked by the linker elsewhere.
#include "sha2Constants.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <immintrin.h>

namespace kestal::hashing {

bool Sha512Avx2Supported() noexcept {
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi2");
}

} // namespace kestal::hashing

// Clang takes the target as an attribute on every function that follows; GCC as an option.
#if defined(__clang__)
#pragma clang attribute push(__attribute__((target("avx2,bmi2"))), apply_to = function)
#else
#pragma GCC push_options
#pragma GCC target("avx2,bmi2")
#endif
#define KESTAL_SHA512_BLOCKS Sha512BlocksAvx2
#define KESTAL_SHA512_AVX512 0
#include "Sha512VectorBlocks.h"
#if defined(__clang__)
#pragma clang attribute pop
#else
#pragma GCC pop_options
#endif

#else

namespace kestal::hashing {

bool Sha512Avx2Supported() noexcept {
    return false;
}

void Sha512BlocksAvx2(std::uint64_t*, unsigned char const*, std::size_t) noexcept {}

} // namespace kestal::hashing

#endif
