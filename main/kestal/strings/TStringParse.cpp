// Text to numbers: one integer parser behind every integer to... member, the double reader over
// strtod with its own infinity and NaN, and the two measures of a number at the head of a text.
#include "kestal/strings/FastPaths.h"
#include "kestal/strings/NumberMeasures.h"
#include "kestal/strings/Units.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif
#include <kestal/TCType.h>
#include <kestal/TStringCore.h>
#include <limits>
#include <string>
#include <string_view>

namespace {

using kestal::strings::isSpaceUnit;

[[noreturn]] void throwBaseError() {
    throw TStringCore::Exception(u"TStringCore::parseInteger: base out of range.");
}

// The value of the unit as a digit of `base` after OR-ing in 0x20 (so upper case reads as lower
// case), or -1. Kept on purpose: 0-9 are digits in every base ("9" is 9 in base 8), and the
// control units 0x10-0x19 pass as 0-9 because of the OR.
int digitValue(char16_t unit, int base) noexcept {
    const unsigned folded = unit | 0x20u;
    if (folded >= u'0' && folded <= u'9') return static_cast<int>(folded - u'0');
    if (folded >= u'a' && folded < u'a' + static_cast<unsigned>(base - 10))
        return static_cast<int>(folded - u'a') + 10;
    return -1;
}

bool hasHexPrefix(char16_t const* s) noexcept {
    return s[0] == u'0' && (s[1] | 0x20) == u'x';
}

// The integer parser: reads the zero-terminated text and returns the 64-bit pattern, built
// negative directly under a '-'. Clears errno and *ok first; see the to... members for the rest.
std::uint64_t parseInteger(char16_t const* s, int base, bool* ok, int* sign) {
    if (ok) *ok = false;
    errno = 0;
    while (isSpaceUnit(*s))
        ++s;
    const bool negative = *s == u'-';
    if (negative || *s == u'+') ++s;
    if (sign) *sign = negative ? -1 : 1;
    if (base == 0) {
        if (*s == 0) {
            errno = EINVAL;
            return 0;
        }
        base = hasHexPrefix(s) ? 16 : *s == u'0' ? 8 : 10;
    } else if (base < 2 || base > 36) {
        throwBaseError();
    }
    if (base == 16 && hasHexPrefix(s)) s += 2;

    const auto radix = static_cast<std::uint64_t>(base);
    std::uint64_t result = 0;
    char16_t const* digits = s;
    for (int digit; (digit = digitValue(*s, base)) >= 0; ++s) {
        const std::uint64_t old = result;
        // Unsigned arithmetic: the wraps are the point of the test below.
        result = negative ? old * radix - static_cast<std::uint64_t>(digit)
                          : old * radix + static_cast<std::uint64_t>(digit);
        // Kept on purpose: only a wrap that lands below the old value (above it, when negative) is
        // seen. One that lands beyond it passes: "23058430092136939520" reads as 2^62 without error.
        if (negative ? static_cast<std::int64_t>(result) > static_cast<std::int64_t>(old) : result < old) {
            errno = ERANGE;
            return negative ? 0 : ~std::uint64_t{0};
        }
    }
    if (s == digits) {
        errno = EINVAL;
        return 0;
    }
    if (ok) {
        while (isSpaceUnit(*s))
            ++s;
        *ok = *s == 0;
    }
    return result;
}

// ---- The common case of the integer parser: base 10, at most 19 digits behind ASCII blanks and
// a sign, of a magnitude that fits in 63 bits. Nothing can wrap below 10^19 and the signed members
// need no clamp below 2^63, so the general parser's overflow tests have nothing to find there.

// True with the 64-bit pattern in `value` (negated under a '-') and *ok set as the parser sets it;
// false, having changed nothing, for every other text.
[[gnu::noinline]] bool readShortDecimal(char16_t const* s, char16_t const* end, bool* ok,
                                        std::uint64_t& value) noexcept {
    while (*s == u' ' || (*s >= u'\t' && *s <= u'\r'))
        ++s;
    const bool negative = *s == u'-';
    s += negative || *s == u'+';
    char16_t const* const digits = s;
    std::uint64_t magnitude = 0;
    // Four units at a time while they lie inside the text and all pass the digit test below: one
    // multiplication by 10^4 instead of four dependent steps.
    constexpr std::uint64_t kLanes = 0x0001000100010001;
    for (std::uint64_t four; std::endian::native == std::endian::little && end - s >= 4; s += 4) {
        std::memcpy(&four, s, sizeof four);
        const std::uint64_t folded = four | 0x20 * kLanes;
        if ((folded & 0xFFF0 * kLanes) != 0x30 * kLanes ||
            ((folded + 6 * kLanes) & 0xF0 * kLanes) != 0x30 * kLanes)
            break;
        const std::uint64_t units = four & 0xF * kLanes;
        const std::uint64_t pairs = (units * 10 + (units >> 16)) & 0x000000FF000000FF;
        magnitude = magnitude * 10000 + (pairs & 0xFF) * 100 + (pairs >> 32);
    }
    // The parser's digit test for base 10, control units 0x10-0x19 included.
    for (unsigned digit; (digit = (*s | 0x20u) - u'0') <= 9; ++s)
        magnitude = magnitude * 10 + digit;
    if (static_cast<std::size_t>(s - digits - 1) >= 19) return false; // none, or too many
    if (magnitude > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) return false;
    if (ok) {
        while (*s != 0 && isSpaceUnit(*s))
            ++s;
        *ok = *s == 0;
    }
    value = negative ? 0 - magnitude : magnitude;
    return true;
}

#if defined(__SSE2__)
// The decimal value of sixteen 16-bit lanes, each 0-9, the first the most significant: pairs, then
// fours, then eights, by multiply-adds.
inline std::uint64_t valueOfSixteenDigits(__m128i low, __m128i high) noexcept {
    const __m128i pairs = _mm_packs_epi32(_mm_madd_epi16(low, _mm_set1_epi32(0x0001000A)),
                                          _mm_madd_epi16(high, _mm_set1_epi32(0x0001000A)));
    const __m128i fours = _mm_madd_epi16(pairs, _mm_set1_epi32(0x00010064));
    const __m128i eights = _mm_madd_epi16(_mm_packs_epi32(fours, fours), _mm_set1_epi32(0x00012710));
    return static_cast<std::uint64_t>(_mm_cvtsi128_si32(eights)) * 100000000 +
           static_cast<std::uint32_t>(_mm_cvtsi128_si32(_mm_srli_epi64(eights, 32)));
}

// The parser's digit test on eight units: the digit's value where it passes, 0 elsewhere; `digits`
// gets all ones in the lanes that pass.
inline __m128i digitValues(__m128i units, __m128i& digits) noexcept {
    const __m128i value = _mm_sub_epi16(_mm_or_si128(units, _mm_set1_epi16(0x20)), _mm_set1_epi16(0x30));
    digits = _mm_cmpeq_epi16(_mm_subs_epu16(value, _mm_set1_epi16(9)), _mm_setzero_si128());
    return _mm_and_si128(value, digits);
}

// 5^-k modulo 2^64: multiplying by it divides a multiple of 5^k exactly.
constexpr std::array<std::uint64_t, 16> kInversePowersOfFive = [] {
    std::array<std::uint64_t, 16> inverses{};
    std::uint64_t power = 1;
    for (auto& inverse : inverses) {
        inverse = power; // Newton's step doubles the correct low bits: 3, 6, ..., 96 of them
        for (int i = 0; i < 5; ++i)
            inverse *= 2 - power * inverse;
        power *= 5;
    }
    return inverses;
}();

// readShortDecimal for a text in the short form, whose whole object (sixteen units: the text,
// then the size) can be read: an optional sign, then digits up to the end. The digit run and its
// value come from fixed work on the object instead of a step per digit, whose loop exit a branch
// predictor cannot guess for numbers of random length. False for every other text.
inline bool readInlineDecimal(TStringCore const& text, bool* ok, std::uint64_t& value) noexcept {
    if (static_cast<void const*>(text.constData()) != static_cast<void const*>(&text)) return false;
    static_assert(sizeof(TStringCore) == 32);
    auto const* object = reinterpret_cast<__m128i const*>(&text);
    const int size = text.size();
    const char16_t first = text.constData()[0];
    const bool negative = first == u'-';
    const int start = negative || first == u'+';
    // Units at or past the size (the terminator, what an earlier text left, the size itself) count
    // as zeros, so the sixteen lanes read as the number times 10^(16 - size).
    const __m128i inText = _mm_set1_epi16(static_cast<short>(size));
    __m128i lowDigits, highDigits;
    __m128i low = digitValues(_mm_loadu_si128(object), lowDigits);
    __m128i high = digitValues(_mm_loadu_si128(object + 1), highDigits);
    const unsigned digitMask =
        static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(lowDigits, highDigits)));
    const unsigned wanted = ((1u << size) - 1) & ~((1u << start) - 1);
    if (size <= start || (digitMask & wanted) != wanted) return false;
    low = _mm_and_si128(low, _mm_cmplt_epi16(_mm_setr_epi16(0, 1, 2, 3, 4, 5, 6, 7), inText));
    high = _mm_and_si128(high, _mm_cmplt_epi16(_mm_setr_epi16(8, 9, 10, 11, 12, 13, 14, 15), inText));
    // Exact division by 10^k: a shift for 2^k, the inverse for 5^k (k is 2 to 15).
    const int k = 16 - size;
    const std::uint64_t magnitude = (valueOfSixteenDigits(low, high) >> k) * kInversePowersOfFive[k];
    if (ok) *ok = true;
    value = negative ? 0 - magnitude : magnitude;
    return true;
}
#else
inline bool readInlineDecimal(TStringCore const&, bool*, std::uint64_t&) noexcept {
    return false;
}
#endif

inline bool fastDecimal(TStringCore const& text, int base, bool* ok, std::uint64_t& value) noexcept {
    return base == 10 && kestal::strings::fastPathsEnabled() &&
           (readInlineDecimal(text, ok, value) ||
            readShortDecimal(text.constData(), text.constData() + text.size(), ok, value));
}

// The signed members clamp the 64-bit value to their type.
template <class T>
T narrowSigned(std::int64_t value, bool* ok) noexcept {
    if constexpr (sizeof(T) < sizeof(std::int64_t)) {
        if (value < std::numeric_limits<T>::min() || value > std::numeric_limits<T>::max()) {
            errno = ERANGE;
            if (ok) *ok = false;
            return value < 0 ? std::numeric_limits<T>::min() : std::numeric_limits<T>::max();
        }
    }
    return static_cast<T>(value);
}

// The general parser's pattern, its overflows turned into the 64-bit bounds. Out of line, so the
// short decimal path keeps its few registers and saves none of the ones this one needs.
template <class T>
[[gnu::noinline]] T parseSigned(TStringCore const& text, bool* ok, int base) {
    int sign = 1;
    auto value = static_cast<std::int64_t>(parseInteger(text.constData(), base, ok, &sign));
    if (sign < 0 && errno == ERANGE) {
        value = std::numeric_limits<std::int64_t>::min();
    } else if (sign > 0 && value < 0) {
        errno = ERANGE;
        value = std::numeric_limits<std::int64_t>::max();
        if (ok) *ok = false;
    }
    return narrowSigned<T>(value, ok);
}

template <class T>
T toSigned(TStringCore const& text, bool* ok, int base) {
    std::uint64_t pattern;
    if (!fastDecimal(text, base, ok, pattern)) return parseSigned<T>(text, ok, base);
    errno = 0;
    return narrowSigned<T>(static_cast<std::int64_t>(pattern), ok);
}

// The unsigned members. Kept on purpose: a '-' negates in 64 bits and the full-width members take
// the pattern as it is ("-1" is all ones, *ok true), while the narrower ones find it too large.
template <class T>
T toUnsigned(TStringCore const& text, bool* ok, int base) {
    std::uint64_t value;
    bool rangeError = false;
    if (fastDecimal(text, base, ok, value)) {
        errno = 0;
    } else {
        value = parseInteger(text.constData(), base, ok, nullptr);
        rangeError = errno == ERANGE;
    }
    constexpr std::uint64_t max = std::numeric_limits<T>::max();
    if (rangeError || value > max) {
        errno = ERANGE;
        if (ok) *ok = false;
        return static_cast<T>(max);
    }
    return static_cast<T>(value);
}

// Passes over `word` if the text at `p` starts with it.
template <class Unit>
bool skipWord(Unit const*& p, std::string_view word) noexcept {
    for (std::size_t i = 0; i < word.size(); ++i)
        if (p[i] != static_cast<Unit>(word[i])) return false;
    p += word.size();
    return true;
}

// What a spelled-out infinity or NaN gives, by the unit behind it: the end keeps `value`, white
// space keeps it with *ok false, anything else gives 0.0 with ERANGE.
template <class Unit>
double spelledValue(Unit const* rest, double value, bool* ok) {
    if (*rest == 0) return value;
    if (ok) *ok = false;
    if (isSpaceUnit(static_cast<char16_t>(*rest))) return value;
    errno = ERANGE;
    return 0.0;
}

constexpr int kStackUnits = 64;

// strtod on bytes, with the count of units it read: a unit above 0xFF becomes '?'; bytes go as
// they are.
double narrowedStrtod(char const* bytes, int& read) {
    char* stop = nullptr;
    const double value = std::strtod(bytes, &stop);
    read = static_cast<int>(stop - bytes);
    return value;
}
double narrowedStrtod(char16_t const* text, int size, int& read) {
    char stackBytes[kStackUnits];
    std::string heapBytes;
    char* bytes = stackBytes;
    if (size >= kStackUnits) {
        heapBytes.resize(static_cast<std::size_t>(size));
        bytes = heapBytes.data();
    }
    std::transform(text, text + size, bytes,
                   [](char16_t unit) { return unit < 256 ? static_cast<char>(unit) : '?'; });
    bytes[size] = 0;
    return narrowedStrtod(bytes, read);
}

// The double reader on a trimmed, lower-cased, zero-terminated text of `size` units: UTF-16, or
// bytes when the text was short ASCII.
template <class Unit>
double readDouble(Unit const* text, int size, bool* ok) {
    errno = 0;
    Unit const* p = text;
    const bool negative = *p == '-';
    if (negative || *p == '+') ++p;
    if (skipWord(p, "inf")) {
        if (!skipWord(p, ".0")) skipWord(p, "inity");
        return spelledValue(p, negative ? -HUGE_VAL : HUGE_VAL, ok);
    }
    if (skipWord(p, "nan")) {
        while (*p == '_' || TCType::isAlnum(static_cast<char16_t>(*p)))
            ++p;
        // The sign is not kept: every NaN read is the positive quiet one.
        return spelledValue(p, std::numeric_limits<double>::quiet_NaN(), ok);
    }
    int read = 0;
    double value;
    if constexpr (sizeof(Unit) == 1)
        value = narrowedStrtod(text, read);
    else
        value = narrowedStrtod(text, size, read);
    // A subnormal result reads as +0.0, its sign dropped.
    if (std::fpclassify(value) == FP_SUBNORMAL) value = 0.0;
    if (ok && (errno != 0 || size == 0 || read != size)) *ok = false;
    return value;
}

// Powers of ten that a double holds exactly.
constexpr double kExactPowersOf10[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                       1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

// The common case of toDouble: ASCII text between ASCII blanks that is a plain decimal number,
// [sign] digits [. digits] [e [sign] digits], whose value is normal, or a zero written with zeros.
// strtod would read the whole text to the correctly rounded value and leave errno alone, so *ok
// stays true. Returns false for anything else, which the general reader takes: spelled
// infinities and NaNs, hexadecimal, range errors, other locales and rounding modes.
bool readPlainDecimal(char16_t const* text, int size, double& value) noexcept {
    if (size >= kStackUnits) return false;
    int begin = 0, end = size;
    while (begin < end && kestal::strings::isAsciiSpace(text[begin]))
        ++begin;
    while (end > begin && kestal::strings::isAsciiSpace(text[end - 1]))
        --end;
    // The unit at `end` is a blank or the terminator, so the walk below stops there unchecked.
    // It keeps the units as bytes too, for from_chars.
    char bytes[kStackUnits];
    int n = 0;
    auto digitAt = [&](int at) {
        bytes[n] = static_cast<char>(text[at]);
        return static_cast<unsigned>(text[at]) - u'0';
    };
    int i = begin;
    const bool negative = text[i] == u'-';
    if (negative) bytes[n++] = '-'; // from_chars takes no '+'
    if (negative || text[i] == u'+') ++i;
    std::uint64_t mantissa = 0; // wraps past 19 digits, which then go to from_chars
    int digits = 0, scale = 0;
    for (unsigned digit; (digit = digitAt(i)) <= 9; ++i, ++n, ++digits)
        mantissa = mantissa * 10 + digit;
    if (text[i] == u'.') {
        bytes[n++] = '.';
        for (unsigned digit; (digit = digitAt(++i)) <= 9; ++n, ++digits, --scale)
            mantissa = mantissa * 10 + digit;
    }
    if (digits == 0) return false;
    int exponent = 0;
    if ((text[i] | 0x20) == u'e') {
        bytes[n++] = 'e';
        const bool negativeExponent = text[++i] == u'-';
        if (negativeExponent || text[i] == u'+') bytes[n++] = static_cast<char>(text[i++]);
        const int exponentStart = i;
        for (unsigned digit; (digit = digitAt(i)) <= 9; ++i, ++n)
            if (exponent < 100000) exponent = exponent * 10 + static_cast<int>(digit);
        if (i == exponentStart) return false;
        if (negativeExponent) exponent = -exponent;
    }
    if (i != end || !kestal::strings::charConvMatchesCLibrary()) return false;

    // Both factors exact, so one rounding: the correctly rounded value, as strtod's.
    const int power = exponent + scale;
    if (digits <= 19 && mantissa <= (std::uint64_t{1} << 53) && power >= -22 && power <= 22) {
        const auto m = static_cast<double>(mantissa);
        const double magnitude = power < 0 ? m / kExactPowersOf10[-power] : m * kExactPowersOf10[power];
        value = negative ? -magnitude : magnitude;
        return true;
    }

    // Longer or larger: std::from_chars, which rounds as strtod does.
    double result;
    const auto [stop, error] = std::from_chars(bytes, bytes + n, result);
    if (error != std::errc() || stop != bytes + n) return false;
    // Near the ends of the range strtod may report ERANGE; those go to it, as does a zero read
    // from digits that are not all zeros (an underflow).
    const double magnitude = std::fabs(result);
    const bool zeros = mantissa == 0 && digits <= 19;
    if (!(magnitude > 2 * DBL_MIN && magnitude < DBL_MAX) && !(magnitude == 0 && zeros)) return false;
    value = result;
    return true;
}

} // namespace

short TStringCore::toShort(bool* ok, int base) const {
    return toSigned<short>(*this, ok, base);
}
int TStringCore::toInt(bool* ok, int base) const {
    return toSigned<int>(*this, ok, base);
}
long TStringCore::toLong(bool* ok, int base) const {
    return toSigned<long>(*this, ok, base);
}
long long TStringCore::toLongLong(bool* ok, int base) const {
    return toSigned<long long>(*this, ok, base);
}
unsigned short TStringCore::toUShort(bool* ok, int base) const {
    return toUnsigned<unsigned short>(*this, ok, base);
}
unsigned int TStringCore::toUInt(bool* ok, int base) const {
    return toUnsigned<unsigned int>(*this, ok, base);
}
unsigned long TStringCore::toULong(bool* ok, int base) const {
    return toUnsigned<unsigned long>(*this, ok, base);
}
unsigned long long TStringCore::toULongLong(bool* ok, int base) const {
    return toUnsigned<unsigned long long>(*this, ok, base);
}

double TStringCore::toDouble(bool* ok) const {
    if (ok) *ok = true;
    double plain;
    if (kestal::strings::fastPathsEnabled() && readPlainDecimal(constData(), size(), plain)) {
        errno = 0;
        return plain;
    }
    // Short ASCII text without 'I' (the one ASCII letter whose lower case depends on the locale) is
    // lowered into bytes on the stack in one pass and trimmed there; the rest goes through
    // trimmed() and toLower().
    char16_t const* text = constData();
    const int size = this->size();
    if (size < kStackUnits) {
        char lowered[kStackUnits];
        int i = 0;
        for (; i < size; ++i) {
            const char16_t unit = text[i];
            if (unit >= 0x80 || unit == u'I') break;
            lowered[i] = static_cast<char>(unit >= u'A' && unit <= u'Z' ? unit + 0x20 : unit);
        }
        if (i == size) {
            int begin = 0, end = size;
            while (begin < end && kestal::strings::isAsciiSpace(lowered[begin]))
                ++begin;
            while (end > begin && kestal::strings::isAsciiSpace(lowered[end - 1]))
                --end;
            lowered[end] = 0;
            return readDouble(lowered + begin, end - begin, ok);
        }
    }
    const TStringCore prepared = trimmed().toLower();
    return readDouble(prepared.constData(), prepared.size(), ok);
}

float TStringCore::toFloat(bool* ok) const {
    return static_cast<float>(toDouble(ok));
}

namespace kestal::strings {

int integerLength(char16_t const* text, int length, int base) {
    if (!text || length == 0 || text[0] == 0) return 0;
    // Zero-terminated text needs no measure: the terminator is never a digit, so only the test for
    // a second unit asks where the text ends.
    const bool twoUnits = length < 0 ? text[1] != 0 : length >= 2;
    bool decimal = base == 10;
    if (base == 0 && twoUnits) {
        // Kept on purpose: with one unit base 0 stays 0 and raises below, stricter than the parser.
        base = text[0] != u'0' ? 10 : (text[1] | 0x20) == u'x' ? 16 : 8;
        decimal = base == 10;
    }
    if (base < 2 || base > 36) throwBaseError();

    int pos = 0;
    if (base == 16 && twoUnits && hasHexPrefix(text))
        pos = 2;
    else if (decimal && (text[0] == u'+' || text[0] == u'-'))
        pos = 1;
    if (length >= 0 && pos >= length) return 0;
    // Unlike the parser's, a digit here is held to the base.
    const int start = pos;
    for (; length < 0 || pos < length; ++pos) {
        const unsigned folded = text[pos] | 0x20u;
        const bool digit = base <= 10 ? folded >= u'0' && folded < u'0' + static_cast<unsigned>(base)
                                      : digitValue(text[pos], base) >= 0;
        if (!digit) break;
    }
    return pos > start ? pos : 0;
}

} // namespace kestal::strings

int TStringCore::leftIntegerLength(char16_t const* text, int length, int base) {
    // A negative length is measured here for its capacity rule; the engine needs no measure.
    if (text && length < 0 && text[0] != 0) length = TStringCore::length(text);
    return kestal::strings::integerLength(text, length, base);
}

int TStringCore::leftDoubleLength(char16_t const* text, int length) {
    if (!text || length == 0) return 0;
    // The walk in its states: sign, integer digits, point, fraction digits, exponent letter, sign,
    // exponent digits. The end of the text stops it before any state looks at a unit: kept on
    // purpose, the tests for missing digits therefore need a unit behind them (".", "1e" and "1e+"
    // measure whole, ".x" measures 0 and "1ex" 1).
    auto atEnd = [&](int i) { return text[i] == 0 || (length >= 0 && i >= length); };
    auto isSign = [](char16_t unit) { return unit == u'+' || unit == u'-'; };
    auto digitsFrom = [&](int i) {
        while ((length < 0 || i < length) && kestal::strings::isDigitUnit(text[i])) // NUL is no digit
            ++i;
        return i;
    };
    int pos = 0;
    if (atEnd(pos)) return pos;
    if (isSign(text[pos])) ++pos;
    const int integerStart = pos;
    pos = digitsFrom(pos);
    if (atEnd(pos)) return pos;
    const int integerEnd = pos;
    if (text[pos] == u'.') ++pos;
    const int fractionStart = pos;
    pos = digitsFrom(pos);
    if (atEnd(pos)) return pos;
    if (integerEnd == integerStart && pos == fractionStart) return 0;
    const int mantissaEnd = pos;
    if ((text[pos] & ~0x20) != u'E') return pos; // any unit that equals 'E' with bit 0x20 cleared
    ++pos;
    if (atEnd(pos)) return pos;
    if (isSign(text[pos])) ++pos;
    const int exponentStart = pos;
    pos = digitsFrom(pos);
    if (atEnd(pos)) return pos;
    return pos == exponentStart ? mantissaEnd : pos; // an exponent without digits is left out
}
