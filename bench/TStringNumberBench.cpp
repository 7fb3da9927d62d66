// Number conversion per call against the C++ and C libraries: int and double (%g with 6 and 17
// digits, %.2f, %.6e) to text, and text to int, long long and double (all 17 digits, and short
// decimals as people write them), over 256 varied values cycled through.
#include <benchmark/benchmark.h>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <kestal/TStringCore.h>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

namespace {

constexpr std::size_t kCount = 256;

std::vector<int> const& ints() {
    static const std::vector<int> values = [] {
        std::mt19937 random(1);
        std::vector<int> v;
        for (std::size_t i = 0; i < kCount; ++i)
            v.push_back(static_cast<int>(random()) >> (random() % 31)); // every length, both signs
        return v;
    }();
    return values;
}

std::vector<double> const& doubles() {
    static const std::vector<double> values = [] {
        std::mt19937 random(2);
        std::uniform_real_distribution<double> mantissa(-10.0, 10.0);
        std::vector<double> v;
        for (std::size_t i = 0; i < kCount; ++i)
            v.push_back(mantissa(random) * std::pow(10.0, static_cast<int>(random() % 21) - 10));
        return v;
    }();
    return values;
}

// Short decimals as people write them: a few digits, some with an exponent or a sign.
std::vector<std::string> const& typicalDecimals() {
    static const std::vector<std::string> texts = [] {
        static char const* const samples[] = {"3.14159", "-1e-7",   "12345.678", "0.5",
                                              "42",      "-273.15", "6.02e23",   "1.5E-3",
                                              "100.25",  "0.001",   "-9.81",     "2.718281828"};
        std::vector<std::string> v;
        for (std::size_t i = 0; i < kCount; ++i)
            v.emplace_back(samples[i % std::size(samples)]);
        return v;
    }();
    return texts;
}

// The values as text (doubles with all 17 digits): narrow for the peers, UTF-16 for libkestal.
template <class T>
std::vector<std::string> texts(std::vector<T> const& values) {
    std::vector<std::string> v;
    for (T value : values) {
        char buffer[32];
        const int n = std::is_floating_point_v<T>
                          ? std::snprintf(buffer, sizeof buffer, "%.17g", double(value))
                          : std::snprintf(buffer, sizeof buffer, "%lld", static_cast<long long>(value));
        v.emplace_back(buffer, static_cast<std::size_t>(n));
    }
    return v;
}

std::vector<TStringCore> wide(std::vector<std::string> const& narrow) {
    std::vector<TStringCore> v;
    for (std::string const& s : narrow)
        v.push_back(TStringCore::fromStdString(s));
    return v;
}

// ---- int to text ----

void NumberIntKestal(benchmark::State& state) {
    std::size_t i = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(TStringCore::number(ints()[i++ % kCount]));
}
void NumberIntToChars(benchmark::State& state) {
    std::size_t i = 0;
    for (auto _ : state) {
        char buffer[16];
        auto r = std::to_chars(buffer, buffer + sizeof buffer, ints()[i++ % kCount]);
        benchmark::DoNotOptimize(std::string(buffer, r.ptr));
    }
}
void NumberIntSnprintf(benchmark::State& state) {
    std::size_t i = 0;
    for (auto _ : state) {
        char buffer[16];
        const int n = std::snprintf(buffer, sizeof buffer, "%d", ints()[i++ % kCount]);
        benchmark::DoNotOptimize(std::string(buffer, static_cast<std::size_t>(n)));
    }
}

// ---- double to text ----

struct DoubleFormat {
    char letter;
    int precision;
};

void NumberDoubleKestal(benchmark::State& state, DoubleFormat f) {
    std::size_t i = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(TStringCore::number(doubles()[i++ % kCount], f.letter, f.precision));
}
void NumberDoubleToChars(benchmark::State& state, DoubleFormat f) {
    const std::chars_format format = f.letter == 'g'   ? std::chars_format::general
                                     : f.letter == 'e' ? std::chars_format::scientific
                                                       : std::chars_format::fixed;
    std::size_t i = 0;
    for (auto _ : state) {
        char buffer[64];
        auto r = std::to_chars(buffer, buffer + sizeof buffer, doubles()[i++ % kCount], format, f.precision);
        benchmark::DoNotOptimize(std::string(buffer, r.ptr));
    }
}
void NumberDoubleSnprintf(benchmark::State& state, DoubleFormat f) {
    char pattern[] = "%.*g";
    pattern[3] = f.letter;
    std::size_t i = 0;
    for (auto _ : state) {
        char buffer[64];
        const int n = std::snprintf(buffer, sizeof buffer, pattern, f.precision, doubles()[i++ % kCount]);
        benchmark::DoNotOptimize(std::string(buffer, static_cast<std::size_t>(n)));
    }
}

// ---- text to int and double ----

std::vector<long long> const& longLongs() {
    static const std::vector<long long> values = [] {
        std::mt19937_64 random(3);
        std::vector<long long> v;
        for (std::size_t i = 0; i < kCount; ++i)
            v.push_back(static_cast<long long>(random()) >> (random() % 63));
        return v;
    }();
    return values;
}

template <class T>
std::vector<std::string> const& inputTexts() {
    static const std::vector<std::string> v = [] {
        if constexpr (std::is_floating_point_v<T>)
            return texts(doubles());
        else if constexpr (sizeof(T) == sizeof(long long))
            return texts(longLongs());
        else
            return texts(ints());
    }();
    return v;
}

// The typical decimals go by the tag `Typical`, beside the 17-digit texts of doubles.
struct Typical {};

template <class T>
std::vector<std::string> const& narrowInput() {
    if constexpr (std::is_same_v<T, Typical>)
        return typicalDecimals();
    else
        return inputTexts<T>();
}
template <class T>
using Value = std::conditional_t<std::is_same_v<T, Typical>, double, T>;

template <class T>
void ParseKestal(benchmark::State& state) {
    const std::vector<TStringCore> input = wide(narrowInput<T>());
    std::size_t i = 0;
    bool ok = false;
    for (auto _ : state) {
        TStringCore const& s = input[i++ % kCount];
        if constexpr (std::is_floating_point_v<Value<T>>)
            benchmark::DoNotOptimize(s.toDouble(&ok));
        else if constexpr (sizeof(T) == sizeof(long long))
            benchmark::DoNotOptimize(s.toLongLong(&ok));
        else
            benchmark::DoNotOptimize(s.toInt(&ok));
    }
}
template <class T>
void ParseFromChars(benchmark::State& state) {
    const std::vector<std::string>& input = narrowInput<T>();
    std::size_t i = 0;
    for (auto _ : state) {
        std::string const& s = input[i++ % kCount];
        Value<T> value = 0;
        benchmark::DoNotOptimize(std::from_chars(s.data(), s.data() + s.size(), value));
        benchmark::DoNotOptimize(value);
    }
}
template <class T>
void ParseC(benchmark::State& state) {
    const std::vector<std::string>& input = narrowInput<T>();
    std::size_t i = 0;
    for (auto _ : state) {
        char const* s = input[i++ % kCount].c_str();
        char* end = nullptr;
        if constexpr (std::is_floating_point_v<Value<T>>)
            benchmark::DoNotOptimize(std::strtod(s, &end));
        else if constexpr (sizeof(T) == sizeof(long long))
            benchmark::DoNotOptimize(std::strtoll(s, &end, 10));
        else
            benchmark::DoNotOptimize(std::strtol(s, &end, 10));
    }
}

} // namespace

BENCHMARK(NumberIntKestal)->Name("NumberInt/kestal");
BENCHMARK(NumberIntToChars)->Name("NumberInt/to_chars");
BENCHMARK(NumberIntSnprintf)->Name("NumberInt/snprintf");
#define NUMBER_DOUBLE(tag, letter, precision)                                                                \
    BENCHMARK_CAPTURE(NumberDoubleKestal, tag, DoubleFormat{letter, precision})                              \
        ->Name("NumberDouble/kestal/" #tag);                                                                 \
    BENCHMARK_CAPTURE(NumberDoubleToChars, tag, DoubleFormat{letter, precision})                             \
        ->Name("NumberDouble/to_chars/" #tag);                                                               \
    BENCHMARK_CAPTURE(NumberDoubleSnprintf, tag, DoubleFormat{letter, precision})                            \
        ->Name("NumberDouble/snprintf/" #tag)
NUMBER_DOUBLE(g6, 'g', 6);
NUMBER_DOUBLE(g17, 'g', 17);
NUMBER_DOUBLE(f2, 'f', 2);
NUMBER_DOUBLE(e6, 'e', 6);
BENCHMARK(ParseKestal<int>)->Name("ToInt/kestal");
BENCHMARK(ParseFromChars<int>)->Name("ToInt/from_chars");
BENCHMARK(ParseC<int>)->Name("ToInt/strtol");
BENCHMARK(ParseKestal<long long>)->Name("ToLongLong/kestal");
BENCHMARK(ParseFromChars<long long>)->Name("ToLongLong/from_chars");
BENCHMARK(ParseC<long long>)->Name("ToLongLong/strtoll");
BENCHMARK(ParseKestal<double>)->Name("ToDouble/kestal");
BENCHMARK(ParseFromChars<double>)->Name("ToDouble/from_chars");
BENCHMARK(ParseC<double>)->Name("ToDouble/strtod");
BENCHMARK(ParseKestal<Typical>)->Name("ToDoubleTypical/kestal");
BENCHMARK(ParseFromChars<Typical>)->Name("ToDoubleTypical/from_chars");
BENCHMARK(ParseC<Typical>)->Name("ToDoubleTypical/strtod");
