// Processor time of a stretch of code on its own thread: a ThreadTimeScope adds to a ThreadTimeValue
// the user and system time its thread used between the scope's start and end. Also a process-wide
// switch and option that callers read back for their own decisions; neither changes the measurement.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <kestal/KestalExport.h>
#include <tuple>

namespace velmora::cputime {

/// Thread CPU time in whole milliseconds; the fields wrap modulo 2^32 when added.
struct KESTAL_API ThreadTimeValue {
    /// Both fields 0.
    ThreadTimeValue() noexcept = default;
    /// Sets the user and system times, in that order.
    ThreadTimeValue(unsigned int userMs, unsigned int systemMs) noexcept
        : user(userMs)
        , system(systemMs) {}

    /// Adds each field to its like, modulo 2^32.
    ThreadTimeValue& operator+=(ThreadTimeValue const& other) noexcept;

    unsigned int user = 0;   ///< user-mode time, ms
    unsigned int system = 0; ///< kernel time spent for the thread, ms
};

/// Measures the calling thread between construction and destruction and adds the result to a value.
/// Construct and destroy it on the same thread.
class KESTAL_API ThreadTimeScope {
public:
    /// Stores `value` (which must outlive the scope) and takes the thread's current time.
    explicit ThreadTimeScope(ThreadTimeValue& value) noexcept;
    /// Takes the time again and adds the difference to the value; never throws.
    ~ThreadTimeScope();

    ThreadTimeScope(ThreadTimeScope const&) = delete;
    ThreadTimeScope& operator=(ThreadTimeScope const&) = delete;

private:
    ThreadTimeValue& m_value;
    std::uint64_t m_startUser;
    std::uint64_t m_startSystem;
};

/// How callers say they want thread time taken; printed as "Default", "GetThreadTimes" or, for any
/// other value, "Unrecognized".
enum class ThreadTimeOption : std::uint32_t {
    Default = 0,
    GetThreadTimes = 1,
};

/// Stores the process-wide tracking switch (true at start) and returns the previous value.
/// No ordering with other memory; meant to be set at start-up.
KESTAL_API bool SetCpuTrackingEnabled(bool enabled) noexcept;

/// The process-wide tracking switch.
KESTAL_API bool GetCpuTrackingEnabled() noexcept;

/// Stores the process-wide option (Default at start).
KESTAL_API void SetThreadTimeOption(ThreadTimeOption option) noexcept;

/// The process-wide option.
KESTAL_API ThreadTimeOption GetThreadTimeOption() noexcept;

/// Writes the user field, a space, the system field and a line feed, then flushes.
KESTAL_API std::ostream& operator<<(std::ostream& os, ThreadTimeValue const& value);

/// Writes the option's name and a line feed, then flushes.
KESTAL_API std::ostream& operator<<(std::ostream& os, ThreadTimeOption const& option);

/// The calling thread's CPU time so far as (user, system), in microseconds.
KESTAL_API std::tuple<unsigned long long, unsigned long long> GetCurrentThreadTimeInternal() noexcept;

/// (user, system) of `end` minus `start`, in whole milliseconds (truncated); a field that went
/// backwards gives 0.
KESTAL_API ThreadTimeValue
ComputeThreadTimeValue(std::tuple<unsigned long long, unsigned long long> const& end,
                       std::tuple<unsigned long long, unsigned long long> const& start) noexcept;

/// Not measured on this platform: always 0.
KESTAL_API std::uint64_t GetCPUTicksPerSecond() noexcept;

/// Not measured on this platform: always 0.
KESTAL_API std::uint64_t OneTimeCPUFrequency() noexcept;

} // namespace velmora::cputime
