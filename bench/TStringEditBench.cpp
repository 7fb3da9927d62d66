// Editing, splitting and joining against std::u16string written the plain way: trimming a padded
// text, replacing a 3-unit pattern in 64 KiB, splitting a 64 KiB CSV line and joining 10,000 parts.
#include <benchmark/benchmark.h>
#include <kestal/TStringCore.h>
#include <string>
#include <vector>

namespace {

constexpr int kUnits = 32 * 1024; // 64 KiB

// Repeats `piece` to exactly `units` code units.
std::u16string repeatedText(std::u16string const& piece, int units) {
    std::u16string text;
    while (static_cast<int>(text.size()) < units)
        text += piece;
    text.resize(static_cast<std::size_t>(units));
    return text;
}

TStringCore asString(std::u16string const& text) {
    return TStringCore(text.data(), static_cast<int>(text.size()));
}

// ---- trimmed: 1 KiB of text with 16 blanks on each side ----

std::u16string const& paddedText() {
    static const std::u16string text =
        std::u16string(16, u' ') + repeatedText(u"lorem ipsum dolor ", 480) + std::u16string(16, u'\t');
    return text;
}

void TrimmedKestal(benchmark::State& state) {
    const TStringCore s = asString(paddedText());
    for (auto _ : state)
        benchmark::DoNotOptimize(s.trimmed());
}
void TrimmedStd(benchmark::State& state) {
    const std::u16string& s = paddedText();
    constexpr char16_t blanks[] = u" \t\n\v\f\r";
    for (auto _ : state) {
        const auto first = s.find_first_not_of(blanks);
        const auto last = s.find_last_not_of(blanks);
        benchmark::DoNotOptimize(first == std::u16string::npos ? std::u16string()
                                                               : s.substr(first, last - first + 1));
    }
}

// ---- replace: "cat" by "lynx", one match in every 32 units ----

std::u16string const& prose() {
    static const std::u16string text = repeatedText(u"the cat sat on the warm mat. ", kUnits);
    return text;
}

void ReplaceKestal(benchmark::State& state) {
    const TStringCore source = asString(prose());
    const TStringCore before(u"cat"), after(u"lynx");
    for (auto _ : state) {
        TStringCore s(source);
        s.replace(before, after);
        benchmark::DoNotOptimize(s);
    }
}
void ReplaceStd(benchmark::State& state) {
    const std::u16string& source = prose();
    const std::u16string before(u"cat"), after(u"lynx");
    for (auto _ : state) {
        std::u16string s;
        s.reserve(source.size());
        std::size_t done = 0;
        for (std::size_t at; (at = source.find(before, done)) != std::u16string::npos;
             done = at + before.size())
            s.append(source, done, at - done).append(after);
        s.append(source, done);
        benchmark::DoNotOptimize(s);
    }
}

// ---- split: a CSV line of fields of 3 to 12 units ----

std::u16string const& csvLine() {
    static const std::u16string text = repeatedText(u"alpha,12,beta gamma,3.25,delta,epsilon zeta,", kUnits);
    return text;
}

void SplitKestal(benchmark::State& state) {
    const TStringCore s = asString(csvLine());
    for (auto _ : state)
        benchmark::DoNotOptimize(s.split(u','));
}
void SplitStd(benchmark::State& state) {
    const std::u16string& s = csvLine();
    for (auto _ : state) {
        std::vector<std::u16string> parts;
        std::size_t pos = 0;
        for (std::size_t at; (at = s.find(u',', pos)) != std::u16string::npos; pos = at + 1)
            parts.push_back(s.substr(pos, at - pos));
        parts.push_back(s.substr(pos));
        benchmark::DoNotOptimize(parts);
    }
}

// ---- join: 10,000 parts by ", " ----

constexpr int kParts = 10000;

std::vector<std::u16string> const& stdParts() {
    static const std::vector<std::u16string> parts = [] {
        std::vector<std::u16string> p;
        for (int i = 0; i < kParts; ++i)
            p.push_back(u"part" + std::u16string(static_cast<std::size_t>(i % 9), u'x'));
        return p;
    }();
    return parts;
}

void JoinKestal(benchmark::State& state) {
    std::vector<TStringCore> parts;
    for (std::u16string const& part : stdParts())
        parts.push_back(asString(part));
    const TStringCore separator(u", ");
    for (auto _ : state)
        benchmark::DoNotOptimize(TStringCore::join(parts, separator));
}
void JoinStd(benchmark::State& state) {
    const std::vector<std::u16string>& parts = stdParts();
    const std::u16string separator(u", ");
    for (auto _ : state) {
        std::size_t total = separator.size() * (parts.size() - 1);
        for (std::u16string const& part : parts)
            total += part.size();
        std::u16string s;
        s.reserve(total);
        for (std::size_t i = 0; i < parts.size(); ++i) {
            if (i > 0) s += separator;
            s += parts[i];
        }
        benchmark::DoNotOptimize(s);
    }
}

} // namespace

BENCHMARK(TrimmedKestal)->Name("Trimmed/kestal/1KiB");
BENCHMARK(TrimmedStd)->Name("Trimmed/u16string/1KiB");
BENCHMARK(ReplaceKestal)->Name("Replace3/kestal/64KiB");
BENCHMARK(ReplaceStd)->Name("Replace3/u16string/64KiB");
BENCHMARK(SplitKestal)->Name("SplitCsv/kestal/64KiB");
BENCHMARK(SplitStd)->Name("SplitCsv/u16string/64KiB");
BENCHMARK(JoinKestal)->Name("Join/kestal/10000");
BENCHMARK(JoinStd)->Name("Join/u16string/10000");
