// The scanner over records like "key_017 -12345 3.14159 true" (word, int, float, bool), one a line,
// against the C++ and C libraries on the same text in UTF-8: stream extraction, sscanf on each line
// alone (glibc measures the whole remaining text per call, so one buffer would cost quadratic
// time), a strtol/strtod loop and a from_chars loop. 1 MiB and 64 KiB of records show that the cost
// per byte stays flat. Then lines alone: readLine against std::getline and a memchr loop.
#include <benchmark/benchmark.h>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <kestal/TScanStringCore.h>
#include <random>
#include <sstream>
#include <string>

namespace {

constexpr std::size_t kLarge = std::size_t{1} << 20;
constexpr std::size_t kSmall = std::size_t{1} << 16;

// Records up to `bytes` bytes of UTF-8 (all ASCII, so as many UTF-16 units).
std::string const& records(std::size_t bytes) {
    static std::string cache[2];
    std::string& text = cache[bytes == kLarge];
    if (!text.empty()) return text;
    std::mt19937 random(5);
    std::uniform_int_distribution<int> ints(-99999, 99999);
    std::uniform_real_distribution<double> floats(-1000.0, 1000.0);
    char line[64];
    for (;;) {
        const int n =
            std::snprintf(line, sizeof line, "key_%03u %d %.5f %s\n", static_cast<unsigned>(random() % 1000),
                          ints(random), floats(random), random() % 2 ? "true" : "false");
        if (text.size() + static_cast<std::size_t>(n) > bytes) break;
        text.append(line, static_cast<std::size_t>(n));
    }
    return text;
}

TStringCore const& wideRecords(std::size_t bytes) {
    static TStringCore cache[2];
    TStringCore& text = cache[bytes == kLarge];
    if (text.isEmpty()) text = TStringCore::fromStdString(records(bytes));
    return text;
}

// What every reader folds its fields into, so that none of them can be skipped.
struct Sum {
    double value = 0;
    void add(std::size_t wordSize, long i, double d, bool b) {
        value += static_cast<double>(wordSize) + static_cast<double>(i) + d + (b ? 1 : 0);
    }
};

void finish(benchmark::State& state, std::size_t bytes, Sum const& sum) {
    benchmark::DoNotOptimize(sum.value);
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes));
}

// ---- records ----

template <std::size_t bytes>
void RecordsKestal(benchmark::State& state) {
    TStringCore const& text = wideRecords(bytes);
    Sum sum;
    for (auto _ : state) {
        TScanStringCore scan(text);
        TStringCore word;
        int i = 0;
        double d = 0;
        bool b = false;
        while (!scan.atEnd()) {
            scan.readNonWhitespace(word).skipWhitespace().readInt(i).skipWhitespace().readFloat(d);
            scan.skipWhitespace().readBool(b).skipNewline();
            sum.add(static_cast<std::size_t>(word.size()), i, d, b);
        }
    }
    finish(state, bytes, sum);
}

template <std::size_t bytes>
void RecordsStream(benchmark::State& state) {
    std::string const& text = records(bytes);
    Sum sum;
    for (auto _ : state) {
        std::istringstream in(text);
        in >> std::boolalpha;
        std::string word;
        int i = 0;
        double d = 0;
        bool b = false;
        while (in >> word >> i >> d >> b)
            sum.add(word.size(), i, d, b);
    }
    finish(state, bytes, sum);
}

template <std::size_t bytes>
void RecordsSscanf(benchmark::State& state) {
    std::string const& text = records(bytes);
    Sum sum;
    for (auto _ : state) {
        char const* p = text.data();
        char const* const end = p + text.size();
        while (p < end) {
            auto const* eol =
                static_cast<char const*>(std::memchr(p, '\n', static_cast<std::size_t>(end - p)));
            char line[64];
            const auto length = std::min<std::size_t>(static_cast<std::size_t>(eol - p), sizeof line - 1);
            std::memcpy(line, p, length);
            line[length] = 0;
            char word[32], flag[8];
            int i = 0;
            double d = 0;
            if (std::sscanf(line, "%31s %d %lf %7s", word, &i, &d, flag) == 4)
                sum.add(std::strlen(word), i, d, flag[0] == 't');
            p = eol + 1;
        }
    }
    finish(state, bytes, sum);
}

// Word and bool by hand, the numbers by `readInt` and `readDouble` from `p`, which they advance.
template <std::size_t bytes, class ReadInt, class ReadDouble>
void recordsByHand(benchmark::State& state, ReadInt readInt, ReadDouble readDouble) {
    std::string const& text = records(bytes);
    Sum sum;
    for (auto _ : state) {
        char const* p = text.data();
        char const* const end = p + text.size();
        std::string word;
        while (p < end) {
            char const* q = p;
            while (*q != ' ')
                ++q;
            word.assign(p, q);
            p = q + 1;
            const long i = readInt(p, end);
            ++p;
            const double d = readDouble(p, end);
            ++p;
            const bool b = std::strncmp(p, "true", 4) == 0;
            p += b ? 5 : 6;
            sum.add(word.size(), i, d, b);
        }
    }
    finish(state, bytes, sum);
}

template <std::size_t bytes>
void RecordsStrtod(benchmark::State& state) {
    recordsByHand<bytes>(
        state,
        [](char const*& p, char const*) {
            char* end = nullptr;
            const long value = std::strtol(p, &end, 10);
            p = end;
            return value;
        },
        [](char const*& p, char const*) {
            char* end = nullptr;
            const double value = std::strtod(p, &end);
            p = end;
            return value;
        });
}

template <std::size_t bytes>
void RecordsFromChars(benchmark::State& state) {
    recordsByHand<bytes>(
        state,
        [](char const*& p, char const* end) {
            long value = 0;
            p = std::from_chars(p, end, value).ptr;
            return value;
        },
        [](char const*& p, char const* end) {
            double value = 0;
            p = std::from_chars(p, end, value).ptr;
            return value;
        });
}

// ---- lines ----

void LinesKestal(benchmark::State& state) {
    TStringCore const& text = wideRecords(kLarge);
    std::size_t total = 0;
    for (auto _ : state) {
        TScanStringCore scan(text);
        TStringCore line;
        while (!scan.atEnd()) {
            scan.readLine(line);
            total += static_cast<std::size_t>(line.size());
        }
    }
    benchmark::DoNotOptimize(total);
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kLarge));
}

void LinesGetline(benchmark::State& state) {
    std::string const& text = records(kLarge);
    std::size_t total = 0;
    for (auto _ : state) {
        std::istringstream in(text);
        std::string line;
        while (std::getline(in, line))
            total += line.size();
    }
    benchmark::DoNotOptimize(total);
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kLarge));
}

void LinesMemchr(benchmark::State& state) {
    std::string const& text = records(kLarge);
    std::size_t total = 0;
    for (auto _ : state) {
        char const* p = text.data();
        char const* const end = p + text.size();
        std::string line;
        while (p < end) {
            auto const* eol =
                static_cast<char const*>(std::memchr(p, '\n', static_cast<std::size_t>(end - p)));
            if (!eol) eol = end;
            line.assign(p, eol);
            total += line.size();
            p = eol + 1;
        }
    }
    benchmark::DoNotOptimize(total);
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kLarge));
}

} // namespace

BENCHMARK_TEMPLATE(RecordsKestal, kLarge)->Name("Records/kestal/1MiB");
BENCHMARK_TEMPLATE(RecordsStream, kLarge)->Name("Records/istringstream/1MiB");
BENCHMARK_TEMPLATE(RecordsSscanf, kLarge)->Name("Records/sscanf-per-line/1MiB");
BENCHMARK_TEMPLATE(RecordsStrtod, kLarge)->Name("Records/strtol-strtod/1MiB");
BENCHMARK_TEMPLATE(RecordsFromChars, kLarge)->Name("Records/from_chars/1MiB");
BENCHMARK_TEMPLATE(RecordsKestal, kSmall)->Name("Records/kestal/64KiB");
BENCHMARK_TEMPLATE(RecordsStream, kSmall)->Name("Records/istringstream/64KiB");
BENCHMARK_TEMPLATE(RecordsSscanf, kSmall)->Name("Records/sscanf-per-line/64KiB");
BENCHMARK_TEMPLATE(RecordsStrtod, kSmall)->Name("Records/strtol-strtod/64KiB");
BENCHMARK_TEMPLATE(RecordsFromChars, kSmall)->Name("Records/from_chars/64KiB");
BENCHMARK(LinesKestal)->Name("Lines/kestal/1MiB");
BENCHMARK(LinesGetline)->Name("Lines/getline/1MiB");
BENCHMARK(LinesMemchr)->Name("Lines/memchr/1MiB");
