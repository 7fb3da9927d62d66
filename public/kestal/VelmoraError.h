// VelmoraError: an error code and its symbolic name, the smallest piece of an error record
// (TError::ErrorInfo). Code 0 with an empty name means no error. Names follow the convention
// "<Family>_0x" plus eight upper-case hexadecimal digits of the code, but are not checked.
#pragma once

#include <kestal/KestalExport.h>
#include <kestal/TStringCore.h>
#include <utility>

class KESTAL_API VelmoraError {
public:
    /// Takes the name by value and moves it in. The name is not checked against the code.
    VelmoraError(unsigned int code, TStringCore name) noexcept
        : m_code(code)
        , m_name(std::move(name)) {}
    VelmoraError(VelmoraError const&) noexcept = default;
    /// Self-assignment leaves the name alone.
    VelmoraError& operator=(VelmoraError const&) noexcept = default;
    ~VelmoraError() = default;

    /// The numeric code; 0 means no error.
    unsigned int GetCode() const noexcept { return m_code; }
    /// The symbolic name; empty for no error.
    TStringCore const& GetCodeName() const noexcept { return m_name; }

    /// Code 0, empty name.
    static VelmoraError NoError() noexcept { return VelmoraError(0, TStringCore()); }
    /// The same as the constructor.
    static VelmoraError MakeError(unsigned int code, TStringCore name) noexcept {
        return VelmoraError(code, std::move(name));
    }

    // No equality on purpose: records compare by code, source and status (TError::ErrorInfo).

private:
    unsigned int m_code;
    TStringCore m_name;
};
