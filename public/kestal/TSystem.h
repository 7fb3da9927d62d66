// TSystem: plain facts about the process and host.
#pragma once

#include <kestal/KestalExport.h>

namespace TSystem {

/// The constant "UTF-8": the local 8-bit encoding on this platform. Information for callers only;
/// the string layer's local 8-bit conversions ask ICU for its default converter instead.
KESTAL_API char const* Local8BitEncoding() noexcept;

} // namespace TSystem
