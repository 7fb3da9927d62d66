// The scanner on arbitrary UTF-16 text in a buffer of exactly its size: leading bytes pick the
// operations and their bases or counts, the rest is the text. Every operation must agree with its
// measure (move by it, store it, raise what it raises without moving), the cursor never passes the
// NUL, and nothing but the scanner's exception and the bad-base error escapes.
#include "../tests/ScanStringOperations.h"
#include "FuzzCheck.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <memory>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    if (size < 1 || size > 4096) return 0;
    using kestal::testing::kScanOps;
    const std::size_t opCount = std::min<std::size_t>(data[0] % 16 + 1, (size - 1) / 2);
    std::uint8_t const* ops = data + 1;
    const std::size_t units = (size - 1 - 2 * opCount) / 2;
    std::unique_ptr<char16_t[]> text(new char16_t[units + 1]);
    std::memcpy(text.get(), ops + 2 * opCount, units * 2);
    text[units] = 0;
    const int live = static_cast<int>(std::find(text.get(), text.get() + units, u'\0') - text.get());

    TScanStringCore scan(text.get());
    for (std::size_t i = 0; i < opCount; ++i) {
        const std::size_t pick = ops[2 * i] % (std::size(kScanOps) + 2);
        const int param = ops[2 * i + 1] % 39 - 1; // bases -1 to 37; counts
        const int start = scan.position();
        if (pick == std::size(kScanOps)) { // a literal copied from the text matches; one unit off does not
            const int n = std::min(live - start, param < 0 ? 0 : param % 4);
            const std::u16string literal(text.get() + start, static_cast<std::size_t>(n));
            FUZZ_CHECK(scan.skip(literal.c_str()).position() == start + n);
            if (n == 0) continue;
            std::u16string other = literal;
            other.back() = other.back() == u'x' ? u'y' : u'x';
            TScanStringCore copy(text.get());
            copy.skipString(start);
            FUZZ_CHECK(kestal::testing::raisedCode([&] { copy.skip(other.c_str()); }) == 0x9DAC629F &&
                       copy.position() == start);
            continue;
        }
        if (pick == std::size(kScanOps) + 1) {
            FUZZ_CHECK(kestal::testing::raisedCode([&] { scan.end(); }) == (start == live ? 0 : 0x57D65295));
            FUZZ_CHECK(scan.atEnd() == (start == live));
            continue;
        }
        auto const& op = kScanOps[pick];
        FUZZ_CHECK(kestal::testing::checkScanOp(op, text.get(), live, start, param).empty());
        TStringCore out;
        try {
            op.run(scan, out, param);
        } catch (TScanStringCore::Exception const&) {
        } catch (TStringCore::Exception const& e) {
            FUZZ_CHECK(e.GetConcatenatedMessages() == u"TStringCore::parseInteger: base out of range.");
        }
        FUZZ_CHECK(scan.position() >= start && scan.position() <= live);
    }
    return 0;
}
