// Number conversion on its two paths: number(double) through std::to_chars and through snprintf,
// and every to... member through its fast path and through the general parser and strtod, must
// agree on every byte, value, *ok and errno. Input: eight bytes of a double, a format, a precision
// and a flag byte, then a text read as one unit per byte.
#include "FuzzCheck.h"

#include <bit>
#include <cerrno>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <kestal/TStringCore.h>
#include <kestal/detail/TStringFastPathsTesting.h>
#include <string>
#include <tuple>

namespace {

template <class F>
auto onBothPaths(F&& f) {
    kestal::detail::SetStringFastPathsEnabledForTesting(false);
    auto slow = f();
    kestal::detail::SetStringFastPathsEnabledForTesting(true);
    auto fast = f();
    FUZZ_CHECK(fast == slow);
}

template <class T, T (TStringCore::*member)(bool*, int) const>
void compareInteger(TStringCore const& s, int base) {
    onBothPaths([&] {
        bool ok = false;
        const T value = (s.*member)(&ok, base);
        const int error = errno;
        const T quiet = (s.*member)(nullptr, base);
        return std::tuple(value, ok, error, quiet, errno);
    });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    if (size < 11 || size > 4096) return 0;
    std::uint64_t bits;
    std::memcpy(&bits, data, 8);
    const double value = std::bit_cast<double>(bits);
    const char format = "eEfFgGq"[data[8] % 7];
    const int precision = static_cast<int>(data[9]) - 8; // negative means 6; up to 247 digits
    const bool compact = data[10] & 1;
    onBothPaths([&] { return std::u16string(TStringCore::number(value, format, precision, compact)); });

    std::u16string units;
    for (std::size_t i = 11; i < size; ++i)
        units += static_cast<char16_t>(data[i] == 0xFF ? 0x3000 : data[i]); // 0xFF stands for a wide blank
    const TStringCore s(units.data(), static_cast<int>(units.size()));
    onBothPaths([&] {
        bool ok = false;
        const double read = s.toDouble(&ok);
        return std::tuple(std::isnan(read) ? 1 : std::bit_cast<std::uint64_t>(read), ok, errno);
    });
    const int base = (data[10] >> 1) % 4 == 0 ? 10 : (data[10] >> 1) % 37; // mostly 10
    if (base == 1) return 0;                                               // raises on both paths
    compareInteger<int, &TStringCore::toInt>(s, base);
    compareInteger<short, &TStringCore::toShort>(s, base);
    compareInteger<long long, &TStringCore::toLongLong>(s, base);
    compareInteger<unsigned, &TStringCore::toUInt>(s, base);
    compareInteger<unsigned long long, &TStringCore::toULongLong>(s, base);
    return 0;
}
