// Reference counting: copies of counted objects start afresh, holders move the count exactly and
// are null before the object dies, the add that would reach the largest count aborts, a null
// dereference is a logic assertion, and threads racing to drop the last reference destroy each
// object once, after all their writes.
#include "ScopedLogicAssertHook.h"

#include <algorithm>
#include <barrier>
#include <gtest/gtest.h>
#include <kestal/ReferenceCount.h>
#include <optional>
#include <thread>
#include <unordered_set>

namespace {

struct Counted : RefCntObject {
    explicit Counted(int* destroyed = nullptr)
        : destroyed(destroyed) {}
    ~Counted() override {
        if (destroyed) ++*destroyed;
    }
    int* destroyed;
};
struct Derived : Counted {
    using Counted::Counted;
};

// The base's two words where every build puts them: the count, then the marker.
std::atomic<std::int32_t>& countWord(RefCntObject& o) {
    return *reinterpret_cast<std::atomic<std::int32_t>*>(
        static_cast<RefCntObjectNonVirtualBase<RefCntObject>*>(&o));
}

TEST(RefCntObject, CopiesStartAtZeroAndAssignmentKeepsCounts) {
    const RefCntPtr<Counted> held = MakeRefCnt<Counted>();
    const std::vector<RefCntPtr<Counted>> more(4, held);
    auto* fresh = new Counted(*held);
    EXPECT_EQ(fresh->GetReferenceCount(), 0);
    EXPECT_EQ(reinterpret_cast<std::uint32_t*>(&countWord(*fresh))[1], 0xC466E877u);
    const RefCntPtr<Counted> copy = fresh;
    *copy = *held;
    *held = *copy;
    EXPECT_EQ(held->GetReferenceCount(), 5);
    EXPECT_EQ(copy->GetReferenceCount(), 1);
}

TEST(RefCntPtr, HoldersMoveTheCountExactly) {
    int destroyed = 0;
    RefCntPtr<Derived> a = MakeRefCnt<Derived>(&destroyed);
    Derived* object = a.get();
    RefCntPtr<Counted> b(a), c(std::move(b)); // converting copy, then a move
    auto& alias = c;                          // self-assignment, unseen by the compiler's warnings
    c = alias;
    c = std::move(alias);
    EXPECT_TRUE(!b && c == a && object->GetReferenceCount() == 2);
    RefCntPtr<Counted> d(std::move(a)); // converting move
    EXPECT_TRUE(!a && d == c && !(d < c) && !(c < d));
    std::unordered_set<RefCntPtr<Counted>, RefCntPtrHash> set{c, d, nullptr};
    EXPECT_EQ(set.size(), 2u);
    EXPECT_EQ(RefCntPtrHash()(c), std::hash<RefCntPtr<Counted>>()(d));
    set.clear();
    d.reset(object); // takes the new reference before giving the old one back
    c = nullptr;
    EXPECT_EQ(object->GetReferenceCount(), 1);
    object->AddReference(); // a raw pointer takes a reference back ...
    d.reset();
    EXPECT_EQ(destroyed, 0);
    EXPECT_EQ(object->RemoveReference(), 0); // ... and its drop is the last
    EXPECT_EQ(destroyed, 1);
}

RefCntPtr<RefCntObject> g_holder;
struct SeesItsHolder : RefCntObject {
    ~SeesItsHolder() override { EXPECT_FALSE(g_holder); }
};

TEST(RefCntPtr, HolderIsNullBeforeTheObjectDies) {
    g_holder = new SeesItsHolder;
    g_holder.reset();
    g_holder = new SeesItsHolder;
    g_holder = nullptr;
}

TEST(RefCntPtrDeathTest, AddAbortsOnlyWhenTheCountWouldReachTheLargestValue) {
    GTEST_FLAG_SET(death_test_style, "threadsafe"); // a fresh process: no thread has run yet
    for (bool threaded : {false, true}) {
        auto addAt = [threaded](std::int32_t count) {
            if (threaded) std::thread([] {}).join(); // leaves the single-threaded path for good
            if (threaded == kestal::detail::ProcessIsSingleThreaded()) std::exit(2);
            Counted object;
            countWord(object) = count;
            RefCntPtr<Counted> holder(&object);
            std::exit(object.GetReferenceCount() == count + 1 ? 0 : 1);
        };
        EXPECT_EXIT(addAt(0x7FFFFFFD), ::testing::ExitedWithCode(0), "") << threaded;
        EXPECT_DEATH(addAt(0x7FFFFFFE), "") << threaded;
    }
}

// With the test hook the site's own code arrives; with none, the fixed code and a trace.
TEST(RefCntPtr, NullDereferenceIsALogicAssertion) {
    const RefCntPtr<Counted> null;
    for (bool hooked : {true, false}) {
        std::optional<kestal::testing::ScopedLogicAssertHook> hook;
        if (hooked) hook.emplace();
        ::testing::internal::CaptureStderr();
        try {
            hooked ? (void)*null : (void)null->destroyed;
            ADD_FAILURE() << "no exception";
        } catch (LogicException const& e) {
            EXPECT_EQ(e.GetErrorCode(), hooked ? 0x00BF554Au : 0xA2BCBC42u);
        }
        const std::string trace = ::testing::internal::GetCapturedStderr();
        if (hooked)
            EXPECT_EQ(hook->LastFile() + ":" + std::to_string(hook->LastLine()),
                      "public/kestal/ReferenceCount:342");
        else
            EXPECT_EQ(
                trace,
                "LogicAssert failed (but no hook has been set) at public/kestal/ReferenceCount line 342: "
                "Null pointer dereferenced");
    }
}

// Every round, nine holders of one object race to drop it. The destructor must run exactly once,
// after every holder's write to the object (TSan reports a missing acquire/release here).
TEST(RefCntPtr, LastOfManyHoldersDestroysOnceAfterAllWrites) {
    constexpr int kThreads = 8, kRounds = 100;
    struct Shared : RefCntObject {
        int writes[kThreads] = {};
        int round = 0;
        std::atomic<int>* destroyed = nullptr;
        ~Shared() override {
            if (std::count(writes, writes + kThreads, round) == kThreads) destroyed->fetch_add(1);
        }
    };
    std::atomic<int> destroyed{0};
    RefCntPtr<Shared> current;
    std::barrier gate(kThreads + 1);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            for (int r = 1; r <= kRounds; ++r) {
                gate.arrive_and_wait(); // current holds round r
                RefCntPtr<Shared> copy = current, other;
                other = std::move(copy);
                copy = other;
                other.reset();
                copy->writes[t] = r;
                gate.arrive_and_wait(); // everyone holds a copy: race to drop
                copy = nullptr;
                gate.arrive_and_wait(); // round over
            }
        });
    for (int r = 1; r <= kRounds; ++r) {
        current = MakeRefCnt<Shared>();
        current->round = r;
        current->destroyed = &destroyed;
        gate.arrive_and_wait();
        gate.arrive_and_wait();
        current.reset();
        gate.arrive_and_wait();
        EXPECT_EQ(destroyed.load(), r);
    }
    for (auto& t : threads)
        t.join();
}

} // namespace
