// Building a three-marker message (int, 13-unit string, double) from a literal template per call,
// against boost::format, positional snprintf into a std::string and a prebuilt ICU MessageFormat;
// and result() on a prepared object against appending the same pieces to a reserved u16string.
#include <benchmark/benchmark.h>
#include <boost/format.hpp>
#include <cstdio>
#include <kestal/TFormatStringCore.h>
#include <random>
#include <string>
#include <unicode/fmtable.h>
#include <unicode/msgfmt.h>
#include <vector>

namespace {

constexpr std::size_t kCount = 256;

struct Values {
    std::vector<int> ints;
    std::vector<double> doubles;
};

Values const& values() {
    static const Values v = [] {
        std::mt19937 random(3);
        std::uniform_real_distribution<double> price(0.0, 10000.0);
        Values out;
        for (std::size_t i = 0; i < kCount; ++i) {
            out.ints.push_back(static_cast<int>(random() % 100000));
            out.doubles.push_back(price(random));
        }
        return out;
    }();
    return v;
}

constexpr char16_t kName[] = u"blue teapot 7"; // 13 units
constexpr char kNarrowName[] = "blue teapot 7";

void MessageKestal(benchmark::State& state) {
    const TStringCore name(kName);
    std::size_t i = 0;
    for (auto _ : state) {
        const std::size_t k = i++ % kCount;
        benchmark::DoNotOptimize(TFormatStringCore(u"Item %1 named %2 costs %3")
                                     .arg(values().ints[k])
                                     .arg(name)
                                     .arg(values().doubles[k])
                                     .result());
    }
}
void MessageBoost(benchmark::State& state) {
    const std::string name(kNarrowName);
    std::size_t i = 0;
    for (auto _ : state) {
        const std::size_t k = i++ % kCount;
        benchmark::DoNotOptimize(
            (boost::format("Item %1% named %2% costs %3%") % values().ints[k] % name % values().doubles[k])
                .str());
    }
}
void MessageSnprintf(benchmark::State& state) {
    std::size_t i = 0;
    for (auto _ : state) {
        const std::size_t k = i++ % kCount;
        char buffer[128];
        const int n = std::snprintf(buffer, sizeof buffer, "Item %1$d named %2$s costs %3$g",
                                    values().ints[k], kNarrowName, values().doubles[k]);
        benchmark::DoNotOptimize(std::string(buffer, static_cast<std::size_t>(n)));
    }
}
void MessageIcu(benchmark::State& state) {
    UErrorCode status = U_ZERO_ERROR;
    const icu::MessageFormat format(icu::UnicodeString(u"Item {0,number,integer} named {1} costs {2,number}"),
                                    icu::Locale::getUS(), status);
    const icu::UnicodeString name(kName);
    std::size_t i = 0;
    for (auto _ : state) {
        const std::size_t k = i++ % kCount;
        const icu::Formattable args[] = {icu::Formattable(values().ints[k]), icu::Formattable(name),
                                         icu::Formattable(values().doubles[k])};
        icu::UnicodeString out;
        icu::FieldPosition position;
        format.format(args, 3, out, position, status);
        benchmark::DoNotOptimize(out);
    }
    if (U_FAILURE(status)) state.SkipWithError("ICU MessageFormat failed");
}

// ---- result() on a prepared object ----

void ResultKestal(benchmark::State& state) {
    TFormatStringCore format(u"Item %1 named %2 costs %3");
    format.arg(12345).arg(TStringCore(kName)).arg(6789.25);
    for (auto _ : state)
        benchmark::DoNotOptimize(format.result());
}
void ResultU16string(benchmark::State& state) {
    const std::u16string pieces[] = {u"Item ", u"12345", u" named ", kName, u" costs ", u"6789.25"};
    for (auto _ : state) {
        std::u16string out;
        std::size_t length = 0;
        for (std::u16string const& p : pieces)
            length += p.size();
        out.reserve(length);
        for (std::u16string const& p : pieces)
            out.append(p);
        benchmark::DoNotOptimize(out);
    }
}

} // namespace

BENCHMARK(MessageKestal)->Name("Message/kestal");
BENCHMARK(MessageBoost)->Name("Message/boost");
BENCHMARK(MessageSnprintf)->Name("Message/snprintf");
BENCHMARK(MessageIcu)->Name("Message/icu");
BENCHMARK(ResultKestal)->Name("Result/kestal");
BENCHMARK(ResultU16string)->Name("Result/u16string");
