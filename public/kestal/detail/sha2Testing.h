// Not part of the API: a seam for tests and benchmarks that compare the transforms on the
// processor's own instructions (the SHA extensions for SHA-1 and SHA-256, AVX2 or AVX-512VL with BMI2
// for SHA-384 and SHA-512) with the portable ones. Not synchronised with digests running on other threads.
#pragma once

#include <kestal/KestalExport.h>

namespace kestal::detail {

/// True when this processor has either set of instructions.
KESTAL_API bool Sha2HardwareAvailable() noexcept;

/// Uses the instructions that are available when `enabled`, the portable transforms otherwise.
/// Returns whether any were in use before the call.
KESTAL_API bool SetSha2HardwareEnabledForTesting(bool enabled) noexcept;
/// With `enabled` false, SHA-384 and SHA-512 use AVX2 even where AVX-512VL is there (when the
/// processor's instructions are in use at all). Returns the previous setting.
KESTAL_API bool SetSha512Avx512EnabledForTesting(bool enabled) noexcept;

} // namespace kestal::detail
