// SHA-512 on AVX2 and BMI2. Only the block function is compiled for those instruction sets; sha2.cpp calls it
// only after Sha512Avx2Supported().
#include "sha2_avx2.h"

namespace kestal::hashing {

bool Sha512Avx2Supported() noexcept {
#if defined(__x86_64__)
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi2");
#else
    return false;
#endif
}

} // namespace kestal::hashing

#define KESTAL_SHA512_BLOCKS Sha512BlocksAvx2
#define KESTAL_SHA512_TARGET "avx2,bmi2"
#define KESTAL_SHA512_AVX512 0
#include "Sha512VectorBlocks.h"
