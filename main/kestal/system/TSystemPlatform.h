// The platform half of TSystem: raw queries, bytes as the system gives them. TSystem.cpp turns
// them into paths and records; TSystem_<platform>.cpp answers them. Queries that are nothing but
// a platform call (ThreadID, ProcessID, BeingDebugged, GetCurrentProcessMemoryInfo) live whole in
// the platform file.
#pragma once

#include <cstdint>
#include <kestal/TSystem.h>
#include <string>
#include <vector>

namespace kestal::system {

/// The executable's path in local 8-bit bytes; empty when unknown.
std::string ExecutableBytes();

/// Whether `address` lies in a loaded image; if so `path` receives the image's path (the
/// executable's as ExecutableBytes gives it).
bool ImageOfAddress(void const* address, std::string& path);

/// The paths of the loaded images in load order, the executable first, asked afresh.
std::vector<std::string> LoadedImagePaths();

/// Fills the page size, available and total bytes of `info`; a failed query leaves 0.
void ReadHostMemory(TSystem::MemoryInfo& info) noexcept;

/// A monotonic clock in nanoseconds, shared by every thread.
std::uint64_t MonotonicNanoseconds() noexcept;

} // namespace kestal::system
