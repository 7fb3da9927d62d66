// SHA-512 blocks with the message schedule in AVX2 and the rounds in BMI2. Callers check
// Sha512Avx2Supported() first; elsewhere the function is never called.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kestal::hashing {

/// True when the processor and the system support the AVX2 and BMI2 instructions used below.
bool Sha512Avx2Supported() noexcept;

/// Folds `blocks` 128-byte blocks at `data` (any alignment) into the eight-word SHA-512 state,
/// which SHA-384 shares.
void Sha512BlocksAvx2(std::uint64_t* state, unsigned char const* data, std::size_t blocks) noexcept;

} // namespace kestal::hashing
