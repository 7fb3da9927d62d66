// Futures made from other futures: WhenAll, WhenAny, and futures that are ready from the start.
// Included by kestal/Future.h. A combinator waits on its inputs through their on-ready callbacks,
// so no thread blocks for it; the callbacks hold it weakly, and dropping its future drops it.
#pragma once

#include <atomic>
#include <cstddef>
#include <mutex>
#include <tuple>
#include <vector>

namespace AsyncTask {

/// What WhenAny gives: the index of the first input to become ready, and every input back
/// (futures[index] is ready). An empty input gives index 0 and no futures.
template <class Input>
struct WhenAnyResult {
    std::size_t index = 0;
    std::vector<Input> futures;
};

namespace detail {

/// void as a value in a tuple.
template <class T>
using TupleValue = std::conditional_t<std::is_void_v<T>, std::monostate, T>;

/// The common part of WhenAll: counts inputs down, keeps the first exception to arrive, and
/// collects the values once every input is ready. A cancel is passed to every input. The inputs
/// are fixed at construction, so AppendInputs is safe beside every other operation.
template <class R>
class JoinState : public State<R> {
public:
    /// Registers one callback per input; the last one to run settles the state.
    static void Watch(std::shared_ptr<JoinState> const& self) {
        std::vector<std::shared_ptr<StateCore>> inputs;
        self->AppendInputs(inputs);
        self->m_remaining.store(inputs.size(), std::memory_order_relaxed);
        if (inputs.empty()) return self->Settle();
        std::weak_ptr<JoinState> weak = self;
        // The inputs live as long as the join: a callback that finds it alive may use its input.
        for (auto const& input : inputs) {
            input->RunWhenReady([weak, in = input.get()] {
                if (auto join = weak.lock()) join->InputDone(*in);
            });
        }
    }

protected:
    /// Emplaces the result from the inputs, all ready and without exception.
    virtual void Collect() = 0;

    void AfterCancel() override { this->CancelInputs(); }

private:
    void InputDone(StateCore& input) {
        if (std::exception_ptr e = input.RawException()) this->SetException(std::move(e));
        if (m_remaining.fetch_sub(1, std::memory_order_acq_rel) == 1) Settle();
    }
    void Settle() {
        if (!this->RawException()) {
            try {
                Collect();
            } catch (...) {
                this->SetException(std::current_exception());
            }
        }
        this->Finish();
    }

    std::atomic<std::size_t> m_remaining{0};
};

template <class T>
using VectorOf = std::conditional_t<std::is_void_v<T>, void, std::vector<T>>;

/// WhenAll over a vector of Future<T> or SharedFuture<T>.
template <class Input>
class AllState final : public JoinState<VectorOf<typename InputTraits<Input>::Value>> {
    using T = typename InputTraits<Input>::Value;

public:
    explicit AllState(std::vector<Input>&& inputs)
        : m_inputs(std::move(inputs)) {}

    void AppendInputs(std::vector<std::shared_ptr<StateCore>>& inputs) override {
        for (Input& input : m_inputs)
            inputs.push_back(Access::StateOf(input));
    }

protected:
    void Collect() override {
        if constexpr (std::is_void_v<T>) {
            this->Emplace();
        } else {
            std::vector<T> values;
            values.reserve(m_inputs.size());
            for (Input& input : m_inputs) {
                if constexpr (InputTraits<Input>::kUnique)
                    values.push_back(Access::StateOf(input)->TakeValue());
                else
                    values.push_back(Access::StateOf(input)->PeekValue());
            }
            this->Emplace(std::move(values));
        }
    }

private:
    std::vector<Input> m_inputs;
};

/// WhenAll over futures of different types.
template <class... Ts>
class TupleAllState final : public JoinState<std::tuple<TupleValue<Ts>...>> {
public:
    explicit TupleAllState(Future<Ts>&&... inputs)
        : m_inputs(std::move(inputs)...) {}

    void AppendInputs(std::vector<std::shared_ptr<StateCore>>& inputs) override {
        std::apply([&inputs](auto&... input) { (inputs.push_back(Access::StateOf(input)), ...); }, m_inputs);
    }

protected:
    void Collect() override {
        std::apply([this](auto&... input) { this->Emplace(ValueOf(input)...); }, m_inputs);
    }

private:
    template <class U>
    static TupleValue<U> ValueOf(Future<U>& input) {
        if constexpr (std::is_void_v<U>)
            return {};
        else
            return Access::StateOf(input)->TakeValue();
    }

    std::tuple<Future<Ts>...> m_inputs;
};

/// WhenAny: the first input to become ready wins and takes the inputs along. A cancel is passed
/// to every input while none has won.
template <class Input>
class AnyState final : public State<WhenAnyResult<Input>> {
public:
    explicit AnyState(std::vector<Input>&& inputs)
        : m_inputs(std::move(inputs)) {}

    static void Watch(std::shared_ptr<AnyState> const& self) {
        if (self->m_inputs.empty()) return self->Complete(WhenAnyResult<Input>{});
        // The first callback may run at once and take the inputs along: read them all first.
        std::vector<std::shared_ptr<StateCore>> inputs;
        self->AppendInputs(inputs);
        std::weak_ptr<AnyState> weak = self;
        for (std::size_t i = 0; i < inputs.size(); ++i) {
            inputs[i]->RunWhenReady([weak, i] {
                if (auto any = weak.lock()) any->InputDone(i);
            });
        }
    }

    /// Under the lock: the winner takes the inputs along.
    void AppendInputs(std::vector<std::shared_ptr<StateCore>>& inputs) override {
        std::lock_guard<std::mutex> lock(m_lock);
        for (Input& input : m_inputs)
            inputs.push_back(Access::StateOf(input));
    }

protected:
    void AfterCancel() override { this->CancelInputs(); }

private:
    void InputDone(std::size_t index) {
        WhenAnyResult<Input> result;
        {
            std::lock_guard<std::mutex> lock(m_lock);
            if (m_won) return;
            m_won = true;
            result.index = index;
            result.futures = std::move(m_inputs);
        }
        this->Complete(std::move(result));
    }

    std::mutex m_lock;
    bool m_won = false;
    std::vector<Input> m_inputs;
};

template <class Input>
void RequireValid(std::vector<Input> const& inputs) {
    for (Input const& input : inputs)
        if (!input.Valid()) RaiseFutureError(FutureError::NoState);
}

} // namespace detail

/// A future of every input's value, in input order (nothing for void), ready once all inputs
/// are. If any failed, it holds the first exception to arrive, after all inputs finished. Cancel
/// on it cancels every input with the same reason. An input without a state raises
/// InvalidFutureException and leaves `futures` as it was.
template <class T>
Future<detail::VectorOf<T>> WhenAll(std::vector<Future<T>>&& futures) {
    static_assert(!std::is_reference_v<T>, "WhenAll collects values");
    detail::RequireValid(futures);
    auto state = detail::NewState<detail::AllState<Future<T>>>(std::move(futures));
    detail::JoinState<detail::VectorOf<T>>::Watch(state);
    return detail::FutureOf<detail::VectorOf<T>>(std::move(state));
}
/// The same over shared futures: values are copied, and the inputs stay readable.
template <class T>
Future<detail::VectorOf<T>> WhenAll(std::vector<SharedFuture<T>> const& futures) {
    static_assert(!std::is_reference_v<T>, "WhenAll collects values");
    using V = detail::VectorOf<T>;
    detail::RequireValid(futures);
    auto state = detail::NewState<detail::AllState<SharedFuture<T>>>(std::vector<SharedFuture<T>>(futures));
    detail::JoinState<V>::Watch(state);
    return detail::FutureOf<V>(std::move(state));
}
/// A future of a tuple of the inputs' values (std::monostate for void), as WhenAll above.
template <class... Ts>
Future<std::tuple<detail::TupleValue<Ts>...>> WhenAll(Future<Ts>&&... futures) {
    using V = std::tuple<detail::TupleValue<Ts>...>;
    if (!(futures.Valid() && ...)) RaiseFutureError(FutureError::NoState);
    auto state = detail::NewState<detail::TupleAllState<Ts...>>(std::move(futures)...);
    detail::JoinState<V>::Watch(state);
    return detail::FutureOf<V>(std::move(state));
}

/// A future ready as soon as the first input is, with that input's index and every input back.
/// Cancel on it, before that, cancels every input. An input without a state raises
/// InvalidFutureException and leaves `futures` as it was.
template <class T>
Future<WhenAnyResult<Future<T>>> WhenAny(std::vector<Future<T>>&& futures) {
    using V = WhenAnyResult<Future<T>>;
    detail::RequireValid(futures);
    auto state = detail::NewState<detail::AnyState<Future<T>>>(std::move(futures));
    detail::AnyState<Future<T>>::Watch(state);
    return detail::FutureOf<V>(std::move(state));
}

/// A future that is ready with `value`.
template <class T>
Future<std::decay_t<T>> MakeReadyFuture(T&& value) {
    auto state = detail::NewState<detail::PromiseState<std::decay_t<T>>>();
    state->Claim(1);
    state->Complete(std::forward<T>(value));
    return detail::FutureOf<std::decay_t<T>>(std::move(state));
}
/// A Future<void> that is ready.
inline Future<void> MakeReadyFuture() {
    auto state = detail::NewState<detail::PromiseState<void>>();
    state->Claim(1);
    state->Complete();
    return detail::FutureOf<void>(std::move(state));
}
/// A future that is ready with the exception `e`.
template <class T>
Future<T> MakeExceptionalFuture(std::exception_ptr e) {
    auto state = detail::NewState<detail::PromiseState<T>>();
    state->Claim(1);
    state->CompleteWith(std::move(e));
    return detail::FutureOf<T>(std::move(state));
}
/// The same with a copy of `e`.
template <class T, class E>
Future<T> MakeExceptionalFuture(E const& e) {
    return MakeExceptionalFuture<T>(std::make_exception_ptr(e));
}

} // namespace AsyncTask
