// The static repository: build once, destruction order, failed builds, races and process exit.
#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>
#include <kestal/InitOnce.h>
#include <latch>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

std::vector<std::string> g_destroyed;

struct Named {
    std::string name;
    bool announce = false; // to stderr, for a child process
    ~Named() {
        announce ? void(std::fprintf(stderr, "destroyed %s\n", name.c_str())) : g_destroyed.push_back(name);
    }
};

// What a slot's factory does: build `name`, after building `nested` first if set, or throw.
struct Recipe {
    std::string name;
    void** nested = nullptr;
    Recipe* nestedRecipe = nullptr;
    int failures = 0;
    int calls = 0;
    bool announce = false;
};

void* extract(boost::any* object) {
    return boost::any_cast<std::shared_ptr<Named>>(object)->get();
}

boost::any* build(void* context) {
    Recipe& recipe = *static_cast<Recipe*>(context);
    ++recipe.calls;
    if (recipe.failures && recipe.failures--) throw std::runtime_error("factory failed");
    if (recipe.nested) InitOnce(recipe.nested, build, recipe.nestedRecipe, extract);
    return new boost::any(std::make_shared<Named>(recipe.name, recipe.announce));
}

void* load(void*& slot) {
    return std::atomic_ref<void*>(slot).load(std::memory_order_acquire);
}

TEST(StaticRepository, DestroysNewestStartedFirstAndBuildsNothingOnceClosed) {
    DeinitializeStaticRepository(); // objects of earlier tests
    DeinitializeStaticRepository(); // nothing left to do
    InitializeStaticRepository();
    g_destroyed.clear();
    void *a = nullptr, *b = nullptr, *c = nullptr, *outer = nullptr, *inner = nullptr, *retried = nullptr;
    Recipe ra{"a"}, rb{"b"}, rc{"c"}, rInner{"inner"}, rOuter{"outer", &inner, &rInner}, rRetried{"retried"};
    rRetried.failures = 1;
    for (auto [slot, recipe] : {std::pair{&a, &ra}, {&b, &rb}, {&c, &rc}, {&a, &ra}, {&outer, &rOuter}})
        InitOnce(slot, build, recipe, extract);
    EXPECT_THROW(InitOnce(&retried, build, &rRetried, extract), std::runtime_error);
    EXPECT_THROW(InitOnce(&retried, nullptr, &rRetried, extract), std::bad_function_call);
    EXPECT_EQ(retried, nullptr);
    InitOnce(&retried, build, &rRetried, extract); // ordered three times, built once
    InitOnce(nullptr, build, &ra, extract);
    void* filled = &ra;
    InitOnce(&filled, build, &ra, extract);
    EXPECT_EQ(filled, &ra);
    EXPECT_EQ(static_cast<Named*>(a)->name, "a");
    EXPECT_EQ(static_cast<Named*>(inner)->name, "inner");
    EXPECT_EQ(ra.calls + rRetried.calls + rInner.calls, 4);

    DeinitializeStaticRepository();
    EXPECT_EQ(g_destroyed, (std::vector<std::string>{"retried", "inner", "outer", "c", "b", "a"}));
    for (void* slot : {a, b, c, outer, inner, retried})
        EXPECT_EQ(slot, nullptr);
    InitOnce(&a, build, &ra, extract);
    EXPECT_EQ(a, nullptr);
    InitializeStaticRepository(); // reopened, and left open for the tests after this one
    InitOnce(&a, build, &ra, extract);
    EXPECT_NE(a, nullptr);
    EXPECT_EQ(ra.calls, 2);
}

TEST(StaticRepository, EightThreadsOnFreshSlotsBuildEachOnceAndOneAtATime) {
    constexpr int kThreads = 8, kSlots = 200;
    static std::array<void*, kSlots> slots{};
    static std::array<std::atomic<int>, kSlots> calls{};
    static std::atomic<int> running{0}, overlaps{0};
    struct Racing {
        static boost::any* build(void* context) {
            overlaps += running++ != 0;
            std::this_thread::yield(); // a window for a second factory, were the lock dropped
            ++calls[static_cast<std::size_t>(reinterpret_cast<std::intptr_t>(context))];
            --running;
            return new boost::any(std::make_shared<int>(7));
        }
        static void* extract(boost::any* object) {
            return boost::any_cast<std::shared_ptr<int>>(object)->get();
        }
    };
    std::array<std::array<void*, kSlots>, kThreads> seen{};
    std::latch start(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            start.arrive_and_wait();
            for (int k = 0; k < kSlots; ++k) {
                const int i = (k + t * 25) % kSlots; // threads meet on every slot from different sides
                InitOnce(&slots[i], Racing::build, reinterpret_cast<void*>(std::intptr_t{i}),
                         Racing::extract);
                seen[t][i] = load(slots[i]);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(overlaps, 0);
    for (int i = 0; i < kSlots; ++i) {
        EXPECT_EQ(calls[i], 1) << i;
        for (auto const& mine : seen)
            ASSERT_EQ(mine[i], seen[0][i]) << i;
        EXPECT_NE(seen[0][i], nullptr);
    }
}

TEST(StaticRepositoryDeathTest, DeinitialisesFromAnAtexitHandlerOfAProcessExitingCleanly) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            static void* slot = nullptr;
            static Recipe recipe{"at exit"};
            recipe.announce = true;
            std::atexit([] { DeinitializeStaticRepository(); });
            InitOnce(&slot, build, &recipe, extract);
            std::exit(slot ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "destroyed at exit");
}

} // namespace
