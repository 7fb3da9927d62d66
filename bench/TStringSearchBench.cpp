// Search in 64 KiB of mixed-case text whose only match stands at the very end, so every search
// reads the whole text. Peers: std::u16string::find, std::boyer_moore_horspool_searcher and
// icu::UnicodeString::indexOf for the case-sensitive rows. ICU has no folding substring search,
// so the folding row's ICU peer folds a copy and searches that; the searcher folds per unit as
// we do. The set row's peers are find_first_of and u_strcspn.
#include <algorithm>
#include <benchmark/benchmark.h>
#include <functional>
#include <kestal/TStringCore.h>
#include <string>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/ustring.h>

namespace {

constexpr int kUnits = 32 * 1024; // 64 KiB

// Mixed-case Latin text without '#' and without "Zebra" in any case, then "Zebra#".
std::u16string const& sampleText() {
    static const std::u16string text = [] {
        static constexpr char16_t piece[] =
            u"The Quick Brown Fox \u00C4rger \u00DCber Jumps Over The Lazy Dog. ";
        std::u16string t;
        while (t.size() < kUnits - 6)
            t += piece;
        t.resize(kUnits - 6);
        return t + u"Zebra#";
    }();
    return text;
}

constexpr char16_t kPattern[] = u"Zebra";
constexpr char16_t kPatternOtherCase[] = u"zEBRA";
constexpr char16_t kSet[] = u"#@!";

char16_t fold(char16_t c) {
    return static_cast<char16_t>(u_foldCase(c, U_FOLD_CASE_DEFAULT));
}
struct FoldedHash {
    std::size_t operator()(char16_t c) const { return fold(c); }
};
struct FoldedEqual {
    bool operator()(char16_t a, char16_t b) const { return a == b || fold(a) == fold(b); }
};

// ---- One unit ----

void IndexOfUnitKestal(benchmark::State& state) {
    const TStringCore s(sampleText().data(), kUnits);
    for (auto _ : state)
        benchmark::DoNotOptimize(s.indexOf(u'#'));
}
void IndexOfUnitStd(benchmark::State& state) {
    const std::u16string& s = sampleText();
    for (auto _ : state)
        benchmark::DoNotOptimize(s.find(u'#'));
}
void IndexOfUnitIcu(benchmark::State& state) {
    const icu::UnicodeString s(sampleText().data(), kUnits);
    for (auto _ : state)
        benchmark::DoNotOptimize(s.indexOf(u'#'));
}

// ---- Five units, case-sensitive ----

void IndexOf5Kestal(benchmark::State& state) {
    const TStringCore s(sampleText().data(), kUnits);
    for (auto _ : state)
        benchmark::DoNotOptimize(s.indexOf(kPattern));
}
void IndexOf5Std(benchmark::State& state) {
    const std::u16string& s = sampleText();
    for (auto _ : state)
        benchmark::DoNotOptimize(s.find(kPattern));
}
void IndexOf5Horspool(benchmark::State& state) {
    const std::u16string& s = sampleText();
    const std::boyer_moore_horspool_searcher searcher(kPattern, kPattern + 5);
    for (auto _ : state)
        benchmark::DoNotOptimize(std::search(s.begin(), s.end(), searcher));
}
void IndexOf5Icu(benchmark::State& state) {
    const icu::UnicodeString s(sampleText().data(), kUnits);
    const icu::UnicodeString pattern(kPattern);
    for (auto _ : state)
        benchmark::DoNotOptimize(s.indexOf(pattern));
}

// ---- Five units, folding ----

void IndexOf5FoldedKestal(benchmark::State& state) {
    const TStringCore s(sampleText().data(), kUnits);
    for (auto _ : state)
        benchmark::DoNotOptimize(s.indexOf(kPatternOtherCase, 0, TStringCore::CaseInsensitive));
}
void IndexOf5FoldedHorspool(benchmark::State& state) {
    const std::u16string& s = sampleText();
    const std::boyer_moore_horspool_searcher searcher(kPatternOtherCase, kPatternOtherCase + 5, FoldedHash{},
                                                      FoldedEqual{});
    for (auto _ : state)
        benchmark::DoNotOptimize(std::search(s.begin(), s.end(), searcher));
}
void IndexOf5FoldedIcu(benchmark::State& state) {
    const icu::UnicodeString s(sampleText().data(), kUnits);
    icu::UnicodeString pattern(kPatternOtherCase);
    pattern.foldCase();
    for (auto _ : state) {
        icu::UnicodeString folded(s);
        benchmark::DoNotOptimize(folded.foldCase().indexOf(pattern));
    }
}

// ---- ASCII set ----

void FindOneOfKestal(benchmark::State& state) {
    const TStringCore s(sampleText().data(), kUnits);
    for (auto _ : state)
        benchmark::DoNotOptimize(s.findOneOf(kSet));
}
void FindOneOfStd(benchmark::State& state) {
    const std::u16string& s = sampleText();
    for (auto _ : state)
        benchmark::DoNotOptimize(s.find_first_of(kSet));
}
void FindOneOfIcu(benchmark::State& state) {
    const std::u16string& s = sampleText();
    for (auto _ : state)
        benchmark::DoNotOptimize(u_strcspn(s.c_str(), kSet));
}

} // namespace

BENCHMARK(IndexOfUnitKestal)->Name("IndexOfUnit/kestal/64KiB");
BENCHMARK(IndexOfUnitStd)->Name("IndexOfUnit/u16string/64KiB");
BENCHMARK(IndexOfUnitIcu)->Name("IndexOfUnit/UnicodeString/64KiB");
BENCHMARK(IndexOf5Kestal)->Name("IndexOf5/kestal/64KiB");
BENCHMARK(IndexOf5Std)->Name("IndexOf5/u16string/64KiB");
BENCHMARK(IndexOf5Horspool)->Name("IndexOf5/horspool/64KiB");
BENCHMARK(IndexOf5Icu)->Name("IndexOf5/UnicodeString/64KiB");
BENCHMARK(IndexOf5FoldedKestal)->Name("IndexOf5Folded/kestal/64KiB");
BENCHMARK(IndexOf5FoldedHorspool)->Name("IndexOf5Folded/horspool/64KiB");
BENCHMARK(IndexOf5FoldedIcu)->Name("IndexOf5Folded/UnicodeString/64KiB");
BENCHMARK(FindOneOfKestal)->Name("FindOneOf/kestal/64KiB");
BENCHMARK(FindOneOfStd)->Name("FindOneOf/u16string/64KiB");
BENCHMARK(FindOneOfIcu)->Name("FindOneOf/icu/64KiB");
