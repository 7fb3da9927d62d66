// The string layer's own exception family.
#include <kestal/TStringCore.h>

TStringCore::Exception::Exception(char16_t const* message)
    : m_message(message, -1) {}
TStringCore::Exception::Exception(TStringCore const& message) noexcept
    : m_message(message) {}
TStringCore::Exception::Exception(TStringCore&& message) noexcept
    : m_message(std::move(message)) {}
TStringCore::Exception::~Exception() = default;

TStringCore::Exception* TStringCore::Exception::Clone() const {
    return new Exception(*this);
}

void TStringCore::Exception::Throw() const {
    throw Exception(*this);
}

TStringCore::CapacityException::CapacityException()
    : Exception(u"String capacity overflow.") {}
TStringCore::CapacityException::~CapacityException() = default;

TStringCore::CapacityException* TStringCore::CapacityException::Clone() const {
    return new CapacityException(*this);
}

void TStringCore::CapacityException::Throw() const {
    throw CapacityException(*this);
}

// 13 units: the message stays inline, so reporting exhaustion allocates nothing.
TStringCore::OutOfMemoryException::OutOfMemoryException()
    : Exception(u"Out of memory") {}
TStringCore::OutOfMemoryException::~OutOfMemoryException() = default;

TStringCore::OutOfMemoryException* TStringCore::OutOfMemoryException::Clone() const {
    return new OutOfMemoryException(*this);
}

void TStringCore::OutOfMemoryException::Throw() const {
    throw OutOfMemoryException(*this);
}
