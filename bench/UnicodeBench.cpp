// UTF conversions against direct ICU calls on the same 64 KiB buffers, ASCII and mixed text
// (Latin with accents, CJK, emoji). ICU has no UTF-8 to UTF-32 call, so that row's peer decodes
// the same bytes to UTF-16; TStringCore::fromUtf8's peer converts into a ready buffer, so its
// ratio includes the string's allocation.
#include <benchmark/benchmark.h>
#include <kestal/TStringCore.h>
#include <kestal/Unicode.h>
#include <string>
#include <unicode/ustring.h>
#include <vector>

namespace {

constexpr std::size_t kBytes = 64 * 1024;

std::string sampleUtf8(bool mixed) {
    const std::string pattern =
        mixed ? "Gr\xC3\xBC\xC3\x9F"
                "e aus Z\xC3\xBCrich, \xC3\xA7"
                "a va? "
                "\xE6\x9D\xB1\xE4\xBA\xAC\xE9\x83\xBD\xE3\x81\xAE\xE5\xA4\xA9\xE6\xB0\x97 "
                "\xF0\x9F\x98\x80\xF0\x9F\x8E\x89 "
              : "The quick brown fox jumps over the lazy dog. ";
    std::string text;
    while (text.size() + pattern.size() <= kBytes)
        text += pattern;
    return text; // whole patterns only, so no sequence is cut
}

struct Buffers {
    std::string utf8;
    std::u16string utf16;
    std::vector<char16_t> out16;
    std::vector<char32_t> out32;
    std::vector<char> out8;

    explicit Buffers(bool mixed)
        : utf8(sampleUtf8(mixed)) {
        const int n = static_cast<int>(utf8.size());
        utf16.resize(static_cast<std::size_t>(Unicode::MeasureUtf8ToUtf16(utf8.data(), n)));
        Unicode::Utf8ToUtf16(utf8.data(), n, utf16.data(), static_cast<int>(utf16.size()) + 1);
        out16.resize(utf8.size() + 1);
        out32.resize(utf8.size() + 1);
        out8.resize(3 * utf16.size() + 1);
    }
    int n8() const { return static_cast<int>(utf8.size()); }
    int n16() const { return static_cast<int>(utf16.size()); }
};

Buffers& buffers(bool mixed) {
    static Buffers ascii(false), other(true);
    return mixed ? other : ascii;
}

int icuFromUtf8(Buffers& b) {
    int32_t n = 0;
    UErrorCode e = U_ZERO_ERROR;
    u_strFromUTF8WithSub(b.out16.data(), static_cast<int32_t>(b.out16.size()), &n, b.utf8.data(), b.n8(),
                         0xFFFD, nullptr, &e);
    return n;
}

int icuToUtf8(Buffers& b) {
    int32_t n = 0;
    UErrorCode e = U_ZERO_ERROR;
    u_strToUTF8WithSub(b.out8.data(), static_cast<int32_t>(b.out8.size()), &n, b.utf16.data(), b.n16(),
                       0xFFFD, nullptr, &e);
    return n;
}

// Registers "Operation/impl/text" for both texts; `bytesOf` is the input size for the rate.
template <class F>
void add(char const* operation, char const* impl, F run, bool inputIsUtf16 = false) {
    for (bool mixed : {false, true}) {
        const std::string name = std::string(operation) + "/" + impl + (mixed ? "/mixed" : "/ascii");
        benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
            Buffers& b = buffers(mixed);
            for (auto _ : state)
                benchmark::DoNotOptimize(run(b));
            const std::size_t input = inputIsUtf16 ? 2 * b.utf16.size() : b.utf8.size();
            state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * input));
        });
    }
}

const bool s_registered = [] {
    add("Utf8ToUtf16", "kestal", [](Buffers& b) {
        return Unicode::Utf8ToUtf16(b.utf8.data(), b.n8(), b.out16.data(), static_cast<int>(b.out16.size()));
    });
    add("Utf8ToUtf16", "icu", icuFromUtf8);
    add(
        "Utf16ToUtf8", "kestal",
        [](Buffers& b) {
            return Unicode::Utf16ToUtf8(b.utf16.data(), b.n16(), b.out8.data(),
                                        static_cast<int>(b.out8.size()));
        },
        true);
    add("Utf16ToUtf8", "icu", icuToUtf8, true);
    add("Utf8ToUtf32", "kestal", [](Buffers& b) {
        return Unicode::Utf8ToUtf32(b.utf8.data(), b.n8(), b.out32.data(), static_cast<int>(b.out32.size()));
    });
    add("Utf8ToUtf32", "icu", icuFromUtf8);
    add("fromUtf8", "kestal", [](Buffers& b) { return TStringCore::fromUtf8(b.utf8.data(), b.n8()).size(); });
    add("fromUtf8", "icu", icuFromUtf8);
    return true;
}();

} // namespace
