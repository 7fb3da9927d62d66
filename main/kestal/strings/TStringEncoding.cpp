// TStringCore and other encodings: Latin-1, Latin-9, the local 8-bit encoding through ICU's default
// converter, UTF-16, UTF-32 and wchar_t, the standard string types, and the byte order mark.
//
// The legacy conversions are deliberately not symmetrical (NULs, loss reports, surrogate pairs);
// callers depend on each difference, so none of them is evened out here.
#include "kestal/strings/Units.h"

#include <climits>
#include <cstring>
#include <kestal/CodePoint.h>
#include <kestal/TMalloc.h>
#include <kestal/TStringCore.h>
#include <kestal/Unicode.h>
#include <memory>
#include <unicode/ucnv.h>

namespace {

// The eight ISO 8859-15 bytes that differ from ISO 8859-1, with their units.
struct Latin9Pair {
    unsigned char byte;
    char16_t unit;
};
constexpr Latin9Pair s_latin9conv[8] = {
    {0xA4, 0x20AC}, {0xA6, 0x0160}, {0xA8, 0x0161}, {0xB4, 0x017D},
    {0xB8, 0x017E}, {0xBC, 0x0152}, {0xBD, 0x0153}, {0xBE, 0x0178},
};

// Bytes of a zero-terminated text as an int; beyond int the string could not hold it anyway.
int terminatedBytes(char const* text) {
    const std::size_t n = std::strlen(text);
    if (n > static_cast<std::size_t>(INT_MAX)) throw TStringCore::CapacityException();
    return static_cast<int>(n);
}

// A standard container's size as a length argument; refused before any unit is read.
int checkedLength(std::size_t size) {
    if (size > static_cast<std::size_t>(INT_MAX)) throw TStringCore::CapacityException();
    return static_cast<int>(size);
}

struct ConverterCloser {
    void operator()(UConverter* converter) const noexcept { ucnv_close(converter); }
};
using Converter = std::unique_ptr<UConverter, ConverterCloser>;

// ICU's default converter, opened per call: converters are not thread-safe, and sharing one would
// need a lock. The status is not looked at; a null converter tells the failure.
Converter openDefaultConverter() {
    UErrorCode status = U_ZERO_ERROR;
    return Converter(ucnv_open(nullptr, &status));
}

struct FreeWithTFree {
    void operator()(char16_t* block) const noexcept { TFree(block); }
};

} // namespace

// ---- Latin-1 and Latin-9 -------------------------------------------------------------------------

TStringCore TStringCore::fromLatin1(char const* text, int length) {
    TStringCore result; // one named result on every path, so that it is built in place
    if (!text || length == 0) return result;
    if (length < 0) length = terminatedBytes(text);
    // Short text goes straight into the inline units: this is the hot path of legacy input.
    char16_t* out = length < InlineCapacity ? result.m_inline : result.resize(length);
    auto const* bytes = reinterpret_cast<unsigned char const*>(text);
    for (int i = 0; i < length; ++i)
        out[i] = bytes[i];
    if (length < InlineCapacity) {
        result.m_shortSize = static_cast<std::int16_t>(length);
        result.m_inline[length] = 0;
    }
    return result;
}

TStringCore TStringCore::fromLatin1(std::string_view text) {
    return fromLatin1(text.data(), checkedLength(text.size()));
}

TStringCore TStringCore::fromLatin9(char const* text, int length) {
    if (!text || length == 0) return {};
    if (length < 0) length = terminatedBytes(text);
    if (length >= MaxCapacity) throw CapacityException();
    // A zeroed work buffer read back as zero-terminated text: a NUL byte ends the result, unlike
    // fromLatin1. Kept on purpose; callers rely on the cut.
    std::unique_ptr<char16_t, FreeWithTFree> work(
        static_cast<char16_t*>(TMalloc((static_cast<std::size_t>(length) + 1) * sizeof(char16_t))));
    if (!work) throw OutOfMemoryException();
    char16_t* units = work.get();
    units[length] = 0; // every unit before it is written below
    auto const* bytes = reinterpret_cast<unsigned char const*>(text);
    for (int i = 0; i < length; ++i) {
        const unsigned char byte = bytes[i];
        units[i] = byte;
        if (byte < 0xA4 || byte > 0xBE) continue; // the table's range; most text never enters
        for (Latin9Pair const& pair : s_latin9conv)
            if (pair.byte == byte) {
                units[i] = pair.unit;
                break;
            }
    }
    return TStringCore(units, -1);
}

TStringCore TStringCore::fromLatin9(std::string_view text) {
    return fromLatin9(text.data(), checkedLength(text.size()));
}

std::string TStringCore::toLatin1(bool* lossy) const {
    if (lossy) *lossy = false;
    const int n = size();
    if (n == 0) return {};
    std::string result(static_cast<std::size_t>(n), '\0');
    char16_t const* units = constData();
    char* out = result.data();
    // Narrow every unit and watch for wide ones in one simple pass, which vectorises; only text
    // with a loss takes the second pass that writes the "?".
    char16_t wide = 0; // unit-wide lanes: a wider accumulator costs an unpack per vector
    for (int i = 0; i < n; ++i) {
        wide |= units[i];
        out[i] = static_cast<char>(units[i]);
    }
    const bool lost = wide > 0xFF;
    if (lost) {
        for (int i = 0; i < n; ++i) // each unit of a pair is a loss of its own
            if (units[i] > 0xFF) out[i] = '?';
    }
    if (lost && lossy) *lossy = true;
    return result;
}

std::string TStringCore::toLatin9(bool* lossy) const {
    if (lossy) *lossy = false;
    const int n = size();
    if (n == 0) return {};
    // Latin-1 by code point, not the inverse of fromLatin9: U+20AC and the other seven letters give
    // "?". The full-size, NUL-filled result without loss and the cut with loss are both kept on
    // purpose.
    std::string result(static_cast<std::size_t>(n), '\0');
    char16_t const* units = constData();
    if (units[0] == 0) return result;
    bool lost = false;
    std::size_t out = 0;
    for (int i = 0; units[i] != 0;) {
        char16_t point[2];
        int written = 0;
        i += CodePoint::TCodeUnitToUtf16(units + i, point, written, 2);
        if (written == 1 && point[0] < 0x100) {
            result[out++] = static_cast<char>(point[0]);
        } else {
            result[out++] = '?'; // one for a pair, against two in toLatin1
            lost = true;
        }
    }
    if (lost) {
        result.resize(std::strlen(result.c_str()));
        if (lossy) *lossy = true;
    }
    return result;
}

// ---- Local 8-bit ---------------------------------------------------------------------------------

TStringCore TStringCore::fromLocal8Bit(char const* text, int length) {
    TStringCore result;
    if (!text || length == 0) return result;
    if (length < 0) length = terminatedBytes(text);
    char16_t* out = result.resize(length);
    const Converter converter = openDefaultConverter();
    if (!converter) {
        result.clear();
        return result;
    }
    char const* source = text;
    char const* const end = text + length;
    int written = 0;
    // One code point per call, so that the first converter error ends the text where it stands.
    while (source < end) {
        UErrorCode status = U_ZERO_ERROR;
        const UChar32 c = ucnv_getNextUChar(converter.get(), &source, end, &status);
        if (status != U_ZERO_ERROR) break;
        if (c == 0x1A && source == end) break; // a trailing end-of-file mark is dropped
        // One unit per byte is all a byte-oriented encoding can need; the test only guards memory.
        if (written >= length) break;
        const char32_t point = static_cast<char32_t>(c);
        if (CodePoint::Utf32ToTCodeUnit(&point, out, written, length) == 0) break;
    }
    result.resize(written);
    return result;
}

TStringCore TStringCore::fromLocal8Bit(std::string_view text) {
    return fromLocal8Bit(text.data(), checkedLength(text.size()));
}

std::string TStringCore::toLocal8Bit(bool* lossy) const {
    if (lossy) *lossy = false; // and never true: the converter's substitutions are not reported
    const int n = size();
    if (n == 0) return {};
    const Converter converter = openDefaultConverter();
    if (!converter) return {};
    // Four bytes a unit covers every encoding ICU has; ICU's capacity is a 32-bit count.
    const std::size_t room = 4 * static_cast<std::size_t>(n) + 4;
    const int32_t capacity =
        room > static_cast<std::size_t>(INT32_MAX) ? INT32_MAX : static_cast<int32_t>(room);
    std::string result(static_cast<std::size_t>(capacity), '\0');
    UErrorCode status = U_ZERO_ERROR;
    ucnv_fromUChars(converter.get(), result.data(), capacity, constData(), n, &status);
    // The first NUL byte ends the text, a NUL unit of the string included.
    result.resize(std::strlen(result.c_str()));
    return result;
}

// ---- UTF-16, UTF-32 and wchar_t ------------------------------------------------------------------

TStringCore TStringCore::fromUtf16(char16_t const* text, int length) {
    return TStringCore(text, length);
}

TStringCore TStringCore::fromStdU16String(std::u16string const& text) {
    return TStringCore(text.data(), checkedLength(text.size()));
}

TStringCore TStringCore::fromUtf32(char32_t const* text, int length) {
    if (!text || length == 0) return {};
    const std::size_t n =
        length < 0 ? std::char_traits<char32_t>::length(text) : static_cast<std::size_t>(length);
    if (n == 0) return {};
    if (2 * n >= static_cast<std::size_t>(MaxCapacity)) throw CapacityException();
    TStringCore result;
    result.reserve(static_cast<int>(2 * n));
    // The whole capacity, terminator's place included: ICU refuses a destination it fills exactly,
    // and a text of supplementary code points fills 2 * n units.
    const int written = Unicode::Utf32ToUtf16(text, static_cast<int>(n), result.str(), result.capacity());
    result.resize(written);
    return result;
}

TStringCore TStringCore::fromWChar(wchar_t const* text, int length) {
    return fromUtf32(reinterpret_cast<char32_t const*>(text), length);
}

TStringCore TStringCore::fromStdWString(std::wstring const& text) {
    return fromUtf32(reinterpret_cast<char32_t const*>(text.data()), checkedLength(text.size()));
}

std::string TStringCore::toStdString() const {
    return Unicode::toStdString(constData(), static_cast<std::size_t>(size()));
}

std::u16string TStringCore::toStdU16String() const {
    return Unicode::toStdU16String(constData(), static_cast<std::size_t>(size()));
}

std::wstring TStringCore::toStdWString() const {
    return Unicode::toStdWString(constData(), static_cast<std::size_t>(size()));
}

int TStringCore::toWCharArray(wchar_t* buffer, int capacity) const {
    // The Unicode layer takes the capacity unsigned: a negative one must not reach it.
    if (capacity < 0) return -1;
    return static_cast<int>(Unicode::toWCharArray(constData(), static_cast<std::size_t>(size()), buffer,
                                                  static_cast<std::size_t>(capacity))) -
           1;
}

std::vector<wchar_t> TStringCore::toWCharVector() const {
    // Sized by code units and never cut: pairs leave zeros at the end.
    const std::size_t n = static_cast<std::size_t>(size()) + 1;
    std::vector<wchar_t> result(n, L'\0');
    Unicode::toWCharArray(constData(), n - 1, result.data(), n);
    return result;
}

// ---- Byte order mark -----------------------------------------------------------------------------

TStringCore& TStringCore::prependBOM() {
    if (constData()[0] != 0xFEFF) prepend(char16_t{0xFEFF});
    return *this;
}

TStringCore& TStringCore::removeBOM() {
    const int n = size();
    if (!hasBOM()) return *this;
    int units = 0;
    CodePoint::GetCodePoint(constData(), &units);
    if (units >= n) {
        TStringManager::resize(0);
        return *this;
    }
    char16_t* text = str(); // the only step that can fail, before anything moves
    kestal::strings::moveUnits(text, text + units, n - units + 1);
    TStringManager::resize(n - units);
    return *this;
}
