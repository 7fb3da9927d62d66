// Logic assertions: how the library reports a broken invariant (a failed condition inside the
// library, not bad data). A failing site calls ThrowLogicException with its source path, line,
// condition text and error code; the application decides what happens through one hook
// (AssertHooks). With no hook the library writes one line to standard error and throws
// LogicException with the fixed code 0xA2BCBC42.
//
// LogicException keeps two texts apart: the public message, looked up by number through an
// injectable lookup (by default "Internal error."), which is its one message, and the internal
// message (the assertion's details), which only a log may hold.
#pragma once

#include <functional>
#include <kestal/KestalExport.h>
#include <kestal/TError.h>
#include <kestal/TStringCore.h>
#include <kestal/VelmoraError.h>
#include <kestal/VelmoraException.h>
#include <list>

class KESTAL_API LogicException : public VelmoraException {
public:
    /// The looked-up public text (InjectedLookupTStr of the message id) is the only message, none
    /// if it is empty; the redacted messages stay empty. The details lose their trailing line
    /// feeds and become the internal message, "No details given" if nothing is left. An
    /// exception from the injected lookup leaves the constructor.
    LogicException(TStringCore const& details, TError::ErrorInfo const& info);
    LogicException(char16_t const* details, TError::ErrorInfo const& info)
        : LogicException(TStringCore(details), info) {}
    /// As above with the record (error, NeedsClassification, UNKNOWN).
    LogicException(TStringCore const& details, VelmoraError const& error);
    LogicException(char16_t const* details, VelmoraError const& error)
        : LogicException(TStringCore(details), error) {}
    /// The details are details.result(), which enters the internal message only; a bad format
    /// string raises TFormatStringCore::Exception before any record is built.
    LogicException(TFormatStringCore const& details, TError::ErrorInfo const& info);
    LogicException(TFormatStringCore const& details, VelmoraError const& error);
    /// Rebuilds an exception that already has its messages: record NoError, the messages as given
    /// with the looked-up public text in front. Trailing line feeds leave the details, with no
    /// fallback text: empty details stay empty.
    LogicException(std::list<TStringCore> const& messages, TStringCore const& details);
    LogicException(LogicException const& other);
    LogicException& operator=(LogicException const& other);
    ~LogicException() override;

    /// A heap copy that is a LogicException, internal message included.
    LogicException* Clone() const override;
    /// Throws a copy typed as LogicException.
    [[noreturn]] void Throw() const override;
    /// "<concatenated messages>\nLogicException details: <internal message>\n".
    TStringCore CollateMessagesForLog() const override;

    /// The assertion's details; never part of the message stacks.
    TStringCore const& GetInternalMessage() const noexcept { return m_internalMessage; }

    /// Sets the id handed to the message lookup. While the stored id is 0 it takes any id (0
    /// leaves it settable); once it is non-zero every call raises LogicException (record NoError)
    /// and the stored id stays. Call it once, before other threads start.
    static void SetLogicExceptionMessageId(unsigned int id);

private:
    TStringCore m_internalMessage;
};

namespace AssertHooks {

/// Receives a failed assertion: source path, line, condition text, error. A hook given a site's
/// error must throw or end the process; see ThrowLogicException.
using LogicAssertHook = void (*)(char const* file, int line, char const* message, VelmoraError const& error);

/// Installs the hook; null means none. Any thread may install one at any time (acquire/release).
KESTAL_API void SetLogicAssertHook(LogicAssertHook hook) noexcept;
/// The installed hook, or null.
KESTAL_API LogicAssertHook GetLogicAssertHook() noexcept;

} // namespace AssertHooks

/// With a hook: calls it with the error 0x6EA18A9E ("LogicException_0x6EA18A9E") and returns if
/// the hook returns. With none: writes "LogicAssert failed (but no hook has been set) at <file>
/// line <line>: <message>" (no line feed) to standard error and throws LogicException with code
/// 0xA2BCBC42, source Client, status UNKNOWN. A null file or message is written as empty text.
KESTAL_API void ThrowLogicException(char const* file, int line, char const* message);

/// The entry of a failed assertion site. With a hook: calls it with these four arguments; a hook
/// that returns ends the process (std::abort). With none: as the three-argument form, so the
/// exception carries 0xA2BCBC42, not `error`.
[[noreturn]] KESTAL_API void ThrowLogicException(char const* file, int line, char const* message,
                                                 VelmoraError const& error);

/// Replaces the message lookup; an empty function puts the default back ("Internal error." for
/// every id). Install it before other threads start.
KESTAL_API void InjectLookupTStr(std::function<TStringCore(unsigned int)> lookup);

/// The installed lookup's text for `id`. Raises std::bad_function_call only during static
/// destruction, and whatever the injected lookup raises.
KESTAL_API TStringCore InjectedLookupTStr(unsigned int id);
