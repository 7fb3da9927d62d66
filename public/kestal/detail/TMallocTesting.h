// Not part of the API: a seam for tests that need TRealloc to fail. TRealloc always calls
// through this function pointer, which costs what the C library's own call through the PLT does.
#pragma once

#include <cstddef>
#include <kestal/KestalExport.h>

namespace kestal::detail {

using ReallocFunction = void* (*)(void*, std::size_t);

/// Replaces the function TRealloc calls (null restores realloc) and returns the previous one.
KESTAL_API ReallocFunction SetReallocFunctionForTesting(ReallocFunction function) noexcept;

} // namespace kestal::detail
