// SHA-512 with the message schedule four words at a time in AVX2, written out as W[t] + K[t] ahead
// of the rounds, which then run on BMI2's non-destructive rotations. Only these functions are
// compiled for the extra instruction sets; sha2.cpp calls them only after Sha512Avx2Supported().
#include "sha2_avx2.h"

#include "sha2Constants.h"

#include <bit>

#if defined(__x86_64__)

#include <immintrin.h>

#define KESTAL_AVX2 __attribute__((target("avx2,bmi2")))

namespace kestal::hashing {

bool Sha512Avx2Supported() noexcept {
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi2");
}

namespace {

using u64 = std::uint64_t;

KESTAL_AVX2 inline __m256i rotr64(__m256i x, int n) noexcept {
    return _mm256_or_si256(_mm256_srli_epi64(x, n), _mm256_slli_epi64(x, 64 - n));
}

// sigma0 and sigma1 of the schedule (FIPS 180-4, 4.1.3) on four words.
KESTAL_AVX2 inline __m256i smallSigma0(__m256i x) noexcept {
    return _mm256_xor_si256(_mm256_xor_si256(rotr64(x, 1), rotr64(x, 8)), _mm256_srli_epi64(x, 7));
}
KESTAL_AVX2 inline __m256i smallSigma1(__m256i x) noexcept {
    return _mm256_xor_si256(_mm256_xor_si256(rotr64(x, 19), rotr64(x, 61)), _mm256_srli_epi64(x, 6));
}

// The four words that start one word into the eight of `low` and `high`.
KESTAL_AVX2 inline __m256i oneWordOn(__m256i low, __m256i high) noexcept {
    return _mm256_alignr_epi8(_mm256_permute2x128_si256(low, high, 0x21), low, 8);
}

KESTAL_AVX2 inline void storeWithConstants(u64* wk, int t, __m256i words) noexcept {
    _mm256_store_si256(
        reinterpret_cast<__m256i*>(wk + t),
        _mm256_add_epi64(words, _mm256_loadu_si256(reinterpret_cast<__m256i const*>(kSha512K + t))));
}

// The next four words of the schedule from the last sixteen, x[0] the oldest four:
// W[t..t+3] = sigma1(W[t-2..t+1]) + W[t-7..t-4] + sigma0(W[t-15..t-12]) + W[t-16..t-13]. The first
// two sigma1 inputs are known; the other two are the first two results.
KESTAL_AVX2 inline __m256i nextWords(__m256i const (&x)[4]) noexcept {
    const __m256i partial =
        _mm256_add_epi64(_mm256_add_epi64(x[0], smallSigma0(oneWordOn(x[0], x[1]))), oneWordOn(x[2], x[3]));
    const __m256i low = _mm256_add_epi64(partial, smallSigma1(_mm256_permute2x128_si256(x[3], x[3], 0x11)));
    const __m256i high = _mm256_add_epi64(partial, smallSigma1(_mm256_permute2x128_si256(low, low, 0x00)));
    return _mm256_blend_epi32(low, high, 0xF0);
}

} // namespace

KESTAL_AVX2 void Sha512BlocksAvx2(u64* state, unsigned char const* data, std::size_t blocks) noexcept {
    const __m256i byteSwap = _mm256_setr_epi8(7, 6, 5, 4, 3, 2, 1, 0, 15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5,
                                              4, 3, 2, 1, 0, 15, 14, 13, 12, 11, 10, 9, 8);
    alignas(32) u64 wk[80];
    for (; blocks != 0; --blocks, data += 128) {
        // The last sixteen schedule words stay in registers, x[0] the oldest four: loading them back
        // from memory, where they were stored a moment before in other widths, would stall.
        __m256i x[4];
        for (int i = 0; i < 4; ++i) {
            x[i] = _mm256_shuffle_epi8(_mm256_loadu_si256(reinterpret_cast<__m256i const*>(data + 32 * i)),
                                       byteSwap);
            storeWithConstants(wk, 4 * i, x[i]);
        }
        u64 a = state[0], b = state[1], c = state[2], d = state[3];
        u64 e = state[4], f = state[5], g = state[6], h = state[7];
        // The rounds of the portable transform, but for Maj in the form ((a ^ b) & (b ^ c)) ^ b,
        // whose b ^ c is the a ^ b of the round before. Each group of four rounds computes the
        // schedule sixteen words ahead, so the vector work runs beside the rounds' own chains.
        u64 bc = b ^ c;
#pragma GCC unroll 20
        for (int group = 0; group < 20; ++group) {
            if (group < 16) {
                const __m256i next = nextWords(x);
                storeWithConstants(wk, 16 + 4 * group, next);
                x[0] = x[1], x[1] = x[2], x[2] = x[3], x[3] = next;
            }
#pragma GCC unroll 4
            for (int t = 4 * group; t < 4 * group + 4; ++t) {
                const u64 t1 = h + wk[t] + (std::rotr(e, 14) ^ std::rotr(e, 18) ^ std::rotr(e, 41)) +
                               (g ^ (e & (f ^ g)));
                const u64 ab = a ^ b;
                const u64 t2 = (std::rotr(a, 28) ^ std::rotr(a, 34) ^ std::rotr(a, 39)) + ((ab & bc) ^ b);
                bc = ab;
                h = g, g = f, f = e, e = d + t1, d = c, c = b, b = a, a = t1 + t2;
            }
        }
        state[0] += a, state[1] += b, state[2] += c, state[3] += d;
        state[4] += e, state[5] += f, state[6] += g, state[7] += h;
    }
}

} // namespace kestal::hashing

#else

namespace kestal::hashing {

bool Sha512Avx2Supported() noexcept {
    return false;
}

void Sha512BlocksAvx2(std::uint64_t*, unsigned char const*, std::size_t) noexcept {}

} // namespace kestal::hashing

#endif
