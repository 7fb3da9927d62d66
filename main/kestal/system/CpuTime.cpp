// Thread CPU time scopes, the process-wide switch and option, and their text forms. The platform's
// time source lives in CpuTime_<platform>.cpp.
#include <atomic>
#include <kestal/CpuTime.h>
#include <ostream>

namespace velmora::cputime {

namespace {

// Plain flags for callers; relaxed atomics so that readers on other threads are not a data race.
std::atomic<bool> s_cpuTrackingEnabled{true};
std::atomic<std::uint32_t> s_threadTimeOption{0};

unsigned int WholeMilliseconds(unsigned long long endUs, unsigned long long startUs) noexcept {
    if (endUs <= startUs) return 0;
    return static_cast<unsigned int>((endUs - startUs) / 1000);
}

} // namespace

ThreadTimeValue& ThreadTimeValue::operator+=(ThreadTimeValue const& other) noexcept {
    user += other.user;
    system += other.system;
    return *this;
}

ThreadTimeScope::ThreadTimeScope(ThreadTimeValue& value) noexcept
    : m_value(value) {
    std::tie(m_startUser, m_startSystem) = GetCurrentThreadTimeInternal();
}

ThreadTimeScope::~ThreadTimeScope() {
    m_value += ComputeThreadTimeValue(GetCurrentThreadTimeInternal(), {m_startUser, m_startSystem});
}

ThreadTimeValue
ComputeThreadTimeValue(std::tuple<unsigned long long, unsigned long long> const& end,
                       std::tuple<unsigned long long, unsigned long long> const& start) noexcept {
    return {WholeMilliseconds(std::get<0>(end), std::get<0>(start)),
            WholeMilliseconds(std::get<1>(end), std::get<1>(start))};
}

bool SetCpuTrackingEnabled(bool enabled) noexcept {
    return s_cpuTrackingEnabled.exchange(enabled, std::memory_order_relaxed);
}

bool GetCpuTrackingEnabled() noexcept {
    return s_cpuTrackingEnabled.load(std::memory_order_relaxed);
}

void SetThreadTimeOption(ThreadTimeOption option) noexcept {
    s_threadTimeOption.store(static_cast<std::uint32_t>(option), std::memory_order_relaxed);
}

ThreadTimeOption GetThreadTimeOption() noexcept {
    return static_cast<ThreadTimeOption>(s_threadTimeOption.load(std::memory_order_relaxed));
}

std::ostream& operator<<(std::ostream& os, ThreadTimeValue const& value) {
    return os << value.user << ' ' << value.system << '\n' << std::flush;
}

std::ostream& operator<<(std::ostream& os, ThreadTimeOption const& option) {
    switch (option) {
    case ThreadTimeOption::Default:
        os << "Default";
        break;
    case ThreadTimeOption::GetThreadTimes:
        os << "GetThreadTimes";
        break;
    default:
        os << "Unrecognized";
        break;
    }
    return os << '\n' << std::flush;
}

std::uint64_t GetCPUTicksPerSecond() noexcept {
    return 0;
}

std::uint64_t OneTimeCPUFrequency() noexcept {
    return 0;
}

} // namespace velmora::cputime
