// The error record's parser on arbitrary texts: three UTF-16 texts cut from the input (the first
// byte may stretch the source to 100,000 units). Nothing may escape; the parser must accept
// exactly the strict form; anything it accepts must survive a second round trip unchanged.
#include "FuzzCheck.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <kestal/TError.h>
#include <string>

namespace {

bool allOf(std::u16string const& s, bool hex) {
    for (char16_t c : s) {
        const bool digit = c >= u'0' && c <= u'9';
        const bool letter = (c >= u'a' && c <= u'f') || (c >= u'A' && c <= u'F');
        if (!digit && !(hex && letter)) return false;
    }
    return true;
}

bool sameWord(std::u16string const& s, char const* word) {
    if (s.size() != std::strlen(word)) return false;
    for (std::size_t i = 0; i < s.size(); ++i)
        if (s[i] >= 0x80 || (s[i] | 0x20) != (word[i] | 0x20)) return false;
    return true;
}

// The strict form: 1 or 2 ASCII digits below 17, a source word in any case, "0x" and 8 hex digits.
bool acceptable(std::u16string const& code, std::u16string const& source, std::u16string const& status) {
    const bool statusOk = !status.empty() && status.size() <= 2 && allOf(status, false) &&
                          std::stoi(std::string(status.begin(), status.end())) < 17;
    bool sourceOk = false;
    for (char const* word :
         {"Client", "System", "NeedsClassification", "Content", "DataSource", "Configuration"})
        sourceOk = sourceOk || sameWord(source, word);
    const bool codeOk =
        code.size() == 10 && code[0] == u'0' && code[1] == u'x' && allOf(code.substr(2), true);
    return statusOk && sourceOk && codeOk;
}

TStringCore str(std::u16string const& s) {
    return TStringCore(s.data(), static_cast<int>(s.size()));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    if (size < 3 || size > 4096) return 0;
    std::u16string units((size - 3) / 2, u'\0');
    std::memcpy(units.data(), data + 3, units.size() * 2);
    const std::size_t cut1 = data[1] % (units.size() + 1);
    const std::size_t cut2 = cut1 + data[2] % (units.size() - cut1 + 1);
    const std::u16string code = units.substr(0, cut1), status = units.substr(cut2);
    std::u16string source = units.substr(cut1, cut2 - cut1);
    if ((data[0] & 0x80) && !source.empty()) { // a long run of the source, as an attacker would send
        while (source.size() < 100000)
            source += source;
        source.resize(100000);
    }

    TError::ErrorInfo parsed = TError::ErrorInfo::NoError();
    try {
        parsed = TError::ErrorInfo::FromStringifiedMembers(str(code), str(source), str(status));
    } catch (...) {
        FUZZ_CHECK(!"an exception escaped the parser");
    }
    const bool invalid = parsed.GetVelmoraError().GetCodeName() == u"KestalInvalidErrorInfo_0xBADBEEF5";
    FUZZ_CHECK(invalid == !acceptable(code, source, status));
    if (invalid) return 0;
    FUZZ_CHECK(parsed.GetVelmoraError().GetCodeName() == u"AutoGen_" + str(code));

    TStringCore c, s, t;
    parsed.GetMembersAsStrings(c, s, t);
    const TError::ErrorInfo again = TError::ErrorInfo::FromStringifiedMembers(c, s, t);
    FUZZ_CHECK(again == parsed && c == str(code).toUpper().replace(1, 1, u"x"));
    return 0;
}
