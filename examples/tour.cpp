// A short tour of libkestal: reads a UTF-8 text (a file named on the command line, or a built-in
// sample) and runs each scene of TourScenes.h on it; the path scene takes the file's name.
#include "TourScenes.h"

#include <fstream>
#include <sstream>
#include <string>

namespace {

constexpr char kSample[] = "Grüß Gott! The quick brown fox jumps over the lazy dog.\n"
                           "THE DOG sleeps; the fox runs — 🦊 and 🐕 are friends.\n";

std::string readInput(int argc, char** argv) {
    if (argc < 2) return kSample;
    std::ifstream in(argv[1], std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

} // namespace

int main(int argc, char** argv) {
    const std::string utf8 = readInput(argc, argv);
    tour::wordsScene(utf8);
    tour::encodingScene(utf8);
    tour::errorsScene(utf8);
    tour::scannerScene();
    tour::pathScene(argc > 1 ? argv[1] : nullptr);
    tour::cancelScene(utf8);
    tour::poolScene(utf8);
    tour::taskScene(utf8);
    tour::systemScene();
    return 0;
}
