// Unit scans in SSE2, which x86-64 always has: eight units compared at once. Only sized text is
// scanned this way, since a block may not read beyond its end. Not part of the API.
#pragma once

#include <bit>
#include <emmintrin.h>
#include <vector>

namespace kestal::strings {

inline __m128i broadcast(char16_t unit) noexcept {
    return _mm_set1_epi16(static_cast<short>(unit));
}

/// Two bits per unit, set where the eight units at `p` equal `units`' lanes.
inline unsigned equalBits(char16_t const* p, __m128i units) noexcept {
    const __m128i text = _mm_loadu_si128(reinterpret_cast<__m128i const*>(p));
    return static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi16(text, units)));
}

/// How many of `size` units of `text` equal `unit`.
inline int countUnit(char16_t const* text, int size, char16_t unit) noexcept {
    const __m128i wanted = broadcast(unit);
    int found = 0;
    int i = 0;
    for (; size - i >= 8; i += 8)
        found += std::popcount(equalBits(text + i, wanted)) / 2;
    for (; i < size; ++i)
        found += text[i] == unit;
    return found;
}

/// Appends to `hits` the index of each exact match of `patternSize` units of `pattern` in `size`
/// units of `text`, left to right, each search behind the last match: the indexes that repeated
/// TStringCore::findStr calls from each match's end would give, in one pass. Nothing below one unit.
void findAllUnits(char16_t const* text, int size, char16_t const* pattern, int patternSize,
                  std::vector<int>& hits);

} // namespace kestal::strings
