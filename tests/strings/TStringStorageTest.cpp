// String storage: inline and long forms, the capacity quantum and policies, copy on write,
// assignment, allocation failures and the string layer's exceptions.
#include "MemoryTestSupport.h"
#include "TStringTestSupport.h"

#include <atomic>
#include <cstdint>
#include <exception>
#include <latch>
#include <memory>
#include <thread>
#include <tuple>
#include <type_traits>

namespace {

using namespace kestal::testing;
using velmora::memory::MemoryTrackingMode;
using CapacityException = TStringCore::CapacityException;
using OutOfMemoryException = TStringCore::OutOfMemoryException;
using Write = void (*)(TStringCore&);

constexpr int kMaxCapacity = 0x7FFFFFF8;
constexpr char16_t kOverflow[] = u"String capacity overflow.", kNoMemory[] = u"Out of memory";

// The quantum by its definition: the smallest block of 2^k or 3*2^(k-1) code units strictly
// above size + terminator + six units of header, less the header.
std::int64_t referenceCapacity(std::int64_t size) {
    if (size < 15) return 15;
    for (std::int64_t p = 16;; p *= 2) {
        for (std::int64_t block : {p / 4 * 3, p})
            if (block > size + 7) return block > kMaxCapacity ? kMaxCapacity : block - 6;
    }
}

// A string of `size` units that lives in a long block of at least `capacity`.
TStringCore longString(int size, int capacity) {
    TStringCore s;
    s.reserve(capacity - 1);
    s.assign(u'x', size);
    return s;
}

TEST(TStringStorage, ShortTextNeverAllocatesAndCopiesOfLongTextShare) {
    static_assert(sizeof(TStringCore) == 32);
    ScopedCounting counting(MemoryTrackingMode::AllocationsAndFrees);
    TStringCore s(u"fourteen units"), copy = s;
    const char16_t* inlineUnits = s.constData();
    s.resize(3);
    s.resize(14);
    s = copy;
    s.append(TStringCore());
    s.detach();
    EXPECT_EQ(std::tuple(counting.allocations(), s.constData(), s.capacity()),
              std::tuple(0u, inlineUnits, 15));
    s.push_back(u'!');
    EXPECT_EQ(std::tuple(counting.allocations(), isInline(s), s.capacity()), std::tuple(1u, false, 18));
    TStringCore shared = s, moved = std::move(shared);
    EXPECT_EQ(std::tuple(counting.allocations(), moved.isShared(), moved.constData()),
              std::tuple(1u, true, s.constData()));
}

TEST(TStringStorage, CapacityQuantumFollowsTheBlockSeries) {
    for (int size : {INT32_MIN, -1, 0x5FFFFFF8, 0x5FFFFFF9, 0x7FFFFFF7})
        EXPECT_EQ(TStringManager::calculateCapacity(size), referenceCapacity(size)) << size;
    for (int size = 0; size < 70000; ++size)
        ASSERT_EQ(TStringManager::calculateCapacity(size), referenceCapacity(size));
    for (std::int64_t size = 70000; size < kMaxCapacity; size = size * 9 / 7 + 3)
        ASSERT_EQ(TStringManager::calculateCapacity(static_cast<int>(size)), referenceCapacity(size)) << size;
    for (int size : {kMaxCapacity, INT32_MAX})
        expectStringException<CapacityException>([&] { TStringManager::calculateCapacity(size); }, kOverflow);

    // A size, then the capacity by default, to size and to shrink: at the capacity itself all grow.
    const TStringCore block = longString(20, 42);
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

TEST(TStringStorage, ResizeMovesInlineTextToABlockButOnlySqueezeMovesItBack) {
    TStringCore s(u"abcdef");
    s.resize(2);
    s.resize(6); // inline units between the sizes keep what they held, terminator included
    EXPECT_EQ(text(s), std::u16string(u"ab\0def", 6));

    s = letters(20);
    s.resize(3);
    EXPECT_EQ(std::tuple(isInline(s), s.capacity(), s.constData()[3]), std::tuple(false, 26, u'\0'));
    s.squeeze();
    EXPECT_TRUE(isInline(s) && text(s) == u"abc");
    s = letters(20);
    s.squeeze();
    EXPECT_EQ(s.capacity(), 21);
    s.changeCapacityOfLongString(15); // a short capacity cuts the text to 14 units
    EXPECT_TRUE(isInline(s) && text(s) == text(letters(14)));

    // Squeezing a shared short text gives a private block of fifteen; unshared, it goes inline.
    TStringCore original = longString(5, 26), copy = original;
    copy.squeeze();
    EXPECT_TRUE(!isInline(copy) && !copy.isShared() && copy.capacity() == 15 && text(copy) == u"xxxxx");
    EXPECT_EQ(original.capacity(), 26);
    original.squeeze();
    EXPECT_TRUE(isInline(original) && text(original) == u"xxxxx");
}

TEST(TStringStorage, WritableAccessDetachesAndReadOnlyAccessDoesNot) {
    // On a copy of a long string; a fitting capacity in reserve still means a private block.
    auto detaches = [](Write access) {
        const TStringCore original = letters(20);
        TStringCore copy = original;
        access(copy);
        EXPECT_TRUE(text(original) == text(letters(20)) && original.capacity() == copy.capacity());
        return copy.constData() != original.constData();
    };
    for (Write access : {+[](TStringCore& s) { (void)s.str(); }, +[](TStringCore& s) { (void)s.data(); },
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

    // A detach picks the capacity of the write that needs it.
    TStringCore original = longString(20, 26), copy = original;
    ScopedCounting counting(MemoryTrackingMode::AllocationsAndFrees);
    copy.resize(30); // grows straight into a private block: one allocation, one copy
    EXPECT_EQ(std::tuple(counting.allocations(), copy.capacity()), std::tuple(1u, 42));
    EXPECT_EQ(text(copy).substr(0, 20), text(original));
    copy = original;
    copy.resize(0);
    EXPECT_EQ(std::tuple(copy.isShared(), copy.capacity(), original.size()), std::tuple(false, 26, 20));
    copy = original;
    copy.detachSharedLongString(16); // cuts the copy to what the new block holds
    char16_t const* before = copy.constData();
    copy.detachSharedLongString(16); // even when not shared
    EXPECT_TRUE(copy.constData() != before && text(copy) == std::u16string(15, u'x'));
}

TEST(TStringStorage, AssignmentSharesBlocksReusesAnUnsharedOneAndSurvivesAliasing) {
    TStringCore target = letters(20);
    char16_t const* block = target.constData();
    target = TStringCore(u"short"); // unshared: the block stays for the next growth
    EXPECT_TRUE(target.constData() == block && target.capacity() == 26 && text(target) == u"short");
    TStringCore other = target;
    target = TStringCore(u"again"); // shared: it lets go instead
    EXPECT_TRUE(isInline(target) && !other.isShared() && text(other) == u"short");

    TStringCore shortOne(u"tiny"), longOne = letters(30);
    shortOne = longOne;
    longOne = shortOne; // already sharing: the count passes through its old value
    EXPECT_TRUE(longOne.isShared() && shortOne.constData() == longOne.constData());
    shortOne = std::move(longOne); // moving in a sharer of the same block leaves one owner
    EXPECT_FALSE(shortOne.isShared());

    for (bool isLong : {false, true}) {
        TStringCore s = isLong ? letters(40) : TStringCore(u"short");
        const std::u16string before = text(s);
        TStringCore& alias = s;
        s = alias;
        s = std::move(alias);
        EXPECT_TRUE(text(s) == before && !s.isShared());
    }

    TStringCore source = letters(40), shortSource(u"stays");
    block = source.constData();
    TStringCore moved(std::move(source));
    EXPECT_TRUE(moved.constData() == block && source.isEmpty() && isInline(source));
    moved = std::move(shortSource);
    EXPECT_EQ(text(shortSource) + text(moved), u"staysstays");
}

TEST(TStringStorage, FailedAllocationLeavesTheStringAsItWas) {
    // A shared copy keeps sharing its block, text and size unchanged.
    for (Write write : {+[](TStringCore& s) { s.resize(30); }, +[](TStringCore& s) { s.resize(0); },
                        +[](TStringCore& s) { s.squeeze(); }, +[](TStringCore& s) { s.detach(); },
                        +[](TStringCore& s) { s.push_back(u'x'); },
                        +[](TStringCore& s) { s.changeCapacity(100, TStringManager::ToSize); }}) {
        const TStringCore original = letters(20);
        TStringCore copy = original;
        ScopedRealloc failing;
        expectStringException<OutOfMemoryException>([&] { write(copy); }, kNoMemory);
        EXPECT_TRUE(copy.isShared() && copy.constData() == original.constData() &&
                    text(copy) == text(original));
    }
    TStringCore unshared = letters(16), shortText(u"abc");
    {
        ScopedRealloc failing;
        expectStringException<OutOfMemoryException>([&] { unshared.resize(40); }, kNoMemory);
        expectStringException<OutOfMemoryException>([&] { shortText.resize(20); }, kNoMemory);
    }
    EXPECT_TRUE(text(unshared) == text(letters(16)) && unshared.capacity() == 18);
    EXPECT_TRUE(text(shortText) == u"abc" && isInline(shortText));
}

TEST(TStringStorage, SizesOutOfRangeAreRefusedBeforeAnyAllocation) {
    TStringCore s(u"ab"), block = letters(20);
    ScopedRealloc failing(kHugeBlock);
    // Negative sizes and capacities, each entry point with its message.
    using E = TStringCore::Exception;
    expectStringException<CapacityException>([&] { s.TStringManager::resize(-1); }, kOverflow);
    expectStringException<E>([&] { s.changeCapacity(-1, TStringManager::ToSize); },
                             u"Negative allocation size; probable overflow");
    expectStringException<E>([&] { s.changeCapacityOfShortString(-1); },
                             u"Allocation size less than zero; probable capacity overflow");
    expectStringException<E>([&] { block.changeCapacityOfLongString(-1); },
                             u"Allocation capacity is less than zero; probable capacity overflow.");
    expectStringException<CapacityException>([] { TLongStringHeader::reallocate(kMaxCapacity + 1, nullptr); },
                                             kOverflow);
    // One unit past the largest size, by every way of growing.
    for (Write grow :
         {+[](TStringCore& t) { t.resize(0x7FFFFFF8); }, +[](TStringCore& t) { t.reserve(0x7FFFFFF8); },
          +[](TStringCore& t) { t.append(u"x", 0x7FFFFFF6); },
          +[](TStringCore& t) { t.insert(1, u"x", 0x7FFFFFFF); },
          +[](TStringCore& t) { t.prepend(u"x", 0x7FFFFFF6); },
          +[](TStringCore& t) { t.assign(u'x', 0x7FFFFFF8); },
          +[](TStringCore& t) { t.replace(1, 0, u"x", 0x7FFFFFFF); }})
        expectStringException<CapacityException>([&] { grow(s); }, kOverflow);
    EXPECT_EQ(FailingRealloc::failures, 0);
    // The largest size itself is legal and reaches the allocator, which fails here.
    for (Write grow : {+[](TStringCore& t) { t.resize(0x7FFFFFF7); },
                       +[](TStringCore& t) { t.append(u"x", 0x7FFFFFF5); }}) {
        FailingRealloc::lastFailedSize = 0;
        expectStringException<OutOfMemoryException>([&] { grow(s); }, kNoMemory);
        EXPECT_EQ(FailingRealloc::lastFailedSize, 4'294'967'292u);
    }
    EXPECT_EQ(text(s) + text(block), u"ab" + text(letters(20)));
    s.resize(-1); // TStringCore's own resize clamps
    EXPECT_TRUE(s.isEmpty());
}

TEST(TStringStorage, ExceptionsKeepTheirClassAndStayOutsideStdException) {
    static_assert(!std::is_base_of_v<std::exception, TStringCore::Exception> &&
                  !std::is_base_of_v<std::exception, CapacityException> &&
                  !std::is_base_of_v<std::exception, OutOfMemoryException>);
    // A clone keeps the class and the message.
    auto cloneThrows = [](auto const& e) {
        const std::unique_ptr<TStringCore::Exception> clone(e.Clone());
        EXPECT_EQ(text(clone->CollateMessagesForLog()), text(e.GetConcatenatedMessages()));
        expectStringException<std::remove_cvref_t<decltype(e)>>([&] { clone->Throw(); },
                                                                text(e.GetConcatenatedMessages()).c_str());
    };
    cloneThrows(TStringCore::Exception(u"plain"));
    cloneThrows(CapacityException());
    cloneThrows(OutOfMemoryException());

    EXPECT_TRUE(
        TStringCore::Exception(static_cast<char16_t const*>(nullptr)).GetConcatenatedMessages().isEmpty());
    const TStringCore message = letters(30);
    EXPECT_TRUE(TStringCore::Exception(message).GetConcatenatedMessages().isShared());
    ScopedCounting counting(MemoryTrackingMode::AllocationsAndFrees);
    OutOfMemoryException outOfMemory; // reporting exhaustion must not need memory
    EXPECT_EQ(counting.allocations(), 0u);
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
                TStringCore copy(shared), assigned;
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
