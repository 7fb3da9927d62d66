// ResourceReporter and ResourceUpdater: abstract, and destroyed correctly through either interface.
#include <gtest/gtest.h>
#include <kestal/ResourceReporter.h>
#include <memory>
#include <type_traits>

static_assert(std::is_abstract_v<ResourceReporter> && std::has_virtual_destructor_v<ResourceReporter>);
static_assert(std::is_abstract_v<ResourceUpdater> && std::has_virtual_destructor_v<ResourceUpdater>);

TEST(ResourceReporter, DerivedObjectsDispatchAndDestroyThroughTheInterfaces) {
    static int calls = 0;
    struct Both : ResourceReporter, ResourceUpdater {
        ~Both() override { calls += 100; }
        void ReportResources() override { ++calls; }
        void UpdateResources() override { calls += 10; }
    };
    std::unique_ptr<ResourceReporter>(new Both)->ReportResources();
    std::unique_ptr<ResourceUpdater>(new Both)->UpdateResources();
    EXPECT_EQ(calls, 211);
}
