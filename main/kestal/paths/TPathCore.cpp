// TPathCore: the grammar as scans over the stored text, and the constructors, edits and
// comparisons built on them. Each query works on the units and the size; results that run "to the
// end" stop at a zero unit, as mid does.
#include "PathRoot.h"

#include <kestal/TPathCore.h>
#include <kestal/Unicode.h>
#include <stdexcept>
#include <string>
#include <utility>

static_assert(sizeof(TPathCore) == 32, "a path is one string and nothing more");

namespace {

using kestal::paths::isUNC;
using kestal::paths::kSeparator;
using kestal::paths::rootDirectoryPosition;
using kestal::paths::rootNameLength;
using kestal::paths::Text;
using kestal::paths::textOf;

// Units [start, start + length) of the text.
struct Range {
    int start;
    int length;
};

// Units that mid(pos) takes: up to the first zero unit, nothing for a position outside the text.
int visibleLength(Text t, int pos) noexcept {
    if (pos < 0 || pos > t.n) return 0;
    int end = pos;
    while (t.units[end] != 0)
        ++end;
    return end - pos;
}

// Whether the first k units (k <= n) compare equal to the whole text. Text comparison stops at
// the first zero unit, so a prefix equals the whole exactly when a zero unit, the terminator
// included, lies at or before k. Case plays no part: the prefix has the very same units.
bool prefixEqualsWhole(Text t, int k) noexcept {
    return TStringCore::indexOf(t.units, k + 1, u'\0', 0) >= 0;
}

// The root name followed by the root directory. Appending "/" to a root name never adds a
// separator of its own, so the root path is always a prefix of the text.
int rootPathLength(Text t) noexcept {
    const int rd = rootDirectoryPosition(t);
    return rd >= 0 ? rd + 1 : rootNameLength(t);
}

// Where the filename starts and how much of it mid would take, up to a zero unit. The start is
// just after the last "/" when some unit is not "/", else -1; roots are not looked at. (With f the
// first unit that is not "/", a last "/" before f can only be at f - 1, so l + 1 is f then.)
Range filenameRange(Text t) noexcept {
    int last = t.n - 1, zero = t.n;
    for (; last >= 0 && t.units[last] != kSeparator; --last)
        if (t.units[last] == 0) zero = last;
    if (last < t.n - 1) return {last + 1, zero - last - 1};
    for (int i = 0; i < last; ++i)
        if (t.units[i] != kSeparator) return {t.n, 0}; // an empty filename after a trailing "/"
    return {-1, 0};
}

int filenameStart(Text t) noexcept {
    return filenameRange(t).start;
}

// The dot before the extension, or -1: the last "." of the text, when it follows a unit of the
// filename that is not a dot. A "." before the filename can never follow one, so only the
// filename is scanned.
int extensionDot(Text t, int start) noexcept {
    if (start < 0) return -1;
    int dot = t.n - 1;
    while (dot >= start && t.units[dot] != u'.')
        --dot;
    for (int i = start; i < dot; ++i)
        if (t.units[i] != u'.') return dot;
    return -1;
}

// The length that RemoveFilename leaves: the "/" before the filename goes too, unless it is the
// root directory.
int lengthWithoutFilename(Text t, int start) noexcept {
    if (start < 0) return t.n;
    const int rd = rootDirectoryPosition(t);
    if (rd >= 0) return start > rd + 1 ? start - 1 : start;
    return start == 0 ? 0 : start - 1;
}

// The length of the parent, or -1 when it is empty because it would equal the path.
int parentLength(Text t) noexcept {
    const int start = filenameStart(t);
    int k = t.n;
    if (t.n == 0) {
        k = 0;
    } else if (start >= 0) {
        k = lengthWithoutFilename(t, start);
    } else if (rootDirectoryPosition(t) >= 0 && t.units[t.n - 1] == kSeparator) {
        k = t.n - 1; // only separators: "///" has the parent "//"
    } else if (rootNameLength(t) >= 1) {
        k = 0;
    }
    return prefixEqualsWhole(t, k) ? -1 : k;
}

// The share name as mid gives it: from just after the root directory to the next "/". Without a
// root directory the start is -1, and mid of a negative start is empty. When the next "/" is not
// after the start, mid runs to the end, so the empty share of "//server//x" reads "/x".
Range shareName(Text t) noexcept {
    const int rd = rootDirectoryPosition(t);
    if (rd < 0) return {-1, 0};
    const int start = rd + 1;
    const int next = TStringCore::indexOf(t.units, t.n, kSeparator, start);
    return {start, next > start ? next - start : visibleLength(t, start)};
}

// indexOf "/" from just after the root directory, or from -1 without one, which per indexOf reads
// the last unit only.
int objectNamePosition(Text t) noexcept {
    const int rd = rootDirectoryPosition(t);
    return TStringCore::indexOf(t.units, t.n, kSeparator, rd >= 0 ? rd + 1 : -1);
}

bool isAdminShare(Text t) noexcept {
    if (!isUNC(t)) return false;
    const Range share = shareName(t);
    return share.length == 2 && TCType::isAlpha(t.units[share.start]) && t.units[share.start + 1] == u'$';
}

} // namespace

// ---- Construction ------------------------------------------------------------------------------

TPathCore::TPathCore(char16_t const* text)
    : m_path(text) {
    StripTrailingSeparator();
}

TPathCore::TPathCore(TStringCore const& text)
    : m_path(text) {
    StripTrailingSeparator();
}

TPathCore TPathCore::MakePath(TStringCore const& text) noexcept {
    TPathCore path;
    path.m_path = text;
    return path;
}

void TPathCore::Swap(TPathCore& other) {
    // Only the value going out is stripped; the one coming in is taken as it stands.
    TPathCore outgoing(*this);
    outgoing.StripTrailingSeparator();
    m_path = other.m_path;
    other.m_path = std::move(outgoing.m_path);
}

// ---- Tests -------------------------------------------------------------------------------------

bool TPathCore::IsUNC() const noexcept {
    return isUNC(textOf(m_path));
}

bool TPathCore::IsExtendedLength() const noexcept {
    const Text t = textOf(m_path);
    return t.n >= 4 && t.units[0] == kSeparator && t.units[1] == kSeparator && t.units[2] == u'?' &&
           t.units[3] == kSeparator;
}

bool TPathCore::IsAdminShare() const noexcept {
    return isAdminShare(textOf(m_path));
}

bool TPathCore::HasStem() const noexcept {
    const int start = FilenamePosition();
    const int extension = ExtensionPosition();
    return start >= 0 && (extension < 0 || extension > start);
}

bool TPathCore::IsDots() const noexcept {
    const Text t = textOf(m_path);
    const Range name = filenameRange(t);
    return (name.length == 1 || name.length == 2) && t.units[name.start] == u'.' &&
           t.units[name.start + name.length - 1] == u'.';
}

// ---- Parts and positions -----------------------------------------------------------------------

int TPathCore::RootNameLength() const noexcept {
    return rootNameLength(textOf(m_path));
}

TPathCore TPathCore::RootName() const {
    const int r = RootNameLength();
    return r < 1 ? TPathCore() : Adopt(m_path.left(r));
}

TPathCore TPathCore::RootDirectory() const {
    return HasRootDirectory() ? Adopt(TStringCore(u"/")) : TPathCore();
}

int TPathCore::RootDirectoryPosition() const noexcept {
    return rootDirectoryPosition(textOf(m_path));
}

TPathCore TPathCore::RootPath() const {
    // Built without stripping: StripTrailingSeparator asks for the root path, so the stripping
    // constructor here would never return.
    return Adopt(m_path.left(rootPathLength(textOf(m_path))));
}

TPathCore TPathCore::Filename() const {
    const Text t = textOf(m_path);
    const Range name = filenameRange(t);
    TPathCore result; // one named result on every path, so it is built in place
    if (name.length == t.n) {
        result.m_path = m_path; // the whole text: share it
    } else if (name.length > 0) {
        // Filled in place: names are short, and a call into the string layer costs more here.
        char16_t* out = result.m_path.resize(name.length);
        for (int i = 0; i < name.length; ++i)
            out[i] = t.units[name.start + i];
    }
    return result;
}

int TPathCore::FilenamePosition() const noexcept {
    return filenameStart(textOf(m_path));
}

TStringCore TPathCore::Extension() const {
    const int position = ExtensionPosition();
    return position < 0 ? TStringCore() : m_path.mid(position);
}

int TPathCore::ExtensionPosition() const noexcept {
    const Text t = textOf(m_path);
    const int dot = extensionDot(t, filenameStart(t));
    return dot < 0 ? -1 : dot + 1;
}

TPathCore TPathCore::Stem() const {
    TPathCore stem = Filename();
    stem.RemoveExtension();
    return stem;
}

TPathCore TPathCore::Parent() const {
    const int length = parentLength(textOf(m_path));
    TPathCore result;
    if (length > 0) result.m_path.assign(m_path.constData(), length);
    return result;
}

TStringCore TPathCore::UNCShareName() const {
    const Text t = textOf(m_path);
    if (!isUNC(t)) return {};
    const Range share = shareName(t);
    return share.length > 0 ? TStringCore(t.units + share.start, share.length) : TStringCore();
}

int TPathCore::UNCShareNamePosition() const noexcept {
    const int rd = RootDirectoryPosition();
    return rd >= 0 ? rd + 1 : -1;
}

TStringCore TPathCore::UNCObjectName() const {
    const Text t = textOf(m_path);
    if (!isUNC(t)) return {};
    const int position = objectNamePosition(t);
    return position < 0 ? TStringCore() : m_path.mid(position);
}

int TPathCore::UNCObjectNamePosition() const noexcept {
    return objectNamePosition(textOf(m_path));
}

char16_t TPathCore::AdminShareDriveLetter() const noexcept {
    const Text t = textOf(m_path);
    return isAdminShare(t) ? t.units[shareName(t).start] : char16_t(0xFFFF);
}

// ---- Changing the path -------------------------------------------------------------------------

TPathCore& TPathCore::Append(TPathCore const& other) {
    if (&other == this) return Append(TPathCore(other));
    TStringCore const& tail = other.m_path;
    if (tail.isEmpty()) return *this;
    if (m_path.isEmpty() || m_path.endsWith(kSeparator) || tail.startsWith(kSeparator)) {
        m_path.append(tail); // nothing collapses: "a/" and "/b" give "a//b"
        return *this;
    }
    m_path.reserve(m_path.size() + 1 + tail.size());
    m_path.append(kSeparator);
    m_path.append(tail);
    return *this;
}

TPathCore TPathCore::operator/(TPathCore const& other) const {
    TPathCore result;
    result.m_path.reserve(m_path.size() + 1 + other.m_path.size());
    result.m_path.append(m_path);
    result.Append(other);
    return result;
}

TPathCore& TPathCore::operator+=(TPathCore const& other) {
    if (!other.m_path.isEmpty()) m_path.append(other.m_path);
    return *this;
}

TPathCore TPathCore::operator+(TPathCore const& other) const {
    TPathCore result;
    result.m_path.reserve(m_path.size() + other.m_path.size());
    result.m_path.append(m_path);
    result.m_path.append(other.m_path);
    return result;
}

TPathCore TPathCore::operator+(TStringCore const& text) const {
    return *this + TPathCore(text);
}

TPathCore TPathCore::operator+(char16_t const* text) const {
    return *this + TPathCore(text);
}

TPathCore TPathCore::operator+(char16_t unit) const {
    // A one-unit path is stripped like any other, but "/" alone is its own root path and stays.
    return *this + TPathCore(TStringCore(&unit, 1));
}

TPathCore& TPathCore::StripTrailingSeparator() {
    const Text t = textOf(m_path);
    if (t.n == 0 || t.units[t.n - 1] != kSeparator) return *this;
    // "/", "C:/" and "//server/" keep their separator. One unit goes at most: "a//" gives "a/".
    if (!prefixEqualsWhole(t, rootPathLength(t))) m_path.truncate(t.n - 1);
    return *this;
}

TPathCore& TPathCore::RemoveFilename() {
    const Text t = textOf(m_path);
    m_path.truncate(lengthWithoutFilename(t, filenameStart(t)));
    return *this;
}

TPathCore& TPathCore::RemoveExtension() {
    const Text t = textOf(m_path);
    const int dot = extensionDot(t, filenameStart(t));
    if (dot >= 0) m_path.truncate(dot);
    return *this;
}

TPathCore& TPathCore::ReplaceExtension(TStringCore const& extension) {
    RemoveExtension();
    if (!extension.isEmpty()) {
        m_path.append(u'.');
        m_path.append(extension);
    }
    return *this;
}

// ---- Comparison --------------------------------------------------------------------------------

int TPathCore::Compare(TPathCore const& other) const noexcept {
    return m_path.compare(other.m_path, caseSensitivity());
}

bool operator<(TPathCore const& a, TPathCore const& b) noexcept {
    // Kept apart from Compare on purpose: ordering is by code units, case included.
    return a.m_path < b.m_path;
}

// ---- Conversions -------------------------------------------------------------------------------

TPathCore TPathCore::fromWindows(TStringCore const& text) {
    TStringCore forward(text);
    forward.replace(u'\\', kSeparator);
    return TPathCore(forward);
}

std::filesystem::path TPathCore::ToStdPath() const {
    const int n = m_path.size();
    if (n == 0) return {};
    // The whole text, zero units included; ICU writes U+FFFD for a lone surrogate.
    std::string bytes(static_cast<std::size_t>(Unicode::MeasureUtf16ToUtf8(m_path.constData(), n)), '\0');
    Unicode::Utf16ToUtf8(m_path.constData(), n, bytes.data(), static_cast<int>(bytes.size()) + 1);
    return std::filesystem::path(std::move(bytes));
}

TPathCore TPathCore::FromStdPath(std::filesystem::path const& path) {
    return TPathCore(TStringCore::fromStdString(path.native()));
}
