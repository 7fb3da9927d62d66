// String storage: inline and long forms, the capacity quantum and policies, copy on write,
// assignment, allocation failures and the string layer's exceptions.
#include "MemoryTestSupport.h"
#include "TStringTestSupport.h"

#include <atomic>
#include <cstdint>
#include <exception>
#include <gtest/gtest.h>
#include <kestal/TStringCore.h>
#include <latch>
#include <memory>
#include <thread>
#include <tuple>
#include <type_traits>
#include <vector>

namespace {

using kestal::testing::expectStringException;
using kestal::testing::isInline;
using kestal::testing::letters;
using kestal::testing::ScopedCounting;
using kestal::testing::ScopedRealloc;
using kestal::testing::text;
using velmora::memory::MemoryTrackingMode;
using CapacityException = TStringCore::CapacityException;
using OutOfMemoryException = TStringCore::OutOfMemoryException;

constexpr int kMaxCapacity = 0x7FFFFFF8;

// The quantum by its definition: the smallest block of 2^k or 3*2^(k-1) code units strictly
// above size + terminator + six units of header, less the header.
std::int64_t referenceCapacity(std::int64_t size) {
    if (size < 15) return 15;
    const std::int64_t units = size + 7;
    for (std::int64_t p = 16;; p *= 2) {
        for (std::int64_t block : {p / 4 * 3, p}) {
            if (block > units) return block > kMaxCapacity ? kMaxCapacity : block - 6;
        }
    }
}

// A string of `size` units that lives in a long block of at least `capacity`.
TStringCore longString(int size, int capacity) {
    TStringCore s;
    s.reserve(capacity - 1);
    s.assign(u'x', size);
    return s;
}

// Copies a long string, applies `access` to the copy, checks the original is intact and tells
// whether the copy left the shared block.
bool detaches(void (*access)(TStringCore&)) {
    const TStringCore original = letters(20);
    TStringCore copy = original;
    access(copy);
    EXPECT_EQ(text(original), text(letters(20)));
    EXPECT_EQ(original.capacity(), copy.capacity());
    return copy.constData() != original.constData();
}

// With the allocator failing, `write` on a shared copy must raise OutOfMemoryException and
// leave the copy sharing its block with text and size unchanged.
void expectFailedWriteLeavesSharing(void (*write)(TStringCore&)) {
    const TStringCore original = letters(20);
    TStringCore copy = original;
    {
        ScopedRealloc failing;
        expectStringException<OutOfMemoryException>([&] { write(copy); }, u"Out of memory");
    }
    EXPECT_TRUE(copy.isShared());
    EXPECT_EQ(copy.constData(), original.constData());
    EXPECT_EQ(text(copy), text(letters(20)));
}

TEST(TStringStorage, ShortTextNeverAllocatesAndCopiesOfLongTextShare) {
    static_assert(sizeof(TStringCore) == 32);
    ScopedCounting counting(MemoryTrackingMode::AllocationsAndFrees);
    TStringCore s(u"fourteen units");
    TStringCore copy = s;
    s.resize(3);
    s.resize(14);
    s = copy;
    s.append(TStringCore());
    EXPECT_EQ(counting.allocations(), 0u);
    EXPECT_TRUE(isInline(s));
    EXPECT_EQ(s.capacity(), 15);

    s.push_back(u'!');
    EXPECT_EQ(counting.allocations(), 1u);
    EXPECT_FALSE(isInline(s));
    EXPECT_EQ(s.capacity(), 18);
    TStringCore shared = s;
    TStringCore moved = std::move(shared);
    EXPECT_EQ(counting.allocations(), 1u);
    EXPECT_TRUE(moved.isShared());
    EXPECT_EQ(moved.constData(), s.constData());
}

TEST(TStringStorage, CapacityQuantumFollowsTheBlockSeries) {
    for (int size : {INT32_MIN, -1, 0x5FFFFFF8, 0x5FFFFFF9, 0x7FFFFFF7})
        EXPECT_EQ(TStringManager::calculateCapacity(size), referenceCapacity(size)) << size;
    for (int size = 0; size < 70000; ++size)
        ASSERT_EQ(TStringManager::calculateCapacity(size), referenceCapacity(size));
    for (std::int64_t size = 70000; size < kMaxCapacity; size = size * 9 / 7 + 3)
        ASSERT_EQ(TStringManager::calculateCapacity(static_cast<int>(size)), referenceCapacity(size)) << size;
    for (int size : {kMaxCapacity, INT32_MAX})
        expectStringException<CapacityException>([&] { TStringManager::calculateCapacity(size); },
                                                 u"String capacity overflow.");
}

TEST(TStringStorage, PoliciesKeepGrowOrShrinkTheCapacity) {
    const TStringCore block = longString(20, 42);
    ASSERT_EQ(block.capacity(), 42);
    // A size, then the capacity by default, to size and to shrink: at the capacity itself all grow.
    using O = TStringManager::AllocationOptions;
    for (auto [size, byDefault, toSize, toShrink] :
         {std::tuple{3, 42, 42, 15}, {41, 42, 42, 42}, {42, 58, 43, 43}})
        EXPECT_EQ(std::tuple(block.quantizeCapacity(size, static_cast<O>(7)),
                             block.quantizeCapacity(size, O::ToSize),
                             block.quantizeCapacity(size, O::ToShrink)),
                  std::tuple(byDefault, toSize, toShrink))
            << size;
    EXPECT_EQ(TStringCore(u"abc").calculateCapacityToSize(20), 21);
}

TEST(TStringStorage, ResizeMovesInlineTextToABlockButNeverBack) {
    TStringCore s(u"abcdef");
    s.resize(2);
    EXPECT_EQ(s.constData()[2], 0);
    s.resize(6); // inline units between the sizes keep what they held, terminator included
    EXPECT_EQ(text(s), std::u16string(u"ab\0def", 6));

    s = letters(20);
    EXPECT_EQ(s.capacity(), 26);
    s.resize(3);
    EXPECT_FALSE(isInline(s));
    EXPECT_EQ(s.capacity(), 26);
    EXPECT_EQ(s.constData()[3], 0);
    s.squeeze();
    EXPECT_TRUE(isInline(s));
    EXPECT_EQ(text(s), u"abc");

    s = letters(20);
    s.squeeze();
    EXPECT_EQ(s.capacity(), 21);

    // Back inline only through squeeze: a short capacity cuts the text to 14 units.
    s.changeCapacityOfLongString(15);
    EXPECT_TRUE(isInline(s));
    EXPECT_EQ(text(s), text(letters(14)));

    // Squeezing a shared short text gives a private block of fifteen.
    TStringCore original = longString(5, 26), copy = original;
    copy.squeeze();
    EXPECT_TRUE(!isInline(copy) && !copy.isShared() && copy.capacity() == 15 && text(copy) == u"xxxxx");
    EXPECT_EQ(original.capacity(), 26);

    original.squeeze(); // unshared now: back inline
    EXPECT_TRUE(isInline(original));
    EXPECT_EQ(text(original), u"xxxxx");
}

TEST(TStringStorage, NegativeSizesAndCapacitiesAreRejectedWithTheirMessages) {
    TStringCore s(u"abc");
    expectStringException<CapacityException>([&] { s.TStringManager::resize(-1); },
                                             u"String capacity overflow.");
    expectStringException<TStringCore::Exception>([&] { s.changeCapacity(-1, TStringManager::ToSize); },
                                                  u"Negative allocation size; probable overflow");
    expectStringException<TStringCore::Exception>(
        [&] { s.changeCapacityOfShortString(-1); },
        u"Allocation size less than zero; probable capacity overflow");
    TStringCore block = letters(20);
    expectStringException<TStringCore::Exception>(
        [&] { block.changeCapacityOfLongString(-1); },
        u"Allocation capacity is less than zero; probable capacity overflow.");
    expectStringException<CapacityException>([] { TLongStringHeader::reallocate(kMaxCapacity + 1, nullptr); },
                                             u"String capacity overflow.");
    EXPECT_EQ(text(s), u"abc");
    EXPECT_EQ(text(block), text(letters(20)));

    s.resize(-1); // TStringCore's own resize clamps
    EXPECT_TRUE(s.isEmpty());
}

TEST(TStringStorage, WritableAccessDetachesAndReadOnlyAccessDoesNot) {
    // A fitting capacity in reserve still means a private block.
    for (auto access : {+[](TStringCore& s) { (void)s.str(); }, +[](TStringCore& s) { (void)s.data(); },
                        +[](TStringCore& s) { (void)s.begin(); }, +[](TStringCore& s) { (void)s.end(); },
                        +[](TStringCore& s) { (void)s.front(); }, +[](TStringCore& s) { (void)s.back(); },
                        +[](TStringCore& s) { (void)s.rbegin(); }, +[](TStringCore& s) { (void)s.rend(); },
                        +[](TStringCore& s) { (void)s[0]; }, +[](TStringCore& s) { (void)s[0ul]; },
                        +[](TStringCore& s) { s.detach(); }, +[](TStringCore& s) { s.resize(s.size()); },
                        +[](TStringCore& s) { s.reserve(10); },
                        +[](TStringCore& s) { s.changeCapacity(3, TStringManager::ToDefault); }})
        EXPECT_TRUE(detaches(access));

    EXPECT_FALSE(detaches([](TStringCore& s) {
        TStringCore const& c = s;
        (void)c.data(), (void)c.begin(), (void)c.end(), (void)c.cbegin(), (void)c.cend();
        (void)c.front(), (void)c.back(), (void)c.rbegin(), (void)c.rend(), (void)c.crbegin();
        (void)c[0], (void)c[0ul], (void)c.at(0), (void)static_cast<char16_t const*>(c);
        (void)static_cast<std::u16string_view>(c);
    }));

    TStringCore shortText(u"abc");
    char16_t const* before = shortText.constData();
    shortText.detach();
    EXPECT_EQ(shortText.constData(), before);
}

TEST(TStringStorage, DetachingPicksTheCapacityOfTheWrite) {
    TStringCore original = longString(20, 26);
    TStringCore copy = original;
    {
        ScopedCounting counting(MemoryTrackingMode::AllocationsAndFrees);
        copy.resize(30); // grows straight into a private block: one allocation, one copy
        EXPECT_EQ(counting.allocations(), 1u);
    }
    EXPECT_EQ(copy.capacity(), 42);
    EXPECT_EQ(text(copy).substr(0, 20), text(original));

    copy = original;
    copy.resize(0);
    EXPECT_FALSE(copy.isShared());
    EXPECT_EQ(copy.capacity(), 26);
    EXPECT_EQ(original.size(), 20);

    copy = original;
    copy.detachSharedLongString(16); // cuts the copy to what the new block holds
    EXPECT_EQ(text(copy), std::u16string(15, u'x'));
    char16_t const* before = copy.constData();
    copy.detachSharedLongString(16); // even when not shared
    EXPECT_NE(copy.constData(), before);
}

TEST(TStringStorage, AssignmentSharesBlocksReusesAnUnsharedOneAndSurvivesAliasing) {
    TStringCore target = letters(20);
    char16_t const* block = target.constData();
    target = TStringCore(u"short");
    EXPECT_EQ(target.constData(), block); // unshared: the block stays for the next growth
    EXPECT_EQ(target.capacity(), 26);
    EXPECT_EQ(text(target), u"short");

    TStringCore other = target;
    target = TStringCore(u"again");
    EXPECT_TRUE(isInline(target)); // shared: it lets go instead
    EXPECT_EQ(text(other), u"short");
    EXPECT_FALSE(other.isShared());

    TStringCore shortOne(u"tiny"), longOne = letters(30);
    shortOne = longOne;
    EXPECT_EQ(shortOne.constData(), longOne.constData());
    longOne = shortOne; // already sharing: the count passes through its old value
    EXPECT_TRUE(longOne.isShared());

    for (bool isLong : {false, true}) {
        TStringCore s = isLong ? letters(40) : TStringCore(u"short");
        const std::u16string before = text(s);
        TStringCore& alias = s;
        s = alias;
        s = std::move(alias);
        EXPECT_EQ(text(s), before);
        EXPECT_FALSE(s.isShared());
    }

    TStringCore source = letters(40);
    block = source.constData();
    TStringCore moved(std::move(source));
    EXPECT_EQ(moved.constData(), block);
    EXPECT_TRUE(source.isEmpty() && isInline(source));

    TStringCore shortSource(u"stays");
    moved = std::move(shortSource);
    EXPECT_EQ(text(shortSource) + text(moved), u"staysstays");

    TStringCore a = letters(40), b = a;
    a = std::move(b);
    EXPECT_FALSE(a.isShared());
}

TEST(TStringStorage, FailedAllocationLeavesTheStringAsItWas) {
    for (auto write : {+[](TStringCore& s) { s.resize(30); }, +[](TStringCore& s) { s.resize(0); },
                       +[](TStringCore& s) { s.squeeze(); }, +[](TStringCore& s) { s.detach(); },
                       +[](TStringCore& s) { s.push_back(u'x'); },
                       +[](TStringCore& s) { s.changeCapacity(100, TStringManager::ToSize); }})
        expectFailedWriteLeavesSharing(write);

    TStringCore unshared = letters(16), shortText(u"abc");
    {
        ScopedRealloc failing;
        expectStringException<OutOfMemoryException>([&] { unshared.resize(40); }, u"Out of memory");
        expectStringException<OutOfMemoryException>([&] { shortText.resize(20); }, u"Out of memory");
    }
    EXPECT_EQ(text(unshared), text(letters(16)));
    EXPECT_EQ(unshared.capacity(), 18);
    EXPECT_EQ(text(shortText), u"abc");
    EXPECT_TRUE(isInline(shortText));
}

TEST(TStringStorage, LargestSizeAsksForTheLargestBlockAndOneMoreThrowsFirst) {
    using kestal::testing::FailingRealloc;
    TStringCore s(u"ab");
    ScopedRealloc failing(kestal::testing::kHugeBlock);
    // One unit past the largest size, by every way of growing: refused before any allocation.
    for (auto grow :
         {+[](TStringCore& t) { t.resize(0x7FFFFFF8); }, +[](TStringCore& t) { t.reserve(0x7FFFFFF8); },
          +[](TStringCore& t) { t.append(u"x", 0x7FFFFFF6); },
          +[](TStringCore& t) { t.insert(1, u"x", 0x7FFFFFFF); },
          +[](TStringCore& t) { t.prepend(u"x", 0x7FFFFFF6); },
          +[](TStringCore& t) { t.assign(u'x', 0x7FFFFFF8); },
          +[](TStringCore& t) { t.replace(1, 0, u"x", 0x7FFFFFFF); }})
        expectStringException<CapacityException>([&] { grow(s); }, u"String capacity overflow.");
    EXPECT_EQ(FailingRealloc::failures, 0);
    // The largest size itself is legal and reaches the allocator, which fails here.
    for (auto grow : {+[](TStringCore& t) { t.resize(0x7FFFFFF7); },
                      +[](TStringCore& t) { t.append(u"x", 0x7FFFFFF5); }}) {
        FailingRealloc::lastFailedSize = 0;
        expectStringException<OutOfMemoryException>([&] { grow(s); }, u"Out of memory");
        EXPECT_EQ(FailingRealloc::lastFailedSize, 4'294'967'292u);
    }
    EXPECT_EQ(text(s), u"ab");
}

TEST(TStringStorage, ExceptionsKeepTheirClassAndStayOutsideStdException) {
    // Outside std::exception; a clone keeps the class and the message.
    static_assert(!std::is_base_of_v<std::exception, TStringCore::Exception> &&
                  !std::is_base_of_v<std::exception, CapacityException> &&
                  !std::is_base_of_v<std::exception, OutOfMemoryException>);
    const TStringCore::Exception plain(u"plain");
    const CapacityException capacityFamily;
    const OutOfMemoryException memoryFamily;
    TStringCore::Exception const* const family[] = {&plain, &capacityFamily, &memoryFamily};
    for (TStringCore::Exception const* e : family) {
        std::unique_ptr<TStringCore::Exception> clone(e->Clone());
        EXPECT_EQ(text(clone->CollateMessagesForLog()), text(e->GetConcatenatedMessages()));
        try {
            clone->Throw();
        } catch (TStringCore::Exception const& thrown) {
            EXPECT_EQ(typeid(thrown), typeid(*e));
        }
    }

    EXPECT_TRUE(
        TStringCore::Exception(static_cast<char16_t const*>(nullptr)).GetConcatenatedMessages().isEmpty());
    const TStringCore message = letters(30);
    EXPECT_TRUE(TStringCore::Exception(message).GetConcatenatedMessages().isShared());

    ScopedCounting counting(MemoryTrackingMode::AllocationsAndFrees);
    OutOfMemoryException outOfMemory; // reporting exhaustion must not need memory
    EXPECT_EQ(counting.allocations(), 0u);
    CapacityException capacity;
    EXPECT_EQ(counting.allocations(), 1u);
}

TEST(TStringStorageDeathTest, FailedDetachInsideAWritableAccessorTerminates) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const TStringCore original = letters(20);
    EXPECT_DEATH(
        {
            TStringCore copy = original;
            ScopedRealloc failing;
            (void)copy.data();
        },
        "");
}

TEST(TStringStorage, ThreadsCopyingOneSharedStringLeaveItsCountAtOne) {
    const TStringCore shared = letters(40);
    constexpr int kThreads = 4;
    std::latch start(kThreads);
    std::atomic<int> mismatches{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&] {
            start.arrive_and_wait();
            for (int i = 0; i < 5000; ++i) {
                TStringCore copy(shared);
                TStringCore assigned;
                assigned = copy;
                TStringCore moved(std::move(copy));
                if (moved.constData() != shared.constData() || assigned != shared || !moved.isShared())
                    ++mismatches;
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(mismatches.load(), 0);
    EXPECT_FALSE(shared.isShared());
}

} // namespace
