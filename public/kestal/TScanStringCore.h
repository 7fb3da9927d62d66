// TScanStringCore: a cursor over a zero-terminated UTF-16 text for hand-written parsers of small
// formats: read a word, skip blanks, expect a literal, read a number, go to the next line.
//
// Three families agree on what each kind of field is. The static length... measures say how many
// code units of a kind stand at the head of a text and change nothing; read... stores what stands at
// the cursor and advances; skip... only advances. Every read and skip measures first with the
// matching length..., so a field that the measure refuses raises before anything moves. Nothing
// skips white space by itself: call skipWhitespace() where blanks may stand.
//
// The scanner keeps a raw pointer: the text is not copied and must outlive it, unchanged. Its end
// is its first NUL, also inside a TStringCore. Positions count code units, not code points. No
// measure allocates; a read allocates only the text it stores.
#pragma once

#include <kestal/KestalExport.h>
#include <kestal/TError.h>
#include <kestal/TStringCore.h>
#include <kestal/VelmoraException.h>

class KESTAL_API TScanStringCore {
public:
    class Exception;

    /// Scans `input` from its start. The text is not copied.
    explicit TScanStringCore(char16_t const* input) noexcept
        : m_input(input) {}
    /// Scans the string's text up to its first NUL. The string must outlive the scanner and stay
    /// unchanged (an edit may move its text), so it cannot be the output of a read either.
    explicit TScanStringCore(TStringCore const& input) noexcept
        : m_input(input.constData()) {}
    /// A temporary would be gone before the first read.
    TScanStringCore(TStringCore&& input) = delete;
    TScanStringCore(TStringCore const&& input) = delete;

    // ---- Measures ------------------------------------------------------------------------------
    // Code units of the kind at the head of zero-terminated `s`. Each stops at the end of its field
    // or at the NUL, whichever comes first. White space is TCType::isSpace(char16_t), unit by unit.

    /// "1", "0", "true", "false", "yes", "no" tried in this order, case ignored, with no test of
    /// what follows: "10" measures 1 and "nobody" 2. Raises Exception if none matches.
    static int lengthBool(char16_t const* s);
    /// TStringCore::leftIntegerLength(s, -1, base): a sign in decimal only, "0x" in base 16, base
    /// 0 choosing 8, 10 or 16. Raises Exception for no digit, TStringCore::Exception for a bad
    /// base (and for base 0 on a one-unit text).
    static int lengthInt(char16_t const* s, int base = 10);
    /// TStringCore::leftDoubleLength(s, -1); "-", "." and "1e" count. Raises Exception for none.
    static int lengthFloat(char16_t const* s);
    /// Units before the first LF or NUL; a CR belongs to the line.
    static int lengthLine(char16_t const* s) noexcept;
    /// 0 at the NUL; 2 for CR LF and LF CR, else 1 for a CR or LF. Raises Exception at any other
    /// unit.
    static int lengthNewline(char16_t const* s);
    static int lengthNonWhitespace(char16_t const* s) noexcept;
    static int lengthWhitespace(char16_t const* s) noexcept;
    /// The lesser of `count`, taken as unsigned (negative: no limit), and the units before the NUL.
    static int lengthString(char16_t const* s, int count) noexcept;
    /// Units before the first character not in `set`; an ASCII set is matched by units, any other
    /// by code points (a lone surrogate as U+FFFD), as TStringCore::findOneNotOf.
    static int lengthAnyOf(char16_t const* s, char16_t const* set);
    /// Units before the first character in `set`, under the same rules.
    static int lengthAnyNotOf(char16_t const* s, char16_t const* set);

    // ---- Reads ---------------------------------------------------------------------------------
    // Each replaces its output by what the measure found (a measure of 0 stores the empty string)
    // and advances past it. A measure that raises leaves the cursor and the output alone. The
    // output keeps its block when it is big enough and not shared; a failed allocation raises
    // TStringCore's error with the cursor unmoved.

    /// True for a first unit of '1', 't', 'T', 'y' or 'Y', after lengthBool accepted the spelling.
    TScanStringCore& readBool(bool& value);
    /// Converts the lengthFloat text with TStringCore::toDouble, stores the result and advances;
    /// then, if the conversion failed ("-", "1e", "1e999"), raises Exception: the cursor stays
    /// behind the text and `value` holds what the conversion gave.
    TScanStringCore& readFloat(double& value);
    /// As above through TStringCore::toFloat, with an error of its own.
    TScanStringCore& readFloat(float& value);
    /// Converts the lengthInt text with the to... member of the type, stores it and advances; then,
    /// if the text does not fit the type, raises Exception, as readFloat does. A '-' is taken in
    /// decimal only, also by the unsigned types ("-1" fills an unsigned long, and is out of range
    /// for unsigned int).
    TScanStringCore& readInt(short& value, int base = 10);
    TScanStringCore& readInt(unsigned short& value, int base = 10);
    TScanStringCore& readInt(int& value, int base = 10);
    TScanStringCore& readInt(unsigned int& value, int base = 10);
    TScanStringCore& readInt(long& value, int base = 10);
    TScanStringCore& readInt(unsigned long& value, int base = 10);
    TScanStringCore& readInt(long long& value, int base = 10);
    TScanStringCore& readInt(unsigned long long& value, int base = 10);
    /// The units of lengthLine, then past the line ending there, which is not stored. A lone CR
    /// is part of the line; so is the CR of CR LF.
    TScanStringCore& readLine(TStringCore& line);
    TScanStringCore& readNonWhitespace(TStringCore& word);
    TScanStringCore& readString(TStringCore& text, int count);
    TScanStringCore& readAnyOf(TStringCore& text, char16_t const* set);
    TScanStringCore& readAnyNotOf(TStringCore& text, char16_t const* set);
    /// The units that `measure` counts at the cursor; what it raises passes through.
    TScanStringCore& readMatching(TStringCore& text, int (*measure)(char16_t const*));

    // ---- Skips ---------------------------------------------------------------------------------

    /// Advances over `literal` if the text at the cursor starts with all of it, case-sensitively;
    /// raises Exception otherwise. An empty or null literal always matches.
    TScanStringCore& skip(char16_t const* literal);
    TScanStringCore& skipBool();
    TScanStringCore& skipFloat();
    TScanStringCore& skipInt(int base = 10);
    /// Past one line ending (nothing at the NUL); raises Exception at any other unit.
    TScanStringCore& skipNewline();
    /// To the first LF or NUL, then past the line ending.
    TScanStringCore& skipLine();
    TScanStringCore& skipNonWhitespace();
    TScanStringCore& skipWhitespace();
    TScanStringCore& skipString(int count);
    TScanStringCore& skipAnyOf(char16_t const* set);
    TScanStringCore& skipAnyNotOf(char16_t const* set);

    // ---- Cursor --------------------------------------------------------------------------------

    /// Back to the start. A null input is a logic assertion.
    void reset();
    /// Raises Exception unless the cursor stands at the NUL; moves nothing.
    void end() const;
    /// The cursor stands at the NUL.
    bool atEnd() const noexcept { return m_input[m_position] == 0; }
    /// Offset of the cursor in code units.
    int position() const noexcept { return m_position; }

private:
    TScanStringCore& advance(int units) noexcept {
        m_position += units;
        return *this;
    }
    TScanStringCore& readUnits(TStringCore& text, int units);
    // Converts the `units` at the cursor, stores, advances, then raises `code` if the conversion
    // failed. Defined and used in the source file only.
    template <class T, class Convert>
    TScanStringCore& readConverted(T& value, int units, Convert convert, unsigned int code,
                                   char16_t const* message);
    char16_t const* cursor() const noexcept { return m_input + m_position; }

    char16_t const* m_input;
    int m_position = 0;
};

/// A field the scanner did not find at its cursor: messages only, source Client (System for
/// end()), status UNKNOWN. Clone and Throw keep this type.
class KESTAL_API TScanStringCore::Exception : public VelmoraException {
public:
    Exception(TStringCore const& message, TError::ErrorInfo const& info);
    Exception(Exception const& other);
    Exception& operator=(Exception const& other);
    ~Exception() override;

    Exception* Clone() const override;
    [[noreturn]] void Throw() const override;
};
