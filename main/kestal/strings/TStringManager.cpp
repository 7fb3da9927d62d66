// Storage of TStringCore: long blocks, the capacity quantum, copy on write and assignment.
#include "kestal/strings/Units.h"

#include <bit>
#include <cstdint>
#include <kestal/TMalloc.h>
#include <kestal/TStringCore.h>
#include <kestal/detail/SingleThreaded.h>
#include <new>

namespace {

using kestal::detail::ProcessIsSingleThreaded;
using kestal::strings::copyUnits;

constexpr std::uint32_t kMaxCapacity = TStringManager::MaxCapacity;
constexpr std::size_t kHeaderBytes = offsetof(TLongStringHeader, m_text);
static_assert(kHeaderBytes == 12, "the header is as wide as six code units; the quantum depends on it");

} // namespace

// ---- TLongStringHeader -------------------------------------------------------------------------

void TLongStringHeader::addRef() noexcept {
    if (ProcessIsSingleThreaded())
        m_refCount.store(m_refCount.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    else
        m_refCount.fetch_add(1, std::memory_order_acq_rel);
}

void TLongStringHeader::releaseShared() noexcept {
    const std::int32_t count = m_refCount.load(std::memory_order_acquire);
    if (count == 1)
        TFree(this); // the other owners have gone since release looked
    else if (ProcessIsSingleThreaded())
        m_refCount.store(count - 1, std::memory_order_relaxed);
    else if (m_refCount.fetch_sub(1, std::memory_order_acq_rel) == 1)
        TFree(this);
}

TLongStringHeader* TLongStringHeader::reallocate(int capacity, TLongStringHeader* old) {
    if (static_cast<std::uint32_t>(capacity) > kMaxCapacity) throw TStringCore::CapacityException();
    if (old && old->m_capacity == capacity) return old;
    // A zero capacity still gets room for the terminator written below.
    const std::uint64_t units = capacity > 0 ? static_cast<std::uint64_t>(capacity) : 1;
    auto* block = static_cast<TLongStringHeader*>(TRealloc(old, 2 * units + kHeaderBytes));
    if (!block) throw TStringCore::OutOfMemoryException();
    if (!old) {
        new (&block->m_refCount) std::atomic<std::int32_t>(1);
        block->m_capacity = capacity;
        block->m_size = 0;
        block->text()[0] = 0;
        return block;
    }
    block->m_capacity = capacity;
    if (block->m_size < capacity) return block;
    if (static_cast<std::uint32_t>(capacity - 1) >= kMaxCapacity) throw TStringCore::CapacityException();
    block->m_size = capacity - 1;
    block->text()[capacity - 1] = 0;
    return block;
}

void TLongStringHeader::resize(int size) {
    if (static_cast<std::uint32_t>(size) >= kMaxCapacity) throw TStringCore::CapacityException();
    m_size = size;
}

// ---- Assignment --------------------------------------------------------------------------------

TStringManager& TStringManager::operator=(TStringManager const& other) noexcept {
    if (this == &other) return *this;
    if (!other.isLong()) {
        assignFromShort(other);
        return *this;
    }
    // Releasing first is safe: `other` keeps its own reference, so a block both already share
    // passes through its old count and never reaches zero.
    if (isLong()) longBlock()->release();
    TLongStringHeader* block = other.longBlock();
    setLongBlock(block);
    block->addRef();
    return *this;
}

TStringManager& TStringManager::operator=(TStringManager&& other) noexcept {
    if (this == &other) return *this;
    if (!other.isLong()) {
        assignFromShort(other);
        return *this;
    }
    if (isLong()) longBlock()->release();
    setLongBlock(other.longBlock());
    other.m_shortSize = 0;
    other.m_inline[0] = 0;
    return *this;
}

void TStringManager::assignFromShort(TStringManager const& other) noexcept {
    const int n = other.m_shortSize;
    if (isLong()) {
        TLongStringHeader* block = longBlock();
        if (!block->isShared()) {
            // Keep the block: its capacity is there for the next growth.
            block->resize(n);
            if (block->text() != other.m_inline) copyUnits(block->text(), other.m_inline, n + 1);
            return;
        }
        block->release();
    }
    m_shortSize = static_cast<std::int16_t>(n);
    copyUnits(m_inline, other.m_inline, n + 1);
}

// ---- Detaching and writing ---------------------------------------------------------------------

// The one copy rule for replacing a shared block: allocate, copy, then release the old block, so
// a failed allocation leaves the string sharing what it had.
void TStringManager::replaceSharedBlock(int capacity) {
    TLongStringHeader* old = longBlock();
    int keep = old->m_size < capacity ? old->m_size : capacity - 1;
    if (keep < 0) keep = 0; // a capacity of 0 keeps only the terminator
    TLongStringHeader* block = TLongStringHeader::reallocate(capacity, nullptr);
    block->m_size = keep;
    copyUnits(block->text(), old->text(), keep);
    block->text()[keep] = 0;
    old->release();
    setLongBlock(block);
}

void TStringManager::detach() {
    if (isShared()) replaceSharedBlock(longBlock()->m_capacity);
}

void TStringManager::detachSharedLongString(int capacity) {
    if (isLong()) replaceSharedBlock(capacity);
}

char16_t* TStringManager::str() {
    if (!isLong()) return m_inline;
    if (longBlock()->isShared()) replaceSharedBlock(longBlock()->m_capacity);
    return longBlock()->text();
}

char16_t* TStringManager::resize(int size) {
    if (size < 0) throw TStringCore::CapacityException();
    if (!isLong()) {
        if (size < InlineCapacity) {
            m_shortSize = static_cast<std::int16_t>(size);
            m_inline[size] = 0;
            return m_inline;
        }
        changeCapacityOfShortString(calculateCapacityToDefault(size));
    } else {
        const int oldCapacity = longBlock()->m_capacity;
        const int capacity = calculateCapacityToDefault(size);
        if (longBlock()->isShared())
            replaceSharedBlock(capacity);
        else if (capacity > oldCapacity) // a smaller size never shrinks the block
            changeCapacityOfLongString(capacity);
    }
    TLongStringHeader* block = longBlock();
    block->resize(size);
    block->text()[size] = 0;
    return block->text();
}

void TStringManager::startLong(char16_t const* text, int size) {
    TLongStringHeader* block = TLongStringHeader::reallocate(calculateCapacity(size), nullptr);
    block->m_size = size;
    block->text()[size] = 0;
    setLongBlock(block);
    // The copy last: a tail call, with nothing of this frame to keep or restore around it.
    copyUnits(block->text(), text, size);
}

void TStringManager::reset() noexcept {
    if (isLong()) longBlock()->release();
    m_shortSize = 0;
    m_inline[0] = 0;
}

void TStringManager::squeeze() {
    changeCapacity(size(), ToShrink);
}

void TStringManager::changeCapacity(int size, AllocationOptions option) {
    if (size < 0) throw TStringCore::Exception(u"Negative allocation size; probable overflow");
    const int capacity = quantizeCapacity(size, option);
    if (!isLong()) {
        if (capacity != InlineCapacity) changeCapacityOfShortString(capacity);
        return;
    }
    TLongStringHeader* block = longBlock();
    if (!block->isShared()) {
        if (capacity != block->m_capacity) changeCapacityOfLongString(capacity);
        return;
    }
    // Kept on purpose: a shared string gets a private long block even when the text would fit
    // inline; the other owners keep the old block.
    replaceSharedBlock(capacity);
}

void TStringManager::changeCapacityOfShortString(int capacity) {
    if (capacity < 0)
        throw TStringCore::Exception(u"Allocation size less than zero; probable capacity overflow");
    if (capacity < 16) return;
    TLongStringHeader* block = TLongStringHeader::reallocate(capacity, nullptr);
    const int n = m_shortSize;
    block->m_size = n;
    if (n > 0) copyUnits(block->text(), m_inline, n);
    block->text()[n] = 0;
    setLongBlock(block); // only now: the pointer overlays the inline text
}

void TStringManager::changeCapacityOfLongString(int capacity) {
    if (capacity < 0)
        throw TStringCore::Exception(u"Allocation capacity is less than zero; probable capacity overflow.");
    if (capacity > InlineCapacity) {
        setLongBlock(TLongStringHeader::reallocate(capacity, longBlock()));
        return;
    }
    TLongStringHeader* block = longBlock(); // the copy below overwrites the pointer
    const int n = block->m_size < InlineCapacity ? block->m_size : InlineCapacity - 1;
    copyUnits(m_inline, block->text(), n);
    m_inline[n] = 0;
    m_shortSize = static_cast<std::int16_t>(n);
    block->release();
}

// ---- Capacity policy ---------------------------------------------------------------------------

int TStringManager::calculateCapacity(int size) {
    if (size < InlineCapacity) return InlineCapacity;
    const std::uint32_t n = static_cast<std::uint32_t>(size);
    if (n >= kMaxCapacity) throw TStringCore::CapacityException();
    // Whole block in code units: text, terminator and the header's six units. Blocks follow the
    // series 2^k, 3*2^(k-1), so growth alternates between a third and a half.
    const std::uint32_t x = n + 7;
    const std::uint32_t p = std::uint32_t{1} << std::bit_width(x); // the power of two above x
    const std::uint32_t q = (p / 4) * 3;
    const std::uint32_t quantum = x < q ? q : p;
    if (quantum > kMaxCapacity) return static_cast<int>(kMaxCapacity);
    return static_cast<int>(quantum - 6);
}

int TStringManager::calculateCapacityToDefault(int size) const {
    if (capacity() > size) return capacity();
    return calculateCapacity(size);
}

namespace {
// size + 1 with the wrap of 32-bit arithmetic made explicit: INT_MAX becomes negative, which the
// capacity changers then reject as a probable overflow.
int plusTerminator(int size) noexcept {
    return static_cast<int>(static_cast<std::uint32_t>(size) + 1u);
}
} // namespace

int TStringManager::calculateCapacityToSize(int size) const noexcept {
    const int current = capacity();
    return current > size ? current : plusTerminator(size);
}

int TStringManager::calculateCapacityToShrink(int size) const noexcept {
    return size < InlineCapacity ? InlineCapacity : plusTerminator(size);
}

int TStringManager::quantizeCapacity(int size, AllocationOptions option) const {
    switch (option) {
    case ToShrink:
        return calculateCapacityToShrink(size);
    case ToSize:
        return calculateCapacityToSize(size);
    default:
        return calculateCapacityToDefault(size);
    }
}
