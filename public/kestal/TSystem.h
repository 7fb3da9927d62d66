// TSystem: plain facts about the process and host: sleeping, thread and process ids, the
// executable and the loaded modules, physical and process memory, demangled names, the time since
// the library was loaded and a main-thread test. Each is a thin layer over one platform query; a
// query that fails leaves its result empty or 0 rather than raising.
#pragma once

#include <cstdint>
#include <functional>
#include <kestal/KestalExport.h>
#include <kestal/TPathCore.h>
#include <kestal/TStringCore.h>

namespace TSystem {

/// Physical memory of the host. All zero when default-constructed.
struct KESTAL_API MemoryInfo {
    std::uint64_t availableBytes = 0; ///< what can be handed out without swapping
    std::uint64_t usedBytes = 0;      ///< totalBytes - availableBytes
    std::uint64_t totalBytes = 0;     ///< the physical memory
    std::uint32_t pageSize = 0;       ///< bytes per page
    std::uint32_t load = 0;           ///< usedBytes * 100 / totalBytes, rounded down; 0 if the total is 0
};

/// The constant "UTF-8": the local 8-bit encoding on this platform. Information for callers only;
/// the string layer's local 8-bit conversions ask ICU for its default converter instead.
KESTAL_API char const* Local8BitEncoding() noexcept;

/// Blocks the calling thread for at least `milliseconds`; 0 returns at once without yielding.
KESTAL_API void Sleep(unsigned int milliseconds);

/// The kernel's id of the calling thread; on the main thread it equals the process id. Cached per
/// thread after the first call, and correct in a forked child.
KESTAL_API std::uint64_t ThreadID() noexcept;

/// The process id.
KESTAL_API std::int32_t ProcessID() noexcept;

/// The running executable's full path; empty if the system cannot tell.
KESTAL_API TPathCore ExecutableFilename();

/// The directory of ExecutableFilename(), or that path itself when it has no parent.
KESTAL_API TPathCore ExecutablePath();

/// The full path of the loaded module whose file name equals `name`'s (ignoring case; directories
/// are not compared, the first module loaded wins). Empty if `name` has no file name or no loaded
/// module matches. The module list is read afresh on every call.
KESTAL_API TPathCore ModulePath(TPathCore const& name);

/// The full path of the module (executable or shared library) that holds `address`; null means the
/// executable. Empty when the address lies in no module, such as one on a stack.
KESTAL_API TPathCore ModuleFilename(void const* address);

/// The directory of ModuleFilename(address), or that path itself when it has no parent.
KESTAL_API TPathCore ModuleDirectory(void const* address);

/// The host's physical memory; a field whose query fails stays 0.
KESTAL_API MemoryInfo Memory();

/// The demangled form of a mangled C++ name, after "class " (for every name that demangles,
/// types and functions alike: "i" gives "class int"). A name that does not demangle comes back as
/// UTF-8 text, ill-formed bytes as U+FFFD; null gives the empty string.
KESTAL_API TStringCore unmangleClassName(char const* name);

/// Installs the test behind IsDesktopMainThread and returns the one it replaces (empty at start).
/// Not synchronised: meant for start-up, before other threads run.
KESTAL_API std::function<bool()> SetDesktopMainThreadFunc(std::function<bool()> func);

/// The installed test's answer (an exception it raises passes through); false when none is set.
KESTAL_API bool IsDesktopMainThread();

/// Whether a debugger (any tracer) is attached to the process. Nothing in the library acts on it.
KESTAL_API bool BeingDebugged();

/// Milliseconds since the library was loaded, rounded down. Never decreases, on any thread; held
/// at 0xFFFFFFFF once that is passed (after about 49.7 days).
KESTAL_API std::uint32_t AppUpTime() noexcept;

} // namespace TSystem

/// Memory use of the current process. All zero when default-constructed; a field whose query
/// fails stays 0.
struct KESTAL_API ProcessMemoryInfo {
    std::uint32_t pageFaults = 0;        ///< minor and major faults so far, held at 0xFFFFFFFF
    std::uint64_t peakResidentBytes = 0; ///< largest resident size so far
    std::uint64_t residentBytes = 0;     ///< resident size now
    std::uint64_t reserved[6] = {};      ///< always 0
    std::uint64_t virtualBytes = 0;      ///< size of the address space in use
};

/// The current process's memory use, from one consistent reading: resident <= peak resident.
KESTAL_API ProcessMemoryInfo GetCurrentProcessMemoryInfo();
