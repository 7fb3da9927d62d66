// SHA-1 and SHA-256 block functions on the x86 SHA extensions. Callers check
// ShaExtensionsSupported() first; elsewhere the functions are never called.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kestal::hashing {

/// True when the processor has the SHA, SSE4.1 and SSSE3 instructions these functions use.
bool ShaExtensionsSupported() noexcept;

/// Folds `blocks` 64-byte blocks at `data` (any alignment) into the five-word SHA-1 state.
void Sha1BlocksShani(std::uint32_t* state, unsigned char const* data, std::size_t blocks) noexcept;

/// Folds `blocks` 64-byte blocks at `data` (any alignment) into the eight-word SHA-256 state.
void Sha256BlocksShani(std::uint32_t* state, unsigned char const* data, std::size_t blocks) noexcept;

} // namespace kestal::hashing
