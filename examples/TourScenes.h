// The tour's scenes: each shows one part of libkestal, most on the same input text. main() in tour.cpp
// runs them in order; a new scene is one file (*Scene.cpp), one declaration here and one call there.
#pragma once

#include <kestal/kestal.h>
#include <string>

namespace tour {

// UTF-8 without the quotes that stream output puts around a string.
inline std::string utf8Of(TStringCore const& s) {
    return Unicode::toStdString(s.constData(), static_cast<std::size_t>(s.size()));
}

// Counts the words of the text, with their hashes, a digest and the allocations made.
void wordsScene(std::string const& utf8);

// Drops a leading byte order mark and says whether the text fits Latin-1 and Latin-9.
void encodingScene(std::string const& utf8);
// Fails on purpose: a user error with context stacked on the way up, and its record marshalled.
void errorsScene(std::string const& utf8);
// Reads "name = value" settings of its own and logs the exception of each malformed line.
void scannerScene();

// Last: the executable's file name, the time since start and the peak resident size.
void systemScene();
// The file named on the command line (null: a Windows-style sample) as a path, taken apart.
void pathScene(char const* argument);
// Stops three worker threads at once through one cancel root and waits until all have stopped.
void cancelScene(std::string const& utf8);
// Counts the words by chunks on the process-wide pool, once more on a dedicated thread, then ends both.
void poolScene(std::string const& utf8);
// Counts words per line with ParallelForThread, then cancels a polling task and reports its end.
void taskScene(std::string const& utf8);

} // namespace tour
