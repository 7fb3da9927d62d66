// Format strings: the one-pass marker scan, the parameter forms and the splice.
#include "kestal/errors/Raise.h"
#include "kestal/strings/Units.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <kestal/TFormatStringCore.h>
#include <string_view>

namespace {

// The seven failures: messages only, Client, UNKNOWN.
[[noreturn]] void raise(unsigned int code, TStringCore const& message) {
    kestal::detail::Raise<TFormatStringCore::Exception>(code, TError::Client, grpc::StatusCode::UNKNOWN,
                                                        message);
}

// Copies `count` units; pieces of a message are mostly short, where a plain loop beats a call.
char16_t* put(char16_t* to, char16_t const* from, int count) noexcept {
    if (count > 16) {
        std::memcpy(to, from, static_cast<std::size_t>(count) * sizeof(char16_t));
        return to + count;
    }
    for (int i = 0; i < count; ++i)
        to[i] = from[i];
    return to + count;
}

} // namespace

// ---- Construction and assignment -------------------------------------------------------------------

TFormatStringCore::TFormatStringCore(TStringCore const& format)
    : m_format(format) {
    scanForMarkers();
}

TFormatStringCore::TFormatStringCore(char16_t const* format)
    : m_format(format) {
    scanForMarkers();
}

TFormatStringCore::TFormatStringCore(TFormatStringCore const& other) = default;
TFormatStringCore& TFormatStringCore::operator=(TFormatStringCore const& other) = default;
TFormatStringCore::~TFormatStringCore() = default;

TFormatStringCore& TFormatStringCore::operator=(TStringCore const& format) {
    if (&format != &m_format) m_format = format;
    scanForMarkers(); // the parameters stay: only clearParms empties them
    return *this;
}

TFormatStringCore& TFormatStringCore::operator=(char16_t const* format) {
    return *this = TStringCore(format);
}

void TFormatStringCore::scanForMarkers() {
    m_markers.clear();
    m_maxMarker = 0;
    char16_t const* const text = m_format.constData();
    const int size = m_format.size();
    // Every marker starts with a '%': one reservation instead of a growth per marker.
    m_markers.reserve(static_cast<std::size_t>(std::count(text, text + size, u'%')));
    // Plain text runs up to the next '%'; a NUL is plain text too, the scan covers the whole size.
    for (int i = 0; i < size; ++i) {
        if (text[i] != u'%') continue;
        const int start = i;
        if (++i == size) raise(0xA33EDF83u, u"Format string ends with an incomplete marker.");
        const char16_t first = text[i];
        if (first == u'%') {
            m_markers.emplace_back(start);
            continue; // the unit after "%%" starts afresh: "%%1" is text
        }
        if (!kestal::strings::isDigitUnit(first))
            raise(0xF7AF5E37u, u"Invalid numberless marker in format string.");
        int number = first - 48;
        if (first == u'0') raise(0xB3668D59u, u"Leading zero in marker number in format string.");
        // Every digit counts as its unit less 48, and the bound is tested only when a later digit
        // is folded in: a lone first digit from outside ASCII makes a marker far above 99 that
        // fails only at result(). Kept on purpose.
        int length = 2;
        while (++i < size && kestal::strings::isDigitUnit(text[i])) {
            number = number * 10 + (text[i] - 48);
            if (number >= 100) raise(0xCA249FEEu, u"Invalid marker number > 99 in format string.");
            ++length;
        }
        if (number < 1) { // guards: a first digit '0' has raised already
            if (i < size) raise(0x274BF5E7u, u"Invalid marker number <= 0 in format string.");
            raise(0xA4DB9BBEu, u"Format string ends with an invalid marker number <= 0.");
        }
        m_maxMarker = std::max(m_maxMarker, number);
        m_markers.emplace_back(start, length, number);
        --i; // the unit that ended the number is read again as plain text
    }
    m_parms.reserve(static_cast<std::size_t>(m_maxMarker)); // so the usual arg chain allocates once
}

// ---- Parameters --------------------------------------------------------------------------------

TFormatStringCore& TFormatStringCore::appendJustified(TStringCore value, int fieldWidth, char16_t fill) {
    if (fieldWidth > 0)
        value = value.rightJustified(fieldWidth, fill, false);
    else if (fieldWidth < 0) // INT_MIN has no positive twin: it asks for INT_MAX, which no string holds
        value = value.leftJustified(fieldWidth == INT_MIN ? INT_MAX : -fieldWidth, fill, false);
    m_parms.push_back(std::move(value));
    return *this;
}

TFormatStringCore& TFormatStringCore::arg(TStringCore const& value, int fieldWidth, char16_t fill) {
    return appendJustified(value, fieldWidth, fill);
}

TFormatStringCore& TFormatStringCore::arg(char16_t value, int fieldWidth, char16_t fill) {
    return appendJustified(TStringCore(&value, 1), fieldWidth, fill);
}

// Numbers are formatted at width 0 and justified afterwards, so a '0' fill lands before a sign.
#define KESTAL_INTEGER_ARG(Type)                                                                             \
    TFormatStringCore& TFormatStringCore::arg(Type value, int fieldWidth, int base, char16_t fill) {         \
        return appendJustified(TStringCore::number(value, base, 0, u' '), fieldWidth, fill);                 \
    }
KESTAL_INTEGER_ARG(short)
KESTAL_INTEGER_ARG(unsigned short)
KESTAL_INTEGER_ARG(int)
KESTAL_INTEGER_ARG(unsigned int)
KESTAL_INTEGER_ARG(long)
KESTAL_INTEGER_ARG(unsigned long)
KESTAL_INTEGER_ARG(long long)
KESTAL_INTEGER_ARG(unsigned long long)
#undef KESTAL_INTEGER_ARG

TFormatStringCore& TFormatStringCore::arg(double value, int fieldWidth, char format, int precision,
                                          char16_t fill, bool compact) {
    return appendJustified(TStringCore::number(value, format, precision < 0 ? 6 : precision, compact),
                           fieldWidth, fill);
}

TFormatStringCore& TFormatStringCore::appendAll(TStringCore const* const* values, int count) {
    m_parms.reserve(m_parms.size() + static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i)
        m_parms.push_back(*values[i]);
    return *this;
}

TFormatStringCore& TFormatStringCore::arg(TStringCore const& a1, TStringCore const& a2) {
    TStringCore const* all[] = {&a1, &a2};
    return appendAll(all, 2);
}
TFormatStringCore& TFormatStringCore::arg(TStringCore const& a1, TStringCore const& a2,
                                          TStringCore const& a3) {
    TStringCore const* all[] = {&a1, &a2, &a3};
    return appendAll(all, 3);
}
TFormatStringCore& TFormatStringCore::arg(TStringCore const& a1, TStringCore const& a2, TStringCore const& a3,
                                          TStringCore const& a4) {
    TStringCore const* all[] = {&a1, &a2, &a3, &a4};
    return appendAll(all, 4);
}
TFormatStringCore& TFormatStringCore::arg(TStringCore const& a1, TStringCore const& a2, TStringCore const& a3,
                                          TStringCore const& a4, TStringCore const& a5) {
    TStringCore const* all[] = {&a1, &a2, &a3, &a4, &a5};
    return appendAll(all, 5);
}
TFormatStringCore& TFormatStringCore::arg(TStringCore const& a1, TStringCore const& a2, TStringCore const& a3,
                                          TStringCore const& a4, TStringCore const& a5,
                                          TStringCore const& a6) {
    TStringCore const* all[] = {&a1, &a2, &a3, &a4, &a5, &a6};
    return appendAll(all, 6);
}
TFormatStringCore& TFormatStringCore::arg(TStringCore const& a1, TStringCore const& a2, TStringCore const& a3,
                                          TStringCore const& a4, TStringCore const& a5, TStringCore const& a6,
                                          TStringCore const& a7) {
    TStringCore const* all[] = {&a1, &a2, &a3, &a4, &a5, &a6, &a7};
    return appendAll(all, 7);
}
TFormatStringCore& TFormatStringCore::arg(TStringCore const& a1, TStringCore const& a2, TStringCore const& a3,
                                          TStringCore const& a4, TStringCore const& a5, TStringCore const& a6,
                                          TStringCore const& a7, TStringCore const& a8) {
    TStringCore const* all[] = {&a1, &a2, &a3, &a4, &a5, &a6, &a7, &a8};
    return appendAll(all, 8);
}
TFormatStringCore& TFormatStringCore::arg(TStringCore const& a1, TStringCore const& a2, TStringCore const& a3,
                                          TStringCore const& a4, TStringCore const& a5, TStringCore const& a6,
                                          TStringCore const& a7, TStringCore const& a8,
                                          TStringCore const& a9) {
    TStringCore const* all[] = {&a1, &a2, &a3, &a4, &a5, &a6, &a7, &a8, &a9};
    return appendAll(all, 9);
}
TFormatStringCore& TFormatStringCore::arg(TStringCore const& a1, TStringCore const& a2, TStringCore const& a3,
                                          TStringCore const& a4, TStringCore const& a5, TStringCore const& a6,
                                          TStringCore const& a7, TStringCore const& a8, TStringCore const& a9,
                                          TStringCore const& a10) {
    TStringCore const* all[] = {&a1, &a2, &a3, &a4, &a5, &a6, &a7, &a8, &a9, &a10};
    return appendAll(all, 10);
}

TFormatStringCore& TFormatStringCore::arg(std::vector<TStringCore> const& values) {
    m_parms = values; // the one form that replaces instead of appending
    return *this;
}

// ---- Result ------------------------------------------------------------------------------------

TStringCore TFormatStringCore::result() const {
    if (static_cast<std::size_t>(m_maxMarker) > m_parms.size()) {
        // The format text goes in as a parameter, so it is quoted untouched.
        raise(0x0E2B86FBu,
              TFormatStringCore(
                  u"Insufficient parameters to format string (have %1, need %2: format string = \"%3\")")
                  .arg(static_cast<unsigned long>(m_parms.size()))
                  .arg(m_maxMarker)
                  .arg(m_format)
                  .result());
    }

    // The final length, summed in 64 bits so that many long parameters cannot wrap it.
    long long length = m_format.size();
    for (Marker const& marker : m_markers)
        length += (marker.m_number < 1 ? 1 : m_parms[marker.m_number - 1].size()) - marker.m_length;
    if (length >= TStringCore::MaxCapacity) throw TStringCore::CapacityException();

    TStringCore out;
    out.reserve(static_cast<int>(length)); // exactly once; the writes below stay inside it
    char16_t* const begin = out.resize(static_cast<int>(length));
    char16_t* to = begin;
    char16_t const* const text = m_format.constData();
    int read = 0;
    for (Marker const& marker : m_markers) {
        to = put(to, text + read, marker.m_position - read); // NULs here are copied
        if (marker.m_number < 1) {
            *to++ = u'%';
        } else {
            TStringCore const& parm = m_parms[marker.m_number - 1];
            to = put(to, parm.constData(), parm.size());
        }
        read = marker.m_position + marker.m_length;
    }
    // Kept on purpose: the text behind the last marker ends at its first NUL, although NULs
    // between markers are copied.
    char16_t const* tail = text + read;
    char16_t const* const end = text + m_format.size();
    while (tail != end && *tail)
        *to++ = *tail++;
    if (to != begin + length) out.resize(static_cast<int>(to - begin));
    return out;
}

// ---- Exception ---------------------------------------------------------------------------------

TFormatStringCore::Exception::Exception(TStringCore const& message, TError::ErrorInfo const& info)
    : VelmoraException(message, info) {}
TFormatStringCore::Exception::Exception(Exception const& other) = default;
TFormatStringCore::Exception::Exception(Exception&& other)
    : VelmoraException(other) {}
TFormatStringCore::Exception& TFormatStringCore::Exception::operator=(Exception const& other) = default;
TFormatStringCore::Exception& TFormatStringCore::Exception::operator=(Exception&& other) {
    VelmoraException::operator=(other);
    return *this;
}
TFormatStringCore::Exception::~Exception() = default;
