// The typed half of a future's shared state, compiled by the caller: the value, the cancel reason,
// and the one frame that runs a task body. Kept apart from Future.h so that the user-facing classes
// read without it. Nothing here is API: names may change.
#pragma once

#include <atomic>
#include <exception>
#include <functional>
#include <iterator>
#include <kestal/AsyncTask.h>
#include <kestal/KestalExport.h>
#include <kestal/TError.h>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace AsyncTask {

/// The misuses of a future or promise that raise InvalidFutureException. Each has its own code
/// and error name, and a message in words stacked behind "InvalidFuture".
enum class FutureError : std::uint32_t {
    NoState = 1,          ///< an empty, moved-from or consumed future or promise
    BrokenPromise = 2,    ///< the promise was destroyed before it was set
    AlreadyRetrieved = 3, ///< GetFuture called twice
    AlreadySatisfied = 4, ///< SetValue or SetException on a promise already set
    TaskDropped = 5,      ///< the execution hook or a closed worker manager let the task go unrun
};

/// The InvalidFutureException for `error`: code 0x1F7E0000 plus the error's value, name
/// "InvalidFuture_0x" and the code in hexadecimal, source Client, status FAILED_PRECONDITION, and
/// the misuse in words as its second message.
inline InvalidFutureException FutureErrorException(FutureError error) {
    static constexpr char16_t const* kWords[] = {
        u"unknown misuse of a future",
        u"no state: the future or promise is empty, moved from or already consumed",
        u"broken promise: the promise was destroyed before it was set",
        u"future already retrieved: GetFuture was called before",
        u"promise already satisfied: a value or an exception was set before",
        u"task dropped: it was let go without running",
    };
    auto const value = static_cast<std::uint32_t>(error);
    unsigned int const code = 0x1F7E0000u + value;
    TStringCore name = u"InvalidFuture_0x" + TStringCore::number(static_cast<long long>(code), 16).toUpper();
    InvalidFutureException e(TError::ErrorInfo(VelmoraError(code, std::move(name)), TError::Client,
                                               grpc::StatusCode::FAILED_PRECONDITION));
    e.StackMessage(kWords[value < std::size(kWords) ? value : 0]);
    return e;
}
/// Raises FutureErrorException(error).
[[noreturn]] inline void RaiseFutureError(FutureError error) {
    throw FutureErrorException(error);
}
/// The same exception as a pointer, for storing in a state.
inline std::exception_ptr MakeFutureError(FutureError error) {
    return std::make_exception_ptr(FutureErrorException(error));
}
/// TThreadPool::Get(), first giving the pool one thread per core when no thread count was
/// configured. Async and Then run here unless given a pool.
KESTAL_API TThreadPool& DefaultTaskPool();

template <class T>
class Future;
template <class T>
class SharedFuture;

namespace detail {

/// Where a state's result lives: the value itself, a pointer for a reference, nothing for void.
template <class T>
struct ValueSlot {
    using Stored = T;
    static T Take(Stored& stored) { return std::move(stored); }
    static T const& Peek(Stored const& stored) { return stored; }
};
template <class T>
struct ValueSlot<T&> {
    using Stored = T*;
    static T& Take(Stored& stored) { return *stored; }
    static T& Peek(Stored const& stored) { return *stored; }
};
template <>
struct ValueSlot<void> {
    using Stored = std::monostate;
    static void Take(Stored&) {}
    static void Peek(Stored const&) {}
};

class StateCore;
/// Runs the wrapped work of a state whose completion this thread owns.
inline void RunOwned(StateCore& state);

/// What the future classes let the templates here see.
struct Access {
    template <class Fut>
    static auto const& StateOf(Fut const& future) noexcept {
        return future.m_state;
    }
    template <class Fut, class S>
    static Fut Make(S&& state) {
        return Fut(std::forward<S>(state));
    }
};

template <class T>
class State;

/// The future of a new state.
template <class T, class S>
Future<T> FutureOf(std::shared_ptr<S> state) {
    return Access::Make<Future<T>>(std::shared_ptr<State<T>>(std::move(state)));
}

/// The value type and ownership of a continuation's input.
template <class Input>
struct InputTraits;
template <class U>
struct InputTraits<Future<U>> {
    using Value = U;
    static constexpr bool kUnique = true;
};
template <class U>
struct InputTraits<SharedFuture<U>> {
    using Value = U;
    static constexpr bool kUnique = false;
};

/// The untyped part of every typed state: the cancel reason, the run of a task body under its
/// cancel event, and completion. Header-only so that the library's exported half stays as it is.
class StateCore : public SharedStateBase {
public:
    /// Records `reason` (the first one wins), marks the state cancelled and signals its event,
    /// then lets the derived state finish early if its work has not started.
    void RequestCancel(TError::ErrorInfo const& reason) {
        {
            ScopedLock<TRecursiveMutex> lock(m_cancelLock);
            if (!m_cancelled.load(std::memory_order_relaxed)) {
                m_reason.emplace(reason);
                m_cancelled.store(true, std::memory_order_release);
            }
            SignalCancelEventIfSet();
        }
        AfterCancel();
    }
    /// A signal of an event this state impersonates: cancel with the library's own record.
    void OnCancelRequested() override {
        if (!IsCancelled()) RequestCancel(DefaultCancelReason());
    }
    /// The reason given to the first RequestCancel; only after IsCancelled() is true.
    TError::ErrorInfo const& Reason() const { return *m_reason; }
    /// The stored exception as it is, for passing down a chain without the exception hook.
    std::exception_ptr RawException() const noexcept { return m_exception; }

    /// The waiter's way in: runs the work here if it may start now and no thread has it yet.
    bool TryRunInline() {
        if (!m_startable.load(std::memory_order_acquire) || !TryTakingDeferredOwnership()) return false;
        RunOwned(*this);
        return true;
    }
    /// Appends the states this one waits for (a continuation's input, a join's inputs).
    virtual void AppendInputs(std::vector<std::shared_ptr<StateCore>>& inputs) { (void)inputs; }
    /// Cancels every input with this state's reason; a join's cancel. The inputs are read first,
    /// outside any lock: a cancelled input may become ready here and run this state's callbacks.
    void CancelInputs() {
        std::vector<std::shared_ptr<StateCore>> inputs;
        AppendInputs(inputs);
        for (auto const& input : inputs)
            input->RequestCancel(Reason());
    }

    /// Called by the pool item that was handed this deferred state.
    void RunIfUnclaimed() {
        if (TryTakingDeferredOwnership()) RunOwned(*this);
    }
    /// Lets waiters take the work (it is queued or its input is ready).
    void MarkStartable() noexcept { m_startable.store(true, std::memory_order_release); }
    /// The wrapped work (execution hook applied), set before the state is handed to a thread.
    void SetRunner(std::function<void()> runner) { m_runner = std::move(runner); }

    /// For the one party that owns completion: marks the state ready after detaching its event from the
    /// parent's tree.
    void Finish() {
        if (m_parentEvent) {
            m_parentEvent->Remove(m_cancel);
            m_parentEvent = nullptr;
        }
        MarkAsReady();
    }
    /// Completes the state with `e`; for the one thread that owns completion.
    void CompleteWith(std::exception_ptr e) {
        SetException(std::move(e));
        Finish();
    }
    /// Completes with CancelException carrying the reason (or the library's record).
    void CompleteCancelled() {
        CompleteWith(
            std::make_exception_ptr(CancelException(IsCancelled() ? Reason() : DefaultCancelReason())));
    }

    /// Ties this state's cancel event under the thread's current one, so cancelling the work
    /// that made it cancels it too; undone when the state completes.
    void AttachCancelEvent() {
        RefCntPtr<TCancelEvent, RefCntObject> event = MakeRefCnt<TCancelEvent>();
        m_parentEvent = Cancel::Get();
        if (m_parentEvent) m_parentEvent->Add(event);
        SetCancelEvent(std::move(event));
    }

protected:
    /// Finishes early after a cancel when no thread has taken the work. The runner stays: it may
    /// be written by the thread that schedules this state, and it holds nothing of the state.
    virtual void AfterCancel() {
        if (TryTakingDeferredOwnership()) {
            ReleaseWork();
            CompleteCancelled();
        }
    }
    /// Drops what the body holds (the function, its input); called once the body is done with.
    virtual void ReleaseWork() {}

    /// The frame of every task body: the thread runs under this state's cancel event; a cancel
    /// that came before the start skips the body; a CancelException escaping after a reasoned
    /// cancel is replaced by one that carries the reason. Calls `store()` for the result.
    template <class Store>
    void RunBody(Store&& store) {
        std::exception_ptr failure;
        {
            Cancel::CancelEventSetter scope(m_cancel);
            try {
                if (!m_ignoreCancelBeforeStart && (IsCancelled() || (m_cancel && m_cancel->IsSet())))
                    throw CancelException(IsCancelled() ? Reason() : DefaultCancelReason());
                store();
            } catch (CancelException const&) {
                failure = IsCancelled() ? std::make_exception_ptr(CancelException(Reason()))
                                        : std::current_exception();
            } catch (...) {
                failure = std::current_exception();
            }
        }
        ReleaseWork();
        if (failure) SetException(std::move(failure));
        Finish();
    }

private:
    friend void RunOwned(StateCore& state);

    std::optional<TError::ErrorInfo> m_reason;
    std::atomic<bool> m_startable{false};
    std::function<void()> m_runner;
    RefCntPtr<TCancelEvent, RefCntObject> m_parentEvent;
};

inline void RunOwned(StateCore& state) {
    // The runner is the body wrapped by the execution hook; a hook that throws or returns without
    // running the body must still leave the state ready, or its waiters would hang.
    std::function<void()> runner = std::move(state.m_runner);
    try {
        if (runner) runner();
    } catch (...) {
        if (!state.IsReady()) state.CompleteWith(std::current_exception());
        return;
    }
    if (!state.IsReady()) state.CompleteWith(MakeFutureError(FutureError::TaskDropped));
}

/// Runs, on this thread, work that `target` waits for and that no thread has taken: walks its
/// inputs depth first, and after running one comes back to the state that waited on it, which
/// may run now. A chain of n links costs O(n) steps, without recursion.
inline void HelpInputs(StateCore& target) {
    std::vector<std::pair<std::shared_ptr<StateCore>, bool>> pending; // state, inputs pushed
    std::vector<std::shared_ptr<StateCore>> inputs;
    target.AppendInputs(inputs);
    for (auto& input : inputs)
        pending.emplace_back(std::move(input), false);
    while (!pending.empty() && !target.IsReady()) {
        StateCore& state = *pending.back().first;
        if (state.IsReady() || state.TryRunInline() || pending.back().second) {
            pending.pop_back();
            continue;
        }
        pending.back().second = true;
        inputs.clear();
        state.AppendInputs(inputs);
        for (auto& input : inputs)
            pending.emplace_back(std::move(input), false);
    }
}

/// A state with a value of type T. Completed by exactly one party: its task body, its promise,
/// a combinator, or a cancel that came before the work started.
template <class T>
class State : public StateCore {
public:
    using Slot = ValueSlot<T>;

    void Execute() override {}

    /// Stores the value; the caller then calls Finish (through Complete) once.
    template <class... A>
    void Emplace(A&&... args) {
        if constexpr (std::is_reference_v<T>)
            m_value.emplace(&args...);
        else
            m_value.emplace(std::forward<A>(args)...);
    }
    /// Stores the value and marks the state ready.
    template <class... A>
    void Complete(A&&... args) {
        Emplace(std::forward<A>(args)...);
        Finish();
    }
    /// Stores what `fn(args...)` gives, whatever T is.
    template <class F, class... A>
    void EmplaceResult(F& fn, A&&... args) {
        if constexpr (std::is_void_v<T>) {
            std::invoke(fn, std::forward<A>(args)...);
            m_value.emplace();
        } else if constexpr (std::is_reference_v<T>) {
            m_value.emplace(&std::invoke(fn, std::forward<A>(args)...));
        } else {
            m_value.emplace(std::invoke(fn, std::forward<A>(args)...));
        }
    }

    /// After Wait, with no exception stored: the value moved out (a unique owner) or seen (a
    /// shared one).
    T TakeValue() { return Slot::Take(*m_value); }
    decltype(auto) PeekValue() const { return Slot::Peek(*m_value); }
    /// After Wait: the stored exception through the exception hook, or the value.
    T Take() {
        CheckForException();
        return TakeValue();
    }
    decltype(auto) Peek() const {
        CheckForException();
        return PeekValue();
    }

    /// A promise's claim on completion: 1 for the promise, 2 for a cancel; true if it was free.
    bool Claim(int by) noexcept {
        int expected = 0;
        return m_claim.compare_exchange_strong(expected, by, std::memory_order_acq_rel);
    }
    int ClaimedBy() const noexcept { return m_claim.load(std::memory_order_acquire); }

protected:
    std::optional<typename Slot::Stored> m_value;

private:
    std::atomic<int> m_claim{0};
};

/// A state completed from outside: promises and combinators. A cancel completes it at once.
template <class T>
class PromiseState : public State<T> {
protected:
    void AfterCancel() override {
        if (this->Claim(2)) this->CompleteCancelled();
    }
};

/// The state of Async: runs `fn()` once.
template <class T, class F>
class TaskState final : public State<T> {
public:
    explicit TaskState(F&& fn)
        : m_fn(std::move(fn)) {}
    void Execute() override {
        this->RunBody([this] { this->EmplaceResult(*m_fn); });
    }

protected:
    void ReleaseWork() override { m_fn.reset(); }

private:
    std::optional<F> m_fn;
};

/// The state of Then: once its input is ready, passes the input's exception down untouched, or
/// runs `fn` on the input's value (or on the input itself when `fn` takes the future).
template <class T, class Input, class F>
class ThenState final : public State<T> {
    using U = typename InputTraits<Input>::Value;

public:
    ThenState(Input&& input, F&& fn)
        : m_upstream(Access::StateOf(input))
        , m_input(std::move(input))
        , m_fn(std::move(fn)) {}
    void AppendInputs(std::vector<std::shared_ptr<StateCore>>& inputs) override {
        if (auto upstream = m_upstream.lock()) inputs.push_back(std::move(upstream));
    }
    void Execute() override {
        this->RunBody([this] {
            if constexpr (std::is_invocable_v<F&, Input>) {
                this->EmplaceResult(*m_fn, std::move(*m_input));
            } else {
                auto& input = *Access::StateOf(*m_input);
                if (std::exception_ptr e = input.RawException()) std::rethrow_exception(e);
                if constexpr (std::is_void_v<U>)
                    this->EmplaceResult(*m_fn);
                else if constexpr (InputTraits<Input>::kUnique)
                    this->EmplaceResult(*m_fn, input.TakeValue());
                else
                    this->EmplaceResult(*m_fn, input.PeekValue());
            }
        });
    }

protected:
    void ReleaseWork() override {
        m_fn.reset();
        m_input.reset();
    }

private:
    // Read by helping waiters while the owner may be releasing m_input: set once, held weakly.
    std::weak_ptr<StateCore> const m_upstream;
    std::optional<Input> m_input;
    std::optional<F> m_fn;
};

/// Makes a state, reports it to the on-state-created hook, and gives it to the caller.
template <class S, class... A>
std::shared_ptr<S> NewState(A&&... args) {
    auto state = std::make_shared<S>(std::forward<A>(args)...);
    _ApplyOnSharedStateCreatedHook(state);
    return state;
}

/// Hands a state with its work to `pool` (a dedicated thread when `pool` is null). A pool state
/// was made deferred by its creator. The work is wrapped by the execution hook here, on the
/// submitting thread (flag: dedicated). Work the pool refuses or cannot take runs on this thread;
/// a failure to schedule completes the state with it. Raises nothing: it runs inside callbacks.
template <class S>
void Schedule(std::shared_ptr<S> const& state, TThreadPool* pool, Launch policy) noexcept {
    StateCore* core = state.get();
    try {
        core->SetRunner(_ApplyExecutionHook([core] { core->Execute(); }, pool == nullptr));
        if (pool == nullptr) {
            // A closed worker manager drops the task unrun: the guard, dying with the last copy
            // of the item, then completes the state so that no waiter hangs.
            struct DropGuard {
                std::shared_ptr<S> state;
                ~DropGuard() {
                    if (!state->IsReady()) state->CompleteWith(MakeFutureError(FutureError::TaskDropped));
                }
            };
            auto guard = std::shared_ptr<DropGuard>(new DropGuard{state});
            RunOnDedicatedThread([guard] { RunOwned(*guard->state); });
            return;
        }
        core->MarkStartable();
        if (ScheduleOnThreadPool(
                *pool, [state] { state->RunIfUnclaimed(); }, policy))
            return;
    } catch (...) {
        if ((pool == nullptr || core->TryTakingDeferredOwnership()) && !core->IsReady())
            core->CompleteWith(std::current_exception());
        return;
    }
    if (core->TryTakingDeferredOwnership()) RunOwned(*core);
}

} // namespace detail
} // namespace AsyncTask
