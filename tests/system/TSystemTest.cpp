// TSystem checked against what the kernel and the C library report: ids (across fork), the
// executable and modules, memory, the up-time clock, the tracer test and demangling.
#include <atomic>
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
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

TStringCore Text(TPathCore const& path) {
    return path.NativeString();
}

// Runs `threads` threads of `body` and joins them.
template <class F>
void OnThreads(int threads, F body) {
    std::vector<std::thread> all;
    for (int t = 0; t < threads; ++t)
        all.emplace_back(body);
    for (std::thread& t : all)
        t.join();
}

} // namespace

TEST(TSystem, ThreadIdIsTheKernelsOnEveryThreadAndInAForkedChild) {
    EXPECT_EQ(TSystem::ProcessID(), getpid());
    EXPECT_EQ(TSystem::ThreadID(), static_cast<std::uint64_t>(getpid())); // now cached here
    std::atomic<int> wrong{0};
    OnThreads(4, [&] {
        for (int i = 0; i < 2; ++i) // uncached, then cached
            wrong += TSystem::ThreadID() != static_cast<std::uint64_t>(syscall(SYS_gettid));
    });
    EXPECT_EQ(wrong.load(), 0);
    // The child's one thread inherits this thread's cached id; its own is the child's pid.
    pid_t const child = fork();
    if (child == 0) _exit(TSystem::ThreadID() == static_cast<std::uint64_t>(getpid()) ? 0 : 1);
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

TEST(TSystem, ExecutableAndModulesAreNamedByFullPath) {
    char bytes[4096];
    ssize_t const length = readlink("/proc/self/exe", bytes, sizeof bytes);
    TPathCore const exe = TSystem::ExecutableFilename();
    EXPECT_EQ(Text(exe), TStringCore::fromUtf8(bytes, static_cast<int>(length)));
    EXPECT_EQ(Text(TSystem::ExecutablePath()), Text(exe.Parent()));
    // Inside the executable the C library names argv[0]; the full path is wanted.
    EXPECT_EQ(Text(TSystem::ModuleFilename(reinterpret_cast<void const*>(&Text))), Text(exe));
    EXPECT_EQ(Text(TSystem::ModuleFilename(nullptr)), Text(exe));
    EXPECT_TRUE(TSystem::ModuleFilename(&length).IsEmpty()); // a stack address
    TPathCore const lib = TSystem::ModuleFilename(reinterpret_cast<void const*>(&TSystem::Sleep));
#ifndef KESTAL_STATIC
    EXPECT_TRUE(lib.IsAbsolute() && Text(lib.Filename()).startsWith(u"libkestal.so")) << Text(lib);
#endif

    // By file name, case ignored; the executable is in the list too.
    EXPECT_EQ(Text(TSystem::ModulePath(lib.Filename())), Text(lib));
    EXPECT_EQ(Text(TSystem::ModulePath(exe.Filename())), Text(exe));
    TPathCore const libc = TSystem::ModulePath(u"LIBC.so.6");
    EXPECT_TRUE(libc.IsAbsolute() && Text(libc.Filename()) == u"libc.so.6") << Text(libc);
    for (char16_t const* none : {u"", u"/", u"libnothing-here.so.1"})
        EXPECT_TRUE(TSystem::ModulePath(none).IsEmpty()) << TStringCore(none);
    // The list is asked afresh: a module loaded after a first call is found.
    if (dlopen("libutil.so.1", RTLD_NOW | RTLD_NOLOAD) == nullptr) {
        EXPECT_TRUE(TSystem::ModulePath(u"libutil.so.1").IsEmpty());
    }
    void* const util = dlopen("libutil.so.1", RTLD_NOW);
    ASSERT_NE(util, nullptr) << dlerror();
    EXPECT_EQ(Text(TSystem::ModulePath(u"libutil.so.1").Filename()), u"libutil.so.1");
    dlclose(util);
}

TEST(TSystem, MemoryIsInBytesAndAddsUp) {
    TSystem::MemoryInfo const m = TSystem::Memory();
    auto const page = static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
    EXPECT_EQ(m.pageSize, page);
    ASSERT_GT(m.totalBytes, 0u);
    EXPECT_LE(m.availableBytes, m.totalBytes);
    EXPECT_EQ(m.usedBytes + m.availableBytes, m.totalBytes);
    EXPECT_EQ(m.load, m.usedBytes * 100 / m.totalBytes);
    // The file counts kB: in bytes the total is near what the C library reports.
    std::uint64_t const physical = static_cast<std::uint64_t>(sysconf(_SC_PHYS_PAGES)) * page;
    EXPECT_TRUE(m.totalBytes <= physical && m.totalBytes > physical / 2) << m.totalBytes;

    ProcessMemoryInfo const before = GetCurrentProcessMemoryInfo();
    EXPECT_TRUE(0 < before.residentBytes && before.residentBytes <= before.peakResidentBytes &&
                before.peakResidentBytes <= before.virtualBytes);
    EXPECT_EQ(std::count(std::begin(before.reserved), std::end(before.reserved), 0u), 6);
    std::size_t const size = 64u << 20;
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

TEST(TSystem, UpTimeFollowsTheClockNeverFallsAndClampsAtTheLimit) {
    std::atomic<std::uint32_t> published{TSystem::AppUpTime()};
    std::atomic<int> falls{0};
    OnThreads(4, [&] {
        for (int i = 0; i < 20000; ++i) {
            std::uint32_t const seen = published.load(std::memory_order_acquire);
            std::uint32_t const now = TSystem::AppUpTime();
            falls += now < seen;
            published.store(now, std::memory_order_release);
        }
    });
    EXPECT_EQ(falls.load(), 0);
    std::uint32_t const up = TSystem::AppUpTime();
    auto const from = std::chrono::steady_clock::now();
    TSystem::Sleep(25);
    auto const slept =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - from);
    EXPECT_GE(slept.count(), 25);
    EXPECT_GE(TSystem::AppUpTime() - up, slept.count());

    constexpr std::uint64_t limit = 0xFFFFFFFFull * 1000000u; // in nanoseconds
    std::pair<std::uint64_t, std::uint32_t> const cases[] = {
        {999999, 0},
        {1000000, 1},
        {limit - 1, 0xFFFFFFFEu},
        {limit, 0xFFFFFFFFu},
        {limit + 1000000, 0xFFFFFFFFu}, // 2^32 ms: a plain conversion gives 0
        {UINT64_MAX, 0xFFFFFFFFu}};
    for (auto const& [ns, ms] : cases)
        EXPECT_EQ(kestal::detail::UpTimeMilliseconds(ns), ms) << ns;
}

TEST(TSystem, DesktopMainThreadFuncIsSwappedAndAsked) {
    EXPECT_FALSE(TSystem::IsDesktopMainThread());
    EXPECT_FALSE(TSystem::SetDesktopMainThreadFunc([] { return true; }));
    EXPECT_TRUE(TSystem::IsDesktopMainThread());
    std::function<bool()> const old = TSystem::SetDesktopMainThreadFunc(nullptr);
    EXPECT_TRUE(old && old());
    EXPECT_FALSE(TSystem::IsDesktopMainThread());
}

TEST(TSystem, BeingDebuggedWhileAChildTracesUs) {
    EXPECT_FALSE(TSystem::BeingDebugged());
    int toChild[2], toParent[2];
    ASSERT_TRUE(pipe2(toChild, O_CLOEXEC) == 0 && pipe2(toParent, O_CLOEXEC) == 0);
    pid_t const parent = getpid(), child = fork();
    if (child == 0) { // async-signal-safe calls only
        char go = 0;
        int const error =
            read(toChild[0], &go, 1) == 1 && ptrace(PTRACE_SEIZE, parent, nullptr, nullptr) == 0 ? 0 : errno;
        pollfd done{toChild[0], POLLIN, 0};
        if (write(toParent[1], &error, sizeof error) == sizeof error) poll(&done, 1, 10000); // bounded
        _exit(0); // a tracer's exit detaches it
    }
    prctl(PR_SET_PTRACER, child); // where a security module lets only allowed processes trace
    int error = -1;
    bool const heard =
        write(toChild[1], "g", 1) == 1 && read(toParent[0], &error, sizeof error) == sizeof error;
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
        {"hello world", u"hello world"},
        {"ab\xFF", u"ab\uFFFD"},
        {nullptr, u""}};
    for (auto const& [name, expected] : cases)
        EXPECT_EQ(TSystem::unmangleClassName(name), TStringCore(expected)) << (name ? name : "null");
}
