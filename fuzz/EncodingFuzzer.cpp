// Encodings on arbitrary bytes: the three 8-bit inputs against their references, the bytes as
// UTF-32 values through fromUtf32, the bytes as UTF-16 units through the Latin outputs and into a
// wchar_t buffer of exactly the capacity the input picks, and byte order mark round trips.
#include "FuzzCheck.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <kestal/TStringCore.h>
#include <kestal/Unicode.h>
#include <string>
#include <string_view>
#include <vector>

namespace {

char16_t latin9Unit(unsigned char b) {
    constexpr unsigned char bytes[] = {0xA4, 0xA6, 0xA8, 0xB4, 0xB8, 0xBC, 0xBD, 0xBE};
    constexpr char16_t units[] = {0x20AC, 0x0160, 0x0161, 0x017D, 0x017E, 0x0152, 0x0153, 0x0178};
    for (int i = 0; i < 8; ++i)
        if (bytes[i] == b) return units[i];
    return b;
}

void checkBytes(std::string_view bytes) {
    const int n = static_cast<int>(bytes.size());
    const TStringCore latin1 = TStringCore::fromLatin1(bytes);
    FUZZ_CHECK(latin1.size() == n);
    bool lossy = true;
    FUZZ_CHECK(latin1.toLatin1(&lossy) == bytes && !lossy);

    const std::size_t kept = std::min(bytes.find('\0'), bytes.size());
    const TStringCore latin9 = TStringCore::fromLatin9(bytes);
    FUZZ_CHECK(latin9.size() == static_cast<int>(kept));
    for (std::size_t i = 0; i < kept; ++i)
        FUZZ_CHECK(latin9.constData()[i] == latin9Unit(static_cast<unsigned char>(bytes[i])));

    TStringCore utf8 = TStringCore::fromUtf8(bytes.data(), n);
    if (!utf8.isEmpty() && utf8.constData()[utf8.size() - 1] == 0x1A) utf8.chop(1);
    FUZZ_CHECK(TStringCore::fromLocal8Bit(bytes) == utf8);
}

void checkUtf32(std::u32string const& values) {
    std::u16string expected;
    for (char32_t c : values) {
        if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF))
            expected += u'\uFFFD';
        else if (c >= 0x10000)
            expected +=
                {static_cast<char16_t>(0xD7C0 + (c >> 10)), static_cast<char16_t>(0xDC00 | (c & 0x3FF))};
        else
            expected += static_cast<char16_t>(c);
    }
    const TStringCore s = TStringCore::fromUtf32(values.data(), static_cast<int>(values.size()));
    FUZZ_CHECK(std::u16string_view(s) == expected);
}

void checkUnits(TStringCore const& s, std::size_t capacity) {
    bool lossy = false;
    const std::string latin9 = s.toLatin9(&lossy);
    FUZZ_CHECK(lossy ? std::strlen(latin9.c_str()) == latin9.size() : latin9.size() == std::size_t(s.size()));
    FUZZ_CHECK(s.toLocal8Bit(&lossy).size() <= 3 * std::size_t(s.size()) && !lossy);

    // Exactly `capacity` elements on the heap, so that a write past them is caught.
    std::vector<wchar_t> buffer(capacity, L'#');
    const int written = s.toWCharArray(capacity ? buffer.data() : nullptr, static_cast<int>(capacity));
    if (capacity > std::size_t(s.size())) {
        const int values = s.isEmpty() ? 0 : Unicode::MeasureUtf16ToUtf32(s.constData(), s.size());
        FUZZ_CHECK(written == values && buffer[std::size_t(written)] == 0);
    } else {
        FUZZ_CHECK(written == -1 && (capacity == 0 || buffer[0] == 0));
    }
    const std::vector<wchar_t> vector = s.toWCharVector();
    FUZZ_CHECK(vector.size() == std::size_t(s.size()) + 1 && vector.back() == 0);

    TStringCore marked = s;
    marked.prependBOM();
    FUZZ_CHECK(marked.hasBOM() && marked.size() == s.size() + !s.hasBOM());
    TStringCore back = marked;
    back.removeBOM();
    FUZZ_CHECK(s.hasBOM() ? back.size() == s.size() - 1 : back == s);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    if (size < 1 || size > 1 << 16) return 0;
    // The first byte picks the wchar_t capacity around the unit count; the rest is the text.
    const unsigned pick = data[0];
    const std::string_view bytes(reinterpret_cast<char const*>(data + 1), size - 1);
    checkBytes(bytes);

    std::u32string values(bytes.size() / 4, U'\0');
    std::memcpy(values.data(), bytes.data(), values.size() * 4);
    checkUtf32(values);

    std::u16string units(bytes.size() / 2, u'\0');
    std::memcpy(units.data(), bytes.data(), units.size() * 2);
    const TStringCore s = TStringCore::fromStdU16String(units);
    const int around =
        static_cast<int>(units.size()) + static_cast<int>(pick % 4) - 1; // size - 1 to size + 2
    checkUnits(s, static_cast<std::size_t>(pick < 8 ? static_cast<int>(pick) : std::max(0, around)));
    return 0;
}
