// Not part of the API: the cleaning of one call-stack line, as TStackWalker applies it when
// system memory addresses are switched off. Exposed so that both line forms can be checked.
#pragma once

#include <kestal/KestalExport.h>
#include <string>

namespace kestal::detail {

/// `line` without its "0x" + 16-digit addresses and without a trailing " + offset". Lines of other
/// forms pass unchanged. Raises what std::regex raises.
KESTAL_API std::string CleanCallstackLine(std::string const& line);

} // namespace kestal::detail
