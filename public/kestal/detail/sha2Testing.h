// Not part of the API: a seam for tests and benchmarks that compare the processor's SHA instructions
// with the portable transforms. Not synchronised with digests running on other threads.
#pragma once

#include <kestal/KestalExport.h>

namespace kestal::detail {

/// True when this processor has the SHA extensions that the SHA-1 and SHA-256 transforms can use.
KESTAL_API bool Sha2HardwareAvailable() noexcept;

/// Uses the SHA extensions when `enabled` and available, the portable transforms otherwise.
/// Returns whether they were in use before the call.
KESTAL_API bool SetSha2HardwareEnabledForTesting(bool enabled) noexcept;

} // namespace kestal::detail
