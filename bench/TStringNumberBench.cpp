// Number conversion per call against the C++ and C libraries: int and double (%g, precision 6)
// to text, and text to int and double, over 256 varied values cycled through.
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

// The values as text (doubles with all 17 digits): narrow for the peers, UTF-16 for libkestal.
template <class T>
std::vector<std::string> texts(std::vector<T> const& values) {
    std::vector<std::string> v;
    for (T value : values) {
        char buffer[32];
        const int n = std::is_floating_point_v<T>
                          ? std::snprintf(buffer, sizeof buffer, "%.17g", double(value))
                          : std::snprintf(buffer, sizeof buffer, "%d", int(value));
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

// ---- double to text, %g with 6 digits ----

void NumberDoubleKestal(benchmark::State& state) {
    std::size_t i = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(TStringCore::number(doubles()[i++ % kCount], 'g', 6));
}
void NumberDoubleToChars(benchmark::State& state) {
    std::size_t i = 0;
    for (auto _ : state) {
        char buffer[32];
        auto r = std::to_chars(buffer, buffer + sizeof buffer, doubles()[i++ % kCount],
                               std::chars_format::general, 6);
        benchmark::DoNotOptimize(std::string(buffer, r.ptr));
    }
}
void NumberDoubleSnprintf(benchmark::State& state) {
    std::size_t i = 0;
    for (auto _ : state) {
        char buffer[32];
        const int n = std::snprintf(buffer, sizeof buffer, "%.*g", 6, doubles()[i++ % kCount]);
        benchmark::DoNotOptimize(std::string(buffer, static_cast<std::size_t>(n)));
    }
}

// ---- text to int and double ----

template <class T>
std::vector<T> const& values() {
    if constexpr (std::is_floating_point_v<T>)
        return doubles();
    else
        return ints();
}

template <class T>
void ParseKestal(benchmark::State& state) {
    const std::vector<TStringCore> input = wide(texts(values<T>()));
    std::size_t i = 0;
    bool ok = false;
    for (auto _ : state) {
        TStringCore const& s = input[i++ % kCount];
        if constexpr (std::is_floating_point_v<T>)
            benchmark::DoNotOptimize(s.toDouble(&ok));
        else
            benchmark::DoNotOptimize(s.toInt(&ok));
    }
}
template <class T>
void ParseFromChars(benchmark::State& state) {
    const std::vector<std::string> input = texts(values<T>());
    std::size_t i = 0;
    for (auto _ : state) {
        std::string const& s = input[i++ % kCount];
        T value = 0;
        benchmark::DoNotOptimize(std::from_chars(s.data(), s.data() + s.size(), value));
        benchmark::DoNotOptimize(value);
    }
}
template <class T>
void ParseC(benchmark::State& state) {
    const std::vector<std::string> input = texts(values<T>());
    std::size_t i = 0;
    for (auto _ : state) {
        char const* s = input[i++ % kCount].c_str();
        char* end = nullptr;
        if constexpr (std::is_floating_point_v<T>)
            benchmark::DoNotOptimize(std::strtod(s, &end));
        else
            benchmark::DoNotOptimize(std::strtol(s, &end, 10));
    }
}

} // namespace

BENCHMARK(NumberIntKestal)->Name("NumberInt/kestal");
BENCHMARK(NumberIntToChars)->Name("NumberInt/to_chars");
BENCHMARK(NumberIntSnprintf)->Name("NumberInt/snprintf");
BENCHMARK(NumberDoubleKestal)->Name("NumberDouble/kestal/g6");
BENCHMARK(NumberDoubleToChars)->Name("NumberDouble/to_chars/g6");
BENCHMARK(NumberDoubleSnprintf)->Name("NumberDouble/snprintf/g6");
BENCHMARK(ParseKestal<int>)->Name("ToInt/kestal");
BENCHMARK(ParseFromChars<int>)->Name("ToInt/from_chars");
BENCHMARK(ParseC<int>)->Name("ToInt/strtol");
BENCHMARK(ParseKestal<double>)->Name("ToDouble/kestal");
BENCHMARK(ParseFromChars<double>)->Name("ToDouble/from_chars");
BENCHMARK(ParseC<double>)->Name("ToDouble/strtod");
