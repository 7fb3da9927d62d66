// SHA-1 and SHA-256 on the x86 SHA extensions. Only these functions are compiled for the extra
// instruction sets, so the rest of the library runs on any x86-64; sha2.cpp calls them only after
// ShaExtensionsSupported() said yes.
#include "sha2_shani.h"

#include "sha2Constants.h"

#if defined(__x86_64__) || defined(__i386__)

#include <cpuid.h>
#include <immintrin.h>

#define KESTAL_SHANI __attribute__((target("sha,sse4.1,ssse3")))

namespace kestal::hashing {

bool ShaExtensionsSupported() noexcept {
    // Read cpuid directly: not every supported compiler knows "sha" in __builtin_cpu_supports.
    unsigned int eax = 0, ebx = 0, ecx = 0, edx = 0;
    if (!__get_cpuid(1, &eax, &ebx, &ecx, &edx)) return false;
    bool const ssse3 = (ecx & bit_SSSE3) != 0;
    bool const sse41 = (ecx & bit_SSE4_1) != 0;
    if (!__get_cpuid_count(7, 0, &eax, &ebx, &ecx, &edx)) return false;
    bool const sha = (ebx & bit_SHA) != 0;
    return ssse3 && sse41 && sha;
}

namespace {

KESTAL_SHANI inline __m128i LoadBigEndian(unsigned char const* p, __m128i mask) noexcept {
    return _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<__m128i const*>(p)), mask);
}

} // namespace

// Each group g covers rounds 4g to 4g+3; msg[g % 4] holds the schedule words of group g, and
// sha1msg1 / xor / sha1msg2 build group g+4 from groups g..g+3 as the rounds go.
KESTAL_SHANI void Sha1BlocksShani(std::uint32_t* state, unsigned char const* data,
                                  std::size_t blocks) noexcept {
    __m128i const mask = _mm_set_epi64x(0x0001020304050607LL, 0x08090a0b0c0d0e0fLL);
    __m128i abcd = _mm_shuffle_epi32(_mm_loadu_si128(reinterpret_cast<__m128i const*>(state)), 0x1B);
    __m128i e0 = _mm_set_epi32(static_cast<int>(state[4]), 0, 0, 0);

    for (; blocks != 0; --blocks, data += 64) {
        __m128i const abcdSave = abcd;
        __m128i const eSave = e0;
        __m128i msg[4];
        __m128i eNext = e0;
        __m128i eIn;

#pragma GCC unroll 20
        for (int g = 0; g < 20; ++g) {
            if (g < 4) msg[g] = LoadBigEndian(data + 16 * g, mask);
            eIn = g == 0 ? _mm_add_epi32(e0, msg[0]) : _mm_sha1nexte_epu32(eNext, msg[g % 4]);
            eNext = abcd;
            if (g >= 3 && g <= 18) msg[(g + 1) % 4] = _mm_sha1msg2_epu32(msg[(g + 1) % 4], msg[g % 4]);
            switch (g / 5) {
            case 0:
                abcd = _mm_sha1rnds4_epu32(abcd, eIn, 0);
                break;
            case 1:
                abcd = _mm_sha1rnds4_epu32(abcd, eIn, 1);
                break;
            case 2:
                abcd = _mm_sha1rnds4_epu32(abcd, eIn, 2);
                break;
            default:
                abcd = _mm_sha1rnds4_epu32(abcd, eIn, 3);
                break;
            }
            if (g >= 1 && g <= 16) msg[(g + 3) % 4] = _mm_sha1msg1_epu32(msg[(g + 3) % 4], msg[g % 4]);
            if (g >= 2 && g <= 17) msg[(g + 2) % 4] = _mm_xor_si128(msg[(g + 2) % 4], msg[g % 4]);
        }
        e0 = _mm_sha1nexte_epu32(eNext, eSave);
        abcd = _mm_add_epi32(abcd, abcdSave);
    }

    _mm_storeu_si128(reinterpret_cast<__m128i*>(state), _mm_shuffle_epi32(abcd, 0x1B));
    state[4] = static_cast<std::uint32_t>(_mm_extract_epi32(e0, 3));
}

// The state is kept as ABEF and CDGH, the layout sha256rnds2 works on; msg[g % 4] holds the
// schedule words of rounds 4g to 4g+3.
KESTAL_SHANI void Sha256BlocksShani(std::uint32_t* state, unsigned char const* data,
                                    std::size_t blocks) noexcept {
    __m128i const mask = _mm_set_epi64x(0x0c0d0e0f08090a0bLL, 0x0405060700010203LL);
    __m128i tmp = _mm_shuffle_epi32(_mm_loadu_si128(reinterpret_cast<__m128i const*>(state)), 0xB1); // CDAB
    __m128i state1 =
        _mm_shuffle_epi32(_mm_loadu_si128(reinterpret_cast<__m128i const*>(state + 4)), 0x1B); // EFGH
    __m128i state0 = _mm_alignr_epi8(tmp, state1, 8);                                          // ABEF
    state1 = _mm_blend_epi16(state1, tmp, 0xF0);                                               // CDGH

    for (; blocks != 0; --blocks, data += 64) {
        __m128i const abefSave = state0;
        __m128i const cdghSave = state1;
        __m128i msg[4];

#pragma GCC unroll 16
        for (int g = 0; g < 16; ++g) {
            if (g < 4) msg[g] = LoadBigEndian(data + 16 * g, mask);
            __m128i k =
                _mm_add_epi32(msg[g % 4], _mm_load_si128(reinterpret_cast<__m128i const*>(kSha256K + 4 * g)));
            state1 = _mm_sha256rnds2_epu32(state1, state0, k);
            if (g >= 3 && g <= 14) {
                __m128i const carry = _mm_alignr_epi8(msg[g % 4], msg[(g + 3) % 4], 4);
                msg[(g + 1) % 4] = _mm_sha256msg2_epu32(_mm_add_epi32(msg[(g + 1) % 4], carry), msg[g % 4]);
            }
            k = _mm_shuffle_epi32(k, 0x0E);
            state0 = _mm_sha256rnds2_epu32(state0, state1, k);
            if (g >= 1 && g <= 12) msg[(g + 3) % 4] = _mm_sha256msg1_epu32(msg[(g + 3) % 4], msg[g % 4]);
        }
        state0 = _mm_add_epi32(state0, abefSave);
        state1 = _mm_add_epi32(state1, cdghSave);
    }

    tmp = _mm_shuffle_epi32(state0, 0x1B);       // FEBA
    state1 = _mm_shuffle_epi32(state1, 0xB1);    // DCHG
    state0 = _mm_blend_epi16(tmp, state1, 0xF0); // DCBA
    state1 = _mm_alignr_epi8(state1, tmp, 8);    // HGFE
    _mm_storeu_si128(reinterpret_cast<__m128i*>(state), state0);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(state + 4), state1);
}

} // namespace kestal::hashing

#else // not x86: the portable transforms are the only ones

namespace kestal::hashing {

bool ShaExtensionsSupported() noexcept {
    return false;
}

void Sha1BlocksShani(std::uint32_t*, unsigned char const*, std::size_t) noexcept {}

void Sha256BlocksShani(std::uint32_t*, unsigned char const*, std::size_t) noexcept {}

} // namespace kestal::hashing

#endif
