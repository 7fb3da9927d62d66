// Test helpers for TStringCore: text as std::u16string, where the text lives, and checks of the
// string layer's exceptions and of the iterators' std::runtime_error.
#pragma once

#include <gtest/gtest.h>
#include <kestal/TStringCore.h>
#include <stdexcept>
#include <string>
#include <typeinfo>
#include <vector>

namespace kestal::testing {

inline std::u16string text(TStringCore const& s) {
    return std::u16string(static_cast<std::u16string_view>(s));
}

/// The texts of a container of strings, in order.
template <class Strings>
std::vector<std::u16string> texts(Strings const& strings) {
    std::vector<std::u16string> out;
    for (TStringCore const& s : strings)
        out.push_back(text(s));
    return out;
}

/// True when the text sits inside the object itself (the short form).
inline bool isInline(TStringCore const& s) {
    auto const* object = reinterpret_cast<char const*>(&s);
    auto const* units = reinterpret_cast<char const*>(s.constData());
    return units >= object && units < object + sizeof s;
}

/// A long string of `n` units, 'a', 'b', 'c', ... repeating; `n` of 15 or more gives a block.
inline TStringCore letters(int n) {
    TStringCore s;
    for (int i = 0; i < n; ++i)
        s.push_back(static_cast<char16_t>(u'a' + i % 26));
    return s;
}

/// Runs `action`, which must raise exactly `E` (not a subclass) with `message`.
template <class E, class F>
void expectStringException(F&& action, char16_t const* message) {
    try {
        action();
        ADD_FAILURE() << "no exception, expected " << typeid(E).name();
    } catch (TStringCore::Exception const& e) {
        EXPECT_EQ(typeid(e), typeid(E));
        EXPECT_EQ(text(e.GetConcatenatedMessages()), message);
    }
}

/// Runs `action`, which must raise std::runtime_error with `message`.
template <class F>
void expectRuntimeError(F&& action, std::string const& message) {
    try {
        action();
        ADD_FAILURE() << "no exception, expected: " << message;
    } catch (std::runtime_error const& e) {
        EXPECT_EQ(e.what(), message);
    }
}

} // namespace kestal::testing
