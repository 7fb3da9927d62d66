// Whole-buffer UTF conversions and measures, code point counts over UTF-16, and the conversions to
// standard strings. ICU does UTF-16 to UTF-8/32 and back; the own decoder and encoder do UTF-8 to
// UTF-32 and UTF-32 to UTF-8, and the UTF-8 measures follow the own decoder.
#include "kestal/strings/AsciiRuns.h"
#include "kestal/strings/FastPaths.h"
#include "kestal/strings/UtfSteps.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <kestal/CodePoint.h>
#include <kestal/Unicode.h>
#include <locale>
#include <sstream>
#include <string>
#include <unicode/ustring.h>

using namespace kestal::strings;

namespace {

static_assert(sizeof(wchar_t) == sizeof(char32_t), "wchar_t holds UTF-32 here");
static_assert(sizeof(UChar32) == sizeof(char32_t));

[[noreturn]] void throwMessage(std::ostringstream const& message) {
    throw TStringCore::Exception(TStringCore::fromStdString(message.str()));
}

std::ostringstream messageStream() {
    std::ostringstream out;
    out.imbue(std::locale::classic()); // plain digits whatever the global locale
    return out;
}

template <class Unit>
void ThrowOnSourceNullptr(Unit const* source, char const* function) {
    if (source) return;
    auto message = messageStream();
    message << "String source is nullptr, encountered in " << function;
    throwMessage(message);
}

void ThrowOnNoLength(int length, char const* function) {
    if (length >= 0) return;
    auto message = messageStream();
    message << "Nonsense string length: " << length << " encountered in " << function;
    throwMessage(message);
}

[[noreturn]] void raiseIcuError(UErrorCode code, char const* function, char const* icuFunction) {
    auto message = messageStream();
    message << "ICU error " << static_cast<int>(code) << " encountered while " << function
            << " was trying to use " << icuFunction;
    throwMessage(message);
}

// Warnings count: a destination filled to the last unit has no terminator and is refused.
void ThrowOnIcuError(UErrorCode code, char const* function, char const* icuFunction) {
    if (code != U_ZERO_ERROR) raiseIcuError(code, function, icuFunction);
}

// A preflight with no buffer must report overflow; anything else, success included, is a failure.
void ThrowOnNonOverflowError(UErrorCode code, char const* function, char const* icuFunction) {
    if (code != U_BUFFER_OVERFLOW_ERROR) raiseIcuError(code, function, icuFunction);
}

template <class Unit>
void checkArguments(Unit const* source, int length, char const* function) {
    ThrowOnSourceNullptr(source, function);
    ThrowOnNoLength(length, function);
}

// Zero-terminated length for the forms without one; a null source is left to the argument tests.
template <class Unit>
int terminatedLength(Unit const* source) {
    if (!source) return 0;
    const std::size_t n = std::char_traits<Unit>::length(source);
    if (n > static_cast<std::size_t>(INT_MAX)) throw TStringCore::CapacityException();
    return static_cast<int>(n);
}

int toIntLength(std::size_t length) {
    if (length > static_cast<std::size_t>(INT_MAX)) throw TStringCore::CapacityException();
    return static_cast<int>(length);
}

// The ICU conversions share one calling shape. With a destination, any non-zero code raises; with
// none, it is a preflight and only overflow is expected.
template <class IcuOut, class IcuIn, class Out, class In>
int convertWithIcu(void (*icu)(IcuOut*, int32_t, int32_t*, IcuIn const*, int32_t, UChar32, int32_t*,
                               UErrorCode*),
                   In const* source, int length, Out* destination, int capacity, char const* function,
                   char const* icuFunction) {
    UErrorCode code = U_ZERO_ERROR;
    int32_t written = 0;
    int32_t substitutions = 0; // asked for by the interface, not kept
    icu(reinterpret_cast<IcuOut*>(destination), destination ? capacity : 0, &written,
        reinterpret_cast<IcuIn const*>(source), length, static_cast<UChar32>(kReplacement), &substitutions,
        &code);
    if (destination)
        ThrowOnIcuError(code, function, icuFunction);
    else
        ThrowOnNonOverflowError(code, function, icuFunction);
    return written;
}

// ICU's functions return their destination; these adapters fit them to one shape.
void icuFromUtf8(UChar* d, int32_t c, int32_t* n, char const* s, int32_t l, UChar32 sub, int32_t* k,
                 UErrorCode* e) {
    u_strFromUTF8WithSub(d, c, n, s, l, sub, k, e);
}
void icuToUtf8(char* d, int32_t c, int32_t* n, UChar const* s, int32_t l, UChar32 sub, int32_t* k,
               UErrorCode* e) {
    u_strToUTF8WithSub(d, c, n, s, l, sub, k, e);
}
void icuToUtf32(UChar32* d, int32_t c, int32_t* n, UChar const* s, int32_t l, UChar32 sub, int32_t* k,
                UErrorCode* e) {
    u_strToUTF32WithSub(d, c, n, s, l, sub, k, e);
}
void icuFromUtf32(UChar* d, int32_t c, int32_t* n, UChar32 const* s, int32_t l, UChar32 sub, int32_t* k,
                  UErrorCode* e) {
    u_strFromUTF32WithSub(d, c, n, s, l, sub, k, e);
}

int preflightUtf16ToUtf8(char16_t const* source, int length) {
    return convertWithIcu(icuToUtf8, source, length, static_cast<char*>(nullptr), 0, "Utf16ToUtf8",
                          "u_strToUTF8WithSub");
}

int preflightUtf16ToUtf32(char16_t const* source, int length) {
    return convertWithIcu(icuToUtf32, source, length, static_cast<char32_t*>(nullptr), 0, "Utf16ToUtf32",
                          "u_strToUTF32WithSub");
}

unsigned char const* bytes(char const* text) noexcept {
    return reinterpret_cast<unsigned char const*>(text);
}

[[noreturn]] void raiseUnprocessed(char const* function) {
    auto message = messageStream();
    message << "Error unable to process the entire source string in function " << function;
    throwMessage(message);
}

[[noreturn]] void raiseInsufficientCapacity(int capacity, char const* function) {
    auto message = messageStream();
    message << "Error insufficient destinationCapacity (" << capacity << ") was passed into " << function
            << ".";
    throwMessage(message);
}

// walkUtf8 decoding into at most `room` values at `out`, counting on from `written`; returns the
// bytes taken.
int decodeByWalk(unsigned char const* text, int length, char32_t* out, int room, int& written) noexcept {
    return walkUtf8(
        text, length,
        [&](unsigned char const* run, int count) {
            if (count > room - written) count = room - written;
            for (int k = 0; k < count; ++k)
                out[written + k] = run[k];
            written += count;
            return count;
        },
        [&](Utf8Step const& step) {
            if (written >= room) return false;
            out[written++] = step.value;
            return true;
        });
}

// The decoder of Utf8ToUtf32: walkUtf8's walk written out with the common sequences first. Writes
// at most `room` values of `length` bytes to `out`; returns the bytes taken and the values in
// `written`. Bytes and values are only counted down in blocks that cannot overrun either end, so
// the common steps test nothing but their own bytes.
int decodeUtf8(unsigned char const* text, int length, char32_t* out, int room, int& written) noexcept {
    auto continuation = [](unsigned byte) { return (byte & 0xC0) == 0x80; };
    int i = 0, w = 0;
    for (;;) {
        // Each step takes at most four bytes and writes one value.
        int steps = std::min((length - i) / 4, room - w);
        if (steps <= 0) break;
        for (; steps > 0; --steps) {
            const unsigned lead = text[i];
            if (lead < 0x80) {
                out[w++] = lead;
                i += 1;
                continue;
            }
            const unsigned b1 = text[i + 1];
            if (lead >= 0xC0 && lead < 0xE0 && continuation(b1)) {
                out[w++] = (lead & 0x1F) << 6 | (b1 & 0x3F);
                i += 2;
                continue;
            }
            const unsigned b2 = text[i + 2];
            if (lead >= 0xE0 && lead < 0xF0 && continuation(b1) && continuation(b2)) {
                out[w++] = (lead & 0x0F) << 12 | (b1 & 0x3F) << 6 | (b2 & 0x3F);
                i += 3;
                continue;
            }
            const int expected = utf8LeadLength(static_cast<unsigned char>(lead));
            const Utf8Step step =
                expected < 2 ? Utf8Step{1, kReplacement, false} : decodeUtf8Sequence(text + i, expected);
            out[w++] = step.value;
            i += step.length;
        }
    }
    written = w;
    return i + decodeByWalk(text + i, length - i, out, room, written); // the last bytes
}

} // namespace

namespace Unicode {

// ---- Conversions --------------------------------------------------------------------------------

int Utf8ToUtf16(char const* source, int length, char16_t* destination, int capacity) {
    checkArguments(source, length, "Utf8ToUtf16");
    if (!destination) return MeasureUtf8ToUtf16(source, length);
    int ascii = 0;
    if (fastPathsEnabled() && capacity > 0) {
        // The ASCII run ahead of ICU, short of the last unit of the destination: ICU then sees
        // what it would have seen at that point of the whole text, and fills, terminates or
        // overflows the rest of the destination just the same.
        ascii = widenAsciiPrefix(source, std::min(length, capacity - 1), destination);
        if (ascii == length) {
            destination[ascii] = 0;
            return ascii;
        }
    }
    return ascii + convertWithIcu(icuFromUtf8, source + ascii, length - ascii, destination + ascii,
                                  capacity - ascii, "Utf8ToUtf16", "u_strFromUTF8WithSub");
}

int Utf8ToUtf32(char const* source, int length, char32_t* destination, int capacity) {
    checkArguments(source, length, "Utf8ToUtf32");
    if (!destination) return MeasureUtf8ToUtf32(source, length);
    if (length < 1) {
        destination[0] = 0;
        return 0;
    }
    if (capacity < 2) raiseUnprocessed("Utf8ToUtf32");
    // Complete sequences go out as decoded: no range, overlong or surrogate test here.
    int written = 0;
    const int room = capacity - 1;
    const int taken = fastPathsEnabled() ? decodeUtf8(bytes(source), length, destination, room, written)
                                         : decodeByWalk(bytes(source), length, destination, room, written);
    if (taken < length) raiseUnprocessed("Utf8ToUtf32");
    destination[written] = 0;
    return written;
}

int Utf16ToUtf8(char16_t const* source, int length, char* destination, int capacity) {
    checkArguments(source, length, "Utf16ToUtf8");
    if (!destination) return preflightUtf16ToUtf8(source, length);
    return convertWithIcu(icuToUtf8, source, length, destination, capacity, "Utf16ToUtf8",
                          "u_strToUTF8WithSub");
}

int Utf16ToUtf32(char16_t const* source, int length, char32_t* destination, int capacity) {
    checkArguments(source, length, "Utf16ToUtf32");
    if (!destination) return preflightUtf16ToUtf32(source, length);
    return convertWithIcu(icuToUtf32, source, length, destination, capacity, "Utf16ToUtf32",
                          "u_strToUTF32WithSub");
}

int Utf32ToUtf8(char32_t const* source, int length, char* destination, int capacity) {
    checkArguments(source, length, "Utf32ToUtf8");
    if (!destination) return MeasureUtf32ToUtf8(source, length);
    if (length < 1) {
        destination[0] = 0;
        return 0;
    }
    if (capacity < 2) raiseInsufficientCapacity(capacity, "Utf32ToUtf8");
    int written = 0;
    int i = 0;
    for (; i < length && written < capacity - 1; ++i) {
        char32_t c = source[i];
        if (c < 0x80) {
            destination[written++] = static_cast<char>(c);
            continue;
        }
        if (c > 0x10FFFF) c = kReplacement;
        // Room for the continuation bytes, the lead and the terminator; as a difference, since
        // written + 3 passes INT_MAX for a capacity near it.
        if (utf8Length(c) - 1 >= capacity - 1 - written) raiseInsufficientCapacity(capacity, "Utf32ToUtf8");
        written += encodeUtf8(c, destination + written);
    }
    if (i < length) raiseInsufficientCapacity(capacity, "Utf32ToUtf8");
    destination[written] = 0;
    return written;
}

int Utf32ToUtf16(char32_t const* source, int length, char16_t* destination, int capacity) {
    checkArguments(source, length, "Utf32ToUtf16");
    if (!destination) return MeasureUtf32ToUtf16(source, length);
    return convertWithIcu(icuFromUtf32, source, length, destination, capacity, "Utf32ToUtf16",
                          "u_strFromUTF32WithSub");
}

int Utf8ToUtf16(char const* source, char16_t* destination, int capacity) {
    return Utf8ToUtf16(source, terminatedLength(source), destination, capacity);
}
int Utf8ToUtf32(char const* source, char32_t* destination, int capacity) {
    return Utf8ToUtf32(source, terminatedLength(source), destination, capacity);
}
int Utf16ToUtf8(char16_t const* source, char* destination, int capacity) {
    return Utf16ToUtf8(source, terminatedLength(source), destination, capacity);
}
int Utf16ToUtf32(char16_t const* source, char32_t* destination, int capacity) {
    return Utf16ToUtf32(source, terminatedLength(source), destination, capacity);
}
int Utf32ToUtf8(char32_t const* source, char* destination, int capacity) {
    return Utf32ToUtf8(source, terminatedLength(source), destination, capacity);
}
int Utf32ToUtf16(char32_t const* source, char16_t* destination, int capacity) {
    return Utf32ToUtf16(source, terminatedLength(source), destination, capacity);
}

// ---- Measures -----------------------------------------------------------------------------------

int MeasureUtf16ToUtf8(char16_t const* source, int length) {
    checkArguments(source, length, "MeasureUtf16ToUtf8");
    return length == 0 ? 0 : preflightUtf16ToUtf8(source, length);
}

int MeasureUtf16ToUtf32(char16_t const* source, int length) {
    checkArguments(source, length, "MeasureUtf16ToUtf32");
    return length == 0 ? 0 : preflightUtf16ToUtf32(source, length);
}

int MeasureUtf8ToUtf16(char const* source, int length) {
    checkArguments(source, length, "MeasureUtf8ToUtf16");
    int units = 0;
    walkUtf8(
        bytes(source), length, [&](unsigned char const*, int count) { return units += count, count; },
        [&](Utf8Step const& step) {
            // Decided by the form alone: a complete four-byte sequence is a pair whatever its value.
            units += step.complete && step.length == 4 ? 2 : 1;
            return true;
        });
    return units;
}

int MeasureUtf8ToUtf32(char const* source, int length) {
    checkArguments(source, length, "MeasureUtf8ToUtf32");
    int values = 0;
    walkUtf8(
        bytes(source), length, [&](unsigned char const*, int count) { return values += count, count; },
        [&](Utf8Step const&) { return ++values, true; });
    return values;
}

int MeasureUtf8ToUtf8(char const* source, int length) noexcept {
    if (!source || length < 1) return 0;
    // A bad byte counts 3, so the sum can pass INT_MAX; it stops there, as this measure raises
    // nothing. A destination of that size cannot be asked for anyway.
    std::int64_t total = 0;
    for (int i = 0; i < length && total < INT_MAX;) {
        const Utf8Step step = decodeUtf8(bytes(source) + i);
        total += step.complete ? step.length : 3;
        i += step.length;
    }
    return static_cast<int>(std::min<std::int64_t>(total, INT_MAX));
}

int MeasureUtf32ToUtf8(char32_t const* source, int length) {
    checkArguments(source, length, "MeasureUtf32ToUtf8");
    std::int64_t total = 0; // up to four bytes a value: more than an int holds
    for (int i = 0; i < length; ++i) {
        const char32_t c = source[i];
        total += c < 0x80 ? 1 : c < 0x800 ? 2 : (c >= 0x10000 && c <= 0x10FFFF) ? 4 : 3;
    }
    return toIntLength(static_cast<std::size_t>(total));
}

int MeasureUtf32ToUtf16(char32_t const* source, int length) {
    checkArguments(source, length, "MeasureUtf32ToUtf16");
    std::int64_t total = length; // a pair a value: more than an int holds
    for (int i = 0; i < length; ++i)
        total += source[i] >= 0x10000 && source[i] <= 0x10FFFF;
    return toIntLength(static_cast<std::size_t>(total));
}

int MeasureUtf16ToUtf8(char16_t const* source) {
    return MeasureUtf16ToUtf8(source, terminatedLength(source));
}
int MeasureUtf16ToUtf32(char16_t const* source) {
    return MeasureUtf16ToUtf32(source, terminatedLength(source));
}
int MeasureUtf8ToUtf16(char const* source) {
    return MeasureUtf8ToUtf16(source, terminatedLength(source));
}
int MeasureUtf8ToUtf32(char const* source) {
    return MeasureUtf8ToUtf32(source, terminatedLength(source));
}
int MeasureUtf8ToUtf8(char const* source) noexcept {
    if (!source) return 0;
    const std::size_t length = std::char_traits<char>::length(source);
    return MeasureUtf8ToUtf8(source, static_cast<int>(std::min<std::size_t>(length, INT_MAX)));
}
int MeasureUtf32ToUtf8(char32_t const* source) {
    return MeasureUtf32ToUtf8(source, terminatedLength(source));
}
int MeasureUtf32ToUtf16(char32_t const* source) {
    return MeasureUtf32ToUtf16(source, terminatedLength(source));
}

// ---- Code points in UTF-16 ----------------------------------------------------------------------

int LengthInCodePoints(char16_t const* text, int start, int end) {
    if (!text || start < 0 || end == 0) return 0;
    if (end < 0) {
        int count = 0;
        for (char16_t const* p = text + start; *p; ++count)
            p += isHighSurrogate(p[0]) && isLowSurrogate(p[1]) ? 2 : 1;
        return count;
    }
    if (end <= start) return 0;
    return MeasureUtf16ToUtf32(text + start, end - start);
}

int SubStringSizeInCodeUnits(char16_t const* text, int length, int start, int codePoints) noexcept {
    if (!text || start < 0) return 0;
    if (codePoints < 0) return static_cast<int>(std::char_traits<char16_t>::length(text + start));
    if (codePoints == 0 || start >= length) return 0;
    int units = 0;
    for (int i = start; codePoints > 0 && i < length; --codePoints) {
        int step = 0;
        CodePoint::GetCodePoint(text + i, &step);
        units += step;
        i += step;
    }
    return units;
}

int StringValidateCopy(char16_t const* source, int length, char16_t* destination, int capacity) noexcept {
    if (!source) return 0;
    if (length < 0) length = static_cast<int>(std::char_traits<char16_t>::length(source));
    if (!destination) return length;
    if (destination == source) return 0;
    if (length < 1 || capacity < 2) {
        destination[0] = 0;
        return 0;
    }
    int written = 0;
    // A capacity one short keeps the terminator's place: a pair that would take it is left out.
    for (int i = 0; i < length && written < capacity - 1;) {
        int taken;
        if (i == length - 1 && isHighSurrogate(source[i])) {
            // The partner would lie past the length: nothing beyond it is read.
            destination[written++] = static_cast<char16_t>(kReplacement);
            taken = 1;
        } else {
            taken = CodePoint::CopyCodePoint(source + i, destination, written, capacity - 1);
        }
        if (taken == 0) break;
        i += taken;
    }
    destination[written] = 0;
    return written;
}

// ---- Standard strings ---------------------------------------------------------------------------

std::string toStdString(char16_t const* text, std::size_t length) {
    if (length == 0 || !text || text[0] == 0) return {};
    const int n = toIntLength(length);
    std::string result(static_cast<std::size_t>(MeasureUtf16ToUtf8(text, n)), '\0');
    Utf16ToUtf8(text, n, result.data(), static_cast<int>(result.size()) + 1);
    return result;
}

std::u16string toStdU16String(char16_t const* text, std::size_t length) {
    if (length == 0 || !text || text[0] == 0) return {};
    return std::u16string(text, length);
}

std::wstring toStdWString(char16_t const* text, std::size_t length) {
    if (length == 0 || !text || text[0] == 0) return {};
    const int n = toIntLength(length);
    std::wstring result(static_cast<std::size_t>(MeasureUtf16ToUtf32(text, n)), L'\0');
    Utf16ToUtf32(text, n, reinterpret_cast<char32_t*>(result.data()), static_cast<int>(result.size()) + 1);
    return result;
}

std::size_t toWCharArray(char16_t const* text, std::size_t length, wchar_t* destination,
                         std::size_t capacity) {
    if (!destination) return 0;
    if (length >= capacity) {
        if (capacity != 0) destination[0] = 0;
        return 0;
    }
    const int room = capacity > static_cast<std::size_t>(INT_MAX) ? INT_MAX : static_cast<int>(capacity);
    return static_cast<std::size_t>(
               Utf16ToUtf32(text, toIntLength(length), reinterpret_cast<char32_t*>(destination), room)) +
           1;
}

} // namespace Unicode
