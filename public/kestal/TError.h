// TError: the library's error record, TError::ErrorInfo, and the text forms of its parts. A record
// is a VelmoraError, the party the failure is attributed to (ErrorSource), a gRPC status code,
// free-form text attributes and the call stack of the place where it was built. Exceptions
// (VelmoraException.h) carry one record, shared between their copies. Three members have a fixed
// text form ("0x0E2B86FB", "Client", "2") for marshalling between processes.
#pragma once

#include <cstdint>
#include <grpcpp/support/status_code_enum.h>
#include <iosfwd>
#include <kestal/KestalExport.h>
#include <kestal/TStringCore.h>
#include <kestal/VelmoraError.h>
#include <list>
#include <map>
#include <string>

namespace TError {

/// Who a failure is attributed to. Values 0, 3, 5 and all others carry no name and print as
/// "NeedsClassification". Unscoped, so both TError::Client and TError::ErrorSource::Client work.
enum ErrorSource : std::int32_t {
    Client = 1,
    System = 2,
    NeedsClassification = 4,
    Content = 6,
    DataSource = 7,
    Configuration = 8,
};

/// The record's free-form attributes, ordered by TStringCore's less-than.
using AuxAttrs = std::map<TStringCore, TStringCore>;

/// The error record: error, source, status, attributes, call stack, in that order. Every
/// construction runs the error-callstack hook (InjectGenerateErrorCallstackHook) once with the
/// code; copies never do. Equality looks at code, source and status only.
class KESTAL_API ErrorInfo {
public:
    /// Builds the record, then fills the call stack from the hook, if one is installed. An
    /// exception from the hook leaves the constructor.
    ErrorInfo(VelmoraError const& error, ErrorSource source,
              grpc::StatusCode status = grpc::StatusCode::UNKNOWN);
    /// NeedsClassification and UNKNOWN. Explicit, so a VelmoraError never becomes a record (and a
    /// hook call) by accident.
    explicit ErrorInfo(VelmoraError const& error);
    /// Copy all five fields; the hook does not run.
    ErrorInfo(ErrorInfo const&) = default;
    ErrorInfo& operator=(ErrorInfo const&) = default;
    ~ErrorInfo() = default;

    /// True when code, source and status are equal; name, attributes and call stack are ignored.
    bool operator==(ErrorInfo const& other) const noexcept;
    bool operator!=(ErrorInfo const& other) const noexcept { return !(*this == other); }

    VelmoraError const& GetVelmoraError() const noexcept { return m_error; }
    ErrorSource GetErrorSource() const noexcept { return m_source; }
    grpc::StatusCode GetStatusCode() const noexcept { return m_status; }
    /// The lines the hook gave at construction; empty without a hook.
    std::list<std::string> const& GetCallstack() const noexcept { return m_callstack; }

    /// A copy of the whole map.
    AuxAttrs GetAuxAttrs() const { return m_auxAttrs; }
    /// A copy of the value; empty when the key is absent (nothing is inserted).
    TStringCore GetAuxDatum(TStringCore const& key) const;
    /// Replaces the whole map; assigning the record's own map does nothing.
    void SetAuxAttrs(AuxAttrs const& attrs);
    /// Inserts the key if absent, then assigns the value.
    void SetAuxDatum(TStringCore const& key, TStringCore const& value);

    /// The text form, assigned in this order: status as a signed decimal ("13", "-1"), source as
    /// GetErrorSourceAsString, code as "0x" and eight upper-case hexadecimal digits.
    void GetMembersAsStrings(TStringCore& code, TStringCore& source, TStringCore& status) const;
    /// Parses the text form into a new record (hook run, no attributes, name "AutoGen_" plus the
    /// code text as given). Any bad text gives InvalidErrorInfo(); only an exception from the hook
    /// while that record is built gets out.
    static ErrorInfo FromStringifiedMembers(TStringCore const& code, TStringCore const& source,
                                            TStringCore const& status);

    /// Code 0, NeedsClassification, OK.
    static ErrorInfo NoError();
    /// Code 0, Configuration, INTERNAL.
    static ErrorInfo TestError();
    /// 0xBADBEEF5 "KestalInvalidErrorInfo_0xBADBEEF5", System, INTERNAL: what a failed parse gives.
    static ErrorInfo InvalidErrorInfo();

private:
    VelmoraError m_error;
    ErrorSource m_source;
    grpc::StatusCode m_status;
    AuxAttrs m_auxAttrs;
    std::list<std::string> m_callstack;
};

/// "Client", "System", "NeedsClassification", "Content", "DataSource", "Configuration";
/// "NeedsClassification" for every unnamed value.
KESTAL_API TStringCore GetErrorSourceAsString(ErrorSource source);
/// Case-insensitive match of "Client", "Configuration", "Content", "DataSource", "System";
/// anything else, the empty text included, gives NeedsClassification.
KESTAL_API ErrorSource GetErrorSourceFromString(TStringCore const& text);
/// gRPC's upper-case name ("OK" to "UNAUTHENTICATED"); "DO_NOT_USE" for any value that is 17 or
/// more as unsigned, -1 included.
KESTAL_API TStringCore GetStatusCodeAsString(grpc::StatusCode status);
/// Case-insensitive match of the seventeen names of 0 to 16; anything else, "DO_NOT_USE"
/// included, gives -1.
KESTAL_API grpc::StatusCode GetStatusCodeFromString(TStringCore const& text);

/// Writes "0x0E2B86FB Client UNKNOWN": code, source and status as words, UTF-8.
KESTAL_API std::ostream& operator<<(std::ostream& out, ErrorInfo const& info);

} // namespace TError
