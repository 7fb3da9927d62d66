// TStringCore: the library's string value. UTF-16 text with copy on write over TStringManager;
// 14 code units live inline, longer text is shared by reference count until a write. Sizes,
// positions and counts are signed 32-bit code-unit counts; a negative length argument means
// "zero-terminated". Editing by a bad position is a silent no-op, never an error; only element
// access raises range errors. Comparisons run in code-unit order and stop at the first zero unit,
// as zero-terminated text does. Most operations work on code units and may split surrogate pairs.
#pragma once

#include <cstddef>
#include <iosfwd>
#include <iterator>
#include <kestal/KestalExport.h>
#include <kestal/TConstCodePointIterator.h>
#include <kestal/TStringManager.h>
#include <string>
#include <string_view>
#include <vector>

class KESTAL_API TStringCore : public TStringManager {
public:
    class Exception;
    class CapacityException;
    class OutOfMemoryException;

    /// Case mode of comparisons and searches; only CaseSensitive (1) is tested for, any other
    /// value folds case.
    enum CaseSensitivity : int { CaseInsensitive = 0, CaseSensitive = 1 };

    using iterator = char16_t*;
    using const_iterator = char16_t const*;
    using reverse_iterator = std::reverse_iterator<char16_t*>;
    using const_reverse_iterator = std::reverse_iterator<char16_t const*>;

    // ---- Construction and measurement -------------------------------------------------------

    TStringCore() noexcept = default;
    TStringCore(TStringCore const&) noexcept = default;
    TStringCore(TStringCore&&) noexcept = default;
    TStringCore& operator=(TStringCore const&) noexcept = default;
    TStringCore& operator=(TStringCore&&) noexcept = default;
    ~TStringCore() = default;

    /// Copies `length` units of `text` (negative: up to its first zero unit), embedded zeros
    /// included. A null text or a zero length gives the empty string. Raises CapacityException
    /// when the text is 0x7FFFFFF8 units or longer.
    TStringCore(char16_t const* text, int length = -1);

    /// Zero-terminated length of `text` in code units; 0 for null. Raises CapacityException at
    /// 0x7FFFFFF8 units.
    static int length(char16_t const* text);
    /// Twice length(text). Raises CapacityException as length does, and for texts of 2^30 units or
    /// more, whose byte count an int cannot hold.
    static int lengthInBytes(char16_t const* text);

    /// True for the empty string.
    bool isEmpty() const noexcept { return size() == 0; }
    /// Sets the size (negative: 0), as TStringManager::resize; returns the writable text.
    char16_t* resize(int size) {
        if (!isLong() && static_cast<unsigned>(size) < InlineCapacity) { // short stays short, inline here
            m_shortSize = static_cast<std::int16_t>(size);
            m_inline[size] = 0;
            return m_inline;
        }
        return TStringManager::resize(size < 0 ? 0 : size);
    }
    /// Grows the capacity to at least size + 1 units (policy ToSize).
    void reserve(int size) { changeCapacity(size, ToSize); }
    /// Empty, inline, block released.
    void clear() noexcept { reset(); }

    // ---- Element access ---------------------------------------------------------------------
    // Positions up to and including size() are valid; size() is the terminator. Beyond that the
    // operators raise Exception. Non-const forms detach a shared string.

    char16_t& operator[](int index);
    char16_t operator[](int index) const;
    char16_t& operator[](unsigned long index);
    char16_t operator[](unsigned long index) const;
    char16_t at(int index) const;

    // ---- Pointer and iterator access --------------------------------------------------------
    // The non-const forms detach a shared string even when used only for reading; a failure of
    // that detach terminates the process. The const forms never detach.

    char16_t* data() noexcept;
    char16_t const* data() const noexcept { return constData(); }
    operator char16_t const*() const noexcept { return constData(); }
    operator std::u16string_view() const noexcept { return {constData(), static_cast<std::size_t>(size())}; }

    iterator begin() noexcept { return data(); }
    iterator end() noexcept { return data() + size(); }
    const_iterator begin() const noexcept { return constData(); }
    const_iterator end() const noexcept { return constData() + size(); }
    const_iterator cbegin() const noexcept { return begin(); }
    const_iterator cend() const noexcept { return end(); }
    reverse_iterator rbegin() noexcept { return reverse_iterator(end()); }
    reverse_iterator rend() noexcept { return reverse_iterator(begin()); }
    const_reverse_iterator rbegin() const noexcept { return const_reverse_iterator(end()); }
    const_reverse_iterator rend() const noexcept { return const_reverse_iterator(begin()); }
    const_reverse_iterator crbegin() const noexcept { return rbegin(); }
    const_reverse_iterator crend() const noexcept { return rend(); }
    /// First and last unit. No check for the empty string: back() then addresses the unit before the text.
    char16_t& front() noexcept { return *data(); }
    char16_t& back() noexcept { return *(end() - 1); }
    char16_t const& front() const noexcept { return *constData(); }
    char16_t const& back() const noexcept { return *(end() - 1); }

    // ---- Comparison -------------------------------------------------------------------------
    // Code-unit order (a surrogate sorts below U+E000), stopping at the first zero unit. Only ==
    // and != between two strings test sizes first. Case folding, where asked, is per unit: ASCII
    // A-Z by table, the rest by ICU simple folding; a null pointer compares as the empty text.

    bool operator==(TStringCore const& other) const noexcept;
    bool operator!=(TStringCore const& other) const noexcept { return !(*this == other); }
    bool operator<(TStringCore const& other) const noexcept { return compare(other) < 0; }
    bool operator<=(TStringCore const& other) const noexcept { return compare(other) <= 0; }
    bool operator>(TStringCore const& other) const noexcept { return compare(other) > 0; }
    bool operator>=(TStringCore const& other) const noexcept { return compare(other) >= 0; }
    bool operator==(char16_t const* text) const noexcept { return compare(text) == 0; }
    bool operator!=(char16_t const* text) const noexcept { return compare(text) != 0; }
    bool operator<(char16_t const* text) const noexcept { return compare(text) < 0; }
    bool operator<=(char16_t const* text) const noexcept { return compare(text) <= 0; }
    bool operator>(char16_t const* text) const noexcept { return compare(text) > 0; }
    bool operator>=(char16_t const* text) const noexcept { return compare(text) >= 0; }

    /// -1, 0 or 1.
    int compare(char16_t const* text, CaseSensitivity cs = CaseSensitive) const noexcept;
    /// -1, 0 or 1; no size test, so text followed by a zero unit and more equals the text alone.
    int compare(TStringCore const& other, CaseSensitivity cs = CaseSensitive) const noexcept;
    /// -1, 0 or 1 for two zero-terminated texts; the same pointer twice is equal.
    static int compare(char16_t const* a, char16_t const* b, CaseSensitivity cs = CaseSensitive) noexcept;
    /// As compare, over at most `n` units (negative: unlimited; 0: equal).
    static int compareN(char16_t const* a, char16_t const* b, int n,
                        CaseSensitivity cs = CaseSensitive) noexcept;

    // ---- Appending, prepending, assigning ---------------------------------------------------
    // All raise CapacityException when the result would reach 0x7FFFFFF8 units and
    // OutOfMemoryException when allocation fails, leaving the string unchanged.

    /// Appends one unit. Amortised constant time.
    void push_back(char16_t unit) {
        if (!appendInPlace(unit)) appendUnitSlow(unit);
    }
    /// Appends a copy of `other` (which may be this string); detaches a shared string even when
    /// `other` is empty.
    void push_back(TStringCore const& other) { append(other); }
    TStringCore& append(char16_t unit) {
        push_back(unit);
        return *this;
    }
    /// Appends the byte widened without sign (no decoding).
    TStringCore& append(char unit) { return append(static_cast<char16_t>(static_cast<unsigned char>(unit))); }
    TStringCore& append(TStringCore const& other);
    /// Appends `length` units of `text` (negative: zero-terminated). `text` may point into this
    /// string, terminator included; it is read safely across the reallocation.
    TStringCore& append(char16_t const* text, int length = -1) { return appendHandleSelf(text, length); }
    /// Appends `count` units from `pos` of this string (negative or too many: to the end).
    TStringCore& appendFromSelf(int pos, int count = -1);

    void push_front(char16_t unit) { prepend(unit); }
    void push_front(TStringCore const& other) { prepend(other); }
    TStringCore& prepend(char16_t unit);
    TStringCore& prepend(TStringCore const& other) { return insert(0, other); }
    TStringCore& prepend(char16_t const* text, int length = -1) { return insert(0, text, length); }

    /// `count` copies of `unit` (the char form widens without sign); a negative count changes nothing.
    void assign(char unit, int count) {
        assign(static_cast<char16_t>(static_cast<unsigned char>(unit)), count);
    }
    void assign(char16_t unit, int count);
    /// Replaces the text by `length` units of `text` (negative: zero-terminated), which may lie
    /// inside this string.
    void assign(char16_t const* text, int length = -1) { assignHandleSelf(text, length); }
    TStringCore& set(char16_t const* text, int length = -1) {
        assignHandleSelf(text, length);
        return *this;
    }

    // ---- Inserting, removing, replacing by position -----------------------------------------

    /// Inserts one unit at `pos` (0..size); may split a surrogate pair.
    TStringCore& insert(int pos, char16_t unit);
    /// Inserts `length` units (negative: zero-terminated) at `pos`. Refuses a position holding a
    /// low surrogate, so a pair is never split. Text inside this string that lies at or behind
    /// `pos` is read after the shift.
    TStringCore& insert(int pos, char16_t const* text, int length = -1);
    TStringCore& insert(int pos, TStringCore const& other) {
        return insert(pos, other.constData(), other.size());
    }
    /// Removes `count` units from `pos`; a negative pos removes pos + count from the start;
    /// a count reaching the end cuts there.
    TStringCore& removeAt(int pos, int count);
    /// Drops `n` units from the end (all when n >= size).
    void chop(int n);
    /// Cuts to `n` units (negative: 0) when longer.
    TStringCore& truncate(int n);
    /// Cuts at the first zero unit inside the text, if any.
    TStringCore& truncateAtFirstNull();
    /// Replaces `count` units at `pos` by `length` units of `text` (negative: zero-terminated).
    TStringCore& replace(int pos, int count, char16_t const* text, int length = -1);
    TStringCore& replace(int pos, int count, TStringCore const& other) {
        return replace(pos, count, other.constData(), other.size());
    }
    /// Exchanges the texts; long strings swap blocks without copying text.
    void swap(TStringCore& other) noexcept;

    // ---- Substrings -------------------------------------------------------------------------
    // A result that is the whole string shares its block.

    TStringCore left(int n) const;
    TStringCore right(int n) const;
    /// `n` units from `pos`; a negative n takes up to the first zero unit from `pos`.
    TStringCore mid(int pos, int n = -1) const;

    // ---- UTF-8 and code points ----
    // UTF-8 input converts through ICU: each ill-formed part becomes U+FFFD. Iterator arguments
    // must belong to this string where said, else std::runtime_error; an end iterator stands for
    // the size. Counts of code points stop at the first zero unit.

    /// Appends `length` bytes of UTF-8 (negative: zero-terminated); null or empty changes nothing.
    /// Raises Exception for 2^31 bytes or more, or when the conversion fails (the string is then
    /// left enlarged, the new units unset).
    TStringCore& append(char const* text, int length = -1);
    /// Null appends nothing; without this, a null literal would match both text types.
    TStringCore& append(std::nullptr_t, int = -1) { return *this; }
    /// Replaces the text by the UTF-8 `text`, as append.
    TStringCore& assign(char const* text, int length = -1);
    /// Null empties the string, as either text type would.
    void assign(std::nullptr_t, int = -1) { TStringManager::resize(0); }
    /// A new string from `length` bytes of UTF-8 (negative: zero-terminated). Raises as append.
    static TStringCore fromUtf8(char const* text, int length = -1);
    /// A new string from UTF-8; raises Exception when the text has 2^31 bytes or more.
    static TStringCore fromStdString(std::string const& text);

    /// Code points up to the first zero unit; a lone surrogate counts as one.
    int lengthInCodePoints() const;
    static int lengthInCodePoints(char16_t const* text);
    /// Code points that begin in `count` units from `start` (negative: to the end); a pair counts
    /// as one even when `count` ends inside it. 0 when start is out of range.
    int subStringSizeInCodePoints(int start, int count) const noexcept;
    /// Units that `count` code points take from `start` (negative: to the first zero unit); 0 when
    /// start is out of range.
    int subStringSizeInCodeUnits(int start, int count) const noexcept;
    /// On the first code point; the end iterator for the empty string.
    TConstCodePointIterator<TStringCore> codepoint_cbegin() const;
    /// The end iterator.
    TConstCodePointIterator<TStringCore> codepoint_cend() const;

    /// Inserts at the iterator's position as insert(int, text, length) does. Raises
    /// std::runtime_error for an iterator of another string.
    TStringCore& insert(TConstCodePointIterator<TStringCore> const& at, char16_t const* text,
                        int length = -1);
    TStringCore& insert(TConstCodePointIterator<TStringCore> const& at, TStringCore const& other);
    /// The code unit position at which insert(at, ...) inserts. Raises as insert.
    int getInsertCodeUnitIndex(TConstCodePointIterator<TStringCore> const& at) const;
    /// removeAt(position, count), `count` in code units; an end iterator changes nothing. Raises as insert.
    TStringCore& removeAt(TConstCodePointIterator<TStringCore> const& at, int count);
    /// truncate(position); an end iterator changes nothing. Raises as insert.
    TStringCore& truncate(TConstCodePointIterator<TStringCore> const& at);
    /// Replaces each code point that begins in `count` units from `pos` by one unit `unit`; a pair
    /// is taken whole even when `count` ends inside it. Bad positions change nothing.
    TStringCore& replace(int pos, int count, char16_t unit);
    /// The same at the iterator's position, not checked to belong to this string; an end iterator
    /// changes nothing.
    TStringCore& replace(TConstCodePointIterator<TStringCore> const& at, int count, char16_t unit);
    /// replace(position, count, other) in code units; an end iterator changes nothing.
    TStringCore& replace(TConstCodePointIterator<TStringCore> const& at, int count, TStringCore const& other);
    /// `count` copies of `unit`; a negative count keeps the length in code points.
    TStringCore& fill(char16_t unit, int count = -1);
    /// `count` code points from `first` (-1: to the first zero unit) as a new, unshared string.
    TStringCore mid(TConstCodePointIterator<TStringCore> const& first, int count) const;
    /// The units from `first` up to `last` (end iterator: to the end); empty if `last` is not after
    /// `first`. The iterators are not checked to belong to this string.
    TStringCore mid(TConstCodePointIterator<TStringCore> const& first,
                    TConstCodePointIterator<TStringCore> const& last) const;

    // ---- Encodings ----
    // Text in from and out to Latin-1, Latin-9, the local 8-bit encoding, UTF-16, UTF-32 and
    // wchar_t (UTF-32 here). The legacy conversions differ on purpose, from each other and in their
    // two directions: see each one for NUL units, loss and surrogate pairs. Bad text never raises;
    // it becomes U+FFFD, "?" or ends the text. Allocation failures raise as resize; lengths beyond
    // the string's limit raise CapacityException. Each `lossy`, when given, is set false first.

    static_assert(sizeof(wchar_t) == 4, "wchar_t text is read as UTF-32");

    /// `length` bytes of ISO 8859-1 (negative: up to the first NUL), one unit per byte; a NUL
    /// inside `length` is kept. Null or a zero length gives the empty string.
    static TStringCore fromLatin1(char const* text, int length = -1);
    static TStringCore fromLatin1(std::string_view text);
    /// ISO 8859-15: as fromLatin1, with the eight bytes that differ from Latin-1 mapped (0xA4 to
    /// U+20AC and so on); a NUL inside `length` ends the text.
    static TStringCore fromLatin9(char const* text, int length = -1);
    static TStringCore fromLatin9(std::string_view text);
    /// Through ICU's default converter (UTF-8 on this platform): decoding stops at a converter
    /// error, and a last byte that decodes to U+001A is dropped. A converter that cannot be opened
    /// gives the empty string.
    static TStringCore fromLocal8Bit(char const* text, int length = -1);
    static TStringCore fromLocal8Bit(std::string_view text);
    /// The units copied unchecked (lone surrogates pass), as the constructor.
    static TStringCore fromUtf16(char16_t const* text, int length = -1);
    /// As fromUtf16 over the whole string; CapacityException beyond 2^31 - 1 units.
    static TStringCore fromStdU16String(std::u16string const& text);
    /// `length` UTF-32 values (negative: up to the first 0); surrogate values and values above
    /// 0x10FFFF become U+FFFD. CapacityException, before the text is read, when twice the length
    /// reaches 0x7FFFFFF8.
    static TStringCore fromUtf32(char32_t const* text, int length = -1);
    /// fromUtf32 over wchar_t text.
    static TStringCore fromWChar(wchar_t const* text, int length = -1);
    /// fromUtf32 over the whole string; CapacityException beyond 2^31 - 1 values.
    static TStringCore fromStdWString(std::wstring const& text);

    /// One byte per unit: units below 256 as themselves (NULs kept), any other as "?" with
    /// *lossy true, so a surrogate pair gives "??".
    std::string toLatin1(bool* lossy = nullptr) const;
    /// Latin-1 by code point up to the first NUL unit: a pair or any unit from 256 on gives one
    /// "?". U+20AC and the other Latin-9 letters are not mapped back. Without loss the result
    /// keeps the string's size, NUL-filled behind a NUL unit; with loss it ends at its first NUL.
    std::string toLatin9(bool* lossy = nullptr) const;
    /// Through ICU's default converter, ended at the first NUL byte; *lossy is never set true.
    std::string toLocal8Bit(bool* lossy = nullptr) const;
    /// UTF-8, lone surrogates as U+FFFD. A first unit of NUL gives the empty result.
    std::string toStdString() const;
    /// The units as they are; a first unit of NUL gives the empty result.
    std::u16string toStdU16String() const;
    /// UTF-32, lone surrogates as U+FFFD; a first unit of NUL gives the empty result.
    std::wstring toStdWString() const;
    /// UTF-32 into `buffer`, terminated; returns the values written, terminator not counted. -1
    /// when nothing was converted: a null buffer, a negative capacity (nothing written) or one not
    /// above size() in code units (buffer[0] then set to 0 unless capacity is 0).
    int toWCharArray(wchar_t* buffer, int capacity) const;
    /// size() + 1 elements, whatever was converted: a text with pairs ends in extra zeros.
    std::vector<wchar_t> toWCharVector() const;

    /// True when the first unit is the byte order mark U+FEFF.
    bool hasBOM() const noexcept { return size() > 0 && constData()[0] == 0xFEFF; }
    /// Puts a mark in front unless one is there; that case keeps a shared string shared.
    TStringCore& prependBOM();
    /// Removes one mark from the front, if there; without one a shared string stays shared.
    /// Detaches otherwise; a failed detach raises and leaves the string as it was.
    TStringCore& removeBOM();

    // ---- Search ----
    // Results are code-unit indices, -1 for "not found"; iterator results are the end iterator
    // for that, and know their code point number only at position 0 (findLast by pattern keeps
    // the number of `from` as it walks back). A negative `from` of a forward search counts from
    // the end (the end iterator's position of -1 therefore starts at the last unit), except in
    // the set searches, where it finds nothing. Zero-terminated arguments are measured to their
    // first zero unit and raise CapacityException at 0x7FFFFFF8 units. A case-sensitive search
    // allocates nothing; a folding one allocates one table of patternSize ints. Folding is per
    // unit, as in compare, except in the backward searches by pattern, which fold whole code
    // points. Iterator forms that find a low surrogate raise std::runtime_error.

    /// First index at or after `from` where `patternSize` units of `pattern` occur in `size` units
    /// of `text`. An empty pattern (null or first unit zero) is found at the start, but nothing is
    /// found in an empty text or from the size on.
    static int findStr(char16_t const* text, int size, char16_t const* pattern, int patternSize, int from,
                       CaseSensitivity cs);
    /// findStr with the pattern measured.
    static int findStr(char16_t const* text, int size, char16_t const* pattern, int from, CaseSensitivity cs);
    /// findStr with text and pattern measured; a null text finds nothing.
    static int findStr(char16_t const* text, char16_t const* pattern, int from = 0,
                       CaseSensitivity cs = CaseSensitive);
    /// findStr over this string; the pattern is measured, for a TStringCore too.
    int indexOf(char16_t const* pattern, int from = 0, CaseSensitivity cs = CaseSensitive) const;
    int indexOf(TStringCore const& pattern, int from = 0, CaseSensitivity cs = CaseSensitive) const;
    /// Whether the measured pattern occurs in this string taken to its first zero unit.
    bool contains(char16_t const* pattern, CaseSensitivity cs = CaseSensitive) const;
    /// Whether the pattern, with its size, occurs in this string, with its size. The empty pattern
    /// occurs in every string but the empty one.
    bool contains(TStringCore const& pattern, CaseSensitivity cs = CaseSensitive) const;
    /// indexOf as an iterator. Raises std::runtime_error when the match starts on a low surrogate.
    TConstCodePointIterator<TStringCore> find(char16_t const* pattern,
                                              CaseSensitivity cs = CaseSensitive) const;
    TConstCodePointIterator<TStringCore> find(char16_t const* pattern,
                                              TConstCodePointIterator<TStringCore> const& from,
                                              CaseSensitivity cs = CaseSensitive) const;
    /// Last start of the measured pattern at or before `from` (-1: the size; below -1: counted
    /// from the end), compared by code points. An empty pattern finds nothing.
    int lastIndexOf(char16_t const* pattern, int from = -1, CaseSensitivity cs = CaseSensitive) const;
    int lastIndexOf(TStringCore const& pattern, int from = -1, CaseSensitivity cs = CaseSensitive) const;
    /// Last match, by code points, whose last code point is at or before `from`; nothing is found
    /// from the first code point. Raises std::runtime_error for an iterator of another string.
    TConstCodePointIterator<TStringCore> findLast(TStringCore const& pattern,
                                                  CaseSensitivity cs = CaseSensitive) const;
    TConstCodePointIterator<TStringCore> findLast(TStringCore const& pattern,
                                                  TConstCodePointIterator<TStringCore> const& from,
                                                  CaseSensitivity cs = CaseSensitive) const;
    /// Occurrences of the measured pattern in this string taken to its first zero unit. Matches
    /// may overlap: the walk steps by the pattern's first code point. 0 for an empty pattern.
    int count(char16_t const* pattern, CaseSensitivity cs = CaseSensitive) const;
    int count(TStringCore const& pattern, CaseSensitivity cs = CaseSensitive) const;

    /// Whether `unit` is one of the size units.
    bool contains(char16_t unit) const noexcept;
    /// First index of `unit` at or after `from`.
    int indexOf(char16_t unit, int from = 0) const noexcept;
    /// The same over `size` units of `text` (negative: measured); a null text finds nothing.
    static int indexOf(char16_t const* text, int size, char16_t unit, int from);
    /// Last index of `unit` at or before `from` (-1: the size, so the zero unit finds the
    /// terminator; below -1: counted from the end).
    int lastIndexOf(char16_t unit, int from = -1) const noexcept;
    /// First code point of the measured `text` at or after `from` equal to `unit`, by the set
    /// search: a unit of 0x80 or above is compared as a code point, a lone surrogate as U+FFFD.
    /// The zero unit finds nothing.
    static int findChar(char16_t const* text, char16_t unit, int from = 0);
    /// indexOf(unit) as an iterator; raises std::runtime_error on a low surrogate.
    TConstCodePointIterator<TStringCore> find(char16_t unit) const;
    TConstCodePointIterator<TStringCore> find(char16_t unit,
                                              TConstCodePointIterator<TStringCore> const& from) const;
    /// Last `unit` at or before `from`, the end iterator standing for the terminator. Nothing is
    /// found from the first code point. Raises std::runtime_error for an iterator of another string.
    TConstCodePointIterator<TStringCore> findLast(char16_t unit) const;
    TConstCodePointIterator<TStringCore> findLast(char16_t unit,
                                                  TConstCodePointIterator<TStringCore> const& from) const;
    /// Occurrences of `unit` among the size units, zero units included.
    int count(char16_t unit) const noexcept;

    /// First index at or after `from` (negative: nothing) of a member of the measured `set`. A set
    /// of ASCII units matches units; any other set matches code points, a lone surrogate on either
    /// side as U+FFFD. A TStringCore set is measured to its first zero unit too.
    int findOneOf(char16_t const* set, int from = 0) const;
    int findOneOf(TStringCore const& set, int from = 0) const;
    /// findOneOf from the iterator's position, as an iterator; the end iterator finds nothing. The
    /// TStringCore form expands a non-ASCII set over its whole size.
    TConstCodePointIterator<TStringCore> findOneOf(char16_t const* set,
                                                   TConstCodePointIterator<TStringCore> from) const;
    TConstCodePointIterator<TStringCore> findOneOf(TStringCore const& set,
                                                   TConstCodePointIterator<TStringCore> from) const;
    /// findOneOf over the measured `text`.
    static int findOneOf(char16_t const* text, char16_t const* set, int from);
    /// First unit at or after `from` that differs from `unit`; -1 if none or `from` is out of range.
    int findOneNotOf(char16_t unit, int from = 0) const noexcept;
    /// First code point at or after `from` (trusted to start one) that is not in `set`; an empty
    /// set answers `from` itself when it lies inside the string.
    int findOneNotOf(char16_t const* set, int from = 0) const;
    int findOneNotOf(TStringCore const& set, int from = 0) const;
    /// The same over zero-terminated `text`. An ASCII set of one unit answers the terminator's
    /// index when every unit matches; a larger ASCII set answers -1 then.
    static int findOneNotOf(char16_t const* text, char16_t const* set, int from);
    /// First index in zero-terminated `text` whose unit differs from `unit` (the length when all
    /// match); for the zero unit, 0 or -1 for an empty text.
    static int findOneNotOf(char16_t const* text, char16_t unit) noexcept;

    /// The first or last unit is `unit`; false for the empty string.
    bool startsWith(char16_t unit) const noexcept;
    bool endsWith(char16_t unit) const noexcept;
    /// compareN of the head or tail over the argument's length; false for a null or empty
    /// argument and for one longer than this string.
    bool startsWith(char16_t const* text, CaseSensitivity cs = CaseSensitive) const;
    bool endsWith(char16_t const* text, CaseSensitivity cs = CaseSensitive) const;
    /// The same with the argument's size; an empty argument is false.
    bool startsWith(TStringCore const& other, CaseSensitivity cs = CaseSensitive) const noexcept;
    bool endsWith(TStringCore const& other, CaseSensitivity cs = CaseSensitive) const noexcept;

    // ---- Editing ----
    // Edits by value rather than by position. Each member detaches a shared string only when it
    // changes the text, unless said otherwise; in-place edits allocate nothing after the detach, and
    // those that build a new text leave this string unchanged when that fails. Zero-terminated
    // arguments raise CapacityException at 0x7FFFFFF8 units; allocation failures raise as resize.
    // The char forms widen by plain conversion: a negative char becomes a unit from 0xFF80.

    /// Removes white space (TCType::isSpace) from the end, then from the start. An empty or
    /// all-space result from the start gives up the storage; a cut at the end keeps the capacity.
    TStringCore& trim();
    TStringCore& trimLeft();
    /// Surrogate pairs are never trimmed; a lone low surrogate behind a space goes with it.
    TStringCore& trimRight();
    /// Removes copies of `unit` from both ends. At the start the zero unit empties the whole
    /// string (storage given up) when it comes first, and changes nothing otherwise.
    TStringCore& trim(char16_t unit);
    TStringCore& trimLeft(char16_t unit);
    TStringCore& trimRight(char16_t unit);
    TStringCore& trim(char unit) { return trim(static_cast<char16_t>(unit)); }
    TStringCore& trimLeft(char unit) { return trimLeft(static_cast<char16_t>(unit)); }
    TStringCore& trimRight(char unit) { return trimRight(static_cast<char16_t>(unit)); }
    /// Removes characters of the zero-terminated `set` (a pair in it is one character) from both
    /// ends. A null or empty set changes nothing at the end; at the start a zero unit in the text
    /// ends it, and a string that is all set up to there (or starts with a zero unit) is emptied.
    TStringCore& trim(char16_t const* set);
    TStringCore& trimLeft(char16_t const* set);
    TStringCore& trimRight(char16_t const* set);
    /// As the pointer forms with the set's units up to its first zero, except that the start is
    /// trimmed by the string's size, a zero unit in the text being an ordinary character.
    TStringCore& trim(TStringCore const& set);
    TStringCore& trimLeft(TStringCore const& set);
    TStringCore& trimRight(TStringCore const& set);
    /// A trimmed copy.
    TStringCore trimmed() const;

    /// Removes every `unit`. The compaction stops at the first zero unit behind the first hit and
    /// cuts the string there; with no hit nothing changes.
    TStringCore& removeAll(char16_t unit);
    /// Removes the occurrences of `length` units of `text` (negative: zero-terminated) from left to
    /// right; text that a removal brings together is not looked at again. Null or empty: no change.
    TStringCore& removeAll(char16_t const* text, int length = -1, CaseSensitivity cs = CaseSensitive);
    TStringCore& removeAll(TStringCore const& text, CaseSensitivity cs = CaseSensitive);
    /// Removes every character of the zero-terminated `set` from `start` on (negative: no change);
    /// a set with a surrogate pair compares code points and cuts the text at its first zero unit.
    TStringCore& removeAnyOf(char16_t const* set, int start = 0);
    TStringCore& removeAnyOf(TStringCore const& set, int start = 0);
    /// The same on a zero-terminated buffer; returns the new length. When a set with a unit of
    /// 0x80 or above removed something, the unit at the new length is '0', not a terminator.
    static int removeAnyOf(char16_t* text, char16_t const* set, int start);

    /// Replaces every unit `before` by `after`, pairs not considered.
    TStringCore& replace(char16_t before, char16_t after);
    /// replaceCount(&before, 1, after's text, after's size, CaseSensitive).
    TStringCore& replace(char16_t before, TStringCore const& after);
    /// replaceCount with these arguments.
    TStringCore& replace(char16_t const* before, int beforeLength, char16_t const* after, int afterLength,
                         CaseSensitivity cs = CaseSensitive);
    TStringCore& replace(TStringCore const& before, TStringCore const& after,
                         CaseSensitivity cs = CaseSensitive);
    /// Replaces the non-overlapping occurrences of `beforeLength` units of `before` (below 1: none)
    /// by `afterLength` units of `after` (negative: zero-terminated; null: nothing, or, at equal
    /// lengths, matches only counted). Returns the count. Linear in the text and pattern.
    int replaceCount(char16_t const* before, int beforeLength, char16_t const* after, int afterLength,
                     CaseSensitivity cs = CaseSensitive);
    /// Replaces each character of the zero-terminated `set` from `start` on by `replacement`; a pair
    /// becomes one unit. Always detaches a shared string. A set with characters beyond what an ASCII
    /// replacement overwrites in place cuts the text at its first zero unit.
    TStringCore& replaceAnyOf(char16_t const* set, char16_t replacement, int start = 0);
    TStringCore& replaceAnyOf(TStringCore const& set, char16_t replacement, int start = 0);
    /// The same on a zero-terminated buffer; returns the new length.
    static int replaceAnyOf(char16_t* text, char16_t const* set, char16_t replacement, int start);

    /// `width` units (negative: 0): the text followed (left) or preceded (right) by `fill`. A
    /// longer text is cut to its first `width` units when `truncate`, else returned whole, shared;
    /// so is a text of exactly `width`. Counts are units: a cut may split a pair.
    TStringCore leftJustified(int width, char16_t fill = u' ', bool truncate = false) const;
    TStringCore rightJustified(int width, char16_t fill = u' ', bool truncate = false) const;
    /// `times` copies of the text; below 1 empty, 1 a shared copy. The size is multiplied in 32
    /// bits: an overflow raises Exception or CapacityException.
    TStringCore repeated(int times) const;
    /// Reverses the units, keeping each surrogate pair (and each neighbouring pair of units from
    /// U+F800 up, by the same mask test) in its order.
    void reverse();
    TStringCore reversed() const;

    /// CR LF, LF CR and runs of CR become one LF (Unicode::normalizeLineEndings).
    TStringCore& dosToUnix();
    TStringCore& toNativeLineEndings() { return dosToUnix(); }
    /// The same on a zero-terminated buffer; returns the new length.
    static int dosToUnix(char16_t* text);
    /// Each line ending, grouped as dosToUnix groups them, becomes CR LF (Unicode::unixToDos).
    TStringCore& unixToDos();

    /// Full case mapping by ICU in its default locale: the length may change (U+00DF gives SS).
    TStringCore toLower() const;
    TStringCore toUpper() const;

    // ---- Splitting and joining ----
    // Cutting into pieces and putting together. Results are new strings (parts copied, never
    // shared with the source); the source is not changed. Zero-terminated arguments raise
    // CapacityException at 0x7FFFFFF8 units; allocation failures raise as resize.

    /// Whether empty parts are delivered. split reads any value but 0 as SkipEmpty; tokenize and
    /// splitOnAny read any value but 1 as KeepEmpty.
    enum SplitBehavior : int { KeepEmpty = 0, SkipEmpty = 1 };
    /// Bits of section; combine with |.
    enum SectionFlags : int {
        SkipEmptySections = 1,         ///< empty fields do not count
        IncludeLeadingSeparator = 2,   ///< keep the separator in front of the first field
        IncludeTrailingSeparator = 4,  ///< keep the separator behind the last field
        CaseInsensitiveSeparators = 8, ///< find the separator with case folding
    };
    friend constexpr SectionFlags operator|(SectionFlags a, SectionFlags b) noexcept {
        return static_cast<SectionFlags>(static_cast<int>(a) | static_cast<int>(b));
    }

    /// The parts between units equal to `separator` (compared as units).
    std::vector<TStringCore> split(char16_t separator, SplitBehavior behavior = KeepEmpty) const;
    /// The same on `length` units of `text`. A negative length reads to the first zero unit, but the
    /// last part then counts as empty for SkipEmpty and is dropped.
    static std::vector<TStringCore> split(char16_t const* text, int length, char16_t separator,
                                          SplitBehavior behavior);
    /// The parts between occurrences of the zero-terminated `separator`; a null or empty one gives
    /// no parts at all.
    std::vector<TStringCore> split(char16_t const* separator, SplitBehavior behavior = KeepEmpty,
                                   CaseSensitivity cs = CaseSensitive) const;
    std::vector<TStringCore> split(TStringCore const& separator, SplitBehavior behavior = KeepEmpty,
                                   CaseSensitivity cs = CaseSensitive) const;
    /// The same on `length` units of `text`; a negative length gives the text up to its first zero
    /// unit as one part for KeepEmpty, and nothing for SkipEmpty.
    static std::vector<TStringCore> split(char16_t const* text, int length, char16_t const* separator,
                                          SplitBehavior behavior, CaseSensitivity cs);
    /// Every token of tokenize from position 0 on. A null set counts as empty: the whole text is
    /// one token.
    std::vector<TStringCore> splitOnAny(char16_t const* set, SplitBehavior behavior = KeepEmpty) const;
    std::vector<TStringCore> splitOnAny(TStringCore const& set, SplitBehavior behavior = KeepEmpty) const;
    /// The token at `position` up to the next character of the zero-terminated `set` (pairs found
    /// whole); `position` moves one unit past that delimiter, or to -1 after the last token. A
    /// null set or negative position gives the empty string, `position` unchanged.
    TStringCore tokenize(char16_t const* set, int& position, SplitBehavior behavior = KeepEmpty) const;
    TStringCore tokenize(TStringCore const& set, int& position, SplitBehavior behavior = KeepEmpty) const;
    /// Fields `first` to `last` (negative: from the end) between separators, separators between
    /// them included; empty when either is out of range. A `first` above `last` gives the text from
    /// field `first` to the first zero unit. Builds only the result.
    TStringCore section(char16_t separator, int first, int last = -1, SectionFlags flags = {}) const;
    TStringCore section(char16_t const* separator, int first, int last = -1, SectionFlags flags = {}) const;
    /// The same on `length` units of `text` (negative: zero-terminated); a null or empty text or
    /// separator gives the empty string.
    static TStringCore section(char16_t const* text, int length, char16_t const* separator, int first,
                               int last, SectionFlags flags);
    /// The head of the string up to the first character not in (spanIncluding) or in
    /// (spanExcluding) the zero-terminated `set`; the whole string, shared, if there is none.
    TStringCore spanIncluding(char16_t const* set) const;
    TStringCore spanExcluding(char16_t const* set) const;
    /// The parts with `separator` between them, in one allocation; one part is returned shared.
    /// Raises CapacityException when the result would reach 0x7FFFFFF8 units.
    static TStringCore join(std::vector<TStringCore> const& parts, char16_t separator);
    static TStringCore join(std::vector<TStringCore> const& parts, TStringCore const& separator);

    // ---- Numbers ----
    // Integers to text in bases 2 to 36 (digits 0-9, a-z) and 64 (A-Z, a-z, 0-9, +, /), padded
    // to `width` with `fill` and never cut; doubles through the C library's snprintf, then tidied.
    // Text to numbers: the to... members clear errno, leave ERANGE or EINVAL on failure, and set
    // *ok (when given) true only for a number in range followed by nothing but white space. The
    // C library parts follow the process's locale.

    /// Decimal with a leading '-'; under a '0' fill the zeros stand between the sign and the digits.
    /// Any other base renders the 64-bit two's complement pattern, so -1 in base 16 is sixteen 'f'.
    /// Raises Exception for a base outside 2..36 other than 64.
    static TStringCore number(long long value, int base = 10, int width = 0, char16_t fill = u' ');
    static TStringCore number(long value, int base = 10, int width = 0, char16_t fill = u' ') {
        return number(static_cast<long long>(value), base, width, fill);
    }
    static TStringCore number(int value, int base = 10, int width = 0, char16_t fill = u' ') {
        return number(static_cast<long long>(value), base, width, fill);
    }
    static TStringCore number(short value, int base = 10, int width = 0, char16_t fill = u' ') {
        return number(static_cast<long long>(value), base, width, fill);
    }
    /// The digits of `value`, `fill` in front up to `width`. Raises Exception for a base outside
    /// 2..36 other than 64.
    static TStringCore number(unsigned long long value, int base = 10, int width = 0, char16_t fill = u' ');
    static TStringCore number(unsigned long value, int base = 10, int width = 0, char16_t fill = u' ') {
        return number(static_cast<unsigned long long>(value), base, width, fill);
    }
    static TStringCore number(unsigned int value, int base = 10, int width = 0, char16_t fill = u' ') {
        return number(static_cast<unsigned long long>(value), base, width, fill);
    }
    static TStringCore number(unsigned short value, int base = 10, int width = 0, char16_t fill = u' ') {
        return number(static_cast<unsigned long long>(value), base, width, fill);
    }
    /// snprintf with `format` (e, f, g, E, F, G; anything else is f) and `precision` (negative: 6),
    /// cut at 1023 units. "nan", "inf", "-inf" for the specials; no '-' on a value that prints as
    /// zero. `compact` strips trailing zeros down to ".0" (f, e; at precision 0 f loses the
    /// integer's own trailing zeros too) or adds ".0" where g printed no point.
    static TStringCore number(double value, char format = 'g', int precision = 6, bool compact = false);
    /// Lower-case hexadecimal of the address, padded to 16 digits if `pad`, after "0x" if `prefix`.
    static TStringCore pointer(void const* p, bool prefix = true, bool pad = true);

    /// *this = number(value, base). Raises as number.
    TStringCore& setNum(long long value, int base = 10) { return *this = number(value, base); }
    TStringCore& setNum(long value, int base = 10) { return *this = number(value, base); }
    TStringCore& setNum(int value, int base = 10) { return *this = number(value, base); }
    TStringCore& setNum(short value, int base = 10) { return *this = number(value, base); }
    TStringCore& setNum(unsigned long long value, int base = 10) { return *this = number(value, base); }
    TStringCore& setNum(unsigned long value, int base = 10) { return *this = number(value, base); }
    TStringCore& setNum(unsigned int value, int base = 10) { return *this = number(value, base); }
    TStringCore& setNum(unsigned short value, int base = 10) { return *this = number(value, base); }
    TStringCore& setNum(double value, char format = 'g', int precision = 6, bool compact = false) {
        return *this = number(value, format, precision, compact);
    }

    /// The integer at the head of the text up to its first zero unit, after white space and one
    /// sign. Base 0 reads a "0x" prefix as 16, a leading 0 as 8, else 10; base 16 skips "0x".
    /// Digits 0-9 are taken in every base. Out of range: the nearest bound, ERANGE. No digits: 0,
    /// EINVAL. Raises Exception for a base outside 2..36 other than 0.
    short toShort(bool* ok = nullptr, int base = 10) const;
    int toInt(bool* ok = nullptr, int base = 10) const;
    long toLong(bool* ok = nullptr, int base = 10) const;
    long long toLongLong(bool* ok = nullptr, int base = 10) const;
    /// As toInt with the unsigned bounds. toULong and toULongLong take a '-' as 64-bit negation
    /// ("-1" is all ones, *ok true); the narrower ones then report the maximum and ERANGE.
    unsigned short toUShort(bool* ok = nullptr, int base = 10) const;
    unsigned int toUInt(bool* ok = nullptr, int base = 10) const;
    unsigned long toULong(bool* ok = nullptr, int base = 10) const;
    unsigned long long toULongLong(bool* ok = nullptr, int base = 10) const;
    /// The trimmed text, case ignored, through strtod; also "inf", "inf.0", "infinity" with a sign
    /// and "nan" followed by letters, digits or '_'. Subnormal results become +0.0. A failing
    /// strtod's value stands (*ok false, errno as strtod left it); junk behind a spelled-out value
    /// gives 0.0 and ERANGE, white space behind it keeps the value with *ok false.
    double toDouble(bool* ok = nullptr) const;
    /// toDouble narrowed to float; out of float's range is an infinity with *ok true.
    float toFloat(bool* ok = nullptr) const;

    /// Units at the head of the text that form an integer in `base`, sign (decimal only) or "0x"
    /// prefix (base 16) included; 0 if there is no digit. Digits are held to the base. Base 0
    /// picks 8, 10 or 16 from the first two units. Raises Exception for a bad base, and for base 0
    /// on a one-unit text.
    int leftIntegerLength(int base = 10) const { return leftIntegerLength(constData(), -1, base); }
    /// The same over `length` units of `text` (negative: to the first zero unit; CapacityException
    /// at 0x7FFFFFF8).
    static int leftIntegerLength(char16_t const* text, int length, int base);
    /// Units at the head of the text that form a decimal floating-point number (sign, digits of any
    /// script, point, exponent). An exponent without digits is left out unless the text ends there.
    int leftDoubleLength() const { return leftDoubleLength(constData(), -1); }
    /// The same over `length` units of `text` (negative: to the first zero unit).
    static int leftDoubleLength(char16_t const* text, int length);

protected:
    TStringCore& appendHandleSelf(char16_t const* text, int length);
    void assignHandleSelf(char16_t const* text, int length);

private:
    // Fast path of push_back: room in place and no other owner.
    bool appendInPlace(char16_t unit) noexcept {
        if (m_shortSize >= 0) {
            if (m_shortSize >= InlineCapacity - 1) return false;
            m_inline[m_shortSize] = unit;
            m_inline[++m_shortSize] = 0;
            return true;
        }
        TLongStringHeader* block = longBlock();
        if (block->m_size + 1 >= block->m_capacity || block->isShared()) return false;
        char16_t* text = block->text();
        text[block->m_size] = unit;
        text[++block->m_size] = 0;
        return true;
    }
    void appendUnitSlow(char16_t unit);
    // resize(size() + count) with the sum checked in 64 bits; returns the writable text.
    char16_t* grow(int count);
    // The engine of the UTF-8 input members.
    TStringCore& appendUtf8(char const* text, std::size_t length);
};

/// Root of the string layer's exceptions. Unrelated to the library's other exception
/// hierarchy and to std::exception: handlers for those do not catch it.
class KESTAL_API TStringCore::Exception {
public:
    /// Copies the message; null gives the empty message.
    explicit Exception(char16_t const* message);
    explicit Exception(TStringCore const& message) noexcept;
    explicit Exception(TStringCore&& message) noexcept;
    Exception(Exception const&) noexcept = default;
    Exception(Exception&&) noexcept = default;
    Exception& operator=(Exception const&) noexcept = default;
    Exception& operator=(Exception&&) noexcept = default;
    virtual ~Exception();

    /// A heap copy of the same class; the caller owns it.
    virtual Exception* Clone() const;
    /// Throws a copy of the same most-derived class.
    [[noreturn]] virtual void Throw() const;

    /// The message, by value.
    TStringCore GetConcatenatedMessages() const { return m_message; }
    /// The message, by value.
    TStringCore CollateMessagesForLog() const { return m_message; }

protected:
    TStringCore m_message;
};

/// A size or capacity beyond 0x7FFFFFF7 / 0x7FFFFFF8: "String capacity overflow."
class KESTAL_API TStringCore::CapacityException : public TStringCore::Exception {
public:
    CapacityException();
    ~CapacityException() override;
    CapacityException* Clone() const override;
    [[noreturn]] void Throw() const override;
};

/// The allocator returned null: "Out of memory". Building one never allocates.
class KESTAL_API TStringCore::OutOfMemoryException : public TStringCore::Exception {
public:
    OutOfMemoryException();
    ~OutOfMemoryException() override;
    OutOfMemoryException* Clone() const override;
    [[noreturn]] void Throw() const override;
};

static_assert(sizeof(TStringCore) == 32, "TStringCore adds no data to TStringManager");

/// Comparisons with a zero-terminated text on the left.
KESTAL_API bool operator==(char16_t const* text, TStringCore const& s) noexcept;
KESTAL_API bool operator!=(char16_t const* text, TStringCore const& s) noexcept;
KESTAL_API bool operator<(char16_t const* text, TStringCore const& s) noexcept;
KESTAL_API bool operator<=(char16_t const* text, TStringCore const& s) noexcept;
KESTAL_API bool operator>(char16_t const* text, TStringCore const& s) noexcept;
KESTAL_API bool operator>=(char16_t const* text, TStringCore const& s) noexcept;

/// Concatenation: a copy of the left side with the right side appended.
KESTAL_API TStringCore operator+(TStringCore const& a, TStringCore const& b);
KESTAL_API TStringCore operator+(TStringCore const& a, char16_t b);
KESTAL_API TStringCore operator+(TStringCore const& a, char16_t const* b);
KESTAL_API TStringCore operator+(char16_t a, TStringCore const& b);
KESTAL_API TStringCore operator+(char16_t const* a, TStringCore const& b);

// ---- UTF-8 and code points ----

/// Writes the text as UTF-8 between double quotes; lone surrogates come out as U+FFFD.
KESTAL_API std::ostream& operator<<(std::ostream& out, TStringCore const& s);
/// Writes one unit as UTF-8, unquoted; a lone surrogate comes out as U+FFFD, the zero unit as nothing.
KESTAL_API std::ostream& operator<<(std::ostream& out, char16_t unit);

extern template class TConstCodePointIterator<TStringCore>;
