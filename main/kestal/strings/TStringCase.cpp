// Case mapping of a whole string through ICU: full mapping in ICU's default locale, so the length
// may change.
#include <kestal/TStringCore.h>
#include <unicode/ustring.h>

namespace {

using CaseMapping = int32_t (*)(UChar*, int32_t, UChar const*, int32_t, char const*, UErrorCode*);

TStringCore mapCase(TStringCore const& source, CaseMapping map) {
    TStringCore result;
    result.reserve(source.size());
    // ICU's error code is not consulted: the length it reports decides. A result that fills the
    // capacity (and so has no room for the terminator) is mapped again with enough room.
    auto run = [&] {
        UErrorCode error = U_ZERO_ERROR;
        return map(result.data(), result.capacity(), source.constData(), source.size(), nullptr, &error);
    };
    int length = run();
    if (length >= result.capacity()) {
        result.reserve(length);
        length = run();
    }
    result.resize(length);
    return result;
}

} // namespace

TStringCore TStringCore::toLower() const {
    return mapCase(*this, u_strToLower);
}

TStringCore TStringCore::toUpper() const {
    return mapCase(*this, u_strToUpper);
}
