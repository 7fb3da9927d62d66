// ResourceReporter and ResourceUpdater: abstract, and destroyed correctly through the interface.
#include <gtest/gtest.h>
#include <kestal/ResourceReporter.h>
#include <memory>
#include <type_traits>

static_assert(std::is_abstract_v<ResourceReporter> && std::has_virtual_destructor_v<ResourceReporter>);
static_assert(std::is_abstract_v<ResourceUpdater> && std::has_virtual_destructor_v<ResourceUpdater>);

namespace {

struct Both : ResourceReporter, ResourceUpdater {
    explicit Both(int& destroyed)
        : m_destroyed(destroyed) {}
    ~Both() override { ++m_destroyed; }
    void ReportResources() override { ++reports; }
    void UpdateResources() override { ++updates; }
    int& m_destroyed;
    int reports = 0;
    int updates = 0;
};

} // namespace

TEST(ResourceReporter, DerivedObjectsDispatchAndDestroyThroughTheInterfaces) {
    int destroyed = 0;
    {
        auto both = std::make_unique<Both>(destroyed);
        both->ReportResources();
        static_cast<ResourceUpdater&>(*both).UpdateResources();
        EXPECT_EQ(both->reports, 1);
        EXPECT_EQ(both->updates, 1);
        std::unique_ptr<ResourceReporter> asReporter(both.release());
    }
    EXPECT_EQ(destroyed, 1);
    std::unique_ptr<ResourceUpdater> asUpdater = std::make_unique<Both>(destroyed);
    asUpdater.reset();
    EXPECT_EQ(destroyed, 2);
}
