// Call stacks on a binary that exports its symbols: frame order, the 200-frame cut, replacement,
// line cleaning, a capture and hook race, and TrackThrownExceptions.
#include <gtest/gtest.h>
#include <kestal/TStackWalker.h>
#include <kestal/detail/CallstackLine.h>
#include <kestal/detail/ErrorCallstackHook.h>
#include <regex>
#include <thread>
#include <vector>

// Exported and never inlined, so each keeps a named frame; the empty asm forbids a tail call.
__attribute__((noinline)) int walkerDeep(TStackWalker& walker, int depth) {
    const int result = depth == 0 ? walker.GenerateCallstack() : walkerDeep(walker, depth - 1);
    asm volatile("" ::: "memory");
    return result;
}
__attribute__((noinline)) int walkerOuter(TStackWalker& walker) {
    const int result = walkerDeep(walker, 0);
    asm volatile("" ::: "memory");
    return result;
}

namespace {

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

TEST_F(StackWalkerTest, InnermostFirstRawNamesAtMostTwoHundredLines) {
    TStackWalker walker;
    ASSERT_EQ(walkerOuter(walker), 1);
    auto const& lines = walker.GetCollected();
    const auto inner = lineOf(lines, "(_Z10walkerDeepR12TStackWalkeri+");
    EXPECT_GE(inner, 1); // below the walker's own frames
    EXPECT_EQ(lineOf(lines, "(_Z11walkerOuterR12TStackWalker+"), inner + 1);

    ASSERT_EQ(walkerDeep(walker, 300), 1); // replaces the earlier lines
    EXPECT_TRUE(lines.size() == 200 && lineOf(lines, "walkerOuter") == -1);
    EXPECT_TRUE(TStackWalker::InitSym(false));
    EXPECT_FALSE(walkerOuter(walker)); // inactive: the lines stay
    EXPECT_EQ(lines.size(), 200u);
}

TEST_F(StackWalkerTest, CleaningDropsLongAddressesAndOffsetsOnly) {
    using kestal::detail::CleanCallstackLine;
    EXPECT_EQ(CleanCallstackLine("3   libapp.dylib   0x00000001000a1b2c _ZN3app3runEv + 44"),
              "3   libapp.dylib    _ZN3app3runEv");
    const std::string glibc = "./app(_ZN3app3runEv+0x1f) [0x55d0c0a1b2c3]";
    EXPECT_EQ(CleanCallstackLine(glibc), glibc);
    TStackWalker::IncludeSystemMemoryAddresses(false);
    TStackWalker cleaned;
    ASSERT_EQ(walkerOuter(cleaned), 1);
    for (auto const& line : cleaned.GetCollected())
        EXPECT_FALSE(std::regex_search(line, std::regex("0x[0-9a-fA-F]{16}"))) << line;
}

// Captures, switch flips and hook copies from eight threads; the hook is installed before them
// and cleared after.
TEST_F(StackWalkerTest, EightThreadsCaptureToggleAndCopyTheHook) {
    EXPECT_FALSE(kestal::detail::CopyErrorCallstackHook());
    InjectGenerateErrorCallstackHook([](unsigned) { return std::list<std::string>{"hook"}; });
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t)
        threads.emplace_back([t, &failures] {
            TStackWalker walker;
            for (int i = 0; i < 50; ++i) {
                if (t % 2) { // brief flips: most captures stay raw, the cheap mode
                    TStackWalker::IncludeSystemMemoryAddresses(false);
                    TStackWalker::IncludeSystemMemoryAddresses(true);
                }
                if (t == 0) TStackWalker::IncludeThreadInfo(i % 2 == 0);
                failures +=
                    walkerOuter(walker) != 1 || kestal::detail::CopyErrorCallstackHook()(1u).size() != 1;
            }
        });
    for (auto& thread : threads)
        thread.join();
    InjectGenerateErrorCallstackHook(nullptr);
    EXPECT_EQ(failures.load(), 0);
    EXPECT_FALSE(kestal::detail::CopyErrorCallstackHook());
}

namespace {

// In its destructor: the tracker from before the throw, one built during unwinding, and a copy of
// that one handed out to be asked after the catch.
struct Unwinding {
    TrackThrownExceptions before;
    bool* seen;
    TrackThrownExceptions* handedOut;
    ~Unwinding() {
        const TrackThrownExceptions during;
        seen[0] = before.ExceptionWasThrownSinceConstruction();
        seen[1] = during.ExceptionWasThrownSinceConstruction();
        *handedOut = during;
    }
};

} // namespace

TEST(TrackThrownExceptions, SeesOnlyExceptionsBegunSinceConstruction) {
    EXPECT_FALSE(TrackThrownExceptions().ExceptionWasThrownSinceConstruction());
    bool seen[2] = {false, true};
    TrackThrownExceptions copy;
    try {
        Unwinding unwinding{TrackThrownExceptions(), seen, &copy};
        throw 1;
    } catch (int) {
    }
    EXPECT_TRUE(seen[0] && !seen[1]);
    EXPECT_TRUE(copy.ExceptionWasThrownSinceConstruction()); // the count fell since
}
