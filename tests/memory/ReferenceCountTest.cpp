// Reference counting: copies of counted objects start afresh, holders move the count exactly,
// the add that would reach the largest count aborts, a null dereference is a logic assertion, and
// threads racing to drop the last reference destroy each object once, after all their writes.
#include "ScopedLogicAssertHook.h"

#include <barrier>
#include <gtest/gtest.h>
#include <kestal/ReferenceCount.h>
#include <set>
#include <thread>
#include <unordered_set>

namespace {

using kestal::testing::ScopedLogicAssertHook;

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

// The two words of the base, read and written where every build puts them.
std::atomic<std::int32_t>& countWord(RefCntObject const& o) {
    auto const& base = static_cast<RefCntObjectNonVirtualBase<RefCntObject> const&>(o);
    return *reinterpret_cast<std::atomic<std::int32_t>*>(const_cast<void*>(static_cast<void const*>(&base)));
}
std::uint32_t markerWord(RefCntObject const& o) {
    return reinterpret_cast<std::uint32_t const*>(&countWord(o))[1];
}

TEST(RefCntObject, CopiesStartAtZeroAndAssignmentKeepsCounts) {
    const RefCntPtr<Counted> held = MakeRefCnt<Counted>();
    const std::vector<RefCntPtr<Counted>> more(4, held);
    auto* fresh = new Counted(*held);
    EXPECT_EQ(held->GetReferenceCount(), 5);
    EXPECT_EQ(fresh->GetReferenceCount(), 0);
    EXPECT_EQ(markerWord(*fresh), 0xC466E877u);
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
    RefCntPtr<Counted> b(a); // converting copy
    RefCntPtr<Counted> c(std::move(b));
    EXPECT_EQ(b, nullptr);
    EXPECT_EQ(object->GetReferenceCount(), 2);
    auto& alias = c; // self-assignment, unseen by the compiler's warnings
    c = alias;
    c = std::move(alias);
    EXPECT_EQ(object->GetReferenceCount(), 2);
    RefCntPtr<Counted> d = RefCntPtr<Counted>(std::move(a)); // converting move
    EXPECT_TRUE(!a && d == c && !(d < c) && !(c < d));
    swap(c, b);
    EXPECT_TRUE(!c && b == d);
    d.reset(object); // takes the new reference before giving the old one back
    EXPECT_EQ(object->GetReferenceCount(), 2);
    b = nullptr;
    EXPECT_EQ(destroyed, 0);
    object->AddReference(); // a raw holder takes a reference back ...
    d.reset();
    EXPECT_EQ(destroyed, 0);
    EXPECT_EQ(object->RemoveReference(), 0); // ... and the last one destroys
    EXPECT_EQ(destroyed, 1);
}

// The holder is null by the time the destructor runs.
RefCntPtr<RefCntObject> g_holder;
struct SeesItsHolder : RefCntObject {
    ~SeesItsHolder() override { EXPECT_FALSE(g_holder); }
};

TEST(RefCntPtr, ReleaseClearsTheHolderBeforeDestroying) {
    g_holder = new SeesItsHolder;
    g_holder.reset();
    g_holder = new SeesItsHolder;
    g_holder = nullptr;
}

TEST(RefCntPtrDeathTest, AddAbortsOnlyWhenTheCountWouldReachTheLargestValue) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    for (bool threaded : {false, true}) {
        auto addAt = [threaded](std::int32_t count) {
            if (threaded) std::thread([] {}).join(); // leaves the single-threaded path for good
            if (threaded == kestal::detail::RefCntSingleThreaded()) std::exit(2);
            Counted object;
            countWord(object) = count;
            RefCntPtr<Counted> holder(&object);
            std::exit(object.GetReferenceCount() == count + 1 ? 0 : 1);
        };
        EXPECT_EXIT(addAt(0x7FFFFFFD), ::testing::ExitedWithCode(0), "") << threaded;
        EXPECT_DEATH(addAt(0x7FFFFFFE), "") << threaded;
    }
}

TEST(RefCntPtr, NullDereferenceIsALogicAssertion) {
    const RefCntPtr<Counted> null;
    {
        ScopedLogicAssertHook hook;
        for (auto const& use : {+[](RefCntPtr<Counted> const& p) { (void)*p; },
                                +[](RefCntPtr<Counted> const& p) { (void)p->destroyed; }}) {
            try {
                use(null);
                ADD_FAILURE() << "no exception";
            } catch (LogicException const& e) {
                EXPECT_EQ(e.GetErrorCode(), 0x00BF554Au);
                EXPECT_EQ(e.GetErrorName().toStdString(), "LogicException_LogicAssert_0x00BF554A");
                EXPECT_EQ(e.GetInternalMessage().toStdString(), "Null pointer dereferenced");
                EXPECT_EQ(ScopedLogicAssertHook::LastFile() + ":" +
                              std::to_string(ScopedLogicAssertHook::LastLine()),
                          "public/kestal/ReferenceCount:342");
            }
        }
    }
    ::testing::internal::CaptureStderr();
    try {
        null.reportNullPtr();
    } catch (LogicException const& e) {
        EXPECT_EQ(e.GetErrorCode(), 0xA2BCBC42u);
    }
    EXPECT_NE(::testing::internal::GetCapturedStderr().find("ReferenceCount line 342"), std::string::npos);
}

TEST(RefCntPtr, HashesAndOrdersByIdentity) {
    const auto a = MakeRefCnt<Counted>(), b = MakeRefCnt<Counted>();
    const RefCntPtr<Counted> a2 = a;
    std::unordered_set<RefCntPtr<Counted>, RefCntPtrHash> byFunctor{a, b, a2};
    std::unordered_set<RefCntPtr<Counted>> byStd{a, b, a2};
    std::set<RefCntPtr<Counted>> ordered{a, b, a2, nullptr};
    EXPECT_EQ(byFunctor.size(), 2u);
    EXPECT_EQ(byStd.size(), 2u);
    EXPECT_EQ(ordered.size(), 3u);
    EXPECT_EQ(RefCntPtrHash()(a), std::hash<RefCntPtr<Counted>>()(a2));
    EXPECT_EQ(a->GetReferenceCount(), 5);
}

// Every round, nine holders of one object race to drop it. The destructor must run exactly once,
// and after every holder's write to the object (TSan sees a missing acquire/release here).
TEST(RefCntPtr, LastOfManyHoldersDestroysOnceAfterAllWrites) {
    constexpr int kThreads = 8, kRounds = 300;
    struct Shared : RefCntObject {
        int writes[kThreads] = {};
        int round = 0;
        std::atomic<int>* destroyed = nullptr;
        ~Shared() override {
            for (int w : writes)
                if (w != round) return; // leaves `destroyed` short: the check below fails
            destroyed->fetch_add(1, std::memory_order_relaxed);
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
                gate.arrive_and_wait(); // everyone holds a copy: now race to drop
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
