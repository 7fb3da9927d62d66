// UTF-8 entry points on arbitrary bytes: every conversion and measure, into buffers of exactly
// the measured size, must agree with its measure and stay inside its buffers; line endings must
// leave no CR behind.
#include "FuzzCheck.h"

#include <cstddef>
#include <cstdint>
#include <kestal/CodePoint.h>
#include <kestal/TStringCore.h>
#include <kestal/Unicode.h>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    if (size > 1 << 16) return 0;
    const std::string bytes(reinterpret_cast<char const*>(data), size); // zero-terminated copy
    const int n = static_cast<int>(size);

    // ICU's UTF-16 never has more units than the input has bytes.
    std::vector<char16_t> u16(size + 1);
    const int n16 = Unicode::Utf8ToUtf16(bytes.data(), n, u16.data(), n + 1);
    FUZZ_CHECK(n16 <= n && u16[static_cast<std::size_t>(n16)] == 0);
    const TStringCore s = TStringCore::fromUtf8(bytes.data(), n);
    FUZZ_CHECK(s.size() == n16 && std::u16string_view(s) == std::u16string_view(u16.data(), n16));

    // The own decoder writes exactly what its measure says.
    const int n32 = Unicode::MeasureUtf8ToUtf32(bytes.data(), n);
    std::vector<char32_t> u32(static_cast<std::size_t>(n32) + 1);
    FUZZ_CHECK(Unicode::Utf8ToUtf32(bytes.data(), n, u32.data(), n32 + 1) == n32);
    FUZZ_CHECK(Unicode::MeasureUtf8ToUtf16(bytes.data(), n) >= n32);

    // The per-code-point functions walk the zero-terminated copy; their output matches the measure.
    int walked8 = 0;
    for (int i = 0; i < n;) {
        char out8[4];
        char16_t out16[2];
        int at8 = 0, at16 = 0;
        const int taken = CodePoint::Utf8ToUtf8(bytes.c_str() + i, out8, at8, 4);
        FUZZ_CHECK(taken > 0 && CodePoint::Utf8ToUtf16(bytes.c_str() + i, out16, at16, 2) == taken);
        walked8 += at8;
        i += taken;
    }
    FUZZ_CHECK(walked8 == Unicode::MeasureUtf8ToUtf8(bytes.c_str(), n));

    // The result of ICU's UTF-16 is well formed, so the engines agree on its UTF-8 again.
    if (n16 > 0) {
        const int back8 = Unicode::MeasureUtf16ToUtf8(u16.data(), n16);
        std::string again(static_cast<std::size_t>(back8), '\0');
        FUZZ_CHECK(Unicode::Utf16ToUtf8(u16.data(), n16, again.data(), back8 + 1) == back8);
        FUZZ_CHECK(Unicode::MeasureUtf8ToUtf16(again.data(), back8) == n16);
        FUZZ_CHECK(Unicode::MeasureUtf8ToUtf32(again.data(), back8) ==
                   Unicode::MeasureUtf16ToUtf32(u16.data(), n16));
    }

    std::string lines = bytes;
    const std::size_t kept = Unicode::normalizeLineEndings(lines.data(), lines.size());
    FUZZ_CHECK(kept <= size && lines[kept] == 0 && lines.find('\r') >= kept);
    return 0;
}
