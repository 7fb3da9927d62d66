// TStringCore against std::u16string (a private buffer) and icu::UnicodeString (a shared one).
#include <benchmark/benchmark.h>
#include <kestal/TStringCore.h>
#include <string>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

namespace {

// Mixed-case ASCII with a few Latin-1 letters, so folding has work to do.
std::u16string sampleText(int units) {
    static constexpr char16_t pattern[] =
        u"The Quick Brown Fox \u00C4rger \u00DCber Jumps Over The Lazy Dog. ";
    std::u16string text;
    while (static_cast<int>(text.size()) < units)
        text += pattern;
    text.resize(units);
    return text;
}

std::u16string lowered(std::u16string text) {
    for (char16_t& c : text)
        if ((c >= u'A' && c <= u'Z') || (c >= 0xC0 && c <= 0xDE && c != 0xD7)) c += 0x20;
    return text;
}

template <class String>
void Construct(benchmark::State& state) {
    const std::u16string text = sampleText(static_cast<int>(state.range(0)));
    const int n = static_cast<int>(text.size());
    for (auto _ : state) {
        String s(text.data(), n);
        benchmark::DoNotOptimize(s);
    }
}

template <class String>
void Copy(benchmark::State& state) {
    const std::u16string text = sampleText(static_cast<int>(state.range(0)));
    const String source(text.data(), static_cast<int>(text.size()));
    for (auto _ : state) {
        String copy(source);
        benchmark::DoNotOptimize(copy);
    }
}

void appendUnit(TStringCore& s, char16_t c) {
    s.push_back(c);
}
void appendUnit(std::u16string& s, char16_t c) {
    s.push_back(c);
}
void appendUnit(icu::UnicodeString& s, char16_t c) {
    s.append(c);
}

template <class String>
void AppendUnits(benchmark::State& state) {
    const int count = static_cast<int>(state.range(0));
    for (auto _ : state) {
        String s;
        for (int i = 0; i < count; ++i)
            appendUnit(s, static_cast<char16_t>(u'a' + (i & 15)));
        benchmark::DoNotOptimize(s);
    }
    state.SetItemsProcessed(state.iterations() * count);
}

template <class String>
void Equality(benchmark::State& state) {
    const std::u16string text = sampleText(static_cast<int>(state.range(0)));
    const String a(text.data(), static_cast<int>(text.size()));
    const String b(text.data(), static_cast<int>(text.size())); // equal text, separate buffers
    for (auto _ : state) {
        benchmark::DoNotOptimize(a);
        benchmark::DoNotOptimize(b);
        bool equal = a == b;
        benchmark::DoNotOptimize(equal);
    }
}

int compareFolded(TStringCore const& a, TStringCore const& b) {
    return a.compare(b, TStringCore::CaseInsensitive);
}
int compareFolded(icu::UnicodeString const& a, icu::UnicodeString const& b) {
    return a.caseCompare(b, U_FOLD_CASE_DEFAULT);
}

template <class String>
void CompareCaseInsensitive(benchmark::State& state) {
    const std::u16string text = sampleText(static_cast<int>(state.range(0)));
    const std::u16string lower = lowered(text);
    const String a(text.data(), static_cast<int>(text.size()));
    const String b(lower.data(), static_cast<int>(lower.size()));
    for (auto _ : state) {
        benchmark::DoNotOptimize(a);
        int order = compareFolded(a, b);
        benchmark::DoNotOptimize(order);
    }
}

} // namespace

BENCHMARK_TEMPLATE(Construct, TStringCore)->Name("ConstructShort/kestal")->Arg(10);
BENCHMARK_TEMPLATE(Construct, std::u16string)->Name("ConstructShort/u16string")->Arg(10);
BENCHMARK_TEMPLATE(Construct, icu::UnicodeString)->Name("ConstructShort/UnicodeString")->Arg(10);
BENCHMARK_TEMPLATE(Construct, TStringCore)->Name("ConstructLong/kestal")->Arg(100);
BENCHMARK_TEMPLATE(Construct, std::u16string)->Name("ConstructLong/u16string")->Arg(100);
BENCHMARK_TEMPLATE(Construct, icu::UnicodeString)->Name("ConstructLong/UnicodeString")->Arg(100);
BENCHMARK_TEMPLATE(Copy, TStringCore)->Name("CopyLong/kestal")->Arg(1000);
BENCHMARK_TEMPLATE(Copy, std::u16string)->Name("CopyLong/u16string")->Arg(1000);
BENCHMARK_TEMPLATE(Copy, icu::UnicodeString)->Name("CopyLong/UnicodeString")->Arg(1000);
BENCHMARK_TEMPLATE(AppendUnits, TStringCore)->Name("AppendUnits/kestal")->Arg(1 << 20);
BENCHMARK_TEMPLATE(AppendUnits, std::u16string)->Name("AppendUnits/u16string")->Arg(1 << 20);
BENCHMARK_TEMPLATE(AppendUnits, icu::UnicodeString)->Name("AppendUnits/UnicodeString")->Arg(1 << 20);
BENCHMARK_TEMPLATE(Equality, TStringCore)->Name("Equality/kestal")->Arg(100);
BENCHMARK_TEMPLATE(Equality, std::u16string)->Name("Equality/u16string")->Arg(100);
BENCHMARK_TEMPLATE(Equality, icu::UnicodeString)->Name("Equality/UnicodeString")->Arg(100);
BENCHMARK_TEMPLATE(CompareCaseInsensitive, TStringCore)->Name("CompareCaseInsensitive/kestal")->Arg(100);
BENCHMARK_TEMPLATE(CompareCaseInsensitive, icu::UnicodeString)
    ->Name("CompareCaseInsensitive/UnicodeString")
    ->Arg(100);
