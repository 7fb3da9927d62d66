// THash family: published reference values for both algorithms, both forms of SpookyHash and the
// switch between them, unaligned input, and the relations between the entry points.
#include <array>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <kestal/THash.h>
#include <string>
#include <vector>

namespace {

// SpookyHash V2 author's test: message i is the bytes (j + 128) for j < i, seed 0, low 32 bits of
// the first word, as eight hex digits each. Lengths 0 to 511 cover the short form, the switch at
// 192 and the long form.
constexpr char kSpookyV2Low32[] =
    "6bf5091970de1d26a2b3729835bc5fbf8223b2795bcb315e53fe88a1f9f1a233ee19398254f86f29c8772d369ed608865f23d1da"
    "1ed9f474f2ef0c8983ec01f9f274736c7e9ac0dfc7aed250b1015811e23470f548ac20c4e2ab3cd5608f8363d0639e68c4e8e7ab"
    "863c7c5b4ea6357999ae8622170c658b149ba493027bca7ce5cfc8b6ce01d9d7111033305d1f5ed4ca720ecbef408aec733b90ec"
    "855737a69856c65f647411f750777c74f0f1a8b79d7e55a5c68dd371fc1af2cc75728d0a390e5fdcf389b84cfb0ccf23c95bad0e"
    "5b1cb85a6bdae14f6deb4626930470346f3266c6f529c3bd396322e73777d0421cd6a5a2197b402ec28d0d2b09c1afb4069c8bb7"
    "6f9d4e1ed2621b5cea68108d8660cb8fd61e6de67fba15c7aacfaa97db3819024ea226495d414a1ec3fc5984a0fc9e10347dc51c"
    "37545fb68c84b26bf57efa5d56afaf16b6e1eb949218536ae3cc4967d3275ef4ea63536e6086e499accadce7b0290d824ebfd0d6"
    "46ccc1852eeb10d3474e3c8c23c84aee3abae1cb1499b81aa2993951eed176addfcfe84cde4a961f4af13fe6e0069c42c14de8f5"
    "6e02ce8f90d19f7fbca4a484d4efdd63780fd504e80310e303abbc1290023849d6f6fb84d6b354c55b8575f0758f14e4450de862"
    "90704afb47209a33f226b726f858dab87c0d6de9b05ce777ee5ff2d47acb6d5c2d663f8541c72a9182356bf294e948ecd358d448"
    "eca7814d78cd7950d609727797782a5df43fc6f4105f0a389e1700824bfe566b4371d25fef25a364698eb67274f850e44678ff99"
    "4a290dc63918f07c32c7d9cd9f28e0af0d3c5a867bfc8a45ddf0c7e1deacb86b970b3c5c5e29e199ea28346d6b59e71bf8a8a46a"
    "862f6ce43ccb740b08761e9ebfa01e5ff17cfa142dbf99fb7a0be42006137517e020b266d25bfc61ff10ed0042e6be8b029ef587"
    "683b26e0b08afc707c1fd59ebaae9a7098c8c801b6e35a265708397190a6a6801b44169e1dce237c518e0a59ccb113587b8175fb"
    "b8fe701a10d259bbe806ce109212be794604ae7b7fa22a84e715b13a0394c3b211efbbaee13d9e1977e012bd2d05114caecf2ddd"
    "b2a2b4aab942954655dce815c89138f846dcae201f6f71620c557ebc5b996932afbbe7e2d2bd5f62ff475b9f9cec7108eaddcffb"
    "5d751aeff68f7bdff3f4e24600983fcd00bc82bbbf5fd3e7e80c7e2c187d8b1fefafb9a78f27a1485c9606a9f2d2be3ee992d13a"
    "e4bcd152ce40b43663d6a1fcdc1455c464641e39d83010c92d535ae05b748f3ef9a9146b80f102942859acd45fc846da56d190e9"
    "8216722598e4dababf7865f300da7ae49b7cd126644172f8de40c78fe8803efcdd331a2b48485c3c4ed01ddc9c0b2d9eb1c6e9d7"
    "d797d43c274101ff3bf7e12791ebbc567ffeb3214d42096fd6e9456a0bade3182f40ee0b38cebf030cbc2e72bf03e7047b3e7a9a"
    "8e985acd90917617413895f8f11dde04c66f8244e56481746c4202712469d4632540b033dc788e7be4140ded0990630aa54abed4"
    "6e124829d940155a1c8836f638fda06c5207ab69f8be9342774882a856fc0d7e53a99d6e8241f6349490954d447130aa8cc4a81f"
    "0868ec83c22c642d47880140fbff3bec0f531f41f845a66708c15fb71996cd8186579103e21dd863513d7f973984a1f1dfcdc5f4"
    "97766a5e37e2b1da41441f3fabd9ddba23b755a9da937945103e650e3eef7c8f2760ff8d2493a4cd1d6712253bf4bd4ced6e1728"
    "c70e9e304e05e529928d5aa6164d0220b51843064bd7efb363830f11f3a1526cf1545450d41d5df525a5060d77b368da4fe33c7e"
    "eae09021fdb053c42930f18dd37109ff8511a781c7e7cdd76aeabc45ebbeaeaa9a0c4f11da252cbb5b248f415223b5ebe32ab782"
    "8e6a1c9711d3f4543e05bd160059001dce13ac97f83b2b4c71db5c9adc8655a69e98597b3fcae0a275e63ccd076c72df4754c6ad"
    "26b5627bd818c697998d5f3de94fc7b21f49ad1aca7ff4ea9fe72c05fbd0cbbfb0388cebb76031e3d0f53973fb17907ca4c4c10f"
    "9f2d8af9ca0e56b0b0d9b689fcbf37a3fede8f7df836511c744003fc89eba576cfdcf6a6c2007f52aaaf683f62d2f9cac996f77f"
    "77a7b5b38ba7d0a4ef6a0819a0d903c001b2743158fffd4c4827f45c44eb5634ae70edfc591c740b478bf3382f3b513b67bf518e"
    "6fef4a0c1e0b69175ac0edc52e328498077de7d55726020b2aeda88845b637cacf60858d3dc91ae23e6d5294e6900d390f634c71"
    "827a5fa4c713994b1c3634943d43b615e5fe7d15f6ada4f2472099d504360d397f2a71d088a4f5ff2c28fac54cd64801fd78dd33"
    "c9bdd23321e266cc9bbf419dcbf7d81d80f15f960424265753fb0f66ded11e46f2fdba978d45c9f14eeae80217003659b9db81a7"
    "e734b1b29503c54eb7c77c3e271dd0abd8b906b50d540ec6f03b86e00fdb7d1895e261afad9ec04e381f4a64fec798d709ea20be"
    "0ef4ca571e6195bbfd0da78bcea1653b157d9777f04af50fad7baa23d181714a9bbdab786c7d1577645eb1e7a064826435839ca6"
    "2287ef4532a64ca326111f6f64814946b0cddaf14351c59e1b30471cb970788a30e9f597d7e58df1c6d2b953f5f37cf43d7c419e"
    "f91ecb2d9c87fd5db22384ce8c7ac51c62c9680157e54091964536fe13d3b1894afd1580eba62239b82ea667ae18d43abef04402"
    "1942534fc54bf2603c8267f5a1020ddd112fcc8ade596266e91d0856f300c914ed84478e5b65009e4764da16af8e07a24088dc2c"
    "9a0cad412c3f179ba67b83f7f27eab09dbe10e28f04c911fd1169f878e1e497617f57744e4f5a33f27c2e04b0b7523bd07305776"
    "c6be7503918fa7c9af2e2cd982046f8ecc1c8250";

std::uint32_t spookyLow32(int length) {
    return static_cast<std::uint32_t>(std::stoul(std::string(kSpookyV2Low32 + 8 * length, 8), nullptr, 16));
}

// SMHasher's verification code (its SpookyV2 entries): hash keys {}, {0}, {0,1}, ... {0..254} with
// seed 256 - length, then hash the concatenated results with seed 0 and read the first four bytes.
template <typename HashFn>
std::uint32_t VerificationCode(std::size_t hashBytes, HashFn hash) {
    std::vector<unsigned char> key(256), hashes(256 * hashBytes), final(hashBytes);
    for (int i = 0; i < 256; ++i) {
        key[i] = static_cast<unsigned char>(i);
        hash(key.data(), i, 256u - i, &hashes[i * hashBytes]);
    }
    hash(hashes.data(), hashes.size(), 0u, final.data());
    return final[0] | (final[1] << 8) | (final[2] << 16) | (static_cast<std::uint32_t>(final[3]) << 24);
}

} // namespace

TEST(THash, MatchesPublishedLow32ForEveryLengthUpTo511) {
    unsigned char buf[512];
    for (int i = 0; i < 512; ++i) {
        buf[i] = static_cast<unsigned char>(i + 128);
        EXPECT_EQ(static_cast<std::uint32_t>(THash(buf, i, 0)), spookyLow32(i)) << "length " << i;
    }
    // Empty input reads nothing, so a null pointer will do.
    EXPECT_EQ(static_cast<std::uint32_t>(THash(nullptr, 0, 0)), spookyLow32(0));
    EXPECT_EQ(THash64(nullptr, 0, 5), THash128(nullptr, 0, 5, 5).first);
}

TEST(THash, MatchesSmhasherVerificationCodes) {
    auto h32 = [](void const* k, std::size_t n, unsigned seed, unsigned char* out) {
        auto const v = static_cast<std::uint32_t>(THash(k, n, seed));
        std::memcpy(out, &v, 4);
    };
    auto h64 = [](void const* k, std::size_t n, unsigned seed, unsigned char* out) {
        auto const v = THash64(k, n, seed);
        std::memcpy(out, &v, 8);
    };
    auto h128 = [](void const* k, std::size_t n, unsigned seed, unsigned char* out) {
        auto const [a, b] = THash128(k, n, seed, seed);
        std::memcpy(out, &a, 8);
        std::memcpy(out + 8, &b, 8);
    };
    EXPECT_EQ(VerificationCode(4, h32), 0xA48BE265u);
    EXPECT_EQ(VerificationCode(8, h64), 0x972C4BDCu);
    EXPECT_EQ(VerificationCode(16, h128), 0x893CFCBEu);
}

TEST(THash, MatchesPublishedFull128BitValues) {
    // Prefixes of one text, seeds 0 and 0: one length for each tail case and group edge of the short
    // form, all four 32-bit quarters, low quarter of the first word first.
    using Quarters = std::array<std::uint32_t, 4>;
    constexpr std::pair<std::size_t, Quarters> kPrefixes[] = {
        {0, {0x6bf50919, 0x232706fc, 0xb4e851c7, 0x8b72ee65}},
        {3, {0x5846ccfa, 0x2882d11a, 0x70109222, 0x6b21b0e8}},
        {8, {0xdf599479, 0x7a9378dc, 0xa74ecdd7, 0x30f5a569}},
        {12, {0xe4c6832a, 0xc3fcc139, 0xe01e2f2e, 0xdadfeff6}},
        {15, {0xf6b9122d, 0x67211fba, 0xbbc700db, 0x68f4e8f3}},
        {16, {0x964b80ad, 0xe2d06846, 0xc75c4c20, 0x6005068a}},
        {31, {0x6aab6aff, 0xe2ead0cc, 0xf77e70a7, 0x29a20bcc}},
        {32, {0xe9b451b4, 0x3dc2f4a9, 0xde7b60d2, 0x27de306d}},
        {36, {0x07c32f38, 0xb7c97db8, 0x0adef63d, 0x51072323}},
    };
    for (auto const& [len, want] : kPrefixes) {
        auto const [a, b] = THash128("0123456789abcdefghijklmnopqrstuvwxyz", len, 0, 0);
        Quarters const got = {static_cast<std::uint32_t>(a), static_cast<std::uint32_t>(a >> 32),
                              static_cast<std::uint32_t>(b), static_cast<std::uint32_t>(b >> 32)};
        EXPECT_EQ(got, want) << "length " << len;
    }

    // Distinct seeds: the first word comes from the first seed's slot.
    std::string const hello = "Hello World!!";
    EXPECT_EQ(THash64(hello.data(), hello.size(), 123), 0x78ed9000d7605b78ull);
    EXPECT_EQ(THash128(hello.data(), hello.size(), 123, 0),
              std::pair(0xd89b808bd353c2ecull, 0x9bede9164600e157ull));
    std::string const lyric = "DAKARA ONE TWO THREE DE ARUKIDASE\nKYOU MO ASHITA MO KINOU MO KAWARANAI\n"
                              "NARABA ONE TWO THREE DE ARUKIDASE\nMAWARU SEKAI TO GYAKU MUKI DE";
    EXPECT_EQ(THash128(lyric.data(), lyric.size(), 0, 0),
              std::pair(0xf4c773c08b934657ull, 0xe898100932d7fa1cull));
}

TEST(THash, EntryPointsAgreeAndReadUnalignedData) {
    // Random bytes at every offset within a word, for lengths around each block edge of both forms.
    std::vector<unsigned char> source(700), shifted(708);
    std::uint64_t x = 0x9E3779B97F4A7C15ull;
    for (auto& c : source) {
        x = x * 6364136223846793005ull + 1442695040888963407ull;
        c = static_cast<unsigned char>(x >> 56);
    }
    for (std::size_t len :
         {0, 1, 15, 16, 31, 32, 47, 48, 95, 96, 97, 191, 192, 193, 287, 288, 289, 383, 384, 600}) {
        unsigned long const seed = len * 0x100000001ull;
        unsigned long const expected = THash(source.data(), len, seed);
        EXPECT_EQ(THash64(source.data(), len, seed), expected);
        EXPECT_EQ(THash128(source.data(), len, seed, seed).first, expected);
        for (std::size_t offset = 1; offset < 8; ++offset) {
            std::memcpy(shifted.data() + offset, source.data(), len);
            EXPECT_EQ(THash(shifted.data() + offset, len, seed), expected) << len << " at +" << offset;
            EXPECT_EQ(THash128(shifted.data() + offset, len, seed, ~seed),
                      THash128(source.data(), len, seed, ~seed));
            EXPECT_EQ(THash32(shifted.data() + offset, len, 7u), THash32(source.data(), len, 7u));
        }
    }
}

TEST(THash, EveryByteAndSeedWordMatters) {
    // One flipped bit in any position, on both sides of the 191/192 switch, changes both words.
    for (std::size_t len : {191u, 192u}) {
        std::vector<unsigned char> msg(len, 0x5A);
        auto const base = THash128(msg.data(), len, 1, 2);
        for (std::size_t i = 0; i < len; ++i) {
            msg[i] ^= 0x01;
            auto const h = THash128(msg.data(), len, 1, 2);
            EXPECT_TRUE(h.first != base.first && h.second != base.second) << len << " byte " << i;
            msg[i] ^= 0x01;
        }
        EXPECT_NE(THash128(msg.data(), len, 1, 3).first, base.first);
        EXPECT_NE(THash128(msg.data(), len, 3, 2).second, base.second);
    }
}

TEST(THash32, MatchesPublishedValues) {
    // The hash of each text with seed 0, then (when given) with that hash as the seed.
    struct Case {
        std::string text;
        unsigned first, second;
    };
    Case const cases[] = {
        {"", 3175731469u, 0},
        {"a", 703514648u, 0},
        {"hello world", 447289830u, 0},
        {"goodbye cruel world", 969307542u, 0},
        {std::string(12, 'a'), 234809978u, 0},
        {"hello", 3070638494u, 1535955511u},
        {"wow", 627410295u, 320141986u},
        {std::string(1, '\0'), 1843378377u, 341630388u},
        {"\xff\x80\x40\x01", 3359486273u, 2916354366u},
        {"this is 11c", 3384459500u, 1497460513u},
        {"this is 12ch", 313177311u, 1671722359u},
        {"this is >12ch", 2321813933u, 4197822112u},
        {"this is much large than 12 characters", 2771373033u, 1338302094u},
    };
    for (auto const& c : cases) {
        EXPECT_EQ(THash32(c.text.data(), c.text.size(), 0), c.first) << c.text;
        if (c.second) {
            EXPECT_EQ(THash32(c.text.data(), c.text.size(), c.first), c.second) << c.text;
        }
    }
    EXPECT_EQ(THash32(nullptr, 0, 0), 3175731469u);
    std::string fox;
    for (int i = 0; i < 5; ++i)
        fox += "The quick brown fox jumps over the lazy dog";
    EXPECT_EQ(THash32(fox.data(), fox.size(), 0), 2138388378u);
}

TEST(THash32, UsesOnlyTheLow32BitsOfTheLength) {
    char const data[] = "abcde";
    // Only five bytes exist: reading more would trip the sanitizers.
    EXPECT_EQ(THash32(data, (1ul << 32) + 5, 9u), THash32(data, 5, 9u));
    EXPECT_EQ(THash32(data, 1ul << 32, 9u), THash32(nullptr, 0, 9u));
}

TEST(THashCombine, IsTheHashOfTheFirstArgumentSeededWithTheSecond) {
    for (unsigned long a : {0ul, 1ul, 0xDEADBEEFul, ~0ul}) {
        for (unsigned long b : {0ul, 2ul, 0x0123456789ABCDEFul}) {
            EXPECT_EQ(THashCombine(a, b), THash(&a, sizeof a, b));
            auto const a32 = static_cast<unsigned>(a), b32 = static_cast<unsigned>(b);
            EXPECT_EQ(THashCombine32(a32, b32), THash32(&a32, sizeof a32, b32));
        }
    }
    EXPECT_NE(THashCombine(1, 2), THashCombine(2, 1));
    EXPECT_NE(THashCombine32(1, 2), THashCombine32(2, 1));
}
