// Typed futures over the task state: Future<T> (one owner), SharedFuture<T> (copies), Promise<T>,
// Async on the thread pool or a dedicated thread, Then continuations, and the combinators WhenAll,
// WhenAny, MakeReadyFuture and MakeExceptionalFuture (kestal/detail/FutureCombinators.h).
//
//     auto f = AsyncTask::Async([] { return countWords(text); });
//     auto g = f.Then([](int n) { return TStringCore::number(n); });
//     TStringCore s = g.Get();  // waits; rethrows the task's exception
//
// A task runs under a cancel event of its own, a child of the event current where it was made, so
// Cancel::ThrowIfCancelled inside it sees Cancel() on its future and a cancel of the work that made
// it. A waiter never deadlocks on work queued behind it: Get and Wait run a task that no thread has
// started yet on the calling thread, and the tasks a continuation or a join waits for. Dropping a future
// neither waits nor cancels: the task runs on. Misuse (Get on an empty future, a second GetFuture or
// SetValue) raises InvalidFutureException and changes nothing.
#pragma once

#include <chrono>
#include <cstdint>
#include <kestal/AsyncTask.h>
#include <kestal/NonThreadPoolWorkerManager.h>
#include <kestal/detail/FutureState.h>
#include <memory>
#include <type_traits>
#include <utility>

namespace AsyncTask {

namespace detail {

/// Scope of one blocking wait: the thread's task-wait depth is one deeper inside it.
class WaitDepth {
public:
    WaitDepth() noexcept { TLS::Get().IncrementDepth(); }
    ~WaitDepth() { TLS::Get().DecrementDepth(); }
    WaitDepth(WaitDepth const&) = delete;
    WaitDepth& operator=(WaitDepth const&) = delete;
};

inline constexpr std::chrono::milliseconds kNoLimit{0xFFFFFFFF};

/// One blocking wait of up to `timeout` (kNoLimit: none), through the thread's wait handler when
/// it has one, else on the ready event; true if ready.
inline bool BlockFor(StateCore& state, std::chrono::milliseconds const& timeout) {
    WaitDepth depth;
    if (IWaitHandler const* handler = TLS::Get().GetWaitHandler()) return handler->WaitFor(state, timeout);
    return state.WaitFor(timeout);
}

/// Waits for `state`: runs it, or the work it waits for, here if no thread has taken it, then
/// blocks until it is ready.
inline void WaitOn(StateCore& state) {
    if (state.IsReady() || state.TryRunInline()) return;
    HelpInputs(state);
    if (state.IsReady() || state.TryRunInline()) return;
    while (!BlockFor(state, kNoLimit)) {
    }
}

/// What Then gives for `fn` on an input future: fn(input) when it takes the future, else
/// fn(value), or fn() for a void input.
template <class Input, class F>
auto ThenResultOf() {
    using U = typename InputTraits<Input>::Value;
    if constexpr (std::is_invocable_v<F&, Input>)
        return std::type_identity<std::invoke_result_t<F&, Input>>{};
    else if constexpr (std::is_void_v<U>)
        return std::type_identity<std::invoke_result_t<F&>>{};
    else if constexpr (InputTraits<Input>::kUnique)
        return std::type_identity<std::invoke_result_t<F&, U>>{};
    else
        return std::type_identity<
            std::invoke_result_t<F&, decltype(std::declval<State<U> const&>().PeekValue())>>{};
}

template <class Input, class F>
auto Continue(Input&& input, TThreadPool* pool, F&& fn, Launch policy);

/// What Future and SharedFuture share: the state and every operation of IWrappedFuture.
template <class T>
class FutureBase : public IWrappedFuture {
public:
    /// Whether there is a state: false when empty, moved from, or consumed by Get or Then.
    bool Valid() const noexcept override { return static_cast<bool>(m_state); }
    /// Whether the result (value or exception) is there; false without a state.
    bool IsReady() const override { return m_state && m_state->IsReady(); }
    /// Blocks until ready; runs the task here if no thread has started it. Raises
    /// InvalidFutureException without a state.
    void Wait() const override { detail::WaitOn(*Checked()); }
    /// Blocks up to `timeout` (0xFFFFFFFF ms or more: no limit) through the thread's wait handler
    /// if it has one; true if ready. Never runs the task here. A negative timeout raises
    /// LogicException.
    bool WaitFor(std::chrono::milliseconds const& timeout) const override {
        StateCore& state = *Checked();
        return state.IsReady() || BlockFor(state, timeout);
    }
    /// Asks the task to stop, with the library's own cancel record as the reason.
    void Cancel() override { Checked()->RequestCancel(DefaultCancelReason()); }
    /// Asks the task to stop: stores `reason` (the first reason wins), then signals the task's
    /// cancel event. Work not yet started never starts and the future is ready at once with
    /// CancelException carrying `reason`; running work sees it at its next ThrowIfCancelled, and
    /// a CancelException leaving it is replaced by one with `reason`. Work that ends normally
    /// keeps its value. A promise's future is ready at once with the CancelException. A
    /// continuation's cancel stops the continuation only, never the work it waits for; a join
    /// passes it on to each of its inputs.
    void Cancel(TError::ErrorInfo const& reason) override { Checked()->RequestCancel(reason); }
    /// Whether the result is an exception; false while not ready or without a state.
    bool HasException() const override { return IsReady() && m_state->HasException(); }
    /// The untyped state; null without one.
    std::shared_ptr<SharedStateBase> GetSharedState() const override { return m_state; }
    /// Whether Cancel was called on this state (by any owner).
    bool IsCancelled() const noexcept { return m_state && m_state->IsCancelled(); }

protected:
    FutureBase() noexcept = default;
    explicit FutureBase(std::shared_ptr<State<T>> state) noexcept
        : m_state(std::move(state)) {}
    FutureBase(FutureBase const&) = default;
    FutureBase(FutureBase&& other) noexcept
        : IWrappedFuture(other)
        , m_state(std::move(other.m_state)) {}
    FutureBase& operator=(FutureBase const&) = default;
    FutureBase& operator=(FutureBase&& other) noexcept {
        m_state = std::move(other.m_state);
        return *this;
    }
    ~FutureBase() override = default;

    State<T>* Checked() const {
        if (!m_state) RaiseFutureError(FutureError::NoState);
        return m_state.get();
    }

    friend struct Access;
    std::shared_ptr<State<T>> m_state;
};

} // namespace detail

/// The one owner of a result to come. Move-only.
template <class T>
class Future final : public detail::FutureBase<T> {
public:
    using ValueType = T;

    /// No state: Valid() is false.
    Future() noexcept = default;
    Future(Future&&) noexcept = default;
    Future& operator=(Future&&) noexcept = default;
    ~Future() override = default;

    /// Waits (see Wait), then gives the value, moved out, or rethrows the task's exception through
    /// the exception hook. Either way the future is consumed: Valid() is false afterwards.
    /// Without a state raises InvalidFutureException.
    T Get() {
        this->Wait();
        std::shared_ptr<detail::State<T>> state = std::move(this->m_state);
        return state->Take();
    }

    /// Runs `fn` on `pool` once this future is ready and gives a future of its result. `fn` takes
    /// the value (nothing for void), or the ready Future<T> itself to see its exception. When this
    /// future ends in an exception and `fn` takes the value, the exception passes to the result
    /// untouched and `fn` never runs. Consumes this future. With a policy that lets a busy pool
    /// refuse, `fn` may run on the thread that made this future ready.
    template <class F>
    auto Then(TThreadPool& pool, F&& fn, Launch policy = Launch::Queue) {
        this->Checked();
        return detail::Continue(std::move(*this), &pool, std::forward<F>(fn), policy);
    }
    /// The same on DefaultTaskPool().
    template <class F>
    auto Then(F&& fn, Launch policy = Launch::Queue) {
        this->Checked();
        return detail::Continue(std::move(*this), &DefaultTaskPool(), std::forward<F>(fn), policy);
    }

    /// A copyable future of the same state; consumes this one.
    SharedFuture<T> Share() {
        this->Checked();
        return detail::Access::Make<SharedFuture<T>>(std::move(this->m_state));
    }

private:
    friend struct detail::Access;
    explicit Future(std::shared_ptr<detail::State<T>> state) noexcept
        : detail::FutureBase<T>(std::move(state)) {}
};

/// A future that many may hold and read. Copies share one state.
template <class T>
class SharedFuture final : public detail::FutureBase<T> {
public:
    using ValueType = T;

    SharedFuture() noexcept = default;
    SharedFuture(SharedFuture const&) = default;
    SharedFuture(SharedFuture&&) noexcept = default;
    SharedFuture& operator=(SharedFuture const&) = default;
    SharedFuture& operator=(SharedFuture&&) noexcept = default;
    ~SharedFuture() override = default;

    /// Waits (see Wait), then gives the value (T const&, T& or nothing) or rethrows the task's
    /// exception; every call does so again. Without a state raises InvalidFutureException.
    decltype(auto) Get() const {
        this->Wait();
        return this->m_state->Peek();
    }

    /// As Future::Then; `fn` takes T const& (or the SharedFuture), and this future stays valid.
    template <class F>
    auto Then(TThreadPool& pool, F&& fn, Launch policy = Launch::Queue) const {
        this->Checked();
        return detail::Continue(SharedFuture(*this), &pool, std::forward<F>(fn), policy);
    }
    template <class F>
    auto Then(F&& fn, Launch policy = Launch::Queue) const {
        this->Checked();
        return detail::Continue(SharedFuture(*this), &DefaultTaskPool(), std::forward<F>(fn), policy);
    }

private:
    friend struct detail::Access;
    explicit SharedFuture(std::shared_ptr<detail::State<T>> state) noexcept
        : detail::FutureBase<T>(std::move(state)) {}
};

/// The producing end of a Future<T>. Move-only. Destroyed (or assigned over) before it was set,
/// it leaves its future ready with InvalidFutureException (a broken promise).
template <class T>
class Promise {
public:
    /// A fresh state, reported to the on-state-created hook.
    Promise()
        : m_state(detail::NewState<detail::PromiseState<T>>()) {}
    Promise(Promise&& other) noexcept
        : m_state(std::move(other.m_state))
        , m_retrieved(other.m_retrieved.load()) {}
    Promise& operator=(Promise&& other) noexcept {
        if (this != &other) {
            Abandon();
            m_state = std::move(other.m_state);
            m_retrieved.store(other.m_retrieved.load());
        }
        return *this;
    }
    Promise(Promise const&) = delete;
    Promise& operator=(Promise const&) = delete;
    ~Promise() { Abandon(); }

    /// The future of this promise, once: a second call raises InvalidFutureException.
    Future<T> GetFuture() {
        CheckedState();
        if (m_retrieved.exchange(true)) RaiseFutureError(FutureError::AlreadyRetrieved);
        return detail::FutureOf<T>(m_state);
    }
    /// Makes the future ready with the value built from `args` (none for void, an lvalue for
    /// T&). A promise already set raises InvalidFutureException; one whose future was cancelled
    /// drops the value silently.
    template <class... A>
    void SetValue(A&&... args) {
        if (!Claim()) return;
        try {
            m_state->Emplace(std::forward<A>(args)...);
        } catch (...) {
            m_state->CompleteWith(std::current_exception());
            throw;
        }
        m_state->Finish();
    }
    /// Makes the future ready with `e`; the same rules as SetValue.
    void SetException(std::exception_ptr e) {
        if (Claim()) m_state->CompleteWith(std::move(e));
    }
    /// Whether the future was cancelled; a producer may stop early.
    bool IsCancelled() const noexcept { return m_state && m_state->IsCancelled(); }
    bool Valid() const noexcept { return static_cast<bool>(m_state); }

private:
    detail::PromiseState<T>& CheckedState() const {
        if (!m_state) RaiseFutureError(FutureError::NoState);
        return *m_state;
    }
    bool Claim() {
        if (CheckedState().Claim(1)) return true;
        if (m_state->ClaimedBy() == 2) return false;
        RaiseFutureError(FutureError::AlreadySatisfied);
    }
    void Abandon() noexcept {
        if (m_state && m_state->Claim(1)) m_state->CompleteWith(MakeFutureError(FutureError::BrokenPromise));
    }

    std::shared_ptr<detail::PromiseState<T>> m_state;
    std::atomic<bool> m_retrieved{false};
};

namespace detail {

template <class Input, class F>
auto Continue(Input&& input, TThreadPool* pool, F&& fn, Launch policy) {
    using Fn = std::decay_t<F>;
    using R = typename decltype(ThenResultOf<Input, Fn>())::type;
    auto upstream = Access::StateOf(input);
    auto state = NewState<ThenState<R, Input, Fn>>(std::move(input), Fn(std::forward<F>(fn)));
    state->AttachCancelEvent();
    state->SetDeferred();
    upstream->RunWhenReady([state, pool, policy] { Schedule(state, pool, policy); });
    return FutureOf<R>(std::move(state));
}

template <class F>
auto StartTask(TThreadPool* pool, F&& fn, Launch policy) {
    using Fn = std::decay_t<F>;
    using R = std::invoke_result_t<Fn&>;
    auto state = NewState<TaskState<R, Fn>>(Fn(std::forward<F>(fn)));
    state->AttachCancelEvent();
    if (pool) state->SetDeferred();
    Schedule(state, pool, policy);
    return FutureOf<R>(std::move(state));
}

} // namespace detail

/// Runs `fn()` on `pool` and gives a future of its result. With Launch::Queue the work always
/// queues; with a policy a busy pool may refuse, refused work runs here before Async returns.
template <class F>
requires std::is_invocable_v < std::decay_t<F>
& > auto Async(TThreadPool& pool, F&& fn, Launch policy = Launch::Queue) {
    return detail::StartTask(&pool, std::forward<F>(fn), policy);
}
/// The same on DefaultTaskPool().
template <class F>
requires std::is_invocable_v < std::decay_t<F>
& > auto Async(F&& fn, Launch policy = Launch::Queue) {
    return detail::StartTask(&DefaultTaskPool(), std::forward<F>(fn), policy);
}
/// Runs `fn()` on a thread of its own, for work that must not hold a pool thread (it blocks, or
/// runs long). A waiter never runs it: it waits.
template <class F>
requires std::is_invocable_v < std::decay_t<F>
& > auto AsyncOnDedicatedThread(F&& fn) {
    return detail::StartTask(nullptr, std::forward<F>(fn), Launch::Queue);
}

} // namespace AsyncTask

#include <kestal/detail/FutureCombinators.h>
