// One step of each encoding, shared by the per-code-point functions and the whole-buffer
// conversions and measures, so that both read bad input the same way.
#pragma once

#include "kestal/strings/Units.h"

#include <bit>
#include <cstdint>
#include <cstring>
#include <kestal/CodePoint.h>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace kestal::strings {

constexpr char32_t kReplacement = 0xFFFD;

/// Lead table length of `byte`: 1 for ASCII, 2 to 4 for a lead, 0 otherwise.
constexpr int utf8LeadLength(unsigned char byte) noexcept {
    return CodePoint::CountUtf8CodeUnits::_utf8CodeUnits[byte >> 3];
}

struct Utf8Step {
    int length;     // bytes consumed
    char32_t value; // payload value of a complete sequence, else kReplacement
    bool complete;  // false: invalid lead or bad continuation byte
};

/// Decodes a sequence of `length` (2 to 4) bytes whose lead is at `p`, stopping at the first byte
/// that is no continuation byte; that byte is left for the next step. With no bound of its own:
/// the zero terminator is no continuation byte, so it ends a sequence.
inline Utf8Step decodeUtf8Sequence(unsigned char const* p, int length) noexcept {
    // Written out per length: the decoder's hot path, where a loop costs a mispredicted exit.
    auto continuation = [](unsigned char byte) { return (byte & 0xC0) == 0x80; };
    const char32_t lead = p[0] & (63u >> (length - 1));
    if (!continuation(p[1])) return {1, kReplacement, false};
    const char32_t two = lead << 6 | (p[1] & 0x3F);
    if (length == 2) return {2, two, true};
    if (!continuation(p[2])) return {2, kReplacement, false};
    const char32_t three = two << 6 | (p[2] & 0x3F);
    if (length == 3) return {3, three, true};
    if (!continuation(p[3])) return {3, kReplacement, false};
    return {4, three << 6 | (p[3] & 0x3F), true};
}

/// Decodes the code point at `p`; an invalid lead is one bad byte.
inline Utf8Step decodeUtf8(unsigned char const* p) noexcept {
    const unsigned char lead = p[0];
    if (lead < 0x80) return {1, lead, true};
    const int length = utf8LeadLength(lead);
    return length < 2 ? Utf8Step{1, kReplacement, false} : decodeUtf8Sequence(p, length);
}

/// Length of the run of ASCII bytes at the start of `text`, at most `length`: sixteen bytes a step,
/// the first byte with its top bit found from the block's mask, so a short run costs one step.
inline int asciiPrefix(unsigned char const* text, int length) noexcept {
    int i = 0;
#if defined(__SSE2__)
    for (; length - i >= 16; i += 16) { // i + 16 could wrap for a length near INT_MAX
        const auto high = static_cast<unsigned>(
            _mm_movemask_epi8(_mm_loadu_si128(reinterpret_cast<__m128i const*>(text + i))));
        if (high) return i + std::countr_zero(high);
    }
#endif
    for (; length - i >= 8; i += 8) {
        std::uint64_t word;
        std::memcpy(&word, text + i, sizeof word);
        if (word & 0x8080808080808080u) break;
    }
    while (i < length && text[i] < 0x80)
        ++i;
    return i;
}

/// Walks `length` bytes of UTF-8. A run of ASCII goes to `ascii(run, count)`, which returns how
/// many bytes it took; every other step goes to `step(Utf8Step)`, which returns false to stop
/// before that step is taken. A sequence that would run past the end is one bad step that ends
/// the walk. Returns the bytes taken.
template <class Ascii, class Step>
int walkUtf8(unsigned char const* text, int length, Ascii&& ascii, Step&& step) {
    int i = 0;
    while (i < length) {
        if (text[i] < 0x80) {
            const int run = asciiPrefix(text + i, length - i);
            const int taken = ascii(text + i, run);
            i += taken;
            if (taken < run) break;
            continue;
        }
        const int expected = utf8LeadLength(text[i]);
        const Utf8Step next = expected < 2                 ? Utf8Step{1, kReplacement, false}
                              : expected - 1 >= length - i ? Utf8Step{length - i, kReplacement, false}
                                                           : decodeUtf8Sequence(text + i, expected);
        if (!step(next)) break;
        i += next.length;
    }
    return i;
}

struct Utf16Step {
    char32_t value; // kReplacement for a lone surrogate
    int units;      // 1 or 2
    bool lone;      // a lone surrogate, replaced
};

/// Reads the code point at `p`, looking at the next unit only after a high surrogate.
inline Utf16Step readUtf16(char16_t const* p) noexcept {
    const char16_t unit = p[0];
    if (!isSurrogate(unit)) return {unit, 1, false};
    if (isHighSurrogate(unit) && isLowSurrogate(p[1]))
        return {static_cast<char32_t>(unit) * 1024 + p[1] - 0x35FDC00, 2, false};
    return {kReplacement, 1, true};
}

/// Bytes of the UTF-8 form of `c` (at most 0x10FFFF; surrogate values take 3).
constexpr int utf8Length(char32_t c) noexcept {
    return c < 0x80 ? 1 : c < 0x800 ? 2 : c < 0x10000 ? 3 : 4;
}

/// Writes the UTF-8 form of `c` (at most 0x10FFFF) and returns its length.
inline int encodeUtf8(char32_t c, char* out) noexcept {
    const int length = utf8Length(c);
    if (length == 1) {
        out[0] = static_cast<char>(c);
        return 1;
    }
    static constexpr unsigned char leadMark[5] = {0, 0, 0xC0, 0xE0, 0xF0};
    for (int i = length - 1; i > 0; --i) {
        out[i] = static_cast<char>(0x80 | (c & 0x3F));
        c >>= 6;
    }
    out[0] = static_cast<char>(leadMark[length] | c);
    return length;
}

} // namespace kestal::strings
