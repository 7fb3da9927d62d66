// Not part of the API: the library's access to the process-wide error-callstack hook. The hook is
// installed with InjectGenerateErrorCallstackHook (TStackWalker.h); every TError::ErrorInfo
// constructor calls a copy of it with its error code to get the record's call stack.
#pragma once

#include <functional>
#include <kestal/KestalExport.h>
#include <list>
#include <string>

namespace kestal::detail {

/// The hook's type: error code in, call-stack lines out.
using ErrorCallstackHook = std::function<std::list<std::string>(unsigned int)>;

/// A copy of the installed hook; empty when none is installed. No lock: hooks are installed
/// before other threads build error records.
KESTAL_API ErrorCallstackHook CopyErrorCallstackHook();

} // namespace kestal::detail
