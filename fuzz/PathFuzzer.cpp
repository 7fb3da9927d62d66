// Paths from arbitrary UTF-16 units (zero units, lone surrogates and backslashes included), made by
// the constructor, MakePath, fromWindows and FromStdPath (the raw bytes as native text), and held
// to the relations of tests/PathInvariants.h, the element walk among them. The two halves of the
// input then meet in the joins, Swap, ReplaceExtension and both comparison rules.
#include "FuzzCheck.h"
#include "PathInvariants.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <kestal/TPathCore.h>
#include <kestal/TStringCore.h>
#include <string>
#include <string_view>

namespace {

using kestal::testing::hasZeroUnit;
using kestal::testing::sameUnits;

void holds(std::string const& failure, TStringCore const& text) {
    if (failure.empty()) return;
    std::fprintf(stderr, "broken: %s (%d units)\n", failure.c_str(), text.size());
    std::abort();
}

int sign(int x) {
    return (x > 0) - (x < 0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    if (size > 1 << 12) return 0;
    const int n = static_cast<int>(size / 2);
    std::u16string units(static_cast<std::size_t>(n), u'\0');
    std::memcpy(units.data(), data, static_cast<std::size_t>(n) * 2);
    const TStringCore text(units.data(), n);

    holds(kestal::testing::constructionFailure(text), text);
    const std::string bytes(reinterpret_cast<char const*>(data), size);
    for (TPathCore const& path : {TPathCore(text), TPathCore::MakePath(text), TPathCore::fromWindows(text),
                                  TPathCore::FromStdPath(std::filesystem::path(bytes))})
        holds(kestal::testing::pathInvariantFailure(path), path);

    const TStringCore head(units.data(), n / 2), tail(units.data() + n / 2, n - n / 2);
    const TPathCore a = TPathCore::MakePath(head), b = TPathCore::MakePath(tail);
    holds(kestal::testing::pathInvariantFailure(a / b), a / b);
    const TStringCore joined = a / b;
    FUZZ_CHECK(sameUnits(joined, head + tail) || sameUnits(joined, head + u'/' + tail));
    FUZZ_CHECK(sameUnits(a + b, head + tail) && sameUnits(TPathCore(a).Concat(b), head + tail));
    FUZZ_CHECK(sameUnits(a + tail, head + TStringCore(TPathCore(tail))));

    TPathCore x = a, y = b;
    x.Swap(y);
    FUZZ_CHECK(sameUnits(x, tail) && sameUnits(y, TPathCore(a).StripTrailingSeparator()));
    TPathCore replaced = a, removed = a, withoutName = a;
    replaced.ReplaceExtension(tail);
    removed.RemoveExtension();
    withoutName.RemoveFilename();
    const int dotAfter = a.ExtensionPosition();
    FUZZ_CHECK(TStringCore(removed).size() == (dotAfter < 0 ? head.size() : dotAfter - 1));
    FUZZ_CHECK(sameUnits(withoutName, head.left(TStringCore(withoutName).size())));
    FUZZ_CHECK(a.FilenamePosition() < 0
                   ? sameUnits(withoutName, head)
                   : TStringCore(withoutName).size() < head.size() || a.Filename().IsEmpty());
    FUZZ_CHECK(
        sameUnits(replaced, tail.isEmpty() ? TStringCore(removed) : TStringCore(removed) + u'.' + tail));

    // Equality folds case and is symmetric; ordering is a strict order on code units.
    FUZZ_CHECK((a == b) == (b == a) && (a == b) == (a.Compare(b) == 0) && a == a);
    FUZZ_CHECK(sign(a.Compare(b)) == -sign(b.Compare(a)));
    FUZZ_CHECK(!(a < a) && !(a < b && b < a));
    if (!hasZeroUnit(text)) FUZZ_CHECK((a < b) == (std::u16string_view(head) < std::u16string_view(tail)));
    return 0;
}
