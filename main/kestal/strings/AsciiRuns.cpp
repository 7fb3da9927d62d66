// The ASCII runs of UTF-8 input. Only widenAscii32 is compiled for AVX2, so the rest of the library
// runs on any x86-64.
#include "kestal/strings/AsciiRuns.h"

#include <bit>
#include <cstdint>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace kestal::strings {
namespace {

// The bytes of a block that is not all ASCII: one by one up to its first byte with the top bit.
int widenTail(unsigned char const* text, int length, char16_t* out) noexcept {
    int i = 0;
    for (; i < length && text[i] < 0x80; ++i)
        out[i] = text[i];
    return i;
}

#if defined(__x86_64__)
int widenAscii16(unsigned char const* text, int length, char16_t* out) noexcept {
    int i = 0;
    for (; length - i >= 16; i += 16) {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<__m128i const*>(text + i));
        if (_mm_movemask_epi8(bytes)) break;
        const __m128i zero = _mm_setzero_si128();
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), _mm_unpacklo_epi8(bytes, zero));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i + 8), _mm_unpackhi_epi8(bytes, zero));
    }
    return i + widenTail(text + i, length - i, out + i);
}

__attribute__((target("avx2"))) int widenAscii32(unsigned char const* text, int length,
                                                 char16_t* out) noexcept {
    int i = 0;
    for (; length - i >= 32; i += 32) {
        const __m256i bytes = _mm256_loadu_si256(reinterpret_cast<__m256i const*>(text + i));
        if (_mm256_movemask_epi8(bytes)) break;
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + i),
                            _mm256_cvtepu8_epi16(_mm256_castsi256_si128(bytes)));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + i + 16),
                            _mm256_cvtepu8_epi16(_mm256_extracti128_si256(bytes, 1)));
    }
    return i + widenAscii16(text + i, length - i, out + i);
}

using Widen = int (*)(unsigned char const*, int, char16_t*) noexcept;

// __builtin_cpu_supports also asks whether the system saves the AVX registers.
const Widen s_widen = [] {
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2") ? &widenAscii32 : &widenAscii16;
}();
#endif

} // namespace

int widenAsciiPrefix(char const* text, int length, char16_t* out) noexcept {
    auto const* bytes = reinterpret_cast<unsigned char const*>(text);
#if defined(__x86_64__)
    return s_widen(bytes, length, out);
#else
    return widenTail(bytes, length, out);
#endif
}

} // namespace kestal::strings
