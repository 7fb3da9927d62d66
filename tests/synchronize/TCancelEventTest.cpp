// Cancel trees: signals travel down, parent first, on the signalling thread, and never up; Reset is
// shallow; the assertion sites and the null child; and Add racing Signal, which must never leave
// the new child unsignalled.
#include "SyncTestSupport.h"

#include <barrier>
#include <kestal/TCancelEvent.h>
#include <memory>
#include <thread>

namespace {

using namespace kestal::testing;
using Node = RefCntPtr<TCancelEvent, RefCntObject>;

constexpr char kFile[] = "main/synchronize/TEvent";

TEST(TCancelEvent, SignalsGoDownParentFirstAndResetIsShallow) {
    const Node parent = MakeRefCnt<TCancelEvent>(), c1 = MakeRefCnt<TCancelEvent>(),
               c2 = MakeRefCnt<TCancelEvent>(), grandchild = MakeRefCnt<TCancelEvent>();
    parent->Add(c1), parent->Add(c2), c1->Add(grandchild);
    std::vector<TCancelEvent const*> runs; // null for a run off the signalling thread
    std::thread::id signaller = std::this_thread::get_id();
    for (Node const& n : {parent, c1, c2, grandchild})
        n->AddOnSignalCallback(n.get(), [&, node = n.get()] {
            runs.push_back(std::this_thread::get_id() == signaller ? node : nullptr);
        });
    auto flags = [&] {
        return std::vector<bool>{parent->IsSet(), c1->IsSet(), c2->IsSet(), grandchild->IsSet()};
    };

    c1->Signal();
    EXPECT_EQ(flags(), (std::vector<bool>{false, true, false, true}));
    c1->Reset(), grandchild->Reset(), runs.clear();
    std::thread([&] { signaller = std::this_thread::get_id(), parent->Signal(); }).join();
    EXPECT_EQ(flags(), std::vector<bool>(4, true));
    std::vector<TCancelEvent const*> depthFirst = {parent.get(), c1.get(), grandchild.get(), c2.get()};
    if (c2.get() < c1.get()) // children in ascending address order
        depthFirst = {parent.get(), c2.get(), c1.get(), grandchild.get()};
    EXPECT_EQ(runs, depthFirst);

    IEvent const& view = *parent;
    view.Reset();
    EXPECT_EQ(flags(), (std::vector<bool>{false, true, true, true}));
    parent->Signal();
    EXPECT_TRUE(view.IsSet());
    const Node late = MakeRefCnt<TCancelEvent>();
    parent->Add(late); // to a set parent: signalled at once
    EXPECT_TRUE(late->IsSet());
    auto token = std::make_shared<int>(); // freed with the callbacks of a destroyed event
    TCancelEvent* child = new TCancelEvent;
    child->AddOnSignalCallback(child, [token] {});
    parent->Add(child);
    parent->Remove(child); // the set held the last reference
    EXPECT_EQ(token.use_count(), 1);
}

TEST(TCancelEvent, DuplicateUnknownAndNullChildren) {
    const Node parent = MakeRefCnt<TCancelEvent>(), child = MakeRefCnt<TCancelEvent>();
    parent->Add(child);
    ExpectSite([&] { parent->Add(child); }, 0x8DB0B7A4, kFile, 95);
    EXPECT_EQ(child->GetReferenceCount(), 2); // kept once
    ExpectSite([&] { parent->Remove(MakeRefCnt<TCancelEvent>()); }, 0xE1DDA3CC, kFile, 108);
    std::thread([&] { parent->Remove(child); }).join(); // the child lock was released
    EXPECT_EQ(child->GetReferenceCount(), 1);

    // A null child sorts first: every Signal reports it before reaching a real child.
    parent->Add(child), parent->Add(nullptr);
    for (int i = 0; i < 2; ++i)
        ExpectSite([&] { parent->Signal(); }, 0x00BF554A, "public/kestal/ReferenceCount", 342);
    EXPECT_TRUE(parent->IsSet());
    EXPECT_FALSE(child->IsSet());
    EXPECT_NO_THROW(MakeRefCnt<TCancelEvent>()->Add(nullptr)); // to an unset parent: no report
    ExpectSite([&] { child->Signal(), child->Add(nullptr); }, 0x00BF554A, "public/kestal/ReferenceCount",
               342);
}

// Thousands of rounds, each a fresh parent and child with Add and Signal released together.
TEST(TCancelEvent, ConcurrentAddNeverMissesTheSignal) {
    constexpr int kRounds = 2000;
    std::barrier gate(2);
    Node parent;
    std::thread signaller([&] {
        for (int r = 0; r < kRounds; ++r)
            gate.arrive_and_wait(), parent->Signal(), gate.arrive_and_wait();
    });
    int missed = 0;
    for (int r = 0; r < kRounds; ++r) {
        parent = MakeRefCnt<TCancelEvent>();
        const Node child = MakeRefCnt<TCancelEvent>();
        gate.arrive_and_wait(), parent->Add(child), gate.arrive_and_wait();
        missed += !child->IsSet();
    }
    signaller.join();
    EXPECT_EQ(missed, 0);
}

} // namespace
