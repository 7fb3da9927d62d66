// UTF-16 entry points on arbitrary units, lone surrogates included: ICU and the own encoder must
// agree, measures must equal what is written into exact buffers, the code point iterator must
// walk both ways without leaving the string, and line endings must survive a round trip.
#include "FuzzCheck.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <kestal/CodePoint.h>
#include <kestal/TConstCodePointIterator.h>
#include <kestal/TStringCore.h>
#include <kestal/Unicode.h>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    if (size < 2 || size > 1 << 16) return 0;
    const int n = static_cast<int>(size / 2);
    std::u16string units(static_cast<std::size_t>(n), u'\0'); // zero-terminated copy
    std::memcpy(units.data(), data, static_cast<std::size_t>(n) * 2);

    const int n8 = Unicode::MeasureUtf16ToUtf8(units.data(), n);
    std::string u8(static_cast<std::size_t>(n8), '\0');
    FUZZ_CHECK(Unicode::Utf16ToUtf8(units.data(), n, u8.data(), n8 + 1) == n8);
    const int n32 = Unicode::MeasureUtf16ToUtf32(units.data(), n);
    std::u32string u32(static_cast<std::size_t>(n32), U'\0');
    FUZZ_CHECK(Unicode::Utf16ToUtf32(units.data(), n, u32.data(), n32 + 1) == n32);

    // ICU's UTF-32 has no surrogates, so the own encoder gives ICU's UTF-8 from it.
    const int again8 = Unicode::MeasureUtf32ToUtf8(u32.data(), n32);
    std::string own8(static_cast<std::size_t>(again8), '\0');
    FUZZ_CHECK(again8 == n8 && Unicode::Utf32ToUtf8(u32.data(), n32, own8.data(), again8 + 1) == n8 &&
               own8 == u8);

    // Lone surrogates replaced one for one: the same as ICU's round trip through UTF-32.
    std::u16string clean(static_cast<std::size_t>(n), u'\0');
    FUZZ_CHECK(Unicode::StringValidateCopy(units.data(), n, clean.data(), n + 1) == n);
    const int back16 = Unicode::MeasureUtf32ToUtf16(u32.data(), n32);
    std::u16string viaIcu(static_cast<std::size_t>(back16), u'\0');
    FUZZ_CHECK(back16 == n && Unicode::Utf32ToUtf16(u32.data(), n32, viaIcu.data(), n + 1) == n &&
               viaIcu == clean);

    std::string walked;
    for (int i = 0; i < n;) {
        char out[4];
        int at = 0;
        i += CodePoint::Utf16ToUtf8(units.c_str() + i, out, at, 4);
        walked.append(out, static_cast<std::size_t>(at));
    }
    FUZZ_CHECK(walked == u8);

    // The iterator: forward to the end (a lone low surrogate ends it early), then back to the start.
    const TStringCore s(units.data(), n);
    int steps = 0;
    for (auto it = s.codepoint_cbegin(); it != s.codepoint_cend(); ++it) {
        const char32_t c = *it;
        FUZZ_CHECK(it.position() < n && c <= 0x10FFFF && (c < 0xD800 || c > 0xDFFF));
        ++steps;
    }
    FUZZ_CHECK(steps <= n);
    auto back = s.codepoint_cend();
    for (int previous = n; back.position() != 0; previous = back.position()) {
        --back;
        FUZZ_CHECK(back.position() >= 0 && back.position() < previous);
    }
    FUZZ_CHECK(back.index() == 0);

    // Code point replacement and measures stay inside the string.
    TStringCore edited = s;
    const int pos = data[0] % (n + 1), count = data[1] % (n + 2);
    const int covered = s.subStringSizeInCodePoints(pos, count);
    edited.replace(pos, count, u'#');
    FUZZ_CHECK(edited.size() <= n && edited.size() >= n - count);
    FUZZ_CHECK(covered <= count && std::u16string_view(s) == units);

    // Normalised text has no CR; written out as CR LF and normalised again, it comes back.
    std::u16string lines = units;
    const std::size_t kept = Unicode::normalizeLineEndings(lines.data(), lines.size());
    lines.resize(kept);
    FUZZ_CHECK(lines.find(u'\r') == std::u16string::npos);
    const TStringCore dos = Unicode::unixToDos(lines.data(), lines.size());
    std::u16string round(std::u16string_view{dos});
    round.resize(Unicode::normalizeLineEndings(round.data(), round.size()));
    FUZZ_CHECK(round == lines);
    return 0;
}
