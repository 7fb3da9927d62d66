// Two empty interfaces for applications to derive from: something that reports the resources it
// holds, and something that updates them. The library keeps only their shape and never calls them.
#pragma once

#include <kestal/KestalExport.h>

/// An object that reports its resource use to the application.
class KESTAL_API ResourceReporter {
public:
    ResourceReporter() = default;
    virtual ~ResourceReporter();

    /// Reports the object's current resource use; what and where is the implementer's choice.
    virtual void ReportResources() = 0;

protected:
    ResourceReporter(ResourceReporter const&) = default;
    ResourceReporter& operator=(ResourceReporter const&) = default;
};

/// An object whose resources the application asks to bring up to date.
class KESTAL_API ResourceUpdater {
public:
    ResourceUpdater() = default;
    virtual ~ResourceUpdater();

    /// Brings the object's resources up to date; what that means is the implementer's choice.
    virtual void UpdateResources() = 0;

protected:
    ResourceUpdater(ResourceUpdater const&) = default;
    ResourceUpdater& operator=(ResourceUpdater const&) = default;
};
