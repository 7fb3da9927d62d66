// String storage: the 32-byte object that holds a TStringCore's UTF-16 text. Up to 14 code units
// live inline with no allocation; longer text lives in a reference-counted TLongStringHeader block
// that copies share until one of them writes (copy on write). Blocks come from TRealloc and go back
// to TFree. Every size and capacity is a signed 32-bit count of code units; capacity counts the
// terminating zero unit, which is always present.
#pragma once

#include <atomic>
#include <cstdint>
#include <cstring>
#include <kestal/KestalExport.h>
#include <kestal/TMalloc.h>

/// The heap block of a long string: a header of 12 bytes followed by m_capacity code units.
/// A block whose count is above 1 is shared and read-only.
struct KESTAL_API TLongStringHeader {
    std::atomic<std::int32_t> m_refCount; ///< owners of this block; 1 at creation
    std::int32_t m_capacity;              ///< code units m_text holds, terminator included
    std::int32_t m_size;                  ///< code units of text, terminator not counted
    char16_t m_text[1];                   ///< really m_capacity units; always zero-terminated at m_size

    /// The text as a pointer: m_text is declared with one unit but holds m_capacity.
    char16_t* text() noexcept { return m_text; }
    char16_t const* text() const noexcept { return m_text; }

    /// Increments the count (atomically once the process has more than one thread).
    void addRef() noexcept;
    /// Decrements the count like addRef; the owner that takes it to 0 hands the block to TFree.
    void release() noexcept {
        // A count of 1 means the caller is the only owner and nobody else can reach the block to
        // take a reference, so the last release skips the locked decrement (and, inline, a call).
        if (m_refCount.load(std::memory_order_acquire) == 1)
            TFree(this);
        else
            releaseShared();
    }
    /// release for a count above 1.
    void releaseShared() noexcept;
    /// True when more than one string owns the block (acquire load).
    bool isShared() const noexcept { return m_refCount.load(std::memory_order_acquire) > 1; }
    /// Creates a block (old null: count 1, size 0) or resizes `old` to `capacity` units through
    /// TRealloc, cutting the text if it no longer fits. Returns `old` untouched when its capacity
    /// already equals `capacity`. Raises TStringCore::CapacityException above 0x7FFFFFF8 and
    /// TStringCore::OutOfMemoryException when TRealloc fails, leaving `old` valid and unchanged.
    static TLongStringHeader* reallocate(int capacity, TLongStringHeader* old);
    /// Stores m_size (no terminator written); raises TStringCore::CapacityException when `size`
    /// as unsigned is 0x7FFFFFF8 or more.
    void resize(int size);
};

/// Owner of a string's code units: the inline and the long form, capacity policy and sharing.
/// Not safe for concurrent writes to one object; distinct objects sharing a block are.
class KESTAL_API TStringManager {
public:
    /// Capacity policy of one request. Any value other than ToSize and ToShrink means ToDefault.
    enum AllocationOptions : int {
        ToDefault = 0, ///< keep a capacity that fits, else grow to the next quantum
        ToSize = 1,    ///< keep a capacity that fits, else exactly enough
        ToShrink = 2,  ///< exactly enough, even if smaller than now
    };

    static constexpr int InlineCapacity = 15;       ///< capacity of the inline form (14 units + terminator)
    static constexpr int MaxCapacity = 0x7FFFFFF8;  ///< largest capacity of a block
    static constexpr int MaxSize = MaxCapacity - 1; ///< largest size of a string

    /// The empty string, inline.
    TStringManager() noexcept {
        m_shortSize = 0;
        m_inline[0] = 0;
        m_inline[8] = 0;
    }
    /// Sharing copy: a long source's block gains one owner. Both forms copy the units field
    /// whole (the inline text, or the block pointer) with the size word: a short copy is then two
    /// moves, inline, where assignment into an existing string has to go out of line.
    TStringManager(TStringManager const& other) noexcept
        : m_shortSize(other.m_shortSize) {
        std::memcpy(m_inline, other.m_inline, sizeof m_inline);
        if (isLong()) longBlock()->addRef();
    }
    /// Takes a long source's block and leaves the source empty; a short source keeps its text.
    TStringManager(TStringManager&& other) noexcept
        : TStringManager() {
        *this = static_cast<TStringManager&&>(other);
    }
    /// Releases the block if long.
    ~TStringManager() {
        if (isLong()) longBlock()->release();
    }

    /// Sharing copy assignment. A short source copied into an unshared long string keeps its block.
    TStringManager& operator=(TStringManager const& other) noexcept;
    /// Stealing move assignment; a failure inside terminates the process.
    TStringManager& operator=(TStringManager&& other) noexcept;
    /// The copy assignment for a short source.
    void assignFromShort(TStringManager const& other) noexcept;

    /// Size in code units.
    int size() const noexcept { return isLong() ? longBlock()->m_size : m_shortSize; }
    /// The zero-terminated text; never detaches.
    char16_t const* constData() const noexcept { return isLong() ? longBlock()->text() : m_inline; }
    /// 15 for the inline form, the block's capacity otherwise.
    int capacity() const noexcept { return isLong() ? longBlock()->m_capacity : InlineCapacity; }
    /// True only for a long string whose block has other owners.
    bool isShared() const noexcept { return isLong() && longBlock()->isShared(); }

    /// Makes a shared block private at the same capacity; no effect otherwise.
    void detach();
    /// Replaces the block by a private copy of `capacity` units, whatever its count.
    void detachSharedLongString(int capacity);
    /// Writable text; detaches a shared block first.
    char16_t* str();
    /// Sets the size, writes the terminator and returns the writable text; detaches a shared block.
    /// New units are left unwritten. Raises TStringCore::CapacityException for a negative size or
    /// one of 0x7FFFFFF8 or more, TStringCore::OutOfMemoryException when allocation fails; on
    /// either the string is unchanged.
    char16_t* resize(int size);
    /// Back to the empty inline form, releasing any block.
    void reset() noexcept;
    /// changeCapacity(size(), ToShrink): a short unshared text goes back inline.
    void squeeze();
    /// Moves to the capacity that `option` gives for `size`. Raises TStringCore::Exception for a
    /// negative size; allocation failures as resize.
    void changeCapacity(int size, AllocationOptions option);
    /// Short to long at `capacity` (below 16: stays short). Raises TStringCore::Exception if negative.
    void changeCapacityOfShortString(int capacity);
    /// An unshared long block to `capacity`, or back inline at 15 or less (text cut to 14 units).
    /// Raises TStringCore::Exception if negative.
    void changeCapacityOfLongString(int capacity);

    /// The quantum for `size`: 15 below 15, else the next block of 2^k or 3*2^(k-1) code units,
    /// less the header. Raises TStringCore::CapacityException at 0x7FFFFFF8 or more.
    static int calculateCapacity(int size);
    /// Policy ToDefault for `size`.
    int calculateCapacityToDefault(int size) const;
    /// Policy ToSize for `size`.
    int calculateCapacityToSize(int size) const noexcept;
    /// Policy ToShrink for `size`.
    int calculateCapacityToShrink(int size) const noexcept;
    /// Dispatches on `option`.
    int quantizeCapacity(int size, AllocationOptions option) const;

protected:
    bool isLong() const noexcept { return m_shortSize < 0; }
    // The block pointer overlays the first four inline units; memcpy keeps that well defined.
    TLongStringHeader* longBlock() const noexcept {
        TLongStringHeader* block;
        std::memcpy(&block, m_inline, sizeof block);
        return block;
    }
    void setLongBlock(TLongStringHeader* block) noexcept {
        std::memcpy(m_inline, &block, sizeof block);
        m_shortSize = -1;
    }
    // Writable text without detaching; only for callers that know the block is private.
    char16_t* mutableData() noexcept { return isLong() ? longBlock()->text() : m_inline; }
    // For an empty inline string and `size` of 15 or more: a new private block at the capacity
    // quantum holding `size` units of `text`, without resize's general checks. Raises as resize.
    KESTAL_INTERNAL void startLong(char16_t const* text, int size);

    alignas(TLongStringHeader*) char16_t m_inline[15]; // the block pointer sits at the start
    std::int16_t m_shortSize;                          // >= 0: inline and this is the size; < 0: long

private:
    void replaceSharedBlock(int capacity);
};

static_assert(sizeof(TStringManager) == 32, "a string is sixteen code units wide");
