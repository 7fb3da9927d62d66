// Out-of-line destructors, so the two interfaces' vtables and type information live in the library.
#include <kestal/ResourceReporter.h>

ResourceReporter::~ResourceReporter() = default;

ResourceUpdater::~ResourceUpdater() = default;
