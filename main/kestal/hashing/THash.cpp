// SpookyHash version 2 (64- and 128-bit forms) and the 1996 Jenkins hash (32-bit forms).
#include <bit>
#include <cstdint>
#include <cstring>
#include <kestal/THash.h>

static_assert(std::endian::native == std::endian::little,
              "the stored hash values assume little-endian reads");
static_assert(sizeof(unsigned long) == 8, "THash returns a 64-bit word in unsigned long");

namespace {

using u64 = std::uint64_t;
using u32 = std::uint32_t;

constexpr u64 kSpookyConst = 0xDEADBEEFDEADBEEFull;
constexpr std::size_t kNumVars = 12;
constexpr std::size_t kBlockSize = kNumVars * 8;    // 96
constexpr std::size_t kShortLimit = 2 * kBlockSize; // 192: the published switch to the long form

// Messages are read in place at any alignment; memcpy compiles to a plain load.
inline u64 Load64(unsigned char const* p) noexcept {
    u64 v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

inline u32 Load32(unsigned char const* p) noexcept {
    u32 v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

struct SpookyState {
    u64 h[kNumVars];
};

inline void Mix(unsigned char const* data, SpookyState& st) noexcept {
    u64(&s)[kNumVars] = st.h;
    constexpr int kRot[kNumVars] = {11, 32, 43, 31, 17, 28, 39, 57, 55, 54, 22, 46};
    // Step i: s[i] += data[i]; s[i+2] ^= s[i+10]; s[i+11] ^= s[i]; s[i] = rot(s[i]); s[i+11] += s[i+1],
    // all indices modulo 12.
#pragma GCC unroll 12
    for (std::size_t i = 0; i < kNumVars; ++i) {
        s[i] += Load64(data + 8 * i);
        s[(i + 2) % kNumVars] ^= s[(i + 10) % kNumVars];
        s[(i + 11) % kNumVars] ^= s[i];
        s[i] = std::rotl(s[i], kRot[i]);
        s[(i + 11) % kNumVars] += s[(i + 1) % kNumVars];
    }
}

inline void EndPartial(SpookyState& st) noexcept {
    u64(&h)[kNumVars] = st.h;
    constexpr int kRot[kNumVars] = {44, 15, 34, 21, 38, 33, 10, 13, 38, 53, 42, 54};
    // Step i: h[i+11] += h[i+1]; h[i+2] ^= h[i+11]; h[i+1] = rot(h[i+1]), indices modulo 12.
#pragma GCC unroll 12
    for (std::size_t i = 0; i < kNumVars; ++i) {
        h[(i + 11) % kNumVars] += h[(i + 1) % kNumVars];
        h[(i + 2) % kNumVars] ^= h[(i + 11) % kNumVars];
        h[(i + 1) % kNumVars] = std::rotl(h[(i + 1) % kNumVars], kRot[i]);
    }
}

// Version 2 adds the last block into the state here instead of mixing it; that is its one difference
// from version 1 in the long form.
inline void End(unsigned char const* data, SpookyState& st) noexcept {
    for (std::size_t i = 0; i < kNumVars; ++i)
        st.h[i] += Load64(data + 8 * i);
    EndPartial(st);
    EndPartial(st);
    EndPartial(st);
}

inline void ShortMix(u64& h0, u64& h1, u64& h2, u64& h3) noexcept {
    h2 = std::rotl(h2, 50), h2 += h3, h0 ^= h2;
    h3 = std::rotl(h3, 52), h3 += h0, h1 ^= h3;
    h0 = std::rotl(h0, 30), h0 += h1, h2 ^= h0;
    h1 = std::rotl(h1, 41), h1 += h2, h3 ^= h1;
    h2 = std::rotl(h2, 54), h2 += h3, h0 ^= h2;
    h3 = std::rotl(h3, 48), h3 += h0, h1 ^= h3;
    h0 = std::rotl(h0, 38), h0 += h1, h2 ^= h0;
    h1 = std::rotl(h1, 37), h1 += h2, h3 ^= h1;
    h2 = std::rotl(h2, 62), h2 += h3, h0 ^= h2;
    h3 = std::rotl(h3, 34), h3 += h0, h1 ^= h3;
    h0 = std::rotl(h0, 5), h0 += h1, h2 ^= h0;
    h1 = std::rotl(h1, 36), h1 += h2, h3 ^= h1;
}

// Rotations 15, 52, 26, 51, 28, 9, 47, 54, 32, 25, 63: the fifth is 28 in the published code, and
// the published reference values depend on it.
inline void ShortEnd(u64& h0, u64& h1, u64& h2, u64& h3) noexcept {
    h3 ^= h2, h2 = std::rotl(h2, 15), h3 += h2;
    h0 ^= h3, h3 = std::rotl(h3, 52), h0 += h3;
    h1 ^= h0, h0 = std::rotl(h0, 26), h1 += h0;
    h2 ^= h1, h1 = std::rotl(h1, 51), h2 += h1;
    h3 ^= h2, h2 = std::rotl(h2, 28), h3 += h2;
    h0 ^= h3, h3 = std::rotl(h3, 9), h0 += h3;
    h1 ^= h0, h0 = std::rotl(h0, 47), h1 += h0;
    h2 ^= h1, h1 = std::rotl(h1, 54), h2 += h1;
    h3 ^= h2, h2 = std::rotl(h2, 32), h3 += h2;
    h0 ^= h3, h3 = std::rotl(h3, 25), h0 += h3;
    h1 ^= h0, h0 = std::rotl(h0, 63), h1 += h0;
}

struct Hash128 {
    u64 first, second;
};

// The short form, inlined into its callers with the seeds and the result in registers: for a few
// bytes, passing them through memory and a call costs as much as the hash.
[[gnu::always_inline]] inline Hash128 SpookyShort(unsigned char const* p, std::size_t length, u64 a,
                                                  u64 b) noexcept {
    std::size_t remainder = length % 32;
    u64 c = kSpookyConst;
    u64 d = kSpookyConst;

    if (length > 15) {
        unsigned char const* const end = p + (length / 32) * 32;
        for (; p < end; p += 32) {
            c += Load64(p);
            d += Load64(p + 8);
            ShortMix(a, b, c, d);
            a += Load64(p + 16);
            b += Load64(p + 24);
        }
        if (remainder >= 16) {
            c += Load64(p);
            d += Load64(p + 8);
            ShortMix(a, b, c, d);
            p += 16;
            remainder -= 16;
        }
    }

    // The last 0 to 15 bytes, with the length in the top byte of d; fallthrough is the published shape.
    d += static_cast<u64>(length) << 56;
    switch (remainder) {
    case 15:
        d += static_cast<u64>(p[14]) << 48;
        [[fallthrough]];
    case 14:
        d += static_cast<u64>(p[13]) << 40;
        [[fallthrough]];
    case 13:
        d += static_cast<u64>(p[12]) << 32;
        [[fallthrough]];
    case 12:
        d += Load32(p + 8);
        c += Load64(p);
        break;
    case 11:
        d += static_cast<u64>(p[10]) << 16;
        [[fallthrough]];
    case 10:
        d += static_cast<u64>(p[9]) << 8;
        [[fallthrough]];
    case 9:
        d += static_cast<u64>(p[8]);
        [[fallthrough]];
    case 8:
        c += Load64(p);
        break;
    case 7:
        c += static_cast<u64>(p[6]) << 48;
        [[fallthrough]];
    case 6:
        c += static_cast<u64>(p[5]) << 40;
        [[fallthrough]];
    case 5:
        c += static_cast<u64>(p[4]) << 32;
        [[fallthrough]];
    case 4:
        c += Load32(p);
        break;
    case 3:
        c += static_cast<u64>(p[2]) << 16;
        [[fallthrough]];
    case 2:
        c += static_cast<u64>(p[1]) << 8;
        [[fallthrough]];
    case 1:
        c += static_cast<u64>(p[0]);
        break;
    case 0:
        c += kSpookyConst;
        d += kSpookyConst;
        break;
    }
    ShortEnd(a, b, c, d);
    return {a, b};
}

[[gnu::noinline]] Hash128 SpookyLong(unsigned char const* p, std::size_t length, u64 hash1,
                                     u64 hash2) noexcept {
    SpookyState st;
    for (std::size_t i = 0; i < kNumVars; i += 3) {
        st.h[i] = hash1;
        st.h[i + 1] = hash2;
        st.h[i + 2] = kSpookyConst;
    }

    unsigned char const* const end = p + (length / kBlockSize) * kBlockSize;
    for (; p < end; p += kBlockSize)
        Mix(p, st);

    // Only the final partial block is copied; its last byte carries the remainder's length.
    std::size_t const remainder = length - (length / kBlockSize) * kBlockSize;
    unsigned char buf[kBlockSize] = {};
    if (remainder != 0) std::memcpy(buf, end, remainder);
    buf[kBlockSize - 1] = static_cast<unsigned char>(remainder);
    End(buf, st);
    return {st.h[0], st.h[1]};
}

[[gnu::always_inline]] inline Hash128 SpookyHash128(void const* message, std::size_t length, u64 hash1,
                                                    u64 hash2) noexcept {
    auto const* p = static_cast<unsigned char const*>(message);
    return length < kShortLimit ? SpookyShort(p, length, hash1, hash2) : SpookyLong(p, length, hash1, hash2);
}

// The exported functions call these directly rather than each other, which in a shared library
// would go through the symbol table.
[[gnu::always_inline]] inline u64 SpookyHash64(void const* message, std::size_t length, u64 seed) noexcept {
    return SpookyHash128(message, length, seed, seed).first;
}

// lookup2's mix: the shifts are the published ones and their order matters.
inline void JenkinsMix(u32& a, u32& b, u32& c) noexcept {
    a -= b, a -= c, a ^= (c >> 13);
    b -= c, b -= a, b ^= (a << 8);
    c -= a, c -= b, c ^= (b >> 13);
    a -= b, a -= c, a ^= (c >> 12);
    b -= c, b -= a, b ^= (a << 16);
    c -= a, c -= b, c ^= (b >> 5);
    a -= b, a -= c, a ^= (c >> 3);
    b -= c, b -= a, b ^= (a << 10);
    c -= a, c -= b, c ^= (b >> 15);
}

u32 JenkinsHash1996(unsigned char const* k, u32 length, u32 initval) noexcept {
    u32 a = 0x9E3779B9u;
    u32 b = 0x9E3779B9u;
    u32 c = initval;
    u32 len = length;

    while (len >= 12) {
        a += Load32(k);
        b += Load32(k + 4);
        c += Load32(k + 8);
        JenkinsMix(a, b, c);
        k += 12;
        len -= 12;
    }

    c += length;
    // The low byte of c is taken by the length, so bytes 8 to 10 start at bit 8.
    switch (len) {
    case 11:
        c += static_cast<u32>(k[10]) << 24;
        [[fallthrough]];
    case 10:
        c += static_cast<u32>(k[9]) << 16;
        [[fallthrough]];
    case 9:
        c += static_cast<u32>(k[8]) << 8;
        [[fallthrough]];
    case 8:
        b += static_cast<u32>(k[7]) << 24;
        [[fallthrough]];
    case 7:
        b += static_cast<u32>(k[6]) << 16;
        [[fallthrough]];
    case 6:
        b += static_cast<u32>(k[5]) << 8;
        [[fallthrough]];
    case 5:
        b += k[4];
        [[fallthrough]];
    case 4:
        a += static_cast<u32>(k[3]) << 24;
        [[fallthrough]];
    case 3:
        a += static_cast<u32>(k[2]) << 16;
        [[fallthrough]];
    case 2:
        a += static_cast<u32>(k[1]) << 8;
        [[fallthrough]];
    case 1:
        a += k[0];
        break;
    default:
        break;
    }
    JenkinsMix(a, b, c);
    return c;
}

} // namespace

unsigned long THash(void const* data, unsigned long length, unsigned long seed) noexcept {
    return SpookyHash64(data, length, seed);
}

unsigned long long THash64(void const* data, unsigned long length, unsigned long long seed) noexcept {
    return SpookyHash64(data, length, seed);
}

std::pair<unsigned long long, unsigned long long> THash128(void const* data, unsigned long length,
                                                           unsigned long long seed,
                                                           unsigned long long second) noexcept {
    const Hash128 hash = SpookyHash128(data, length, seed, second);
    return {hash.first, hash.second};
}

unsigned long THashCombine(unsigned long a, unsigned long b) noexcept {
    return SpookyHash64(&a, sizeof a, b);
}

unsigned int THash32(void const* data, unsigned long length, unsigned int seed) noexcept {
    return JenkinsHash1996(static_cast<unsigned char const*>(data), static_cast<u32>(length), seed);
}

unsigned int THashCombine32(unsigned int a, unsigned int b) noexcept {
    return JenkinsHash1996(reinterpret_cast<unsigned char const*>(&a), sizeof a, b);
}
