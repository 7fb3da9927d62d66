// Test and fuzz support for TScanStringCore: the reads and skips as a table, each with the measure
// that says how far it moves and how much it stores, and one check that runs an operation at a
// position and compares it with its measure.
#pragma once

#include <kestal/TScanStringCore.h>
#include <string>
#include <type_traits>

namespace kestal::testing {

/// The code of what `f` raised: 0 for nothing, 1 for TStringCore::Exception, else the code of the
/// VelmoraException. Anything else escapes.
template <class F>
unsigned int raisedCode(F&& f) {
    try {
        f();
        return 0;
    } catch (VelmoraException const& e) {
        return e.GetErrorCode();
    } catch (TStringCore::Exception const&) {
        return 1;
    }
}

/// The measures and operations of the table; `param` is a base or readString's count.
struct ScanOps {
    using S = TScanStringCore;
    using T = TStringCore;
    static int boolean(char16_t const* p, int) { return S::lengthBool(p); }
    static int integer(char16_t const* p, int base) { return S::lengthInt(p, base); }
    static int floating(char16_t const* p, int) { return S::lengthFloat(p); }
    static int line(char16_t const* p, int) { return S::lengthLine(p); }
    static int lineAndEnding(char16_t const* p, int) { return line(p, 0) + S::lengthNewline(p + line(p, 0)); }
    static int newline(char16_t const* p, int) { return S::lengthNewline(p); }
    static int word(char16_t const* p, int) { return S::lengthNonWhitespace(p); }
    static int blanks(char16_t const* p, int) { return S::lengthWhitespace(p); }
    static int count(char16_t const* p, int n) { return S::lengthString(p, n); }
    static int digits(char16_t const* p, int) { return S::lengthAnyOf(p, u"0123456789.e"); }
    static int beforeWide(char16_t const* p, int) { return S::lengthAnyNotOf(p, u"\n\U0001F600\u00A0"); }

    template <class V>
    static void read(S& s, T&, int base) {
        V value{};
        if constexpr (std::is_same_v<V, bool>)
            s.readBool(value);
        else if constexpr (std::is_floating_point_v<V>)
            s.readFloat(value);
        else
            s.readInt(value, base);
    }
    static void skipInt(S& s, T&, int base) { s.skipInt(base); }
    static void skipFloat(S& s, T&, int) { s.skipFloat(); }
    static void readLine(S& s, T& t, int) { s.readLine(t); }
    static void skipLine(S& s, T&, int) { s.skipLine(); }
    static void skipNewline(S& s, T&, int) { s.skipNewline(); }
    static void readWord(S& s, T& t, int) { s.readNonWhitespace(t); }
    static void skipBlanks(S& s, T&, int) { s.skipWhitespace(); }
    static void readCount(S& s, T& t, int n) { s.readString(t, n); }
    static void readDigits(S& s, T& t, int) { s.readAnyOf(t, u"0123456789.e"); }
    static void readBeforeWide(S& s, T& t, int) { s.readAnyNotOf(t, u"\n\U0001F600\u00A0"); }
};

struct ScanOp {
    int (*moved)(char16_t const* at, int param);  // units the cursor moves; raises as the operation
    int (*stored)(char16_t const* at, int param); // units stored, or null for no text output
    void (*run)(TScanStringCore& scan, TStringCore& out, int param);
};

inline constexpr ScanOp kScanOps[] = {
    {ScanOps::boolean, nullptr, ScanOps::read<bool>},
    {ScanOps::floating, nullptr, ScanOps::read<double>},
    {ScanOps::floating, nullptr, ScanOps::read<float>},
    {ScanOps::floating, nullptr, ScanOps::skipFloat},
    {ScanOps::integer, nullptr, ScanOps::read<short>},
    {ScanOps::integer, nullptr, ScanOps::read<unsigned>},
    {ScanOps::integer, nullptr, ScanOps::read<long long>},
    {ScanOps::integer, nullptr, ScanOps::skipInt},
    {ScanOps::lineAndEnding, ScanOps::line, ScanOps::readLine},
    {ScanOps::lineAndEnding, nullptr, ScanOps::skipLine},
    {ScanOps::newline, nullptr, ScanOps::skipNewline},
    {ScanOps::word, ScanOps::word, ScanOps::readWord},
    {ScanOps::blanks, nullptr, ScanOps::skipBlanks},
    {ScanOps::count, ScanOps::count, ScanOps::readCount},
    {ScanOps::digits, ScanOps::digits, ScanOps::readDigits},
    {ScanOps::beforeWide, ScanOps::beforeWide, ScanOps::readBeforeWide},
};

/// Runs `op` on a scanner standing at `start` of `text` (`size` units before its NUL) and returns
/// what went wrong, or an empty text: it must raise what its measure raises, then without moving,
/// or move by the measure and store the measured units; the conversions alone raise after moving.
inline std::string checkScanOp(ScanOp const& op, char16_t const* text, int size, int start, int param) {
    int moved = 0;
    const unsigned measureCode = raisedCode([&] { moved = op.moved(text + start, param); });
    TScanStringCore scan(text);
    scan.skipString(start);
    TStringCore out(u"old");
    const unsigned code = raisedCode([&] { op.run(scan, out, param); });
    const bool afterMoving = code == 0x930719DA || code == 0x85FD6267 || code == 0x6C2E9B14;
    if ((afterMoving ? 0 : code) != measureCode) return "raised " + std::to_string(code);
    if (scan.position() != start + (measureCode ? 0 : moved))
        return "moved to " + std::to_string(scan.position());
    if (scan.position() > size) return "passed the NUL";
    if (op.stored && code == 0 && out != TStringCore(text + start, op.stored(text + start, param)))
        return "stored other units";
    return {};
}

} // namespace kestal::testing
