// Call stacks: frame order and the 200-frame cut on a binary that exports its symbols, capture
// replacement, line cleaning in both line forms, the error-callstack hook, a capture race, and
// TrackThrownExceptions around unwinding.
#include <atomic>
#include <gtest/gtest.h>
#include <kestal/TStackWalker.h>
#include <kestal/detail/CallstackLine.h>
#include <kestal/detail/ErrorCallstackHook.h>
#include <regex>
#include <thread>
#include <vector>

// Out of any unnamed namespace and never inlined, so that each keeps a frame with an exported name.
__attribute__((noinline)) int walkerInner(TStackWalker& walker) {
    const bool captured = walker.GenerateCallstack();
    asm volatile("" ::: "memory"); // no tail call: this frame must stay on the stack
    return captured ? 1 : 0;
}
__attribute__((noinline)) int walkerOuter(TStackWalker& walker) {
    const int result = walkerInner(walker);
    asm volatile("" ::: "memory");
    return result;
}
__attribute__((noinline)) int walkerDeep(TStackWalker& walker, int depth) {
    const int result = depth == 0 ? walker.GenerateCallstack() : walkerDeep(walker, depth - 1);
    asm volatile("" ::: "memory");
    return result;
}

namespace {

// Capture on, addresses raw, for one test; off again afterwards whatever happens.
struct StackWalkerTest : ::testing::Test {
    void SetUp() override { TStackWalker::InitSym(true); }
    void TearDown() override {
        TStackWalker::InitSym(false);
        TStackWalker::IncludeSystemMemoryAddresses(true);
    }
};

std::ptrdiff_t lineOf(std::list<std::string> const& lines, char const* symbol) {
    for (auto it = lines.begin(); it != lines.end(); ++it)
        if (it->find(symbol) != std::string::npos) return std::distance(lines.begin(), it);
    return -1;
}

} // namespace

TEST_F(StackWalkerTest, InnermostFirstWithRawNamesAndAtMostTwoHundredLines) {
    TStackWalker walker;
    ASSERT_EQ(walkerOuter(walker), 1);
    auto const& lines = walker.GetCollected();
    const auto inner = lineOf(lines, "_Z11walkerInnerR12TStackWalker");
    EXPECT_GE(inner, 1); // the walker's own frame comes first
    EXPECT_EQ(lineOf(lines, "_Z11walkerOuterR12TStackWalker"), inner + 1);

    ASSERT_EQ(walkerDeep(walker, 300), 1); // replaces the earlier lines
    EXPECT_EQ(lines.size(), 200u);
    EXPECT_EQ(lineOf(lines, "walkerOuter"), -1);

    EXPECT_TRUE(TStackWalker::InitSym(false));
    EXPECT_FALSE(walkerOuter(walker)); // inactive: the lines stay
    EXPECT_EQ(lines.size(), 200u);
    EXPECT_FALSE(TStackWalker().GenerateCallstackImpl(TStackWalker::GetStackWalkerConfig()).empty());
}

TEST_F(StackWalkerTest, CleaningDropsLongAddressesAndOffsetsOnly) {
    using kestal::detail::CleanCallstackLine;
    EXPECT_EQ(CleanCallstackLine("3   libapp.dylib   0x00000001000a1b2c _ZN3app3runEv + 44"),
              "3   libapp.dylib    _ZN3app3runEv");
    const std::string glibc = "./app(_ZN3app3runEv+0x1f) [0x55d0c0a1b2c3]";
    EXPECT_EQ(CleanCallstackLine(glibc), glibc);

    TStackWalker raw, cleaned;
    walkerOuter(raw);
    TStackWalker::IncludeSystemMemoryAddresses(false);
    walkerOuter(cleaned);
    ASSERT_EQ(raw.GetCollected().size(), cleaned.GetCollected().size());
    const std::regex longAddress("0x[0-9a-fA-F]{16}");
    for (auto const& line : cleaned.GetCollected())
        EXPECT_FALSE(std::regex_search(line, longAddress)) << line;
}

TEST(ErrorCallstackHook, InstallReplaceAndClear) {
    EXPECT_FALSE(kestal::detail::CopyErrorCallstackHook());
    InjectGenerateErrorCallstackHook(
        [](unsigned code) { return std::list<std::string>{std::to_string(code)}; });
    EXPECT_EQ(kestal::detail::CopyErrorCallstackHook()(7u), std::list<std::string>{"7"});
    InjectGenerateErrorCallstackHook([](unsigned) { return std::list<std::string>{"two", "lines"}; });
    EXPECT_EQ(kestal::detail::CopyErrorCallstackHook()(7u).size(), 2u);
    InjectGenerateErrorCallstackHook(nullptr);
    EXPECT_FALSE(kestal::detail::CopyErrorCallstackHook());
}

// Captures, switch flips and hook copies from eight threads at once; the hook is installed first.
TEST_F(StackWalkerTest, EightThreadsCaptureToggleAndCopyTheHook) {
    InjectGenerateErrorCallstackHook([](unsigned) { return std::list<std::string>{"hook"}; });
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t)
        threads.emplace_back([t, &failures] {
            TStackWalker walker;
            for (int i = 0; i < 40; ++i) {
                if (t % 2) TStackWalker::IncludeSystemMemoryAddresses(i % 2 == 0);
                if (t == 0) TStackWalker::IncludeThreadInfo(i % 2 == 0);
                if (walkerOuter(walker) != 1 || kestal::detail::CopyErrorCallstackHook()(1u).size() != 1)
                    ++failures;
            }
        });
    for (auto& thread : threads)
        thread.join();
    InjectGenerateErrorCallstackHook(nullptr);
    EXPECT_EQ(failures.load(), 0);
}

namespace {

struct Probe {
    TrackThrownExceptions tracker;
    bool* seen;
    ~Probe() { *seen = tracker.ExceptionWasThrownSinceConstruction(); }
};

struct Watcher {
    TrackThrownExceptions tracker;
    bool* seen;
    TrackThrownExceptions* copy;
    ~Watcher() {
        *seen = tracker.ExceptionWasThrownSinceConstruction();
        Probe probe{TrackThrownExceptions(), seen + 1}; // built and ended during unwinding
        *copy = TrackThrownExceptions();
    }
};

} // namespace

TEST(TrackThrownExceptions, SeesOnlyExceptionsBegunSinceConstruction) {
    EXPECT_FALSE(TrackThrownExceptions().ExceptionWasThrownSinceConstruction());
    bool seen[2] = {false, true};
    TrackThrownExceptions madeDuringUnwinding;
    try {
        Watcher watcher{TrackThrownExceptions(), seen, &madeDuringUnwinding};
        throw 1;
    } catch (int) {
    }
    EXPECT_TRUE(seen[0]);
    EXPECT_FALSE(seen[1]);
    EXPECT_TRUE(madeDuringUnwinding.ExceptionWasThrownSinceConstruction()); // the count fell since
}
