// Paths against std::filesystem::path on the same 1,000 texts: absolute, relative, drive and UNC,
// 20 to 80 units, a quarter ending in "/". Both sides get their text ready-made (UTF-16 and UTF-8)
// outside the timed loop; each iteration runs the operation once per text.
#include <benchmark/benchmark.h>
#include <filesystem>
#include <iterator>
#include <kestal/TPathCore.h>
#include <kestal/TStringCore.h>
#include <random>
#include <string>
#include <vector>

namespace {

struct Texts {
    std::vector<TStringCore> utf16;
    std::vector<std::string> utf8;
    std::vector<TPathCore> paths;
    std::vector<std::filesystem::path> stdPaths;
};

Texts const& texts() {
    static const Texts all = [] {
        Texts t;
        std::mt19937 rng(2024);
        std::uniform_int_distribution<int> length(20, 80), nameLength(3, 10), letter(0, 25), ext(0, 3);
        const char* roots[] = {"/", "", "C:/", "//server/share/"};
        const char* extensions[] = {"", ".txt", ".tar.gz", ".cpp"};
        for (int i = 0; i < 1000; ++i) {
            const bool trailing = (i / 4) % 4 == 0;
            const std::size_t target = static_cast<std::size_t>(length(rng)) - (trailing ? 1 : 0);
            std::string s = roots[i % 4];
            while (s.size() < target) {
                if (!s.empty() && s.back() != '/') s += '/';
                for (int k = nameLength(rng); k > 0; --k)
                    s += static_cast<char>('a' + letter(rng));
                if (s.size() + 8 > target) s += extensions[ext(rng)];
            }
            s.resize(target);
            if (s.back() == '/') s.back() = 'z';
            if (trailing) s += '/';
            t.utf16.push_back(TStringCore::fromStdString(s));
            t.utf8.push_back(s);
            t.paths.emplace_back(t.utf16.back());
            t.stdPaths.emplace_back(s);
        }
        return t;
    }();
    return all;
}

template <class Op>
void eachKestal(benchmark::State& state, Op op) {
    Texts const& t = texts();
    for (auto _ : state)
        for (TPathCore const& p : t.paths)
            benchmark::DoNotOptimize(op(p));
    state.SetItemsProcessed(state.iterations() * 1000);
}

template <class Op>
void eachStd(benchmark::State& state, Op op) {
    Texts const& t = texts();
    for (auto _ : state)
        for (std::filesystem::path const& p : t.stdPaths)
            benchmark::DoNotOptimize(op(p));
    state.SetItemsProcessed(state.iterations() * 1000);
}

void ConstructKestal(benchmark::State& state) {
    Texts const& t = texts();
    for (auto _ : state)
        for (TStringCore const& s : t.utf16)
            benchmark::DoNotOptimize(TPathCore(s));
    state.SetItemsProcessed(state.iterations() * 1000);
}
void ConstructStd(benchmark::State& state) {
    Texts const& t = texts();
    for (auto _ : state)
        for (std::string const& s : t.utf8)
            benchmark::DoNotOptimize(std::filesystem::path(s));
    state.SetItemsProcessed(state.iterations() * 1000);
}

void ParentKestal(benchmark::State& state) {
    eachKestal(state, [](TPathCore const& p) { return p.Parent(); });
}
void ParentStd(benchmark::State& state) {
    eachStd(state, [](std::filesystem::path const& p) { return p.parent_path(); });
}
void ExtensionKestal(benchmark::State& state) {
    eachKestal(state, [](TPathCore const& p) { return p.Extension(); });
}
void ExtensionStd(benchmark::State& state) {
    eachStd(state, [](std::filesystem::path const& p) { return p.extension(); });
}
void FilenameKestal(benchmark::State& state) {
    eachKestal(state, [](TPathCore const& p) { return p.Filename(); });
}
void FilenameStd(benchmark::State& state) {
    eachStd(state, [](std::filesystem::path const& p) { return p.filename(); });
}

// "/" with a relative path of two names.
void SlashKestal(benchmark::State& state) {
    const TPathCore relative(u"notes/today.txt");
    eachKestal(state, [&](TPathCore const& p) { return p / relative; });
}
void SlashStd(benchmark::State& state) {
    const std::filesystem::path relative("notes/today.txt");
    eachStd(state, [&](std::filesystem::path const& p) { return p / relative; });
}

// Every element visited: from the text, then on a built path (std keeps its parsed elements; a
// TPathCore keeps none, so it parses as it walks), and the count alone.
std::size_t visit(TPathCore const& p) {
    std::size_t units = 0;
    for (TStringCore const& element : p)
        units += static_cast<std::size_t>(element.size());
    return units;
}
std::size_t visit(std::filesystem::path const& p) {
    std::size_t bytes = 0;
    for (std::filesystem::path const& element : p)
        bytes += element.native().size();
    return bytes;
}

void ConstructVisitKestal(benchmark::State& state) {
    Texts const& t = texts();
    for (auto _ : state)
        for (TStringCore const& s : t.utf16)
            benchmark::DoNotOptimize(visit(TPathCore(s)));
    state.SetItemsProcessed(state.iterations() * 1000);
}
void ConstructVisitStd(benchmark::State& state) {
    Texts const& t = texts();
    for (auto _ : state)
        for (std::string const& s : t.utf8)
            benchmark::DoNotOptimize(visit(std::filesystem::path(s)));
    state.SetItemsProcessed(state.iterations() * 1000);
}
void WalkKestal(benchmark::State& state) {
    eachKestal(state, [](TPathCore const& p) { return visit(p); });
}
void WalkStd(benchmark::State& state) {
    eachStd(state, [](std::filesystem::path const& p) { return visit(p); });
}
void SizeKestal(benchmark::State& state) {
    eachKestal(state, [](TPathCore const& p) { return p.size(); });
}
void SizeStd(benchmark::State& state) {
    eachStd(state, [](std::filesystem::path const& p) { return std::distance(p.begin(), p.end()); });
}

} // namespace

BENCHMARK(ConstructKestal)->Name("Construct/kestal/1000");
BENCHMARK(ConstructStd)->Name("Construct/std/1000");
BENCHMARK(ParentKestal)->Name("Parent/kestal/1000");
BENCHMARK(ParentStd)->Name("Parent/std/1000");
BENCHMARK(ExtensionKestal)->Name("Extension/kestal/1000");
BENCHMARK(ExtensionStd)->Name("Extension/std/1000");
BENCHMARK(FilenameKestal)->Name("Filename/kestal/1000");
BENCHMARK(FilenameStd)->Name("Filename/std/1000");
BENCHMARK(SlashKestal)->Name("SlashTwoNames/kestal/1000");
BENCHMARK(SlashStd)->Name("SlashTwoNames/std/1000");
BENCHMARK(ConstructVisitKestal)->Name("ConstructVisit/kestal/1000");
BENCHMARK(ConstructVisitStd)->Name("ConstructVisit/std/1000");
BENCHMARK(WalkKestal)->Name("WalkBuilt/kestal/1000");
BENCHMARK(WalkStd)->Name("WalkBuilt/std/1000");
BENCHMARK(SizeKestal)->Name("Size/kestal/1000");
BENCHMARK(SizeStd)->Name("Size/std/1000");
