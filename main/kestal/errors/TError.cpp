// The error record, its text form and the strict parser of that form.
#include "kestal/errors/Raise.h"

#include <kestal/TError.h>
#include <kestal/Unicode.h>
#include <kestal/detail/ErrorCallstackHook.h>
#include <ostream>
#include <regex>
#include <stdexcept>
#include <string>

namespace {

// The names of grpc::StatusCode 0 to 16, in value order.
constexpr char16_t const* kStatusNames[] = {
    u"OK",        u"CANCELLED",       u"UNKNOWN",           u"INVALID_ARGUMENT",   u"DEADLINE_EXCEEDED",
    u"NOT_FOUND", u"ALREADY_EXISTS",  u"PERMISSION_DENIED", u"RESOURCE_EXHAUSTED", u"FAILED_PRECONDITION",
    u"ABORTED",   u"OUT_OF_RANGE",    u"UNIMPLEMENTED",     u"INTERNAL",           u"UNAVAILABLE",
    u"DATA_LOSS", u"UNAUTHENTICATED",
};
constexpr unsigned kStatusCount = sizeof kStatusNames / sizeof kStatusNames[0];

// The source words in the order the lookup tries them.
struct SourceName {
    char16_t const* name;
    TError::ErrorSource source;
};
constexpr SourceName kSourceLookup[] = {
    {u"Client", TError::Client},   {u"Configuration", TError::Configuration},
    {u"Content", TError::Content}, {u"DataSource", TError::DataSource},
    {u"System", TError::System},
};

// The longest source word the parser can accept ("NeedsClassification"). Longer texts are refused
// before any regular expression runs: libstdc++'s matcher recurses once per character of
// "[A-Za-z]+" and overflows the stack on a few ten thousand letters.
constexpr int kLongestSourceWord = 19;

std::string narrow(TStringCore const& s) {
    return Unicode::toStdString(s.constData(), static_cast<std::size_t>(s.size()));
}

[[noreturn]] void unmarshalingProblem(char const* message) {
    throw std::invalid_argument(message);
}

} // namespace

// ---- Record ------------------------------------------------------------------------------------

TStringCore kestal::detail::ErrorCodeText(unsigned int code) {
    // "0x" in lower case, the digits in upper case: the same as number(code, 16, 8, '0').toUpper()
    // behind the prefix, without the case mapping.
    static constexpr char16_t kDigits[] = u"0123456789ABCDEF";
    char16_t text[10] = {u'0', u'x'};
    for (int i = 9; i >= 2; --i, code >>= 4)
        text[i] = kDigits[code & 0xF];
    return TStringCore(text, 10);
}

TError::ErrorInfo kestal::detail::AutoGenErrorInfo(unsigned int code, TError::ErrorSource source,
                                                   grpc::StatusCode status) {
    return TError::ErrorInfo(VelmoraError(code, u"VelmoraException_AutoGen_" + ErrorCodeText(code)), source,
                             status);
}

TError::ErrorInfo::ErrorInfo(VelmoraError const& error, ErrorSource source, grpc::StatusCode status)
    : m_error(error)
    , m_source(source)
    , m_status(status) {
    // A private copy of the hook: the call may take long, and the installed one may be replaced.
    const kestal::detail::ErrorCallstackHook hook = kestal::detail::CopyErrorCallstackHook();
    if (hook) m_callstack = hook(m_error.GetCode());
}

TError::ErrorInfo::ErrorInfo(VelmoraError const& error)
    : ErrorInfo(error, NeedsClassification, grpc::StatusCode::UNKNOWN) {}

bool TError::ErrorInfo::operator==(ErrorInfo const& other) const noexcept {
    // Kept on purpose: the name, the attributes and the call stack take no part.
    return m_status == other.m_status && m_source == other.m_source &&
           m_error.GetCode() == other.m_error.GetCode();
}

TStringCore TError::ErrorInfo::GetAuxDatum(TStringCore const& key) const {
    const auto it = m_auxAttrs.find(key);
    return it == m_auxAttrs.end() ? TStringCore() : it->second;
}

void TError::ErrorInfo::SetAuxAttrs(AuxAttrs const& attrs) {
    if (&attrs != &m_auxAttrs) m_auxAttrs = attrs;
}

void TError::ErrorInfo::SetAuxDatum(TStringCore const& key, TStringCore const& value) {
    m_auxAttrs[key] = value;
}

void TError::ErrorInfo::GetMembersAsStrings(TStringCore& code, TStringCore& source,
                                            TStringCore& status) const {
    status = TStringCore::number(static_cast<int>(m_status));
    source = GetErrorSourceAsString(m_source);
    code = kestal::detail::ErrorCodeText(m_error.GetCode());
}

TError::ErrorInfo TError::ErrorInfo::FromStringifiedMembers(TStringCore const& code,
                                                            TStringCore const& source,
                                                            TStringCore const& status) {
    // Every failure below, and any other exception of the body, becomes InvalidErrorInfo(); the
    // messages stay for whoever debugs this function.
    try {
        if (source.size() > kLongestSourceWord)
            unmarshalingProblem("Encountered a problem (2) during TError::ErrorInfo unmarshaling");
        const std::string statusText = narrow(status);
        if (!std::regex_match(statusText, std::regex("^[0-9]{1,2}$")))
            unmarshalingProblem("Encountered a problem (1) during TError::ErrorInfo unmarshaling");
        if (!std::regex_match(narrow(source), std::regex("^[A-Za-z]+$")))
            unmarshalingProblem("Encountered a problem (2) during TError::ErrorInfo unmarshaling");
        const std::string codeText = narrow(code);
        if (!std::regex_match(codeText, std::regex("^0x[0-9A-Fa-f]{8}$")))
            unmarshalingProblem("Encountered a problem (3) during TError::ErrorInfo unmarshaling");

        const int statusValue = std::stoi(statusText, nullptr, 10);
        const unsigned long codeValue = std::stoul(codeText, nullptr, 16);
        // The name is rebuilt from the text as given, lower-case digits included; the sender's
        // name does not travel.
        const VelmoraError error(static_cast<unsigned int>(codeValue), u"AutoGen_" + code);
        const ErrorSource sourceValue = GetErrorSourceFromString(source);
        // The status stays an int until it is known to name a status code.
        if (static_cast<unsigned int>(statusValue) >= kStatusCount)
            unmarshalingProblem("Encountered a problem (4) during TError::ErrorInfo unmarshaling");
        // Kept on purpose although the pattern above already rules it out.
        if ((codeValue & 0xFFFFFFFFul) == 0 && code != u"0x00000000")
            unmarshalingProblem("Encountered a problem (5) during TError::ErrorInfo unmarshaling");
        // The lookup maps every unknown word to NeedsClassification; only that word itself may.
        if (sourceValue == NeedsClassification &&
            source.toLower() != GetErrorSourceAsString(NeedsClassification).toLower())
            unmarshalingProblem("Encountered a problem (6) during TError::ErrorInfo unmarshaling");
        return ErrorInfo(error, sourceValue, static_cast<grpc::StatusCode>(statusValue));
    } catch (...) {
        // Not noexcept: a hook that throws while this record is built is the one way out.
        return InvalidErrorInfo();
    }
}

TError::ErrorInfo TError::ErrorInfo::NoError() {
    return ErrorInfo(VelmoraError::NoError(), NeedsClassification, grpc::StatusCode::OK);
}

TError::ErrorInfo TError::ErrorInfo::TestError() {
    return ErrorInfo(VelmoraError::NoError(), Configuration, grpc::StatusCode::INTERNAL);
}

TError::ErrorInfo TError::ErrorInfo::InvalidErrorInfo() {
    return ErrorInfo(VelmoraError(0xBADBEEF5u, u"KestalInvalidErrorInfo_0xBADBEEF5"), System,
                     grpc::StatusCode::INTERNAL);
}

// ---- Text conversions --------------------------------------------------------------------------

TStringCore TError::GetErrorSourceAsString(ErrorSource source) {
    switch (source) {
    case Client:
        return u"Client";
    case System:
        return u"System";
    case Content:
        return u"Content";
    case DataSource:
        return u"DataSource";
    case Configuration:
        return u"Configuration";
    case NeedsClassification:
        break;
    }
    return u"NeedsClassification"; // also every value without a name
}

TError::ErrorSource TError::GetErrorSourceFromString(TStringCore const& text) {
    for (SourceName const& entry : kSourceLookup)
        if (text.compare(entry.name, TStringCore::CaseInsensitive) == 0) return entry.source;
    return NeedsClassification;
}

TStringCore TError::GetStatusCodeAsString(grpc::StatusCode status) {
    const auto index = static_cast<unsigned int>(status);
    return index < kStatusCount ? TStringCore(kStatusNames[index]) : TStringCore(u"DO_NOT_USE");
}

grpc::StatusCode TError::GetStatusCodeFromString(TStringCore const& text) {
    for (unsigned int i = 0; i < kStatusCount; ++i)
        if (text.compare(kStatusNames[i], TStringCore::CaseInsensitive) == 0)
            return static_cast<grpc::StatusCode>(i);
    return grpc::StatusCode::DO_NOT_USE; // -1; "DO_NOT_USE" itself has no entry
}

std::ostream& TError::operator<<(std::ostream& out, ErrorInfo const& info) {
    const TStringCore line = kestal::detail::ErrorCodeText(info.GetVelmoraError().GetCode()) + u' ' +
                             GetErrorSourceAsString(info.GetErrorSource()) + u' ' +
                             GetStatusCodeAsString(info.GetStatusCode());
    return out << narrow(line);
}
