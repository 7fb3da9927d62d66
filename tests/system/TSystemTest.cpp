// TSystem checked against what the kernel and the C library report: ids (across fork), the
// executable and modules, memory, the up-time clock, the tracer test and demangling.
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <kestal/TSystem.h>
#include <kestal/detail/TSystemTesting.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

TStringCore Text(TPathCore const& path) {
    return path.NativeString();
}

void const* AddressOf(void (*function)(unsigned int)) {
    return reinterpret_cast<void const*>(function);
}

} // namespace

TEST(TSystem, ThreadIdIsTheKernelsOnEveryThreadAndInAForkedChild) {
    EXPECT_EQ(TSystem::ProcessID(), getpid());
    EXPECT_EQ(TSystem::ThreadID(), static_cast<std::uint64_t>(getpid())); // now cached here
    std::vector<std::uint64_t> ids(4);
    std::vector<std::thread> threads;
    for (std::uint64_t& id : ids)
        threads.emplace_back([&id] {
            std::uint64_t const first = TSystem::ThreadID();
            id = first == TSystem::ThreadID() && first == static_cast<std::uint64_t>(syscall(SYS_gettid))
                     ? first
                     : 0;
        });
    for (std::thread& t : threads)
        t.join();
    std::sort(ids.begin(), ids.end());
    EXPECT_NE(ids.front(), 0u);
    EXPECT_EQ(std::adjacent_find(ids.begin(), ids.end()), ids.end());

    // The child's one thread inherits this thread's cached id, but its own id is the child's pid.
    pid_t const child = fork();
    if (child == 0) _exit(TSystem::ThreadID() == static_cast<std::uint64_t>(getpid()) ? 0 : 1);
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

TEST(TSystem, ExecutableAndModulesAreNamedByFullPath) {
    char bytes[4096];
    ssize_t const length = readlink("/proc/self/exe", bytes, sizeof bytes);
    ASSERT_GT(length, 0);
    TPathCore const exe = TSystem::ExecutableFilename();
    EXPECT_EQ(Text(exe), TStringCore::fromUtf8(bytes, static_cast<int>(length)));
    EXPECT_EQ(Text(TSystem::ExecutablePath()), Text(exe.Parent()));
    // Inside the executable the C library names argv[0]; the full path is wanted.
    EXPECT_EQ(Text(TSystem::ModuleFilename(reinterpret_cast<void const*>(&Text))), Text(exe));
    EXPECT_EQ(Text(TSystem::ModuleFilename(nullptr)), Text(exe));
    int onStack = 0;
    EXPECT_TRUE(TSystem::ModuleFilename(&onStack).IsEmpty());

    TPathCore const lib = TSystem::ModuleFilename(AddressOf(&TSystem::Sleep));
    EXPECT_TRUE(lib.IsAbsolute());
#ifndef KESTAL_STATIC
    EXPECT_TRUE(Text(lib.Filename()).startsWith(u"libkestal.so")) << lib.NativeString();
#endif
    EXPECT_EQ(Text(TSystem::ModuleDirectory(AddressOf(&TSystem::Sleep))), Text(lib.Parent()));

    // By file name only, case ignored; the executable is found too.
    EXPECT_EQ(Text(TSystem::ModulePath(TPathCore(u"/elsewhere") / lib.Filename())), Text(lib));
    EXPECT_EQ(Text(TSystem::ModulePath(exe.Filename())), Text(exe));
    TPathCore const libc = TSystem::ModulePath(u"LIBC.so.6");
    EXPECT_TRUE(libc.IsAbsolute());
    EXPECT_EQ(Text(libc.Filename()), u"libc.so.6");
    for (char16_t const* none : {u"", u"/", u"libnothing-here.so.1"})
        EXPECT_TRUE(TSystem::ModulePath(none).IsEmpty()) << TStringCore(none);

    // The list is asked afresh: a module loaded after a first call is found.
    if (dlopen("libutil.so.1", RTLD_NOW | RTLD_NOLOAD) == nullptr) {
        EXPECT_TRUE(TSystem::ModulePath(u"libutil.so.1").IsEmpty());
    }
    void* const util = dlopen("libutil.so.1", RTLD_NOW);
    ASSERT_NE(util, nullptr) << dlerror();
    TPathCore const utilPath = TSystem::ModulePath(u"libutil.so.1");
    EXPECT_TRUE(utilPath.IsAbsolute());
    EXPECT_EQ(Text(utilPath.Filename()), u"libutil.so.1");
    dlclose(util);
}

TEST(TSystem, HostMemoryAddsUpInBytes) {
    TSystem::MemoryInfo const m = TSystem::Memory();
    auto const page = static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
    EXPECT_EQ(m.pageSize, page);
    EXPECT_EQ(m.pageSize & (m.pageSize - 1), 0u);
    ASSERT_GT(m.totalBytes, 0u);
    EXPECT_LE(m.availableBytes, m.totalBytes);
    EXPECT_EQ(m.usedBytes + m.availableBytes, m.totalBytes);
    EXPECT_EQ(m.load, m.usedBytes * 100 / m.totalBytes);
    // The file counts kB: in bytes the total is near what the C library reports.
    std::uint64_t const physical = static_cast<std::uint64_t>(sysconf(_SC_PHYS_PAGES)) * page;
    EXPECT_LE(m.totalBytes, physical);
    EXPECT_GT(m.totalBytes, physical / 2);
}

TEST(GetCurrentProcessMemoryInfo, FollowsPagesTouched) {
    ProcessMemoryInfo const before = GetCurrentProcessMemoryInfo();
    EXPECT_GT(before.residentBytes, 0u);
    EXPECT_LE(before.residentBytes, before.peakResidentBytes);
    EXPECT_LE(before.peakResidentBytes, before.virtualBytes);
    EXPECT_TRUE(
        std::all_of(std::begin(before.reserved), std::end(before.reserved), [](auto w) { return w == 0; }));

    std::size_t const size = 64u << 20, page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    void* const block = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(block, MAP_FAILED);
    for (std::size_t at = 0; at < size; at += page)
        static_cast<char volatile*>(block)[at] = 1;
    ProcessMemoryInfo const after = GetCurrentProcessMemoryInfo();
    munmap(block, size);
    EXPECT_GT(after.pageFaults, before.pageFaults);
    EXPECT_GE(after.residentBytes, before.residentBytes + (60u << 20));
    EXPECT_GE(after.peakResidentBytes, after.residentBytes);
}

TEST(TSystem, UpTimeIsClampedNotWrapped) {
    constexpr std::uint64_t limitNs = 0xFFFFFFFFull * 1000000u;
    std::pair<std::uint64_t, std::uint32_t> const cases[] = {
        {0, 0},
        {999999, 0},
        {1000000, 1},
        {limitNs - 1, 0xFFFFFFFEu},
        {limitNs, 0xFFFFFFFFu},
        {limitNs + 1000000, 0xFFFFFFFFu}, // 2^32 ms: a plain conversion gives 0
        {UINT64_MAX, 0xFFFFFFFFu}};
    for (auto const& [ns, ms] : cases)
        EXPECT_EQ(kestal::detail::UpTimeMilliseconds(ns), ms) << ns;
}

TEST(TSystem, UpTimeFollowsTheClockAndNeverFallsAcrossThreads) {
    std::atomic<std::uint32_t> published{TSystem::AppUpTime()};
    std::atomic<int> falls{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 20000; ++i) {
                std::uint32_t const seen = published.load(std::memory_order_acquire);
                std::uint32_t const now = TSystem::AppUpTime();
                if (now < seen) falls.fetch_add(1);
                published.store(now, std::memory_order_release);
            }
        });
    for (std::thread& t : threads)
        t.join();
    EXPECT_EQ(falls.load(), 0);

    // Sleep(0) neither sleeps nor yields; a real sleep shows in the up time.
    rusage start{}, end{};
    getrusage(RUSAGE_THREAD, &start);
    for (int i = 0; i < 1000; ++i)
        TSystem::Sleep(0);
    getrusage(RUSAGE_THREAD, &end);
    EXPECT_EQ(end.ru_nvcsw, start.ru_nvcsw);
    std::uint32_t const up = TSystem::AppUpTime();
    auto const from = std::chrono::steady_clock::now();
    TSystem::Sleep(25);
    auto const slept =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - from);
    EXPECT_GE(slept.count(), 25);
    EXPECT_GE(TSystem::AppUpTime() - up, slept.count());
}

TEST(TSystem, DesktopMainThreadFuncIsSwappedAndAsked) {
    EXPECT_FALSE(TSystem::IsDesktopMainThread());
    std::thread::id const main = std::this_thread::get_id();
    EXPECT_FALSE(TSystem::SetDesktopMainThreadFunc([main] { return std::this_thread::get_id() == main; }));
    EXPECT_TRUE(TSystem::IsDesktopMainThread());
    bool elsewhere = true;
    std::thread([&] { elsewhere = TSystem::IsDesktopMainThread(); }).join();
    EXPECT_FALSE(elsewhere);
    std::function<bool()> const old = TSystem::SetDesktopMainThreadFunc(nullptr);
    ASSERT_TRUE(old);
    EXPECT_TRUE(old());
    EXPECT_FALSE(TSystem::IsDesktopMainThread());
}

TEST(TSystem, BeingDebuggedWhileAChildTracesUs) {
    EXPECT_FALSE(TSystem::BeingDebugged());
    int toChild[2], toParent[2];
    ASSERT_EQ(pipe2(toChild, O_CLOEXEC), 0);
    ASSERT_EQ(pipe2(toParent, O_CLOEXEC), 0);
    pid_t const parent = getpid();
    pid_t const child = fork();
    if (child == 0) { // only async-signal-safe calls here
        char go = 0;
        if (read(toChild[0], &go, 1) != 1) _exit(1);
        int const error = ptrace(PTRACE_SEIZE, parent, nullptr, nullptr) == 0 ? 0 : errno;
        if (write(toParent[1], &error, sizeof error) != sizeof error) _exit(1);
        pollfd done{toChild[0], POLLIN, 0};
        poll(&done, 1, 10000); // until the parent has looked, bounded; exiting detaches
        _exit(0);
    }
    ASSERT_GT(child, 0);
    prctl(PR_SET_PTRACER, child); // where a security module limits tracing to allowed processes
    int error = -1;
    bool const sent = write(toChild[1], "g", 1) == 1;
    bool const heard = sent && read(toParent[0], &error, sizeof error) == sizeof error;
    bool const traced = TSystem::BeingDebugged();
    EXPECT_EQ(write(toChild[1], "d", 1), 1);
    EXPECT_EQ(waitpid(child, nullptr, 0), child);
    prctl(PR_SET_PTRACER, 0);
    for (int fd : {toChild[0], toChild[1], toParent[0], toParent[1]})
        close(fd);
    ASSERT_TRUE(heard);
    if (error != 0) GTEST_SKIP() << "ptrace refused: " << std::strerror(error);
    EXPECT_TRUE(traced);
    EXPECT_FALSE(TSystem::BeingDebugged());
}

TEST(TSystem, UnmangleClassNamePrefixesWhateverDemangles) {
    std::pair<char const*, char16_t const*> const cases[] = {
        {"i", u"class int"},
        {"_Z3foov", u"class foo()"},
        {"St6vectorIiSaIiEE", u"class std::vector<int, std::allocator<int> >"},
        {"_Z5caf\xC3\xA9v", u"class caf\u00E9()"}, // UTF-8 identifiers stay UTF-8
        {"_Z2\xFF\xFFv", u"class \uFFFD\uFFFD()"},
        {"hello world", u"hello world"},
        {"class int", u"class int"},
        {"ab\xFF", u"ab\uFFFD"},
        {"", u""},
        {nullptr, u""}};
    for (auto const& [name, expected] : cases)
        EXPECT_EQ(TSystem::unmangleClassName(name), TStringCore(expected)) << (name ? name : "null");
}
