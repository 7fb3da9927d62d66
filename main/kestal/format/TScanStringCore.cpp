// The string scanner: measures over zero-terminated text, and reads and skips that move the cursor
// by what the measures found. Every measure stops at the first unit that ends its field, never
// walks the rest of the text, and allocates nothing.
#include "kestal/errors/LogicAssertSites.h"
#include "kestal/errors/Raise.h"
#include "kestal/strings/NumberMeasures.h"
#include "kestal/strings/SetSearch.h"
#include "kestal/strings/Units.h"

#include <kestal/TScanStringCore.h>
#include <string_view>

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
    static constexpr std::u16string_view kSpellings[] = {u"1", u"0", u"true", u"false", u"yes", u"no"};
    // Kept on purpose: no end-of-word test, so "10" measures 1 and leaves the "0".
    for (std::u16string_view spelling : kSpellings) {
        const int units = static_cast<int>(spelling.size());
        if (TStringCore::compareN(s, spelling.data(), units, TStringCore::CaseInsensitive) == 0) return units;
    }
    raise(kBool);
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
    int n = 0;
    while (s[n] != u'\n' && s[n] != 0)
        ++n;
    return n;
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
    text.assign(cursor(), units); // keeps the output's block when it is big enough and not shared
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
