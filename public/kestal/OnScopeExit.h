// OnScopeExit: calls a function when the scope ends, on every path out of it. Used where a resource
// has no owning type of its own (an array from a C call, state to restore on a worker).
#pragma once

#include <type_traits>
#include <utility>

/// Calls its function once, in its destructor. An exception from the function ends the process,
/// as from any destructor. Neither copied nor moved, so the call
/// happens exactly once.
template <class F>
class OnScopeExit {
public:
    explicit OnScopeExit(F function) noexcept(std::is_nothrow_move_constructible_v<F>)
        : m_function(std::move(function)) {}
    ~OnScopeExit() { m_function(); }
    OnScopeExit(OnScopeExit const&) = delete;
    OnScopeExit& operator=(OnScopeExit const&) = delete;

private:
    F m_function;
};
