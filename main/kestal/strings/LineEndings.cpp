// Line-ending normalisation in place, and its inverse into a new string.
#include <kestal/Unicode.h>
#include <string>

namespace {

enum class State { Plain, AfterLf, AfterCr };

// The one line-ending machine. Each unit goes to `sink(newline, unit)`: newline true where a line
// ending is to be written, false for a unit passed through; units swallowed into an ending produce
// nothing. CR LF, LF CR and a run of CRs make one ending.
template <class Unit, class Sink>
void runLineMachine(Unit const* p, Unit const* end, Sink&& sink) {
    State state = State::Plain;
    for (; p < end; ++p) {
        const Unit unit = *p;
        if (unit == '\n') {
            if (state != State::AfterCr) sink(true, unit);
            state = state == State::AfterCr ? State::Plain : State::AfterLf;
        } else if (unit == '\r') {
            if (state == State::Plain) {
                sink(true, unit);
                state = State::AfterCr;
            }
        } else {
            sink(false, unit);
            state = State::Plain;
        }
    }
}

template <class Unit>
std::size_t normalize(Unit* text, std::size_t length) noexcept {
    if (!text) return 0;
    Unit* const end = text + length;
    // A lone CR is rewritten where it stands; only a CR beside another CR or an LF needs the
    // machine, which then runs to the end. The machine remembers an LF before a CR and this first
    // walk does not, so LF CR x stays two endings here and one after the machine has started.
    Unit* p = text;
    for (; p < end; ++p) {
        if (*p != '\r') continue;
        const Unit next = p + 1 < end ? p[1] : Unit(0);
        if (next == '\r' || next == '\n') break;
        *p = '\n';
    }
    std::size_t newLength = length;
    if (p < end) {
        Unit* out = p; // never ahead of the unit being read
        runLineMachine(static_cast<Unit const*>(p), static_cast<Unit const*>(end),
                       [&](bool newline, Unit unit) { *out++ = newline ? Unit('\n') : unit; });
        newLength = static_cast<std::size_t>(out - text);
    }
    text[newLength] = 0;
    return newLength;
}

} // namespace

namespace Unicode {

std::size_t normalizeLineEndings(char* text) noexcept {
    return normalize(text, text ? std::char_traits<char>::length(text) : 0);
}

std::size_t normalizeLineEndings(char* text, std::size_t length) noexcept {
    return normalize(text, length);
}

std::size_t normalizeLineEndings(char16_t* text) noexcept {
    return normalize(text, text ? std::char_traits<char16_t>::length(text) : 0);
}

std::size_t normalizeLineEndings(char16_t* text, std::size_t length) noexcept {
    return normalize(text, length);
}

TStringCore unixToDos(char16_t const* text, std::size_t length) {
    TStringCore result;
    if (!text || length < 1) return result;
    std::size_t size = 0;
    runLineMachine(text, text + length, [&](bool newline, char16_t) { size += newline ? 2 : 1; });
    if (size >= static_cast<std::size_t>(TStringCore::MaxCapacity)) throw TStringCore::CapacityException();
    char16_t* out = result.resize(static_cast<int>(size));
    runLineMachine(text, text + length, [&](bool newline, char16_t unit) {
        if (newline) {
            *out++ = u'\r';
            *out++ = u'\n';
        } else {
            *out++ = unit;
        }
    });
    return result;
}

} // namespace Unicode
