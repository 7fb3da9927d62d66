// Scene: paths. The file named on the command line, or a Windows-style sample, as a path: its
// root path, parent, stem and extension, and for an absolute path its elements. A path that ends
// with its root ("/") cannot be walked past it, and the scene shows the failure's message.
#include "TourScenes.h"

#include <iostream>

namespace tour {

void pathScene(char const* argument) {
    const TPathCore path = argument ? TPathCore::FromStdPath(argument)
                                    : TPathCore::fromWindows(u"C:\\Users\\ana\\notes.final.txt");
    std::cout << "path: " << utf8Of(path) << "\n"
              << "root path: " << utf8Of(path.RootPath()) << ", parent: " << utf8Of(path.Parent())
              << ", stem: " << utf8Of(path.Stem()) << ", extension: " << utf8Of(path.Extension()) << "\n";
    if (!path.IsAbsolute()) return;
    std::cout << "elements:";
    try {
        for (TStringCore const& element : path)
            std::cout << " [" << utf8Of(element) << "]";
    } catch (TPathCore::Exception const& e) {
        std::cout << " (" << utf8Of(e.GetMessagesFront()) << ")";
    }
    std::cout << "\n";
}

} // namespace tour
