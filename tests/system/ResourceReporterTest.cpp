// ResourceReporter and ResourceUpdater: abstract, and destroyed correctly through the interface.
#include <gtest/gtest.h>
#include <kestal/ResourceReporter.h>
#include <memory>
#include <type_traits>

static_assert(std::is_abstract_v<ResourceReporter> && std::has_virtual_destructor_v<ResourceReporter>);
static_assert(std::is_abstract_v<ResourceUpdater> && std::has_virtual_destructor_v<ResourceUpdater>);

namespace {

struct Both : ResourceReporter, ResourceUpdater {
    explicit Both(int& calls)
        : m_calls(calls) {}
    ~Both() override { m_calls += 100; }
    void ReportResources() override { ++m_calls; }
    void UpdateResources() override { m_calls += 10; }
    int& m_calls;
};

} // namespace

TEST(ResourceReporter, DerivedObjectsDispatchAndDestroyThroughTheInterfaces) {
    int calls = 0;
    std::unique_ptr<ResourceReporter> reporter = std::make_unique<Both>(calls);
    reporter->ReportResources();
    reporter.reset();
    std::unique_ptr<ResourceUpdater> updater = std::make_unique<Both>(calls);
    updater->UpdateResources();
    updater.reset();
    EXPECT_EQ(calls, 211);
}
