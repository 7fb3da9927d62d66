// A plain reading of the format-string grammar, for tests and the fuzzer: tokenise the whole
// template first (leftmost fault wins), then splice. Written apart from the library's one-pass
// scanner so that the two can be compared.
#pragma once

#include <algorithm>
#include <kestal/TCType.h>
#include <string>
#include <string_view>
#include <vector>

namespace kestal::testing {

struct FormatOutcome {
    unsigned int code = 0; // 0: success; else the failure's error code
    std::u16string text;   // the result, or the failure's message
};

inline std::u16string decimal(std::size_t n) {
    const std::string digits = std::to_string(n);
    return std::u16string(digits.begin(), digits.end());
}

inline FormatOutcome referenceFormat(std::u16string_view f, std::vector<std::u16string> const& parms) {
    struct Piece {
        std::size_t begin, end;
        int number; // -1: plain text, 0: "%%"
    };
    std::vector<Piece> pieces;
    std::size_t maxMarker = 0;
    for (std::size_t i = 0; i < f.size();) {
        const std::size_t percent = std::min(f.find(u'%', i), f.size());
        if (percent > i) pieces.push_back({i, percent, -1});
        if (percent == f.size()) break;
        if (percent + 1 == f.size()) return {0xA33EDF83u, u"Format string ends with an incomplete marker."};
        const char16_t first = f[percent + 1];
        std::size_t end = percent + 2;
        int number = 0;
        if (first != u'%') {
            if (!TCType::isDigit(first)) return {0xF7AF5E37u, u"Invalid numberless marker in format string."};
            if (first == u'0') return {0xB3668D59u, u"Leading zero in marker number in format string."};
            number = first - 48; // any script's digit counts as its unit less 48
            for (; end < f.size() && TCType::isDigit(f[end]); ++end)
                if ((number = number * 10 + (f[end] - 48)) >= 100)
                    return {0xCA249FEEu, u"Invalid marker number > 99 in format string."};
            maxMarker = std::max(maxMarker, static_cast<std::size_t>(number));
        }
        pieces.push_back({percent, end, number});
        i = end;
    }
    if (maxMarker > parms.size())
        return {0x0E2B86FBu, u"Insufficient parameters to format string (have " + decimal(parms.size()) +
                                 u", need " + decimal(maxMarker) + u": format string = \"" +
                                 std::u16string(f) + u"\")"};
    FormatOutcome out;
    for (Piece const& p : pieces) {
        if (p.number > 0) {
            out.text += parms[static_cast<std::size_t>(p.number - 1)];
        } else if (p.number == 0) {
            out.text += u'%';
        } else {
            std::u16string_view plain = f.substr(p.begin, p.end - p.begin);
            if (&p == &pieces.back()) plain = plain.substr(0, plain.find(u'\0')); // the tail ends at a NUL
            out.text += plain;
        }
    }
    return out;
}

} // namespace kestal::testing
