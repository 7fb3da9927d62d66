// Task context and cancellation: a fresh thread's context and the assertion sites, the exception's
// type through Clone and Throw, guards that nest and unwind releasing each reference once,
// SuppressParentCancel bridging a parent's signal, and two races: a pool item polling under a child
// event, and a signal against ~ScopedCancelImpersonation.
#include "SyncTestSupport.h"
#include "TaskTestSupport.h"

#include <atomic>
#include <thread>

namespace {

using namespace kestal::testing;
using namespace AsyncTask;
using EventPtr = RefCntPtr<TCancelEvent, RefCntObject>;

struct CountingEvent : TCancelEvent {
    static inline std::atomic<int> s_live{0};
    CountingEvent() { ++s_live; }
    ~CountingEvent() override { --s_live; }
};

TEST(Cancel, FreshThreadAndSites) {
    std::thread([] {
        TLS tls = TLS::Get();
        EXPECT_TRUE(tls.GetDepth() == 0 && !tls.GetCancelEvent() && !tls.GetWaitHandler() && !Cancel::Get());
        ExpectSite([] { TLS().DecrementDepth(); }, 0x0C2FD434, "main/thread/AsyncTaskTls", 86);
        EXPECT_EQ(tls.GetDepth(), 0u);
        ExpectSite([] { Cancel::GetNonNull(); }, 0x5E7B883F, "main/thread/Cancel", 91);
        ExpectSite([] { Cancel::ThrowIfCancelled(); }, 0x00BF554A, "public/kestal/ReferenceCount", 342);
        Cancel::Set(nullptr);
        Cancel::Create();
        ExpectSite([] { Cancel::Create(); }, 0xCC8BF328, "main/thread/Cancel", 53);
        EventPtr first = Cancel::Get(), second(new CountingEvent);
        ExpectSite([&] { Cancel::Set(second); }, 0x77EEF7F7, "main/thread/Cancel", 76);
        EXPECT_EQ(&Cancel::GetNonNull(), second.get());
        EXPECT_EQ(first->GetReferenceCount(), 2); // the thread's reference was kept
        first->RemoveReference();
        Cancel::Set(nullptr);
    }).join();
    EXPECT_EQ(CountingEvent::s_live.load(), 0);
}

TEST(Cancel, ExceptionKeepsTypeAndFlag) {
    Cancel::Create();
    Cancel::ThrowIfCancelled();
    std::thread([event = Cancel::Get()] { event->Signal(); }).join();
    try {
        Cancel::ThrowIfCancelled();
        ADD_FAILURE() << "not cancelled";
    } catch (CancelException const& e) {
        EXPECT_TRUE(e.GetMessagesFront() == u"Canceled" && e.GetMessages().size() == 1 && !e.IsOrphanQuery());
        EXPECT_EQ(e.GetErrorName(), u"VelmoraException_AutoGen_0x94A93C32");
        CancelException flagged(u"gone", e.GetErrorInfo(), true); // the bool is ignored
        EXPECT_FALSE(flagged.IsOrphanQuery());
        flagged.SetIsOrphanQuery(true);
        std::unique_ptr<VelmoraException> clone(flagged.Clone());
        try {
            clone->Throw();
        } catch (CancelException const& thrown) {
            EXPECT_TRUE(thrown.IsOrphanQuery() && thrown.GetMessagesFront() == u"gone");
        }
    }
    Cancel::Set(nullptr);
}

struct Handler : IWaitHandler {
    IWaitHandler const** seenAtDeath = nullptr;
    ~Handler() override { *seenAtDeath = TLS().GetWaitHandler(); }
    bool WaitFor(SharedStateBase&, std::chrono::milliseconds const&) const override { return true; }
};

TEST(Cancel, GuardsNestAndReleaseEachReferenceOnce) {
    std::thread([] {
        Cancel::Set(new CountingEvent);
        TCancelEvent const* outer = &Cancel::GetNonNull();
        {
            Cancel::CancelEventSetter setter(new CountingEvent);
            TCancelEvent const* inner = &Cancel::GetNonNull();
            {
                Cancel::SuppressParentCancel suppress;
                {
                    Cancel::CancelEventSetter none(nullptr);
                    EXPECT_FALSE(Cancel::Get());
                }
                ScopedCancelImpersonation impersonate(true, new CountingEvent,
                                                      std::make_shared<FunctionState>());
            } // the impersonated event, left installed, became a child of `inner`
            EXPECT_EQ(&Cancel::GetNonNull(), inner);
        }
        EXPECT_EQ(&Cancel::GetNonNull(), outer);
        Cancel::Set(nullptr);

        IWaitHandler const* seen = nullptr;
        Handler a;
        a.seenAtDeath = &seen;
        {
            WaitHandlerScopeGuard first(&a);
            auto b = std::make_unique<Handler>();
            b->seenAtDeath = &seen;
            OwningWaitHandlerScopeGuard{std::move(b)};
            EXPECT_EQ(seen, &a); // restored before the owned handler died
        }
        EXPECT_EQ(TLS().GetWaitHandler(), nullptr);
    }).join();
    EXPECT_EQ(CountingEvent::s_live.load(), 0);
}

TEST(Cancel, SuppressParentCancelHidesThenDelivers) {
    for (bool clear : {false, true}) {
        EventPtr parent(new TCancelEvent);
        Cancel::Set(parent);
        {
            Cancel::SuppressParentCancel suppress;
            parent->Signal();
            Cancel::ThrowIfCancelled();
            if (clear) suppress.ClearPendingCancel();
        }
        EXPECT_EQ(parent->IsSet(), !clear);
        if (clear)
            Cancel::ThrowIfCancelled();
        else
            EXPECT_THROW(Cancel::ThrowIfCancelled(), CancelException);
        Cancel::Set(nullptr);
    }
}

TEST(Cancel, PoolItemUnderChildEventSeesRootSignal) {
    TThreadPool pool(1);
    TAutoResetEvent polling, done; // outlive the rounds: the item may still be inside Signal
    for (int round = 0; round < 1000; ++round) {
        EventPtr root(new TCancelEvent), child(new TCancelEvent);
        root->Add(child);
        std::atomic<bool> cancelled{false};
        pool.AddWork(
            [&] {
                Cancel::CancelEventSetter setter(child);
                polling.Signal();
                try {
                    for (auto until = std::chrono::steady_clock::now() + kBound;
                         std::chrono::steady_clock::now() < until; std::this_thread::yield())
                        Cancel::ThrowIfCancelled();
                } catch (CancelException const&) {
                    cancelled = true;
                }
                done.Signal();
            },
            TThreadPoolWork::AlwaysQueue);
        RequireSignalled(polling, "item polling");
        root->Signal();
        RequireSignalled(done, "item cancelled");
        ASSERT_TRUE(cancelled.load()) << round;
    }
}

// After ~ScopedCancelImpersonation returns, a racing signal never reaches the state; over an
// event already set, the constructor delivers it once.
TEST(Cancel, ImpersonationDeliversOnlyWhileAlive) {
    for (int round = 0; round < 2000; ++round) {
        EventPtr event(new TCancelEvent);
        std::atomic<int> late{0}, calls{0};
        std::atomic<bool> ended{false};
        auto state = std::make_shared<FunctionState>();
        state->onCancelRequested = [&] { ++calls, late += ended.load(); };
        TCountdownEvent start(2);
        std::jthread signaller([&] { start.Signal(), start.Wait(kBound), event->Signal(); });
        {
            ScopedCancelImpersonation guard(false, event, state);
            start.Signal(), start.Wait(kBound);
        }
        ended = true;
        signaller.join();
        Cancel::Set(nullptr);
        ASSERT_EQ(late.load(), 0);
        const int before = calls;
        { ScopedCancelImpersonation again(false, event, state); }
        Cancel::Set(nullptr);
        ASSERT_EQ(calls - before, 1);
    }
}

} // namespace
