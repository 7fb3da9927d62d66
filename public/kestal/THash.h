// Non-cryptographic hashing of memory blocks, and combining of hash values, for hash tables and
// fingerprints. The 64- and 128-bit forms are SpookyHash version 2; the 32-bit forms are Bob Jenkins's
// 1996 hash (lookup2). Both give the published values bit for bit on this little-endian machine, so
// stored hashes stay valid across builds. All functions are pure, reentrant and never throw.
#pragma once

#include <kestal/KestalExport.h>
#include <utility>

/// 64-bit hash of `length` bytes at `data` (unaligned is fine; not read when `length` is 0), with
/// `seed` used for both seeds of the 128-bit computation. Equals THash64 and THash128(...).first.
KESTAL_API unsigned long THash(void const* data, unsigned long length, unsigned long seed) noexcept;

/// The same value as THash, with a 64-bit seed type.
KESTAL_API unsigned long long THash64(void const* data, unsigned long length,
                                      unsigned long long seed) noexcept;

/// 128-bit hash of `length` bytes at `data`. `first` comes from the slot seeded with `seed`,
/// `second` from the slot seeded with `second`.
KESTAL_API std::pair<unsigned long long, unsigned long long>
THash128(void const* data, unsigned long length, unsigned long long seed, unsigned long long second) noexcept;

/// THash of the eight bytes of `a` in memory order, seeded with `b`. Not symmetric: `a` is data.
KESTAL_API unsigned long THashCombine(unsigned long a, unsigned long b) noexcept;

/// 32-bit hash of `length` bytes at `data` with initial value `seed`. Only the low 32 bits of
/// `length` count: a longer block hashes as its first `length mod 2^32` bytes.
KESTAL_API unsigned int THash32(void const* data, unsigned long length, unsigned int seed) noexcept;

/// THash32 of the four bytes of `a` in memory order, seeded with `b`. Not symmetric: `a` is data.
KESTAL_API unsigned int THashCombine32(unsigned int a, unsigned int b) noexcept;
