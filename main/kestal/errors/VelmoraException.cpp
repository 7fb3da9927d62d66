// The exception root, its two general subclasses and the rethrow helper.
#include <algorithm>
#include <kestal/TFormatStringCore.h>
#include <kestal/Unicode.h>
#include <kestal/VelmoraException.h>
#include <ostream>
#include <utility>

namespace {

using MessageList = std::list<TStringCore>;

enum End { AtBack, AtFront };

// The engine of the four stacking operations: an empty text stacks nothing; `redacted`, when
// given, gets the same text, and a failure there takes it back out of the messages.
void stack(MessageList& messages, MessageList* redacted, TStringCore const& text, End end) {
    if (text.isEmpty()) return;
    end == AtBack ? messages.push_back(text) : messages.push_front(text);
    if (!redacted) return;
    try {
        end == AtBack ? redacted->push_back(text) : redacted->push_front(text);
    } catch (...) {
        end == AtBack ? messages.pop_back() : messages.pop_front();
        throw;
    }
}

std::shared_ptr<TError::ErrorInfo> shareRecord(TError::ErrorInfo const& info) {
    return std::make_shared<TError::ErrorInfo>(info);
}

} // namespace

// ---- Construction ------------------------------------------------------------------------------

VelmoraException::VelmoraException(TError::ErrorInfo const& info)
    : m_messages(std::make_unique<MessageList>())
    , m_redactedMessages(std::make_unique<MessageList>())
    , m_errorInfo(shareRecord(info)) {}

VelmoraException::VelmoraException()
    : VelmoraException(TError::ErrorInfo::NoError()) {}

VelmoraException::VelmoraException(TStringCore const& message)
    : VelmoraException(message, TError::ErrorInfo::NoError()) {}

VelmoraException::VelmoraException(TFormatStringCore const& message)
    : VelmoraException(message, TError::ErrorInfo::NoError()) {}

VelmoraException::VelmoraException(std::exception const& e)
    : VelmoraException(e, TError::ErrorInfo::NoError()) {}

VelmoraException::VelmoraException(std::list<TStringCore> const& messages)
    : VelmoraException(messages, TError::ErrorInfo::NoError()) {}

VelmoraException::VelmoraException(TStringCore const& message, TError::ErrorInfo const& info)
    : VelmoraException(info) {
    StackMessage(message);
}

VelmoraException::VelmoraException(TFormatStringCore const& message, TError::ErrorInfo const& info)
    : VelmoraException(info) {
    StackMessage(message);
}

VelmoraException::VelmoraException(std::exception const& e, TError::ErrorInfo const& info)
    : VelmoraException(info) {
    StackMessage(TStringCore::fromLocal8Bit(e.what()));
}

VelmoraException::VelmoraException(std::list<TStringCore> const& messages, TError::ErrorInfo const& info)
    : m_messages(std::make_unique<MessageList>(messages)) // empty strings kept
    , m_redactedMessages(std::make_unique<MessageList>())
    , m_errorInfo(shareRecord(info)) {}

VelmoraException::VelmoraException(VelmoraException const& other)
    : m_messages(std::make_unique<MessageList>(*other.m_messages))
    , m_redactedMessages(std::make_unique<MessageList>(*other.m_redactedMessages))
    , m_errorInfo(other.m_errorInfo) {}

VelmoraException& VelmoraException::operator=(VelmoraException const& other) {
    if (this == &other) return *this;
    // Both copies first, so a failed copy leaves this exception as it was.
    auto messages = std::make_unique<MessageList>(*other.m_messages);
    auto redacted = std::make_unique<MessageList>(*other.m_redactedMessages);
    m_messages = std::move(messages);
    m_redactedMessages = std::move(redacted);
    m_errorInfo = other.m_errorInfo;
    return *this;
}

VelmoraException::~VelmoraException() = default;

// ---- Virtual operations ------------------------------------------------------------------------

VelmoraException* VelmoraException::Clone() const {
    return new VelmoraException(*this);
}

void VelmoraException::Throw() const {
    // Kept on purpose: subclasses that do not override Throw are raised as the root.
    throw *this;
}

TStringCore VelmoraException::GetConcatenatedMessages() const {
    long long total = 0;
    for (TStringCore const& m : *m_messages)
        total += m.size() + 1;
    TStringCore text;
    // At most one line feed per message: one reservation, and the appends raise if it is too long.
    text.reserve(static_cast<int>(std::min<long long>(total, TStringCore::MaxSize)));
    for (TStringCore const& m : *m_messages) {
        text.append(m);
        if (m.isEmpty() || m.back() != u'\n') text.push_back(u'\n');
    }
    return text;
}

TStringCore VelmoraException::GetMessagesFront() const {
    return m_messages->empty() ? TStringCore() : m_messages->front();
}

TStringCore VelmoraException::CollateMessagesForLog() const {
    return GetConcatenatedMessages();
}

// ---- Messages ----------------------------------------------------------------------------------

void VelmoraException::StackMessage(TStringCore const& message) {
    stack(*m_messages, nullptr, message, AtBack);
}

void VelmoraException::StackMessage(TFormatStringCore const& message) {
    // One evaluation serves both stacks: result() is const and gives the same text every time.
    stack(*m_messages, m_redactedMessages.get(), message.result(), AtBack);
}

void VelmoraException::StackMessageFront(TStringCore const& message) {
    stack(*m_messages, nullptr, message, AtFront);
}

void VelmoraException::StackMessageFront(TFormatStringCore const& message) {
    stack(*m_messages, m_redactedMessages.get(), message.result(), AtFront);
}

void VelmoraException::SetMessage(TStringCore const& message) {
    m_messages->clear();
    m_redactedMessages->clear();
    StackMessage(message);
}

void VelmoraException::SetMessage(TFormatStringCore const& message) {
    m_messages->clear();
    m_redactedMessages->clear();
    StackMessage(message);
}

void VelmoraException::ClearMessages() noexcept {
    m_messages->clear();
}

std::vector<TStringCore> VelmoraException::GetMessagesVector() const {
    return std::vector<TStringCore>(m_messages->begin(), m_messages->end());
}

void VelmoraException::ToString(std::exception const& e, TStringCore& out) {
    out = TStringCore::fromLocal8Bit(e.what());
}

// ---- Subclasses ----------------------------------------------------------------------------------

VelmoraOutOfMemoryException::VelmoraOutOfMemoryException(TError::ErrorInfo const& info)
    : VelmoraException(std::list<TStringCore>(), info) {
    StackMessage(TStringCore(u"Out of memory"));
}

VelmoraOutOfMemoryException::VelmoraOutOfMemoryException(TStringCore const& message,
                                                         TError::ErrorInfo const& info)
    : VelmoraException(message, info) {}

VelmoraOutOfMemoryException::VelmoraOutOfMemoryException(std::list<TStringCore> const& messages,
                                                         TError::ErrorInfo const& info)
    : VelmoraException(messages, info) {}

VelmoraOutOfMemoryException::VelmoraOutOfMemoryException(VelmoraOutOfMemoryException const& other) = default;
VelmoraOutOfMemoryException&
VelmoraOutOfMemoryException::operator=(VelmoraOutOfMemoryException const& other) = default;
VelmoraOutOfMemoryException::~VelmoraOutOfMemoryException() = default;

VelmoraOutOfMemoryException* VelmoraOutOfMemoryException::Clone() const {
    return new VelmoraOutOfMemoryException(*this);
}

void VelmoraOutOfMemoryException::Throw() const {
    throw *this;
}

VelmoraUserErrorException::VelmoraUserErrorException(TStringCore const& message,
                                                     TError::ErrorInfo const& info)
    : VelmoraException(message, info) {}

VelmoraUserErrorException::VelmoraUserErrorException(TFormatStringCore const& message,
                                                     TError::ErrorInfo const& info)
    : VelmoraException(message, info) {}

VelmoraUserErrorException::~VelmoraUserErrorException() = default;

// ---- Free functions ------------------------------------------------------------------------------

namespace {

template <class Message>
[[noreturn]] void stackAndRethrow(Message const& message) {
    try {
        throw;
    } catch (VelmoraException& e) {
        e.StackMessage(message);
        throw; // the same object: its dynamic type survives
    }
    // Anything else has left through the rethrow above, untouched.
}

} // namespace

void StackExceptionAndRethrow(TStringCore const& message) {
    stackAndRethrow(message);
}

void StackExceptionAndRethrow(TFormatStringCore const& message) {
    stackAndRethrow(message);
}

std::ostream& operator<<(std::ostream& out, VelmoraException const& e) {
    const TStringCore text = e.CollateMessagesForLog();
    return out << Unicode::toStdString(text.constData(), static_cast<std::size_t>(text.size()));
}
