// Format strings on arbitrary UTF-16 templates: a failure must be the scan message of its own code,
// a success must match the reference splice or raise the too-few-parameters error. A bad template
// assigned over a good object must leave result() inside the text.
#include "../tests/FormatStringReference.h"
#include "FuzzCheck.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <kestal/TFormatStringCore.h>
#include <map>
#include <string>
#include <vector>

namespace {

TStringCore str(std::u16string const& s) {
    return TStringCore(s.data(), static_cast<int>(s.size()));
}

std::u16string units(TStringCore const& s) {
    return std::u16string(std::u16string_view(s));
}

const std::map<unsigned int, std::u16string> kScanMessages = {
    {0xF7AF5E37u, u"Invalid numberless marker in format string."},
    {0xB3668D59u, u"Leading zero in marker number in format string."},
    {0xCA249FEEu, u"Invalid marker number > 99 in format string."},
    {0xA33EDF83u, u"Format string ends with an incomplete marker."},
};

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
    bool scanned = false;
    try {
        TFormatStringCore f(str(pattern));
        scanned = true;
        for (std::u16string const& p : parms)
            f.arg(str(p));
        const TStringCore result = f.result();
        FUZZ_CHECK(expected.code == 0 && units(result) == expected.text);
    } catch (TFormatStringCore::Exception const& e) {
        FUZZ_CHECK(e.GetErrorCode() == expected.code && e.GetMessages().size() == 1);
        if (scanned) {
            FUZZ_CHECK(expected.code == 0x0E2B86FBu);
        } else {
            FUZZ_CHECK(kScanMessages.count(expected.code) == 1 &&
                       units(e.GetMessagesFront()) == kScanMessages.at(expected.code));
        }
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
