// Numbers to text: one integer renderer for every width and base, and the double writer, which
// takes snprintf's output and tidies its exponent, trailing zeros and sign.
#include "kestal/strings/FastPaths.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <kestal/TCType.h>
#include <kestal/TStringCore.h>
#include <kestal/detail/TStringFastPathsTesting.h>

std::atomic<bool> kestal::strings::g_fastPathsEnabled{true};

bool kestal::detail::SetStringFastPathsEnabledForTesting(bool enabled) noexcept {
    return kestal::strings::g_fastPathsEnabled.exchange(enabled);
}

namespace {

constexpr char kDigits[] = "0123456789abcdefghijklmnopqrstuvwxyz";
constexpr char kBase64[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// "00" to "99" as code units: decimal digits go two per division, and a pair is one 4-byte copy.
constexpr auto kDigitPairs = [] {
    std::array<char16_t, 200> pairs{};
    for (int i = 0; i < 100; ++i) {
        pairs[2 * i] = static_cast<char16_t>(u'0' + i / 10);
        pairs[2 * i + 1] = static_cast<char16_t>(u'0' + i % 10);
    }
    return pairs;
}();

// Digits of `value` in `base`.
int digitCount(std::uint64_t value, unsigned base) noexcept {
    if (base == 10) {
        // floor(log10) from the bit length (1233 / 4096 is just above log10(2)), then one comparison.
        static constexpr auto kPowers = [] {
            std::array<std::uint64_t, 20> powers{1};
            for (std::size_t i = 1; i < powers.size(); ++i)
                powers[i] = powers[i - 1] * 10;
            return powers;
        }();
        const int guess = (std::bit_width(value | 1) * 1233) >> 12;
        return guess - ((value | 1) < kPowers[guess] ? 1 : 0) + 1;
    }
    if (std::has_single_bit(base)) {
        const int shift = std::countr_zero(base);
        return (std::bit_width(value | 1) + shift - 1) / shift;
    }
    int count = 1;
    for (; value >= base; value /= base)
        ++count;
    return count;
}

// Writes the digits of `value` backwards, ending at `end`. Powers of two take shifts (base 64
// with its own alphabet), base 10 constant divisors the compiler turns into multiplications.
void writeDigits(std::uint64_t value, unsigned base, char16_t* end) noexcept {
    if (base == 10) {
        for (; value >= 100; value /= 100) {
            end -= 2;
            std::memcpy(end, &kDigitPairs[2 * (value % 100)], 2 * sizeof(char16_t));
        }
        if (value >= 10) {
            std::memcpy(end - 2, &kDigitPairs[2 * value], 2 * sizeof(char16_t));
        } else {
            *--end = static_cast<char16_t>(u'0' + value);
        }
    } else if (std::has_single_bit(base)) {
        char const* alphabet = base == 64 ? kBase64 : kDigits;
        const int shift = std::countr_zero(base);
        do {
            *--end = static_cast<char16_t>(alphabet[value & (base - 1)]);
            value >>= shift;
        } while (value);
    } else {
        do {
            *--end = static_cast<char16_t>(kDigits[value % base]);
            value /= base;
        } while (value);
    }
}

// The integer renderer behind every number(): the digits of `magnitude`, a '-' if `negative`, and
// `fill` up to `width`. A '0' fill goes between the sign and the digits, any other in front of the
// sign. Written straight into the result, so a short number allocates nothing.
TStringCore renderInteger(std::uint64_t magnitude, bool negative, unsigned base, int width, char16_t fill) {
    const int length = digitCount(magnitude, base) + (negative ? 1 : 0);
    const int padding = std::max(width, length) - length;

    TStringCore result;
    char16_t* out = result.resize(length + padding);
    writeDigits(magnitude, base, out + length + padding);
    if (negative && fill == u'0') *out++ = u'-';
    out = std::fill_n(out, padding, fill);
    if (negative && fill != u'0') *out = u'-';
    return result;
}

// ---- The double writer: snprintf's bytes (or std::to_chars's, where they are the same) and the
// edits on them ----

// A text of at most 1023 bytes, with room for the ".0" that the compact form may add, and the
// index of its exponent letter: the first 'e' or 'E' when that is not the first byte, else -1.
// The edits keep the index up to date rather than search again.
struct Rendered {
    char bytes[1024 + 2];
    int size = 0;
    int letter = -1;

    void erase(int pos, int count) noexcept {
        std::memmove(bytes + pos, bytes + pos + count, static_cast<std::size_t>(size - pos - count));
        size -= count;
        if (letter >= pos) letter -= count;
    }
    void insertPointZero(int pos) noexcept {
        std::memmove(bytes + pos + 2, bytes + pos, static_cast<std::size_t>(size - pos));
        bytes[pos] = '.';
        bytes[pos + 1] = '0';
        size += 2;
        if (letter >= pos) letter += 2;
    }
    bool hasPoint() const noexcept {
        return std::memchr(bytes, '.', static_cast<std::size_t>(size)) != nullptr;
    }
};

// snprintf's bytes for "%.*<format>", cut at 1023 as the buffer cuts them.
void renderBySnprintf(Rendered& text, double value, char format, int precision) noexcept {
    char pattern[] = "%.*f";
    pattern[3] = format;
    const int written = std::snprintf(text.bytes, 1024, pattern, precision, value);
    text.size = written < 1 ? 0 : std::min(written, 1023);
    int at = 0;
    while (at < text.size && text.bytes[at] != 'e' && text.bytes[at] != 'E')
        ++at;
    text.letter = at == text.size || at == 0 ? -1 : at;
}

// std::to_chars with snprintf's format; false when the text would not fit in 1023 bytes, where
// snprintf's cut has to decide.
bool renderByToChars(Rendered& text, double value, char format, int precision) noexcept {
    const char lower = static_cast<char>(format | 0x20);
    const std::chars_format style = lower == 'e'   ? std::chars_format::scientific
                                    : lower == 'f' ? std::chars_format::fixed
                                                   : std::chars_format::general;
    const auto [end, error] = std::to_chars(text.bytes, text.bytes + 1023, value, style, precision);
    if (error != std::errc()) return false;
    text.size = static_cast<int>(end - text.bytes);
    // The only letter is the exponent's, within its last five bytes ("e+308").
    text.letter = -1;
    for (int i = text.size - 1; i > 0 && i >= text.size - 5; --i)
        if (text.bytes[i] == 'e') {
            text.letter = i;
            if (format != lower) text.bytes[i] = 'E';
            break;
        }
    return true;
}

// Alphabetic as TCType::isAlpha32 says, for a byte widened to a code point.
bool isAlphaByte(char c) noexcept {
    const auto unit = static_cast<unsigned char>(c);
    if (unit < 0x80) return (unit | 0x20) >= 'a' && (unit | 0x20) <= 'z';
    return TCType::isAlpha32(unit);
}

bool isDigitByte(char c) noexcept {
    return c >= '0' && c <= '9';
}

// Leading zeros of the exponent go until two digits remain; an exponent without excess zeros, or
// of three significant digits, is left alone.
void trimExponentZeros(Rendered& text) noexcept {
    if (text.letter < 0) return;
    int first = text.letter + 1;
    if (first < text.size && (text.bytes[first] == '+' || text.bytes[first] == '-')) ++first;
    int zeros = 0;
    while (first + zeros < text.size && text.bytes[first + zeros] == '0')
        ++zeros;
    int significant = 0;
    while (first + zeros + significant < text.size && isDigitByte(text.bytes[first + zeros + significant]))
        ++significant;
    if (zeros < 1 || zeros + significant < 3) return;
    text.erase(first, significant > 1 ? zeros : zeros - (2 - significant));
}

// Drops the mantissa's trailing zeros, keeping one behind a point.
void stripTrailingZeros(Rendered& text) noexcept {
    const int mantissaEnd = text.letter < 0 ? text.size : text.letter;
    int last = mantissaEnd - 1;
    // Kept on purpose: the walk does not look for a point, so at precision 0 it eats the integer's
    // own zeros ("100" becomes "1"); callers depend on that output.
    while (last > 0 && text.bytes[last] == '0')
        --last;
    const int kept = std::min(text.bytes[last] == '.' ? last + 2 : last + 1, mantissaEnd);
    text.erase(kept, mantissaEnd - kept);
}

// A '-' in front of nothing but zeros and points (up to the exponent) goes.
void dropNegativeZeroSign(Rendered& text) noexcept {
    if (text.size == 0 || text.bytes[0] != '-') return;
    for (int i = 1; i < text.size && text.bytes[i] != 'e' && text.bytes[i] != 'E'; ++i)
        if (text.bytes[i] != '0' && text.bytes[i] != '.') return;
    // Kept on purpose: a sign with nothing behind it (compact "-0" at precision 0 walked to "-")
    // counts as a zero too and goes, leaving the empty text.
    text.erase(0, 1);
}

TStringCore widened(Rendered const& text) {
    TStringCore result;
    if (text.size == 0) return result;
    char16_t* out = result.resize(text.size);
    for (int i = 0; i < text.size; ++i)
        out[i] = static_cast<unsigned char>(text.bytes[i]);
    return result;
}

} // namespace

TStringCore TStringCore::number(long long value, int base, int width, char16_t fill) {
    // Any base but 10 shows the two's complement pattern, whatever the argument's width was.
    if (base != 10) return number(static_cast<unsigned long long>(value), base, width, fill);
    const auto bits = static_cast<std::uint64_t>(value);
    return renderInteger(value < 0 ? 0 - bits : bits, value < 0, 10, width, fill);
}

TStringCore TStringCore::number(unsigned long long value, int base, int width, char16_t fill) {
    if (base < 2 || (base > 36 && base != 64)) throw Exception(u"TStringCore::number: base out of range.");
    return renderInteger(value, false, static_cast<unsigned>(base), width, fill);
}

TStringCore TStringCore::pointer(void const* p, bool prefix, bool pad) {
    TStringCore text =
        number(static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(p)), 16, pad ? 16 : 0, u'0');
    if (prefix) text.insert(0, u"0x", 2);
    return text;
}

TStringCore TStringCore::number(double value, char format, int precision, bool compact) {
    if (std::isnan(value)) return TStringCore(u"nan");
    if (std::isinf(value)) return TStringCore(value < 0 ? u"-inf" : u"inf");
    switch (format) {
    case 'e':
    case 'E':
    case 'f':
    case 'F':
    case 'g':
    case 'G':
        break;
    default:
        format = 'f';
    }
    if (precision < 0) precision = 6;

    Rendered text;
    const bool fast = kestal::strings::fastPathsEnabled() && kestal::strings::charConvMatchesCLibrary() &&
                      renderByToChars(text, value, format, precision);
    if (!fast) renderBySnprintf(text, value, format, precision);

    trimExponentZeros(text);
    const bool general = format == 'g' || format == 'G';
    // A text ending in a letter (as a locale might spell something) is not made compact.
    const bool endsInLetter = text.size > 0 && isAlphaByte(text.bytes[text.size - 1]);
    if (compact && text.size > 0 && !endsInLetter) {
        if (!general)
            stripTrailingZeros(text);
        else if (!text.hasPoint())
            text.insertPointZero(text.letter < 0 ? text.size : text.letter);
    } else if (general) {
        const int letter = text.letter;
        if (letter >= 3 && text.bytes[letter - 2] == '.' && text.bytes[letter - 1] == '0')
            text.erase(letter - 2, 2);
    }
    dropNegativeZeroSign(text);
    return widened(text);
}
