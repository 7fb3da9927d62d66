// SHA-1 and SHA-2 digests (FIPS 180-4). The SHA-1 and SHA-256 block functions use the processor's SHA
// instructions when it has them (chosen once at load); the portable ones below are the fallback.
#include "sha2Constants.h"
#include "sha2_avx2.h"
#include "sha2_shani.h"

#include <atomic>
#include <bit>
#include <cstring>
#include <kestal/detail/sha2Testing.h>
#include <kestal/sha2.h>
#include <stdexcept>

using kestal::hashing::kSha256K;
using kestal::hashing::kSha512K;

namespace {

using u32 = std::uint32_t;
using u64 = std::uint64_t;
using Blocks32 = void (*)(u32* state, unsigned char const* data, std::size_t blocks) noexcept;
using Blocks64 = void (*)(u64* state, unsigned char const* data, std::size_t blocks) noexcept;

constexpr char kInvalidType[] = "Invalid SHA_TYPE type!";
constexpr char kUnfinished[] = "Unfinished execution!";

inline u32 LoadBE32(unsigned char const* p) noexcept {
    u32 v;
    std::memcpy(&v, p, sizeof v);
    return std::endian::native == std::endian::little ? __builtin_bswap32(v) : v;
}

inline u64 LoadBE64(unsigned char const* p) noexcept {
    u64 v;
    std::memcpy(&v, p, sizeof v);
    return std::endian::native == std::endian::little ? __builtin_bswap64(v) : v;
}

inline void StoreBE32(unsigned char* p, u32 v, bool bigEndianMachine) noexcept {
    if (!bigEndianMachine) v = __builtin_bswap32(v);
    std::memcpy(p, &v, sizeof v);
}

inline void StoreBE64(unsigned char* p, u64 v, bool bigEndianMachine) noexcept {
    if (!bigEndianMachine) v = __builtin_bswap64(v);
    std::memcpy(p, &v, sizeof v);
}

void Sha1BlocksPortable(u32* state, unsigned char const* data, std::size_t blocks) noexcept {
    for (; blocks != 0; --blocks, data += 64) {
        u32 w[16];
        for (int i = 0; i < 16; ++i)
            w[i] = LoadBE32(data + 4 * i);
        u32 a = state[0], b = state[1], c = state[2], d = state[3], e = state[4];
#pragma GCC unroll 80
        for (int t = 0; t < 80; ++t) {
            if (t >= 16) {
                w[t & 15] = std::rotl(w[(t - 3) & 15] ^ w[(t - 8) & 15] ^ w[(t - 14) & 15] ^ w[t & 15], 1);
            }
            u32 f, k;
            if (t < 20) {
                f = (b & c) | (~b & d), k = 0x5A827999;
            } else if (t < 40) {
                f = b ^ c ^ d, k = 0x6ED9EBA1;
            } else if (t < 60) {
                f = (b & c) | (b & d) | (c & d), k = 0x8F1BBCDC;
            } else {
                f = b ^ c ^ d, k = 0xCA62C1D6;
            }
            u32 const temp = std::rotl(a, 5) + f + e + k + w[t & 15];
            e = d, d = c, c = std::rotl(b, 30), b = a, a = temp;
        }
        state[0] += a, state[1] += b, state[2] += c, state[3] += d, state[4] += e;
    }
}

// The SHA-256 and SHA-512 compressions differ only in word size, round count, constants and the
// rotation amounts below (FIPS 180-4, 4.1.2 and 4.1.3).
struct Sha256Params {
    using Word = u32;
    static constexpr int kRounds = 64;
    static constexpr u32 const* kK = kSha256K;
    static constexpr int kBigSigma0[3] = {2, 13, 22}, kBigSigma1[3] = {6, 11, 25};
    static constexpr int kSmallSigma0[3] = {7, 18, 3}, kSmallSigma1[3] = {17, 19, 10};
    static u32 Load(unsigned char const* p) noexcept { return LoadBE32(p); }
};

struct Sha512Params {
    using Word = u64;
    static constexpr int kRounds = 80;
    static constexpr u64 const* kK = kSha512K;
    static constexpr int kBigSigma0[3] = {28, 34, 39}, kBigSigma1[3] = {14, 18, 41};
    static constexpr int kSmallSigma0[3] = {1, 8, 7}, kSmallSigma1[3] = {19, 61, 6};
    static u64 Load(unsigned char const* p) noexcept { return LoadBE64(p); }
};

template <typename P>
void Sha2BlocksPortable(typename P::Word* state, unsigned char const* data, std::size_t blocks) noexcept {
    using W = typename P::Word;
    constexpr std::size_t kBlock = 16 * sizeof(W);
    auto bigSigma = [](W x, int const(&r)[3]) {
        return std::rotr(x, r[0]) ^ std::rotr(x, r[1]) ^ std::rotr(x, r[2]);
    };
    auto smallSigma = [](W x, int const(&r)[3]) {
        return std::rotr(x, r[0]) ^ std::rotr(x, r[1]) ^ (x >> r[2]);
    };
    for (; blocks != 0; --blocks, data += kBlock) {
        W w[16];
        for (int i = 0; i < 16; ++i)
            w[i] = P::Load(data + sizeof(W) * i);
        W a = state[0], b = state[1], c = state[2], d = state[3];
        W e = state[4], f = state[5], g = state[6], h = state[7];
        // Fully unrolled, the register renaming below costs nothing; w is a 16-word ring.
#pragma GCC unroll 80
        for (int t = 0; t < P::kRounds; ++t) {
            if (t >= 16) {
                w[t & 15] += smallSigma(w[(t - 15) & 15], P::kSmallSigma0) + w[(t - 7) & 15] +
                             smallSigma(w[(t - 2) & 15], P::kSmallSigma1);
            }
            // Ch and Maj in their cheaper equivalent forms.
            W const t1 = h + bigSigma(e, P::kBigSigma1) + (g ^ (e & (f ^ g))) + P::kK[t] + w[t & 15];
            W const t2 = bigSigma(a, P::kBigSigma0) + (((a | b) & c) | (a & b));
            h = g, g = f, f = e, e = d + t1, d = c, c = b, b = a, a = t1 + t2;
        }
        state[0] += a, state[1] += b, state[2] += c, state[3] += d;
        state[4] += e, state[5] += f, state[6] += g, state[7] += h;
    }
}

void Sha256BlocksPortable(u32* state, unsigned char const* data, std::size_t blocks) noexcept {
    Sha2BlocksPortable<Sha256Params>(state, data, blocks);
}

void Sha512BlocksPortable(u64* state, unsigned char const* data, std::size_t blocks) noexcept {
    Sha2BlocksPortable<Sha512Params>(state, data, blocks);
}

// The update loop shared by both block sizes: fill a started block, then run whole blocks straight
// from the caller's memory in one call (so the state stays in registers), then keep the rest.
// Only the 128-byte-block types carry into the count's high word.
template <std::size_t kBlock, typename RunBlocks>
void BufferedUpdate(unsigned char* buffer, u64* bitCount, unsigned char const* data, std::size_t length,
                    RunBlocks runBlocks) noexcept {
    auto addBytes = [bitCount](u64 bytes) {
        u64 const bits = bytes << 3;
        bitCount[0] += bits;
        if constexpr (kBlock == 128) bitCount[1] += (bytes >> 61) + (bitCount[0] < bits ? 1 : 0);
    };
    if (length == 0) return;
    std::size_t const used = (bitCount[0] >> 3) % kBlock;
    if (used > 0) {
        std::size_t const room = kBlock - used;
        if (length < room) {
            std::memcpy(buffer + used, data, length);
            addBytes(length);
            return;
        }
        std::memcpy(buffer + used, data, room);
        addBytes(room);
        runBlocks(buffer, 1);
        data += room;
        length -= room;
    }
    if (std::size_t const blocks = length / kBlock; blocks != 0) {
        runBlocks(data, blocks);
        addBytes(blocks * kBlock);
        data += blocks * kBlock;
        length -= blocks * kBlock;
    }
    if (length != 0) {
        std::memcpy(buffer, data, length);
        addBytes(length);
    }
}

// Padding: 0x80, zeros, and the bit count big-endian in the last 8 (64-byte blocks) or 16 bytes,
// with one extra block when the count no longer fits after the 0x80.
template <std::size_t kBlock, typename RunBlocks>
void PadAndRunLast(unsigned char* buffer, u64 const* bitCount, bool bigEndianMachine,
                   RunBlocks runBlocks) noexcept {
    constexpr std::size_t kLengthAt = kBlock == 128 ? 112 : 56;
    std::size_t used = (bitCount[0] >> 3) % kBlock;
    if (used > 0) {
        buffer[used++] = 0x80;
        if (used > kLengthAt) {
            std::memset(buffer + used, 0, kBlock - used);
            runBlocks(buffer, 1);
            std::memset(buffer, 0, kLengthAt);
        } else {
            std::memset(buffer + used, 0, kLengthAt - used);
        }
    } else {
        std::memset(buffer, 0, kLengthAt);
        buffer[0] = 0x80;
    }
    if constexpr (kBlock == 128) StoreBE64(buffer + kLengthAt, bitCount[1], bigEndianMachine);
    StoreBE64(buffer + kBlock - 8, bitCount[0], bigEndianMachine);
    runBlocks(buffer, 1);
}

// Portable until the initialiser below has looked at the processor, so a digest taken by another
// library's static initialiser is still right.
constinit std::atomic<Blocks32> s_sha1Blocks{&Sha1BlocksPortable};
constinit std::atomic<Blocks32> s_sha256Blocks{&Sha256BlocksPortable};
constinit std::atomic<Blocks64> s_sha512Blocks{&Sha512BlocksPortable};

bool const s_shaExtensions = kestal::hashing::ShaExtensionsSupported();
bool const s_avx2 = kestal::hashing::Sha512Avx2Supported();
bool const s_avx512 = kestal::hashing::Sha512Avx512Supported();
// Cleared by tests so the AVX2 form runs on a processor that has AVX-512 as well.
constinit std::atomic<bool> s_avx512Allowed{true};

// Each transform on the instructions this processor has, or all portable.
void SelectBlockFunctions(bool hardware) noexcept {
    bool const extensions = hardware && s_shaExtensions;
    s_sha1Blocks.store(extensions ? &kestal::hashing::Sha1BlocksShani : &Sha1BlocksPortable,
                       std::memory_order_relaxed);
    s_sha256Blocks.store(extensions ? &kestal::hashing::Sha256BlocksShani : &Sha256BlocksPortable,
                         std::memory_order_relaxed);
    Blocks64 blocks64 = &Sha512BlocksPortable;
    if (hardware && s_avx512 && s_avx512Allowed.load(std::memory_order_relaxed))
        blocks64 = &kestal::hashing::Sha512BlocksAvx512;
    else if (hardware && s_avx2)
        blocks64 = &kestal::hashing::Sha512BlocksAvx2;
    s_sha512Blocks.store(blocks64, std::memory_order_relaxed);
}

bool HardwareInUse() noexcept {
    return s_sha256Blocks.load(std::memory_order_relaxed) != &Sha256BlocksPortable ||
           s_sha512Blocks.load(std::memory_order_relaxed) != &Sha512BlocksPortable;
}

bool const s_hardwareAvailable = [] {
    SelectBlockFunctions(true);
    return s_shaExtensions || s_avx2;
}();

inline void RunBlocks32(u32* state, unsigned char const* data, std::size_t blocks, bool sha1) noexcept {
    (sha1 ? s_sha1Blocks : s_sha256Blocks).load(std::memory_order_relaxed)(state, data, blocks);
}

inline void RunBlocks64(u64* state, unsigned char const* data, std::size_t blocks) noexcept {
    s_sha512Blocks.load(std::memory_order_relaxed)(state, data, blocks);
}

int DigestLength(sha2::SHA_TYPE type) noexcept {
    switch (type) {
    case sha2::SHA_1:
        return 20;
    case sha2::SHA_224:
        return 28;
    case sha2::SHA_256:
        return 32;
    case sha2::SHA_384:
        return 48;
    case sha2::SHA_512:
        return 64;
    default:
        return 0;
    }
}

constexpr u32 kSha1Init[5] = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476, 0xC3D2E1F0};
constexpr u32 kSha224Init[8] = {0xc1059ed8, 0x367cd507, 0x3070dd17, 0xf70e5939,
                                0xffc00b31, 0x68581511, 0x64f98fa7, 0xbefa4fa4};
constexpr u32 kSha256Init[8] = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
constexpr u64 kSha384Init[8] = {0xcbbb9d5dc1059ed8, 0x629a292a367cd507, 0x9159015a3070dd17,
                                0x152fecd8f70e5939, 0x67332667ffc00b31, 0x8eb44a8768581511,
                                0xdb0c2e0d64f98fa7, 0x47b5481dbefa4fa4};
constexpr u64 kSha512Init[8] = {0x6a09e667f3bcc908, 0xbb67ae8584caa73b, 0x3c6ef372fe94f82b,
                                0xa54ff53a5f1d36f1, 0x510e527fade682d1, 0x9b05688c2b3e6c1f,
                                0x1f83d9abfb41bd6b, 0x5be0cd19137e2179};

} // namespace

namespace kestal::detail {

bool Sha2HardwareAvailable() noexcept {
    return s_hardwareAvailable;
}

bool SetSha2HardwareEnabledForTesting(bool enabled) noexcept {
    bool const wasEnabled = HardwareInUse();
    SelectBlockFunctions(enabled);
    return wasEnabled;
}

bool SetSha512Avx512EnabledForTesting(bool enabled) noexcept {
    bool const wasEnabled = s_avx512Allowed.exchange(enabled, std::memory_order_relaxed);
    SelectBlockFunctions(HardwareInUse());
    return wasEnabled;
}

} // namespace kestal::detail

void sha2::Init(SHA_TYPE type) {
    m_type = type;
    m_finished = false;
    std::memset(m_state64, 0, sizeof m_state64);
    std::memset(m_bitCount, 0, sizeof m_bitCount);
    std::memset(m_buffer, 0, sizeof m_buffer);
    switch (type) {
    case SHA_1:
        std::memcpy(m_state32, kSha1Init, sizeof kSha1Init);
        break;
    case SHA_224:
        std::memcpy(m_state32, kSha224Init, sizeof kSha224Init);
        break;
    case SHA_256:
        std::memcpy(m_state32, kSha256Init, sizeof kSha256Init);
        break;
    case SHA_384:
        std::memcpy(m_state64, kSha384Init, sizeof kSha384Init);
        break;
    case SHA_512:
        std::memcpy(m_state64, kSha512Init, sizeof kSha512Init);
        break;
    default:
        throw std::runtime_error(kInvalidType);
    }
}

void sha2::Update(unsigned char const* data, unsigned long length) {
    switch (m_type) {
    case SHA_1:
    case SHA_224:
    case SHA_256:
        SHA32bit_Update(data, length, m_type == SHA_1);
        break;
    case SHA_384:
    case SHA_512:
        SHA64bit_Update(data, length);
        break;
    default:
        throw std::runtime_error(kInvalidType);
    }
}

bool sha2::End() {
    int const digestLength = DigestLength(m_type);
    switch (m_type) {
    case SHA_1:
    case SHA_224:
    case SHA_256: {
        bool const sha1 = m_type == SHA_1;
        SHA256_Internal_Last(sha1);
        int const words = sha1 ? 5 : 8;
        for (int i = 0; i < words; ++i)
            StoreBE32(m_digest + 4 * i, m_state32[i], m_bigEndian);
        break;
    }
    case SHA_384:
    case SHA_512:
        SHA512_Internal_Last();
        for (int i = 0; i < 8; ++i)
            StoreBE64(m_digest + 8 * i, m_state64[i], m_bigEndian);
        break;
    default:
        throw std::runtime_error(kInvalidType);
    }

    static constexpr char kDigits[] = "0123456789abcdef";
    for (int i = 0; i < digestLength; ++i) {
        m_hexText[2 * i] = kDigits[m_digest[i] >> 4];
        m_hexText[2 * i + 1] = kDigits[m_digest[i] & 0x0F];
    }
    m_hexText[2 * digestLength] = '\0';
    m_hexString.assign(m_hexText, static_cast<std::size_t>(2 * digestLength));
    m_finished = true;
    return true;
}

std::string const& sha2::GetHash(SHA_TYPE type, unsigned char const* data, unsigned long length) {
    Init(type);
    Update(data, length);
    End();
    return m_hexString;
}

char const* sha2::HexHash() const {
    if (!m_finished) throw std::runtime_error(kUnfinished);
    return m_hexString.c_str();
}

std::string const& sha2::StringHash() const {
    if (!m_finished) throw std::runtime_error(kUnfinished);
    return m_hexString;
}

unsigned char const* sha2::RawHash(int& length) const {
    if (!m_finished) throw std::runtime_error(kUnfinished);
    length = DigestLength(m_type);
    return m_digest;
}

void sha2::SHA1_Internal_Transform(unsigned int const* block) noexcept {
    RunBlocks32(m_state32, reinterpret_cast<unsigned char const*>(block), 1, true);
}

void sha2::SHA256_Internal_Transform(unsigned int const* block) noexcept {
    RunBlocks32(m_state32, reinterpret_cast<unsigned char const*>(block), 1, false);
}

void sha2::SHA512_Internal_Transform(unsigned long long const* block) noexcept {
    RunBlocks64(m_state64, reinterpret_cast<unsigned char const*>(block), 1);
}

void sha2::SHA32bit_Update(unsigned char const* data, unsigned long length, bool sha1) noexcept {
    BufferedUpdate<64>(
        m_buffer, m_bitCount, data, length,
        [this, sha1](unsigned char const* p, std::size_t n) { RunBlocks32(m_state32, p, n, sha1); });
}

void sha2::SHA64bit_Update(unsigned char const* data, unsigned long length) noexcept {
    BufferedUpdate<128>(m_buffer, m_bitCount, data, length,
                        [this](unsigned char const* p, std::size_t n) { RunBlocks64(m_state64, p, n); });
}

void sha2::SHA256_Internal_Last(bool sha1) noexcept {
    PadAndRunLast<64>(m_buffer, m_bitCount, m_bigEndian, [this, sha1](unsigned char const* p, std::size_t n) {
        RunBlocks32(m_state32, p, n, sha1);
    });
}

void sha2::SHA512_Internal_Last() noexcept {
    PadAndRunLast<128>(m_buffer, m_bitCount, m_bigEndian,
                       [this](unsigned char const* p, std::size_t n) { RunBlocks64(m_state64, p, n); });
}
