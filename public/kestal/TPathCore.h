// TPathCore: the library's path value. Pure text processing over one TStringCore, never touching
// the file system. One grammar on every platform: POSIX paths and Windows paths written with "/",
// so a drive root ("C:") and a UNC root ("//server") are recognised on this POSIX build too. The
// only separator is "/"; a backslash is an ordinary character (fromWindows turns them into "/").
//
// There is no parsed form and no cache: each query scans the text again, so the type is as small
// as one string and copies as cheaply. Positions are int code-unit offsets, -1 for none.
//
// Only the converting constructors drop a trailing "/" (one at most, and never the one of a root
// path such as "/", "C:/" or "//server/"). Copies, MakePath, +=, Concat and path + path keep the
// text as given, and every query copes with a trailing "/". Equality ignores case; operator<
// orders code units case-sensitively, so "/A" == "/a" and yet "/A" < "/a".
//
// Only the element walk raises a path error (TPathCore::Exception): everything else takes bad input
// as just text. Building a result may raise the string layer's CapacityException or
// OutOfMemoryException.
#pragma once

#include <cstddef>
#include <filesystem>
#include <iterator>
#include <kestal/KestalExport.h>
#include <kestal/TStringCore.h>
#include <kestal/VelmoraException.h>
#include <vector>

class KESTAL_API TPathCore {
public:
    // ---- Construction and assignment --------------------------------------------------------

    /// The empty path.
    TPathCore() noexcept = default;
    /// Zero-terminated text (null gives the empty path), then StripTrailingSeparator. Implicit, so
    /// text can stand wherever a path is taken: `p / u"b"`.
    TPathCore(char16_t const* text);
    /// A copy of `text` (shared when long), then StripTrailingSeparator. Implicit, as above.
    TPathCore(TStringCore const& text);
    /// Copies and moves take the text as it stands, without stripping.
    TPathCore(TPathCore const&) noexcept = default;
    TPathCore(TPathCore&&) noexcept = default;
    TPathCore& operator=(TPathCore const&) noexcept = default;
    TPathCore& operator=(TPathCore&&) noexcept = default;
    /// The same as copy assignment.
    TPathCore& Assign(TPathCore const& other) noexcept { return *this = other; }

    /// A path holding exactly `text`, a trailing "/" included.
    static TPathCore MakePath(TStringCore const& text) noexcept;
    /// Makes the path empty.
    void Clear() noexcept { m_path.clear(); }
    /// Exchanges the paths, stripping only the value that goes to `other`: this path receives
    /// `other` as it stands, `other` receives this path after StripTrailingSeparator.
    void Swap(TPathCore& other);

    // ---- Text forms -------------------------------------------------------------------------
    // Each is a plain copy of the stored text; no conversion happens on this platform.

    operator TStringCore() const noexcept { return m_path; }
    TStringCore NativeString() const noexcept { return m_path; }
    TStringCore GenericString() const noexcept { return m_path; }
    TStringCore NativeLongPath() const noexcept { return m_path; }
    TStringCore NativeShortPath() const noexcept { return m_path; }

    // ---- Tests ------------------------------------------------------------------------------

    bool IsEmpty() const noexcept { return m_path.isEmpty(); }
    bool empty() const noexcept { return m_path.isEmpty(); }
    /// The first or last unit is "/"; false for the empty path.
    bool HasLeadingSeparator() const noexcept { return m_path.startsWith(u'/'); }
    bool HasTrailingSeparator() const noexcept { return m_path.endsWith(u'/'); }
    /// A drive ("C:", any alphabetic unit before ":") or a UNC root name.
    bool HasRootName() const noexcept { return RootNameLength() > 0; }
    /// A "/" right after the root name (at 0 when there is none).
    bool HasRootDirectory() const noexcept { return RootDirectoryPosition() >= 0; }
    bool HasRootPath() const noexcept { return HasRootName() || HasRootDirectory(); }
    /// Absolute means having a root directory: "C:" and "//server" are relative, "C:/", "/" and
    /// "//server/" absolute. IsRelative is the exact negation.
    bool IsAbsolute() const noexcept { return HasRootDirectory(); }
    bool IsRelative() const noexcept { return !HasRootDirectory(); }
    /// Starts with "//" and a third unit that is not "?", or with "//?/UNC/" (case ignored) and
    /// at least 8 units. "///x" counts; "//?/C:/x" does not.
    bool IsUNC() const noexcept;
    /// Starts with "//?/", case-sensitively; independent of IsUNC.
    bool IsExtendedLength() const noexcept;
    /// The UNC share name is two units, an alphabetic one and "$" ("//server/C$").
    bool IsAdminShare() const noexcept;
    bool HasUNCObjectName() const noexcept { return IsUNC() && UNCObjectNamePosition() >= 0; }
    /// Any unit other than "/" exists. The filename itself may then be empty ("a/" by MakePath).
    bool HasFilename() const noexcept { return FilenamePosition() >= 0; }
    /// A "." follows some non-dot unit of the filename: ".profile", "." and ".." have none, "a."
    /// has an empty one.
    bool HasExtension() const noexcept { return ExtensionPosition() >= 0; }
    bool HasStem() const noexcept;
    /// Parent() is not empty.
    bool HasParentPath() const { return !Parent().IsEmpty(); }
    /// Filename() is exactly "." or "..".
    bool IsDots() const noexcept;

    // ---- Parts and positions ----------------------------------------------------------------
    // Parts returned as TPathCore hold exactly the computed text and are never stripped again.

    /// 2 for a drive, the length up to the first "/" from position 2 (or the whole text) for UNC,
    /// else 0. The extended "//?/UNC/server" has the root name "//?".
    int RootNameLength() const noexcept;
    TPathCore RootName() const;
    /// "/" or empty.
    TPathCore RootDirectory() const;
    /// Where the root directory stands (RootNameLength), or -1.
    int RootDirectoryPosition() const noexcept;
    /// The root name followed by the root directory.
    TPathCore RootPath() const;
    /// From the unit after the last "/" (roots are not looked at: "C:a" gives "C:a", "//server"
    /// gives "server") to the end; empty when the text is only separators.
    TPathCore Filename() const;
    int FilenamePosition() const noexcept;
    /// The text after the last "." when HasExtension, without the dot; else empty.
    TStringCore Extension() const;
    /// Just after that dot, or -1.
    int ExtensionPosition() const noexcept;
    /// Filename() without its extension and dot.
    TPathCore Stem() const;
    /// The path without its filename (and the "/" before it unless that is the root directory);
    /// empty for a root, for a lone name and for the empty path. MakePath("a//b") gives "a/".
    TPathCore Parent() const;
    /// The name after the root directory, up to the next "/"; empty unless IsUNC. An empty share
    /// ("//server//x") gives the rest of the text, "/x".
    TStringCore UNCShareName() const;
    /// RootDirectoryPosition() + 1, or -1; IsUNC is not tested.
    int UNCShareNamePosition() const noexcept;
    /// From the "/" that ends the share to the end, that "/" included; empty unless IsUNC.
    TStringCore UNCObjectName() const;
    /// The first "/" after the root directory; without one, the last unit if it is "/", else -1.
    /// IsUNC is not tested.
    int UNCObjectNamePosition() const noexcept;
    /// The share's letter when IsAdminShare, else 0xFFFF.
    char16_t AdminShareDriveLetter() const noexcept;

    // ---- Changing the path ------------------------------------------------------------------

    /// Appends `other` with one "/" between unless this path ends in "/" or `other` starts with
    /// one, or either is empty. Nothing collapses: "a/" and "/b" give "a//b".
    TPathCore& Append(TPathCore const& other);
    TPathCore& operator/=(TPathCore const& other) { return Append(other); }
    /// A copy of this path with `other` appended as Append does.
    TPathCore operator/(TPathCore const& other) const;
    /// Appends the text as it stands: no separator, no stripping.
    TPathCore& operator+=(TPathCore const& other);
    TPathCore& Concat(TPathCore const& other) { return *this += other; }
    /// A copy with `other`'s text appended as it stands.
    TPathCore operator+(TPathCore const& other) const;
    /// A copy with `text` appended after stripping it as a path of its own: p + u"b/" adds "b".
    TPathCore operator+(TStringCore const& text) const;
    /// As above; null adds nothing.
    TPathCore operator+(char16_t const* text) const;
    /// A copy with the unit appended; "/" is its own root path, so it is added too.
    TPathCore operator+(char16_t unit) const;

    /// Drops one trailing "/" unless the text is its root path: "a//" becomes "a/", "/", "C:/"
    /// and "//server/" stay.
    TPathCore& StripTrailingSeparator();
    /// Removes the filename and the "/" before it, keeping a root directory: "/a" gives "/",
    /// "/a/b" gives "/a", "C:a" gives the empty path.
    TPathCore& RemoveFilename();
    /// Truncates at the extension's dot when HasExtension.
    TPathCore& RemoveExtension();
    /// RemoveExtension, then "." and `extension` unless it is empty. A leading dot in `extension`
    /// stays: ".txt" on "a.b" gives "a..txt".
    TPathCore& ReplaceExtension(TStringCore const& extension);

    // ---- Comparison -------------------------------------------------------------------------

    /// CaseInsensitive, on every platform.
    static constexpr TStringCore::CaseSensitivity caseSensitivity() noexcept {
        return TStringCore::CaseInsensitive;
    }
    /// The text comparison in caseSensitivity(): negative, 0 or positive. Stops at a zero unit.
    int Compare(TPathCore const& other) const noexcept;

    /// Equality ignores case: "/A/b" == "/a/B". A path compared with text compares with
    /// TPathCore(text), so one trailing "/" of the text is dropped first.
    friend bool operator==(TPathCore const& a, TPathCore const& b) noexcept { return a.Compare(b) == 0; }
    friend bool operator!=(TPathCore const& a, TPathCore const& b) noexcept { return a.Compare(b) != 0; }
    friend bool operator==(TPathCore const& a, TStringCore const& b) { return a.Compare(TPathCore(b)) == 0; }
    friend bool operator!=(TPathCore const& a, TStringCore const& b) { return a.Compare(TPathCore(b)) != 0; }
    friend bool operator==(TStringCore const& a, TPathCore const& b) { return b.Compare(TPathCore(a)) == 0; }
    friend bool operator!=(TStringCore const& a, TPathCore const& b) { return b.Compare(TPathCore(a)) != 0; }
    friend bool operator==(TPathCore const& a, char16_t const* b) { return a.Compare(TPathCore(b)) == 0; }
    friend bool operator!=(TPathCore const& a, char16_t const* b) { return a.Compare(TPathCore(b)) != 0; }
    friend bool operator==(char16_t const* a, TPathCore const& b) { return b.Compare(TPathCore(a)) == 0; }
    friend bool operator!=(char16_t const* a, TPathCore const& b) { return b.Compare(TPathCore(a)) != 0; }

    /// Orders the texts by unsigned code units, case-sensitively (unlike ==). Paths only.
    friend KESTAL_API bool operator<(TPathCore const& a, TPathCore const& b) noexcept;

    /// The separator, "/".
    static constexpr char16_t nativeSeparatorDEPRECATED() noexcept { return u'/'; }

    // ---- Conversions ------------------------------------------------------------------------

    /// The text with every backslash turned into "/", then stripped as the constructor does:
    /// "C:\dir\" gives "C:/dir".
    static TPathCore fromWindows(TStringCore const& text);
    /// The text in UTF-8, lone surrogates as U+FFFD. A backslash stays a plain character.
    std::filesystem::path ToStdPath() const;
    /// The native bytes read as UTF-8 (ill-formed parts as U+FFFD), then stripped as the
    /// constructor does. Raises TStringCore::Exception for 2^31 bytes or more.
    static TPathCore FromStdPath(std::filesystem::path const& path);

    // ---- Element walk -----------------------------------------------------------------------
    // The walk is position arithmetic on the text, with no parsed form: root name, root
    // directory, then the parts between separators. A relative path with a directory part yields
    // the rest of the text after its first name as one element ("a/b" walks "a", "/b", "b"), and
    // a path that ends with its root ("/", "C:/", "//server") cannot be walked past that root.

    class Exception;
    class iterator;

    /// iterator(*this, 0).
    iterator begin() const;
    /// The end iterator: start and end -1, empty text.
    iterator end() const;
    /// The number of elements, by walking from begin(); 0 for the empty path. Raises Exception
    /// (element end out of range) for a path that ends with its root.
    int size() const;
    /// The first element's text, empty for the empty path. Works on every path: "/" gives "/".
    TStringCore front() const;
    /// Always raises Exception (decrement beyond beginning), for every path: the walk cannot go
    /// back from the end.
    TStringCore back() const;
    /// The element texts, by walking from begin(); raises as size() does.
    std::vector<TStringCore> toVector() const;
    /// Appends each text, made a path and stripped of one trailing "/", to an empty path; the
    /// result is not stripped again. Not the inverse of toVector() for a relative path: "a", "/b",
    /// "b" give "a/b/b".
    static TPathCore fromVector(std::vector<TStringCore> const& elements);

private:
    // MakePath for a text built just now: moved in, not copied.
    static TPathCore Adopt(TStringCore&& text) noexcept {
        TPathCore path;
        path.m_path = static_cast<TStringCore&&>(text);
        return path;
    }

    TStringCore m_path;
};

KESTAL_API bool operator<(TPathCore const& a, TPathCore const& b) noexcept;

/// The one exception of paths: every failure of the element walk, with a record of its own code,
/// source System and status UNKNOWN. The message enters the messages only; when the process-wide
/// stack walker is active, the call stack follows it there, one line per message. Clone and Throw
/// keep the type; a move copies.
class KESTAL_API TPathCore::Exception : public VelmoraException {
public:
    Exception(TStringCore const& message, TError::ErrorInfo const& info);
    Exception(Exception const& other);
    Exception(Exception&& other);
    ~Exception() override;

    Exception* Clone() const override;
    [[noreturn]] void Throw() const override;
};

/// Walks one path element by element. It points at the path, which must outlive it, reads it on
/// every step and does not notice changes to it. One thread per iterator. An input iterator:
/// `*it` is a copy of the element text. A failed step raises TPathCore::Exception and leaves the
/// iterator as it was.
class KESTAL_API TPathCore::iterator {
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = TStringCore;
    using reference = TStringCore;
    using pointer = TStringCore const*;
    using difference_type = std::ptrdiff_t;

    /// Where an element stands: start in the text (-1 at the end), end where scanning stopped
    /// (-1 when the element runs to the end of the text), and its text.
    struct Element {
        int start;
        int end;
        TStringCore text;
    };

    /// The element at `position` of `path`; the end iterator for the empty path (any position)
    /// and for -1. Another negative position is kept, with empty text. Raises Exception for a
    /// position at or beyond the text's length, 0 excepted.
    iterator(TPathCore const& path, int position);
    iterator(iterator const&) = default;
    ~iterator() = default;
    /// Only between iterators of one path object (pointers compared, not texts); raises Exception
    /// otherwise. A move assigns the same way.
    iterator& operator=(iterator const& other);

    /// Equal when both starts are equal and the paths' texts are equal ignoring case, whichever
    /// path objects they are.
    friend bool operator==(iterator const& a, iterator const& b) noexcept { return a.Equals(b); }
    friend bool operator!=(iterator const& a, iterator const& b) noexcept { return !a.Equals(b); }

    /// A copy of the element text.
    TStringCore operator*() const { return m_element.text; }
    /// The text this iterator holds, valid until it moves.
    TStringCore const* operator->() const noexcept { return &m_element.text; }

    /// next(), then this iterator (without next()'s copy).
    iterator& operator++();
    /// A copy from before next().
    iterator operator++(int);
    /// Assigns prev(): always raises, as prev() does.
    iterator& operator--();
    iterator operator--(int);

    /// Steps to the following element and returns a copy. Raises Exception at the end, and after
    /// an element that ends the text (a path ending with its root).
    iterator next();
    /// Always raises Exception: decrement beyond beginning at the first element and at the end,
    /// out of sync elsewhere. No step back succeeds.
    iterator prev();

    /// The element at a position; start and end at a negative position, with empty text.
    Element getElement(int position) const;
    /// The element that follows; raises Exception when `element` starts outside the text.
    Element getNextElement(Element const& element) const;
    /// Where the element at `position` ends: the root name's length, one past the root
    /// directory, or the next "/" (-1 for none). Raises Exception outside the text, 0 excepted.
    int locateElementEnd(int position) const;
    /// Where the following element starts, -1 at the end. Raises Exception when `element` ends
    /// at or beyond the text's length.
    int locateNextElement(Element const& element) const;

private:
    // Starts first, and no text comparison within one path object: the answer is the same.
    bool Equals(iterator const& other) const noexcept {
        return m_element.start == other.m_element.start &&
               (m_path == other.m_path || m_path->Compare(*other.m_path) == 0);
    }

    TPathCore const* m_path;
    Element m_element;
};
