// SHA-512 on AVX-512VL, with AVX2 and BMI2. Only the block function is compiled for those
// instruction sets; sha2.cpp calls it only after Sha512Avx512Supported().
#include "sha2_avx2.h"

namespace kestal::hashing {

bool Sha512Avx512Supported() noexcept {
#if defined(__x86_64__)
    return Sha512Avx2Supported() && __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl");
#else
    return false;
#endif
}

} // namespace kestal::hashing

#define KESTAL_SHA512_BLOCKS Sha512BlocksAvx512
#define KESTAL_SHA512_TARGET "avx2,bmi2,avx512f,avx512vl"
#define KESTAL_SHA512_AVX512 1
#include "Sha512VectorBlocks.h"
