// Encodings against their direct peers: Latin-1 in beside std::u16string built from the bytes and
// ICU's ISO-8859-1 converter, Latin-1 out beside the same converter, UTF-32 in and wchar_t out
// beside ICU's UTF-32 calls into ready buffers, and the local 8-bit conversions beside ICU's
// default converter. Every ICU converter is opened once, outside the timed loop; libkestal opens
// one per call, and its local 8-bit input decodes one code point per converter call.
#include <benchmark/benchmark.h>
#include <kestal/TStringCore.h>
#include <string>
#include <unicode/ucnv.h>
#include <unicode/ustring.h>
#include <vector>

namespace {

constexpr std::size_t kBytes = 64 * 1024;

std::string latin1Text(std::size_t n) {
    std::string text;
    for (std::size_t i = 0; text.size() < n; ++i)
        text += static_cast<char>(0x20 + (i * 37) % 0xE0); // printable ASCII and the upper half
    return text;
}

// Latin with accents, CJK and emoji as UTF-8, whole patterns only.
std::string mixedUtf8() {
    const std::string pattern = "Gr\xC3\xBC\xC3\x9F"
                                "e aus Z\xC3\xBCrich "
                                "\xE6\x9D\xB1\xE4\xBA\xAC "
                                "\xF0\x9F\x98\x80 ";
    std::string text;
    while (text.size() + pattern.size() <= kBytes)
        text += pattern;
    return text;
}

struct Fixture {
    std::string latin1Small = latin1Text(12);
    std::string latin1 = latin1Text(kBytes);
    std::string utf8 = mixedUtf8();
    TStringCore latin1String = TStringCore::fromLatin1(latin1);
    TStringCore mixed = TStringCore::fromUtf8(utf8.data(), static_cast<int>(utf8.size()));
    std::wstring utf32 = mixed.toStdWString();
    std::vector<char16_t> out16 = std::vector<char16_t>(2 * kBytes + 2);
    std::vector<char> out8 = std::vector<char>(4 * kBytes + 4);
    std::vector<wchar_t> out32 = std::vector<wchar_t>(kBytes + 1);
    UConverter* iso88591 = open("ISO-8859-1");
    UConverter* local = open(nullptr);

    static UConverter* open(char const* name) {
        UErrorCode status = U_ZERO_ERROR;
        return ucnv_open(name, &status);
    }
};

Fixture& fixture() {
    static Fixture f;
    return f;
}

int32_t icuToUChars(UConverter* converter, std::string const& bytes) {
    Fixture& f = fixture();
    UErrorCode status = U_ZERO_ERROR;
    return ucnv_toUChars(converter, f.out16.data(), static_cast<int32_t>(f.out16.size()), bytes.data(),
                         static_cast<int32_t>(bytes.size()), &status);
}

int32_t icuFromUChars(UConverter* converter, TStringCore const& s) {
    Fixture& f = fixture();
    UErrorCode status = U_ZERO_ERROR;
    return ucnv_fromUChars(converter, f.out8.data(), static_cast<int32_t>(f.out8.size()), s.constData(),
                           s.size(), &status);
}

template <class F>
void add(std::string const& name, std::size_t bytes, F run) {
    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
        fixture();
        for (auto _ : state)
            benchmark::DoNotOptimize(run());
        state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes));
    });
}

const bool s_registered = [] {
    Fixture& f = fixture();
    for (bool small : {true, false}) {
        std::string const& in = small ? f.latin1Small : f.latin1;
        const std::string size = small ? "/12B" : "/64KiB";
        add("fromLatin1/kestal" + size, in.size(), [&in] { return TStringCore::fromLatin1(in).size(); });
        add("fromLatin1/u16string" + size, in.size(), [&in] {
            return std::u16string(reinterpret_cast<unsigned char const*>(in.data()),
                                  reinterpret_cast<unsigned char const*>(in.data()) + in.size())
                .size();
        });
        add("fromLatin1/icu" + size, in.size(), [&in, &f] { return icuToUChars(f.iso88591, in); });
    }
    add("toLatin1/kestal/64Ki", kBytes, [&f] { return f.latin1String.toLatin1().size(); });
    add("toLatin1/icu/64Ki", kBytes, [&f] { return icuFromUChars(f.iso88591, f.latin1String); });

    const std::size_t values = f.utf32.size();
    add("fromUtf32/kestal/mixed", 4 * values, [&f] { return TStringCore::fromStdWString(f.utf32).size(); });
    add("fromUtf32/icu/mixed", 4 * values, [&f, values] {
        int32_t n = 0;
        UErrorCode status = U_ZERO_ERROR;
        u_strFromUTF32WithSub(f.out16.data(), static_cast<int32_t>(f.out16.size()), &n,
                              reinterpret_cast<UChar32 const*>(f.utf32.data()), static_cast<int32_t>(values),
                              0xFFFD, nullptr, &status);
        return n;
    });
    add("toWCharArray/kestal/mixed", 2 * f.mixed.size(),
        [&f] { return f.mixed.toWCharArray(f.out32.data(), static_cast<int>(f.out32.size())); });
    add("toWCharArray/icu/mixed", 2 * f.mixed.size(), [&f] {
        int32_t n = 0;
        UErrorCode status = U_ZERO_ERROR;
        u_strToUTF32WithSub(reinterpret_cast<UChar32*>(f.out32.data()), static_cast<int32_t>(f.out32.size()),
                            &n, f.mixed.constData(), f.mixed.size(), 0xFFFD, nullptr, &status);
        return n;
    });

    add("fromLocal8Bit/kestal/mixed", f.utf8.size(),
        [&f] { return TStringCore::fromLocal8Bit(f.utf8).size(); });
    add("fromLocal8Bit/icu/mixed", f.utf8.size(), [&f] { return icuToUChars(f.local, f.utf8); });
    add("toLocal8Bit/kestal/mixed", 2 * f.mixed.size(), [&f] { return f.mixed.toLocal8Bit().size(); });
    add("toLocal8Bit/icu/mixed", 2 * f.mixed.size(), [&f] { return icuFromUChars(f.local, f.mixed); });
    return true;
}();

} // namespace
