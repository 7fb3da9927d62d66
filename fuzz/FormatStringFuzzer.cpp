// Format strings on arbitrary UTF-16 templates: the outcome must be the reference's, a failure with
// its own code and message, a success with the same splice. A bad template assigned over a good
// object must leave result() inside the text.
#include "../tests/FormatStringReference.h"
#include "FuzzCheck.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <kestal/TFormatStringCore.h>
#include <string>
#include <vector>

namespace {

TStringCore str(std::u16string const& s) {
    return TStringCore(s.data(), static_cast<int>(s.size()));
}

std::u16string units(TStringCore const& s) {
    return std::u16string(std::u16string_view(s));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    if (size < 2 || size > 4096) return 0;
    std::u16string pattern((size - 2) / 2, u'\0');
    std::memcpy(pattern.data(), data + 2, pattern.size() * 2);
    const std::u16string pool[] = {u"", u"x", u"%1", u"a parameter beyond inline",
                                   std::u16string(u"n\0l", 3)};
    std::vector<std::u16string> parms(data[0] % 6);
    for (std::size_t i = 0; i < parms.size(); ++i)
        parms[i] = pool[(data[1] >> i) % 5];

    const kestal::testing::FormatOutcome expected = kestal::testing::referenceFormat(pattern, parms);
    try {
        TFormatStringCore f(str(pattern));
        for (std::u16string const& p : parms)
            f.arg(str(p));
        const TStringCore result = f.result();
        FUZZ_CHECK(expected.code == 0 && units(result) == expected.text);
    } catch (TFormatStringCore::Exception const& e) {
        FUZZ_CHECK(e.GetErrorCode() == expected.code && e.GetMessages().size() == 1 &&
                   units(e.GetMessagesFront()) == expected.text);
    }

    // Over a good object: the parameters stay, and a failed text still leaves a usable splice.
    TFormatStringCore good(u"%1<%2>");
    good.arg(u"x", u"y");
    try {
        good = str(pattern);
    } catch (TFormatStringCore::Exception const&) {
    }
    FUZZ_CHECK(units(good.formatString()) == pattern);
    try {
        FUZZ_CHECK(good.result().size() <=
                   static_cast<int>(pattern.size())); // each marker gives at most one unit
    } catch (TFormatStringCore::Exception const& e) {
        FUZZ_CHECK(e.GetErrorCode() == 0x0E2B86FBu);
    }
    return 0;
}
