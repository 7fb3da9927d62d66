// Relations that every path must keep whatever its text, shared by the path tests and the fuzzer.
// Each check returns the name of the first broken relation, or an empty string. Identities that go
// through mid skip texts with a zero unit, since mid stops there; bounds are checked always.
#pragma once

#include <algorithm>
#include <kestal/TPathCore.h>
#include <kestal/TStringCore.h>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kestal::testing {

inline bool sameUnits(TStringCore const& a, TStringCore const& b) {
    return std::u16string_view(a) == std::u16string_view(b);
}

inline bool hasZeroUnit(TStringCore const& s) {
    return std::u16string_view(s).find(u'\0') != std::u16string_view::npos;
}

// For a text without a zero unit: the trip through UTF-8 changes exactly the lone surrogates.
inline bool hasLoneSurrogate(TStringCore const& s) {
    return !sameUnits(TStringCore::fromStdString(s.toStdString()), s);
}

/// The code of the TPathCore::Exception that `action` raises, 0 for none.
template <class F>
unsigned pathFailureCode(F&& action) {
    try {
        action();
    } catch (TPathCore::Exception const& e) {
        return e.GetErrorCode();
    }
    return 0;
}

/// The element walk: starts strictly increase inside the text, each text stands at its start,
/// elements from the fourth on are names, and the iterator, size, toVector and front agree with
/// the element functions. The only failure is the element end, exactly for a path ending with its
/// root; a failed step moves nothing; stepping back fails (out of sync at the second element,
/// beyond the beginning from the end, as back() does).
inline std::string walkFailure(TPathCore const& path) {
    constexpr unsigned kElementEnd = 0x38CA4808, kBeyondBeginning = 0x6C884971, kOutOfSync = 0x2BC6B9CE;
    const TStringCore text = path;
    const std::u16string_view units(text);
    const int n = text.size(), r = path.RootNameLength(), rd = path.RootDirectoryPosition();
    TPathCore::iterator it = path.begin();
    TPathCore::iterator::Element e = n == 0 ? TPathCore::iterator::Element{-1, -1, {}} : it.getElement(0);
    std::vector<TStringCore> walked;
    unsigned code = 0;
    for (int previous = -1; code == 0 && it != path.end();) {
        if (e.start <= std::exchange(previous, e.start) || e.start >= n || e.end < -1 || e.end > n ||
            units.substr(std::size_t(e.start), std::size_t(e.text.size())) != std::u16string_view(e.text))
            return "element position or text";
        if (it != TPathCore::iterator(path, e.start) || !sameUnits(*it, e.text) ||
            it->size() != e.text.size())
            return "iterator and element functions disagree";
        if (walked.size() >= 3 && (e.text.contains(u'/') || (e.text.isEmpty() && !hasZeroUnit(text))))
            return "a later element is not a name";
        TPathCore::iterator back = it;
        if (walked.size() == 1 && (pathFailureCode([&] { --back; }) != kOutOfSync || back != it))
            return "stepping back";
        walked.push_back(e.text);
        const TPathCore::iterator before = it;
        if ((code = pathFailureCode([&] { ++it; })) == 0)
            e = it.getNextElement(e);
        else if (it != before || !sameUnits(*it, *before))
            return "a failed step moved the iterator";
    }
    if (code != (n > 0 && (r == n || rd == n - 1) ? kElementEnd : 0)) return "the walk's failure";
    if (code == 0 && e.start != -1) return "the walk and the elements end apart";
    int counted = -1;
    std::vector<TStringCore> listed;
    if (pathFailureCode([&] { counted = path.size(); }) != code ||
        pathFailureCode([&] { listed = path.toVector(); }) != code ||
        (code == 0 && (counted != int(walked.size()) ||
                       !std::equal(listed.begin(), listed.end(), walked.begin(), walked.end(), sameUnits))))
        return "size or toVector";
    if (!sameUnits(path.front(), walked.empty() ? TStringCore() : walked.front())) return "front";
    if (pathFailureCode([&] { path.back(); }) != kBeyondBeginning) return "back";
    return {};
}

/// The queries of one path against each other and against its text, and its walk.
inline std::string pathInvariantFailure(TPathCore const& path) {
    if (std::string walk = walkFailure(path); !walk.empty()) return walk;
    const TStringCore text = path;
    const int n = text.size(), r = path.RootNameLength(), rd = path.RootDirectoryPosition();
    const int f = path.FilenamePosition(), e = path.ExtensionPosition(),
              object = path.UNCObjectNamePosition();
    for (int p : {rd, f, e, path.UNCShareNamePosition(), object})
        if (p < -1 || p > n) return "position outside -1..n";
    if (r < 0 || r > n) return "root name length outside 0..n";
    if (path.IsAbsolute() != path.HasRootDirectory() || path.IsRelative() == path.IsAbsolute())
        return "absolute, relative and root directory disagree";
    if (rd != -1 && rd != r) return "root directory not at the root name length";
    if (!sameUnits(path.RootName(), text.left(r)) ||
        !sameUnits(path.RootPath(), text.left(rd < 0 ? r : rd + 1)))
        return "root parts";
    if (e >= 0 && (e <= f || text[e - 1] != u'.')) return "extension position";
    const TStringCore parent = path.Parent();
    if (!parent.isEmpty() && (parent.size() >= n || !sameUnits(parent, text.left(parent.size()))))
        return "parent is not a strict prefix";
    if (path.IsAdminShare() ? path.AdminShareDriveLetter() != path.UNCShareName()[0]
                            : path.AdminShareDriveLetter() != 0xFFFF)
        return "admin share letter";
    if (!path.IsUNC() &&
        (!path.UNCShareName().isEmpty() || !path.UNCObjectName().isEmpty() || path.IsAdminShare()))
        return "UNC parts of a path that is not UNC";

    if (hasZeroUnit(text)) return {};

    const TStringCore filename = path.Filename(), extension = path.Extension(), stem = path.Stem();
    if (!sameUnits(filename, f < 0 ? TStringCore() : text.mid(f)) ||
        !sameUnits(extension, e < 0 ? TStringCore() : text.mid(e)))
        return "filename or extension text";
    if (!sameUnits(e < 0 ? stem : stem + u'.' + extension, filename)) return "stem . extension";
    if (path.IsDots() != (filename == u"." || filename == u"..")) return "dots";
    if (path.HasUNCObjectName() && !sameUnits(path.UNCObjectName(), text.mid(object))) return "object name";
    return {};
}

/// Building paths from `text`: the constructors drop at most one "/" and agree with each other,
/// fromWindows leaves no backslash, and the trip through std::filesystem::path is the constructor.
inline std::string constructionFailure(TStringCore const& text) {
    const TStringCore stored = TPathCore(text);
    if (!sameUnits(stored, text) && !sameUnits(stored + u'/', text))
        return "constructor dropped more than one /";
    if (!sameUnits(stored, text) && sameUnits(TPathCore::MakePath(text).RootPath(), text))
        return "constructor stripped a root path";
    if (!hasZeroUnit(text) && !sameUnits(TPathCore(text.constData()), stored))
        return "text constructors disagree";
    if (TStringCore(TPathCore::fromWindows(text)).contains(u'\\')) return "fromWindows left a backslash";
    if (!hasZeroUnit(text) && !hasLoneSurrogate(text) &&
        !sameUnits(TPathCore::FromStdPath(TPathCore::MakePath(text).ToStdPath()), stored))
        return "std round trip";
    return {};
}

} // namespace kestal::testing
