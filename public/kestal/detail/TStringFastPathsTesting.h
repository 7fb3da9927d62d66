// Not part of the API: a seam for tests and fuzzers that compare the string layer's fast paths
// with the general paths they stand in for (number and to... through the C library, UTF-8 input
// without the vectorised ASCII run). Not synchronised with conversions running on other threads.
#pragma once

#include <kestal/KestalExport.h>

namespace kestal::detail {

/// Uses the fast paths when `enabled`, the general paths otherwise. Returns the previous setting.
KESTAL_API bool SetStringFastPathsEnabledForTesting(bool enabled) noexcept;

} // namespace kestal::detail
