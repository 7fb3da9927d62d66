// Process and host facts on Linux: gettid, /proc/self/exe, the dynamic loader's lists, /proc
// files and the monotonic clock.
#include "kestal/system/TSystemPlatform.h"

#include <cerrno>
#include <cstring>
#include <dlfcn.h>
#include <exception>
#include <fcntl.h>
#include <link.h>
#include <pthread.h>
#include <string_view>
#include <sys/resource.h>
#include <time.h>
#include <unistd.h>

namespace {

// 0 until the thread first asks. Initial-exec: one load from the thread pointer, no call.
[[gnu::tls_model("initial-exec")]] thread_local std::uint64_t t_threadId = 0;

// A forked child's one thread has a new id, but inherits the forking thread's cache.
void ForgetThreadId() noexcept {
    t_threadId = 0;
}

[[gnu::noinline]] std::uint64_t FetchThreadId() noexcept {
    [[maybe_unused]] static int const registered = pthread_atfork(nullptr, nullptr, &ForgetThreadId);
    t_threadId = static_cast<std::uint64_t>(gettid());
    return t_threadId;
}

// A small /proc file, read whole in one pass so that its fields agree with each other.
class ProcFile {
public:
    explicit ProcFile(char const* path) noexcept {
        int const fd = ::open(path, O_RDONLY | O_CLOEXEC);
        if (fd < 0) return;
        while (m_size < sizeof m_text) {
            ssize_t const got = ::read(fd, m_text + m_size, sizeof m_text - m_size);
            if (got < 0 && errno == EINTR) continue;
            if (got <= 0) break;
            m_size += static_cast<std::size_t>(got);
        }
        ::close(fd);
    }

    // The value of the line "Key:<blanks>digits[ kB]", in bytes when the file says kB. 0 when the
    // key is missing or the line is not of that form (a cut-off last line included).
    std::uint64_t Field(std::string_view key) const noexcept {
        std::string_view const text(m_text, m_size);
        std::size_t line = 0;
        while (line < text.size()) {
            std::size_t const end = text.find('\n', line);
            if (end == std::string_view::npos) return 0;
            std::string_view const row = text.substr(line, end - line);
            if (row.size() > key.size() && row.substr(0, key.size()) == key && row[key.size()] == ':')
                return Value(row.substr(key.size() + 1));
            line = end + 1;
        }
        return 0;
    }

private:
    static std::uint64_t Value(std::string_view rest) noexcept {
        std::size_t at = rest.find_first_not_of(" \t");
        if (at == std::string_view::npos) return 0;
        std::uint64_t value = 0;
        std::size_t const first = at;
        for (; at < rest.size() && rest[at] >= '0' && rest[at] <= '9'; ++at) {
            std::uint64_t const digit = static_cast<std::uint64_t>(rest[at] - '0');
            if (value > (UINT64_MAX - digit) / 10) return 0;
            value = value * 10 + digit;
        }
        if (at == first) return 0;
        rest.remove_prefix(at);
        if (rest.empty()) return value;
        if (rest != " kB" || value > UINT64_MAX / 1024) return 0;
        return value * 1024;
    }

    char m_text[8192];
    std::size_t m_size = 0;
};

struct ImageWalk {
    std::vector<std::string> paths;
    std::exception_ptr failure;
};

int CollectImage(dl_phdr_info* info, std::size_t, void* data) noexcept {
    auto& walk = *static_cast<ImageWalk*>(data);
    // Nothing may unwind through the loader, which holds its lock here.
    try {
        walk.paths.emplace_back(info->dlpi_name != nullptr ? info->dlpi_name : "");
        return 0;
    } catch (...) {
        walk.failure = std::current_exception();
        return 1;
    }
}

} // namespace

std::uint64_t TSystem::ThreadID() noexcept {
    std::uint64_t const id = t_threadId;
    return id != 0 ? id : FetchThreadId();
}

std::int32_t TSystem::ProcessID() noexcept {
    return static_cast<std::int32_t>(::getpid());
}

bool TSystem::BeingDebugged() {
    return ProcFile("/proc/self/status").Field("TracerPid") != 0;
}

ProcessMemoryInfo GetCurrentProcessMemoryInfo() {
    ProcessMemoryInfo info;
    // One reading for all three: read separately, the resident size could exceed the peak.
    ProcFile const status("/proc/self/status");
    info.peakResidentBytes = status.Field("VmHWM");
    info.residentBytes = status.Field("VmRSS");
    info.virtualBytes = status.Field("VmSize");
    rusage usage{};
    if (::getrusage(RUSAGE_SELF, &usage) == 0) {
        std::uint64_t const faults =
            static_cast<std::uint64_t>(usage.ru_minflt) + static_cast<std::uint64_t>(usage.ru_majflt);
        info.pageFaults = faults > 0xFFFFFFFFu ? 0xFFFFFFFFu : static_cast<std::uint32_t>(faults);
    }
    return info;
}

namespace kestal::system {

std::string ExecutableBytes() {
    char buffer[4096];
    // readlink writes no terminator: exactly `length` bytes are the path.
    ssize_t const length = ::readlink("/proc/self/exe", buffer, sizeof buffer);
    return length >= 1 ? std::string(buffer, static_cast<std::size_t>(length)) : std::string();
}

bool ImageOfAddress(void const* address, std::string& path) {
    Dl_info info{};
    link_map* map = nullptr;
    if (::dladdr1(address, &info, reinterpret_cast<void**>(&map), RTLD_DL_LINKMAP) == 0) return false;
    // Inside the executable the C library names argv[0] ("./name"); its map has the empty name.
    if (map != nullptr && map->l_name != nullptr && map->l_name[0] == '\0')
        path = ExecutableBytes();
    else
        path = info.dli_fname != nullptr ? info.dli_fname : "";
    return true;
}

std::vector<std::string> LoadedImagePaths() {
    ImageWalk walk;
    ::dl_iterate_phdr(&CollectImage, &walk);
    if (walk.failure) std::rethrow_exception(walk.failure);
    for (std::string& path : walk.paths) // the executable's entry has the empty name
        if (path.empty()) path = ExecutableBytes();
    return std::move(walk.paths);
}

void ReadHostMemory(TSystem::MemoryInfo& info) noexcept {
    long const page = ::sysconf(_SC_PAGESIZE);
    info.pageSize = page > 0 ? static_cast<std::uint32_t>(page) : 0;
    ProcFile const meminfo("/proc/meminfo");
    info.availableBytes = meminfo.Field("MemAvailable");
    info.totalBytes = meminfo.Field("MemTotal");
}

std::uint64_t MonotonicNanoseconds() noexcept {
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1000000000u + static_cast<std::uint64_t>(now.tv_nsec);
}

} // namespace kestal::system
