// SHA-512 blocks with the message schedule in 256-bit vectors and the rounds in BMI2: on AVX2, or
// on AVX-512VL, whose rotations make the schedule about half as long. Callers check the matching
// ...Supported() first; elsewhere the functions are never called.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kestal::hashing {

/// True when the processor and the system support the AVX2 and BMI2 instructions used below.
bool Sha512Avx2Supported() noexcept;

/// Folds `blocks` 128-byte blocks at `data` (any alignment) into the eight-word SHA-512 state,
/// which SHA-384 shares.
void Sha512BlocksAvx2(std::uint64_t* state, unsigned char const* data, std::size_t blocks) noexcept;

/// True when the processor and the system also support AVX-512F and AVX-512VL.
bool Sha512Avx512Supported() noexcept;

/// Sha512BlocksAvx2 with the schedule on AVX-512VL; the same state from the same blocks.
void Sha512BlocksAvx512(std::uint64_t* state, unsigned char const* data, std::size_t blocks) noexcept;

} // namespace kestal::hashing
