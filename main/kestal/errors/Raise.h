// The library's raise sites: every ordinary failure builds its record the same way, with a code of
// its own, the name "VelmoraException_AutoGen_0x" plus the code in eight upper-case hexadecimal
// digits, a source and a status, and throws the subsystem's exception with an English message.
#pragma once

#include <kestal/TError.h>
#include <kestal/TStringCore.h>

namespace kestal::detail {

/// "0x" and eight upper-case hexadecimal digits: 0x0E2B86FB.
TStringCore ErrorCodeText(unsigned int code);

/// The record of an ordinary raise site (hook run once).
TError::ErrorInfo AutoGenErrorInfo(unsigned int code, TError::ErrorSource source, grpc::StatusCode status);

/// Throws E(message, record). `message` is whatever E takes: a plain string stacks the messages
/// only, a format string both stacks.
template <class E, class Message>
[[noreturn]] void Raise(unsigned int code, TError::ErrorSource source, grpc::StatusCode status,
                        Message const& message) {
    throw E(message, AutoGenErrorInfo(code, source, status));
}

} // namespace kestal::detail
