// Test and fuzz support for TScanStringCore: the reads and skips as a table, each with the measure
// that must say how far it moves and how much it stores, and one check that runs an operation at a
// position and compares it with its measure.
#pragma once

#include <kestal/TScanStringCore.h>
#include <string>

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

/// One operation; `param` is the base of the integer forms and the count of readString.
struct ScanOp {
    int (*moved)(char16_t const* at, int param);  // units the cursor moves; raises as the operation
    int (*stored)(char16_t const* at, int param); // units stored, or null for no text output
    void (*run)(TScanStringCore& scan, TStringCore& out, int param);
};

namespace scan_ops {
using S = TScanStringCore;
inline int line(char16_t const* p, int) {
    const int n = S::lengthLine(p);
    return n + S::lengthNewline(p + n);
}
inline int lineOnly(char16_t const* p, int) {
    return S::lengthLine(p);
}
inline int integer(char16_t const* p, int base) {
    return S::lengthInt(p, base);
}
inline int floating(char16_t const* p, int) {
    return S::lengthFloat(p);
}
inline int word(char16_t const* p, int) {
    return S::lengthNonWhitespace(p);
}
inline int count(char16_t const* p, int n) {
    return S::lengthString(p, n);
}
inline int digits(char16_t const* p, int) {
    return S::lengthAnyOf(p, u"0123456789.e");
}
inline int wideStop(char16_t const* p, int) {
    return S::lengthAnyNotOf(p, u"\n\U0001F600\u00A0");
}
} // namespace scan_ops

inline constexpr ScanOp kScanOps[] = {
    {[](char16_t const* p, int) { return TScanStringCore::lengthBool(p); }, nullptr,
     [](TScanStringCore& s, TStringCore&, int) {
         bool b;
         s.readBool(b);
     }},
    {scan_ops::floating, nullptr,
     [](TScanStringCore& s, TStringCore&, int) {
         double d;
         s.readFloat(d);
     }},
    {scan_ops::floating, nullptr,
     [](TScanStringCore& s, TStringCore&, int) {
         float f;
         s.readFloat(f);
     }},
    {scan_ops::floating, nullptr, [](TScanStringCore& s, TStringCore&, int) { s.skipFloat(); }},
    {scan_ops::integer, nullptr,
     [](TScanStringCore& s, TStringCore&, int base) {
         short v;
         s.readInt(v, base);
     }},
    {scan_ops::integer, nullptr,
     [](TScanStringCore& s, TStringCore&, int base) {
         unsigned v;
         s.readInt(v, base);
     }},
    {scan_ops::integer, nullptr,
     [](TScanStringCore& s, TStringCore&, int base) {
         long long v;
         s.readInt(v, base);
     }},
    {scan_ops::integer, nullptr, [](TScanStringCore& s, TStringCore&, int base) { s.skipInt(base); }},
    {scan_ops::line, scan_ops::lineOnly, [](TScanStringCore& s, TStringCore& t, int) { s.readLine(t); }},
    {scan_ops::line, nullptr, [](TScanStringCore& s, TStringCore&, int) { s.skipLine(); }},
    {[](char16_t const* p, int) { return TScanStringCore::lengthNewline(p); }, nullptr,
     [](TScanStringCore& s, TStringCore&, int) { s.skipNewline(); }},
    {scan_ops::word, scan_ops::word, [](TScanStringCore& s, TStringCore& t, int) { s.readNonWhitespace(t); }},
    {[](char16_t const* p, int) { return TScanStringCore::lengthWhitespace(p); }, nullptr,
     [](TScanStringCore& s, TStringCore&, int) { s.skipWhitespace(); }},
    {scan_ops::count, scan_ops::count, [](TScanStringCore& s, TStringCore& t, int n) { s.readString(t, n); }},
    {scan_ops::digits, scan_ops::digits,
     [](TScanStringCore& s, TStringCore& t, int) { s.readAnyOf(t, u"0123456789.e"); }},
    {scan_ops::wideStop, scan_ops::wideStop,
     [](TScanStringCore& s, TStringCore& t, int) { s.readAnyNotOf(t, u"\n\U0001F600\u00A0"); }},
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
