// The SHA-512 block function with the message schedule four words at a time in 256-bit vectors,
// written out as W[t] + K[t] ahead of the rounds, which run on BMI2's non-destructive rotations.
// Private to the hashing sources: a file includes it after naming the function
// (KESTAL_SHA512_BLOCKS), its instruction sets (KESTAL_SHA512_TARGET, a string) and the vector form
// (KESTAL_SHA512_AVX512: 1 for AVX-512VL's rotations, 0 for AVX2's shift pairs). Off x86-64 the
// function is an empty stub that is never called.
#pragma once

#include "sha2Constants.h"

#include <bit>
#include <cstddef>
#include <cstdint>

#if defined(__x86_64__)

// Everything a header might define out of line is included before the target switch, so no copy
// of a library function built for the extra instructions can be picked by the linker elsewhere.
#include <immintrin.h>

// Clang takes the target as an attribute on every function that follows; GCC as an option.
#define KESTAL_SHA512_PRAGMA(text) _Pragma(#text)
#define KESTAL_SHA512_EXPANDED_PRAGMA(text) KESTAL_SHA512_PRAGMA(text)
#if defined(__clang__)
KESTAL_SHA512_EXPANDED_PRAGMA(clang attribute push(__attribute__((target(KESTAL_SHA512_TARGET))),
                                                   apply_to = function))
#else
#pragma GCC push_options
KESTAL_SHA512_EXPANDED_PRAGMA(GCC target(KESTAL_SHA512_TARGET))
#endif

namespace kestal::hashing {

namespace {

using u64 = std::uint64_t;

#if KESTAL_SHA512_AVX512
// AVX-512VL rotates a lane in one instruction and xors three inputs in another.
inline __m256i xor3(__m256i x, __m256i y, __m256i z) noexcept {
    return _mm256_ternarylogic_epi64(x, y, z, 0x96);
}
template <int N>
inline __m256i rotr64(__m256i x) noexcept {
    return _mm256_ror_epi64(x, N); // an immediate, even unoptimised
}
#else
inline __m256i xor3(__m256i x, __m256i y, __m256i z) noexcept {
    return _mm256_xor_si256(_mm256_xor_si256(x, y), z);
}
template <int N>
inline __m256i rotr64(__m256i x) noexcept {
    return _mm256_or_si256(_mm256_srli_epi64(x, N), _mm256_slli_epi64(x, 64 - N));
}
#endif

// sigma0 and sigma1 of the schedule (FIPS 180-4, 4.1.3) on four words.
inline __m256i smallSigma0(__m256i x) noexcept {
    return xor3(rotr64<1>(x), rotr64<8>(x), _mm256_srli_epi64(x, 7));
}
inline __m256i smallSigma1(__m256i x) noexcept {
    return xor3(rotr64<19>(x), rotr64<61>(x), _mm256_srli_epi64(x, 6));
}

// The four words that start one word into the eight of `low` and `high`.
inline __m256i oneWordOn(__m256i low, __m256i high) noexcept {
    return _mm256_alignr_epi8(_mm256_permute2x128_si256(low, high, 0x21), low, 8);
}

inline void storeWithConstants(u64* wk, int t, __m256i words) noexcept {
    _mm256_store_si256(
        reinterpret_cast<__m256i*>(wk + t),
        _mm256_add_epi64(words, _mm256_loadu_si256(reinterpret_cast<__m256i const*>(kSha512K + t))));
}

// The next four words of the schedule from the last sixteen, x[0] the oldest four:
// W[t..t+3] = sigma1(W[t-2..t+1]) + W[t-7..t-4] + sigma0(W[t-15..t-12]) + W[t-16..t-13]. The first
// two sigma1 inputs are known; the other two are the first two results.
inline __m256i nextWords(__m256i const (&x)[4]) noexcept {
    const __m256i partial =
        _mm256_add_epi64(_mm256_add_epi64(x[0], smallSigma0(oneWordOn(x[0], x[1]))), oneWordOn(x[2], x[3]));
    const __m256i low = _mm256_add_epi64(partial, smallSigma1(_mm256_permute2x128_si256(x[3], x[3], 0x11)));
    const __m256i high = _mm256_add_epi64(partial, smallSigma1(_mm256_permute2x128_si256(low, low, 0x00)));
    return _mm256_blend_epi32(low, high, 0xF0);
}

} // namespace

void KESTAL_SHA512_BLOCKS(u64* state, unsigned char const* data, std::size_t blocks) noexcept {
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

#if defined(__clang__)
#pragma clang attribute pop
#else
#pragma GCC pop_options
#endif

#else

namespace kestal::hashing {

void KESTAL_SHA512_BLOCKS(std::uint64_t*, unsigned char const*, std::size_t) noexcept {}

} // namespace kestal::hashing

#endif
