// sha2: FIPS 180-4 vectors, every way of splitting a message, agreement with OpenSSL on random input
// with and without the processor's SHA instructions, and the object's states and errors.
#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>
#include <kestal/detail/sha2Testing.h>
#include <kestal/sha2.h>
#include <openssl/evp.h>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

constexpr sha2::SHA_TYPE kAllTypes[] = {sha2::SHA_1, sha2::SHA_224, sha2::SHA_256, sha2::SHA_384,
                                        sha2::SHA_512};

std::size_t BlockSize(sha2::SHA_TYPE t) {
    return t >= sha2::SHA_384 ? 128 : 64;
}

std::string Hex(unsigned char const* bytes, std::size_t n) {
    std::string hex;
    for (std::size_t i = 0; i < n; ++i) {
        hex += "0123456789abcdef"[bytes[i] >> 4];
        hex += "0123456789abcdef"[bytes[i] & 15];
    }
    return hex;
}

std::string OpenSslHex(sha2::SHA_TYPE t, unsigned char const* data, std::size_t length) {
    static EVP_MD const* (*const digests[])() = {nullptr,    EVP_sha1,   EVP_sha224,
                                                 EVP_sha256, EVP_sha384, EVP_sha512};
    unsigned char md[EVP_MAX_MD_SIZE];
    unsigned int mdLength = 0;
    EXPECT_EQ(EVP_Digest(data, length, md, &mdLength, digests[t](), nullptr), 1);
    return Hex(md, mdLength);
}

std::vector<unsigned char> RandomBytes(std::size_t n, std::uint32_t seed) {
    std::mt19937 rng(seed);
    std::vector<unsigned char> v(n);
    for (auto& c : v)
        c = static_cast<unsigned char>(rng());
    return v;
}

unsigned char const* Bytes(std::string const& s) {
    return reinterpret_cast<unsigned char const*>(s.data());
}

// The digest of `data` fed through Update in pieces whose sizes `nextPiece` chooses.
template <class F>
std::string InPieces(sha2::SHA_TYPE t, unsigned char const* data, std::size_t size, F nextPiece) {
    sha2 h;
    h.Init(t);
    for (std::size_t at = 0; at < size;) {
        std::size_t const n = std::min<std::size_t>(nextPiece(), size - at);
        h.Update(data + at, n);
        at += n;
    }
    h.End();
    return h.StringHash();
}

template <class F>
void ExpectRuntimeError(F&& call, char const* message) {
    try {
        call();
        ADD_FAILURE() << "no exception, expected: " << message;
    } catch (std::runtime_error const& e) {
        EXPECT_STREQ(e.what(), message);
    }
}

// Runs each test on the portable transforms, on the processor's widest instructions, and on them
// with SHA-512's schedule held to AVX2 (the same as the widest where there is no AVX-512VL).
enum Transforms { Portable, Hardware, HardwareAvx2 };

class Sha2Transforms : public ::testing::TestWithParam<Transforms> {
protected:
    void SetUp() override {
        if (GetParam() != Portable && !kestal::detail::Sha2HardwareAvailable())
            GTEST_SKIP() << "no SHA extensions or AVX2 here";
        m_previous = kestal::detail::SetSha2HardwareEnabledForTesting(GetParam() != Portable);
        m_previousAvx512 = kestal::detail::SetSha512Avx512EnabledForTesting(GetParam() != HardwareAvx2);
    }
    void TearDown() override {
        kestal::detail::SetSha512Avx512EnabledForTesting(m_previousAvx512);
        kestal::detail::SetSha2HardwareEnabledForTesting(m_previous);
    }

private:
    bool m_previous = false;
    bool m_previousAvx512 = true;
};

} // namespace

TEST_P(Sha2Transforms, MatchesFips180Vectors) {
    // Per type: "", "abc", the two-block message of its block size, a million 'a's.
    std::string const messages[] = {
        "", "abc", "abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
        "abcdefghbcdefghicdefghijdefghijkefghijklfghijklmghijklmnhijklmnoijklmnopjklmnopqklmnopqrlmno"
        "pqrsmnopqrstnopqrstu",
        std::string(1000000, 'a')};
    std::string const digests[][4] = {
        {"da39a3ee5e6b4b0d3255bfef95601890afd80709", "a9993e364706816aba3e25717850c26c9cd0d89d",
         "84983e441c3bd26ebaae4aa1f95129e5e54670f1", "34aa973cd4c4daa4f61eeb2bdbad27316534016f"},
        {"d14a028c2a3a2bc9476102bb288234c415a2b01f828ea62ac5b3e42f",
         "23097d223405d8228642a477bda255b32aadbce4bda0b3f7e36c9da7",
         "75388b16512776cc5dba5da1fd890150b0c6455cb4f58b1952522525",
         "20794655980c91d8bbb4c1ea97618a4bf03f42581948b2ee4ee7ad67"},
        {"e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855",
         "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad",
         "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1",
         "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"},
        {"38b060a751ac96384cd9327eb1b1e36a21fdb71114be07434c0cc7bf63f6e1da274edebfe76f65fbd51ad2f14898b95b",
         "cb00753f45a35e8bb5a03d699ac65007272c32ab0eded1631a8b605a43ff5bed8086072ba1e7cc2358baeca134c825a7",
         "09330c33f71147e83d192fc782cd1b4753111b173b3b05d22fa08086e3b0f712fcc7c71a557e2db966c3e9fa91746039",
         "9d0e1809716474cb086e834e310a4a1ced149e9c00f248527972cec5704c2a5b07b8b3dc38ecc4ebae97ddd87f3d8985"},
        {"cf83e1357eefb8bdf1542850d66d8007d620e4050b5715dc83f4a921d36ce9ce"
         "47d0d13c5d85f2b0ff8318d2877eec2f63b931bd47417a81a538327af927da3e",
         "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a"
         "2192992a274fc1a836ba3c23a3feebbd454d4423643ce80e2a9ac94fa54ca49f",
         "8e959b75dae313da8cf4f72814fc143f8f7779c6eb9f7fa17299aeadb6889018"
         "501d289e4900f7e4331b99dec4b5433ac7d329eeb6dd26545e96e55b874be909",
         "e718483d0ce769644e2e42c7bc15b4638e1f98b13b2044285632a803afa973eb"
         "de0ff244877ea60a4cb0432ce577c31beb009c5c2c49aa2e4eadb217ad8cc09b"},
    };
    sha2 h; // one object for all: each digest starts afresh
    for (auto t : kAllTypes) {
        SCOPED_TRACE(t);
        std::string const(&want)[4] = digests[t - 1];
        h.Init(t);
        h.End(); // End right after Init is the empty message
        EXPECT_EQ(h.StringHash(), want[0]);
        EXPECT_EQ(h.GetHash(t, Bytes(messages[1]), 3), want[1]);
        std::string const& twoBlock = messages[t >= sha2::SHA_384 ? 3 : 2];
        EXPECT_EQ(h.GetHash(t, Bytes(twoBlock), twoBlock.size()), want[2]);
        EXPECT_EQ(h.GetHash(t, Bytes(messages[4]), messages[4].size()), want[3]);
        // The same million bytes in pieces that never line up with a block.
        EXPECT_EQ(InPieces(t, Bytes(messages[4]), messages[4].size(), [] { return 997; }), want[3]);
    }
}

TEST_P(Sha2Transforms, AgreesWithOpenSsl) {
    // Every length up to three blocks covers 55/56 and 111/112 (one or two padding blocks) and the
    // lengths that fill a block exactly; odd offsets make every read unaligned.
    auto const data = RandomBytes(3 * 128 + 8, 1);
    for (auto t : kAllTypes) {
        for (std::size_t len = 0; len <= 3 * BlockSize(t); ++len) {
            sha2 h;
            unsigned char const* at = data.data() + len % 8;
            EXPECT_EQ(h.GetHash(t, at, len), OpenSslHex(t, at, len)) << "type " << t << " length " << len;
        }
    }
    // Random messages up to a few hundred kilobytes.
    std::mt19937 rng(3);
    for (int round = 0; round < 40; ++round) {
        std::size_t const len = rng() % (round < 30 ? 4096 : 300000);
        auto const message = RandomBytes(len, rng());
        for (auto t : kAllTypes) {
            sha2 h;
            EXPECT_EQ(h.GetHash(t, message.data(), len), OpenSslHex(t, message.data(), len))
                << "type " << t << " length " << len;
        }
    }
}

TEST_P(Sha2Transforms, AnySplitGivesTheSameDigest) {
    auto const data = RandomBytes(5 * 128 + 77, 2);
    for (auto t : kAllTypes) {
        std::string const whole = OpenSslHex(t, data.data(), data.size());
        // Fixed piece sizes from 1 to just over two blocks.
        for (std::size_t piece = 1; piece <= 2 * BlockSize(t) + 1; ++piece)
            EXPECT_EQ(InPieces(t, data.data(), data.size(), [&] { return piece; }), whole)
                << "type " << t << " piece " << piece;
        // Random piece sizes, zero-length updates among them.
        std::mt19937 rng(t);
        for (int round = 0; round < 50; ++round)
            EXPECT_EQ(InPieces(t, data.data(), data.size(), [&] { return rng() % (3 * BlockSize(t)); }),
                      whole)
                << "type " << t << " round " << round;
    }
}

INSTANTIATE_TEST_SUITE_P(Sha2, Sha2Transforms, ::testing::Values(Portable, Hardware, HardwareAvx2),
                         [](auto const& info) {
                             return std::string(info.param == Portable   ? "Portable"
                                                : info.param == Hardware ? "Hardware"
                                                                         : "HardwareAvx2");
                         });

TEST(sha2, DigestFormsAgreeAndReuseStartsAfresh) {
    auto const data = RandomBytes(1000, 4);
    int const expectedLength[] = {0, 20, 28, 32, 48, 64};
    sha2 h;
    for (auto t : kAllTypes) {
        std::string const& hex = h.GetHash(t, data.data(), data.size());
        int length = -1;
        unsigned char const* raw = h.RawHash(length);
        ASSERT_EQ(length, expectedLength[t]);
        EXPECT_EQ(Hex(raw, length), hex);
        EXPECT_EQ(std::string(h.HexHash()), hex);
        EXPECT_EQ(&h.StringHash(), &hex);
    }
    h.Init(sha2::SHA_256);
    h.Update(Bytes("ab"), 2);
    h.Update(Bytes("c"), 1);
    h.End();
    EXPECT_EQ(h.StringHash(), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

TEST(sha2, ReadingBeforeEndRaises) {
    auto expectUnfinished = [](sha2 const& h) {
        int length = 0;
        ExpectRuntimeError([&] { h.HexHash(); }, "Unfinished execution!");
        ExpectRuntimeError([&] { h.StringHash(); }, "Unfinished execution!");
        ExpectRuntimeError([&] { h.RawHash(length); }, "Unfinished execution!");
    };
    sha2 fresh;
    expectUnfinished(fresh);
    sha2 h;
    h.GetHash(sha2::SHA_256, Bytes("abc"), 3);
    h.Init(sha2::SHA_256); // an earlier digest exists, but Init makes it unreadable
    expectUnfinished(h);
    h.Update(Bytes("abc"), 3);
    expectUnfinished(h);
}

TEST(sha2, InvalidTypeRaises) {
    char const* const invalid = "Invalid SHA_TYPE type!";
    for (int bad : {0, 6, -1}) {
        auto const type = static_cast<sha2::SHA_TYPE>(bad);
        sha2 h;
        ExpectRuntimeError([&] { h.Init(type); }, invalid);
        ExpectRuntimeError([&] { h.Update(Bytes("abc"), 3); }, invalid);
        ExpectRuntimeError([&] { h.End(); }, invalid);
        sha2 g;
        g.GetHash(sha2::SHA_1, Bytes("abc"), 3);
        ExpectRuntimeError([&] { g.GetHash(type, Bytes("abc"), 3); }, invalid);
        // The bad type was stored and the object left unfinished.
        ExpectRuntimeError([&] { g.Update(Bytes("abc"), 3); }, invalid);
        EXPECT_THROW(g.HexHash(), std::runtime_error);
    }
    sha2 fresh; // a new object has no type until Init
    ExpectRuntimeError([&] { fresh.Update(Bytes("abc"), 3); }, invalid);
}
