// Not part of the API: the pure arithmetic behind TSystem::AppUpTime, reachable by tests at
// elapsed times no test could wait for.
#pragma once

#include <cstdint>
#include <kestal/KestalExport.h>

namespace kestal::detail {

/// Whole milliseconds in `elapsedNanoseconds`, held at 0xFFFFFFFF once past the 32-bit range.
KESTAL_API std::uint32_t UpTimeMilliseconds(std::uint64_t elapsedNanoseconds) noexcept;

} // namespace kestal::detail
