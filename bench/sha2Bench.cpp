// sha2 against OpenSSL's EVP digests on 1 MiB, for each type; the "Portable" rows force the portable
// transforms even where the processor has SHA instructions or AVX2, the "Avx2" row holds SHA-512's
// schedule to AVX2 where AVX-512VL is there too.
#include <benchmark/benchmark.h>
#include <kestal/detail/sha2Testing.h>
#include <kestal/sha2.h>
#include <openssl/evp.h>
#include <vector>

namespace {

constexpr std::size_t kSize = 1 << 20;

std::vector<unsigned char> const& Message() {
    static std::vector<unsigned char> const data = [] {
        std::vector<unsigned char> v(kSize);
        for (std::size_t i = 0; i < v.size(); ++i)
            v[i] = static_cast<unsigned char>(i * 2654435761u >> 13);
        return v;
    }();
    return data;
}

void Kestal(benchmark::State& state, sha2::SHA_TYPE type, bool hardware, bool avx512 = true) {
    bool const previous = kestal::detail::SetSha2HardwareEnabledForTesting(hardware);
    bool const previousAvx512 = kestal::detail::SetSha512Avx512EnabledForTesting(avx512);
    auto const& data = Message();
    sha2 h;
    for (auto _ : state) {
        h.GetHash(type, data.data(), data.size());
        benchmark::DoNotOptimize(h.HexHash());
    }
    kestal::detail::SetSha512Avx512EnabledForTesting(previousAvx512);
    kestal::detail::SetSha2HardwareEnabledForTesting(previous);
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kSize));
}

void OpenSsl(benchmark::State& state, EVP_MD const* md) {
    auto const& data = Message();
    unsigned char out[EVP_MAX_MD_SIZE];
    unsigned int outLength = 0;
    for (auto _ : state) {
        EVP_Digest(data.data(), data.size(), out, &outLength, md, nullptr);
        benchmark::DoNotOptimize(out);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kSize));
}

} // namespace

BENCHMARK_CAPTURE(Kestal, sha1, sha2::SHA_1, true)->Name("SHA1/kestal");
BENCHMARK_CAPTURE(OpenSsl, sha1, EVP_sha1())->Name("SHA1/openssl");
BENCHMARK_CAPTURE(Kestal, sha224, sha2::SHA_224, true)->Name("SHA224/kestal");
BENCHMARK_CAPTURE(OpenSsl, sha224, EVP_sha224())->Name("SHA224/openssl");
BENCHMARK_CAPTURE(Kestal, sha256, sha2::SHA_256, true)->Name("SHA256/kestal");
BENCHMARK_CAPTURE(OpenSsl, sha256, EVP_sha256())->Name("SHA256/openssl");
BENCHMARK_CAPTURE(Kestal, sha384, sha2::SHA_384, true)->Name("SHA384/kestal");
BENCHMARK_CAPTURE(OpenSsl, sha384, EVP_sha384())->Name("SHA384/openssl");
BENCHMARK_CAPTURE(Kestal, sha512, sha2::SHA_512, true)->Name("SHA512/kestal");
BENCHMARK_CAPTURE(OpenSsl, sha512, EVP_sha512())->Name("SHA512/openssl");
BENCHMARK_CAPTURE(Kestal, sha512avx2, sha2::SHA_512, true, false)->Name("SHA512Avx2/kestal");
BENCHMARK_CAPTURE(OpenSsl, sha512avx2, EVP_sha512())->Name("SHA512Avx2/openssl");
BENCHMARK_CAPTURE(Kestal, sha1p, sha2::SHA_1, false)->Name("SHA1Portable/kestal");
BENCHMARK_CAPTURE(OpenSsl, sha1p, EVP_sha1())->Name("SHA1Portable/openssl");
BENCHMARK_CAPTURE(Kestal, sha256p, sha2::SHA_256, false)->Name("SHA256Portable/kestal");
BENCHMARK_CAPTURE(OpenSsl, sha256p, EVP_sha256())->Name("SHA256Portable/openssl");
BENCHMARK_CAPTURE(Kestal, sha512p, sha2::SHA_512, false)->Name("SHA512Portable/kestal");
BENCHMARK_CAPTURE(OpenSsl, sha512p, EVP_sha512())->Name("SHA512Portable/openssl");
