// The string scanner: measures over zero-terminated text, and reads and skips that move the cursor
// by what the measures found. Every measure stops at the first unit that ends its field, never
// walks the rest of the text, and allocates nothing.
#include "kestal/errors/LogicAssertSites.h"
#include "kestal/errors/Raise.h"
#include "kestal/strings/NumberMeasures.h"
#include "kestal/strings/SetSearch.h"
#include "kestal/strings/Units.h"

#include <cstdint>
#include <cstring>
#include <kestal/TScanStringCore.h>
#include <string_view>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace {

struct Failure {
    unsigned int code;
    char16_t const* message;
};

// Kept on purpose: "lengthNewLine" with its capital and "readDouble" for readFloat(double&) are
// the wording callers match.
constexpr Failure kEnd{0x57D65295, u"TScanStringCore::end(): Expected null character."};
constexpr Failure kBool{0xE9FB330D, u"TScanStringCore::lengthBool: Boolean value not found."};
constexpr Failure kInt{0x3AD2C18B, u"TScanStringCore::lengthInt: Integer value not found."};
constexpr Failure kFloat{0xE601166D, u"TScanStringCore::lengthFloat: Float value not found."};
constexpr Failure kNewline{0xB44D5F02, u"TScanStringCore::lengthNewLine: No new line found."};
constexpr Failure kDouble{0x930719DA, u"TScanStringCore::readDouble: Float value not found."};
constexpr Failure kFloatRange{0x85FD6267, u"TScanStringCore::readFloat: Float value not found."};
constexpr Failure kIntRange{0x6C2E9B14, u"TScanStringCore::readInt: Integer value out of range."};
constexpr Failure kSkip{0x9DAC629F, u"TScanStringCore::skip: String mismatch."};

// Messages only (plain text), status UNKNOWN.
[[noreturn]] void raise(unsigned int code, char16_t const* message,
                        TError::ErrorSource source = TError::Client) {
    kestal::detail::Raise<TScanStringCore::Exception>(code, source, grpc::StatusCode::UNKNOWN, message);
}
[[noreturn]] void raise(Failure const& failure, TError::ErrorSource source = TError::Client) {
    raise(failure.code, failure.message, source);
}

// The to... member of an integer type, as readConverted calls it.
template <class T>
auto toInteger(T (TStringCore::*member)(bool*, int) const, int base) {
    return [member, base](TStringCore const& text, bool* ok) { return (text.*member)(ok, base); };
}

#if defined(__SSE2__)
// Lines are found sixteen units at a time. An aligned 32-byte load never crosses a page boundary,
// so the chunk that holds the terminator may be read whole, bytes behind it included; the address
// and thread sanitizers are told so, as they would flag those bytes.

// One bit per byte of the aligned chunk, set on both bytes of each LF or NUL.
__attribute__((no_sanitize("address", "thread"))) unsigned int lineStops(__m128i const* chunk) noexcept {
    const __m128i lineFeed = _mm_set1_epi16(u'\n');
    const __m128i zero = _mm_setzero_si128();
    const __m128i low = _mm_load_si128(chunk), high = _mm_load_si128(chunk + 1);
    const __m128i lowStops = _mm_or_si128(_mm_cmpeq_epi16(low, lineFeed), _mm_cmpeq_epi16(low, zero));
    const __m128i highStops = _mm_or_si128(_mm_cmpeq_epi16(high, lineFeed), _mm_cmpeq_epi16(high, zero));
    return static_cast<unsigned int>(_mm_movemask_epi8(lowStops)) |
           static_cast<unsigned int>(_mm_movemask_epi8(highStops)) << 16;
}

// Units before the first LF or NUL.
int lineLength(char16_t const* s) noexcept {
    const auto address = reinterpret_cast<std::uintptr_t>(s);
    auto const* chunk = reinterpret_cast<__m128i const*>(address & ~std::uintptr_t{31});
    // Bytes of the first chunk in front of `s` are masked off.
    unsigned int found = lineStops(chunk) & (~0u << (address & 31));
    while (found == 0)
        found = lineStops(chunk += 2);
    auto const* stop = reinterpret_cast<char const*>(chunk) + __builtin_ctz(found);
    return static_cast<int>((stop - reinterpret_cast<char const*>(s)) / 2);
}
#else
int lineLength(char16_t const* s) noexcept {
    int n = 0;
    while (s[n] != u'\n' && s[n] != 0)
        ++n;
    return n;
}
#endif

// Units before the first zero unit.
int unitsBeforeEnd(char16_t const* s) noexcept {
    int n = 0;
    while (s[n])
        ++n;
    return n;
}

} // namespace

// ---- Measures ----------------------------------------------------------------------------------

int TScanStringCore::lengthBool(char16_t const* s) {
    // The spellings in their order of trial: "1", "0", "true", "false", "yes", "no", each compared
    // as compareN ignoring case compares. Their first units differ, and no unit but the ASCII
    // capital folds to any of them, so the first unit picks the one spelling that can match. Kept
    // on purpose: no end-of-word test, so "10" measures 1 and leaves the "0".
    std::u16string_view spelling;
    switch (s[0] | 0x20) {
    case u'1':
        spelling = u"1";
        break;
    case u'0':
        spelling = u"0";
        break;
    case u't':
        spelling = u"true";
        break;
    case u'f':
        spelling = u"false";
        break;
    case u'y':
        spelling = u"yes";
        break;
    case u'n':
        spelling = u"no";
        break;
    default:
        raise(kBool);
    }
    const int units = static_cast<int>(spelling.size());
    for (int i = 0; i < units; ++i) {
        const char16_t unit = s[i], wanted = spelling[i];
        if (unit == wanted || (wanted >= u'a' && unit == wanted - 0x20)) continue;
        // Past ASCII a unit may still fold to the letter (U+017F to 's'): compareN decides.
        if (unit < 0x80 ||
            TStringCore::compareN(s, spelling.data(), units, TStringCore::CaseInsensitive) != 0)
            raise(kBool);
        break;
    }
    return units;
}

int TScanStringCore::lengthInt(char16_t const* s, int base) {
    // The engine itself: the public form with length -1 would measure the rest of the text first.
    const int units = kestal::strings::integerLength(s, -1, base);
    if (units == 0) raise(kInt);
    return units;
}

int TScanStringCore::lengthFloat(char16_t const* s) {
    const int units = TStringCore::leftDoubleLength(s, -1);
    if (units == 0) raise(kFloat);
    return units;
}

int TScanStringCore::lengthLine(char16_t const* s) noexcept {
    // Kept on purpose: only LF ends a line, so the CR of CR LF stays in it.
    return lineLength(s);
}

int TScanStringCore::lengthNewline(char16_t const* s) {
    const char16_t first = s[0];
    if (first == 0) return 0; // the end of the text ends the last line
    if (first != u'\n' && first != u'\r') raise(kNewline);
    // CR LF and LF CR are one ending each; CR CR and LF LF are two.
    const char16_t other = first == u'\n' ? u'\r' : u'\n';
    return s[1] == other ? 2 : 1;
}

int TScanStringCore::lengthNonWhitespace(char16_t const* s) noexcept {
    int n = 0;
    while (s[n] != 0 && !kestal::strings::isSpaceUnit(s[n]))
        ++n;
    return n;
}

int TScanStringCore::lengthWhitespace(char16_t const* s) noexcept {
    int n = 0;
    while (kestal::strings::isSpaceUnit(s[n])) // the zero unit is no space
        ++n;
    return n;
}

int TScanStringCore::lengthString(char16_t const* s, int count) noexcept {
    // Kept on purpose: the count is unsigned here, so a negative one reads up to the NUL.
    const auto limit = static_cast<unsigned int>(count);
    unsigned int n = 0;
    while (n < limit && s[n] != 0)
        ++n;
    return static_cast<int>(n);
}

int TScanStringCore::lengthAnyOf(char16_t const* s, char16_t const* set) {
    const int stop = TStringCore::findOneNotOf(s, set, 0);
    return stop >= 0 ? stop : unitsBeforeEnd(s); // -1: every unit matched, so that walk is measured
}

int TScanStringCore::lengthAnyNotOf(char16_t const* s, char16_t const* set) {
    // The engine on zero-terminated text: the public static form measures the whole text first.
    const int stop = kestal::strings::findOneOf(s, -1, set, TStringCore::length(set), 0);
    return stop >= 0 ? stop : unitsBeforeEnd(s);
}

// ---- Reads -------------------------------------------------------------------------------------

TScanStringCore& TScanStringCore::readUnits(TStringCore& text, int units) {
    // The output keeps its own block when that is big enough; a shared block is let go first, so
    // that nothing of the old text is copied.
    if (text.isShared()) text.clear();
    std::memcpy(text.resize(units), cursor(), static_cast<std::size_t>(units) * sizeof(char16_t));
    return advance(units);
}

TScanStringCore& TScanStringCore::readMatching(TStringCore& text, int (*measure)(char16_t const*)) {
    return readUnits(text, measure(cursor()));
}

template <class T, class Convert>
TScanStringCore& TScanStringCore::readConverted(T& value, int units, Convert convert, unsigned int code,
                                                char16_t const* message) {
    const TStringCore text(cursor(), units); // inline up to 14 units
    bool ok = true;
    value = convert(text, &ok);
    advance(units);
    // Kept on purpose: the value is stored and the cursor has moved when this raises.
    if (!ok) raise(code, message);
    return *this;
}

TScanStringCore& TScanStringCore::readBool(bool& value) {
    const int units = lengthBool(cursor());
    // The measure vouched for the spelling; its first unit decides.
    const char16_t first = *cursor();
    value = first == u'1' || (first | 0x20) == u't' || (first | 0x20) == u'y';
    return advance(units);
}

TScanStringCore& TScanStringCore::readFloat(double& value) {
    return readConverted(
        value, lengthFloat(cursor()), [](TStringCore const& text, bool* ok) { return text.toDouble(ok); },
        kDouble.code, kDouble.message);
}

TScanStringCore& TScanStringCore::readFloat(float& value) {
    return readConverted(
        value, lengthFloat(cursor()), [](TStringCore const& text, bool* ok) { return text.toFloat(ok); },
        kFloatRange.code, kFloatRange.message);
}

TScanStringCore& TScanStringCore::readInt(short& value, int base) {
    return readConverted(value, lengthInt(cursor(), base), toInteger(&TStringCore::toShort, base),
                         kIntRange.code, kIntRange.message);
}
TScanStringCore& TScanStringCore::readInt(unsigned short& value, int base) {
    return readConverted(value, lengthInt(cursor(), base), toInteger(&TStringCore::toUShort, base),
                         kIntRange.code, kIntRange.message);
}
TScanStringCore& TScanStringCore::readInt(int& value, int base) {
    return readConverted(value, lengthInt(cursor(), base), toInteger(&TStringCore::toInt, base),
                         kIntRange.code, kIntRange.message);
}
TScanStringCore& TScanStringCore::readInt(unsigned int& value, int base) {
    return readConverted(value, lengthInt(cursor(), base), toInteger(&TStringCore::toUInt, base),
                         kIntRange.code, kIntRange.message);
}
TScanStringCore& TScanStringCore::readInt(long& value, int base) {
    return readConverted(value, lengthInt(cursor(), base), toInteger(&TStringCore::toLong, base),
                         kIntRange.code, kIntRange.message);
}
TScanStringCore& TScanStringCore::readInt(unsigned long& value, int base) {
    return readConverted(value, lengthInt(cursor(), base), toInteger(&TStringCore::toULong, base),
                         kIntRange.code, kIntRange.message);
}
TScanStringCore& TScanStringCore::readInt(long long& value, int base) {
    return readConverted(value, lengthInt(cursor(), base), toInteger(&TStringCore::toLongLong, base),
                         kIntRange.code, kIntRange.message);
}
TScanStringCore& TScanStringCore::readInt(unsigned long long& value, int base) {
    return readConverted(value, lengthInt(cursor(), base), toInteger(&TStringCore::toULongLong, base),
                         kIntRange.code, kIntRange.message);
}

TScanStringCore& TScanStringCore::readLine(TStringCore& line) {
    readUnits(line, lengthLine(cursor()));
    return advance(lengthNewline(cursor())); // at LF or NUL: never raises
}

TScanStringCore& TScanStringCore::readNonWhitespace(TStringCore& word) {
    return readMatching(word, &lengthNonWhitespace);
}

TScanStringCore& TScanStringCore::readString(TStringCore& text, int count) {
    return readUnits(text, lengthString(cursor(), count));
}

TScanStringCore& TScanStringCore::readAnyOf(TStringCore& text, char16_t const* set) {
    return readUnits(text, lengthAnyOf(cursor(), set));
}

TScanStringCore& TScanStringCore::readAnyNotOf(TStringCore& text, char16_t const* set) {
    return readUnits(text, lengthAnyNotOf(cursor(), set));
}

// ---- Skips -------------------------------------------------------------------------------------

TScanStringCore& TScanStringCore::skip(char16_t const* literal) {
    if (!literal) return *this;
    char16_t const* at = cursor();
    int n = 0;
    // A NUL in the text differs from every unit of the literal, so the walk stops at the text's end.
    for (; literal[n] != 0; ++n)
        if (at[n] != literal[n]) raise(kSkip);
    return advance(n);
}

TScanStringCore& TScanStringCore::skipBool() {
    return advance(lengthBool(cursor()));
}

TScanStringCore& TScanStringCore::skipFloat() {
    return advance(lengthFloat(cursor()));
}

TScanStringCore& TScanStringCore::skipInt(int base) {
    return advance(lengthInt(cursor(), base));
}

TScanStringCore& TScanStringCore::skipNewline() {
    return advance(lengthNewline(cursor()));
}

TScanStringCore& TScanStringCore::skipLine() {
    advance(lengthLine(cursor()));
    return advance(lengthNewline(cursor()));
}

TScanStringCore& TScanStringCore::skipNonWhitespace() {
    return advance(lengthNonWhitespace(cursor()));
}

TScanStringCore& TScanStringCore::skipWhitespace() {
    return advance(lengthWhitespace(cursor()));
}

TScanStringCore& TScanStringCore::skipString(int count) {
    return advance(lengthString(cursor(), count));
}

TScanStringCore& TScanStringCore::skipAnyOf(char16_t const* set) {
    return advance(lengthAnyOf(cursor(), set));
}

TScanStringCore& TScanStringCore::skipAnyNotOf(char16_t const* set) {
    return advance(lengthAnyNotOf(cursor(), set));
}

// ---- Cursor ------------------------------------------------------------------------------------

void TScanStringCore::reset() {
    if (!m_input) kestal::detail::RaiseLogicAssert(kestal::detail::LogicAsserts::ScanStringNullInput);
    m_position = 0;
}

void TScanStringCore::end() const {
    // Kept on purpose: this one failure names the System as its source.
    if (*cursor() != 0) raise(kEnd, TError::System);
}

// ---- Exception ---------------------------------------------------------------------------------

TScanStringCore::Exception::Exception(TStringCore const& message, TError::ErrorInfo const& info)
    : VelmoraException(message, info) {}
TScanStringCore::Exception::Exception(Exception const& other) = default;
TScanStringCore::Exception& TScanStringCore::Exception::operator=(Exception const& other) = default;
TScanStringCore::Exception::~Exception() = default;

TScanStringCore::Exception* TScanStringCore::Exception::Clone() const {
    return new Exception(*this);
}

void TScanStringCore::Exception::Throw() const {
    throw *this;
}
