// Scene: encodings. Drops a leading byte order mark, then asks whether the text fits the two Latin
// encodings, and shows the first line as Latin-1 with "?" where a character does not fit.
#include "TourScenes.h"

#include <iostream>
#include <string>

namespace tour {

void encodingScene(std::string const& utf8) {
    TStringCore text = TStringCore::fromStdString(utf8);
    const bool marked = text.hasBOM();
    text.removeBOM();
    std::cout << "byte order mark: " << (marked ? "removed" : "none") << "\n";

    bool lossy1 = false, lossy9 = false;
    const std::string latin1 = text.toLatin1(&lossy1);
    text.toLatin9(&lossy9);
    // Latin-9 output is written by code point as Latin-1 is: the euro sign and the other Latin-9
    // letters do not count as fitting.
    std::cout << "fits Latin-1: " << (lossy1 ? "no" : "yes") << ", fits Latin-9: " << (lossy9 ? "no" : "yes")
              << "\n";
    const std::string firstLine = latin1.substr(0, latin1.find('\n'));
    std::cout << "first line as Latin-1, shown as UTF-8: " << TStringCore::fromLatin1(firstLine).toStdString()
              << "\n";
}

} // namespace tour
