// VelmoraException: root of the library's exception hierarchy. It carries a stack of messages, a
// second stack of the messages that came through format strings (the redacted messages), and one
// TError::ErrorInfo shared between the exception and its copies. Context is added to an exception
// in flight by stacking a message and rethrowing it (StackExceptionAndRethrow), not by wrapping.
// It has no base class: a handler for std::exception does not catch it.
//
// Text given as a finished string enters the messages only; text given as a TFormatStringCore
// enters both stacks. An empty text stacks nothing. Literals count as plain text.
#pragma once

#include <exception>
#include <iosfwd>
#include <kestal/KestalExport.h>
#include <kestal/TError.h>
#include <kestal/TStringCore.h>
#include <list>
#include <memory>
#include <vector>

class TFormatStringCore;

class KESTAL_API VelmoraException {
public:
    /// A copy of TError::ErrorInfo::NoError(), no message.
    VelmoraException();
    explicit VelmoraException(TError::ErrorInfo const& info);
    /// NoError, the text as the one message.
    explicit VelmoraException(TStringCore const& message);
    explicit VelmoraException(char16_t const* message)
        : VelmoraException(TStringCore(message)) {}
    /// NoError, the result in both stacks. Raises TFormatStringCore::Exception as result().
    explicit VelmoraException(TFormatStringCore const& message);
    /// NoError, what() converted from the local 8-bit encoding.
    explicit VelmoraException(std::exception const& e);
    /// NoError, a copy of the list, empty strings kept.
    explicit VelmoraException(std::list<TStringCore> const& messages);
    VelmoraException(TStringCore const& message, TError::ErrorInfo const& info);
    VelmoraException(char16_t const* message, TError::ErrorInfo const& info)
        : VelmoraException(TStringCore(message), info) {}
    VelmoraException(TFormatStringCore const& message, TError::ErrorInfo const& info);
    VelmoraException(std::exception const& e, TError::ErrorInfo const& info);
    VelmoraException(std::list<TStringCore> const& messages, TError::ErrorInfo const& info);
    /// Deep copies of both stacks; the record is shared. No move: a moved-from exception would
    /// be left without its stacks.
    VelmoraException(VelmoraException const& other);
    /// Nothing on self-assignment; else new deep copies of both stacks and a share of the record.
    VelmoraException& operator=(VelmoraException const& other);
    virtual ~VelmoraException();

    /// A heap copy (copy constructor of the class that overrides it); the caller deletes it.
    virtual VelmoraException* Clone() const;
    /// Throws a copy of *this typed as the class that overrides it.
    [[noreturn]] virtual void Throw() const;
    /// The messages, oldest first, each followed by a line feed unless it ends in one; empty for
    /// no message.
    virtual TStringCore GetConcatenatedMessages() const;
    /// A copy of the first message; empty for none.
    virtual TStringCore GetMessagesFront() const;
    /// The text for a log: here the same as GetConcatenatedMessages.
    virtual TStringCore CollateMessagesForLog() const;

    /// Appends to the messages; an empty text does nothing.
    void StackMessage(TStringCore const& message);
    void StackMessage(char16_t const* message) { StackMessage(TStringCore(message)); }
    /// Appends the result to both stacks unless it is empty. A bad format string raises
    /// TFormatStringCore::Exception and changes nothing.
    void StackMessage(TFormatStringCore const& message);
    /// As StackMessage, at the front.
    void StackMessageFront(TStringCore const& message);
    void StackMessageFront(char16_t const* message) { StackMessageFront(TStringCore(message)); }
    void StackMessageFront(TFormatStringCore const& message);
    /// Empties both stacks, then StackMessage.
    void SetMessage(TStringCore const& message);
    void SetMessage(char16_t const* message) { SetMessage(TStringCore(message)); }
    /// Empties both stacks, then StackMessage; a bad format string leaves both empty.
    void SetMessage(TFormatStringCore const& message);
    /// Empties the messages; the redacted messages stay.
    void ClearMessages() noexcept;

    std::list<TStringCore> const& GetMessages() const noexcept { return *m_messages; }
    /// The messages that came through format strings.
    std::list<TStringCore> const& GetRedactedMessages() const noexcept { return *m_redactedMessages; }
    /// A new vector of the messages in order.
    std::vector<TStringCore> GetMessagesVector() const;

    /// The shared record: copies of this exception refer to the same object.
    TError::ErrorInfo const& GetErrorInfo() const noexcept { return *m_errorInfo; }
    VelmoraError const& GetError() const noexcept { return m_errorInfo->GetVelmoraError(); }
    unsigned int GetErrorCode() const noexcept { return GetError().GetCode(); }
    TStringCore const& GetErrorName() const noexcept { return GetError().GetCodeName(); }
    TError::ErrorSource GetErrorSource() const noexcept { return m_errorInfo->GetErrorSource(); }

    /// Assigns e.what(), converted from the local 8-bit encoding, to `out`.
    static void ToString(std::exception const& e, TStringCore& out);

private:
    std::unique_ptr<std::list<TStringCore>> m_messages;
    std::unique_ptr<std::list<TStringCore>> m_redactedMessages;
    std::shared_ptr<TError::ErrorInfo> m_errorInfo;
};

/// Out of memory. Keeps its type through Clone and Throw.
class KESTAL_API VelmoraOutOfMemoryException : public VelmoraException {
public:
    /// The one message "Out of memory", in the messages only.
    explicit VelmoraOutOfMemoryException(TError::ErrorInfo const& info);
    VelmoraOutOfMemoryException(TStringCore const& message, TError::ErrorInfo const& info);
    VelmoraOutOfMemoryException(std::list<TStringCore> const& messages, TError::ErrorInfo const& info);
    VelmoraOutOfMemoryException(VelmoraOutOfMemoryException const& other);
    VelmoraOutOfMemoryException& operator=(VelmoraOutOfMemoryException const& other);
    ~VelmoraOutOfMemoryException() override;

    VelmoraOutOfMemoryException* Clone() const override;
    [[noreturn]] void Throw() const override;
};

/// A failure caused by what the user did; caught by type. Clone and Throw are the root's, so a
/// clone or a rethrow through Throw is a plain VelmoraException.
class KESTAL_API VelmoraUserErrorException : public VelmoraException {
public:
    VelmoraUserErrorException(TStringCore const& message, TError::ErrorInfo const& info);
    VelmoraUserErrorException(char16_t const* message, TError::ErrorInfo const& info)
        : VelmoraUserErrorException(TStringCore(message), info) {}
    VelmoraUserErrorException(TFormatStringCore const& message, TError::ErrorInfo const& info);
    ~VelmoraUserErrorException() override;
};

/// Inside a handler: a VelmoraException (or derived) in flight gets StackMessage(text) and is
/// rethrown as the same object; any other exception passes through untouched. With no exception
/// in flight the process terminates.
[[noreturn]] KESTAL_API void StackExceptionAndRethrow(TStringCore const& message);
[[noreturn]] KESTAL_API void StackExceptionAndRethrow(TFormatStringCore const& message);
[[noreturn]] inline void StackExceptionAndRethrow(char16_t const* message) {
    StackExceptionAndRethrow(TStringCore(message));
}

/// Writes CollateMessagesForLog() as UTF-8, unquoted.
KESTAL_API std::ostream& operator<<(std::ostream& out, VelmoraException const& e);

// Users of this header may pass format strings: bring in the complete class. It includes this
// header first, so either order of inclusion defines both.
#include <kestal/TFormatStringCore.h>
