// Scene: the process itself. The tour's last line: which executable ran, how long since the
// library was loaded, and the most memory the run held at once.
#include "TourScenes.h"

#include <iostream>

namespace tour {

void systemScene() {
    ProcessMemoryInfo const memory = GetCurrentProcessMemoryInfo();
    std::cout << "system: " << utf8Of(TSystem::ExecutableFilename().Filename()) << " ran "
              << TSystem::AppUpTime() << " ms, peak resident " << memory.peakResidentBytes / 1024 << " KiB\n";
}

} // namespace tour
