// Relations that every path must keep whatever its text, shared by the path tests and the fuzzer.
// Each check returns the name of the first broken relation, or an empty string. Identities that go
// through mid skip texts with a zero unit, since mid stops there; bounds are checked always.
#pragma once

#include <kestal/TPathCore.h>
#include <kestal/TStringCore.h>
#include <string>
#include <string_view>

namespace kestal::testing {

inline bool sameUnits(TStringCore const& a, TStringCore const& b) {
    return std::u16string_view(a) == std::u16string_view(b);
}

inline bool hasZeroUnit(TStringCore const& s) {
    return std::u16string_view(s).find(u'\0') != std::u16string_view::npos;
}

inline bool hasLoneSurrogate(TStringCore const& s) {
    const std::u16string_view v(s);
    for (std::size_t i = 0; i < v.size(); ++i) {
        const bool high = v[i] >= 0xD800 && v[i] < 0xDC00,
                   nextLow = i + 1 < v.size() && (v[i + 1] & 0xFC00) == 0xDC00;
        if ((v[i] & 0xF800) == 0xD800 && !(high && nextLow)) return true;
        i += high;
    }
    return false;
}

/// The queries of one path against each other and against its text.
inline std::string pathInvariantFailure(TPathCore const& path) {
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
    if (path.UNCShareNamePosition() != (rd < 0 ? -1 : rd + 1)) return "share position";
    if (path.HasRootName() != (r > 0) || path.HasRootPath() != (r > 0 || rd >= 0)) return "has root";
    if (!sameUnits(path.RootName(), text.left(r)) ||
        !sameUnits(path.RootPath(), text.left(rd < 0 ? r : rd + 1)) ||
        !sameUnits(path.RootDirectory(), rd < 0 ? TStringCore() : TStringCore(u"/")))
        return "root parts";
    if (path.HasFilename() != (f >= 0) || path.HasExtension() != (e >= 0) ||
        (e >= 0 && (e <= f || text[e - 1] != u'.')))
        return "filename or extension position";
    const TStringCore parent = path.Parent();
    if (!parent.isEmpty() && (parent.size() >= n || !sameUnits(parent, text.left(parent.size()))))
        return "parent is not a strict prefix";
    if (path.HasParentPath() == parent.isEmpty()) return "has parent";
    if (path.IsAdminShare() ? path.AdminShareDriveLetter() != path.UNCShareName()[0]
                            : path.AdminShareDriveLetter() != 0xFFFF)
        return "admin share letter";
    if (!path.IsUNC() &&
        (!path.UNCShareName().isEmpty() || !path.UNCObjectName().isEmpty() || path.IsAdminShare()))
        return "UNC parts of a path that is not UNC";
    if (path.HasUNCObjectName() != (path.IsUNC() && object >= 0)) return "has object name";

    if (hasZeroUnit(text)) return {};

    const TStringCore filename = path.Filename(), extension = path.Extension();
    if (!sameUnits(filename, f < 0 ? TStringCore() : text.mid(f)) ||
        !sameUnits(extension, e < 0 ? TStringCore() : text.mid(e)))
        return "filename or extension text";
    const TStringCore stem = path.Stem();
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
    if (!hasLoneSurrogate(text) && !hasZeroUnit(text) &&
        !sameUnits(TPathCore::FromStdPath(TPathCore::MakePath(text).ToStdPath()), stored))
        return "std round trip";
    return {};
}

} // namespace kestal::testing
