// Call stacks as text lines, for diagnostics. The error-callstack hook lets an application give
// every TError::ErrorInfo a call stack; the library installs none by itself.
#pragma once

#include <functional>
#include <kestal/KestalExport.h>
#include <list>
#include <string>

/// Installs the process-wide error-callstack hook: the old hook is destroyed, then `hook` is moved
/// in; an empty function leaves no hook. Not synchronised: install it before other threads build
/// error records.
KESTAL_API void InjectGenerateErrorCallstackHook(std::function<std::list<std::string>(unsigned int)> hook);
