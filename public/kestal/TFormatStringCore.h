// TFormatStringCore: messages built from a template with numbered markers. "%1" to "%99" stand for
// the parameters in the order the arg calls supplied them, in any order and any number of times;
// "%%" is one literal percent. A marker carries nothing but its number: the arg overload that took
// a value decides how it reads. Any other use of '%' is an error, "100%" included.
//
// The text is scanned once, when it is set; result() splices the parameters in and can be called
// again. Exceptions and logic assertions take a TFormatStringCore directly; its text then also
// enters their redacted messages (VelmoraException.h).
#pragma once

// The nested Exception derives from VelmoraException; that header includes this one at its end,
// so either order of inclusion defines both classes.
#include <kestal/KestalExport.h>
#include <kestal/TError.h>
#include <kestal/TStringCore.h>
#include <kestal/VelmoraException.h>
#include <vector>

class KESTAL_API TFormatStringCore {
public:
    /// Where a marker lies in the text: offset of its '%', the units it covers (2 for "%%" and
    /// one digit, 3 for two), and its number (0 for "%%").
    struct Marker {
        /// A "%%" at `position`.
        explicit Marker(int position) noexcept
            : m_position(position)
            , m_length(2)
            , m_number(0) {}
        Marker(int position, int length, int number) noexcept
            : m_position(position)
            , m_length(length)
            , m_number(number) {}
        int m_position;
        int m_length;
        int m_number;
    };
    class Exception;

    /// Copies the text and scans it. Raises Exception for a bad text; no parameters yet.
    TFormatStringCore(TStringCore const& format);
    /// The text up to its first NUL (null: empty), then as above.
    TFormatStringCore(char16_t const* format);
    /// Copies text, markers and parameters; no scan.
    TFormatStringCore(TFormatStringCore const& other);
    TFormatStringCore& operator=(TFormatStringCore const& other);
    /// Takes and scans a new text; the parameters stay. On a bad text the new text stays with the
    /// markers found before the fault: assign a good text before calling result() again.
    TFormatStringCore& operator=(TStringCore const& format);
    TFormatStringCore& operator=(char16_t const* format);
    ~TFormatStringCore();

    /// Rebuilds the markers and the highest marker number from the text and reserves room for
    /// that many parameters. Raises Exception at the leftmost fault.
    void scanForMarkers();

    // ---- Parameters ------------------------------------------------------------------------------
    // Each form appends one parameter (the vector form replaces them all) and returns *this. A
    // positive field width right-justifies, a negative one left-justifies, with `fill`; a value is
    // never cut. Numbers are formatted first and justified afterwards, so a '0' fill goes in front
    // of a sign. Raises only what TStringCore::number or the allocator raise.

    TFormatStringCore& arg(TStringCore const& value, int fieldWidth = 0, char16_t fill = u' ');
    TFormatStringCore& arg(char16_t value, int fieldWidth = 0, char16_t fill = u' ');
    /// In a base other than 10 a negative value is its 64-bit two's complement. A bad base raises
    /// TStringCore::Exception and adds nothing.
    TFormatStringCore& arg(short value, int fieldWidth = 0, int base = 10, char16_t fill = u' ');
    TFormatStringCore& arg(unsigned short value, int fieldWidth = 0, int base = 10, char16_t fill = u' ');
    TFormatStringCore& arg(int value, int fieldWidth = 0, int base = 10, char16_t fill = u' ');
    TFormatStringCore& arg(unsigned int value, int fieldWidth = 0, int base = 10, char16_t fill = u' ');
    TFormatStringCore& arg(long value, int fieldWidth = 0, int base = 10, char16_t fill = u' ');
    TFormatStringCore& arg(unsigned long value, int fieldWidth = 0, int base = 10, char16_t fill = u' ');
    TFormatStringCore& arg(long long value, int fieldWidth = 0, int base = 10, char16_t fill = u' ');
    TFormatStringCore& arg(unsigned long long value, int fieldWidth = 0, int base = 10, char16_t fill = u' ');
    /// TStringCore::number(value, format, precision, compact); a negative precision means 6.
    TFormatStringCore& arg(double value, int fieldWidth = 0, char format = 'g', int precision = -1,
                           char16_t fill = u' ', bool compact = false);
    /// Several strings in order, unjustified; the parameter list grows once.
    TFormatStringCore& arg(TStringCore const& a1, TStringCore const& a2);
    TFormatStringCore& arg(TStringCore const& a1, TStringCore const& a2, TStringCore const& a3);
    TFormatStringCore& arg(TStringCore const& a1, TStringCore const& a2, TStringCore const& a3,
                           TStringCore const& a4);
    TFormatStringCore& arg(TStringCore const& a1, TStringCore const& a2, TStringCore const& a3,
                           TStringCore const& a4, TStringCore const& a5);
    TFormatStringCore& arg(TStringCore const& a1, TStringCore const& a2, TStringCore const& a3,
                           TStringCore const& a4, TStringCore const& a5, TStringCore const& a6);
    TFormatStringCore& arg(TStringCore const& a1, TStringCore const& a2, TStringCore const& a3,
                           TStringCore const& a4, TStringCore const& a5, TStringCore const& a6,
                           TStringCore const& a7);
    TFormatStringCore& arg(TStringCore const& a1, TStringCore const& a2, TStringCore const& a3,
                           TStringCore const& a4, TStringCore const& a5, TStringCore const& a6,
                           TStringCore const& a7, TStringCore const& a8);
    TFormatStringCore& arg(TStringCore const& a1, TStringCore const& a2, TStringCore const& a3,
                           TStringCore const& a4, TStringCore const& a5, TStringCore const& a6,
                           TStringCore const& a7, TStringCore const& a8, TStringCore const& a9);
    TFormatStringCore& arg(TStringCore const& a1, TStringCore const& a2, TStringCore const& a3,
                           TStringCore const& a4, TStringCore const& a5, TStringCore const& a6,
                           TStringCore const& a7, TStringCore const& a8, TStringCore const& a9,
                           TStringCore const& a10);
    /// Replaces all parameters by the vector's contents.
    TFormatStringCore& arg(std::vector<TStringCore> const& values);

    // ---- Results ---------------------------------------------------------------------------------

    /// The text with every marker replaced; one allocation. Raises Exception when a marker's
    /// number exceeds the parameters held, TStringCore::CapacityException when the result would
    /// reach 0x7FFFFFF8 units. Text behind the last marker ends at its first NUL.
    TStringCore result() const;
    operator TStringCore() const { return result(); }
    /// A copy of the template.
    TStringCore formatString() const { return m_format; }
    /// Drops the parameters; text, markers and the list's capacity stay.
    void clearParms() noexcept { m_parms.clear(); }

private:
    TFormatStringCore& appendJustified(TStringCore value, int fieldWidth, char16_t fill);
    TFormatStringCore& appendAll(TStringCore const* const* values, int count);

    int m_maxMarker = 0;
    std::vector<Marker> m_markers;
    std::vector<TStringCore> m_parms;
    TStringCore m_format;
};

/// A bad template or too few parameters: messages only, source Client, status UNKNOWN. Clone and
/// Throw are the root's, so a clone or a rethrow through Throw is a plain VelmoraException.
class KESTAL_API TFormatStringCore::Exception : public VelmoraException {
public:
    Exception(TStringCore const& message, TError::ErrorInfo const& info);
    Exception(Exception const& other);
    /// Copies: the root has no move.
    Exception(Exception&& other);
    Exception& operator=(Exception const& other);
    Exception& operator=(Exception&& other);
    ~Exception() override;
};
