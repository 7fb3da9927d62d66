// SHA-1, SHA-224, SHA-256, SHA-384 and SHA-512 digests in one streaming object: Init, any number of
// Update calls, End, then the digest as lower-case hex text or raw bytes. Misuse (an unknown type,
// reading before End) raises std::runtime_error, not the library's own exception family.
#pragma once

#include <bit>
#include <cstdint>
#include <kestal/KestalExport.h>
#include <string>

/// One digest computation at a time; an object serves one thread at a time.
class KESTAL_API sha2 {
public:
    /// The algorithm. Only the values 1 to 5 are valid; SHA_NONE is the state of a new object.
    enum SHA_TYPE : int {
        SHA_NONE = 0,
        SHA_1 = 1,   ///< 20-byte digest, 64-byte blocks
        SHA_224 = 2, ///< 28-byte digest, 64-byte blocks
        SHA_256 = 3, ///< 32-byte digest, 64-byte blocks
        SHA_384 = 4, ///< 48-byte digest, 128-byte blocks
        SHA_512 = 5, ///< 64-byte digest, 128-byte blocks
    };

    /// A new object has no type: call Init or GetHash before Update.
    sha2() noexcept = default;

    /// Starts a new digest of `type` and clears the finished mark; the previous hex string stays but
    /// is unreadable. Throws std::runtime_error for a type outside 1 to 5 (the object is then unusable).
    void Init(SHA_TYPE type);

    /// Adds `length` bytes at `data` (any alignment). Throws std::runtime_error without a valid type.
    void Update(unsigned char const* data, unsigned long length);

    /// Pads, finishes and stores the digest in all three forms. Always returns true. Throws
    /// std::runtime_error without a valid type. Running it again without Init gives a meaningless result.
    bool End();

    /// Init, Update and End in one call; returns the hex string. Throws as Init does.
    std::string const& GetHash(SHA_TYPE type, unsigned char const* data, unsigned long length);

    /// The digest as null-terminated lower-case hex. Throws std::runtime_error before End.
    char const* HexHash() const;

    /// The digest as lower-case hex. Throws std::runtime_error before End.
    std::string const& StringHash() const;

    /// The raw digest in standard byte order; its size in bytes (20 to 64) goes to `length`.
    /// Throws std::runtime_error before End.
    unsigned char const* RawHash(int& length) const;

    /// Low-level steps behind Update and End, for callers that drive the blocks themselves.
    /// Each transform folds one block (64 bytes, or 128 for SHA512_Internal_Transform; any alignment)
    /// into the state; `sha1` selects the SHA-1 transform for the 64-byte-block types.
    void SHA1_Internal_Transform(unsigned int const* block) noexcept;
    void SHA256_Internal_Transform(unsigned int const* block) noexcept;
    void SHA512_Internal_Transform(unsigned long long const* block) noexcept;
    void SHA32bit_Update(unsigned char const* data, unsigned long length, bool sha1) noexcept;
    void SHA64bit_Update(unsigned char const* data, unsigned long length) noexcept;
    void SHA256_Internal_Last(bool sha1) noexcept;
    void SHA512_Internal_Last() noexcept;

private:
    SHA_TYPE m_type = SHA_NONE;
    std::string m_hexString;
    bool m_finished = false;
    bool m_bigEndian = std::endian::native == std::endian::big;
    char m_hexText[129] = {};
    unsigned char m_digest[64] = {};
    // SHA-1 uses five 32-bit words, SHA-224/256 eight 32-bit words, SHA-384/512 eight 64-bit words.
    union {
        std::uint64_t m_state64[8] = {};
        std::uint32_t m_state32[16];
    };
    std::uint64_t m_bitCount[2] = {}; ///< message length in bits, low word first
    unsigned char m_buffer[128] = {};
};
