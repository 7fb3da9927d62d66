// THash and THash32 against std::hash<std::string_view> (the standard library's byte hash) on the same
// bytes. Every call is independent of the last, as hash-table lookups are.
#include <benchmark/benchmark.h>
#include <functional>
#include <kestal/THash.h>
#include <string>
#include <string_view>

namespace {

std::string Bytes(std::size_t n) {
    std::string s(n, '\0');
    for (std::size_t i = 0; i < n; ++i)
        s[i] = static_cast<char>(i * 131 + 7);
    return s;
}

template <typename Hash>
void Run(benchmark::State& state, Hash hash) {
    std::string const data = Bytes(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        benchmark::DoNotOptimize(data.data());
        auto h = hash(data);
        benchmark::DoNotOptimize(h);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * state.range(0));
}

auto const kKestal64 = [](std::string const& s) { return THash(s.data(), s.size(), 0); };
auto const kKestal32 = [](std::string const& s) { return THash32(s.data(), s.size(), 0); };
auto const kStdHash = [](std::string const& s) { return std::hash<std::string_view>{}(s); };

} // namespace

BENCHMARK_CAPTURE(Run, kestal64, kKestal64)->Name("THash/kestal")->Arg(16)->Arg(64)->Arg(1024)->Arg(65536);
BENCHMARK_CAPTURE(Run, std64, kStdHash)->Name("THash/std_hash")->Arg(16)->Arg(64)->Arg(1024)->Arg(65536);
BENCHMARK_CAPTURE(Run, kestal32, kKestal32)->Name("THash32/kestal")->Arg(16)->Arg(64)->Arg(1024)->Arg(65536);
BENCHMARK_CAPTURE(Run, std32, kStdHash)->Name("THash32/std_hash")->Arg(16)->Arg(64)->Arg(1024)->Arg(65536);
